"""Resize: a volume scaled along each axis."""

from __future__ import annotations

import math
from functools import lru_cache
from typing import Any, Collection, Dict, NamedTuple, Optional, Tuple, Union

import numpy as np

from .._native import int_out, pointer_to, raw
from .._work import Progress, complete, get_threads, thread_count
from ..errors import check
from ._cuts import planes_per_block
from ._interpolation import Interpolation, interpolation_of
from ._planes import (LIMIT, Array, Box, Output, Planes, Region, Shape, box_of, check_shape, shape_of, size_of,
                      source_array)

_CALLS: Dict["np.dtype[Any]", Any] = {np.dtype(np.uint8): raw.vekrResize_8u_C1PV, np.dtype(np.uint16): raw.vekrResize_16u_C1PV,
          np.dtype(np.float32): raw.vekrResize_32f_C1PV}
TYPES: Collection["np.dtype[Any]"] = _CALLS
_LEAST_PLANES = 128  # each block computes up to three planes of the source anew
_CENTRE = 0.5000000001  # the library's own bound: a voxel is written if its centre lies in the image of the source


def triple(value: Any, name: str) -> Tuple[float, float, float]:
    """Return a number for each axis (z, y, x); one number stands for all three."""
    if type(value) is float and math.isfinite(value):
        return value, value, value
    try:
        if isinstance(value, (int, float, np.integer, np.floating)):
            numbers = (float(value),) * 3
        else:
            numbers = tuple(float(v) for v in value)  # type: ignore[assignment]
    except (TypeError, ValueError, OverflowError):
        raise TypeError(f"{name} must be a number or three of them (z, y, x), not {value!r}") from None
    if len(numbers) != 3 or not all(math.isfinite(v) for v in numbers):
        raise ValueError(f"{name} must be a finite number or three of them (z, y, x), not {value!r}")
    return numbers


def resized_shape(shape: Shape, factor: Tuple[float, float, float]) -> Shape:
    """Return how many voxels of each axis have their centres in the image of a source."""
    sides = [max(1, math.floor(side * f + _CENTRE)) for side, f in zip(shape, factor)]
    check_shape(sides, "the result")
    return sides[0], sides[1], sides[2]


# Bytes of work memory for an entry of a row, and beside that.
_WORK = {kind: (16, 256) if kind.is_cubic else (8, 64) for kind in Interpolation}
_WORK[Interpolation.NEAREST] = 0, 0


def _rows_per_call(width: int, height: int, depth: int, kind: Interpolation) -> int:
    """Return how many rows of a plane fit one call: the library counts the bytes of its work memory in 32 bits."""
    row, rest = _WORK[kind]
    room = LIMIT // get_threads() - rest * (width + depth) - 16384
    rows = room // (row * (width + 64) + rest + 8)
    if rows < 1:
        raise ValueError("rows of the result are too long for the library's work memory")
    return min(rows, height)


def resize(volume: Any, factor: Union[None, float, Tuple[float, float, float]] = None, *,
           shape: Optional[Tuple[int, int, int]] = None, shift: Union[float, Tuple[float, float, float]] = 0.0,
           interpolation: Union[str, int, Interpolation] = "linear", region: Region = None, out_region: Region = None,
           out: Optional[Array] = None, fill: Any = None, threads: Optional[int] = None,
           progress: Progress = None) -> Array:
    """Scale a volume along each axis.

    Destination voxel d of an axis lies at source coordinate ``(d + 0.5 - shift) / factor - 0.5``: centres map to centres.
    At the ends of the source the first or last voxel stands in for those beyond.

    Parameters
    ----------
    volume : array_like
        (z, y, x), uint8, uint16 or float32. Used where it lies if its rows are contiguous and run forward, else copied
        once. Give it at least 4 voxels along each axis for cubic interpolation and 2 for linear.
    factor : float or (float, float, float), optional
        Destination voxels for each source voxel along z, y, x; above 1 enlarges. May be left out if `shape` or `out` is
        given: then the source is fitted into it.
    shape : (int, int, int), optional
        Shape of the result. By default as many voxels as have their centres in the image of the source.
    shift : float or (float, float, float)
        Destination voxels by which the image is moved along z, y, x.
    interpolation : str, int or Interpolation
        ``"nearest"``, ``"linear"``, ``"lagrange"``, ``"bspline"``, ``"catmull-rom"`` or ``"mitchell"``.
    region : three slices or (start, stop) pairs, optional
        Part of the source whose image is written; what is read is not restricted.
    out_region : three slices or (start, stop) pairs, optional
        Part of the result that is written.
    out : ndarray, optional
        Array to write to, of the volume's type; must not overlap the volume.
    fill : number, optional
        What places get that are not written. By default 0 in a new array, and what they held in `out`.
    threads : int, optional
        How many threads may work; by default :func:`vekr.get_threads`. The result does not depend on it.
    progress : callable or True, optional
        Called with (blocks done, blocks in all) between blocks; True shows a bar if tqdm is installed.

    Returns
    -------
    ndarray
        `out`, or a new array.

    Raises
    ------
    TypeError, ValueError
        If an argument is not as told.
    VekrError
        If the library refuses the call.

    Warns
    -----
    VekrWarning
        If no voxel was to be written.

    Notes
    -----
    After an interrupt, or an exception out of `progress`, whole blocks of planes have been written and the others not.
    uint8 and uint16 are rounded and cut to their range, with cubic interpolation truncated but for what the source's first
    and last columns and rows reach; float32 may overshoot the source's range.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> vekr.volume.resize(np.arange(4, dtype=np.float32).reshape(1, 1, 4), (1, 1, 2), interpolation="nearest")
    array([[[0., 0., 1., 1., 2., 2., 3., 3.]]], dtype=float32)
    """
    source = source_array(volume, TYPES)
    to = None
    if out is not None and shape is None:
        to = shape_of(out.shape if type(out) is np.ndarray else np.shape(out), "out")
    scaling = scaling_of(source.shape, factor, shape or to, shift, interpolation, region, out_region)
    count = thread_count(threads, scaling.shape)
    target = Output(out, scaling.shape, source.dtype, fill, (volume,))
    planes = Planes(target.array)
    scale(scaling, Planes(source), planes.pointer, planes.step, scaling.box, count, progress)
    return target.finish()


