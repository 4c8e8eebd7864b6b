"""Rays as the library takes them: blocks of planes whose sides are multiples of four, 16-byte aligned.

Rays of any leading shape are numbered in one row. A picture whose width is a multiple of four is cut into strips of whole
rows, which are blocks as they lie: results are written where they stay, and directions are read where they lie if they are
planes. A list becomes blocks of four columns, so that sixteen rays in a row are a tile. The last rays that fill no tile go
through a block of their own.

Rows of a wide picture often lie 4096 bytes apart, and so would equal places of its planes: all of them would compete for
the same few lines of the first cache. So planes are set off against each other.
"""

from __future__ import annotations

from functools import lru_cache
from typing import Any, Callable, List, NamedTuple, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

from ._native import address

FloatArray = npt.NDArray[np.float32]
Array = npt.NDArray[Any]

TILE = 4
TILE_RAYS = TILE * TILE
_BLOCK_RAYS = 1 << 15  # about
_LEAST_PICTURE_WIDTH = 16
_CACHE_LINE = 64
_PLANE_ALIGNMENT = 16
_PAGE = 4096
_OFFSET = 9 * _CACHE_LINE  # between planes, beyond their size; a row of tiles takes some lines of each
ENTRY = 4  # bytes of an entry of a plane
FLOAT, INT, _BYTE = np.dtype(np.float32), np.dtype(np.int32), np.dtype(np.uint8)
LIMIT = 2**31 - 1


def aligned(shape: Sequence[int], dtype: Any = FLOAT, make: Callable[[int, Any], Array] = np.empty) -> Array:
    """Return an array that starts on a cache line, uninitialised unless `make` is ``np.zeros``."""
    dtype = np.dtype(dtype)
    size = dtype.itemsize * count_of(shape)
    room = make(size + _CACHE_LINE, _BYTE)
    return np.ndarray(shape, dtype, room, -address(room) % _CACHE_LINE)


class PlaneRoom:
    """Memory of several planes, uninitialised unless it is small; plane k begins at `start` + k * `step`."""

    __slots__ = ("start", "step", "is_cleared", "_offset", "_memory")

    def __init__(self, planes: int, entries: int) -> None:
        size = entries * ENTRY
        self.is_cleared = size < _PAGE
        if self.is_cleared:
            self.step = step = (size + _CACHE_LINE - 1) & -_CACHE_LINE
            self._memory = np.zeros(step * planes + _CACHE_LINE, _BYTE)
        else:
            self.step = step = ((size + _CACHE_LINE - 1) & -_CACHE_LINE) + _OFFSET
            self._memory = np.empty(step * planes + _CACHE_LINE, _BYTE)
        place = address(self._memory)
        self._offset = offset = -place % _CACHE_LINE
        self.start = place + offset

    def plane(self, number: int, shape: Sequence[int], dtype: "np.dtype[Any]" = FLOAT) -> Array:
        """Return a plane, or the first entries of it, as an array."""
        return np.ndarray(shape, dtype, self._memory, self._offset + number * self.step)

    def planes(self, first: int, count: int, shape: Tuple[int, ...]) -> FloatArray:
        """Return some planes of a shape as one array."""
        return np.ndarray((count, *shape), FLOAT, self._memory, self._offset + first * self.step,
                          (self.step, *_steps_of(shape)))

    def vectors(self, shape: Tuple[int, ...]) -> FloatArray:
        """Return the first three planes as the components of vectors (..., 3)."""
        return np.ndarray((*shape, 3), FLOAT, self._memory, self._offset, (*_steps_of(shape), self.step))


@lru_cache(maxsize=64)
def _steps_of(shape: Tuple[int, ...]) -> Tuple[int, ...]:
    """Return the bytes from entry to entry along each axis of a plane."""
    if not shape:
        return ()
    steps = [ENTRY]
    for side in shape[:0:-1]:
        steps.append(steps[-1] * max(side, 1))
    return tuple(reversed(steps))


