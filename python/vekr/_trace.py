"""One query to a scene: the rays, the planes of the result, and how a part of them is traced."""

from __future__ import annotations

from typing import Any, Callable, Optional, Tuple

import numpy as np
import numpy.typing as npt

from ._native import address, pointer, pointers, raw, triple
from ._rays import BAND, ENTRY, TILE, Array, Block, FloatArray, Vectors, aligned, bands_of, blocks_of, vectors_of
from ._work import Progress, run_blocks, thread_count

IntArray = npt.NDArray[np.int32]

FAR = float(np.finfo(np.float32).max)
_PARALLEL = np.float32(1.1920929e-7)  # up to here a direction's component counts as 0


class Rays:
    """One query: the rays, the result's planes, and how a block of them is traced."""

    def __init__(self, origins: Any, directions: Any, max_distance: Any, view: Any, depth: Optional[int] = None) -> None:
        self.directions = vectors_of(directions, "directions")
        self.origins = vectors_of(origins, "origins")
        self.leading = self.directions.shape[:-1]
        self.is_single = self.origins.ndim == 1
        if not self.is_single and self.origins.shape != self.directions.shape:
            try:
                leading = np.broadcast_shapes(self.origins.shape, self.directions.shape)
            except ValueError:
                raise ValueError(f"origins {self.origins.shape} and directions {self.directions.shape} do not fit") from None
            self.leading = leading[:-1]
            self.origins = np.broadcast_to(self.origins, leading)
            self.directions = np.broadcast_to(self.directions, leading)
        self.view = view
        self.before = () if depth is None else (depth,)
        self.depth = 1 if depth is None else depth
        self.along = Vectors(self.directions)
        self.count = self.along.count
        self.starts = None if self.is_single else Vectors(self.origins)
        if self.is_single:
            self.origin = triple(self.origins.tolist())
        self.limit = _limits(max_distance, self.leading)
        self.mask: Optional[npt.NDArray[np.bool_]] = None
        # Rows of the result: distance, u, v, triangle. Packets that miss the box leave weights as they are.
        self.planes = aligned((4, self.depth, self.count), make=np.zeros)
        self.distance, self.u, self.v = (self.planes[k] for k in range(3))
        self.triangle = self.planes[3].view(np.int32)

    def run(self, trace: Callable[["Span"], None], threads: Optional[int], progress: Progress) -> None:
        """Trace all blocks, and the rays that fill none."""
        blocks, rest = blocks_of(self.leading)
        spans = [Span(block, block.width * block.height, block.width, block.height) for block in blocks]
        if rest:
            spans.append(Span(Block(self.count - rest, rest, 1), rest, TILE, TILE))
        bands = bands_of(self.leading)

        def block(number: int) -> int:
            if number < len(bands):
                self._band(trace, *bands[number])
            else:
                trace(spans[number - len(bands)])
            return 0

        run_blocks(block, len(bands) + len(spans), thread_count(threads), progress)

    def _band(self, trace: Callable[["Span"], None], first: int, height: int) -> None:
        """Trace some rows of a wide picture, block by block."""
        width = self.leading[-1]
        target = self.planes.reshape(4, self.depth, -1, width)
        along = self.along.picture(width)[:, first : first + height]
        starts = None if self.starts is None else self.starts.picture(width)[:, first : first + height]
        limit = self.limit if isinstance(self.limit, float) else self.limit.reshape(-1, width)[first : first + height]
        mask = None if self.mask is None else self.mask.reshape(-1, width)[first : first + height]
        is_any, is_layered = trace == self.any, trace == self.layers
        tile: Optional[_Tile] = None
        for left in range(0, width, BAND):
            columns = slice(left, min(left + BAND, width))
            if tile is None or columns.stop - left != BAND:
                tile = _Tile(self.depth, height, columns.stop - left, starts is not None)
            _gather(along, columns, tile.vectors[:3])
            if starts is not None:
                _gather(starts, columns, tile.vectors[3:])
            result = target[:, :, first : first + height, columns]
            if is_any:
                tile.masked[...] = 0 if mask is None else np.where(mask[:, columns], 0, -1)
                raw.vekrIntersectAnySO_32f(self.origin, tile.along, tile.triangle, tile.distance, tile.size, self.view)
                np.subtract(-1, tile.masked, out=result[3, 0].view(np.int32))
                continue
            tile.results[1:3] = 0
            tile.results[0, 0] = limit if isinstance(limit, float) else limit[:, columns]
            outputs = (tile.distance, tile.weights, tile.triangle, self.view)
            if is_layered:
                raw.vekrIntersectMultipleSO_32f(self.origin, tile.along, *outputs, (*tile.size, self.depth))
                np.copyto(tile.results[0, 1:], np.float32(FAR), where=tile.results[3, 1:].view(np.int32) < 0)
            elif starts is None:
                raw.vekrIntersectEyeSO_32f(self.origin, tile.along, *outputs, tile.size)
            else:
                raw.vekrIntersectMO_32f(tile.starts, tile.along, *outputs, tile.size)
            result[...] = tile.results
        if trace == self.nearest:
            self._again(Span(Block(first * width, width, height), height * width, width, height))

    def hits(self) -> "Tuple[FloatArray, IntArray, FloatArray, FloatArray, FloatArray, FloatArray]":
        """Return distances, triangles, u and v in the rays' shape, and the rays."""
        shape = (*self.before, *self.leading)
        distance, u, v, triangle = (a.reshape(shape) for a in (self.distance, self.u, self.v, self.triangle))
        return distance, triangle, u, v, self.origins, self.directions

    def blocked(self) -> npt.NDArray[np.bool_]:
        """Return which segments are blocked."""
        result: npt.NDArray[np.bool_] = (self.triangle >= 0).reshape(self.leading)
        return result if self.mask is None else result & self.mask

    def _limit(self, first: int, count: int) -> Any:
        return self.limit if isinstance(self.limit, float) else self.limit[first : first + count]

    def _inputs(self, span: "Span", vectors: Vectors) -> "Tuple[Any, Any]":
        """Return a span's planes as a list, and what keeps them; a span that fills no block is filled up."""
        if span.is_whole:
            places, kept = vectors.of(span.block)
            return pointers(places), kept
        room = aligned((3, TILE * TILE))
        chosen = np.minimum(np.arange(TILE * TILE), span.count - 1) + span.block.first
        room[...] = vectors.rows(chosen)
        start = address(room)
        return pointers([start + ENTRY * TILE * TILE * c for c in range(3)]), room

    def nearest(self, span: "Span") -> None:
        """Find the nearest hits of a span."""
        first, count = span.block.first, span.count
        size = span.width * span.height
        room = None if span.is_whole else aligned((4, 1, size))
        target = self.planes if room is None else room
        start = address(target) + (ENTRY * first if room is None else 0)
        row = ENTRY * target.shape[2]
        distance = self.distance[0, first : first + count] if room is None else target[0, 0]
        if room is None:
            distance[...] = self._limit(first, count)
        else:
            room[1:3] = 0
            distance[...] = np.resize(self._limit(first, count), size)
        self._call(span, start, row)
        if room is not None:
            self.planes[:, 0, first:] = room[:, 0, :count]
        self._again(span)

    def _call(self, span: "Span", start: int, row: int) -> None:
        along, kept = self._inputs(span, self.along)
        outputs = (pointer(start), pointers([start + row, start + 2 * row]), pointer(start + 3 * row), self.view,
                   (span.width, span.height))
        if self.starts is None:
            raw.vekrIntersectEyeSO_32f(self.origin, along, *outputs)
        else:
            origins, kept_too = self._inputs(span, self.starts)
            raw.vekrIntersectMO_32f(origins, along, *outputs)
            del kept_too
        del kept

    def _again(self, span: "Span") -> None:
        """Trace the rays again by themselves that packets lose: parallel to y, or, with an origin each, to y or z."""
        first, count = span.block.first, span.count
        lost: Optional[npt.NDArray[np.bool_]] = None
        for axis in (1,) if self.is_single else (1, 2):
            component = np.abs(self.along.component(axis, first, count))
            if component.min() <= _PARALLEL:
                found = component <= _PARALLEL
                lost = found if lost is None else lost | found
        if lost is None:
            return
        chosen = np.flatnonzero(lost) + first
        rays = len(chosen)
        room = np.zeros((4, rays), np.float32)
        room[0] = self.limit if isinstance(self.limit, float) else self.limit[chosen]
        along = self.along.rows(chosen)
        start, row = address(room), ENTRY * rays
        planes = [address(along) + row * c for c in range(3)]
        outputs = (pointer(start), pointers([start + row, start + 2 * row]), pointer(start + 3 * row), self.view, (rays, 1))
        if self.starts is None:
            raw.vekrIntersectEyeSO_32f(self.origin, pointers(planes), *outputs)
        else:
            origins = self.starts.rows(chosen)
            raw.vekrIntersectMO_32f(pointers([address(origins) + row * c for c in range(3)]), pointers(planes), *outputs)
        self.planes[:, 0, chosen] = room

    def any(self, span: "Span") -> None:
        """Find out which segments of a span are blocked; into the row of triangles."""
        first, count, size = span.block.first, span.count, span.width * span.height
        mask = aligned((2, size), np.int32)  # mask, occluders
        mask[0] = 0
        if self.mask is not None:
            wanted = self.mask.reshape(-1)[first : first + count]
            mask[0, :count][~wanted] = -1
        along, kept = self._inputs(span, self.along)
        start = address(mask)
        raw.vekrIntersectAnySO_32f(self.origin, along, pointer(start + ENTRY * size), pointer(start),
                                   (span.width, span.height), self.view)
        del kept
        np.negative(mask[0, :count], out=self.triangle[0, first : first + count])
        self.triangle[0, first : first + count] -= 1  # 0 where blocked, otherwise -1

    def layers(self, span: "Span") -> None:
        """Find the successive hits of a span."""
        first, count, size = span.block.first, span.count, span.width * span.height
        room = aligned((4, self.depth, size), make=np.zeros)
        room[0, 0] = self._limit(first, count) if span.is_whole else np.resize(self._limit(first, count), size)
        along, kept = self._inputs(span, self.along)
        start, row = address(room), ENTRY * size * self.depth
        raw.vekrIntersectMultipleSO_32f(self.origin, along, pointer(start), pointers([start + row, start + 2 * row]),
                                        pointer(start + 3 * row), self.view, (span.width, span.height, self.depth))
        del kept
        np.copyto(room[0, 1:], np.float32(FAR), where=room[3, 1:].view(np.int32) < 0)
        self.planes[:, :, first : first + count] = room[:, :, :count]


