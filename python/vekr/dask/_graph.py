"""From a plan to a dask array: one task for each chunk of the result, and one for each small piece of a source chunk."""

from __future__ import annotations

import bisect
import itertools
import mmap
import os
import pickle
from operator import getitem
from typing import Any, Dict, Iterator, List, Optional, Sequence, Tuple

import dask.array as da
import numpy as np
from dask.base import tokenize
from dask.highlevelgraph import HighLevelGraph

from ..chunks import Need, Plan
from ..chunks._need import Slices, Span, Spans
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

    def __init__(self, spans: Spans, need: Optional[Need] = None, places: "Sequence[Place]" = ()) -> None:
        self.spans, self.need, self.places = spans, need, places

    def __reduce__(self) -> Any:
        return _Chunk, (self.spans, self.need, self.places)


def _from_store(plan: Plan, store: Any, chunk: _Chunk, *maps: Any) -> Array:
    return plan.run(store, chunk.spans, *maps)


def _from_pieces(plan: Plan, chunk: _Chunk, pieces: "List[Array]", *maps: Any) -> Array:
    need = chunk.need
    if need is None:
        return plan.compute(chunk.spans, None, None, *maps)
    parts = [piece if part is None else piece[part] for piece, (_, part) in zip(pieces, chunk.places)]
    if len(parts) == 1 and not plan.margin:
        return plan.compute(chunk.spans, need, parts[0], *maps)
    block = plan.room(need)
    for (to, _), part in zip(chunk.places, parts):
        block[to] = part
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


def graph_of(plan: Plan, source: Any, chunks: Any, what: str, maps: "Sequence[da.Array]" = (),
             needs: Optional["Dict[Tuple[int, ...], Optional[Need]]"] = None) -> da.Array:
    """Return the dask array of what a plan makes of a source.

    `needs` tells them chunk by chunk where they can't be told from the chunks alone.
    """
    token = tokenize(type(plan).__name__, pickle.dumps(plan), source, chunks, *(m.name for m in maps))
    name = f"vekr-{what}-{token}"
    plan_key, store_key = f"vekr-plan-{token}", f"vekr-source-{token}"
    graph: Dict[Any, Any] = {plan_key: plan}
    is_lazy = isinstance(source, da.Array)
    pieces = _Pieces(source, f"vekr-piece-{token}") if is_lazy else None
    if not is_lazy:
        graph[store_key] = source
    for number, spans in blocks_of(chunks):
        local = [(m.name, *number) for m in maps]
        if pieces is None:
            graph[(name, *number)] = (_from_store, plan_key, store_key, _Chunk(spans), *local)
            continue
        need = plan.needs(spans) if needs is None else needs[number]
        given, places = pieces.of(need) if need is not None else ([], [])
        graph[(name, *number)] = (_from_pieces, plan_key, _Chunk(spans, need, places), given, *local)
    if pieces is not None:
        graph.update(pieces.tasks)
    dependencies = [*maps, *([source] if is_lazy else [])]
    return da.Array(HighLevelGraph.from_collections(name, graph, dependencies=dependencies), name, chunks, dtype=plan.dtype)


def block_spans(array: da.Array) -> "Dict[Tuple[int, ...], Spans]":
    """Return the voxels of each chunk of an array."""
    return dict(blocks_of(array.chunks))


__all__ = ["Mapped", "block_spans", "blocks_of", "chunks_of", "graph_of", "source_of", "spans_of"]
