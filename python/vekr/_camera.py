"""A camera that looks at a scene."""

from __future__ import annotations

import math
from typing import Sequence, Tuple

import numpy as np
import numpy.typing as npt

from ._native import pointers, raw
from ._rays import FLOAT, LIMIT, FloatArray, vector_planes

Vector = npt.NDArray[np.float64]  # three numbers


class Camera:
    """A pinhole camera.

    Parameters
    ----------
    eye, target : (float, float, float)
        Where it stands, and a point in the middle of the picture.
    up : (float, float, float)
        A direction that points up in the picture.
    fov : float
        Vertical angle of view in degrees, between 0 and 180.

    Examples
    --------
    >>> import vekr
    >>> camera = vekr.Camera((0, 0, 5), (0, 0, 0))
    >>> origin, directions = camera.rays(64, 48)
    >>> directions.shape
    (48, 64, 3)
    """

    def __init__(self, eye: Sequence[float], target: Sequence[float], up: Sequence[float] = (0.0, 1.0, 0.0),
                 fov: float = 45.0) -> None:
        points = [np.asarray(p, np.float64) for p in (eye, target, up)]
        if any(p.shape != (3,) or not np.isfinite(p).all() for p in points):
            raise ValueError("eye, target and up must be three finite numbers each")
        if not 0 < fov < 180:
            raise ValueError(f"fov must be between 0 and 180 degrees, not {fov}")
        self.eye, self.target, self.up = points
        self.fov = float(fov)
        forward = self.target - self.eye
        if not np.any(forward):
            raise ValueError("eye and target must not be one point")
        self._forward = forward / np.sqrt(np.sum(forward**2))
        right = np.cross(self._forward, self.up)
        length = np.sqrt(np.sum(right**2))
        if not length > 0:
            raise ValueError("up must not point along the view")
        self._right = right / length
        self._up = np.cross(self._right, self._forward)

    def rays(self, width: int, height: int, offset: Tuple[float, float] = (0.5, 0.5)) -> Tuple[FloatArray, FloatArray]:
        """Return origin (3,) and directions (height, width, 3) of a picture's rays, row 0 at the top.

        Parameters
        ----------
        width, height : int
            Of the picture in pixels, at least 1.
        offset : (float, float)
            Place of the ray within its pixel; vary it to smooth edges.

        Returns
        -------
        origin, directions : ndarray
            float32. Directions are not normalised; they lie in planes as the library likes them.
        """
        width, height = int(width), int(height)
        corner, step_x, step_y = self.grid(width, height, offset)
        directions, places = vector_planes((height, width))
        raw.vekrCastEye_32f(list(corner), list(step_x), list(step_y), 0, 0, (0, 0), pointers(places), (width, height))
        return self.eye.astype(FLOAT), directions

    def grid(self, width: int, height: int, offset: Tuple[float, float] = (0.5, 0.5)) -> Tuple[Vector, Vector, Vector]:
        """Return the direction of a picture's first ray, and its steps from column to column and from row to row.

        Parameters
        ----------
        width, height, offset
            As for :meth:`rays`.

        Returns
        -------
        corner, step_x, step_y : ndarray
            float64 (3,). :meth:`rays` takes them as float32.
        """
        if min(width, height) < 1 or width * height > LIMIT:
            raise ValueError(f"a picture has at least 1 and below 2**31 pixels, not {width} x {height}")
        step = 2 * math.tan(math.radians(self.fov) / 2) / height
        corner = (self._forward + self._right * (step * (offset[0] - width / 2))
                  - self._up * (step * (offset[1] - height / 2)))
        return corner, self._right * step, self._up * -step