def _gather(source: FloatArray, columns: slice, target: FloatArray) -> None:
    """Copy some columns of three pictures."""
    if source.strides[2] == ENTRY:
        target[...] = source[:, :, columns]
    else:
        for c in range(3):  # one by one: numpy would go over interleaved components innermost
            target[c] = source[c, :, columns]


class _Tile:
    """Memory of a block of a wide picture, and the pointers to it."""

    def __init__(self, depth: int, height: int, width: int, has_starts: bool) -> None:
        count, inputs = height * width, 6 if has_starts else 3
        room = aligned((inputs + 4 * depth, count), make=np.zeros)
        planes = [address(room) + ENTRY * count * k for k in range(inputs + 4 * depth)]
        self.size = (width, height)
        self.vectors = room[:inputs].reshape(inputs, height, width)
        self.results = room[inputs:].reshape(4, depth, height, width)
        self.masked = self.results[0, 0].view(np.int32)
        self.along, self.starts = pointers(planes[:3]), pointers(planes[3:6])
        self.distance, self.triangle = pointer(planes[inputs]), pointer(planes[inputs + 3 * depth])
        self.weights = pointers([planes[inputs + depth], planes[inputs + 2 * depth]])


class Span:
    """Rays `block` that are traced as a block of width * height rays, which may be more."""

    def __init__(self, block: Block, count: int, width: int, height: int) -> None:
        self.block, self.count, self.width, self.height = block, count, width, height
        self.is_whole = count == width * height


def _limits(max_distance: Any, leading: Tuple[int, ...]) -> Any:
    """Return the farthest distances: one number, or one for each ray in their order."""
    if max_distance is None:
        return FAR
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
