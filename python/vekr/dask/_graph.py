"""From a plan to a dask array: one task for each chunk of the result, and one for each small piece of a source chunk."""

from __future__ import annotations

import bisect
import io
import itertools
import mmap
import os
import pickle
from operator import getitem
from typing import Any, Dict, Iterator, List, Optional, Sequence, Tuple

import dask.array as da
import numpy as np
from dask.base import tokenize
from dask.blockwise import blockwise
from dask.highlevelgraph import HighLevelGraph
from dask.layers import ArraySliceDep

from ..chunks import Need, Plan
from ..chunks._need import Slices, Span, Spans, put
from ..chunks._plan import spans_of
from ..volume._planes import Array

_DEFAULT_SIDE = 128  # of chunks, where nothing tells
# A piece of a source chunk is a task of its own if that saves sending this much to another worker. Below it the chunk goes there
# whole: a task costs a scheduler and a worker together about a millisecond, in which some megabytes are sent.
_WORTH = 4 << 20


class Mapped:
    """A memory map that each process opens for itself, rather than being sent all of it."""

    def __init__(self, array: "np.memmap[Any, Any]") -> None:
        self.name = os.path.abspath(str(array.filename))
        self.shape, self.dtype, self.offset = array.shape, array.dtype, array.offset
        self.order = "C" if array.flags.c_contiguous else "F"
        self.changed = os.stat(self.name).st_mtime_ns
        self._array: Optional[Array] = array

    def __getstate__(self) -> "Dict[str, Any]":
        return {**self.__dict__, "_array": None}

    def __getitem__(self, part: Any) -> Any:
        if self._array is None:
            self._array = np.memmap(self.name, self.dtype, "r", self.offset, self.shape, self.order)  # type: ignore[call-overload]
        assert self._array is not None
        return np.asarray(self._array[part])

    def __dask_tokenize__(self) -> Any:
        return self.name, self.shape, str(self.dtype), self.offset, self.order, self.changed


def source_of(volume: Any) -> Any:
    """Return a volume as a dask array, or as something that tasks read by themselves."""
    if isinstance(volume, da.Array):
        source: Any = volume
    elif isinstance(volume, np.memmap) and isinstance(volume.base, mmap.mmap) and volume.filename:
        source = Mapped(volume)
    elif isinstance(volume, np.ndarray) or not all(hasattr(volume, a) for a in ("shape", "dtype", "__getitem__")):
        source = da.from_array(np.asarray(volume), chunks=_DEFAULT_SIDE)
    else:
        source = volume
    if len(source.shape) != 3:
        raise ValueError(f"volume must have three axes (z, y, x), not {len(source.shape)}")
    if any(side != side for side in source.shape):
        raise ValueError("the sides of the volume must be known; call compute_chunk_sizes()")
    return source


def chunks_of(chunks: Any, plan: Plan, source: Any) -> "Tuple[Tuple[int, ...], ...]":
    """Return the result's chunks; by default as large as the source's."""
    if chunks is None:
        given = getattr(source, "chunks", None) or (_DEFAULT_SIDE,) * 3
        chunks = tuple(max(c) if isinstance(c, tuple) else int(c) for c in given)
    made: Tuple[Tuple[int, ...], ...] = da.core.normalize_chunks(chunks, shape=plan.shape, dtype=plan.dtype)
    if any(0 in line for line in made):
        raise ValueError("chunks must not be empty")
    return made


def starts_of(chunks: Sequence[int]) -> List[int]:
    """Return where the chunks of an axis begin, and where the last one ends."""
    return [0, *itertools.accumulate(int(side) for side in chunks)]


def blocks_of(chunks: "Sequence[Sequence[int]]") -> "Iterator[Tuple[Tuple[int, ...], Spans]]":
    """Return the number (z, y, x) and the voxels of each chunk."""
    lines = [list(enumerate(zip(starts, starts[1:]))) for starts in map(starts_of, chunks)]
    for z, y, x in itertools.product(*lines):
        yield (z[0], y[0], x[0]), (z[1], y[1], x[1])


# Where a piece goes in a block, and which part of what is handed over it is; None: all of it.
Place = Tuple[Slices, Optional[Slices]]


class _Chunk:
    """One chunk of a result: its voxels, what it needs, and where pieces go. An object, so that dask doesn't look inside."""

    __slots__ = ("spans", "need", "places")

    def __init__(self, spans: Spans, need: Optional[Need], places: "Sequence[Place]") -> None:
        self.spans, self.need, self.places = spans, need, places

    def __reduce__(self) -> Any:
        return _Chunk, (self.spans, self.need, self.places)


def _from_store(plan: Plan, store: Any, part: Slices, *maps: Any) -> Array:
    return plan.run(store, part, *maps)


class _FromPieces:
    """What makes a chunk of a source's pieces. A function, so that a plan is sent once and not with every task."""

    __slots__ = ("plan",)

    def __init__(self, plan: Plan) -> None:
        self.plan = plan

    def __reduce__(self) -> Any:
        return _FromPieces, (self.plan,)

    def __call__(self, chunk: _Chunk, pieces: "List[Array]", *maps: Any) -> Array:
        need, plan = chunk.need, self.plan
        if need is None:
            return plan.compute(chunk.spans, None, None, *maps)
        parts = [piece if part is None else piece[part] for piece, (_, part) in zip(pieces, chunk.places)]
        if len(parts) == 1 and not plan.margin:
            return plan.compute(chunk.spans, need, parts[0], *maps)
        block = plan.room(need)
        for (to, _), part in zip(chunk.places, parts):
            put(block[to], part)
        return plan.compute(chunk.spans, need, block, *maps)


