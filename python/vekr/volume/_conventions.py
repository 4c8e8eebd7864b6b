"""Matrices of other conventions turned into this package's and back.

This package's matrix takes source voxels to destination voxels, counted (x, y, z). All arithmetic here is written out
operation by operation, so that it gives the same bits on every machine.
"""

from __future__ import annotations

from typing import Any, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from ._affine import affine as _affine
from ._affine import matrix_of
from ._interpolation import Interpolation
from ._planes import Array

Matrix = npt.NDArray[np.float64]


def compose(*matrices: Any) -> Matrix:
    """Return the (3, 4) matrix that applies the last one first.

    Examples
    --------
    >>> import vekr
    >>> vekr.volume.compose([[2, 0, 0, 0], [0, 2, 0, 0], [0, 0, 2, 0]], [[1, 0, 0, 1], [0, 1, 0, 0], [0, 0, 1, 0]])
    array([[2., 0., 0., 2.],
           [0., 2., 0., 0.],
           [0., 0., 2., 0.]])
    """
    product = np.eye(3, 4)
    for matrix in matrices:
        a, b = product, matrix_of(matrix)
        columns = [a[:, 0] * b[0, k] + a[:, 1] * b[1, k] + a[:, 2] * b[2, k] for k in range(4)]
        columns[3] = columns[3] + a[:, 3]
        product = np.stack(columns, axis=1)
    return product


def invert(matrix: Any) -> Matrix:
    """Return the inverse of a (3, 4) or (4, 4) matrix as (3, 4).

    Raises
    ------
    ValueError
        If there is none.

    Examples
    --------
    >>> import vekr
    >>> vekr.volume.invert([[2, 0, 0, 6], [0, 1, 0, 0], [0, 0, 1, 0]])[0]
    array([ 0.5,  0. ,  0. , -3. ])
    """
    c = matrix_of(matrix)
    minors = np.empty((3, 3))
    for r in range(3):
        for k in range(3):
            r1, r2, k1, k2 = (r + 1) % 3, (r + 2) % 3, (k + 1) % 3, (k + 2) % 3
            minors[k, r] = c[r1, k1] * c[r2, k2] - c[r1, k2] * c[r2, k1]
    with np.errstate(all="ignore"):
        linear = minors / (c[0, 0] * minors[0, 0] + c[0, 1] * minors[1, 0] + c[0, 2] * minors[2, 0])
        shift = -(linear[:, 0] * c[0, 3] + linear[:, 1] * c[1, 3] + linear[:, 2] * c[2, 3])
    inverse: Matrix = np.concatenate([linear, shift[:, None]], axis=1) + 0.0  # no negative zeros
    if not np.isfinite(inverse).all():
        raise ValueError("the matrix has no inverse")
    return inverse


def _reversed_axes(matrix: Matrix) -> Matrix:
    """Exchange x and z on both sides."""
    made: Matrix = np.ascontiguousarray(matrix[::-1, [2, 1, 0, 3]])
    return made


def from_scipy(matrix: Any, offset: Union[float, Sequence[float]] = 0.0) -> Matrix:
    """Return our matrix for the arguments of ``scipy.ndimage.affine_transform``.

    Parameters
    ----------
    matrix : array_like
        (3, 3), (3,), (3, 4) or (4, 4), from result to source, both counted (z, y, x).
    offset : float or (float, float, float)
        As scipy's; not read with (3, 4) and (4, 4).

    Returns
    -------
    ndarray
        (3, 4), from source to destination, both counted (x, y, z).

    Examples
    --------
    >>> import vekr
    >>> vekr.volume.from_scipy([1, 1, 0.5], (0, 0, 3))  # along x, result voxel i shows source voxel i / 2 + 3
    array([[ 2.,  0.,  0., -6.],
           [ 0.,  1.,  0.,  0.],
           [ 0.,  0.,  1.,  0.]])
    """
    entries = np.asarray(matrix, np.float64)
    if entries.shape == (3,):
        entries = np.diag(entries)
    if entries.shape == (3, 3):
        column = np.broadcast_to(np.asarray(offset, np.float64), (3,))
        entries = np.concatenate([entries, column[:, None]], axis=1)
    return invert(_reversed_axes(matrix_of(entries)))


def to_scipy(matrix: Any) -> Tuple[Matrix, Matrix]:
    """Return matrix (3, 3) and offset (3,) for ``scipy.ndimage.affine_transform``.

    Examples
    --------
    >>> import vekr
    >>> matrix, offset = vekr.volume.to_scipy([[2, 0, 0, -6], [0, 1, 0, 0], [0, 0, 1, 0]])
    >>> matrix.diagonal(), offset
    (array([1. , 1. , 0.5]), array([0., 0., 3.]))
    """
    entries = _reversed_axes(invert(matrix))
    return entries[:, :3].copy(), entries[:, 3].copy()


