"""Affine warp: a volume seen through a matrix."""

from __future__ import annotations

import math
from functools import lru_cache
from typing import Any, Collection, Dict, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

from .._native import pointer_to, raw
from .._work import Progress, complete, on_fresh_thread, settle, thread_count
from ._cuts import planes_per_block
from ._exact import ExactMatrix, find_exact
from ._interpolation import Interpolation, interpolation_of
from ._planes import Array, Box, Output, Planes, Region, Shape, box_of, check_plane, shape_of, size_of, source_array
from ._remap import MOST_PLANES

CALLS: Dict["np.dtype[Any]", Any] = {np.dtype(np.uint8): raw.vekrWarpAffine_8u_C1PV, np.dtype(np.uint16): raw.vekrWarpAffine_16u_C1PV,
          np.dtype(np.float32): raw.vekrWarpAffine_32f_C1PV}
TYPES: Collection["np.dtype[Any]"] = CALLS
_EMPTY = 1e-100  # diagonal entries up to this count as none, and a matrix without diagonal is refused


def matrix_of(matrix: Any, name: str = "matrix") -> npt.NDArray[np.float64]:
    """Return a matrix as (3, 4) finite doubles; of a (4, 4) one the last row must be 0, 0, 0, 1."""
    entries = _entries_of(matrix, name)
    _check_finite(entries, name)
    return entries


def _check_finite(entries: npt.NDArray[np.float64], name: str = "matrix") -> None:
    if not all(map(math.isfinite, entries.reshape(-1).tolist())):
        raise ValueError(f"{name} must be finite")


def _entries_of(matrix: Any, name: str = "matrix") -> npt.NDArray[np.float64]:
    try:
        entries = np.ascontiguousarray(matrix, np.float64)
    except (TypeError, ValueError):
        raise TypeError(f"{name} must be (3, 4) or (4, 4) numbers") from None
    if entries.shape == (4, 4):
        if entries[3].tolist() != [0.0, 0.0, 0.0, 1.0]:
            raise ValueError(f"the last row of a (4, 4) {name} must be 0, 0, 0, 1")
        entries = entries[:3]
    if entries.shape != (3, 4):
        raise ValueError(f"{name} must be (3, 4) or (4, 4), not {entries.shape}")
    return entries


def axis_order(matrix: npt.NDArray[np.float64]) -> Tuple[int, ...]:
    """Return in which order a matrix should take the source's axes, so that its diagonal is not empty."""
    if max(abs(matrix[0, 0]), abs(matrix[1, 1]), abs(matrix[2, 2])) > _EMPTY:
        return (0, 1, 2)
    orders = ((1, 2, 0), (2, 0, 1), (0, 2, 1), (2, 1, 0), (1, 0, 2))
    return max(orders, key=lambda o: float(abs(matrix[0, o[0]] * matrix[1, o[1]] * matrix[2, o[2]])))


_AS_IT_IS = (0, 1, 2)


@lru_cache(maxsize=256)
def _prepared(data: bytes, shape: Shape, exact: bool) -> "Tuple[Tuple[int, ...], npt.NDArray[np.float64], Optional[Shape]]":
    """Return how a matrix is given to the library, for a destination of a shape: the order of the source's axes, a matrix of
    these, and from where the destination is counted; None if the matrix is to be exact and there is none."""
    entries = np.frombuffer(data, np.float64).reshape(3, 4)
    _check_finite(entries)
    order = axis_order(entries)
    if order != _AS_IT_IS:
        entries = np.ascontiguousarray(entries[:, [*order, 3]])
    if not exact:
        return order, entries, (0, 0, 0)
    found = find_exact(entries, (shape[2], shape[1], shape[0]))
    return (order, entries, None) if found is None else (order, found.matrix, found.origin)


