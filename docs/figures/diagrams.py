#!/usr/bin/python3
"""Draws the diagrams of the page on volumes as SVG: diagrams.py DIRECTORY"""
import sys

INK, PALE, LINE, SOURCE, TARGET, ACCENT = "#444", "#888", "#bbb", "#dbe9f6", "#fbe5d6", "#c2571a"


class Drawing:
    def __init__(self, width, height):
        self.head = (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
                     f'height="{height}" font-family="sans-serif" font-size="13" fill="{INK}">\n'
                     f'<rect width="{width}" height="{height}" fill="#fff"/>\n')
        self.parts = []

    def box(self, x, y, width, height, fill="none", stroke=LINE, thick=1, dash=""):
        dashes = f' stroke-dasharray="{dash}"' if dash else ""
        self.parts.append(f'<rect x="{x}" y="{y}" width="{width}" height="{height}" fill="{fill}" stroke="{stroke}" '
                          f'stroke-width="{thick}"{dashes}/>')

    def dot(self, x, y, fill=INK, radius=3, stroke="none"):
        self.parts.append(f'<circle cx="{x}" cy="{y}" r="{radius}" fill="{fill}" stroke="{stroke}"/>')

    def line(self, x0, y0, x1, y1, stroke=PALE, dash="", thick=1):
        dashes = f' stroke-dasharray="{dash}"' if dash else ""
        self.parts.append(f'<path d="M{x0} {y0}L{x1} {y1}" stroke="{stroke}" stroke-width="{thick}"{dashes}/>')

    def arrow(self, x0, y0, x1, y1, stroke=INK):
        """Straight, along an axis."""
        self.line(x0, y0, x1, y1, stroke)
        dx, dy = (x1 > x0) - (x1 < x0), (y1 > y0) - (y1 < y0)
        self.parts.append(f'<path d="M{x1} {y1}l{-7 * dx - 4 * dy} {-7 * dy - 4 * dx}'
                          f'l{8 * dy} {8 * dx}z" fill="{stroke}"/>')

    def text(self, x, y, words, anchor="middle", fill=INK, size=None):
        bigger = f' font-size="{size}"' if size else ""
        self.parts.append(f'<text x="{x}" y="{y}" text-anchor="{anchor}" fill="{fill}"{bigger}>{words}</text>')

    def save(self, path):
        with open(path, "w") as file:
            file.write(self.head + "\n".join(self.parts) + "\n</svg>\n")


def voxel_centres():
    """Source voxels, and those of a destination twice as fine, over one axis."""
    d = Drawing(440, 210)
    left, unit = 40, 90
    d.text(left, 22, "source", "start", PALE)
    for i in range(4):
        d.box(left + i * unit, 30, unit, 42, SOURCE)
        d.dot(left + (i + 0.5) * unit, 51)
        d.text(left + (i + 0.5) * unit, 92, f"{i}")
        d.line(left + (i + 0.5) * unit, 72, left + (i + 0.5) * unit, 78)
    for x, words in ((0, "-0.5"), (4, "3.5")):
        d.line(left + x * unit, 72, left + x * unit, 78)
        d.text(left + x * unit, 92, words, fill=PALE)
    for i in range(8):
        x = left + (i + 0.5) * unit / 2
        d.box(left + i * unit / 2, 130, unit / 2, 42, TARGET)
        d.dot(x, 151, ACCENT)
        d.text(x, 190, f"{(i + 0.5) / 2 - 0.5:g}", fill=ACCENT, size=12)
        d.line(x, 52, x, 148, ACCENT, "2 4")
    d.box(left - 2, 108, 186, 20, "#fff", "none")
    d.text(left, 122, "destination of a resize by 2", "start", PALE)
    return d


def boxes():
    """The closed region of remap and warp in a source of eight by six voxels."""
    d = Drawing(440, 300)
    left, top, unit = 30, 34, 38
    for y in range(6):
        for x in range(8):
            inside = 2 <= x < 6 and 1 <= y < 5
            d.box(left + x * unit, top + y * unit, unit, unit, SOURCE if inside else "#fff")
            d.dot(left + (x + 0.5) * unit, top + (y + 0.5) * unit, INK if inside else LINE)
    for x in range(8):
        d.text(left + (x + 0.5) * unit, top - 9, f"{x}", fill=PALE)
    for y in range(6):
        d.text(left - 14, top + (y + 0.5) * unit + 4, f"{y}", fill=PALE)
    d.box(left + 2.5 * unit, top + 1.5 * unit, 3 * unit, 3 * unit, stroke=ACCENT, thick=2)
    for x, y, taken in ((3.3, 2.6, True), (5, 4, True), (5.3, 2.4, False), (1.8, 3.2, False)):
        cx, cy = left + (x + 0.5) * unit, top + (y + 0.5) * unit
        d.dot(cx, cy, ACCENT if taken else "#fff", 5, ACCENT)
    d.text(left, 286, "srcBox from (2, 1), 4 by 4 voxels: x from 2 to 5, y from 1 to 4", "start", size=12)
    d.dot(354, 60, ACCENT, 5, ACCENT)
    d.text(366, 64, "sampled", "start", size=12)
    d.dot(354, 84, "#fff", 5, ACCENT)
    d.text(366, 88, "kept", "start", size=12)
    return d


