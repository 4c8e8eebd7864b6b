"""Volumes as the library takes them: lists of plane addresses, a row step, a size.

Arrays are in (z, y, x) order. An array is used where it lies if its voxels are next to each other along x, its rows run
forward by whole voxels, and its first voxel is aligned; planes may lie anywhere. All other arrays are copied once.
"""

from __future__ import annotations

from array import array as array_of
from typing import Any, Collection, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from .._native import address, pointer_to, within

Array = npt.NDArray[Any]
Shape = Tuple[int, ...]  # three sides, z, y, x
Box = Tuple[int, int, int, int, int, int]  # x, y, z, width, height, depth
Region = Union[None, Sequence[Any]]

LIMIT = 2**31 - 1  # of every size, step and offset at the interface
_ADDRESS_CODE = np.dtype(np.uintp).char  # of the standard library's arrays too
_NONE: Shape = (0, 0, 0)
_FEW_PLANES = 64  # up to here a list of plain numbers is made faster than an array


class Planes:
    """A list of plane addresses over an array.

    `first` is the address of voxel (0, 0, 0). The list may tell of a volume larger than the array: with `origin`, the
    place of the array's first voxel in that volume, plane z of the list points to where voxel (z, 0, 0) would be, and only
    voxels of the array may be touched.
    """

    __slots__ = ("array", "pointer", "step", "_addresses")

    def __init__(self, array: Array, origin: Shape = _NONE, depth: Optional[int] = None) -> None:
        plane_step, row_step, _ = array.strides
        count, rows, columns = array.shape
        # numpy leaves the step of an axis of one voxel open.
        self.step = step = row_step if rows > 1 else array.itemsize * columns
        first = address(array)
        if origin is not _NONE:
            first -= origin[1] * step + origin[2] * array.itemsize
        if depth is not None:
            # Planes outside the array are never touched; they get the address of the nearest one that is there.
            nearest = np.clip(np.arange(depth) - origin[0], 0, count - 1)
            self._addresses: Any = first + nearest * plane_step
            self.pointer = pointer_to(self._addresses)
        elif count <= _FEW_PLANES and plane_step:
            self._addresses = array_of(_ADDRESS_CODE, range(first, first + count * plane_step, plane_step))
            self.pointer = pointer_to(self._addresses)
        else:
            self._addresses = first + np.arange(count, dtype=np.intp) * plane_step
            self.pointer = pointer_to(self._addresses)
        self.array = array  # kept alive

    def at(self, plane: int) -> Any:
        """Return the list from one of its planes on."""
        return within(self.pointer, plane) if plane else self.pointer


def size_of(shape: Shape) -> Shape:
    """Return a shape as width, height, depth."""
    return shape[2], shape[1], shape[0]


def native(dtype: "np.dtype[Any]") -> "np.dtype[Any]":
    """Return a type in this machine's byte order."""
    return dtype if dtype.isnative else dtype.newbyteorder("=")


def is_plain(array: Array) -> bool:
    """Whether an array of a type that the library takes has three axes, voxels, one contiguous piece, and no large side.

    Most arrays are like that, and then nothing else has to be looked at.
    """
    flags = array.flags
    return flags.c_contiguous and flags.aligned and array.ndim == 3 and 0 < array.nbytes <= LIMIT


def lies_well(array: Array) -> bool:
    """Whether the library can use an array where it lies."""
    item = array.itemsize
    if array.flags.c_contiguous:
        fits = array.shape[2] * item <= LIMIT
        return fits and array.flags.aligned and array.dtype.isnative
    plane_step, row_step, voxel_step = array.strides
    width = array.shape[2]
    return (array.flags.aligned and array.dtype.isnative and (voxel_step == item or width == 1)
            and (array.shape[1] == 1 or (0 < row_step <= LIMIT and row_step % item == 0)))


def source_array(volume: Any, types: Collection["np.dtype[Any]"], name: str = "volume") -> Array:
    """Return a volume as an array that the library can use: itself if possible, else a copy."""
    if type(volume) is np.ndarray and volume.dtype in types and is_plain(volume):
        return volume
    array = volume if type(volume) is np.ndarray else np.asarray(volume)
    if array.dtype not in types and native(array.dtype) not in types:
        allowed = ", ".join(str(t) for t in types)
        raise TypeError(f"{name} must be of type {allowed}, not {array.dtype}; convert it with astype")
    if array.ndim != 3:
        raise ValueError(f"{name} must have three axes (z, y, x), not {array.ndim}")
    check_shape(array.shape, name)
    if array.size == 0:
        raise ValueError(f"{name} must not be empty, and its shape is {array.shape}")
    if array.shape[2] * array.itemsize > LIMIT:
        raise ValueError(f"rows of {name} must be below 2 GiB")
    return array if lies_well(array) else np.ascontiguousarray(array, dtype=native(array.dtype))


def check_shape(shape: Sequence[int], name: str) -> None:
    """Raise if a side is more than the library counts."""
    if max(shape) <= LIMIT:
        return
    for side in shape:
        if side > LIMIT:
            raise ValueError(f"sides of {name} must be below 2**31, not {side}")


