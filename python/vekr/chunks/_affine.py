"""Parts of an affine warp."""

from __future__ import annotations

import itertools
from typing import Any, List, Optional, Tuple, Union

import numpy as np

from ..volume._affine import CALLS, TYPES, axis_order, matrix_of, warp
from ..volume._exact import find_exact, library_inverse
from ..volume._interpolation import Interpolation, interpolation_of
from ..volume._planes import Array, Planes, Region, box_of, shape_of
from .._native import pointer_to
from .._work import settle
from ._need import Need, Spans
from ._plan import Plan, inner, sides, spans_of, within
from ._sample import bounds_of, served, taps_between

_MARGIN = 1e-6  # of source coordinates that are computed at corners


class Affine(Plan):
    """Parts of what :func:`vekr.volume.affine` gives for a whole volume.

    Parameters
    ----------
    source_shape : (int, int, int)
        Shape (z, y, x) of the whole source.
    dtype : dtype
        uint8, uint16 or float32.
    matrix : array_like
        (3, 4) or (4, 4), from source voxels (x, y, z) to result voxels.
    shape, interpolation, region, out_region, fill
        As in :func:`vekr.volume.affine`.

    Attributes
    ----------
    is_exact : bool
        Whether there is an exact matrix near this one (see :func:`vekr.volume.exact_matrix`). If not, which is so for about
        one matrix in a hundred, each plane of a part is computed from the plane's first voxel on: such a part needs the
        source of all that lies before it in its planes.

    Raises
    ------
    VekrError
        If the matrix is singular.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> from vekr import chunks
    >>> volume = np.arange(8000, dtype=np.uint16).reshape(20, 20, 20)
    >>> matrix = [[1.1, 0.2, 0, -3], [-0.2, 1.1, 0, 2], [0, 0, 1, 0.5]]
    >>> plan = chunks.Affine(volume.shape, volume.dtype, matrix)
    >>> part = (slice(4, 8), slice(0, 10), slice(10, 20))
    >>> plan.needs(part).shape
    (5, 11, 10)
    >>> bool(np.array_equal(plan.run(volume, part), vekr.volume.affine(volume, matrix)[part]))
    True
    """

    def __init__(self, source_shape: Any, dtype: Any, matrix: Any, *, shape: Optional[Tuple[int, int, int]] = None,
                 interpolation: Union[str, int, Interpolation] = "linear", region: Region = None, out_region: Region = None,
                 fill: Any = None) -> None:
        self._take_source(source_shape, dtype, TYPES, fill)
        self.shape = self.source_shape if shape is None else shape_of(shape)
        self._kind = interpolation_of(interpolation)
        self._written = spans_of(out_region, self.shape, "out_region")
        box = box_of(region, self.source_shape)
        entries = matrix_of(matrix)
        # As the whole call does: a volume with exchanged axes serves a matrix with an empty diagonal.
        self._order = axis_order(entries)
        if self._order != (0, 1, 2):
            entries = np.ascontiguousarray(entries[:, [*self._order, 3]])
        self._box = (*(box[k] for k in self._order), *(box[3 + k] for k in self._order))
        self._turned_shape = tuple(self.source_shape[2 - self._order[2 - k]] for k in range(3))
        found = find_exact(entries, (self.shape[2], self.shape[1], self.shape[0]))
        self.is_exact = found is not None
        self._matrix, self._origin = (entries, (0, 0, 0)) if found is None else (found.matrix, found.origin)
        self._inverse = library_inverse(self._matrix)

    def _computed(self, spans: Spans) -> Optional[Spans]:
        """Return what is computed for a part."""
        written = within(spans, self._written)
        if written is None or self.is_exact:
            return written
        return written[0], (0, written[1][1]), (0, written[2][1])

    def _needs(self, spans: Spans, *maps: Any) -> Optional[Need]:
        computed = self._computed(spans)
        if computed is None:
            return None
        ends = [(a + o, b - 1 + o) for (a, b), o in zip(computed[::-1], self._origin)]
        corners = np.array(list(itertools.product(*ends)), float)
        bounds = bounds_of(self._box, self._turned_shape)  # type: ignore[arg-type]
        kind = served(self._kind, self.source_shape)
        runs: List[Any] = [None] * 3
        for k, (first, last) in enumerate(bounds):
            row = self._inverse[k]
            at = row[0] * corners[:, 0] + row[1] * corners[:, 1] + row[2] * corners[:, 2] + row[3]
            low, high = max(float(at.min()) - _MARGIN, first), min(float(at.max()) + _MARGIN, last)
            if low > high:
                return None
            side = self._turned_shape[2 - k]
            runs[2 - self._order[k]] = [taps_between(low, high, last, side, kind, k == 0 and self.dtype == np.uint8)]
        return Need(*runs)

    def _compute(self, spans: Spans, need: Need, block: Array, *maps: Any) -> Array:
        written, computed = within(spans, self._written), self._computed(spans)
        assert written is not None and computed is not None
        start = need.start
        if self._order != (0, 1, 2):
            axes = [2 - self._order[2 - k] for k in range(3)]
            block = np.ascontiguousarray(block.transpose(*axes))
            start = tuple(start[k] for k in axes)
        source = Planes(block, start, self._turned_shape[0])
        result = self._empty(sides(spans))
        if not self.is_exact:
            self._from_first_voxels(source, result, spans, written)
            return result
        # The destination counted from another voxel: its planes' addresses move back by as much.
        x, y, z = self._origin
        origin = spans[0][0] + z, spans[1][0] + y, spans[2][0] + x
        to = Planes(result, origin)
        box = (written[2][0] + x, written[1][0] + y, written[0][0] + z, *sides(written)[::-1])
        warp(source, self._turned_shape, self._box, to.at(-origin[0]), to.step, box,  # type: ignore[arg-type]
             self._matrix, self._kind, 1, None)
        return result

    def _from_first_voxels(self, source: Planes, result: Array, spans: Spans, written: Spans) -> None:
        """Compute plane by plane, each from its first voxel on, and keep what is wanted."""
        (z0, z1), (_, y1), (_, x1) = written
        size = self._turned_shape[2], self._turned_shape[1], self._turned_shape[0]
        for z in range(z0, z1):
            plane = self._empty((1, y1, x1))
            to = Planes(plane)
            status = CALLS[self.dtype](source.pointer, size, source.step, self._box, to.at(-z), to.step,
                                       (0, 0, z, x1, y1, 1), pointer_to(self._matrix), self._kind)
            settle([int(status)], "affine", stacklevel=4)
            part = ((z, z + 1), written[1], written[2])
            result[inner(part, spans)] = plane[:, written[1][0] :, written[2][0] :]
