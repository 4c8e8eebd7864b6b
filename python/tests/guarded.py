"""Blocks whose neighbourhood is poisoned or must not be touched at all."""

import ctypes
import mmap

import numpy as np

PAGE = mmap.PAGESIZE
_libc = ctypes.CDLL(None, use_errno=True)


def _forbid(address):
    if _libc.mprotect(ctypes.c_void_p(address), PAGE, 0):
        raise OSError(ctypes.get_errno(), "mprotect")


def guarded(values, margin=0, at_end=True, rng=None):
    """A copy of a block with `margin` poisoned voxels before and behind, and right behind (or before) them a page that
    ends the process if it is touched; the page on the other side lies as near as alignment allows."""
    rng = rng or np.random.default_rng(0)
    voxels = values.size + 2 * margin
    size = voxels * values.itemsize
    pages = -(-size // PAGE)
    room = mmap.mmap(-1, (pages + 2) * PAGE)
    first = ctypes.addressof(ctypes.c_char.from_buffer(room))
    start = PAGE + (pages * PAGE - size if at_end else 0)
    flat = np.frombuffer(room, values.dtype, voxels, start)
    flat.view(np.uint8)[...] = rng.integers(0, 256, size, np.uint8)
    if values.dtype.kind == "f":
        flat[:: 3] = np.nan
    block = flat[margin : margin + values.size].reshape(values.shape)
    block[...] = values
    _forbid(first)
    _forbid(first + (pages + 1) * PAGE)
    return block
