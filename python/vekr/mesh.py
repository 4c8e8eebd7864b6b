"""Triangle meshes and rays: build a scene once, then ask what rays hit.

Examples
--------
>>> import numpy as np
>>> import vekr
>>> scene = vekr.Scene([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
>>> hits = scene.intersect([0.25, 0.25, 2], [[0, 0, -1], [0, 1, 0]])
>>> hits.triangle, hits.distance[:1]
(array([ 0, -1], dtype=int32), array([2.], dtype=float32))
>>> scene.points(hits)[0]
array([0.25, 0.25, 0.  ], dtype=float32)
"""

from __future__ import annotations

import math
import os
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Dict, Optional, Sequence, Union

import numpy as np
import numpy.typing as npt

from . import _store
from ._camera import Camera as Camera
from ._mesh_input import checked_bounds, checked_triangles, checked_vertices, parts_of, read_only, tree_over
from ._native import address, ffi, pointer, pointer_to, pointers, raw
from ._rays import ENTRY, FLOAT, INT, LIMIT, Array, FloatArray, Vectors, aligned, vector_planes
from ._trace import IntArray, Rays
from ._work import Progress, on_fresh_thread
from .errors import VekrError

_RECORD_BYTES = 40


@dataclass(frozen=True)
class Hits:
    """What rays have hit; all arrays have the rays' leading shape, those of :meth:`Scene.layers` one axis before it.

    Attributes
    ----------
    distance : ndarray
        float32, in units of the direction's length; at a miss the farthest distance that was asked for.
    triangle : ndarray
        int32, the triangle's number, -1 at a miss.
    u, v : ndarray
        float32, barycentric weights of the triangle's first and second vertex; meaningless at a miss.
    origins, directions : ndarray
        The rays.
    """

    distance: FloatArray
    triangle: IntArray
    u: FloatArray
    v: FloatArray
    origins: FloatArray
    directions: FloatArray

    @property
    def hit(self) -> npt.NDArray[np.bool_]:
        """Whether each ray has hit something."""
        return self.triangle >= 0


def _hits(distance: FloatArray, triangle: IntArray, u: FloatArray, v: FloatArray, origins: FloatArray,
          directions: FloatArray) -> Hits:
    """Return hits; what cannot be changed any more is set at once rather than field by field."""
    made = Hits.__new__(Hits)
    made.__dict__.update(distance=distance, triangle=triangle, u=u, v=v, origins=origins, directions=directions)
    return made


