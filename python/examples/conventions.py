"""Draws what a matrix means.   conventions.py picture.png"""

import sys

import matplotlib.pyplot as plt
import numpy as np

from vekr import volume as vol


def main(path):
    source = np.zeros((1, 12, 16), np.uint8)
    source[0, 2:10, 3:6] = 200  # a letter L: upright at x = 3 to 5 ...
    source[0, 7:10, 3:12] = 120  # ... and its foot at y = 7 to 9
    a = np.radians(20)
    matrix = np.array([[1.5 * np.cos(a), -1.5 * np.sin(a), 0, 6], [1.5 * np.sin(a), 1.5 * np.cos(a), 0, -1], [0, 0, 1, 0]])
    result = vol.affine(source, matrix, shape=(1, 24, 24), interpolation="nearest", fill=30)
    corner = np.array([3, 2, 0])
    moved = matrix[:, :3] @ corner + matrix[:, 3]
    fig, axes = plt.subplots(1, 3, figsize=(11, 4.4), width_ratios=[16, 24, 14], constrained_layout=True)
    for ax, picture, spot, title in ((axes[0], source, corner, "source: volume[z, y, x]"), (axes[1], result, moved, "result[z, y, x]")):
        ax.imshow(picture[0], cmap="Blues", vmax=255)
        ax.plot(*spot[:2], "o", color="crimson")
        ax.annotate(f"({spot[0]:.2f}, {spot[1]:.2f})", spot[:2], xytext=(14, 12), textcoords="offset points", color="crimson")
        ax.set(xlabel="x", ylabel="y", title=title)
        ax.xaxis.set_label_position("top")
        ax.xaxis.tick_top()
    text = "matrix: source voxel (x, y, z)\n     to result voxel (x, y, z)\n\n"
    text += "\n".join(f"{name}d = {r[0]:5.2f} xs {r[1]:+5.2f} ys\n     {r[2]:+5.2f} zs {r[3]:+5.2f}" for name, r in zip("xyz", matrix))
    text += "\n\nscipy: result (z, y, x)\n    to source (z, y, x)\nNIfTI: voxels (x, y, z) to\n    the world, twice\nITK: result point to source\n    point, (x, y, z)"
    axes[2].text(0, 1, text, family="monospace", fontsize=9, va="top")
    axes[2].axis("off")
    fig.savefig(path, dpi=80)


if __name__ == "__main__":
    main(sys.argv[1])
