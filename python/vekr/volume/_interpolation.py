"""The six ways to interpolate."""

from __future__ import annotations

import enum
from typing import Union


class Interpolation(enum.IntEnum):
    """How a volume is sampled between its voxels.

    The cubic ones are separable over 4 x 4 x 4 voxels.
    """

    NEAREST = 1  #: the voxel nearest to the coordinate
    LINEAR = 2  #: trilinear
    LAGRANGE = 4  #: four-point Lagrange cubic
    BSPLINE = 5  #: cubic B-spline without prefilter: smooths, also at whole coordinates
    CATMULL_ROM = 6  #: Catmull-Rom spline
    MITCHELL = 7  #: Mitchell-Netravali cubic, B = 1/2, C = 3/10

    @property
    def is_cubic(self) -> bool:
        """Whether it takes 4 voxels along each axis."""
        return self in _CUBIC


_CUBIC = frozenset(member for member in Interpolation if member >= Interpolation.LAGRANGE)
_NAMES = {member.name.lower().replace("_", "-"): member for member in Interpolation}


def interpolation_of(value: Union[str, int, Interpolation]) -> Interpolation:
    """Return the member that a name or a code means."""
    known = _NAMES.get(value) if type(value) is str else None
    if known is not None:
        return known
    if isinstance(value, str):
        member = _NAMES.get(value.lower().replace("_", "-"))
        if member is not None:
            return member
    else:
        try:
            return Interpolation(value)
        except ValueError:
            pass
    raise ValueError(f"interpolation must be one of {', '.join(_NAMES)}, not {value!r}")
