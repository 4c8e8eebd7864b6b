"""Which voxels of a source a part of a result needs, and how they are read."""

from __future__ import annotations

import itertools
from typing import Any, Iterator, Optional, Sequence, Tuple

import numpy as np

from .._native import address
from ..volume._planes import Array, Shape

Span = Tuple[int, int]  # first voxel, and the one behind the last
Spans = Tuple[Span, Span, Span]  # of z, y, x
Slices = Tuple[slice, slice, slice]


_MANY_ROWS = 1 << 10  # from here on looking at them in another way costs less than it saves


class Need:
    """The voxels of a source that a part of a result needs: a box.

    Where a filter goes round the end of a volume (``border="wrap"``) there may be several runs of voxels along an axis; a
    block then has them one behind the other.

    Attributes
    ----------
    runs : tuple
        For z, y and x one or more (start, stop) pairs.
    """

    __slots__ = ("runs",)

    def __init__(self, *runs: Sequence[Span]) -> None:
        self.runs = tuple(tuple((int(a), int(b)) for a, b in axis) for axis in runs)

    def __reduce__(self) -> Any:
        return Need, self.runs

    def __repr__(self) -> str:
        return f"Need{self.runs}"

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Need) and self.runs == other.runs

    __hash__ = None  # type: ignore[assignment]

    @property
    def shape(self) -> Shape:
        """Shape (z, y, x) of a block with all these voxels."""
        return tuple(sum(b - a for a, b in axis) for axis in self.runs)

    @property
    def voxels(self) -> int:
        """How many there are."""
        depth, height, width = self.shape
        return depth * height * width

    @property
    def start(self) -> Shape:
        """The first voxel (z, y, x)."""
        return tuple(axis[0][0] for axis in self.runs)

    @property
    def box(self) -> Slices:
        """The box as slices of the source.

        Raises
        ------
        ValueError
            If it is none.
        """
        if any(len(axis) > 1 for axis in self.runs):
            raise ValueError("the voxels that are needed are no box; read them with a plan's read()")
        z, y, x = (slice(*axis[0]) for axis in self.runs)
        return z, y, x

    def pieces(self) -> "Iterator[Tuple[Slices, Slices]]":
        """Return where in a block each box of voxels goes, and where in the source it lies."""
        placed = []
        for axis in self.runs:
            at, line = 0, []
            for a, b in axis:
                line.append((slice(at, at + b - a), slice(a, b)))
                at += b - a
            placed.append(line)
        for z, y, x in itertools.product(*placed):
            yield (z[0], y[0], x[0]), (z[1], y[1], x[1])


def put(target: Array, values: Array) -> None:
    """Copy a box of voxels to a place of its shape and type.

    A row of a piece often has few voxels, which numpy copies one by one; seen as one thing of as many bytes it is moved.
    """
    width = target.shape[-1]
    if (1 < width and target.size >= _MANY_ROWS * width and target.shape == values.shape and target.dtype == values.dtype
            and target.strides[-1] == values.strides[-1] == target.itemsize):
        row = np.dtype((np.void, width * target.itemsize))
        try:
            target, values = target.view(row), values.view(row)
        except ValueError:  # numpy before 1.23 sees only arrays of one piece in another type
            pass
    target[...] = values


def room_of(shape: Sequence[int], dtype: "np.dtype[Any]", margin: int = 0) -> Array:
    """Return an uninitialised block with `margin` readable voxels before and behind it."""
    depth, height, width = shape
    count = depth * height * width
    flat = np.empty(count + 2 * margin, dtype)
    flat[:margin] = 0
    flat[margin + count :] = 0
    made: Array = flat[margin : margin + count].reshape(depth, height, width)
    return made


def has_margin(block: Array, margin: int) -> bool:
    """Whether `margin` voxels before and behind a contiguous block are readable."""
    base: Optional[Any] = block.base
    if not isinstance(base, np.ndarray) or not base.flags.c_contiguous or not block.flags.c_contiguous:
        return False
    before = address(block) - address(base)
    behind = base.nbytes - before - block.nbytes
    return min(before, behind) >= margin * block.itemsize
