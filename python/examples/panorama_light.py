"""Lights matt balls from a panorama through spherical harmonics.   panorama_light.py picture.png"""

import sys

import matplotlib.pyplot as plt
import numpy as np

import vekr
from vekr import sh


def sky(directions):
    """A sky with a low sun, over ground."""
    up = directions[..., 2:]
    sun = np.array([0.62, -0.62, 0.48])
    glow = np.maximum(directions @ sun, 0)[..., None]
    blue = np.array([0.25, 0.45, 0.9]) * (1 - 0.6 * np.abs(up)) + np.array([1, 0.75, 0.5]) * (glow**8 + 15 * (glow > 0.985))
    return np.where(up > 0, blue, np.array([0.22, 0.17, 0.1]))


def ball(n):
    """Normals of a ball seen from -y, and where it is."""
    x, z = np.meshgrid(np.linspace(-1.05, 1.05, n), np.linspace(1.05, -1.05, n))
    inside = x**2 + z**2 < 1
    y = -np.sqrt(np.where(inside, 1 - x**2 - z**2, 0))
    return np.stack([x, y, z], -1), inside


def main(path):
    directions, weights = sh.panorama_directions(128, 256)
    panorama = sky(directions)
    basis = sh.Basis(8)
    coefficients = basis.project(directions, panorama, weights=weights)
    normals, inside = ball(256)
    # What falls on a matt surface from all sides, summed over every pixel of the panorama: slow, and the truth.
    some = normals[inside][::191]
    exact = np.einsum("nd,dc->nc", np.maximum(some @ directions.reshape(-1, 3).T, 0), (panorama * weights[..., None]).reshape(-1, 3))
    fig, axes = plt.subplots(2, 3, figsize=(9.5, 6), constrained_layout=True)
    shown = [(panorama, "panorama"), (basis.reconstruct(coefficients, directions), "its bands 0 to 8")]
    for bands in (0, 1, 2, 8):
        factors = sh.irradiance_factors(bands)[:, None] * coefficients[: sh.count(bands)]
        light = basis.reconstruct(factors, normals)
        error = np.abs(basis.reconstruct(factors, some) - exact).max() / exact.max()
        shown.append((np.where(inside[..., None], light / np.pi, 1), f"matt ball, bands 0 to {bands}\nfarthest from the sum: {error:.1%}"))
    for ax, (picture, title) in zip(axes.flat, shown):
        ax.imshow(np.clip(picture / 1.6, 0, 1) ** (1 / 2.2))
        ax.set_title(title, fontsize=9)
        ax.axis("off")
    fig.savefig(path, dpi=90)


if __name__ == "__main__":
    main(sys.argv[1])
