"""The volume functions on dask arrays."""

from __future__ import annotations

from typing import Any, Dict, List, Optional, Tuple, Union

import dask
import dask.array as da
import numpy as np

from .. import chunks as plans
from ..volume._interpolation import Interpolation
from ..volume._planes import Region
from ._graph import block_spans, chunks_of, graph_of, source_of

Chunks = Any  # what dask takes
Needs = Dict[Tuple[int, ...], Optional[plans.Need]]


def resize(volume: Any, factor: Union[None, float, Tuple[float, float, float]] = None, *,
           shape: Optional[Tuple[int, int, int]] = None, shift: Union[float, Tuple[float, float, float]] = 0.0,
           interpolation: Union[str, int, Interpolation] = "linear", region: Region = None, out_region: Region = None,
           fill: Any = None, chunks: Chunks = None) -> da.Array:
    """Scale a volume along each axis, as :func:`vekr.volume.resize` does.

    Parameters
    ----------
    volume : dask array, or array that is indexed like one
        (z, y, x), uint8, uint16 or float32. Of a zarr array or a memory map each task reads its box by itself: give these
        rather than a dask array over them.
    factor, shape, shift, interpolation, region, out_region, fill
        As there.
    chunks : optional
        Chunks of the result, in any of dask's forms; by default as large as the volume's, or 128.

    Returns
    -------
    dask array

    Examples
    --------
    >>> import dask.array as da
    >>> import numpy as np
    >>> import vekr, vekr.dask
    >>> volume = np.arange(32000, dtype=np.uint16).reshape(20, 40, 40)
    >>> smaller = vekr.dask.resize(da.from_array(volume, chunks=(10, 15, 25)), 0.5, interpolation="mitchell", chunks=8)
    >>> smaller.shape, smaller.numblocks
    ((10, 20, 20), (2, 3, 3))
    >>> bool(np.array_equal(smaller.compute(), vekr.volume.resize(volume, 0.5, interpolation="mitchell")))
    True
    """
    source = source_of(volume)
    plan = plans.Resize(source.shape, source.dtype, factor, shape=shape, shift=shift, interpolation=interpolation,
                        region=region, out_region=out_region, fill=fill)
    return graph_of(plan, source, chunks_of(chunks, plan, source), "resize")


def affine(volume: Any, matrix: Any, *, shape: Optional[Tuple[int, int, int]] = None,
           interpolation: Union[str, int, Interpolation] = "linear", region: Region = None, out_region: Region = None,
           fill: Any = None, chunks: Chunks = None) -> da.Array:
    """Look at a volume through an affine matrix, as :func:`vekr.volume.affine` does with ``exact=True``.

    Parameters
    ----------
    volume, chunks
        As in :func:`resize`.
    matrix, shape, interpolation, region, out_region, fill
        As there.

    Returns
    -------
    dask array

    Notes
    -----
    About one matrix in a hundred has no exact one near it (``vekr.chunks.Affine(...).is_exact``). A chunk then takes all that
    lies before it in its planes: right, but dear. A matrix that differs in the ninth digit mostly has one.

    Examples
    --------
    >>> import dask.array as da
    >>> import numpy as np
    >>> import vekr, vekr.dask
    >>> volume = da.from_array(np.arange(4, dtype=np.float32).reshape(1, 2, 2), chunks=1)
    >>> vekr.dask.affine(volume, [[1, 0, 0, 1], [0, 1, 0, 0], [0, 0, 1, 0]], fill=-1).compute()
    array([[[-1.,  0.],
            [-1.,  2.]]], dtype=float32)
    """
    source = source_of(volume)
    plan = plans.Affine(source.shape, source.dtype, matrix, shape=shape, interpolation=interpolation, region=region,
                        out_region=out_region, fill=fill)
    return graph_of(plan, source, chunks_of(chunks, plan, source), "affine")


def filter(volume: Any, kernel: Any, *, divisor: int = 1, anchor: Optional[Tuple[int, int, int]] = None,
           border: str = "nearest", value: int = 0, chunks: Chunks = None) -> da.Array:
    """Convolve a 16-bit volume with a kernel of whole numbers, as :func:`vekr.volume.filter` does.

    Parameters
    ----------
    volume, chunks
        As in :func:`resize`, of type int16.
    kernel, divisor, anchor, border, value
        As there.

    Returns
    -------
    dask array

    Examples
    --------
    >>> import dask.array as da
    >>> import numpy as np
    >>> import vekr, vekr.dask
    >>> volume = np.zeros((3, 3, 3), np.int16)
    >>> volume[1, 1, 1] = 90
    >>> vekr.dask.filter(da.from_array(volume, chunks=2), np.ones((1, 1, 3), int), divisor=3)[1].compute()
    array([[ 0,  0,  0],
           [30, 30, 30],
           [ 0,  0,  0]], dtype=int16)
    """
    source = source_of(volume)
    if source.dtype != np.int16:
        raise TypeError(f"volume must be of type int16, not {source.dtype}; convert it with astype")
    plan = plans.Filter(source.shape, kernel, divisor=divisor, anchor=anchor, border=border, value=value)
    return graph_of(plan, source, chunks_of(chunks, plan, source), "filter")


