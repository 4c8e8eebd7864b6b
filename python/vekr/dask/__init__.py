"""Volumes and pictures on Dask: lazily, chunk by chunk, with the bits of the one big call.

:func:`resize`, :func:`affine`, :func:`remap` and :func:`filter` are those of :mod:`vekr.volume` for volumes that are too large
for a machine. They take dask arrays of any chunking, or anything that is indexed like an array, such as zarr arrays and memory
maps, and give dask arrays. Each chunk of a result is made from the voxels that it needs, on whatever scheduler, and has to
the last bit what the call on the whole volume would have put there. :mod:`vekr.dask.render` does so with pictures.

Needs Debian's python3-dask, or ``pip install 'vekr[dask]'``; :func:`to_zarr` needs zarr too.
"""

try:
    import dask.array  # noqa: F401
except ImportError as problem:
    raise ImportError(f"vekr.dask needs dask with its arrays (Debian: python3-dask; pip install 'vekr[dask]'): {problem}") from None

from . import render
from ._store import to_zarr
from ._volume import affine, filter, remap, remap_needs, resize

__all__ = ["affine", "filter", "remap", "remap_needs", "render", "resize", "to_zarr"]
