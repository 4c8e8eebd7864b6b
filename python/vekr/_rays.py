"""Rays as the library takes them: blocks of planes whose sides are multiples of four, 16-byte aligned.

Rays of any leading shape are numbered in one row. A picture whose width is a multiple of four is cut into bands
of rows. Up to 128 columns a band of the picture's own planes is a block, and nothing is copied but interleaved directions;
in a wider one each band goes through blocks of 128 columns, which is worth the copies: neighbours in both directions meet the
same nodes. A list becomes blocks of four columns, so that sixteen rays in a row are a tile. The last rays that fill no tile
go through a block of their own.
"""

from __future__ import annotations

from typing import Any, Callable, List, NamedTuple, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

from ._native import address

FloatArray = npt.NDArray[np.float32]
Array = npt.NDArray[Any]

TILE = 4
_TILE_RAYS = TILE * TILE
_BLOCK_RAYS = 1 << 14  # about; a block's planes then stay in the second cache
_LEAST_PICTURE_WIDTH = 16
_WIDEST_BLOCK = 128
BAND = 128  # rows of a band, and columns of its blocks
_CACHE_LINE = 64
_PLANE_ALIGNMENT = 16
ENTRY = 4  # bytes of an entry of a plane
FLOAT = np.dtype(np.float32)
LIMIT = 2**31 - 1


def aligned(shape: Sequence[int], dtype: Any = np.float32, make: Callable[[int, Any], Array] = np.empty) -> Array:
    """Return an array that starts on a cache line, uninitialised unless `make` is ``np.zeros``."""
    dtype = np.dtype(dtype)
    size = dtype.itemsize
    for side in shape:
        size *= int(side)
    room = make(size + _CACHE_LINE, np.uint8)
    start = -address(room) % _CACHE_LINE
    made: Array = room[start : start + size].view(dtype).reshape(shape)
    return made


def vector_planes(leading: Sequence[int]) -> FloatArray:
    """Return an uninitialised array (..., 3) whose components lie in planes, as the library likes them."""
    return np.moveaxis(aligned((3, *leading)), 0, -1)


class Block(NamedTuple):
    """Rays `first` to `first + width * height`."""

    first: int
    width: int
    height: int


def bands_of(leading: Tuple[int, ...]) -> "List[Tuple[int, int]]":
    """Return first row and number of rows of each band of a wide picture; none of anything else."""
    if len(leading) < 2 or leading[-1] <= _WIDEST_BLOCK or leading[-1] % TILE:
        return []
    rows = 1
    for side in leading[:-1]:
        rows *= side
    return [(first, min(BAND, rows // TILE * TILE - first)) for first in range(0, rows // TILE * TILE, BAND)]


def blocks_of(leading: Tuple[int, ...]) -> "Tuple[List[Block], int]":
    """Return the blocks of rays of a leading shape that are in no band, and how many rays at the end are in none.

    Where rays are cut does not depend on the number of threads.
    """
    count = 1
    for side in leading:
        count *= side
    blocks: List[Block] = []
    first = sum(height for _, height in bands_of(leading)) * (leading[-1] if leading else 1)
    if not first and len(leading) >= 2 and leading[-1] >= _LEAST_PICTURE_WIDTH and leading[-1] % TILE == 0:
        width = leading[-1]
        strip = max(TILE, _BLOCK_RAYS // width // TILE * TILE)
        while count - first >= TILE * width:
            height = min(strip, (count - first) // width // TILE * TILE)
            blocks.append(Block(first, width, height))
            first += width * height
    while count - first >= _TILE_RAYS:
        tiles = min(_BLOCK_RAYS, count - first) // _TILE_RAYS
        blocks.append(Block(first, TILE, tiles * TILE))
        first += tiles * _TILE_RAYS
    return blocks, count - first


class Vectors:
    """Three components of every ray: planes where they lie, or an interleaved array that is taken apart block by block."""

    def __init__(self, array: FloatArray) -> None:
        self.count = array.size // 3
        self.flat: Optional[FloatArray] = None
        if not array.flags.c_contiguous:
            planes = np.moveaxis(array, -1, 0)
            first, step = address(planes), planes.strides[0]
            if planes[0].flags.c_contiguous and (first | step) % _PLANE_ALIGNMENT == 0:
                self.places = [first, first + step, first + 2 * step]
                self.kept = array
                return
            array = np.ascontiguousarray(array)
        self.flat = array.reshape(-1, 3)

    def of(self, block: Block) -> "Tuple[List[int], Any]":
        """Return the addresses of a block's three planes, and what keeps them there."""
        if self.flat is None:
            return [place + ENTRY * block.first for place in self.places], None
        count = block.width * block.height
        room = aligned((3, count))
        np.copyto(room, self.flat[block.first : block.first + count].T)
        start = address(room)
        return [start + ENTRY * count * c for c in range(3)], room

    def component(self, c: int, first: int, count: int) -> FloatArray:
        """Return one component of some rays."""
        if self.flat is not None:
            return self.flat[first : first + count, c]
        return self.kept[..., c].reshape(-1)[first : first + count]

    def picture(self, width: int) -> FloatArray:
        """Return the components as three pictures."""
        if self.flat is not None:
            return np.moveaxis(self.flat.reshape(-1, width, 3), -1, 0)
        return np.moveaxis(self.kept, -1, 0).reshape(3, -1, width)

    def rows(self, chosen: Array) -> FloatArray:
        """Return the vectors of chosen rays as three planes."""
        if self.flat is not None:
            return np.ascontiguousarray(self.flat[chosen].T)
        return np.stack([self.kept[..., c].reshape(-1)[chosen] for c in range(3)])


def vectors_of(array: Any, name: str) -> FloatArray:
    """Return an array (..., 3) as float32, converted once if it is of another type."""
    made = np.asarray(array)
    if made.dtype.kind not in "fiu":
        raise TypeError(f"{name} must hold numbers, not {made.dtype}")
    if made.ndim < 1 or made.shape[-1] != 3:
        raise ValueError(f"{name} must have the shape (..., 3), not {made.shape}")
    if made.dtype.itemsize <= FLOAT.itemsize or made.dtype.kind != "f":
        return made.astype(FLOAT, copy=False)
    with np.errstate(over="ignore"):
        return made.astype(FLOAT)
