"""Volumes part by part: what a part of a result needs of its source, and the part with the bits of the whole.

A plan describes one call on a whole volume, of which nothing has to be in memory::

    plan = chunks.Resize(source.shape, source.dtype, 0.5, interpolation="mitchell")
    out = np.lib.format.open_memmap("smaller.npy", "w+", plan.dtype, plan.shape)
    plan.into(out, source, chunks=256)          # source: an np.memmap, a zarr array, ...

or, by hand, for one part of it::

    need = plan.needs(part)                     # which voxels; need.box are slices
    block = plan.read(source, need)
    out[part] = plan.compute(part, need, block)

Each part has to the last bit what the whole call would have put there, whatever the parts. :mod:`vekr.dask` stands on it.
"""

from ._affine import Affine
from ._filter import Filter
from ._need import Need
from ._plan import Plan
from ._remap import Remap
from ._resize import Resize

__all__ = ["Affine", "Filter", "Need", "Plan", "Remap", "Resize"]
