"""Writes a displacement field for the demonstration: what lies about a point is magnified.

Usage: demo_field.py FILE.nii
"""

import struct
import sys

import numpy as np

SPACING, FIRST, SIDES = 10.0, (-100.0, -135.0, -80.0), (21, 25, 21)
MIDDLE, RADIUS, STRENGTH = (30.0, -20.0, 20.0), 30.0, 0.6


def main(path: str) -> None:
    index = np.indices(SIDES)
    place = [first + SPACING * i for first, i in zip(FIRST, index)]
    away = [p - m for p, m in zip(place, MIDDLE)]
    bump = STRENGTH * np.exp(-sum(a**2 for a in away) / RADIUS**2)
    # From the result's place towards the middle; x to the left and y to the back.
    field = np.stack([-sign * a * bump for sign, a in zip((-1, -1, 1), away)])

    header = bytearray(352)
    struct.pack_into("<i", header, 0, 348)
    struct.pack_into("<8h", header, 40, 5, *SIDES, 1, 3, 1, 1)
    struct.pack_into("<3h", header, 68, 1007, 16, 32)  # vectors of floats
    struct.pack_into("<8f", header, 76, 1, SPACING, SPACING, SPACING, 1, 1, 1, 1)
    struct.pack_into("<f", header, 108, 352)
    struct.pack_into("<B", header, 123, 2)  # millimetres
    struct.pack_into("<h", header, 254, 1)
    for row in range(3):
        line = [0.0, 0.0, 0.0, FIRST[row]]
        line[row] = SPACING
        struct.pack_into("<4f", header, 280 + 16 * row, *line)
    header[344:348] = b"n+1\0"
    with open(path, "wb") as file:
        file.write(header)
        file.write(field.astype("<f4").transpose(0, 3, 2, 1).tobytes())


if __name__ == "__main__":
    main(sys.argv[1])
