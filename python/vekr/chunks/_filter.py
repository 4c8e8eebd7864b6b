"""Parts of a filtered volume."""

from __future__ import annotations

from typing import Any, List, Optional, Tuple

import numpy as np
import numpy.typing as npt

from ..volume._filter import (BORDERS, TYPES, VECTOR_WIDTH, anchor_of, constant_of, convolve, divisor_of, folded, kernel_of,
                              plan_of)
from ..volume._planes import Array, Shape, shape_of
from ._need import Need, Span, Spans
from ._plan import Plan, inner, sides

Places = npt.NDArray[np.intp]


class Filter(Plan):
    """Parts of what :func:`vekr.volume.filter` gives for a whole volume.

    Parameters
    ----------
    source_shape : (int, int, int)
        Shape (z, y, x) of the whole source, which is int16.
    kernel, divisor, anchor, border, value
        As in :func:`vekr.volume.filter`.

    Notes
    -----
    A quotient that stands near a half may be rounded otherwise in the two forms that the library has. Which form a call has
    depends on the kernel and on whether a row has 16 voxels; parts have the form of the whole, so that one narrower than
    16 voxels is computed 16 wide.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> from vekr import chunks
    >>> volume = np.arange(8000, dtype=np.int16).reshape(20, 20, 20)
    >>> kernel = np.ones((3, 3, 3), int)
    >>> plan = chunks.Filter(volume.shape, kernel, divisor=27)
    >>> part = (slice(4, 8), slice(0, 10), slice(10, 20))
    >>> plan.needs(part).box
    (slice(3, 9, None), slice(0, 11, None), slice(3, 20, None))
    >>> bool(np.array_equal(plan.run(volume, part), vekr.volume.filter(volume, kernel, divisor=27)[part]))
    True
    """

    def __init__(self, source_shape: Any, kernel: Any, *, divisor: int = 1, anchor: Optional[Tuple[int, int, int]] = None,
                 border: str = "nearest", value: int = 0) -> None:
        self._take_source(source_shape, np.int16, TYPES, None)
        self._taps = np.ascontiguousarray(kernel_of(kernel))
        self._sides = shape_of(self._taps.shape, "kernel")
        self._divisor = divisor_of(divisor)
        self._anchor = anchor_of(anchor, self._sides)
        self._before = tuple(side - 1 - a for side, a in zip(self._sides, self._anchor))
        self._border, self._value = border, 0
        self.shape = self.source_shape
        if border == "valid":
            if any(s < k for s, k in zip(self.source_shape, self._sides)):
                raise ValueError(f"the kernel {self._sides} is larger than the volume {self.source_shape}")
            self.shape = tuple(s - k + 1 for s, k in zip(self.source_shape, self._sides))
        elif border not in BORDERS:
            raise ValueError(f"border must be one of {', '.join([*BORDERS, 'valid'])}, not {border!r}")
        elif border == "constant":
            self._value = constant_of(value)
        self._plan()

    def _plan(self) -> Any:
        return plan_of(self._taps.tobytes(), self._taps.dtype, self._sides, self._anchor, self._divisor, self.shape[2])

    def _computed(self, spans: Spans) -> Spans:
        a, b = spans[2]
        if b - a < VECTOR_WIDTH <= min(self._plan().strip, self.shape[2]):
            a = min(a, self.shape[2] - VECTOR_WIDTH)
            b = a + VECTOR_WIDTH if b - a < VECTOR_WIDTH else b
        return spans[0], spans[1], (a, b)

    def _places(self, span: Span, axis: int) -> Places:
        """Return which source voxels stand under the kernel along an axis, one behind the other; -1: the constant."""
        side, before, behind = self.source_shape[axis], self._before[axis], self._anchor[axis]
        if self._border == "valid":
            return np.arange(span[0], span[1] + before + behind)
        at = np.arange(span[0] - before, span[1] + behind)
        if self._border == "constant":
            return np.where((at >= 0) & (at < side), at, -1)
        return folded(at, side, self._border)

    def _needs(self, spans: Spans, *maps: Any) -> Optional[Need]:
        runs = []
        for axis, span in enumerate(self._computed(spans)):
            places = self._places(span, axis)
            there = np.unique(places[places >= 0])
            if not there.size:
                return None
            if self._border == "wrap":
                ends = np.flatnonzero(np.diff(there) > 1)
                firsts, lasts = np.append(0, ends + 1), np.append(ends, there.size - 1)
                runs.append([(int(there[a]), int(there[b]) + 1) for a, b in zip(firsts, lasts)])
            else:
                runs.append([(int(there[0]), int(there[-1]) + 1)])
        return Need(*runs)

    def _compute(self, spans: Spans, need: Need, block: Array, *maps: Any) -> Array:
        computed = self._computed(spans)
        result = np.empty(sides(computed), self.dtype)
        source = self._with_border(block, need, [self._places(span, axis) for axis, span in enumerate(computed)])
        convolve(source, result, self._plan(), self._divisor, 1, None)
        return result if computed == spans else np.ascontiguousarray(result[inner(spans, computed)])

    def _with_border(self, block: Array, need: Need, places: "List[Places]") -> Array:
        """Return the voxels under the kernel, the block itself if it has them in this order."""
        at = [_positions(line, runs) for line, runs in zip(places, need.runs)]
        if all(line.size == side and np.array_equal(line, np.arange(side)) for line, side in zip(at, block.shape)):
            return block
        if self._border != "constant":
            return np.ascontiguousarray(block[np.ix_(*at)])
        made = np.full(tuple(line.size for line in at), self._value, self.dtype)
        there = [np.flatnonzero(line >= 0) for line in at]
        made[np.ix_(*there)] = block
        return made

    def _empty(self, shape: Shape) -> Array:
        raise ValueError("a filter's part always needs voxels")


def _positions(places: Places, runs: "Tuple[Span, ...]") -> Places:
    """Return where in a block the voxels of an axis stand; -1 where there are none."""
    made, at = np.full(places.size, -1, np.intp), 0
    for a, b in runs:
        inside = (places >= a) & (places < b)
        made[inside] = places[inside] - a + at
        at += b - a
    return made