def _cut(to: Span, at: Span, starts: List[int]) -> "List[Tuple[int, Span, Span]]":
    """Return which chunks of an axis hold a run of voxels: number, where in a block they go, where in the chunk they lie."""
    found = []
    number = bisect.bisect_right(starts, at[0]) - 1
    while starts[number] < at[1]:
        first = starts[number]
        a, b = max(at[0], first), min(at[1], starts[number + 1])
        if a < b:
            found.append((number, (to[0] + a - at[0], to[0] + b - at[0]), (a - first, b - first)))
        number += 1
        if number == len(starts) - 1:
            break
    return found


class _Pieces:
    """Tasks that hand out pieces of a source's chunks."""

    def __init__(self, source: da.Array, name: str) -> None:
        self.source, self.name = source, name
        self.starts = [starts_of(line) for line in source.chunks]
        self.tasks: Dict[Any, Any] = {}

    def of(self, need: Need) -> "Tuple[List[Any], List[Place]]":
        """Return what gives the pieces of a need, and where in the block each goes."""
        pieces, places = [], []
        for to, at in need.pieces():
            lines = [_cut((t.start, t.stop), (a.start, a.stop), starts) for t, a, starts in zip(to, at, self.starts)]
            for z, y, x in itertools.product(*lines):
                key, part = self._piece((z[0], y[0], x[0]), (z[2], y[2], x[2]))
                pieces.append(key)
                places.append(((slice(*z[1]), slice(*y[1]), slice(*x[1])), part))
        return pieces, places

    def _piece(self, number: Tuple[int, int, int], part: Spans) -> "Tuple[Any, Optional[Slices]]":
        """Return the key of a source chunk and which part of it is meant, or that of a task that cuts the part out."""
        key = (self.source.name, *number)
        voxels = wanted = 1
        for (a, b), line, n in zip(part, self.source.chunks, number):
            voxels, wanted = voxels * line[n], wanted * (b - a)
        z, y, x = (slice(a, b) for a, b in part)
        if wanted == voxels:
            return key, None
        if (voxels - wanted) * self.source.dtype.itemsize < _WORTH:
            return key, (z, y, x)
        name = (self.name, *number, *itertools.chain(*part))
        self.tasks[name] = (getitem, key, (z, y, x))
        return name, None


def _content(plan: Plan) -> bytes:
    """Return what two plans share if they are equal: without marks of which parts are one object, unlike a usual pickle."""
    made = io.BytesIO()
    pickler = pickle.Pickler(made, 4)
    pickler.fast = True
    pickler.dump(plan)
    return made.getvalue()


def graph_of(plan: Plan, source: Any, chunks: Any, what: str, maps: "Sequence[da.Array]" = (),
             needs: Optional["Dict[Tuple[int, ...], Optional[Need]]"] = None) -> da.Array:
    """Return the dask array of what a plan makes of a source.

    `needs` tells them chunk by chunk where they can't be told from the chunks alone.
    """
    token = tokenize(type(plan).__name__, _content(plan), source, chunks, *(m.name for m in maps))
    name = f"vekr-{what}-{token}"
    if isinstance(source, da.Array):
        layer = _tasks_of(name, f"vekr-piece-{token}", plan, source, chunks, maps, needs)
        graph = HighLevelGraph.from_collections(name, layer, dependencies=[*maps, source])
    else:
        # In dask's own form for what is done chunk by chunk: it is sent to a cluster in one piece, and joined with what is
        # done to the chunks next.
        axes = "zyx"
        local = itertools.chain.from_iterable((m.name, axes) for m in maps)
        graph = HighLevelGraph.from_collections(
            name, blockwise(_from_store, name, axes, plan, None, source, None, ArraySliceDep(chunks), axes, *local,
                            numblocks={m.name: m.numblocks for m in maps}), dependencies=maps)
    return da.Array(graph, name, chunks, dtype=plan.dtype)


def _tasks_of(name: str, piece_name: str, plan: Plan, source: da.Array, chunks: Any, maps: "Sequence[da.Array]",
              needs: "Optional[Dict[Tuple[int, ...], Optional[Need]]]") -> "Dict[Any, Any]":
    """Return a task for each chunk, and one for each piece of a source's chunk that isn't handed over whole."""
    pieces, make = _Pieces(source, piece_name), _FromPieces(plan)
    tasks: Dict[Any, Any] = {}
    for number, spans in blocks_of(chunks):
        need = plan.needs(spans) if needs is None else needs[number]
        given, places = pieces.of(need) if need is not None else ([], [])
        tasks[(name, *number)] = (make, _Chunk(spans, need, places), given, *((m.name, *number) for m in maps))
    tasks.update(pieces.tasks)
    return tasks


def block_spans(array: da.Array) -> "Dict[Tuple[int, ...], Spans]":
    """Return the voxels of each chunk of an array."""
    return dict(blocks_of(array.chunks))


__all__ = ["Mapped", "block_spans", "blocks_of", "chunks_of", "graph_of", "source_of", "spans_of"]
