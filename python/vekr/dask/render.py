"""Pictures and turntables in tiles, the same to the last bit as drawn at once.

A scene is opened by each process from a folder that :meth:`vekr.Scene.save` has written, by mapping its files: the processes
of a machine share their pages, and nothing of it travels.

Rays meet the tree in packets of 4 x 4, and a ray's last bits depend on its packet. Tiles are cut between packets, so that
every picture, and every tile, has sides that are multiples of four.
"""

from __future__ import annotations

import math
import os
from functools import lru_cache
from typing import Any, Callable, Dict, List, Sequence, Tuple, Union

import dask.array as da
import numpy as np
from dask.base import tokenize
from dask.highlevelgraph import HighLevelGraph

from .._rays import TILE, FloatArray, vector_planes
from ..mesh import Camera, Hits, Scene
from ._graph import blocks_of

Shade = Callable[[Scene, Hits], Any]
Path = Union[str, "os.PathLike[str]"]

_LEAST_TILE = 16  # columns; narrower pictures are traced as lists of rays, in other packets
_TILE = 256


def lambert(scene: Scene, hits: Hits) -> FloatArray:
    """Shade hits by how far they face the eye: (rows, columns, 3) float32 of 0 to 1, misses in a light blue."""
    normals, along = scene.normals(hits, smooth=True), hits.directions
    # Component by component: the order of a sum over an axis is numpy's own affair.
    facing = _dot(normals, along)
    length = np.sqrt(_dot(along, along))
    shade = np.float32(0.1) + np.float32(0.9) * np.minimum(np.abs(facing) / length, np.float32(1))
    picture = np.empty((*hits.triangle.shape, 3), np.float32)
    for c, (warm, sky) in enumerate(((0.95, 0.75), (0.8, 0.83), (0.6, 0.9))):
        picture[..., c] = np.where(hits.hit, shade * np.float32(warm), np.float32(sky))
    return picture


def _dot(a: FloatArray, b: FloatArray) -> FloatArray:
    made: FloatArray = np.asarray(a[..., 0] * b[..., 0] + a[..., 1] * b[..., 1] + a[..., 2] * b[..., 2], np.float32)
    return made


def cameras_around(eye: Sequence[float], target: Sequence[float], frames: int, up: Sequence[float] = (0.0, 1.0, 0.0),
                   fov: float = 45.0) -> List[Camera]:
    """Return the cameras of a turntable: `frames` places on the circle that `eye` runs through around `target`.

    Parameters
    ----------
    eye, target, up, fov
        As for :class:`vekr.Camera`; the axis of the turn goes through `target` along `up`.
    frames : int
        How many, at least 1.

    Examples
    --------
    >>> import vekr.dask.render as render
    >>> [(camera.eye.round(6) + 0).tolist() for camera in render.cameras_around((0, 1, 5), (0, 0, 0), 2)]
    [[0.0, 1.0, 5.0], [0.0, 1.0, -5.0]]
    """
    if frames < 1:
        raise ValueError(f"frames must be at least 1, not {frames}")
    middle, axis = np.asarray(target, np.float64), np.asarray(up, np.float64)
    axis = axis / np.sqrt(np.sum(axis**2))
    arm = np.asarray(eye, np.float64) - middle
    along = axis * np.sum(axis * arm)
    side = np.cross(axis, arm)
    places = []
    for k in range(frames):
        angle = 2 * math.pi * k / frames
        places.append(middle + along + math.cos(angle) * (arm - along) + math.sin(angle) * side)
    return [Camera(place, target, up, fov) for place in places]


def picture(scene: Path, camera: Camera, width: int, height: int, *, shade: Shade = lambert, channels: int = 3,
            dtype: Any = np.float32, tile: Union[int, Tuple[int, int]] = _TILE) -> da.Array:
    """Draw a scene in tiles.

    Parameters
    ----------
    scene : path
        A folder that :meth:`vekr.Scene.save` has written, and that all workers can read.
    camera : Camera
        Where it is seen from.
    width, height : int
        Of the picture in pixels, multiples of 4.
    shade : callable
        Takes the scene and the hits of a tile, (rows, columns), and gives its pixels, (rows, columns, channels). It must
        look at each pixel by itself, and be known to the workers.
    channels, dtype
        Of what `shade` gives.
    tile : int or (int, int)
        Rows and columns of a tile, multiples of 4. The picture does not depend on it.

    Returns
    -------
    dask array
        (height, width, channels), a chunk for each tile.

    Raises
    ------
    ValueError
        If a side is not as told. A folder that holds no scene is told of when the picture is computed.

    Examples
    --------
    >>> import tempfile
    >>> import vekr, vekr.dask
    >>> scene = vekr.Scene([[-1, -1, 0], [1, -1, 0], [0, 1, 0]], [[0, 1, 2]])
    >>> camera = vekr.Camera((0, 0, 4), (0, 0, 0))
    >>> with tempfile.TemporaryDirectory() as folder:
    ...     scene.save(folder)
    ...     drawn = vekr.dask.render.picture(folder, camera, 64, 48, tile=16).compute()
    >>> at_once = vekr.dask.render.lambert(scene, scene.intersect(*camera.rays(64, 48)))
    >>> drawn.shape, bool((drawn == at_once).all())
    ((48, 64, 3), True)
    """
    return turntable(scene, [camera], width, height, shade=shade, channels=channels, dtype=dtype, tile=tile)[0]


