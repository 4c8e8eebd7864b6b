"""One query to a scene: the rays, the planes of the result, and how a block of them is traced."""

from __future__ import annotations

from typing import Any, Callable, List, Optional, Tuple

import numpy as np
import numpy.typing as npt

from ._desk import DISTANCE, FAR, TRIANGLE, U, Desk, IntArray as IntArray, give, put_farthest, take, take_layers
from ._native import address, pointer, pointers, raw
from ._rays import (ENTRY, FLOAT, INT, TILE, Array, Block, FloatArray, PlaneRoom, Vectors, blocks_of, count_of, vectors_of)
from ._work import Progress, run_blocks, thread_count

BoolArray = npt.NDArray[np.bool_]

_PARALLEL = np.float32(1.1920929e-7)  # up to here a direction's component counts as 0
# Blocks whose layers are copied: so many columns, and so many rays, that they stay in the second cache until then.
_WIDEST, _MOST_COPIED = 128, 1 << 12
_abs = np.absolute
_nearest_of_eye, _nearest_of_many = raw.vekrIntersectEyeSO_32f, raw.vekrIntersectMO_32f
_any_of_one, _layers_of_one = raw.vekrIntersectAnySO_32f, raw.vekrIntersectMultipleSO_32f


class Rays:
    """One query: the rays, the result's planes, and how a block of them is traced."""

    __slots__ = ("directions", "origins", "leading", "is_single", "view", "along", "starts", "count",
                 "origin", "limit", "mask", "planes", "result", "blocked", "depth", "_room", "_start", "_step")

    def __init__(self, origins: Any, directions: Any, max_distance: Any, view: Any) -> None:
        self.directions = vectors_of(directions, "directions")
        self.origins = vectors_of(origins, "origins")
        self.is_single = self.origins.ndim == 1
        if not self.is_single and self.origins.shape != self.directions.shape:
            try:
                whole = np.broadcast_shapes(self.origins.shape, self.directions.shape)
            except ValueError:
                raise ValueError(f"origins {self.origins.shape} and directions {self.directions.shape} do not fit") from None
            self.origins = np.broadcast_to(self.origins, whole)
            self.directions = np.broadcast_to(self.directions, whole)
        self.leading = self.directions.shape[:-1]
        self.view = view
        self.along = Vectors(self.directions)
        self.count = self.along.count
        self.starts = None if self.is_single else Vectors(self.origins)
        self.origin = self.origins.tolist() if self.is_single else None
        self.limit = FAR if max_distance is None else _limits(max_distance, self.leading)
        self.mask: Optional[BoolArray] = None
        self.result: List[Array]

    # ------------------------------------------------------------ queries

    def nearest(self, threads: Optional[int], progress: Progress) -> None:
        """Find the nearest hits."""
        self._take_result((self.count,))
        self._run(self._nearest, threads, progress)

    def any(self, mask: Any, threads: Optional[int], progress: Progress) -> BoolArray:
        """Tell which segments are blocked."""
        if mask is not None:
            self.mask = np.broadcast_to(np.asarray(mask, bool), self.leading).reshape(-1)
        if self.is_single:
            self.blocked = np.empty(self.count, bool)
            self._run(self._any, threads, progress)
        else:
            self.nearest(threads, progress)
            self.blocked = self.result[TRIANGLE] >= 0
            if self.mask is not None:
                self.blocked &= self.mask
        return self.blocked.reshape(self.leading)

    def layers(self, depth: int, threads: Optional[int], progress: Progress) -> None:
        """Find successive hits."""
        self.depth = depth
        blocks, rest = blocks_of(self.leading)
        if len(blocks) == 1 and not rest:
            # A block's layers lie one behind the other, and so do those of all rays if they are a block.
            self._take_result((depth, self.count))
            if threads is None and progress is None:
                self._layers_in_place(blocks[0], self.count)
            else:
                self._run(self._layers_in_place, threads, progress)
            return
        # Apart: memory of below 32 MB is taken from what was freed before, without new pages.
        self.result = [np.empty((depth, self.count), INT if k == TRIANGLE else FLOAT) for k in range(4)]
        self._run(self._layers, threads, progress)

    def hits(self, shape: Tuple[int, ...]) -> "Tuple[FloatArray, IntArray, FloatArray, FloatArray, FloatArray, FloatArray]":
        """Return distances, triangles, u and v in a shape, and the rays."""
        distance, u, v, triangle = self.result
        if distance.shape != shape:
            distance, u, v, triangle = (distance.reshape(shape), u.reshape(shape), v.reshape(shape), triangle.reshape(shape))
        return distance, triangle, u, v, self.origins, self.directions

    def _take_result(self, shape: Tuple[int, ...]) -> None:
        """Make room for the result's planes."""
        self._room = room = PlaneRoom(4, count_of(shape))
        self._start, self._step = room.start, room.step
        self.planes = room.planes(0, 4, shape)
        distance, u, v, triangle = self.planes
        self.result = [distance, u, v, triangle.view(INT)]

    def _run(self, trace: "Callable[[Block, int], None]", threads: Optional[int], progress: Progress) -> None:
        """Trace all blocks, and the rays that fill none as a block that is filled up."""
        blocks, rest = blocks_of(self.leading)
        if rest:
            blocks = (*blocks, Block(self.count - rest, TILE, TILE))
        if len(blocks) <= 1 and progress is None:
            if threads is not None:
                thread_count(threads)
            for block in blocks:
                trace(block, rest or block.width * block.height)
            return
        last = len(blocks) - 1 if rest else len(blocks)

        def work(number: int) -> int:
            block = blocks[number]
            trace(block, rest if number == last else block.width * block.height)
            return 0

        run_blocks(work, len(blocks), thread_count(threads), progress)

    # ------------------------------------------------------------ blocks

    def _gathered(self, vectors: Vectors, first: int, count: int, own: FloatArray) -> None:
        """Copy a block's vectors to its desk; the last one fills a block that is not full."""
        if count == own.shape[1]:
            own[...] = vectors.planes[:, first : first + count]
        else:
            own[:, :count] = vectors.planes[:, first:]
            own[:, count:] = vectors.planes[:, first + count - 1 :]

    def _along(self, desk: Desk, first: int, count: int, is_whole: bool) -> "Tuple[Any, FloatArray]":
        """Return a block's directions as a list of planes, and as rows."""
        places = self.along.places
        if places is None or not is_whole:
            self._gathered(self.along, first, count, desk.along)
            return desk.own_along, desk.along
        slots, place = desk.slots, first * ENTRY
        slots[6], slots[7], slots[8] = places[0] + place, places[1] + place, places[2] + place
        return desk.there_along, self.along.planes[:, first : first + count]

    def _starts(self, desk: Desk, first: int, count: int, is_whole: bool) -> Any:
        """Return a block's origins as a list of planes."""
        assert self.starts is not None
        places = self.starts.places
        if places is None or not is_whole:
            self._gathered(self.starts, first, count, desk.starts)
            return desk.own_starts
        slots, place = desk.slots, first * ENTRY
        slots[9], slots[10], slots[11] = places[0] + place, places[1] + place, places[2] + place
        return desk.there_starts

    def _nearest(self, block: Block, count: int) -> None:
        first, width, height = block
        size = width * height
        desk = take(size)
        if count == size:
            start, step, end = self._start + ENTRY * first, self._step, first + count
            distance = self.planes[DISTANCE, first:end]
            # Packets that miss the box leave weights as they are.
            if not self._room.is_cleared:
                self.planes[U:TRIANGLE, first:end].fill(0)
        else:
            room = np.zeros((4, size), FLOAT)
            start, step = address(room), ENTRY * size
            distance, end = room[DISTANCE, :count], first + count
        if isinstance(self.limit, float):
            distance.fill(self.limit)
        else:
            distance[...] = self.limit[first:end]
        along, components = self._along(desk, first, count, count == size)
        slots = desk.slots
        slots[12], slots[13] = start + step, start + 2 * step
        if self.starts is None:
            _nearest_of_eye(self.origin, along, pointer(start), desk.weights, pointer(start + 3 * step), self.view, (width, height))
        else:
            _nearest_of_many(self._starts(desk, first, count, count == size), along, pointer(start), desk.weights,
                             pointer(start + 3 * step), self.view, (width, height))
        if count != size:
            for k in range(4):
                self.result[k][first:] = room[k, :count].view(self.result[k].dtype)
        # Packets lose rays that are parallel to y, or, with an origin each, to y or z.
        scratch = desk.scratch
        is_lossy = _is_near_0(_abs(components[1], scratch))
        if self.starts is not None:
            is_lossy = is_lossy or _is_near_0(_abs(components[2], scratch))
        if is_lossy:
            self._again(first, components[:, :count])
        give(size, desk)

    def _again(self, first: int, components: FloatArray) -> None:
        """Trace those of some rays by themselves that packets lose."""
        lost = np.abs(components[1]) <= _PARALLEL
        if self.starts is not None:
            lost |= np.abs(components[2]) <= _PARALLEL
        chosen = np.flatnonzero(lost) + first
        rays = len(chosen)
        if not rays:
            return
        room = np.zeros((4, rays), FLOAT)
        room[DISTANCE] = self.limit if isinstance(self.limit, float) else self.limit[chosen]
        along = self.along.rows(chosen)
        start, row = address(room), ENTRY * rays
        planes = pointers([address(along) + row * c for c in range(3)])
        outputs = (pointer(start), pointers([start + row, start + 2 * row]), pointer(start + 3 * row), self.view, (rays, 1))
        if self.starts is None:
            _nearest_of_eye(self.origin, planes, *outputs)
        else:
            origins = self.starts.rows(chosen)
            _nearest_of_many(pointers([address(origins) + row * c for c in range(3)]), planes, *outputs)
        for k in range(4):
            self.result[k][chosen] = room[k].view(self.result[k].dtype)

    def _any(self, block: Block, count: int) -> None:
        first, width, height = block
        size = width * height
        desk = take(size)
        masked = desk.masked
        wanted = None if self.mask is None else self.mask[first : first + count]
        if wanted is None:
            masked.fill(0)
        else:
            masked[:count] = wanted
            masked[count:] = 1
            masked -= 1  # -1: not to be traced
        along, _ = self._along(desk, first, count, count == size)
        _any_of_one(self.origin, along, desk.occluders, desk.mask, (width, height), self.view)
        blocked = self.blocked[first : first + count]
        np.not_equal(masked if count == size else masked[:count], 0, blocked)
        if wanted is not None:
            blocked &= wanted
        give(size, desk)

    def _layers_in_place(self, block: Block, count: int) -> None:
        _, width, height = block
        desk = take(count)
        if not self._room.is_cleared:
            self.planes[:TRIANGLE].fill(0)
        self.planes[DISTANCE, 0] = self.limit
        along, _ = self._along(desk, 0, count, True)
        slots, start, step = desk.slots, self._start, self._step
        slots[12], slots[13] = start + step, start + 2 * step
        _layers_of_one(self.origin, along, pointer(start), desk.weights, pointer(start + 3 * step), self.view,
                       (width, height, self.depth))
        if self.depth > 1:
            put_farthest(self.planes[DISTANCE, 1:].view(INT), self.planes[TRIANGLE, 1:].view(INT))
        give(count, desk)

    def _layers(self, block: Block, count: int) -> None:
        first, width, height = block
        whole = width * height
        planes, limits = self.along.planes[:, first : first + count], self.limit
        if not isinstance(limits, float):
            limits = limits[first : first + count]
        targets = [plane[:, first : first + count] for plane in self.result]
        if count < whole:
            # The last rays: those that fill the block up are copies of the last of them.
            filled = np.concatenate([planes, np.repeat(planes[:, -1:], whole - count, axis=1)], axis=1)
            if not isinstance(limits, float):
                limits = np.concatenate([limits, np.full(whole - count, FAR, FLOAT)]).reshape(height, width)
            made = [np.empty((self.depth, height, width), plane.dtype) for plane in targets]
            self._copied(filled.reshape(3, height, width), limits, made)
            for plane, target in zip(made, targets):
                target[...] = plane.reshape(self.depth, whole)[:, :count]
            return
        pictures = [plane.reshape(self.depth, height, width) for plane in targets]
        sources = planes.reshape(3, height, width)
        if not isinstance(limits, float):
            limits = limits.reshape(height, width)
        if whole <= _MOST_COPIED and width <= _WIDEST:
            self._copied(sources, limits, pictures)
            return
        rows = max(TILE, _MOST_COPIED // min(width, _WIDEST) // TILE * TILE)
        for left in range(0, width, _WIDEST):
            for top in range(0, height, rows):
                part = slice(top, top + rows), slice(left, left + _WIDEST)
                self._copied(sources[(slice(None), *part)], limits if isinstance(limits, float) else limits[part],
                             [picture[(slice(None), *part)] for picture in pictures])

    def _copied(self, along: FloatArray, limits: Any, targets: List[Array]) -> None:
        """Find the layers of rays along (3, height, width), and copy them to where they stay."""
        _, height, width = along.shape
        sides = width, height, self.depth
        desk = take_layers(sides)
        desk.along[...] = along
        desk.clear()
        desk.nearest[...] = limits
        directions, distance, weights, triangle = desk.places
        _layers_of_one(self.origin, directions, distance, weights, triangle, self.view, sides)
        desk.finish()
        for layers, target in zip(desk.layers, targets):
            target[...] = layers
        give(sides, desk)


def _is_near_0(sizes: FloatArray) -> bool:
    """Whether one of the sizes counts as 0, or is NaN."""
    # Twice as fast as a minimum, and NaN comes first.
    return not sizes[sizes.argmin()] > _PARALLEL


def _limits(max_distance: Any, leading: Tuple[int, ...]) -> Any:
    """Return the farthest distances: one number, or one for each ray in their order."""
    array = np.asarray(max_distance)
    if array.dtype.kind not in "fiu":
        raise TypeError("max_distance must be a number, or hold numbers")
    with np.errstate(over="ignore"):
        array = array.astype(np.float32, copy=False)
    if array.ndim == 0:
        return float(array)
    try:
        return np.ascontiguousarray(np.broadcast_to(array, leading)).reshape(-1)
    except ValueError:
        raise ValueError(f"max_distance {array.shape} does not fit rays of shape {leading}") from None
