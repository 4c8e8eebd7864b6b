"""Matrices whose inverse, as the library computes it, makes all source coordinates exact.

The affine warp adds source coordinates up: along a row, from row to row, from plane to plane. Their last bits depend on
where a sum has started, so on the number of threads and on how a volume is cut. If all entries of the inverse are
multiples of 2**-36 and coordinates stay below 2**17, every sum is exact, and nothing depends on that any more.

A matrix with such an inverse is looked for next to the one wanted: entries of the wanted inverse are put on the grid,
turned back, and the last bits of the result are moved until the library's own arithmetic, done here operation by
operation, gives back the grid's numbers to the last bit. The search is the same on every machine.
"""

from __future__ import annotations

from functools import lru_cache
from typing import Any, Iterator, List, NamedTuple, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

from ..errors import VekrError

Float = npt.NDArray[np.float64]
Rows = List[List[Any]]  # three rows of numbers, or of arrays of candidates

_SINGULAR = 1e-10  # the library's bound of a determinant
_ERROR_COEFF = -56
_FINEST = 36  # bits behind the point
_COARSEST = 24
_MANTISSA = 53
_MOST_UNITS = 6  # that an entry of the inverse may be moved by beyond rounding: 6.5 * 2**-36 is below 1e-10
_ROUNDS = 12
_SHIFT_UNITS = (2, 6)
# Where the terms of a shift nearly cancel, hardly any shift near the one wanted can be reached. Then the destination is
# counted from another voxel, which gives other terms.
_ORIGINS = ((0, 0, 0), (101, 57, 83), (389, 211, 307), (1021, 523, 777))
_FARTHEST = 1021
_STEPS = 6


class ExactMatrix(NamedTuple):
    """A matrix with which an affine warp is exact.

    Attributes
    ----------
    matrix : ndarray
        (3, 4) float64, to be used in place of the one wanted.
    inverse : ndarray
        (3, 4) float64, its inverse as the library computes it, from destination to source.
    deviation : float
        Largest difference between an entry of `inverse` and that of the matrix wanted.
    origin : (int, int, int)
        What is added to the destination's voxel numbers (x, y, z) with these matrices; mostly 0, 0, 0.
    """

    matrix: Float
    inverse: Float
    deviation: float
    origin: Tuple[int, int, int] = (0, 0, 0)


def _minors(c: Rows) -> Tuple[Any, Any, Any, Any]:
    m0 = c[1][1] * c[2][2] - c[2][1] * c[1][2]
    m1 = c[2][2] * c[1][0] - c[1][2] * c[2][0]
    m2 = c[2][1] * c[1][0] - c[1][1] * c[2][0]
    return m0, m1, m2, m0 * c[0][0] - m1 * c[0][1] + m2 * c[0][2]


def _linear_inverse(c: Rows) -> Rows:
    """Return the inverse's first three columns, with the library's operations in the library's order."""
    m0, m1, m2, det = _minors(c)
    r = 1 / det
    return [
        [r * m0, -r * (c[2][2] * c[0][1] - c[2][1] * c[0][2]), r * (c[1][2] * c[0][1] - c[1][1] * c[0][2])],
        [-r * m1, r * (c[2][2] * c[0][0] - c[2][0] * c[0][2]), -r * (c[1][2] * c[0][0] - c[1][0] * c[0][2])],
        [r * m2, -r * (c[2][1] * c[0][0] - c[2][0] * c[0][1]), r * (c[1][1] * c[0][0] - c[1][0] * c[0][1])],
    ]


def _shift_inverse(c: Rows, t: Sequence[Any]) -> List[Any]:
    """Return the inverse's last column likewise."""
    r = 1 / _minors(c)[3]
    p = c[1][2] * t[2] - c[2][2] * t[1]
    q = c[0][2] * t[1] - c[1][2] * t[0]
    s = c[0][2] * t[2] - c[2][2] * t[0]
    return [
        -r * (c[0][1] * p - c[1][1] * s + c[2][1] * q),
        r * (c[0][0] * p - c[1][0] * s + c[2][0] * q),
        -r * (c[0][0] * (c[1][1] * t[2] - c[2][1] * t[1]) - c[1][0] * (c[0][1] * t[2] - c[2][1] * t[0])
              + c[2][0] * (c[0][1] * t[1] - c[1][1] * t[0])),
    ]


def _rows(matrix: Float) -> Rows:
    return [[matrix[r, k] for k in range(3)] for r in range(3)]


def library_inverse(matrix: Float) -> Float:
    """Return the inverse of a (3, 4) matrix to the last bit as the library computes it.

    Raises
    ------
    VekrError
        If the library would call the matrix singular: a determinant within 1e-10 of 0.
    """
    c = _rows(matrix)
    with np.errstate(all="ignore"):
        det = _minors(c)[3]
        if not abs(det) >= _SINGULAR:
            raise VekrError(_ERROR_COEFF, "affine")
        linear: Float = np.array(_linear_inverse(c))
        shift = np.array(_shift_inverse(c, list(matrix[:, 3])))
    inverse: Float = np.concatenate([linear, shift[:, None]], axis=1)
    return inverse


def _noise(count: int, most: int, salt: int) -> Float:
    """Return whole numbers from -most to most that look random and are the same everywhere."""
    h = (np.arange(count, dtype=np.uint64) + np.uint64(salt * 1000003)) * np.uint64(0x9E3779B97F4A7C15)
    h ^= h >> np.uint64(29)
    h *= np.uint64(0xBF58476D1CE4E5B9)
    h ^= h >> np.uint64(32)
    return (h % np.uint64(2 * most + 1)).astype(np.float64) - most


def _product(a: Rows, b: Rows) -> Rows:
    # Written out: a product of numpy's matrices may fuse additions, and then depends on the machine.
    return [[a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j] for j in range(3)] for i in range(3)]


