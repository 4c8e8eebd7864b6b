"""Which voxels sampling at coordinates needs: what remap and affine warp share."""

from __future__ import annotations

from typing import Sequence

import numpy as np

from ..volume._interpolation import Interpolation
from ..volume._planes import Box, Shape
from ._need import Span

_WORD = 4  # uint8 voxels of a row that linear interpolation reads at a time


def served(kind: Interpolation, shape: Shape) -> Interpolation:
    """Return the interpolation that a whole source of a shape gets."""
    if kind.is_cubic and min(shape) < 4:
        kind = Interpolation.LINEAR
    return Interpolation.NEAREST if min(shape) < 2 else kind


def bounds_of(box: Box, shape: Shape) -> "Sequence[Span]":
    """Return the first and the last voxel of a region that lies in a shape, for x, y, z."""
    return [(box[k], min(box[k] + box[3 + k], shape[2 - k]) - 1) for k in range(3)]


def taps_between(low: float, high: float, last: int, side: int, kind: Interpolation, takes_words: bool) -> Span:
    """Return the source voxels of an axis, (start, stop), for coordinates from `low` to `high` inside a region.

    `last` is the region's last voxel, `side` the whole volume's, `takes_words` tells of uint8 along x.
    """
    if kind == Interpolation.NEAREST:
        a, b = int(np.rint(low)), int(np.rint(high))
    elif kind == Interpolation.LINEAR:
        # A coordinate on the region's last voxel is the end of the cell before it.
        a, b = (min(int(at), last - 1) for at in (low, high))
        if takes_words and last >= _WORD - 1:
            a, b = min(a, last - (_WORD - 1)), min(b, last - (_WORD - 1)) + _WORD - 1
        else:
            b += 1
    else:
        # The low side is guarded against the volume's first voxel, the high side against the region's last.
        a, b = int(low) - 1, min(int(high) + 2, last)
        if int(low) < 1:
            b = max(b, 2)
    return max(a, 0), min(max(b, 0), side - 1) + 1
