"""Volumes: resize, affine warp, remap, filter.

Arrays are in (z, y, x) order: ``volume[z, y, x]``. Coordinates and matrices count (x, y, z), as the library does: an
integer coordinate is the centre of a voxel. See :func:`affine` for what a matrix means, and :func:`from_scipy`,
:func:`from_nifti` and :func:`from_itk` for other conventions.
"""

from ._affine import affine, exact_matrix
from ._conventions import (compose, from_itk, from_nifti, from_scipy, grid_affine, invert, resample_like, to_itk, to_nifti,
                           to_scipy)
from ._exact import ExactMatrix
from ._filter import filter
from ._interpolation import Interpolation
from ._remap import remap
from ._resize import resize

__all__ = ["ExactMatrix", "Interpolation", "affine", "compose", "exact_matrix", "filter", "from_itk", "from_nifti",
           "from_scipy", "grid_affine", "invert", "remap", "resample_like", "resize", "to_itk", "to_nifti", "to_scipy"]
