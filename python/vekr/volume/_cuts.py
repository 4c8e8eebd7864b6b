"""Where the planes of a result are cut into blocks. No result depends on it."""

from __future__ import annotations

from .._work import LEAST_VOXELS

_FEW_VOXELS = 1 << 22  # what one call may do before an interrupt is looked at
_BLOCKS_PER_THREAD = 4


def planes_per_block(depth: int, plane: int, threads: int, shows_progress: bool, least: int = 1,
                     most: int = 1 << 30) -> int:
    """Return how many of `depth` planes of `plane` voxels one call should do.

    `least` tells below how many planes a block gets dear, and `most` how many it may have.
    """
    voxels = depth * plane
    if voxels <= LEAST_VOXELS:
        return min(depth, most)
    blocks = -(-voxels // _FEW_VOXELS)
    if threads > 1:
        blocks = max(blocks, min(_BLOCKS_PER_THREAD * threads, voxels // LEAST_VOXELS))
    if shows_progress:
        blocks = max(blocks, 16)
    planes = max(1, -(-depth // blocks))
    if threads > 1 or shows_progress:
        least = min(least, max(1, depth // (2 * threads)))  # rather dear blocks than idle threads
    return min(max(planes, least), most, depth)
