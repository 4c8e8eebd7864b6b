"""Microseconds that a call takes on small data: 4^3 voxels, 16 rays, 4 directions.   overhead.py"""

import timing  # noqa: I001  (sets the path and one thread)

import numpy as np

import vekr
from vekr import volume as vol

RUN = 100  # calls in a row, as in a loop of a program


def main():
    vekr.set_threads(1)
    volume, small = np.zeros((4, 4, 4), np.float32), np.zeros((6, 6, 6), np.int16)
    at, out = np.ones((4, 4, 4), np.float32), np.zeros((4, 4, 4), np.float32)
    matrix, kernel = np.eye(3, 4) * 1.01, np.ones((3, 3, 3), np.int32)
    scene = vekr.Scene([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    origin, rays = np.array([0, 0, 5], np.float32), np.ones((16, 3), np.float32)
    hits, basis = scene.intersect(origin, rays), vekr.sh.Basis(3)
    directions, coefficients = np.ones((4, 3), np.float32), np.zeros(16, np.float32)
    size = vekr.lib.ffi.new("int32_t *")
    calls = {
        "a yardstick: numpy adds 4^3 floats": lambda: volume + at,
        "lib.raw: vekrTriangleAccelGetSize": lambda: vekr.lib.raw.vekrTriangleAccelGetSize(size),
        "lib: vekrTriangleAccelGetSize": lambda: vekr.lib.vekrTriangleAccelGetSize(size),
        "volume.resize": lambda: vol.resize(volume, shape=(4, 4, 4), interpolation="nearest", out=out),
        "volume.affine": lambda: vol.affine(volume, matrix, out=out),
        "volume.remap": lambda: vol.remap(volume, at, at, at, out=out),
        "volume.filter, valid": lambda: vol.filter(small, kernel, border="valid"),
        "volume.filter, nearest": lambda: vol.filter(small, kernel),
        "Scene.intersect": lambda: scene.intersect(origin, rays),
        "Scene.occluded": lambda: scene.occluded(origin, rays),
        "Scene.layers": lambda: scene.layers(origin, rays, 2),
        "Scene.normals": lambda: scene.normals(hits),
        "Scene.points": lambda: scene.points(hits),
        "Basis.evaluate": lambda: basis.evaluate(directions),
        "Basis.project": lambda: basis.project(directions, directions),
        "Basis.reconstruct": lambda: basis.reconstruct(coefficients, directions),
    }
    repeated = []
    for call in calls.values():
        call()
        repeated.append(lambda call=call: [call() for _ in range(RUN)])
    print(timing.machine())
    for name, best in zip(calls, timing.best(repeated, 60)):
        print(f"{name:36} {best / RUN * 1e6:7.1f} us")


if __name__ == "__main__":
    main()
