"""Remap: a volume looked up at coordinates given voxel by voxel."""

from __future__ import annotations

from typing import Any, Collection, Dict, List, Optional, Union

import numpy as np

from .._native import raw
from .._work import Progress, complete, thread_count
from ._cuts import planes_per_block
from ._interpolation import Interpolation, interpolation_of
from ._planes import (LIMIT, Array, Box, Output, Planes, Region, Shape, box_of, check_plane, check_shape, is_plain,
                      lies_well, size_of, source_array)

_CALLS: Dict["np.dtype[Any]", Any] = {np.dtype(np.uint8): raw.vekrRemap_8u_C1PV, np.dtype(np.uint16): raw.vekrRemap_16u_C1PV,
          np.dtype(np.float32): raw.vekrRemap_32f_C1PV}
TYPES: Collection["np.dtype[Any]"] = _CALLS
_FLOAT = np.dtype(np.float32)

# The library forks OpenMP threads from 16 planes on. Blocks with fewer stay on the thread that this package has chosen.
MOST_PLANES = 15


def maps_of(x: Any, y: Any, z: Any) -> List[Array]:
    """Return three maps of one shape and one row step."""
    # Three arrays as the library likes them are told by looking at each once.
    if type(x) is type(y) is type(z) is np.ndarray and x.dtype == y.dtype == z.dtype == _FLOAT:
        if x.shape == y.shape == z.shape and is_plain(x) and is_plain(y) and is_plain(z):
            return [x, y, z]
    given = [np.asarray(m) for m in (x, y, z)]
    for m, name in zip(given, "xyz"):
        if m.dtype.kind not in "fiu":
            raise TypeError(f"{name} must hold numbers, not {m.dtype}")
    try:
        shape = given[0].shape
        if not shape == given[1].shape == given[2].shape:
            given = list(np.broadcast_arrays(*given))
            shape = given[0].shape
    except ValueError:
        raise ValueError(f"x, y and z must have one shape, not {[m.shape for m in given]}") from None
    if len(shape) != 3:
        raise ValueError(f"x, y and z must have three axes (z, y, x), not {len(shape)}")
    check_shape(shape, "x, y and z")
    if 0 in shape:
        raise ValueError(f"x, y and z must not be empty, and their shape is {shape}")
    if shape[2] * _FLOAT.itemsize > LIMIT:
        raise ValueError("rows of x, y and z must be below 2 GiB")
    maps = [m if m.dtype == _FLOAT and lies_well(m) else np.ascontiguousarray(m, _FLOAT) for m in given]
    if len({m.strides[1] for m in maps}) > 1:
        maps = [np.ascontiguousarray(m) for m in maps]
    return maps


def remap(volume: Any, x: Any, y: Any, z: Any, *, interpolation: Union[str, int, Interpolation] = "linear",
          region: Region = None, out: Optional[Array] = None, fill: Any = None, threads: Optional[int] = None,
          progress: Progress = None) -> Array:
    """Look a volume up at coordinates given voxel by voxel.

    Result voxel [k, j, i] is the volume sampled at source coordinates ``x[k, j, i]``, ``y[k, j, i]``, ``z[k, j, i]``.

    Parameters
    ----------
    volume : array_like
        (z, y, x), uint8, uint16 or float32. Used where it lies if its rows are contiguous and run forward, else copied
        once.
    x, y, z : array_like
        Source coordinates in voxels, three arrays (z, y, x) of one shape or that broadcast to one. float32 of one row
        step are used where they lie, all others converted once. A voxel whose coordinates lie outside the region, or are
        NaN, is left alone.
    interpolation : str, int or Interpolation
        ``"nearest"``, ``"linear"``, ``"lagrange"``, ``"bspline"``, ``"catmull-rom"`` or ``"mitchell"``. A volume with a side
        below 4 turns cubic into linear, one with a side below 2 everything into nearest.
    region : three slices or (start, stop) pairs, optional
        Part of the volume that may be sampled; it is not the origin of the coordinates.
    out : ndarray, optional
        Array of the maps' shape and the volume's type to write to; must overlap neither.
    fill, threads, progress
        As in :func:`resize`.

    Returns
    -------
    ndarray
        `out`, or a new array.

    Raises
    ------
    TypeError, ValueError
        If an argument is not as told.

    Notes
    -----
    With cubic interpolation a float32 voxel whose taps reach the source's border (a coordinate below 1, or from the
    region's last voxel but one on) is truncated to a whole number; :func:`affine` does not do that. After an interrupt
    whole blocks of planes have been written and the others not.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> volume = np.arange(8, dtype=np.float32).reshape(2, 2, 2)
    >>> z, y, x = np.meshgrid([0, 1], [0, 1], [0.5], indexing="ij")
    >>> vekr.volume.remap(volume, x, y, z)[..., 0]
    array([[0.5, 2.5],
           [4.5, 6.5]], dtype=float32)
    """
    kind = interpolation_of(interpolation)
    source = source_array(volume, TYPES)
    maps = maps_of(x, y, z)
    box = box_of(region, source.shape)
    count = thread_count(threads, maps[0].shape)
    target = Output(out, maps[0].shape, source.dtype, fill, (volume, x, y, z))
    planes = Planes(source)
    if kind.is_cubic:
        check_plane(planes)
    look_up(planes, source.shape, box, maps, target.array, kind, count, progress)
    return target.finish()


def look_up(source: Planes, source_shape: Shape, box: Box, maps: List[Array], result: Array, kind: Interpolation, count: int,
            progress: Progress = None) -> None:
    """Sample a volume, or what of it is there, at maps of the result's shape; maps have one row step."""
    to = Planes(result)
    depth, height, width = result.shape
    xs, ys, zs = map(Planes, maps)
    call, size, row = _CALLS[source.array.dtype], size_of(source_shape), height * width
    most = MOST_PLANES if height > MOST_PLANES and width > MOST_PLANES else depth
    each = planes_per_block(depth, row, count, progress is not None, most=most)

    def block(number: int) -> int:
        first = number * each
        status: int = call(source.pointer, size, source.step, box, xs.at(first), ys.at(first), zs.at(first), xs.step,
                           to.at(first), to.step, (width, height, min(each, depth - first)), kind)
        return status

    complete(block, -(-depth // each), count, progress, "remap")
