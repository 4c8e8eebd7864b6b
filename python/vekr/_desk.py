"""Memory in which blocks of rays are traced, kept for the next block."""

from __future__ import annotations

from functools import lru_cache
from typing import Any, Dict, List, Tuple

import numpy as np
import numpy.typing as npt

from ._native import address_list, pointer, within
from ._rays import FLOAT, INT, PlaneRoom, count_of

IntArray = npt.NDArray[np.int32]

FAR = float(np.finfo(np.float32).max)
DISTANCE, U, V, TRIANGLE = range(4)  # planes of a result
_FEW = 1 << 10
_shift, _and, _or = np.right_shift, np.bitwise_and, np.bitwise_or


class Desk:
    """Memory of a block at work, and lists of planes whose pointers are made once.

    A block takes a desk for itself and puts it back, so that the next one finds it warm.
    """

    __slots__ = ("along", "starts", "masked", "scratch", "own_along", "own_starts", "there_along", "there_starts", "weights",
                 "slots", "mask", "occluders", "_room")

    def __init__(self, count: int) -> None:
        self._room = room = PlaneRoom(7, count)
        self.along, self.starts, self.scratch = room.planes(0, 3, (count,)), room.planes(3, 3, (count,)), room.plane(6, (count,))
        start, step = room.start, room.step
        # Addresses: the room's own directions and origins, those that lie elsewhere, and weights.
        self.slots = address_list([start + k * step for k in range(6)] + [0] * 8)
        self.own_along, self.own_starts, self.there_along, self.there_starts, self.weights = (
            within(self.slots, place) for place in (0, 3, 6, 9, 12))
        # Segments have one origin, and leave the room for origins to masks.
        self.masked = room.plane(3, (count,), INT)
        self.mask, self.occluders = pointer(start + 3 * step), pointer(start + 4 * step)


class LayerDesk:
    """Memory of a block whose layers are copied to where they stay, once they are found.

    Layers of a block lie one behind the other, those of a picture a picture apart.
    """

    __slots__ = ("along", "layers", "nearest", "places", "_farther", "_found", "_cleared", "_rooms", "_kept")

    def __init__(self, width: int, height: int, depth: int) -> None:
        count = width * height
        given, room = PlaneRoom(3, count), PlaneRoom(4, depth * count)
        self._rooms = given, room
        self.along = given.planes(0, 3, (height, width))
        self.layers = [room.plane(k, (depth, height, width), INT if k == TRIANGLE else FLOAT) for k in range(4)]
        self._cleared = room.planes(0, TRIANGLE, (depth * count,))
        self.nearest = self.layers[DISTANCE][0]
        self._farther, self._found = (room.plane(k, (depth * count,), INT)[count:] for k in (DISTANCE, TRIANGLE))
        start, step = room.start, room.step
        self._kept = address_list([*(given.start + k * given.step for k in range(3)), start + U * step, start + V * step])
        self.places = within(self._kept), pointer(start), within(self._kept, 3), pointer(start + TRIANGLE * step)

    def clear(self) -> None:
        """Make ready for the next block: packets that miss the box leave weights as they are, and distances of hits that
        there are not."""
        self._cleared.fill(0)

    def finish(self) -> None:
        """Put the farthest distance where there is no further hit."""
        if len(self._found):
            put_farthest(self._farther, self._found)


def put_farthest(distance: IntArray, triangle: IntArray) -> None:
    """Make distances, seen as whole numbers, the farthest one where there is no triangle: there they are 0 or that."""
    sign, far = _constants(triangle.shape)
    farthest = _shift(triangle, sign)
    _and(farthest, far, farthest)
    _or(distance, farthest, distance)


@lru_cache(maxsize=64)
def _constants(shape: Tuple[int, ...]) -> Tuple[IntArray, IntArray]:
    # As many as there are entries, if these are few: numpy takes three times as long where shapes differ.
    own = shape if count_of(shape) <= _FEW else (1,)
    return np.full(own, 31, INT), np.full(own, FAR, FLOAT).view(INT)


_MOST_SIZES = 16
_desks: Dict[Any, List[Any]] = {}  # by how many rays, or by width, height and depth of layers


def take(size: int) -> Desk:
    """Return a desk that nobody else has."""
    try:
        desk: Desk = _desks[size].pop()
        return desk
    except (KeyError, IndexError):
        return Desk(size)


def take_layers(sides: Tuple[int, int, int]) -> LayerDesk:
    """Return a desk for layers likewise."""
    try:
        desk: LayerDesk = _desks[sides].pop()
        return desk
    except (KeyError, IndexError):
        return LayerDesk(*sides)


def give(size: Any, desk: Any) -> None:
    """Put a desk back for the next block of its size."""
    free = _desks.get(size)
    if free is None:
        if len(_desks) >= _MOST_SIZES:
            _desks.clear()
        free = _desks.setdefault(size, [])
    free.append(desk)