def remap(volume: Any, x: Any, y: Any, z: Any, *, interpolation: Union[str, int, Interpolation] = "linear",
          region: Region = None, fill: Any = None, needs: Optional[Needs] = None) -> da.Array:
    """Look a volume up at coordinates given voxel by voxel, as :func:`vekr.volume.remap` does.

    Parameters
    ----------
    volume
        As in :func:`resize`.
    x, y, z : dask arrays, or array_like
        Source coordinates, of one shape or that broadcast to one. The result has the chunks of the first that is a dask
        array, or of 128 voxels a side.
    interpolation, region, fill
        As there.
    needs : dict, optional
        What :func:`remap_needs` has told of these coordinates.

    Returns
    -------
    dask array

    Notes
    -----
    Which chunks of a dask array are needed only the coordinates tell: without `needs` they are computed once when this
    function is called, chunk by chunk, and again with the result. Of a zarr array or a memory map each task reads what its
    own coordinates need, and nothing is computed beforehand.

    Examples
    --------
    >>> import dask.array as da
    >>> import numpy as np
    >>> import vekr, vekr.dask
    >>> volume = da.from_array(np.arange(8, dtype=np.float32).reshape(2, 2, 2), chunks=1)
    >>> z, y, x = da.meshgrid(da.arange(2, chunks=1), da.arange(2), da.from_array(np.array([0.5])), indexing="ij")
    >>> vekr.dask.remap(volume, x, y, z)[..., 0].compute()
    array([[0.5, 2.5],
           [4.5, 6.5]], dtype=float32)
    """
    source, maps = source_of(volume), _maps(x, y, z)
    plan = plans.Remap(source.shape, source.dtype, maps[0].shape, interpolation=interpolation, region=region, fill=fill)
    if isinstance(source, da.Array) and needs is None:
        needs = _needs(plan, maps)
    return graph_of(plan, source, maps[0].chunks, "remap", maps, needs)


def remap_needs(volume: Any, x: Any, y: Any, z: Any, *, interpolation: Union[str, int, Interpolation] = "linear",
                region: Region = None) -> Needs:
    """Compute what each chunk of :func:`remap` needs of a volume; the coordinates are computed once.

    Parameters
    ----------
    volume, x, y, z, interpolation, region
        As for :func:`remap`.

    Returns
    -------
    dict
        For each chunk number (z, y, x) a :class:`vekr.chunks.Need`, or None.
    """
    source, maps = source_of(volume), _maps(x, y, z)
    return _needs(plans.Remap(source.shape, source.dtype, maps[0].shape, interpolation=interpolation, region=region), maps)


def _needs(plan: plans.Plan, maps: List[da.Array]) -> Needs:
    spans = block_spans(maps[0])
    blocks = [m.to_delayed() for m in maps]
    ask, shared = dask.delayed(plans.Plan.needs), dask.delayed(plan)
    asked = [ask(shared, dask.delayed(span, traverse=False), *(b[number] for b in blocks)) for number, span in spans.items()]
    return dict(zip(spans, dask.compute(*asked)))


def _maps(x: Any, y: Any, z: Any) -> List[da.Array]:
    """Return coordinates as float32 dask arrays of one shape and chunking."""
    given = [m if isinstance(m, da.Array) else np.asarray(m) for m in (x, y, z)]
    for m, name in zip(given, "xyz"):
        if m.dtype.kind not in "fiu":
            raise TypeError(f"{name} must hold numbers, not {m.dtype}")
    try:
        shape = np.broadcast_shapes(*(m.shape for m in given))
    except ValueError:
        raise ValueError(f"x, y and z must have one shape, not {[m.shape for m in given]}") from None
    if len(shape) != 3 or 0 in shape:
        raise ValueError(f"x, y and z must have three axes (z, y, x) and voxels, and their shape is {shape}")
    chunks = next((m.chunks for m in given if isinstance(m, da.Array) and m.shape == shape), (128,) * 3)
    chunks = da.core.normalize_chunks(chunks, shape=shape)
    made = []
    for m in given:
        array = m if isinstance(m, da.Array) else da.from_array(m, chunks=-1 if m.shape != shape else chunks)
        made.append(da.broadcast_to(array, shape).rechunk(chunks).astype(np.float32))
    return made
