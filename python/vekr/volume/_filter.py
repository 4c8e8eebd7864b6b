"""Filter: three-dimensional convolution of 16-bit volumes."""

from __future__ import annotations

from functools import lru_cache
from typing import Any, Collection, Dict, Optional, Tuple

import numpy as np
import numpy.typing as npt

from .._native import int_out, pointer_to, raw
from .._work import Progress, complete, thread_count
from ..errors import check
from ._cuts import planes_per_block
from ._planes import LIMIT, Array, Output, Planes, Shape, size_of, source_array

TYPES: Collection["np.dtype[Any]"] = frozenset([np.dtype(np.int16)])
BORDERS = ("nearest", "reflect", "mirror", "wrap", "constant")

_MOST_KERNEL_BYTES = 1 << 24
_MOST_TAP = 65535  # its product with a voxel still fits 32 bits
_MOST_VECTOR_TAP, _LEAST_VECTOR_TAP, _MOST_VECTOR_SUM = 32766, -32767, 98301
VECTOR_WIDTH = 16  # narrower results are summed in 64 bits
_SMALL, _SMALL_MARGIN = 4096, 64  # voxels: up to here one table is faster than margins axis by axis
_STRIP = 31  # widest result that is right for widths 6, 7 and 9 in the form of 16-bit taps


def kernel_of(kernel: Any) -> npt.NDArray[Any]:
    taps = np.asarray(kernel)
    if taps.dtype.kind not in "iub":
        raise TypeError(f"kernel must hold whole numbers, not {taps.dtype}; scale it and give the scale as divisor")
    if taps.ndim != 3:
        raise ValueError(f"kernel must have three axes (z, y, x), not {taps.ndim}")
    if taps.size == 0:
        raise ValueError(f"kernel must not be empty, and its shape is {taps.shape}")
    if taps.nbytes > _MOST_KERNEL_BYTES:
        raise ValueError(f"kernel must not be larger than {_MOST_KERNEL_BYTES} bytes")
    return taps


@lru_cache(maxsize=64)
def plan_of(data: bytes, kind: "np.dtype[Any]", shape: Shape, anchor: Optional[Shape], divisor: int, width: int) -> "Plan":
    """Return how a kernel is given to the library; remembers the last ones."""
    taps = np.frombuffer(data, kind).reshape(shape)
    if int(taps.max()) > _MOST_TAP or int(taps.min()) < -_MOST_TAP:
        raise ValueError(f"taps must lie in -{_MOST_TAP} to {_MOST_TAP}")
    return Plan(np.ascontiguousarray(taps, np.int32), anchor_of(anchor, shape), divisor, width)


def divisor_of(divisor: Any) -> int:
    if type(divisor) is int and 0 < divisor <= LIMIT:
        return divisor
    try:
        number = int(divisor)
    except (TypeError, ValueError, OverflowError):
        raise TypeError(f"divisor must be a whole number, not {divisor!r}") from None
    if number != divisor or number == 0 or not -LIMIT <= number <= LIMIT:
        raise ValueError(f"divisor must be a whole number other than 0 and below 2**31, not {divisor!r}")
    return number


def anchor_of(anchor: Any, shape: Shape) -> Shape:
    if anchor is None:
        return shape[0] // 2, shape[1] // 2, shape[2] // 2
    try:
        place = tuple(int(a) for a in anchor)
        fits = len(place) == 3 and all(0 <= a < side for a, side in zip(place, shape))
    except (TypeError, ValueError, OverflowError):
        raise TypeError(f"anchor must be three whole numbers (z, y, x), not {anchor!r}") from None
    if not fits:
        raise ValueError(f"anchor must lie in the kernel of shape {shape}, and is {anchor!r}")
    return place[0], place[1], place[2]


