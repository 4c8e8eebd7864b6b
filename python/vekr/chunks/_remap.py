"""Parts of a remap."""

from __future__ import annotations

from typing import Any, List, Optional, Sequence, Tuple, Union

import numpy as np

from ..volume._interpolation import Interpolation, interpolation_of
from ..volume._planes import Array, Planes, Region, box_of, shape_of
from ..volume._remap import TYPES, look_up, maps_of
from ._need import Need, Span, Spans
from ._plan import Plan, sides
from ._sample import bounds_of, served, taps_between

_FLOAT = np.float32


class Remap(Plan):
    """Parts of what :func:`vekr.volume.remap` gives for a whole volume.

    Parameters
    ----------
    source_shape : (int, int, int)
        Shape (z, y, x) of the whole source.
    dtype : dtype
        uint8, uint16 or float32.
    shape : (int, int, int)
        Shape of the coordinates and so of the result, whole.
    interpolation, region, fill
        As in :func:`vekr.volume.remap`.

    Notes
    -----
    :meth:`needs` looks at the part's coordinates, and so it, :meth:`compute` and :meth:`run` take them: three arrays x, y, z
    of the part's shape. Coordinates that are NaN or outside the region need nothing.

    Examples
    --------
    >>> import numpy as np
    >>> from vekr import chunks
    >>> volume = np.arange(8000, dtype=np.float32).reshape(20, 20, 20)
    >>> plan = chunks.Remap(volume.shape, volume.dtype, (1, 1, 3))
    >>> x, y, z = (np.array([[[3.5, 4.0, 99.0]]]) for _ in range(3))
    >>> plan.needs(None, x, y, z).box
    (slice(3, 6, None), slice(3, 6, None), slice(3, 6, None))
    >>> plan.run(volume, None, x, y, z)
    array([[[1473.5, 1684. ,    0. ]]], dtype=float32)
    """

    maps = 3

    def __init__(self, source_shape: Any, dtype: Any, shape: Any, *,
                 interpolation: Union[str, int, Interpolation] = "linear", region: Region = None, fill: Any = None) -> None:
        self._take_source(source_shape, dtype, TYPES, fill)
        self.shape = shape_of(shape)
        self._kind = interpolation_of(interpolation)
        self._box = box_of(region, self.source_shape)

    def _maps(self, chunk: Region, maps: "Tuple[Any, ...]") -> "Tuple[Any, ...]":
        return tuple(maps_of(*super()._maps(chunk, maps)))

    def _needs(self, spans: Spans, *maps: Any) -> Optional[Need]:
        self._check(spans, maps)
        bounds = bounds_of(self._box, self.source_shape)
        ends = _ends(maps, bounds)
        if ends is None:
            return None
        kind, runs = served(self._kind, self.source_shape), []
        for k, ((low, high), (_, last)) in enumerate(zip(ends, bounds)):
            runs.append([taps_between(low, high, last, self.source_shape[2 - k], kind, k == 0 and self.dtype == np.uint8)])
        return Need(*runs[::-1])

    def _compute(self, spans: Spans, need: Need, block: Array, *maps: Any) -> Array:
        self._check(spans, maps)
        result = self._empty(sides(spans))
        look_up(Planes(block, need.start, self.source_shape[0]), self.source_shape, self._box, list(maps), result,
                self._kind, 1)
        return result

    def _check(self, spans: Spans, maps: "Tuple[Array, ...]") -> None:
        if maps[0].shape != sides(spans):
            raise ValueError(f"the coordinates of this part must have the shape {sides(spans)}, not {maps[0].shape}")


def _ends(maps: "Sequence[Array]", bounds: "Sequence[Span]") -> "Optional[List[Tuple[float, float]]]":
    """Return the lowest and the highest coordinate of each axis among those that lie inside, None if none does."""
    ends = [(float(m.min()), float(m.max())) for m in maps]
    if all(first <= low and high <= last for (low, high), (first, last) in zip(ends, bounds)):
        return ends
    inside: Any = True
    with np.errstate(invalid="ignore"):
        for m, (first, last) in zip(maps, bounds):
            inside = inside & (m >= _FLOAT(first)) & (m <= _FLOAT(last))  # NaN is outside
    if not inside.any():
        return None
    return [(float(np.min(m, where=inside, initial=np.inf)), float(np.max(m, where=inside, initial=-np.inf)))
            for m in maps]
