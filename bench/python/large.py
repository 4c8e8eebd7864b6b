"""The package against the plain functions on the same large data, one thread: 256^3 voxels, a million rays.   large.py [repetitions]

The plain call is what a C program does: memory reserved once, one call (rays: one call for each block of 64 by 64, planes laid
out beforehand). The ratio is the plain call's time by the package's.
"""

import sys

import timing  # noqa: I001  (sets the path and one thread)

import numpy as np

sys.path.insert(0, str(timing.ROOT / "python" / "tests"))
import support  # noqa: E402

import vekr  # noqa: E402
import vekr.lib as lib  # noqa: E402
from vekr import _rays  # noqa: E402
from vekr import volume as vol  # noqa: E402
from vekr._native import address, pointer, pointers  # noqa: E402

SIDE = 256
PIXELS = 1024
BLOCK = 64


def volumes(dtype):
    rng = np.random.default_rng(1)
    source = (rng.random((SIDE,) * 3, np.float32) * 200).astype(dtype)
    out = np.zeros_like(source)
    matrix = support.turn((10, 5, 3), 1.35, ((SIDE - 1) / 2,) * 3)
    exact = vol.exact_matrix(matrix, source.shape).matrix
    maps = [m.copy() for m in np.indices(source.shape, np.float32)[::-1]]
    for m in maps:
        np.clip(m + rng.random(m.shape, np.float32), 1, SIDE - 3, out=m)
    for name in ("nearest", "linear", "mitchell"):
        code = support.CODES[name]
        yield (f"affine {np.dtype(dtype)} {name}", lambda: support.affine(source, exact, out, code),
               lambda: vol.affine(source, matrix, out=out, interpolation=name))
        yield (f"remap {np.dtype(dtype)} {name}", lambda: support.remap(source, maps, out, code),
               lambda: vol.remap(source, *maps, out=out, interpolation=name))
        factor = 1.3
        large = np.zeros((333,) * 3, dtype)
        yield (f"resize {factor} {np.dtype(dtype)} {name}",
               lambda: support.resize(source, large, (factor,) * 3, (0, 0, 0), code),
               lambda: vol.resize(source, factor, out=large, interpolation=name))


def filters():
    source = np.random.default_rng(1).integers(-2000, 2000, (SIDE + 4,) * 3).astype(np.int16)
    for n in (3, 5):
        kernel = np.ones((n, n, n), np.int32)
        part = source[: SIDE + n - 1, : SIDE + n - 1, : SIDE + n - 1]
        out = np.zeros((SIDE,) * 3, np.int16)
        yield (f"filter {n}^3", lambda: support.filter_valid(part, kernel, 64, out),
               lambda: vol.filter(part, kernel, divisor=64, border="valid", out=out))


def ball(n=140):
    t, p = np.meshgrid(np.linspace(0, np.pi, n), np.linspace(0, 2 * np.pi, 2 * n), indexing="ij")
    r = 1 + 0.05 * np.sin(9 * t) * np.sin(7 * p)
    k = (np.arange(n - 1)[:, None] * 2 * n + np.arange(2 * n - 1)).ravel()
    vertices = np.stack([r * np.sin(t) * np.cos(p), r * np.cos(t), r * np.sin(t) * np.sin(p)], -1).reshape(-1, 3)
    return vertices, np.concatenate([np.stack([k, k + 1, k + 2 * n], 1), np.stack([k + 1, k + 2 * n + 1, k + 2 * n], 1)])


class PlainBlocks:
    """Rays laid out in blocks of 64 by 64, as the fastest C program has them."""

    def __init__(self, scene, origin, directions, layers=4):
        self.scene, self.layers, self.count = scene, layers, (PIXELS // BLOCK) ** 2
        tiles = np.moveaxis(directions, -1, 0).reshape(3, PIXELS // BLOCK, BLOCK, PIXELS // BLOCK, BLOCK)
        rays = BLOCK * BLOCK
        self.directions = _rays.aligned((self.count, 3, rays))
        self.directions[...] = tiles.transpose(1, 3, 0, 2, 4).reshape(self.count, 3, rays)
        self.out = _rays.aligned((self.count, 4, layers, rays))
        self.origin = lib.ffi.new("float[3]", list(map(float, origin)))
        self.calls = []
        for b in range(self.count):
            d, o, step = address(self.directions[b]), address(self.out[b]), 4 * rays * layers
            self.calls.append((b, pointers([d + 4 * rays * c for c in range(3)]), pointer(o), pointers([o + step, o + 2 * step]),
                               pointer(o + 3 * step)))

    def eye(self):
        for b, d, distance, weights, triangle in self.calls:
            self.out[b, 0, 0] = 3e38
            lib.raw.vekrIntersectEyeSO_32f(self.origin, d, distance, weights, triangle, self.scene._view, (BLOCK, BLOCK))

    def shadow(self):
        for b, d, distance, weights, triangle in self.calls:
            self.out[b, 0, 0].view(np.int32)[:] = 0
            lib.raw.vekrIntersectAnySO_32f(self.origin, d, triangle, distance, (BLOCK, BLOCK), self.scene._view)

    def layered(self):
        for b, d, distance, weights, triangle in self.calls:
            self.out[b, 0, 0] = 3e38
            lib.raw.vekrIntersectMultipleSO_32f(self.origin, d, distance, weights, triangle, self.scene._view,
                                                (BLOCK, BLOCK, self.layers))


def rays():
    scene = vekr.Scene(*ball())
    origin, directions = vekr.Camera((0.9, 1, 1.5), (0, 0, 0), fov=40).rays(PIXELS, PIXELS)
    interleaved = np.ascontiguousarray(directions)
    blocks = PlainBlocks(scene, origin, directions)
    points = scene.points(scene.intersect(origin, directions), 0.9995)
    light = np.array([2, 4, 1], np.float32)
    segments, _ = _rays.vector_planes((PIXELS, PIXELS))
    segments[...] = points - light
    shadows = PlainBlocks(scene, light, segments)
    yield "eye rays of a camera", blocks.eye, lambda: scene.intersect(origin, directions)
    yield "eye rays, interleaved", blocks.eye, lambda: scene.intersect(origin, interleaved)
    yield "shadow segments", shadows.shadow, lambda: scene.occluded(light, segments)
    yield "four layers", blocks.layered, lambda: scene.layers(origin, directions, 4)


def main(repetitions=5):
    vekr.set_threads(1)
    print(timing.machine())
    print("| what | plain, ms | package, ms | ratio |\n|---|---|---|---|")
    for group in (rays(), filters(), volumes(np.uint8), volumes(np.float32)):
        for name, plain, package in group:
            plain(), package()
            a, b = timing.best([plain, package], repetitions)
            print(f"| {name} | {a * 1e3:.1f} | {b * 1e3:.1f} | {a / b:.2f} |", flush=True)


if __name__ == "__main__":
    main(*map(int, sys.argv[1:]))