class Scene:
    """A triangle mesh made ready for rays: a kd-tree, and a record for each triangle.

    Parameters
    ----------
    vertices : array_like
        (n, 3), finite; other types than float32 are converted once.
    triangles : array_like
        (m, 3) or (m, 4) vertex numbers of 0 to n - 1; a fourth column is not read.
    split_bias : float
        0 to 1: how eagerly the builder splits.
    max_depth : int, optional
        0 to 50; by default 8 + 1.3 log2 of the number of triangles.
    memory_limit : int, optional
        Budget of the build in MiB, at least 32 and in practice 81; by default none.
    bounds : array_like, optional
        min x, y, z, max x, y, z: triangles wholly outside of this box are not hit; by default that of the vertices.

    Attributes
    ----------
    vertices, triangles, bounds : ndarray
        As they are used, read-only.

    Raises
    ------
    TypeError, ValueError
        If an argument is not as told.
    VekrError
        If the library can't build the tree, as when the budget is too small.

    Notes
    -----
    A scene is never changed: any number of threads may ask it at once. It can be pickled; processes that share a machine
    do better with :meth:`save` and :meth:`open`.
    """

    vertices: FloatArray
    triangles: IntArray
    bounds: FloatArray

    def __init__(self, vertices: Any, triangles: Any, *, split_bias: float = 0.5, max_depth: Optional[int] = None,
                 memory_limit: Optional[int] = None, bounds: Any = None) -> None:
        points = checked_vertices(vertices)
        corners = checked_triangles(triangles, len(points))
        if not 0 <= split_bias <= 1:
            raise ValueError(f"split_bias must be between 0 and 1, not {split_bias}")
        count = len(corners)
        depth = min(50, int(8 + 1.3 * math.log2(max(count, 1)))) if max_depth is None else int(max_depth)
        if not 0 <= depth <= 50:
            raise ValueError(f"max_depth must be between 0 and 50, not {max_depth}")
        budget = -1 if memory_limit is None else int(memory_limit)
        if memory_limit is not None and not 0 <= budget <= LIMIT:
            raise ValueError(f"memory_limit must be a number of MiB, not {memory_limit}")
        box = checked_bounds(bounds, points)
        records = aligned((count, _RECORD_BYTES), np.uint8)
        raw.vekrTriangleAccelInit(pointer_to(records), pointer_to(points), pointer_to(corners), count)
        tree = tree_over(points, corners, box, depth, split_bias, budget)
        self._take(tree, records, box, points, corners)

    def _take(self, tree: Array, records: Array, box: FloatArray, vertices: FloatArray, triangles: IntArray) -> None:
        self._tree, self._records = tree, records
        self.bounds, self.vertices, self.triangles = (read_only(a) for a in (box, vertices, triangles))
        self._view = ffi.new("VekrIntersectScene *", [ffi.cast("float *", address(box)),
                                                      ffi.cast("VekrTriangleAccel *", address(records)),
                                                      ffi.cast("VekrKDTreeNode *", address(tree))])
        self._triangle_normals: Optional[FloatArray] = None
        self._vertex_normals: Optional[FloatArray] = None

    @property
    def tree_bytes(self) -> int:
        """Size of the tree in bytes."""
        return int(self._tree.nbytes)

    def __repr__(self) -> str:
        return f"<vekr.Scene of {len(self.triangles)} triangles, tree of {self.tree_bytes} bytes>"

    def __reduce__(self) -> Any:
        return _restored, (np.array(self._tree), np.array(self._records), np.array(self.bounds), np.array(self.vertices),
                           np.array(self.triangles))

    # ------------------------------------------------------------ rays

    def intersect(self, origins: Any, directions: Any, max_distance: Any = None, *, threads: Optional[int] = None,
                  progress: Progress = None) -> Hits:
        """Find the nearest hit of each ray.

        Parameters
        ----------
        origins : array_like
            (3,), one origin for all rays, or (..., 3), one for each.
        directions : array_like
            (..., 3), of any length other than 0; pictures as (height, width, 3).
        max_distance : float or array_like, optional
            Farthest distance wanted, in units of the direction's length, for all rays or of their leading shape.
        threads : int, optional
            How many threads may work; by default :func:`vekr.get_threads`. The result does not depend on it.
        progress : callable or True, optional
            Called with (blocks done, blocks in all) between blocks; True shows a bar if tqdm is installed.

        Returns
        -------
        Hits
            Arrays of the rays' leading shape.

        Notes
        -----
        Rays are traced in packets, which are fastest where neighbours look in similar directions. Pictures whose width is
        a multiple of four are used as they lie; directions out of :meth:`Camera.rays` are not copied at all. Rays that
        the packets would lose, with a y or z component within 1.2e-7 of 0, are traced by themselves.
        """
        rays = Rays(origins, directions, max_distance, self._view)
        rays.nearest(threads, progress)
        return _hits(*rays.hits(rays.leading))

    def occluded(self, origins: Any, directions: Any, mask: Any = None, *, threads: Optional[int] = None,
                 progress: Progress = None) -> npt.NDArray[np.bool_]:
        """Tell which segments are blocked: from an origin to origin + direction, both ends excluded.

        Parameters
        ----------
        origins : array_like
            (3,), such as a light's place, which is fastest, or (..., 3).
        directions : array_like
            (..., 3), whole segments: point - light.
        mask : array_like, optional
            bool, of the segments' leading shape: False where nothing needs to be traced and the answer is False.
        threads, progress
            As in :meth:`intersect`.

        Returns
        -------
        ndarray
            bool, of the segments' leading shape.

        Notes
        -----
        A segment that ends on a surface may be found blocked by it, as its end is rounded: let it end a little before,
        as ``scene.points(hits, 0.9999)`` does.
        """
        rays = Rays(origins, directions, 1.0, self._view)
        return rays.any(mask, threads, progress)

    def layers(self, origin: Any, directions: Any, depth: int, max_distance: Any = None, *, threads: Optional[int] = None,
               progress: Progress = None) -> Hits:
        """Find up to `depth` successive hits along each ray from one point.

        Parameters
        ----------
        origin : array_like
            (3,).
        directions, max_distance, threads, progress
            As in :meth:`intersect`.
        depth : int
            Hits wanted, at least 1.

        Returns
        -------
        Hits
            Arrays of shape (depth, ...), nearest hits first.
        """
        depth = int(depth)
        if not 1 <= depth <= LIMIT:
            raise ValueError(f"depth must be at least 1, not {depth}")
        rays = Rays(origin, directions, max_distance, self._view)
        if not rays.is_single:
            raise ValueError("layers takes one origin (3,) for all rays")
        rays.layers(depth, threads, progress)
        return _hits(*rays.hits((depth, *rays.leading)))

    # ------------------------------------------------------------ what was hit

    def normals(self, hits: Hits, smooth: bool = False) -> FloatArray:
        """Return the unit normals (..., 3) at hits, (0, 0, 0) at misses.

        Parameters
        ----------
        hits : Hits
            Of this scene.
        smooth : bool
            False: the triangles' own. True: interpolated between the vertices, whose normals are the means of those of
            their triangles by area.
        """
        triangle = self._checked(hits, (hits.u, hits.v) if smooth else ())
        count = triangle.size
        result, places = vector_planes(triangle.shape)
        if smooth:
            weights = [np.ascontiguousarray(w) for w in (hits.u, hits.v)]
            for part in parts_of(count):
                place = ENTRY * part.start
                raw.vekrSurfSmoothNormal_32f(
                    pointer_to(self._smooth()), pointer_to(self.triangles), pointer(address(triangle) + place),
                    pointers([address(w) + place for w in weights]), pointers([p + place for p in places]), len(part), 4)
        elif count:
            raw.vekrSurfFlatNormal_32f(pointer_to(self._flat()), pointer_to(triangle), pointers(places), count)
        return result

    def points(self, hits: Hits, eps: float = 1.0) -> FloatArray:
        """Return the points (..., 3) that rays have hit, (0, 0, 0) at misses.

        Parameters
        ----------
        hits : Hits
            Of :meth:`intersect` or :meth:`layers`.
        eps : float
            Factor of the distance: 0.9999 stops a little before the surface.
        """
        triangle = self._checked(hits, (hits.distance,))
        shape, directions, origins = triangle.shape, hits.directions, hits.origins
        if directions.dtype != FLOAT or origins.dtype != FLOAT or directions.shape[-1:] != (3,) or origins.shape[-1:] != (3,):
            raise ValueError("the hits' rays must be vectors of float32")
        if shape != directions.shape[:-1]:
            directions = np.broadcast_to(directions, (*shape, 3))
        result, out = vector_planes(shape)
        distance = np.ascontiguousarray(hits.distance)
        along, kept = Vectors(directions).whole()
        rest = pointers(along), pointer_to(distance), pointer_to(triangle), pointers(out), triangle.size, eps
        if origins.ndim == 1:
            status = raw.vekrHitPoint3DEpsS0_32f_M(origins.tolist(), *rest)
        else:
            starts, kept_too = Vectors(np.broadcast_to(origins, (*shape, 3))).whole()
            status = raw.vekrHitPoint3DEpsM0_32f_M(pointers(starts), *rest)
            del kept_too
        del kept
        if status:
            raise VekrError(status, "points")
        return result

    def _checked(self, hits: Hits, parts: Sequence[FloatArray]) -> IntArray:
        """Return the hits' triangles, all of which this scene has; `parts` are what else of the hits is read."""
        triangle = np.ascontiguousarray(hits.triangle)
        shape = triangle.shape
        if triangle.dtype != INT:
            raise ValueError(f"the hits' triangles must be int32, not {triangle.dtype}")
        for part in parts:
            if part.dtype != FLOAT or part.shape != shape:
                raise ValueError(f"what is told of these hits must be float32 of shape {shape}, not {part.dtype} of {part.shape}")
        if triangle.size > LIMIT:
            raise ValueError("too many hits")
        numbers = triangle.reshape(-1)
        if triangle.size and numbers[numbers.argmax()] >= len(self.triangles):
            raise ValueError("the hits are not this scene's")
        return triangle

    def _flat(self) -> FloatArray:
        if self._triangle_normals is None:
            normals = aligned((len(self.triangles), 3))
            on_fresh_thread(lambda: int(raw.vekrTriangleNormal_32f(
                pointer_to(self.vertices), pointer_to(self.triangles), pointer_to(normals),
                len(self.triangles))))
            self._triangle_normals = normals
        return self._triangle_normals

    def _smooth(self) -> FloatArray:
        if self._vertex_normals is None:
            corners = self.triangles[:, :3]
            a, b, c = (self.vertices[corners[:, k]].astype(np.float64) for k in range(3))
            with np.errstate(all="ignore"):
                area = np.cross(a - c, b - c)
                count = len(self.vertices)
                sums = np.stack([sum(np.bincount(corners[:, k], area[:, axis], count) for k in range(3))
                                 for axis in range(3)], axis=1)
                length = np.sqrt(np.sum(sums**2, axis=1, keepdims=True))
                normals = aligned((count, 3))
                normals[...] = np.where(length > 0, sums / length, 0)
            self._vertex_normals = normals
        return self._vertex_normals

    # ------------------------------------------------------------ files

    def save(self, path: Union[str, "os.PathLike[str]"]) -> None:
        """Write the scene into a folder of plain ``.npy`` files, from which :meth:`open` maps it.

        Examples
        --------
        >>> import tempfile, vekr
        >>> scene = vekr.Scene([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
        >>> with tempfile.TemporaryDirectory() as folder:
        ...     scene.save(folder)
        ...     vekr.Scene.open(folder).intersect([0.2, 0.2, 1], [0, 0, -1]).triangle
        array(0, dtype=int32)
        """
        _store.write(Path(path), self._parts())

    @classmethod
    def open(cls, path: Union[str, "os.PathLike[str]"], mmap: bool = True, verify: bool = True) -> "Scene":
        """Open a saved scene, read-only.

        Parameters
        ----------
        path : str or path
            The folder.
        mmap : bool
            True: map the files, so that processes share their pages. They must not be changed as long as they are mapped.
        verify : bool
            Compare the files with the sums written beside them, which reads them once. A damaged tree would end the
            interpreter.

        Raises
        ------
        ValueError
            If the folder holds no scene, or a damaged one.
        """
        parts = _store.read(Path(path), _PARTS, mmap, verify)
        return _restored(*(parts[name] for name in _PARTS))

    def _parts(self) -> Dict[str, Array]:
        return dict(zip(_PARTS, (self._tree, self._records, self.bounds, self.vertices, self.triangles)))


_PARTS = ("tree", "records", "box", "vertices", "triangles")


def _restored(tree: Array, records: Array, box: FloatArray, vertices: FloatArray, triangles: IntArray) -> Scene:
    if not (tree.dtype == records.dtype == np.uint8 and box.dtype == vertices.dtype == np.float32
            and triangles.dtype == np.int32 and box.shape == (6,) and records.shape == (len(triangles), _RECORD_BYTES)
            and tree.size >= 8 and vertices.ndim == 2 and triangles.ndim == 2 and triangles.shape[1] == 4):
        raise ValueError("the parts are not those of a scene")
    scene = Scene.__new__(Scene)
    scene._take(tree, records, box, vertices, triangles)
    return scene