def exact_matrix(matrix: Any, shape: Any) -> ExactMatrix:
    """Return the matrix that :func:`affine` uses in place of another one with ``exact=True``.

    Parameters
    ----------
    matrix : array_like
        (3, 4) or (4, 4), from source voxels (x, y, z) to destination voxels.
    shape : (int, int, int)
        Shape (z, y, x) of the destination, whole, also where only a region of it is computed.

    Returns
    -------
    ExactMatrix
        The matrix, its inverse as the library computes it, and how far that is from the inverse of the one wanted: at
        most 1e-10 for coordinates below 2**16.

    Raises
    ------
    VekrError
        If the matrix is singular.
    ValueError
        If it is not finite, or no exact matrix was found: about one in a hundred, or coordinates above 2**27. Then
        :func:`affine` computes each plane from its first voxel, which gives results as independent.

    Notes
    -----
    The first call for a matrix takes some milliseconds; the last 256 matrices are remembered.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> matrix = np.eye(3, 4) * 1.1
    >>> exact = vekr.volume.exact_matrix(matrix, (64, 64, 64))
    >>> bool(np.all(exact.inverse * 2**36 % 1 == 0)), exact.deviation < 1e-10
    (True, True)
    >>> bool(np.allclose(exact.matrix, matrix, rtol=0, atol=1e-9))
    True
    """
    depth, height, width = shape_of(shape)
    entries = matrix_of(matrix)
    order = axis_order(entries)
    found = find_exact(np.ascontiguousarray(entries[:, [*order, 3]]), (width, height, depth))
    if found is None:
        raise ValueError("there is no exact matrix near this one")
    if order == (0, 1, 2):
        return found
    back = np.argsort(order)
    return ExactMatrix(found.matrix[:, [*back, 3]], found.inverse[back], found.deviation, found.origin)


def affine(volume: Any, matrix: Any, *, shape: Optional[Tuple[int, int, int]] = None,
           interpolation: Union[str, int, Interpolation] = "linear", region: Region = None, out_region: Region = None,
           out: Optional[Array] = None, fill: Any = None, exact: bool = True, threads: Optional[int] = None,
           progress: Progress = None) -> Array:
    """Look at a volume through an affine matrix.

    The matrix takes source voxels to destination voxels, both counted (x, y, z)::

        xd = m[0, 0] * xs + m[0, 1] * ys + m[0, 2] * zs + m[0, 3]      and so yd, zd

    :func:`from_scipy`, :func:`from_nifti` and :func:`from_itk` make such a matrix of other conventions.

    Parameters
    ----------
    volume : array_like
        (z, y, x), uint8, uint16 or float32. Used where it lies if its rows are contiguous and run forward, else copied
        once.
    matrix : array_like
        (3, 4) or (4, 4) finite numbers, last row 0, 0, 0, 1.
    shape : (int, int, int), optional
        Shape of the result; by default that of `out`, or of the volume.
    interpolation : str, int or Interpolation
        ``"nearest"``, ``"linear"``, ``"lagrange"``, ``"bspline"``, ``"catmull-rom"`` or ``"mitchell"``. A volume with a side
        below 4 turns cubic into linear, one with a side below 2 everything into nearest.
    region : three slices or (start, stop) pairs, optional
        Part of the volume that may be sampled.
    out_region : three slices or (start, stop) pairs, optional
        Part of the result that is computed; each voxel gets the very value that it has in the whole.
    out, fill, progress
        As in :func:`resize`. Voxels whose source coordinates lie outside the volume or the region are not written.
    exact : bool
        True: the last bits of the matrix are nudged so that source coordinates are exact, and the result depends neither
        on threads nor on how it is cut; :func:`exact_matrix` tells the matrix used. False: one call with the matrix as it
        is, on as many threads as :func:`vekr.get_threads` tells.
    threads : int, optional
        How many threads may work, with ``exact=True``.

    Returns
    -------
    ndarray
        `out`, or a new array.

    Raises
    ------
    TypeError, ValueError
        If an argument is not as told.
    VekrError
        If the matrix is singular: a determinant within 1e-10 of 0.

    Notes
    -----
    A matrix with an empty diagonal, such as one that exchanges axes cyclically, is served by a volume with exchanged axes,
    which takes one copy. After an interrupt whole blocks of planes have been written and the others not.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> volume = np.arange(4, dtype=np.float32).reshape(1, 2, 2)
    >>> matrix = [[1, 0, 0, 1], [0, 1, 0, 0], [0, 0, 1, 0]]  # one voxel to the right
    >>> vekr.volume.affine(volume, matrix, fill=-1)
    array([[[-1.,  0.],
            [-1.,  2.]]], dtype=float32)
    """
    kind = interpolation_of(interpolation)
    source = source_array(volume, TYPES)
    entries = _entries_of(matrix)
    to = shape_of(shape) if shape is not None else source.shape if out is None else shape_of(
        out.shape if type(out) is np.ndarray else np.shape(out), "out")
    x, y, z, width, height, depth = box_of(region, source.shape)
    out_box = box_of(out_region, to, "out_region")
    count = thread_count(threads, to)
    order, coefficients, origin = _prepared(entries.tobytes(), to, bool(exact))
    box: Box = (x, y, z, width, height, depth)
    if order != _AS_IT_IS:
        source = np.ascontiguousarray(source.transpose(*(2 - order[2 - k] for k in range(3))))
        starts, sides = (x, y, z), (width, height, depth)
        box = (*(starts[k] for k in order), *(sides[k] for k in order))  # type: ignore[assignment]
    target = Output(out, to, source.dtype, fill, (volume,))
    planes = Planes(source)
    if kind.is_cubic:
        check_plane(planes)
    if origin is None:
        _warp_planes(planes, box, target.array, out_box, coefficients, kind, count, progress)
        return target.finish()
    # The destination counted from another voxel: its planes' addresses move back by as much.
    list_of_planes = Planes(target.array, (origin[2], origin[1], origin[0]))
    x, y, z, width, height, depth = out_box
    moved: Box = (x + origin[0], y + origin[1], z + origin[2], width, height, depth)
    warp(planes, source.shape, box, list_of_planes.at(-origin[2]), list_of_planes.step, moved, coefficients, kind,
          count if exact else 0, progress)
    return target.finish()