def _candidates(search_round: int) -> "tuple[int, int]":
    """Return how many candidates a round tries, and how far it moves an entry of the inverse."""
    return 512 << min(max(search_round - 2, 0), 5), min(1 + search_round, _MOST_UNITS)


def _near(value: float, unit: float, count: int, most: int, salt: int) -> Float:
    grid = np.rint(value / unit)
    return np.asarray((grid + (_noise(count, most, salt) if value != 0 else np.zeros(count))) * unit)


def _stir(found: Any, widest: Any, salt: int) -> Float:
    """Return moves of a last bit: every other candidate's own, and that of the largest entry beside it."""
    own = np.spacing(np.abs(found))
    own[1::2] = np.spacing(widest)[1::2]
    return np.asarray(_noise(len(own), 1, salt) * own)


def _exact_linear(matrix: Float, wanted: Float, unit: float) -> Iterator[Rows]:
    """Find the matrix without its last column, again and again."""
    for n in range(_ROUNDS):
        count, most = _candidates(n)
        target = [[_near(wanted[r, k], unit, count, most, 9 * n + 3 * r + k) for k in range(3)] for r in range(3)]
        found = _linear_inverse(target)
        for step in range(_STEPS):
            inverse = _linear_inverse(found)
            error = [[inverse[r][k] - target[r][k] for k in range(3)] for r in range(3)]
            miss = sum(np.abs(error[r][k]) for r in range(3) for k in range(3))
            hits = np.flatnonzero(miss == 0)
            if hits.size:
                yield [[found[r][k][hits[0]] for k in range(3)] for r in range(3)]
                break
            widest = np.max(np.abs(found), axis=(0, 1))
            move = _product(_product(found, error), found)
            for r in range(3):
                for k in range(3):
                    if matrix[r, k] == 0 and wanted[k, r] == 0:
                        continue
                    stir = _stir(found[r][k], widest, 7777 + 100 * n + 9 * step + 3 * r + k) if step else 0
                    found[r][k] = found[r][k] + move[r][k] + stir


def _exact_shift(linear: Rows, wanted: Float, unit: float) -> Optional[List[Any]]:
    """Find the last column that goes with the others."""
    for n, most in enumerate(_SHIFT_UNITS):
        count = 512
        target = [_near(wanted[r], unit, count, most, 500000 + 3 * n + r) for r in range(3)]
        found = [-(linear[r][0] * target[0] + linear[r][1] * target[1] + linear[r][2] * target[2]) for r in range(3)]
        for step in range(_STEPS):
            shift = _shift_inverse(linear, found)
            error = [shift[r] - target[r] for r in range(3)]
            hits = np.flatnonzero(np.abs(error[0]) + np.abs(error[1]) + np.abs(error[2]) == 0)
            if hits.size:
                return [found[r][hits[0]] for r in range(3)]
            widest = np.max(np.abs(found), axis=0)
            for r in range(3):
                move = linear[r][0] * error[0] + linear[r][1] * error[1] + linear[r][2] * error[2]
                stir = _stir(found[r], widest, 600000 + 100 * n + 3 * step + r) if step else 0
                found[r] = found[r] + move + stir
    return None


def _is_on_grid(inverse: Float, unit: float) -> bool:
    return bool(np.all(np.rint(inverse / unit) * unit == inverse))


def _bits(inverse: Float, ends: Tuple[int, int, int]) -> int:
    """Return how many bits behind the point leave room for all coordinates up to destination voxel `ends` (x, y, z)."""
    farthest = float(np.max(np.abs(inverse[:, :3]) @ np.array(ends, float) + np.abs(inverse[:, 3])))
    if not np.isfinite(farthest):
        raise ValueError("the matrix sends voxels to coordinates that are not finite")
    return min(_FINEST, _MANTISSA - 2 - int(np.ceil(np.log2(max(farthest, 1.0)))))


def _moved(matrix: Float, origin: Tuple[int, int, int]) -> Float:
    moved = matrix.copy()
    moved[:, 3] += origin
    return moved


@lru_cache(maxsize=256)
def _find(data: bytes, ends: Tuple[int, int, int]) -> Optional[ExactMatrix]:
    matrix = np.frombuffer(data, np.float64).reshape(3, 4)
    wanted = library_inverse(matrix)
    bits = _bits(wanted, (ends[0] + _FARTHEST, ends[1] + _FARTHEST, ends[2] + _FARTHEST))
    if bits < _COARSEST:
        return None
    unit = 2.0**-bits
    if _is_on_grid(wanted, unit):
        return _told(matrix.copy(), wanted, _ORIGINS[0])
    with np.errstate(all="ignore"):
        for linear in _exact_linear(matrix, wanted, unit):
            for origin in _ORIGINS:
                moved = library_inverse(_moved(matrix, origin))
                shift = _exact_shift(linear, moved[:, 3], unit)
                if shift is not None:
                    return _told(np.concatenate([np.array(linear), np.array(shift)[:, None]], axis=1), moved, origin)
    return None


def _told(matrix: Float, wanted: Float, origin: Tuple[int, int, int]) -> ExactMatrix:
    inverse = library_inverse(matrix)
    matrix.setflags(write=False)
    inverse.setflags(write=False)
    return ExactMatrix(matrix, inverse, float(np.max(np.abs(inverse - wanted))), origin)


def find_exact(matrix: Float, ends: Tuple[int, int, int]) -> Optional[ExactMatrix]:
    """Return the exact matrix for destination voxels up to `ends` (x, y, z), or None; remembers the last 256.

    One matrix in a hundred has none near it: where the terms of an entry of the inverse nearly cancel.
    """
    return _find(matrix.tobytes(), ends)
