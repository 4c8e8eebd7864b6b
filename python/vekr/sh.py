"""Real spherical harmonics of bands 0 to 15: values, projection, reconstruction.

Function (l, m) has index ``l * l + l + m``; bands 0 to L are (L + 1)**2 functions. z is the polar axis, and functions are
orthonormal on the unit sphere, Condon-Shortley sign included. Directions are not normalised: give unit vectors.

Examples
--------
>>> import numpy as np
>>> import vekr
>>> directions, weights = vekr.sh.panorama_directions(32, 64)
>>> basis = vekr.sh.Basis(4)
>>> light = np.maximum(directions[..., 2], 0)  # as much as it is high
>>> coefficients = basis.project(directions, light, weights=weights)
>>> coefficients.shape
(25,)
>>> float(abs(basis.reconstruct(coefficients, directions) - light).max()) < 0.1
True
"""

from __future__ import annotations

import math
from typing import Any, Optional, Tuple

import numpy as np
import numpy.typing as npt

from ._bands import band_order as band_order
from ._bands import band_slice as band_slice
from ._bands import count as count
from ._bands import index as index
from ._bands import irradiance_factors as irradiance_factors
from ._bands import panorama_directions as panorama_directions
from ._native import address, ffi, pointer, pointer_to, pointers, raw
from ._rays import ENTRY, FLOAT, LIMIT, FloatArray, Vectors, aligned, vectors_of
from ._work import Progress, run_blocks, thread_count
from .errors import VekrError

MAX_BAND = 15
_METHODS = {"direct": raw.vekrSHDirect, "recurrent": raw.vekrSHRecurrent}
_BLOCK = 1 << 13  # directions of a call


class _Directions:
    """Directions as three planes of one contiguous piece each."""

    def __init__(self, directions: Any) -> None:
        array = vectors_of(directions, "directions")
        self.leading = array.shape[:-1]
        self.count = array.size // 3
        if self.count > LIMIT:
            raise ValueError("too many directions")
        if self.count:
            self.places, self._kept = Vectors(array).whole()
        self._array = array

    def planes(self, first: int) -> "Tuple[Any, Any, Any]":
        """Return the planes from a direction on."""
        x, y, z = self.places
        place = ENTRY * first
        return pointer(x + place), pointer(y + place), pointer(z + place)


