"""What all plans have in common: a result that is computed part by part, each with the bits of the whole."""

from __future__ import annotations

import itertools
from typing import Any, Collection, List, Optional, Sequence, Tuple, Union

import numpy as np

from .._work import Progress, run_blocks, thread_count
from ..volume._planes import Array, Region, Shape, box_of, check_shape, filler, lies_well, native, shape_of
from ._need import Need, Spans, put, room_of


def spans_of(region: Region, shape: Shape, name: str = "chunk") -> Spans:
    """Return a region of a shape as (start, stop) pairs."""
    x, y, z, width, height, depth = box_of(region, shape, name)
    return (z, z + depth), (y, y + height), (x, x + width)


def sides(spans: Spans) -> Shape:
    """Return the shape of a part."""
    return tuple(b - a for a, b in spans)


def within(spans: Spans, bounds: Spans) -> Optional[Spans]:
    """Return what of a part lies within bounds, None if nothing does."""
    z, y, x = ((max(a, low), min(b, high)) for (a, b), (low, high) in zip(spans, bounds))
    return (z, y, x) if z[0] < z[1] and y[0] < y[1] and x[0] < x[1] else None


def inner(spans: Spans, outer: Spans) -> "Tuple[slice, slice, slice]":
    """Return a part as slices of a block that holds another one."""
    z, y, x = (slice(a - first, b - first) for (a, b), (first, _) in zip(spans, outer))
    return z, y, x