class Plan:
    """How a kernel is given to the library so that every voxel is the sum that the convolution tells.

    The library's form of 16-bit taps is that for kernels of a width of 3 and 5, for 6, 7 and 9 in results of up to 31
    voxels a row, and wraps where a sum leaves 32 bits. Results below 16 voxels a row always are.
    """

    def __init__(self, taps: npt.NDArray[np.int32], anchor: Shape, divisor: int, width: int) -> None:
        depth, height, wide = taps.shape
        # Voxels that a result's row, column or plane reaches to before and behind it.
        self.margins = tuple((side - 1 - a, a) for side, a in zip(taps.shape, anchor))
        self.taps, self.strip, self.extra = taps, width, 0
        self._bytes: Dict[int, int] = {}
        self._widen(taps, divisor, width)
        self.size, self.anchor, self.pointer = size_of(self.taps.shape), size_of(anchor), pointer_to(self.taps)

    def _widen(self, taps: npt.NDArray[np.int32], divisor: int, width: int) -> None:
        """Find how wide a strip of the result may be; for some widths with columns of zeros added."""
        wide = taps.shape[2]
        total, reach = int(taps.sum(dtype=np.int64)), int(np.abs(taps.astype(np.int64)).sum())
        is_vector = (min(taps.shape) >= 3 and total <= _MOST_VECTOR_SUM and int(taps.max()) <= _MOST_VECTOR_TAP
                     and int(taps.min()) >= _LEAST_VECTOR_TAP and width >= VECTOR_WIDTH)
        if not is_vector or wide in (3, 5) and self._fits(reach, divisor):
            return
        if not self._fits(reach, divisor) or wide > 9:
            self.strip = VECTOR_WIDTH - 1
            return
        target = {4: 5, 8: 9}.get(wide, wide)
        # Zeros behind the last tap: they multiply voxels further to the left, and the anchor stays.
        self.extra = target - wide
        self.taps = np.ascontiguousarray(np.pad(taps, ((0, 0), (0, 0), (0, self.extra))))
        if target != 5:
            self.strip = _STRIP

    def bytes_for(self, width: int) -> int:
        """Return the bytes of work memory for results of a width, on which alone they depend."""
        known = self._bytes.get(width)
        if known is None:
            needed = int_out()
            check(raw.vekrFilterGetBufSize((width, 1, 1), self.size, 1, needed), "filter")
            known = self._bytes[width] = int(needed[0])
        return known

    @staticmethod
    def _fits(reach: int, divisor: int) -> bool:
        return reach * 32768 + abs(divisor) // 2 < LIMIT


def filter(volume: Any, kernel: Any, *, divisor: int = 1, anchor: Optional[Tuple[int, int, int]] = None,
           border: str = "nearest", value: int = 0, out: Optional[Array] = None, threads: Optional[int] = None,
           progress: Progress = None) -> Array:
    """Convolve a 16-bit volume with a kernel of whole numbers.

    Result voxel [z, y, x] is the sum over the kernel's taps [k, j, i] of
    ``kernel[k, j, i] * volume[z + az - k, y + ay - j, x + ax - i]``, divided by the divisor, rounded to nearest with ties
    to even, and cut to -32768 to 32767. The kernel is thus mirrored, as ``scipy.ndimage.convolve`` does.

    Parameters
    ----------
    volume : array_like
        (z, y, x), int16. With ``border="valid"`` used where it lies if its rows are contiguous and run forward, else
        copied once, together with its border.
    kernel : array_like
        (z, y, x), whole numbers of -65535 to 65535.
    divisor : int
        Not 0. With one that is no power of two, a quotient that stands near a half may be rounded to either side, in the
        same way on every run.
    anchor : (int, int, int), optional
        The tap (z, y, x) that multiplies the result's own place; by default the middle, ``side // 2``.
    border : str
        What stands beyond the volume, in scipy's words: ``"nearest"`` (the last voxel), ``"reflect"``, ``"mirror"``,
        ``"wrap"``, ``"constant"`` (`value`); or ``"valid"``: nothing, and the result is smaller than the volume by the
        kernel's sides less 1.
    value : int
        What ``border="constant"`` stands for.
    out : ndarray, optional
        int16 array of the result's shape to write to; must not overlap the volume.
    threads, progress
        As in :func:`resize`.

    Returns
    -------
    ndarray
        `out`, or a new array.

    Raises
    ------
    TypeError, ValueError
        If an argument is not as told.

    Notes
    -----
    Kernels of 3 x 3 x 3 and 5 x 5 x 5 taps are fastest. After an interrupt whole blocks of planes have been written and
    the others not.

    Examples
    --------
    >>> import numpy as np
    >>> import vekr
    >>> volume = np.zeros((3, 3, 3), np.int16)
    >>> volume[1, 1, 1] = 90
    >>> vekr.volume.filter(volume, np.ones((1, 1, 3), int), divisor=3)[1]
    array([[ 0,  0,  0],
           [30, 30, 30],
           [ 0,  0,  0]], dtype=int16)
    """
    source = source_array(volume, TYPES)
    taps = kernel_of(kernel)
    number = divisor_of(divisor)
    sides = taps.shape
    place = None if anchor is None else anchor_of(anchor, sides)
    shape = source.shape
    if border == "valid":
        shape = shape[0] - sides[0] + 1, shape[1] - sides[1] + 1, shape[2] - sides[2] + 1
        if min(shape) < 1:
            raise ValueError(f"the kernel {sides} is larger than the volume {source.shape}")
    elif border not in BORDERS:
        raise ValueError(f"border must be one of {', '.join([*BORDERS, 'valid'])}, not {border!r}")
    count = thread_count(threads, shape)
    plan = plan_of(taps.tobytes(), taps.dtype, sides, place, number, shape[2])
    if border != "valid" and max(sides) > 1:
        source = _with_border(source, plan.margins, border, value)
    target = Output(out, shape, source.dtype, None, (volume, kernel))
    convolve(source, target.array, plan, number, count, progress)
    return target.finish()