def turntable(scene: Path, cameras: Sequence[Camera], width: int, height: int, *, shade: Shade = lambert,
              channels: int = 3, dtype: Any = np.float32, tile: Union[int, Tuple[int, int]] = _TILE) -> da.Array:
    """Draw a scene from several cameras.

    Parameters
    ----------
    cameras : sequence of Camera
        One for each picture, such as :func:`cameras_around` gives.
    scene, width, height, shade, channels, dtype, tile
        As for :func:`picture`.

    Returns
    -------
    dask array
        (cameras, height, width, channels), a chunk for each tile.
    """
    if not len(cameras):
        raise ValueError("there must be at least one camera")
    rows, columns = (tile, tile) if isinstance(tile, int) else tile
    if min(width, height, rows, columns) < TILE or any(side % TILE for side in (width, height, rows, columns)):
        raise ValueError(f"sides of pictures and tiles must be multiples of {TILE}, not {width} x {height} and "
                         f"{columns} x {rows}")
    lines = (_cut(height, rows, TILE), _cut(width, columns, _LEAST_TILE))
    folder = os.path.abspath(scene)
    views = [_View(camera, int(width), int(height)) for camera in cameras]
    token = tokenize(folder, [view.__getstate__() for view in views], lines, shade, channels, str(dtype))
    name = f"vekr-picture-{token}"
    graph: Dict[Any, Any] = {}
    for k, view in enumerate(views):
        view_key = f"vekr-view-{k}-{token}"
        graph[view_key] = view
        for (_, r, c), (_, part, across) in blocks_of(((1,), *lines)):
            graph[(name, k, r, c, 0)] = (_draw, folder, view_key, _Tile(part, across), shade, (channels, str(np.dtype(dtype))))
    return da.Array(HighLevelGraph.from_collections(name, graph), name, ((1,) * len(views), *lines, (channels,)), dtype=dtype)


def _cut(side: int, each: int, least: int) -> Tuple[int, ...]:
    """Return the tiles of an axis; one that would be too narrow goes with the one before it."""
    each = max(each, least)
    sides = [min(each, side - a) for a in range(0, side, each)]
    if len(sides) > 1 and sides[-1] < least:
        last = sides.pop()
        sides[-1] += last
    return tuple(sides)


class _Tile:
    """Rows and columns of a tile. An object, so that dask doesn't look inside."""

    __slots__ = ("rows", "columns")

    def __init__(self, rows: Tuple[int, int], columns: Tuple[int, int]) -> None:
        self.rows, self.columns = rows, columns

    def __reduce__(self) -> Any:
        return _Tile, (self.rows, self.columns)


class _View:
    """A camera's rays for a picture, of which tiles can be made.

    The library adds up a picture's row starts from the first row on, in float. They are added up here in the same way,
    which gives every tile the rays that it has in the whole.
    """

    def __init__(self, camera: Camera, width: int, height: int) -> None:
        self.eye = camera.eye.astype(np.float32)
        self.corner, self.step_x, self.step_y = (np.array(v, np.float32) for v in camera.grid(width, height))

    def __getstate__(self) -> "Dict[str, Any]":
        return dict(self.__dict__)

    def rays(self, tile: _Tile) -> Tuple[FloatArray, FloatArray]:
        """Return the origin and the directions (rows, columns, 3) of a tile."""
        (y0, y1), (x0, x1) = tile.rows, tile.columns
        directions, _ = vector_planes((y1 - y0, x1 - x0))
        x = np.arange(x0, x1).astype(np.float32)
        for c in range(3):
            starts = np.full(y1, self.step_y[c], np.float32)
            starts[0] = self.corner[c]
            starts = np.add.accumulate(starts)[y0:]
            np.add(starts[:, None], self.step_x[c] * x, out=directions[..., c])
        return self.eye, directions


@lru_cache(maxsize=4)
def _opened(folder: str, changed: int) -> Scene:
    return Scene.open(folder, mmap=True)


def _draw(folder: str, view: _View, tile: _Tile, shade: Shade, form: Tuple[int, str]) -> Any:
    try:
        changed = os.stat(os.path.join(folder, "scene.json")).st_mtime_ns
    except OSError as problem:
        raise ValueError(f"{folder} holds no scene: {problem}") from None
    scene = _opened(folder, changed)
    hits = scene.intersect(*view.rays(tile), threads=1)
    made = np.asarray(shade(scene, hits), form[1])
    wanted = (*hits.triangle.shape, form[0])
    if made.shape != wanted:
        raise ValueError(f"shade must give pixels of shape {wanted}, not {made.shape}")
    return made[None]


__all__ = ["cameras_around", "lambert", "picture", "turntable"]
