"""Parts of a resize."""

from __future__ import annotations

import math
import warnings
from typing import Any, Optional, Tuple, Union

import numpy as np

from ..errors import VekrWarning
from ..volume._interpolation import Interpolation
from ..volume._planes import Array, Planes, Region
from ..volume._resize import TYPES, scale, scaling_of
from ._need import Need, Span, Spans, has_margin, put, room_of
from ._plan import Plan, inner, sides, within

# The library's own bounds: a voxel is written if its centre lies in the image of the source.
_ROUND_BEGIN, _ROUND_END = 0.4999999999, 0.5000000001
_NEAREST_BIAS = 1e-10
_GROUP = 4  # columns that the cubic codes sum in one order; those behind the last group have another one
_NO_VOXELS = 1  # the library's warning that nothing was to be written


class _Axis:
    """One axis of a resize, with the library's arithmetic, operation by operation."""

    def __init__(self, side: int, source: Tuple[int, int], out: Tuple[int, int], factor: float, shift: float,
                 kind: Interpolation) -> None:
        self.side, self.kind = side, kind
        self.inverse, self.shift = 1 / factor, (0 - shift) / factor
        first, last = source[0], min(side - source[0], source[1]) + source[0]
        low = max(first * factor + shift, float(out[0]))
        high = min(last * factor + shift, float(out[0] + out[1]))
        self.begin, self.end = int(_ROUND_BEGIN + low), int(_ROUND_END + high)
        # Columns whose four taps all lie in the source.
        self.inside = self.begin, self.begin
        if kind.is_cubic and self.begin < self.end:
            a = self._first(self.begin, 1.0)
            self.inside = a, self._first(a, side - 2.0)

    def coordinate(self, d: int) -> float:
        return ((d + 0.5) * self.inverse - 0.5) + self.shift

    def _first(self, low: int, bound: float) -> int:
        """Return the first voxel from `low` on whose coordinate reaches a bound."""
        high = self.end
        while low < high:
            middle = (low + high) // 2
            if self.coordinate(middle) < bound:
                low = middle + 1
            else:
                high = middle
        return low

    def taps(self, d: int) -> Span:
        """Return the first and the last source voxel that destination voxel d is made of."""
        last = self.side - 1
        if self.kind == Interpolation.NEAREST:
            at = min(max(int((d + 0.5) * self.inverse - _NEAREST_BIAS + self.shift), 0), last)
            return at, at
        s = self.coordinate(d)
        at = math.floor(s)
        if self.kind == Interpolation.LINEAR:
            return (0, 0) if s < 0 else (last, last) if s >= last else (at, at + 1)
        if s < 1:
            low, high = 0, 1 if s < 0 else 2
        elif s < self.side - 2:
            low, high = at - 1, at + 2
        else:
            low, high = self.side - (3 if s < last else 2), last
        return max(low, 0), min(high, last)

    def needs(self, a: int, b: int) -> Span:
        """Return the source voxels of destination voxels a to b - 1."""
        return self.taps(a)[0], self.taps(b - 1)[1] + 1

    def widened(self, a: int, b: int) -> Span:
        """Return destination columns with those that have to be computed along with them for the sake of the sums' order."""
        first, last = self.inside
        if first < a < last:
            a -= (a - first) % _GROUP
        if first < b < last:
            b = min(b + -(b - first) % _GROUP, last)
        return a, b


class Resize(Plan):
    """Parts of what :func:`vekr.volume.resize` gives for a whole volume.

    Parameters
    ----------
    source_shape : (int, int, int)
        Shape (z, y, x) of the whole source.
    dtype : dtype
        uint8, uint16 or float32.
    factor, shape, shift, interpolation, region, out_region, fill
        As in :func:`vekr.volume.resize`.

    Warns
    -----
    VekrWarning
        If no voxel is to be written.

    Notes
    -----
    The library reads the first and the last columns of a row even where it doesn't use them. They need not be there:
    :meth:`room` gives a block with a row's length of readable memory before and behind it, and :meth:`compute` copies a
    block that has none. With cubic interpolation up to three columns on each side of a part are computed along with it.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> from vekr import chunks
    >>> volume = np.arange(4000, dtype=np.uint16).reshape(10, 20, 20)
    >>> plan = chunks.Resize(volume.shape, volume.dtype, 2.0)
    >>> plan.shape
    (20, 40, 40)
    >>> part = (slice(4, 8), slice(0, 10), slice(20, 40))
    >>> plan.needs(part).box
    (slice(1, 5, None), slice(0, 6, None), slice(9, 20, None))
    >>> bool(np.array_equal(plan.run(volume, part), vekr.volume.resize(volume, 2.0)[part]))
    True
    """

    def __init__(self, source_shape: Any, dtype: Any, factor: Union[None, float, Tuple[float, float, float]] = None, *,
                 shape: Optional[Tuple[int, int, int]] = None, shift: Union[float, Tuple[float, float, float]] = 0.0,
                 interpolation: Union[str, int, Interpolation] = "linear", region: Region = None,
                 out_region: Region = None, fill: Any = None) -> None:
        self._take_source(source_shape, dtype, TYPES, fill)
        self._scaling = scaling_of(self.source_shape, factor, shape, shift, interpolation, region, out_region)
        self.shape = self._scaling.shape
        given, out = self._scaling.source_box, self._scaling.box
        self._axes = [_Axis(self.source_shape[k], (given[2 - k], given[5 - k]), (out[2 - k], out[5 - k]),
                            self._scaling.factor[k], self._scaling.shift[k], self._scaling.kind) for k in range(3)]
        self._written: Spans = tuple((axis.begin, axis.end) for axis in self._axes)  # type: ignore[assignment]
        # Rows are read at both ends, whatever is needed of them.
        self.margin = 0 if self._scaling.kind == Interpolation.NEAREST else self.source_shape[2]
        if any(a >= b for a, b in self._written):
            warnings.warn(VekrWarning(_NO_VOXELS, "resize"), stacklevel=2)

    def _cut(self, spans: Spans) -> "Optional[Tuple[Spans, Spans]]":
        """Return what is written of a part, and what is computed for it."""
        written = within(spans, self._written)
        if written is None:
            return None
        return written, (written[0], written[1], self._axes[2].widened(*written[2]))

    def _needs(self, spans: Spans, *maps: Any) -> Optional[Need]:
        cut = self._cut(spans)
        if cut is None:
            return None
        return Need(*([axis.needs(*span)] for axis, span in zip(self._axes, cut[1])))

    def _compute(self, spans: Spans, need: Need, block: Array, *maps: Any) -> Array:
        cut = self._cut(spans)
        assert cut is not None
        written, computed = cut
        if self.margin and not has_margin(block, self.margin):
            padded = room_of(block.shape, self.dtype, self.margin)
            put(padded, block)
            block = padded
        result = self._empty(sides(spans)) if written != spans else np.empty(sides(spans), self.dtype)
        target, at = (result, spans) if computed == written else (np.empty(sides(computed), self.dtype), computed)
        origin = at[0][0], at[1][0], at[2][0]
        planes = Planes(target, origin)
        (z, z1), (y, y1), (x, x1) = computed
        scale(self._scaling, Planes(block, need.start, self.source_shape[0]), planes.at(-origin[0]), planes.step,
              (x, y, z, x1 - x, y1 - y, z1 - z), 1)
        if target is not result:
            put(result[inner(written, spans)], target[inner(written, computed)])
        return result
