"""The package against scipy and numpy, one thread each.   versus_scipy.py [picture.png] [side] [part of names] [repetitions]

A part of the names chooses among the rows: at a side of 256 all of them take scipy a quarter of an hour. "-" is no picture.

Both get the same arrays and give the same kind of result; where conventions coincide, results are compared first.
"""

import sys

import timing  # noqa: I001  (sets the path and one thread)

import numpy as np
from scipy import ndimage, special

sys.path.insert(0, str(timing.ROOT / "python" / "tests"))
import support  # noqa: E402

import vekr  # noqa: E402
from vekr import sh  # noqa: E402
from vekr import volume as vol  # noqa: E402


def volumes(side):
    rng = np.random.default_rng(1)
    wave = np.sin(np.indices((side,) * 3).sum(0) / 9) * 90 + 110
    matrix = support.turn((10, 5, 3), 1.35, ((side - 1) / 2,) * 3)
    inverse, offset = vol.to_scipy(matrix)
    maps = np.indices((side,) * 3, np.float32) * np.float32(0.9) + rng.random((3, side, side, side), np.float32) + 1
    z, y, x = maps
    for dtype in (np.uint8, np.uint16, np.float32):
        source = wave.astype(dtype)
        name = str(np.dtype(dtype))
        for ours, order in (("nearest", 0), ("linear", 1), ("catmull-rom", 3)):
            yield (f"map_coordinates {name} {ours}", lambda: vol.remap(source, x, y, z, interpolation=ours),
                   lambda: ndimage.map_coordinates(source, maps, order=order, output=dtype, prefilter=False), order < 2)
            yield (f"affine_transform {name} {ours}", lambda: vol.affine(source, matrix, interpolation=ours),
                   lambda: ndimage.affine_transform(source, inverse, offset, order=order, output=dtype, prefilter=False), order < 2)
            yield (f"zoom 1.3 {name} {ours}", lambda: vol.resize(source, 1.3, interpolation=ours),
                   lambda: ndimage.zoom(source, 1.3, order=order, prefilter=False, grid_mode=True, mode="nearest"), False)
    source = rng.integers(-2000, 2000, (side,) * 3).astype(np.int16)
    for n in (3, 5):
        kernel = rng.integers(-9, 9, (n, n, n))
        yield (f"convolve int16 {n}^3", lambda: vol.filter(source, kernel), lambda: ndimage.convolve(source, kernel, mode="nearest"), False)
        mirrored = np.ascontiguousarray(kernel[::-1, ::-1, ::-1])
        yield (f"correlate int16 {n}^3", lambda: vol.filter(source, mirrored),
               lambda: ndimage.correlate(source, kernel, mode="nearest"), False)


def harmonics():
    directions, weights = sh.panorama_directions(100, 200)
    x, y, z = (np.ascontiguousarray(directions[..., k], float) for k in range(3))
    phi, theta = np.arctan2(y, x), np.arccos(z)
    basis = sh.Basis(8)

    def scipys():
        columns = []
        for band in range(9):
            for order in range(-band, band + 1):
                value = special.sph_harm(abs(order), band, phi, theta)
                columns.append((value.imag if order < 0 else value.real) * (np.sqrt(2) if order else 1))
        return np.stack(columns, -1)

    samples = np.maximum(directions, 0)
    values = scipys().astype(np.float32)
    yield "harmonics, bands 0 to 8", lambda: basis.evaluate(directions), scipys, True
    yield ("harmonics, project 3 channels", lambda: basis.project(directions, samples, weights=weights),
           lambda: scipys().reshape(-1, 81).T @ (samples * weights[..., None]).reshape(-1, 3), True)
    coefficients = basis.project(directions, samples, weights=weights)
    yield "harmonics, reconstruct 3 channels", lambda: basis.reconstruct(coefficients, directions), lambda: scipys() @ coefficients, True
    del values


def main(picture=None, side=128, only="", repetitions=3):
    vekr.set_threads(1)
    print(timing.machine(), f"volumes of {side}^3")
    print("| what | vekr, ms | scipy, ms | times faster |\n|---|---|---|---|")
    rows = []
    for group in (volumes(int(side)), harmonics()):
        for name, ours, theirs, comparable in group:
            if only not in name:
                continue
            a, b = np.asarray(ours(), float), np.asarray(theirs(), float)
            if comparable:
                agree = np.mean(np.abs(a - b.reshape(a.shape)) <= 1 + 1e-3 * np.abs(a))
                assert agree > 0.9, (name, agree)  # the rims differ
            fast, slow = timing.best([ours, theirs], int(repetitions))
            rows.append((name, slow / fast))
            print(f"| {name} | {fast * 1e3:.2f} | {slow * 1e3:.1f} | {slow / fast:.1f} |", flush=True)
    if picture and picture != "-":
        draw(rows, picture)


def draw(rows, path):
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    fig, ax = plt.subplots(figsize=(8, 0.22 * len(rows) + 1), constrained_layout=True)
    names, ratios = zip(*rows[::-1])
    ax.barh(names, ratios, color=["#4477aa" if r >= 5 else "#cc6677" for r in ratios])
    ax.axvline(5, color="black", lw=0.8, ls=":")
    ax.set(xscale="log", xlabel="times faster than scipy, one thread each", xlim=(0.8, None))
    ax.tick_params(labelsize=8)
    for i, r in enumerate(ratios):
        ax.text(r * 1.03, i, f"{r:.1f}", va="center", fontsize=7)
    fig.savefig(path, dpi=80)


if __name__ == "__main__":
    main(*sys.argv[1:])