def steps():
    """A list of planes whose rows are longer than the volume is wide."""
    d = Drawing(450, 270)
    for z, (x, y) in enumerate(((150, 20), (170, 100), (150, 180))):
        d.box(20, y + 8, 74, 26, "#fff", PALE)
        d.text(57, y + 26, f"pSrc[{z}]")
        d.arrow(94, y + 21, x - 2, y + 21)
        for row in range(3):
            for column in range(8):
                fill = SOURCE if column < 6 else "#f3f3f3"
                d.box(x + column * 26, y + 8 + row * 20, 26, 20, fill)
        d.text(x + 13, y + 23, "0,0", size=11)
    x, y = 150, 180
    d.line(x, y + 72, x, y + 84)
    d.line(x + 208, y + 72, x + 208, y + 84)
    d.arrow(x + 104, y + 78, x + 207, y + 78)
    d.arrow(x + 104, y + 78, x + 1, y + 78)
    d.box(x + 62, y + 70, 84, 18, "#fff", "#fff")
    d.text(x + 104, y + 83, "srcStep bytes", size=12)
    d.text(371, 54, "width 6,", "start", size=12)
    d.text(371, 70, "then a gap", "start", size=12)
    return d


def mirrored_kernel():
    """Which voxel meets which tap, for a kernel row of three and its anchor in the middle, and at the first tap."""
    d = Drawing(440, 250)
    unit, left = 44, 84
    for anchor, y in ((1, 40), (0, 160)):
        d.text(left - 12, y + 27, "source", "end", PALE)
        d.text(left - 12, y + 71, "taps", "end", PALE)
        place = 3
        for x in range(7):
            d.box(left + x * unit, y, unit, unit, SOURCE if place + anchor - 2 <= x <= place + anchor else "#fff")
            d.text(left + (x + 0.5) * unit, y + 27, f"{x - place:+d}" if x != place else "x")
        for i in range(3):
            x = place + anchor - i
            d.box(left + x * unit, y + unit, unit, 32, TARGET, ACCENT, 2 if i == anchor else 1)
            d.text(left + (x + 0.5) * unit, y + unit + 21, f"K[{i}]", size=12)
        d.text(left, y - 10, f"anchor {anchor}", "start")
    return d


def image_of_box():
    """What a resize may write: the image of srcBox, cut by dstBox."""
    d = Drawing(440, 220)
    left, unit = 30, 46
    d.text(left, 22, "source, srcBox from 2, 4 wide", "start", PALE)
    for i in range(8):
        d.box(left + i * unit, 30, unit, 36, SOURCE if 2 <= i < 6 else "#fff")
        d.dot(left + (i + 0.5) * unit, 48, INK if 2 <= i < 6 else LINE)
        d.text(left + (i + 0.5) * unit, 82, f"{i}", fill=PALE, size=12)
    d.line(left + 2 * unit, 30, left + 2 * unit, 168, ACCENT, "3 4")
    d.line(left + 6 * unit, 30, left + 6 * unit, 168, ACCENT, "3 4")
    d.box(left - 2, 104, 204, 19, "#fff", "none")
    d.text(left, 118, "destination, factor 1.5, shift 0", "start", PALE)
    fine = unit / 1.5
    for i in range(11):
        centre = (i + 0.5) / 1.5
        inside = 2 <= centre <= 6
        d.box(round(left + i * fine, 2), 126, round(fine, 2), 36, TARGET if inside else "#fff")
        d.dot(round(left + (i + 0.5) * fine, 2), 144, ACCENT if inside else LINE)
        d.text(round(left + (i + 0.5) * fine, 2), 178, f"{i}", fill=PALE, size=12)
    d.text(left, 206, "Written: voxels whose centres lie between the dashed lines", "start", size=12)
    return d


for name, draw in (("voxel-centres", voxel_centres), ("boxes", boxes), ("steps", steps),
                   ("mirrored-kernel", mirrored_kernel), ("image-of-box", image_of_box)):
    draw().save(f"{sys.argv[1]}/{name}.svg")
