"""Results into zarr stores, and on again after an interruption."""

from __future__ import annotations

import os
from typing import Any, Dict, Union

import dask
import dask.array as da
import numpy as np
from dask.base import tokenize
from dask.delayed import Delayed
from dask.highlevelgraph import HighLevelGraph

from ..chunks._need import Spans
from ._graph import blocks_of

_STATE = "vekr"


class _Place:
    """Where a chunk goes. An object, so that dask doesn't look inside."""

    __slots__ = ("spans",)

    def __init__(self, spans: Spans) -> None:
        self.spans = spans

    def __reduce__(self) -> Any:
        return _Place, (self.spans,)


class _Writer:
    """Writes chunks into a store. A function, so that the store is sent once and not with every task."""

    __slots__ = ("store",)

    def __init__(self, store: Any) -> None:
        self.store = store

    def __reduce__(self) -> Any:
        return _Writer, (self.store,)

    def __call__(self, place: _Place, block: Any) -> int:
        self.store[tuple(slice(a, b) for a, b in place.spans)] = block
        return 1


def _count(parts: "list[int]") -> int:
    return sum(parts)


def to_zarr(array: da.Array, path: Union[str, "os.PathLike[str]"], *, resume: bool = False, compute: bool = True,
            **options: Any) -> Any:
    """Write an array into a zarr store, a chunk of the array as a chunk of the store.

    Parameters
    ----------
    array : dask array
        Its chunks must be of one shape, but for the last ones.
    path : str or path
        A folder.
    resume : bool
        False: there must be nothing at `path` yet. True: go on with a store that this function has begun, and write the
        chunks that are not there.
    compute : bool
        False: return a delayed object that writes when it is computed.
    options
        Handed to ``zarr.create``, such as ``compressor=None``.

    Returns
    -------
    int or Delayed
        How many chunks have been written.

    Raises
    ------
    ValueError
        If the store does not fit the array, or the array's chunks are of several shapes.

    Notes
    -----
    A chunk of the store is a file that takes its name after all of it is written: one that is there is whole, whatever
    has ended the process that wrote others. As chunks have the same bits on every run, it doesn't matter who has written
    which, or which twice.

    Examples
    --------
    >>> import tempfile, zarr
    >>> import dask.array as da
    >>> import vekr.dask
    >>> with tempfile.TemporaryDirectory() as folder:
    ...     written = vekr.dask.to_zarr(da.ones((3, 4, 5), chunks=2), folder + "/ones")
    ...     written, float(zarr.open(folder + "/ones")[...].sum())
    (12, 60.0)
    """
    try:
        import zarr
    except ImportError:
        raise ImportError("vekr.dask.to_zarr needs zarr (Debian: python3-zarr; pip install 'vekr[dask]')") from None
    for line in array.chunks:
        if any(side != line[0] for side in line[:-1]) or line[-1] > line[0]:
            raise ValueError("the array's chunks must be of one shape; rechunk it, or give chunks= as three numbers")
    # What a chunk holds doesn't hang on the chunking of what it is made of: only what is seen in the store is compared.
    told = {"shape": list(array.shape), "dtype": np.dtype(array.dtype).str, "chunks": [line[0] for line in array.chunks]}
    if resume and os.path.exists(path):
        store = zarr.open_array(str(path), mode="r+")
        if store.attrs.get(_STATE) != told:
            raise ValueError(f"{path} was not begun with this array's shape, type and chunks")
    else:
        if os.path.exists(path):
            raise ValueError(f"{path} is there already; resume=True goes on with it")
        store = zarr.create(array.shape, chunks=tuple(told["chunks"]), dtype=array.dtype, store=zarr.DirectoryStore(str(path)),
                            write_empty_chunks=True, **options)
        store.attrs[_STATE] = told
    there = set(store.chunk_store.keys()) if resume else set()
    name = "vekr-store-" + tokenize(array.name, os.path.abspath(path), len(there))
    graph: Dict[Any, Any] = {}
    write, missing = _Writer(store), []
    # What leads to the array is joined as when it is computed, which a delayed object would not do.
    (array,) = dask.optimize(array)
    for number, spans in blocks_of(array.chunks):
        if store._chunk_key(number) not in there:
            key = (name, *number)
            graph[key] = (write, _Place(spans), (array.name, *number))
            missing.append(key)
    graph[f"{name}-all"] = (_count, missing)
    layer = HighLevelGraph.from_collections(name, graph, dependencies=[array])
    delayed = Delayed(f"{name}-all", layer, layer=name)
    return delayed.compute() if compute else delayed


__all__ = ["to_zarr"]
