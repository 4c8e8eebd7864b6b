"""Shrinks and smooths a volume that is never in memory, in chunks that don't show.   dask_volume.py picture.png [side]

With workers of one's own: dask.distributed.Client("tcp://scheduler:8786") before main().
"""

import hashlib
import sys
import tempfile

import dask.array as da
import matplotlib.pyplot as plt
import numpy as np
import zarr
from dask.diagnostics import ProgressBar

import vekr.dask

SMOOTH = np.array([1, 4, 6, 4, 1])
KERNEL = SMOOTH[:, None, None] * SMOOTH[:, None] * SMOOTH


def foam(side, chunk):
    """A lazily made foam of uint8, in chunks."""
    def block(block_info=None):
        (z0, z1), (y0, y1), (x0, x1) = block_info[None]["array-location"]
        z, y, x = np.ogrid[z0:z1, y0:y1, x0:x1]
        a = np.sin(x / 9) * np.cos(y / 11) + np.sin(y / 9) * np.cos(z / 11) + np.sin(z / 9) * np.cos(x / 11)
        speckle = (x * 7919 + y * 104729 + z * 1299709) % 61 / 61
        return np.clip(160 * np.exp(-4 * a * a) + 60 * speckle, 0, 255).astype(np.uint8)

    return da.map_blocks(block, chunks=da.core.normalize_chunks(chunk, (side,) * 3), dtype=np.uint8,
                         meta=np.empty((0, 0, 0), np.uint8))


def smaller(volume, chunk):
    """Half the size, turned into 16 bits, smoothed."""
    half = vekr.dask.resize(volume, 0.5, interpolation="mitchell", chunks=chunk)
    return vekr.dask.filter(half.astype(np.int16), KERNEL, divisor=int(KERNEL.sum()), chunks=chunk)


def main(path, side=128):
    results, hashes = {}, {}
    with tempfile.TemporaryDirectory() as folder:
        vekr.dask.to_zarr(foam(side, side // 3), f"{folder}/foam.zarr")
        stored = zarr.open(f"{folder}/foam.zarr", "r")
        for number, (what, volume, chunk) in enumerate([("from chunks of 40", foam(side, 40), side // 6),
                                                        ("from a zarr store", stored, 24),
                                                        ("from chunks of 64, into planes", foam(side, 64), (5, -1, -1))]):
            with ProgressBar(out=sys.stderr if sys.stderr.isatty() else open("/dev/null", "w")):
                vekr.dask.to_zarr(smaller(volume, chunk), f"{folder}/{number}.zarr")
            results[what] = zarr.open(f"{folder}/{number}.zarr", "r")[...]
            hashes[what] = hashlib.sha256(results[what].tobytes()).hexdigest()[:12]
        slice_of_source = stored[side // 2]
    fig, axes = plt.subplots(1, 4, figsize=(13, 3.9), constrained_layout=True)
    axes[0].imshow(slice_of_source, cmap="magma")
    axes[0].set_title("the source, a plane")
    for ax, (what, result) in zip(axes[1:], results.items()):
        ax.imshow(result[side // 4], cmap="magma")
        ax.set_title(f"{what}\n{hashes[what]}", fontsize=9)
    for ax in axes:
        ax.axis("off")
    fig.savefig(path, dpi=80)
    return hashes


if __name__ == "__main__":
    main(sys.argv[1], *map(int, sys.argv[2:]))
