"""What a scene is made of: vertices, triangles and a box, checked, and the tree over them."""

from __future__ import annotations

from typing import Any

import numpy as np

from ._native import address, ffi, pointer, raw
from ._rays import LIMIT, TILE, Array, FloatArray, vectors_of
from ._trace import IntArray
from ._work import on_fresh_thread
from .errors import VekrError


def checked_vertices(vertices: Any) -> FloatArray:
    array = vectors_of(vertices, "vertices")
    if array.ndim != 2:
        raise ValueError(f"vertices must have the shape (n, 3), not {array.shape}")
    if len(array) > LIMIT // 3:
        raise ValueError("too many vertices")
    if not np.isfinite(array).all():
        raise ValueError("vertices must be finite as float32")
    return np.ascontiguousarray(array)


def checked_triangles(triangles: Any, vertex_count: int) -> IntArray:
    array = np.asarray(triangles)
    if array.size == 0 and array.ndim < 2:
        array = np.zeros((0, 3), np.int32)
    if array.dtype.kind not in "iu":
        raise TypeError(f"triangles must hold whole numbers, not {array.dtype}")
    if array.ndim != 2 or array.shape[1] not in (3, 4):
        raise ValueError(f"triangles must have the shape (m, 3) or (m, 4), not {array.shape}")
    if len(array) > LIMIT // 4:
        raise ValueError("too many triangles")
    corners = array[:, :3]
    if array.size and (int(corners.min()) < 0 or int(corners.max()) >= vertex_count):
        raise ValueError(f"triangles must hold vertex numbers of 0 to {vertex_count - 1}")
    if array.shape[1] == 4 and array.dtype == np.int32:
        return np.ascontiguousarray(array)
    made = np.zeros((len(array), 4), np.int32)
    made[:, :3] = corners
    return made


def checked_bounds(bounds: Any, vertices: FloatArray) -> FloatArray:
    if bounds is None:
        box = np.zeros(6, np.float32)
        if len(vertices):
            raw.vekrSetBoundBox_32f(ffi.cast("float *", address(vertices)), len(vertices), ffi.cast("float *", address(box)))
        return box
    box = np.ascontiguousarray(bounds, np.float32).reshape(-1)
    if box.shape != (6,) or not np.isfinite(box).all() or not (box[:3] <= box[3:]).all():
        raise ValueError("bounds must be six finite numbers, min x, y, z, max x, y, z")
    return box


def tree_over(vertices: FloatArray, triangles: IntArray, box: FloatArray, depth: int, bias: float, budget: int) -> Array:
    root, size = ffi.new("VekrKDTreeNode **"), ffi.new("int32_t *")
    context = ffi.new("VekrPSAHBuildContext *", [raw.vekrPSAHBuildIdentifier, depth, bias, budget,
                                                 ffi.cast("float *", address(box))])
    status = on_fresh_thread(lambda: int(raw.vekrKDTreeBuildAlloc(
        root, pointer(address(vertices)), pointer(address(triangles)), len(vertices), len(triangles), size, context)))
    if status:
        raise VekrError(status, "Scene")
    tree = ffi.gc(root[0], raw.vekrKDTreeFree, size=size[0])
    return np.frombuffer(ffi.buffer(tree, size[0]), np.uint8)


def read_only(array: Array) -> Array:
    view = array.view()
    view.setflags(write=False)
    return view


def parts_of(count: int) -> "list[range]":
    """Cut entries so that all but the last few are a multiple of four, for which the library has a faster form."""
    whole = count // TILE * TILE
    return [part for part in (range(whole), range(whole, count)) if len(part)]
