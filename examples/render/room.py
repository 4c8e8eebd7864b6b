#!/usr/bin/env python3
"""Prints a room as an OBJ file: a window and a door to the outside, a table, a ball and a column, with the
colours at its vertices. For the demo."""
import math

COLOURS = {
    "floor": (0.62, 0.55, 0.45),
    "wall": (0.92, 0.9, 0.86),
    "red": (0.75, 0.3, 0.22),
    "wood": (0.6, 0.4, 0.22),
    "blue": (0.25, 0.4, 0.75),
}
vertices, faces = [], []


def quad(material, corners):
    first = len(vertices) + 1
    vertices.extend((*corner, *COLOURS[material]) for corner in corners)
    faces.append([first, first + 1, first + 2, first + 3])


def box(material, low, high):
    (a, b, c), (d, e, f) = low, high
    quad(material, [(a, b, c), (d, b, c), (d, e, c), (a, e, c)])
    quad(material, [(a, b, f), (d, b, f), (d, e, f), (a, e, f)])
    quad(material, [(a, b, c), (a, b, f), (a, e, f), (a, e, c)])
    quad(material, [(d, b, c), (d, b, f), (d, e, f), (d, e, c)])
    quad(material, [(a, b, c), (d, b, c), (d, b, f), (a, b, f)])
    quad(material, [(a, e, c), (d, e, c), (d, e, f), (a, e, f)])


def turned(material, centre, profile, steps=48):
    """A surface of revolution: a profile of (radius, height)."""
    for (r0, y0), (r1, y1) in zip(profile, profile[1:]):
        for k in range(steps):
            a, b = 2 * math.pi * k / steps, 2 * math.pi * (k + 1) / steps
            ring = [(r0, y0, a), (r0, y0, b), (r1, y1, b), (r1, y1, a)]
            quad(material, [(centre[0] + r * math.cos(t), centre[1] + y, centre[2] + r * math.sin(t)) for r, y, t in ring])


# Walls of thickness, 6 by 5 metres and 3 high, without the side behind the viewer; a window to the left, a door to the right.
box("floor", (-0.2, -0.2, -0.2), (6.2, 0, 5.2))
box("wall", (-0.2, 3, -0.2), (6.2, 3.2, 5.2))
box("wall", (-0.2, 0, -0.2), (0, 0.9, 5.2))
box("wall", (-0.2, 2.5, -0.2), (0, 3, 5.2))
for low, high in ((-0.2, 0.8), (3.8, 5.2)):
    box("wall", (-0.2, 0.9, low), (0, 2.5, high))
for low, high in ((0, 3.6), (5.2, 6.2)):
    box("red", (low, 0, -0.2), (high, 3, 0))
box("red", (3.6, 2.2, -0.2), (5.2, 3, 0))
box("wood", (1.2, 0.72, 1.4), (2.8, 0.78, 2.4))
for x in (1.25, 2.65):
    for z in (1.45, 2.25):
        box("wood", (x, 0, z), (x + 0.1, 0.72, z + 0.1))
turned("blue", (1.7, 1.08, 1.9), [(0.3 * math.sin(math.pi * i / 24), -0.3 * math.cos(math.pi * i / 24)) for i in range(25)])
turned("wall", (3.2, 0, 0.7), [(0.3, 0), (0.3, 0.15), (0.2, 0.25), (0.2, 1.2), (0.3, 1.3), (0.3, 1.45), (0, 1.45)])

print("# made by room.py")
for vertex in vertices:
    print("v %.5f %.5f %.5f %g %g %g" % vertex)
for corners in faces:
    print("f", *corners)
