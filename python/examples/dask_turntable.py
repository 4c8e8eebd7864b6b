"""Draws a turntable in tiles over worker processes that share the scene.   dask_turntable.py picture.png [frames] [workers]

Every process maps the saved scene, so that a machine holds it once. Without workers it runs on threads.
"""

import contextlib
import sys
import tempfile

import matplotlib.pyplot as plt
import numpy as np

import vekr
import vekr.dask.render as render


def knot(n=300, m=32):
    """Vertices and triangles of a tube around a torus knot."""
    u, v = np.meshgrid(np.linspace(0, 2 * np.pi, n), np.linspace(0, 2 * np.pi, m), indexing="ij")
    r = 2 + np.cos(3 * u)
    middle, out = (r * np.cos(2 * u), np.sin(3 * u), r * np.sin(2 * u)), (np.cos(2 * u), 0 * u, np.sin(2 * u))
    tube = [a + 0.42 * np.cos(v) * b for a, b in zip(middle, out)]
    tube[1] = tube[1] + 0.42 * np.sin(v)
    k = (np.arange(n - 1)[:, None] * m + np.arange(m - 1)).ravel()
    triangles = np.concatenate([np.stack([k, k + m, k + 1], 1), np.stack([k + 1, k + m, k + m + 1], 1)])
    return np.stack(tube, -1).reshape(-1, 3), triangles


@contextlib.contextmanager
def cluster(workers):
    """Worker processes on this machine; a Client of a cluster would do as well."""
    if not workers:
        yield
        return
    from dask.distributed import Client, LocalCluster
    with LocalCluster(n_workers=workers, threads_per_worker=1, dashboard_address=":0") as made, Client(made):
        yield


def main(path, frames=8, workers=0, pixels=160):
    scene = vekr.Scene(*knot())
    cameras = render.cameras_around((0, 4.5, 8), (0, 0, 0), frames, fov=50)
    with tempfile.TemporaryDirectory() as folder, cluster(workers):
        scene.save(folder)
        drawn = render.turntable(folder, cameras, pixels, pixels, tile=64).compute()
    at_once = render.lambert(scene, scene.intersect(*cameras[0].rays(pixels, pixels)))
    columns = min(frames, 4)
    rows = -(-frames // columns)
    sheet = np.ones((rows * pixels, columns * pixels, 3), np.float32)
    for k, frame in enumerate(drawn):
        y, x = k // columns * pixels, k % columns * pixels
        sheet[y : y + pixels, x : x + pixels] = frame
    plt.imsave(path, sheet)
    return bool((drawn[0] == at_once).all())


if __name__ == "__main__":
    main(sys.argv[1], *map(int, sys.argv[2:]))
