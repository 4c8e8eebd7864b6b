"""Renders a mesh with soft shadows.   soft_shadows.py picture.png [pixels]"""

import sys

import matplotlib.pyplot as plt
import numpy as np

import vekr


def surface(function, n, m):
    """Vertices and triangles of a surface over (u, v), both from 0 to 2 pi."""
    u, v = np.meshgrid(np.linspace(0, 2 * np.pi, n), np.linspace(0, 2 * np.pi, m), indexing="ij")
    k = (np.arange(n - 1)[:, None] * m + np.arange(m - 1)).ravel()
    triangles = np.concatenate([np.stack([k, k + m, k + 1], 1), np.stack([k + 1, k + m, k + m + 1], 1)])
    return np.stack(function(u, v), -1).reshape(-1, 3), triangles


def knot(u, v):
    """A tube around a torus knot."""
    r = 2 + np.cos(3 * u)
    x, y, z = r * np.cos(2 * u), np.sin(3 * u), r * np.sin(2 * u)
    out = np.stack([x / r, 0 * u, z / r])  # away from the axis; good enough as one side of the tube
    x, y, z = (a + 0.42 * np.cos(v) * b for a, b in zip((x, y, z), out))
    return x, y + 0.42 * np.sin(v) + 1.5, z


def floor(u, v):
    return (u - np.pi) * 4, 0 * u, (v - np.pi) * 4


def main(path, pixels=480):
    rng = np.random.default_rng(1)
    tube, ground = surface(knot, 400, 40), surface(floor, 2, 2)
    vertices = np.concatenate([tube[0], ground[0]])
    scene = vekr.Scene(vertices, np.concatenate([tube[1], ground[1] + len(tube[0])]))
    origin, directions = vekr.Camera((5, 5.5, 8), (0, 1.2, 0), fov=38).rays(pixels, pixels * 3 // 4)
    hits = scene.intersect(origin, directions)
    points, normals = scene.points(hits, 0.9995), scene.normals(hits, smooth=True)
    facing = np.sum(normals * directions, -1, keepdims=True) > 0
    normals = np.where(facing, -normals, normals)
    is_floor = hits.triangle >= len(tube[1])
    tiles = (np.floor(points[..., 0]) + np.floor(points[..., 2])) % 2
    colour = np.where(is_floor[..., None], (0.55 + 0.25 * tiles)[..., None], (0.9, 0.45, 0.2))
    light = np.zeros(hits.distance.shape)
    samples = 48
    for _ in range(samples):  # an area light: every sample a point of it
        lamp = np.array([4, 9, 3]) + rng.uniform(-1.3, 1.3, 3)
        segments = points - lamp.astype(np.float32)
        distance = np.sqrt(np.sum(segments**2, -1))
        cosine = np.maximum(-np.sum(segments * normals, -1) / distance, 0)
        free = hits.hit & ~scene.occluded(lamp, segments, hits.hit & (cosine > 0))
        light += free * cosine * 90 / distance**2 / samples
    picture = np.where(hits.hit[..., None], colour * (0.12 + light)[..., None], (0.75, 0.83, 0.9))
    plt.imsave(path, np.clip(picture, 0, 1) ** (1 / 2.2))


if __name__ == "__main__":
    main(sys.argv[1], *map(int, sys.argv[2:]))