class Plan:
    """A call on a whole volume, of which parts can be computed.

    Attributes
    ----------
    source_shape, shape : (int, int, int)
        Of the whole source and of the whole result, (z, y, x).
    dtype : numpy.dtype
        Of both.

    Notes
    -----
    A plan holds no voxels, is never changed, and can be pickled: any number of threads and processes may use it.
    """

    source_shape: Shape
    shape: Shape
    dtype: "np.dtype[Any]"
    fill: Any = None
    margin: int = 0  # voxels that must be readable before and behind a block
    maps: int = 0  # arrays of the result's shape that go into it

    def _take_source(self, source_shape: Any, dtype: Any, types: "Collection[np.dtype[Any]]", fill: Any) -> None:
        self.source_shape = shape_of(source_shape, "source_shape")
        check_shape(self.source_shape, "source_shape")
        self.dtype = native(np.dtype(dtype))
        if self.dtype not in types:
            raise TypeError(f"a volume must be of type {', '.join(map(str, types))}, not {self.dtype}")
        self.fill = None if fill is None else filler(fill, self.dtype)

    def needs(self, chunk: Region, *maps: Any) -> Optional[Need]:
        """Return what a part of the result needs of the source; None if nothing.

        Parameters
        ----------
        chunk : three slices or (start, stop) pairs
            The part, (z, y, x); None is all of the result.
        maps : array_like
            The chunk's own part of what a plan takes beside its source: coordinates (:class:`Remap`).
        """
        return self._needs(spans_of(chunk, self.shape), *self._maps(chunk, maps))

    def compute(self, chunk: Region, need: Optional[Need], block: Any, *maps: Any) -> Array:
        """Return a part of the result.

        Parameters
        ----------
        chunk, maps
            As for :meth:`needs`.
        need : Need or None
            What :meth:`needs` has told.
        block : array_like
            These voxels, as :meth:`read` gives them; None if there are none.

        Raises
        ------
        ValueError
            If it is not what this part needs, or the block has not its shape.
        """
        spans = spans_of(chunk, self.shape)
        maps = self._maps(chunk, maps)
        # Nothing outside of a block may be read, whatever a caller says.
        if need != self._needs(spans, *maps):
            raise ValueError(f"the part {spans} does not need {need}")
        return self._part(spans, need, block, *maps)

    def _part(self, spans: Spans, need: Optional[Need], block: Any, *maps: Any) -> Array:
        if need is None:
            return self._empty(sides(spans))
        array = np.asarray(block)
        if array.dtype != self.dtype or array.shape != need.shape:
            raise ValueError(f"the block must be {self.dtype} of shape {need.shape}, not {array.dtype} of {array.shape}")
        if not lies_well(array):
            array = np.ascontiguousarray(array, self.dtype)
        return self._compute(spans, need, array, *maps)

    def room(self, need: Need) -> Array:
        """Return an uninitialised block for these voxels; :meth:`compute` then needs no copy of it."""
        return room_of(need.shape, self.dtype, self.margin)

    def read(self, source: Any, need: Need) -> Array:
        """Return a block with these voxels of a source, anything that is indexed like an array."""
        pieces = list(need.pieces())
        if len(pieces) == 1 and not self.margin:
            block = np.asarray(source[pieces[0][1]])
            if block.dtype == self.dtype and block.shape == need.shape:
                return block
        block = self.room(need)
        for to, at in pieces:
            values = np.asarray(source[at])
            if values.dtype != self.dtype:
                raise TypeError(f"the source must be of type {self.dtype}, not {values.dtype}")
            put(block[to], values)
        return block

    def run(self, source: Any, chunk: Region, *maps: Any) -> Array:
        """Return a part of the result, reading from the source what that needs and nothing else."""
        if tuple(source.shape) != self.source_shape:
            raise ValueError(f"the source must have the shape {self.source_shape}, not {tuple(source.shape)}")
        spans = spans_of(chunk, self.shape)
        maps = self._maps(chunk, maps)
        need = self._needs(spans, *maps)
        return self._part(spans, need, None if need is None else self.read(source, need), *maps)

    def into(self, out: Any, source: Any, *maps: Any, chunks: Union[int, Tuple[int, int, int]] = 128,
             threads: Optional[int] = None, progress: Progress = None) -> Any:
        """Compute all of the result part by part, as from one memory map into another.

        Parameters
        ----------
        out : array
            Of the plan's shape and type, anything that is written like an array.
        source : array
            Anything that is indexed like an array.
        maps : array
            Of the result's shape.
        chunks : int or (int, int, int)
            Sides of a part. The result does not depend on it.
        threads, progress
            As in :func:`vekr.volume.resize`; each thread works on a part of its own.

        Returns
        -------
        array
            `out`.
        """
        if tuple(out.shape) != self.shape or out.dtype != self.dtype:
            raise ValueError(f"out must be {self.dtype} of shape {self.shape}, not {out.dtype} of {tuple(out.shape)}")
        each = shape_of((chunks,) * 3 if isinstance(chunks, int) else chunks, "chunks")
        parts = list(parts_of(self.shape, each))

        def work(number: int) -> int:
            part = tuple(slice(a, b) for a, b in parts[number])
            out[part] = self.run(source, part, *(m[part] for m in maps))
            return 0

        run_blocks(work, len(parts), thread_count(threads), progress)
        return out

    def _empty(self, shape: Shape) -> Array:
        """Return what the places of a part hold that are not written."""
        return np.zeros(shape, self.dtype) if not self.fill else np.full(shape, self.fill, self.dtype)

    def _maps(self, chunk: Region, maps: "Tuple[Any, ...]") -> "Tuple[Any, ...]":
        if len(maps) != self.maps:
            raise TypeError(f"{type(self).__name__} takes {self.maps} maps, not {len(maps)}")
        return maps

    def _needs(self, spans: Spans, *maps: Any) -> Optional[Need]:
        raise NotImplementedError

    def _compute(self, spans: Spans, need: Need, block: Array, *maps: Any) -> Array:
        raise NotImplementedError


def parts_of(shape: Sequence[int], each: Sequence[int]) -> "List[Spans]":
    """Return the parts that a shape is cut into."""
    lines = [[(a, min(a + step, side)) for a in range(0, side, step)] for side, step in zip(shape, each)]
    return [(z, y, x) for z, y, x in itertools.product(*lines)]