def count_of(shape: Sequence[int]) -> int:
    """Return how many entries a shape has."""
    count = 1
    for side in shape:
        count *= side
    return count


def vector_planes(leading: Tuple[int, ...]) -> "Tuple[FloatArray, List[int]]":
    """Return an uninitialised array (..., 3) whose components lie in planes, as the library likes them, and their addresses."""
    room = PlaneRoom(3, count_of(leading))
    return room.vectors(leading), [room.start, room.start + room.step, room.start + 2 * room.step]


class Block(NamedTuple):
    """Rays `first` to `first + width * height`."""

    first: int
    width: int
    height: int


@lru_cache(maxsize=256)
def blocks_of(leading: Tuple[int, ...]) -> "Tuple[Tuple[Block, ...], int]":
    """Return the blocks of rays of a leading shape, and how many rays at the end are in none.

    Where rays are cut does not depend on the number of threads.
    """
    count = count_of(leading)
    blocks: List[Block] = []
    first = 0
    if len(leading) >= 2 and leading[-1] >= _LEAST_PICTURE_WIDTH and leading[-1] % TILE == 0:
        width = leading[-1]
        strip = max(TILE, _BLOCK_RAYS // width // TILE * TILE)
        while count - first >= TILE * width:
            height = min(strip, (count - first) // width // TILE * TILE)
            blocks.append(Block(first, width, height))
            first += width * height
    while count - first >= TILE_RAYS:
        tiles = min(_BLOCK_RAYS, count - first) // TILE_RAYS
        blocks.append(Block(first, TILE, tiles * TILE))
        first += tiles * TILE_RAYS
    return tuple(blocks), count - first


class Vectors:
    """Three components of every ray: planes where they lie, or an interleaved array that is taken apart block by block.

    `planes` has the components as rows. `places` are their addresses, if the library can read them where they lie.
    """

    __slots__ = ("count", "planes", "places")

    def __init__(self, array: FloatArray) -> None:
        self.count = count = array.size // 3
        self.places: Optional[List[int]] = None
        if not array.flags.c_contiguous:
            component, step = array[..., 0], array.strides[-1]
            if component.flags.c_contiguous and step > 0:
                place = address(component)
                if (place | step) % _PLANE_ALIGNMENT == 0:
                    self.places = [place, place + step, place + 2 * step]
                    self.planes: FloatArray = np.moveaxis(array, -1, 0).reshape(3, count)
                    return
            array = np.ascontiguousarray(array)
        self.planes = array.reshape(count, 3).T

    def whole(self) -> "Tuple[List[int], Any]":
        """Return the addresses of the three planes, and what keeps them there; interleaved ones are copied."""
        if self.places is not None:
            return self.places, self.planes
        room = PlaneRoom(3, self.count)
        room.planes(0, 3, (self.count,))[...] = self.planes
        return [room.start, room.start + room.step, room.start + 2 * room.step], room

    def rows(self, chosen: Array) -> FloatArray:
        """Return the vectors of chosen rays as three planes."""
        return np.ascontiguousarray(self.planes[:, chosen])


def vectors_of(array: Any, name: str) -> FloatArray:
    """Return an array (..., 3) as float32, converted once if it is of another type."""
    made = array if type(array) is np.ndarray else np.asarray(array)
    if made.dtype is FLOAT and made.ndim and made.shape[-1] == 3:
        return made
    if made.dtype.kind not in "fiu":
        raise TypeError(f"{name} must hold numbers, not {made.dtype}")
    if made.ndim < 1 or made.shape[-1] != 3:
        raise ValueError(f"{name} must have the shape (..., 3), not {made.shape}")
    if made.dtype.itemsize <= FLOAT.itemsize or made.dtype.kind != "f":
        return made.astype(FLOAT, copy=False)
    with np.errstate(over="ignore"):
        return made.astype(FLOAT)