def warp(planes: Planes, shape: Shape, box: Box, to: Any, step: int, out_box: Box, matrix: npt.NDArray[np.float64],
          kind: Interpolation, threads: int, progress: Progress) -> None:
    """Compute a box of the destination in blocks; with 0 threads in one call, on the library's own."""
    call, size = CALLS[planes.array.dtype], size_of(shape)
    x, y, z, width, height, depth = out_box
    coefficients = pointer_to(matrix)
    may_fork = min(width, height) > MOST_PLANES
    each = depth
    if threads:
        each = planes_per_block(depth, width * height, threads, progress is not None,
                                most=MOST_PLANES if may_fork else depth)

    def block(number: int) -> int:
        first = number * each
        part = (x, y, z + first, width, height, min(each, depth - first))
        status: int = call(planes.pointer, size, planes.step, box, to, step, part, coefficients, kind)
        return status

    if not threads and may_fork and depth > MOST_PLANES:
        settle([on_fresh_thread(lambda: block(0))], "affine", stacklevel=4)
    else:
        complete(block, -(-depth // each), max(threads, 1), progress, "affine")


def _warp_planes(planes: Planes, box: Box, result: Array, out_box: Box, matrix: npt.NDArray[np.float64],
                 kind: Interpolation, threads: int, progress: Progress) -> None:
    """Compute a box of the destination plane by plane, each from its first voxel on, and keep what is in the box.

    The sums of a plane then start in one place, whatever is asked for.
    """
    call, size = CALLS[planes.array.dtype], size_of(planes.array.shape)
    x, y, z, width, height, depth = out_box
    coefficients = pointer_to(matrix)
    is_whole = x == 0 and y == 0

    def block(number: int) -> int:
        plane = result[z + number: z + number + 1]
        if is_whole:
            part, to = plane, Planes(plane)
        else:
            part = plane[:, : y + height, : x + width].copy()
            to = Planes(part)
        status = int(call(planes.pointer, size, planes.step, box, to.at(-z - number), to.step,
                          (0, 0, z + number, x + width, y + height, 1), coefficients, kind))
        if not is_whole:
            plane[0, y : y + height, x : x + width] = part[0, y:, x:]
        return status

    complete(block, depth, threads, progress, "affine")
