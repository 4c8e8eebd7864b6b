"""Shows that results don't depend on threads or on how the work is cut.   same_bits.py picture.png"""

import hashlib
import sys
from operator import attrgetter

import matplotlib.pyplot as plt
import numpy as np

import vekr
from vekr import volume as vol

THREADS = (1, 2, 3, 5, 8)
FOUND = attrgetter("distance", "triangle", "u", "v")  # of hits


def digest(*arrays):
    """A short hash of all bits."""
    return hashlib.sha256(b"".join(np.ascontiguousarray(a).tobytes() for a in arrays)).hexdigest()[:10]


def cases():
    rng = np.random.default_rng(5)
    volume = rng.integers(0, 65536, (60, 60, 60)).astype(np.uint16)
    step = vol.from_scipy([0.3, 0.1, 0.6], 7.0)  # sums of these land next to whole numbers
    scene = vekr.Scene(rng.normal(size=(3000, 3)), np.arange(3000).reshape(-1, 3))
    origin, directions = vekr.Camera((0, 0, 6), (0, 0, 0)).rays(256, 256)
    light = rng.normal(size=(256, 256, 3))
    basis = vekr.sh.Basis(9)

    def loose(threads):  # the matrix as it is, on the library's own threads
        vekr.set_threads(threads)
        made = vol.affine(volume, step, exact=False, interpolation="nearest")
        vekr.set_threads(0)
        return digest(made)

    return {
        "affine, exact": lambda t: digest(vol.affine(volume, step, interpolation="nearest", threads=t)),
        "affine, exact=False": loose,
        "resize, Mitchell": lambda t: digest(vol.resize(volume, 1.7, interpolation="mitchell", threads=t)),
        "filter 5 x 5 x 5": lambda t: digest(vol.filter(volume.astype(np.int16), np.ones((5, 5, 5), int), divisor=125, threads=t)),
        "rays": lambda t: digest(*FOUND(scene.intersect(origin, directions, threads=t))),
        "harmonics": lambda t: digest(basis.reconstruct(basis.project(directions, light), directions, threads=t)),
    }


def main(path):
    table = {name: [case(threads) for threads in THREADS] for name, case in cases().items()}
    fig, ax = plt.subplots(figsize=(9, 3.2), constrained_layout=True)
    ax.axis("off")
    colours = [[plt.cm.Set3(sorted(set(row)).index(value) * 3 % 12) for value in row] for row in table.values()]
    drawn = ax.table([*table.values()], colours, rowLabels=[*table], colLabels=[f"{n} threads" for n in THREADS], loc="center")
    drawn.scale(1, 1.7)
    ax.set_title("hashes of all bits of a result: one colour in a row, one result")
    fig.savefig(path, dpi=90)
    return table


if __name__ == "__main__":
    main(sys.argv[1])