def from_nifti(source_affine: Any, target_affine: Any) -> Matrix:
    """Return our matrix between the voxels of two NIfTI volumes.

    Parameters
    ----------
    source_affine, target_affine : array_like
        (4, 4), from voxels (i, j, k), that is (x, y, z), to the world. nibabel's arrays have the order (x, y, z): give
        this package ``image.get_fdata().T`` or the like.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> vekr.volume.from_nifti(np.diag([2.0, 2, 2, 1]), np.eye(4))[0]  # source voxels of 2 mm to voxels of 1 mm
    array([2., 0., 0., 0.])
    """
    return compose(invert(target_affine), source_affine)


def to_nifti(matrix: Any, source_affine: Any) -> Matrix:
    """Return the (4, 4) NIfTI affine of a result that our matrix has made of a source.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> vekr.volume.to_nifti([[2, 0, 0, 0], [0, 2, 0, 0], [0, 0, 2, 0]], np.diag([2.0, 2, 2, 1])).diagonal()
    array([1., 1., 1., 1.])
    """
    return np.concatenate([compose(source_affine, invert(matrix)), [[0.0, 0.0, 0.0, 1.0]]])


def grid_affine(origin: Sequence[float] = (0, 0, 0), spacing: Sequence[float] = (1, 1, 1),
                direction: Optional[Any] = None) -> Matrix:
    """Return the (4, 4) matrix from voxels (x, y, z) to physical points of an ITK image.

    Parameters
    ----------
    origin, spacing : (float, float, float)
        Of the image, counted (x, y, z).
    direction : array_like, optional
        (3, 3), columns are the axes' directions; by default the unit matrix.

    Examples
    --------
    >>> import vekr
    >>> vekr.volume.grid_affine((10, 0, 0), (0.5, 1, 1))[0]
    array([ 0.5,  0. ,  0. , 10. ])
    """
    turned = np.eye(3) if direction is None else np.asarray(direction, np.float64).reshape(3, 3)
    linear = turned * np.asarray(spacing, np.float64).reshape(1, 3)
    upper = np.concatenate([linear, np.asarray(origin, np.float64).reshape(3, 1)], axis=1)
    return np.concatenate([matrix_of(upper), [[0.0, 0.0, 0.0, 1.0]]])


def from_itk(matrix: Any, translation: Sequence[float] = (0, 0, 0), center: Sequence[float] = (0, 0, 0), *,
             source: Any = None, target: Any = None) -> Matrix:
    """Return our matrix for resampling with an ITK affine transform.

    Parameters
    ----------
    matrix : array_like
        (3, 3) of the transform, which takes physical points of the result to those of the source.
    translation, center : (float, float, float)
        Of the transform: ``T(p) = matrix (p - center) + center + translation``.
    source, target : array_like, optional
        (4, 4) of source and result from :func:`grid_affine`; by default voxels are physical points.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> vekr.volume.from_itk(np.eye(3), (5, 0, 0))[0]  # the result shows what lies 5 to the right in the source
    array([ 1.,  0.,  0., -5.])
    """
    linear = np.asarray(matrix, np.float64).reshape(3, 3)
    c, t = (np.asarray(v, np.float64).reshape(3) for v in (center, translation))
    turned = linear[:, 0] * c[0] + linear[:, 1] * c[1] + linear[:, 2] * c[2]
    physical = np.concatenate([linear, (c + t - turned)[:, None]], axis=1)
    unit = np.eye(4)
    return compose(invert(unit if target is None else target), invert(physical), unit if source is None else source)


def to_itk(matrix: Any, *, source: Any = None, target: Any = None) -> Tuple[Matrix, Matrix]:
    """Return matrix (3, 3) and translation (3,), about the origin, of an ITK transform that does what our matrix does.

    Examples
    --------
    >>> import vekr
    >>> vekr.volume.to_itk([[1, 0, 0, -5], [0, 1, 0, 0], [0, 0, 1, 0]])[1]
    array([5., 0., 0.])
    """
    unit = np.eye(4)
    whole = compose(unit if source is None else source, invert(matrix), invert(unit if target is None else target))
    return whole[:, :3].copy(), whole[:, 3] + 0.0


def resample_like(volume: Any, affine: Any, like_affine: Any, like_shape: Tuple[int, int, int], *,
                  interpolation: Union[str, int, Interpolation] = "linear", **options: Any) -> Array:
    """Resample a volume onto another one's grid.

    Parameters
    ----------
    volume : array_like
        (z, y, x), uint8, uint16 or float32.
    affine, like_affine : array_like
        (4, 4), from voxels (x, y, z) to the world, of the volume and of the grid wanted.
    like_shape : (int, int, int)
        Shape (z, y, x) of the grid wanted.
    interpolation, **options
        As in :func:`affine`. Places outside the volume get `fill`, by default 0.

    Returns
    -------
    ndarray
        Of `like_shape`.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> volume = np.full((4, 4, 4), 7, np.uint8)
    >>> vekr.volume.resample_like(volume, np.diag([2.0, 2, 2, 1]), np.eye(4), (7, 7, 7)).mean()
    7.0
    """
    return _affine(volume, from_nifti(affine, like_affine), shape=like_shape, interpolation=interpolation, **options)