def check_plane(planes: Planes, name: str = "volume") -> None:
    """Raise if a plane has more voxels, steps included, than the cubic kernels can address."""
    if planes.step // planes.array.itemsize * planes.array.shape[1] > LIMIT:
        raise ValueError(f"planes of {name} must be below 2**31 voxels for cubic interpolation")


def shape_of(shape: Any, name: str = "shape") -> Shape:
    """Return a shape that a caller gives as three whole numbers above 0."""
    if type(shape) is tuple and len(shape) == 3:
        a, b, c = shape
        if type(a) is type(b) is type(c) is int and 0 < a <= LIMIT and 0 < b <= LIMIT and 0 < c <= LIMIT:
            return a, b, c
    try:
        sides = tuple(int(side) for side in shape)
        exact = all(side == given for side, given in zip(sides, shape))
    except (TypeError, ValueError, OverflowError):
        raise TypeError(f"{name} must be three whole numbers (z, y, x), not {shape!r}") from None
    if len(sides) != 3 or not exact:
        raise ValueError(f"{name} must be three whole numbers (z, y, x), not {shape!r}")
    if min(sides) < 1:
        raise ValueError(f"sides of {name} must be at least 1, not {shape!r}")
    check_shape(sides, name)
    return sides


def box_of(region: Region, shape: Shape, name: str = "region") -> Box:
    """Return the box that three slices or (start, stop) pairs in (z, y, x) order mean; None: all of it."""
    if region is None:
        return (0, 0, 0, shape[2], shape[1], shape[0])
    try:
        parts = [part if isinstance(part, slice) else slice(*part) for part in region]
        bounds = [part.indices(side) for part, side in zip(parts, shape)]
    except TypeError:
        raise TypeError(f"{name} must be three slices or (start, stop) pairs (z, y, x), not {region!r}") from None
    except ValueError as problem:
        raise ValueError(f"{name}: {problem}") from None
    if len(parts) != 3:
        raise ValueError(f"{name} must be three slices or (start, stop) pairs (z, y, x), not {region!r}")
    for start, stop, step in bounds:
        if step != 1:
            raise ValueError(f"{name} must have steps of 1")
        if stop <= start:
            raise ValueError(f"{name} must not be empty, and is {region!r} of {shape}")
    (z, z1, _), (y, y1, _), (x, x1, _) = bounds
    return (x, y, z, x1 - x, y1 - y, z1 - z)


def shares_memory(a: Array, b: Array) -> bool:
    """Whether two arrays overlap; where that is hard to tell, yes."""
    if not np.may_share_memory(a, b):
        return False
    try:
        return bool(np.shares_memory(a, b, max_work=100_000))
    except np.TooHardError:
        return True


class Output:
    """The array that a call writes, and the caller's, which is another one if the library can't use that."""

    __slots__ = ("array", "_given")

    def __init__(self, out: Optional[Array], shape: Shape, dtype: "np.dtype[Any]", fill: Any,
                 sources: Sequence[Any]) -> None:
        self._given: Optional[Array] = None
        value = None if fill is None else filler(fill, dtype)
        if out is None:
            self.array = np.zeros(shape, dtype) if not value else np.full(shape, value, dtype)
            return
        if not isinstance(out, np.ndarray):
            raise TypeError(f"out must be a numpy array, not {type(out).__name__}")
        if out.shape != shape:
            raise ValueError(f"out must have the shape {shape}, not {out.shape}")
        if out.dtype is not dtype and out.dtype != dtype:
            raise TypeError(f"out must be of type {dtype}, not {out.dtype}")
        if not out.flags.writeable:
            raise ValueError("out is read-only")
        checked = None
        for source in sources:
            if source is not checked and isinstance(source, np.ndarray) and shares_memory(out, source):
                raise ValueError("out must not overlap the arrays that are read")
            checked = source
        if is_plain(out) or lies_well(out) and _rows_are_apart(out):
            self.array = out
        else:
            self.array, self._given = np.array(out, dtype=dtype, order="C"), out
        if value is not None:
            self.array[...] = value

    def finish(self) -> Array:
        """Return the caller's array with what has been written."""
        if self._given is None:
            return self.array
        self._given[...] = self.array
        return self._given


def _rows_are_apart(array: Array) -> bool:
    """Whether no voxel lies on another one."""
    if array.flags.c_contiguous:
        return True
    plane_step, row_step, voxel_step = array.strides
    depth, height, width = array.shape
    row = voxel_step * width
    plane = row_step * (height - 1) + row if height > 1 else row
    return (height == 1 or row_step >= row) and (depth == 1 or abs(plane_step) >= plane)


def filler(fill: Any, dtype: "np.dtype[Any]") -> Any:
    """Return a fill value as a voxel; raise if the type can't hold it."""
    try:
        number = float(fill)
    except (TypeError, ValueError, OverflowError):
        raise TypeError(f"fill must be a number, not {fill!r}") from None
    if dtype.kind != "f":
        limits = np.iinfo(dtype)
        if number != int(fill) if np.isfinite(number) else True:
            raise ValueError(f"fill must be a whole number for {dtype} voxels, not {fill!r}")
        if not limits.min <= int(fill) <= limits.max:
            raise ValueError(f"fill must be within {limits.min} to {limits.max} for {dtype} voxels, not {fill!r}")
        return dtype.type(int(fill))
    return dtype.type(number)