class Scaling(NamedTuple):
    """What a resize does, whole: all in (z, y, x), but for boxes."""

    source_shape: Shape
    shape: Shape
    factor: Tuple[float, float, float]
    shift: Tuple[float, float, float]
    kind: Interpolation
    source_box: Box
    box: Box


def scaling_of(size: Shape, factor: Any, shape: Any, shift: Any, interpolation: Any, region: Region,
               out_region: Region) -> Scaling:
    """Return what the arguments of :func:`resize` mean for a source of a size; remembers the last 256."""
    if region is None and out_region is None:
        try:
            return _scaling_of_whole(size, factor, shape, shift, interpolation)
        except TypeError:  # lists and arrays can't be looked up; what is wrong is told below
            pass
    return _scaling_of(size, factor, shape, shift, interpolation, region, out_region)


@lru_cache(maxsize=256)
def _scaling_of_whole(size: Shape, factor: Any, shape: Any, shift: Any, interpolation: Any) -> Scaling:
    return _scaling_of(size, factor, shape, shift, interpolation, None, None)


def _scaling_of(size: Shape, factor: Any, shape: Any, shift: Any, interpolation: Any, region: Region,
                out_region: Region) -> Scaling:
    kind = interpolation_of(interpolation)
    if shape is not None:
        to = shape_of(shape)
    elif factor is None:
        raise TypeError("resize takes a factor, a shape or an out")
    else:
        to = resized_shape(size, triple(factor, "factor"))
    by = (to[0] / size[0], to[1] / size[1], to[2] / size[2]) if factor is None else triple(factor, "factor")
    if min(by) <= 0:
        raise ValueError(f"factor must be above 0, not {factor!r}")
    return Scaling(size, to, by, triple(shift, "shift"), kind, box_of(region, size), box_of(out_region, to, "out_region"))


def scale(scaling: Scaling, source: Planes, to: Any, step: int, box: Box, count: int, progress: Progress = None) -> None:
    """Compute a box of the result of a resize; `to` is the list of the whole result's planes."""
    x, y, z, width, height, depth = box
    source_shape, _, by, move, kind, source_box, _ = scaling
    rows = _rows_per_call(width, height, depth, kind)
    strips = -(-height // rows)
    planes = planes_per_block(depth, width * height, count, progress is not None, least=_LEAST_PLANES)
    call, size = _CALLS[source.array.dtype], size_of(source_shape)

    def block(number: int) -> int:
        slab, strip = divmod(number, strips)
        first, top = slab * planes, strip * rows
        part = (x, y + top, z + first, width, min(rows, height - top), min(planes, depth - first))
        needed = int_out()
        status: int = raw.vekrResizeGetBufSize(source_box, part, 1, kind, needed)
        if status:
            check(status, "resize")
        buffer = np.empty(needed[0], np.uint8)
        status = call(source.pointer, size, source.step, source_box, to, step, part, by[2], by[1], by[0],
                      move[2], move[1], move[0], kind, pointer_to(buffer))
        return status

    complete(block, strips * -(-depth // planes), count, progress, "resize")
