"""How functions of spherical harmonics are numbered, and what goes with panoramas and matt surfaces."""

from __future__ import annotations

import math
from typing import Tuple

import numpy as np

from ._rays import FLOAT, FloatArray, vector_planes


def index(band: int, order: int) -> int:
    """Return the index of function (band, order).

    Examples
    --------
    >>> index(2, -1)
    5
    """
    if band < 0 or abs(order) > band:
        raise ValueError(f"orders of band {band} are -{band} to {band}, not {order}")
    return band * band + band + order


def band_order(number: int) -> Tuple[int, int]:
    """Return band and order of the function with an index.

    Examples
    --------
    >>> band_order(5)
    (2, -1)
    """
    if number < 0:
        raise ValueError(f"an index is 0 or more, not {number}")
    band = math.isqrt(number)
    return band, number - band * band - band


def count(max_band: int) -> int:
    """Return how many functions bands 0 to `max_band` have.

    Examples
    --------
    >>> count(4)
    25
    """
    return (max_band + 1) ** 2


def band_slice(band: int) -> slice:
    """Return where the functions of a band stand among the coefficients.

    Examples
    --------
    >>> list(range(9))[band_slice(1)]
    [1, 2, 3]
    """
    return slice(band * band, (band + 1) ** 2)


def panorama_directions(height: int, width: int) -> Tuple[FloatArray, FloatArray]:
    """Return the directions of an equirectangular panorama's pixels, and the solid angles that they stand for.

    Parameters
    ----------
    height, width : int
        Row 0 is around +z, the poles are z; column 0 begins at +x and columns go on towards +y.

    Returns
    -------
    directions, weights : ndarray
        (height, width, 3) and (height, width); the weights add up to 4 pi.
    """
    height, width = int(height), int(width)
    if min(height, width) < 1:
        raise ValueError(f"a panorama has at least one pixel, not {height} x {width}")
    edges = np.cos(np.arange(height + 1) * (np.pi / height))
    theta = (np.arange(height) + 0.5) * (np.pi / height)
    phi = (np.arange(width) + 0.5) * (2 * np.pi / width)
    directions, _ = vector_planes((height, width))
    directions[..., 0] = np.sin(theta)[:, None] * np.cos(phi)
    directions[..., 1] = np.sin(theta)[:, None] * np.sin(phi)
    directions[..., 2] = np.cos(theta)[:, None]
    weights = np.broadcast_to(((edges[:-1] - edges[1:]) * (2 * np.pi / width))[:, None], (height, width))
    return directions, weights.astype(FLOAT)


def irradiance_factors(max_band: int) -> FloatArray:
    """Return by what each coefficient of light is multiplied to give that of the light on a matt surface.

    Examples
    --------
    >>> irradiance_factors(2)[[0, 1, 4]].round(4)
    array([3.1416, 2.0944, 0.7854], dtype=float32)
    """
    factors = np.zeros(count(max_band))
    for band in range(max_band + 1):
        if band == 1:
            factor = 2 * math.pi / 3
        elif band % 2:
            factor = 0.0
        else:
            half = band // 2
            factor = 2 * math.pi * (-1) ** (half + 1) / ((band + 2) * (band - 1)) * math.comb(band, half) / 2**band
        factors[band_slice(band)] = factor
    return factors.astype(FLOAT)