class Basis:
    """The functions of bands 0 to `max_band`, ready to be evaluated.

    Parameters
    ----------
    max_band : int
        0 to 15.
    method : str
        ``"recurrent"``: faster, within about 3e-5 everywhere. ``"direct"``: within 1e-6 up to band 6, 4e-3 at band 15.

    Notes
    -----
    A basis is never changed: any number of threads may use it at once. It can be pickled.
    """

    def __init__(self, max_band: int, method: str = "recurrent") -> None:
        band = int(max_band)
        if band != max_band or not 0 <= band <= MAX_BAND:
            raise ValueError(f"max_band must be a whole number of 0 to {MAX_BAND}, not {max_band!r}")
        if method not in _METHODS:
            raise ValueError(f"method must be one of {', '.join(_METHODS)}, not {method!r}")
        self.max_band, self.method = band, method
        size = ffi.new("uint32_t *")
        _settle(raw.vekrSHGetSize_32f(band, _METHODS[method], size))
        self._block = ffi.new("uint8_t[]", size[0] + ffi.sizeof("VekrSHState"))
        self._state = ffi.cast("VekrSHState *", self._block)
        _settle(raw.vekrSHInit_32f(self._state, band, _METHODS[method]))

    def __reduce__(self) -> Any:
        return Basis, (self.max_band, self.method)

    def __repr__(self) -> str:
        return f"vekr.sh.Basis({self.max_band}, {self.method!r})"

    def __len__(self) -> int:
        return count(self.max_band)

    def _band(self, band: Optional[int]) -> int:
        if band is None:
            return self.max_band
        number = int(band)
        if number != band or not 0 <= number <= self.max_band:
            raise ValueError(f"max_band must be a whole number of 0 to {self.max_band}, not {band!r}")
        return number

    def evaluate(self, directions: Any, max_band: Optional[int] = None, *, out: Optional[FloatArray] = None,
                 threads: Optional[int] = None, progress: Progress = None) -> FloatArray:
        """Return the values of all functions.

        Parameters
        ----------
        directions : array_like
            (..., 3) unit vectors.
        max_band : int, optional
            Highest band wanted; by default that of the basis.
        out : ndarray, optional
            float32, C-contiguous, of the result's shape; must not overlap the directions.
        threads : int, optional
            How many threads may work; by default :func:`vekr.get_threads`. The result does not depend on it.
        progress : callable or True, optional
            Called with (blocks done, blocks in all) between blocks.

        Returns
        -------
        ndarray
            (..., (max_band + 1)**2) float32.

        Examples
        --------
        >>> import vekr
        >>> vekr.sh.Basis(1).evaluate([0, 0, 1]).round(4)
        array([ 0.2821, -0.    ,  0.4886, -0.    ], dtype=float32)
        """
        band = self._band(max_band)
        along = _Directions(directions)
        result = _output(out, (*along.leading, count(band)), along._array)
        start, row = address(result), ENTRY * count(band)

        def work(first: int, number: int) -> int:
            return int(raw.vekrSH_32f(*along.planes(first), number, pointer(start + row * first), band, self._state))

        _run(work, along.count, threads, progress)
        return result

    def project(self, directions: Any, samples: Any, *, weights: Any = None, max_band: Optional[int] = None) -> FloatArray:
        """Project samples onto the functions: the sum of weight * sample * function over all directions.

        Parameters
        ----------
        directions : array_like
            (..., 3) unit vectors.
        samples : array_like
            (...) or (..., C): the directions' leading shape, and any axes of channels behind it.
        weights : array_like, optional
            Of the directions' leading shape: the solid angle that each sample stands for. By default 1.
        max_band : int, optional
            Highest band wanted; by default that of the basis.

        Returns
        -------
        ndarray
            ((max_band + 1)**2,) or ((max_band + 1)**2, C) float32.

        Notes
        -----
        Sums run over the directions in their order, in single precision, on the calling thread: the result is one and the
        same on every run.
        """
        band = self._band(max_band)
        along = _Directions(directions)
        values = np.asarray(samples)
        if values.dtype.kind not in "fiub":
            raise TypeError(f"samples must hold numbers, not {values.dtype}")
        if values.shape[: len(along.leading)] != along.leading:
            raise ValueError(f"samples {values.shape} must begin with the directions' shape {along.leading}")
        channels = values.shape[len(along.leading) :]
        if values.dtype is not FLOAT or weights is not None:
            with np.errstate(over="ignore", invalid="ignore"):
                values = values.astype(FLOAT, copy=False)
                if weights is not None:
                    factors = np.asarray(weights).astype(FLOAT, copy=False)
                    if factors.shape != along.leading:
                        raise ValueError(f"weights must have the directions' shape {along.leading}, not {factors.shape}")
                    values = values * factors.reshape(factors.shape + (1,) * len(channels))
        width = math.prod(channels)
        result = aligned((width, _stride(band)))
        result[...] = 0
        if along.count and width:
            flat = values.reshape(along.count, width)
            if width == 3:
                flat = np.ascontiguousarray(flat)
                _settle(raw.vekrSHTFwd_32f_C3P3I(*along.planes(0), pointer_to(flat), along.count, _rows(result, 0, 3),
                                                 band, self._state))
            else:
                self._project_channels(along, np.ascontiguousarray(flat.T), result, band)
        return np.ascontiguousarray(result[:, : count(band)].T).reshape((count(band), *channels))

    def _project_channels(self, along: _Directions, planes: FloatArray, result: FloatArray, band: int) -> None:
        for first in range(0, len(planes), 3):
            x, y, z = along.planes(0)
            if len(planes) - first >= 3:
                _settle(raw.vekrSHTFwd_32f_P3I(x, y, z, _rows(planes, first, 3), along.count, _rows(result, first, 3), band,
                                               self._state))
                continue
            for one in range(first, len(planes)):
                _settle(raw.vekrSHTFwd_32f_C1I(x, y, z, pointer(address(planes[one])), along.count,
                                               pointer(address(result[one])), band, self._state))

    def reconstruct(self, coefficients: Any, directions: Any, *, threads: Optional[int] = None,
                    progress: Progress = None) -> FloatArray:
        """Return the sum of coefficient * function for each direction.

        Parameters
        ----------
        coefficients : array_like
            (N,) or (N, C) with N = (band + 1)**2 of a band up to that of the basis, and any axes of channels behind it.
        directions : array_like
            (..., 3) unit vectors.
        threads, progress
            As in :meth:`evaluate`.

        Returns
        -------
        ndarray
            (...) or (..., C) float32.
        """
        given = np.asarray(coefficients)
        if given.dtype.kind not in "fiub":
            raise TypeError(f"coefficients must hold numbers, not {given.dtype}")
        number = given.shape[0] if given.ndim else 0
        band = math.isqrt(number) - 1
        if number < 1 or count(band) != number or band > self.max_band:
            raise ValueError(f"coefficients must be 1, 4, 9, ... {len(self)}, not {number}")
        channels = given.shape[1:]
        width = math.prod(channels)
        rows = aligned((width, _stride(band)))
        rows[:, :number] = given.reshape(number, width).T
        along = _Directions(directions)
        result = np.empty((along.count, width), FLOAT) if width == 3 else aligned((width, along.count))

        def work(first: int, part: int) -> int:
            x, y, z = along.planes(first)
            if width == 3:
                return int(raw.vekrSHTInv_32f_P3C3(_rows(rows, 0, 3), band, x, y, z,
                                                   pointer(address(result) + 3 * ENTRY * first), part, self._state))
            status = 0
            for one in range(width):
                target = pointer(address(result) + ENTRY * (one * along.count + first))
                status = status or raw.vekrSHTInv_32f_C1(pointer(address(rows[one])), band, x, y, z, target, part,
                                                         self._state)
            return int(status)

        _run(work, along.count if width else 0, threads, progress)
        ordered = result if width == 3 else np.ascontiguousarray(result.T)
        return ordered.reshape((*along.leading, *channels))