@lru_cache(maxsize=64)
def _places(sides: Shape, margins: Tuple[Tuple[int, int], ...], border: str) -> "Optional[npt.NDArray[np.intp]]":
    """Return which voxel of a small volume stands at each place of the volume with its margins; None for what isn't small."""
    if sides[0] * sides[1] * sides[2] > _SMALL or border == "constant" or sum(a + b for a, b in margins) > _SMALL_MARGIN:
        return None
    z, y, x = (folded(np.arange(-a, side + b), side, border) for (a, b), side in zip(margins, sides))
    return np.asarray((z[:, None, None] * sides[1] + y[:, None]) * sides[2] + x)


def _with_border(source: Array, margins: Tuple[Tuple[int, int], ...], border: str, value: Any) -> Array:
    sides = source.shape
    table = _places(sides, margins, border)
    if table is not None:
        made: Array = source.take(table)
        return made
    low = [margin[0] for margin in margins]
    if border != "constant" and any(max(margin) >= side for margin, side in zip(margins, sides)):
        # A margin wider than the volume, which goes there and back several times.
        places = [folded(np.arange(-a, side + b), side, border) for (a, b), side in zip(margins, sides)]
        return np.asarray(source[np.ix_(*places)])
    shape = [a + side + b for (a, b), side in zip(margins, sides)]
    made = np.empty(shape, source.dtype) if border != "constant" else np.full(shape, constant_of(value), source.dtype)
    made[low[0] : low[0] + sides[0], low[1] : low[1] + sides[1], low[2] : low[2] + sides[2]] = source
    if border == "constant":
        return made
    # Along z, then y, then x, each over all that is there: the margins of margins come by themselves.
    for axis, ((before, after), side) in enumerate(zip(margins, sides)):
        if before or after:
            lines = made.swapaxes(0, axis)
            _copy_margins(lines, before, after, side, border)
    return made


def _copy_margins(lines: Array, before: int, after: int, side: int, border: str) -> None:
    """Fill the margins of the first axis from what lies between them."""
    end = before + side
    if border == "nearest":
        lines[:before], lines[end:] = lines[before : before + 1], lines[end - 1 : end]
    elif border == "wrap":
        lines[:before], lines[end:] = lines[end - before : end], lines[before : before + after]
    else:
        skip = 1 if border == "mirror" else 0
        first, last = before + skip, end - skip
        lines[:before] = lines[first : first + before][::-1]
        lines[end:] = lines[last - after : last][::-1]


def folded(place: npt.NDArray[np.intp], side: int, border: str) -> npt.NDArray[np.intp]:
    """Return which voxel of an axis stands at each place inside and outside of it."""
    if border == "wrap":
        return place % side
    if border == "reflect":
        place = place % (2 * side)
        return np.minimum(place, 2 * side - 1 - place)
    if border == "mirror":
        period = max(2 * (side - 1), 1)
        place = place % period
        return np.minimum(place, period - place) if side > 1 else np.zeros_like(place)
    return np.clip(place, 0, side - 1)


def constant_of(value: Any) -> int:
    number = int(value)
    if number != value or not -32768 <= number <= 32767:
        raise ValueError(f"value must be a whole number of -32768 to 32767, not {value!r}")
    return number


def convolve(source: Array, result: Array, plan: Plan, divisor: int, threads: int, progress: Progress) -> None:
    """Filter a source with its margins into a result, in strips along x and blocks along z."""
    depth, height, width = result.shape
    (before, _), (above, _), (left, _) = plan.margins
    if plan.extra:
        # A widened kernel reads further to the left, times zero: on the very first row that takes room before the array.
        source = np.pad(source, ((0, 0), (0, 0), (plan.extra, 0)))
        left += plan.extra
    each = planes_per_block(depth, height * width, threads, progress is not None)
    size, anchor, taps = plan.size, plan.anchor, plan.pointer
    # The source's lists begin with the planes of the margin, which the library reaches at negative indices.
    if width <= plan.strip:
        strips = [(Planes(source, (0, -above, -left)), Planes(result), width)]
    else:
        count = -(-width // plan.strip)
        cuts = [width * n // count for n in range(count + 1)]
        strips = [(Planes(source, (0, -above, -left - a)), Planes(result, (0, 0, -a)), b - a) for a, b in zip(cuts, cuts[1:])]

    def block(number: int) -> int:
        first = number * each
        for read, written, strip in strips:
            part = (strip, height, min(each, depth - first))
            buffer = np.empty(plan.bytes_for(strip), np.uint8)
            status: int = raw.vekrFilter_16s_C1PV(read.at(first + before), read.step, written.at(first), written.step, part,
                                             taps, size, anchor, divisor, pointer_to(buffer))
            if status:
                return status
        return 0

    complete(block, -(-depth // each), threads, progress, "filter")