def evaluate_band(band: int, directions: Any, *, threads: Optional[int] = None, progress: Progress = None) -> FloatArray:
    """Return the values of the 2 band + 1 functions of one band, by the direct method.

    Parameters
    ----------
    band : int
        0 to 15.
    directions : array_like
        (..., 3) unit vectors.
    threads, progress
        As in :meth:`Basis.evaluate`.

    Returns
    -------
    ndarray
        (..., 2 band + 1) float32, order m at band + m.

    Examples
    --------
    >>> evaluate_band(1, [0, 0, 1]).round(4)
    array([-0.    ,  0.4886, -0.    ], dtype=float32)
    """
    number = int(band)
    if number != band or not 0 <= number <= MAX_BAND:
        raise ValueError(f"band must be a whole number of 0 to {MAX_BAND}, not {band!r}")
    along = _Directions(directions)
    width = 2 * number + 1
    result = np.empty((*along.leading, width), FLOAT)
    start = address(result)

    def work(first: int, part: int) -> int:
        return int(raw.vekrSHBand_32f(*along.planes(first), part, pointer(start + ENTRY * width * first), number))

    _run(work, along.count, threads, progress)
    return result


def _run(work: Any, number: int, threads: Optional[int], progress: Progress) -> None:
    """Do directions in blocks; a direction's values do not depend on where its block begins."""
    if number <= _BLOCK and threads is None and progress is None:
        if number:
            _settle(work(0, number))
        return
    count_of_threads = thread_count(threads)
    blocks = -(-number // _BLOCK)

    def block(n: int) -> int:
        return int(work(n * _BLOCK, min(_BLOCK, number - n * _BLOCK)))

    for status in run_blocks(block, blocks, count_of_threads, progress):
        _settle(status)


def _settle(status: int) -> None:
    if status < 0:
        raise VekrError(status, "sh")


def _stride(band: int) -> int:
    """Return entries from one channel's coefficients to the next, so that all of them are 16-byte aligned."""
    return -(-count(band) // 4) * 4


def _rows(array: npt.NDArray[np.float32], first: int, number: int) -> Any:
    step = array.strides[0]
    start = address(array) + step * first
    return pointers(range(start, start + step * number, step))


def _output(out: Optional[FloatArray], shape: Tuple[int, ...], read: FloatArray) -> FloatArray:
    if out is None:
        return np.empty(shape, FLOAT)
    if not isinstance(out, np.ndarray) or out.dtype != FLOAT:
        raise TypeError("out must be a float32 array")
    if out.shape != shape:
        raise ValueError(f"out must have the shape {shape}, not {out.shape}")
    if not out.flags.writeable or not out.flags.c_contiguous or not out.flags.aligned:
        raise ValueError("out must be writeable and C-contiguous")
    if np.may_share_memory(out, read):
        raise ValueError("out must not overlap the directions")
    return out
