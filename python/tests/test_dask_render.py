"""Pictures in tiles against pictures at once, bit for bit."""

import pickle

import numpy as np
import pytest
from hypothesis import example, given, settings
from hypothesis import strategies as st

import vekr

pytest.importorskip("dask")
import vekr.dask.render as render  # noqa: E402
from vekr.dask.render import _Tile, _View  # noqa: E402


def knot():
    u, v = np.meshgrid(np.linspace(0, 2 * np.pi, 120), np.linspace(0, 2 * np.pi, 14), indexing="ij")
    r = 2 + np.cos(3 * u) + 0.4 * np.cos(v)
    k = (np.arange(119)[:, None] * 14 + np.arange(13)).ravel()
    triangles = np.concatenate([np.stack([k, k + 14, k + 1], 1), np.stack([k + 1, k + 14, k + 15], 1)])
    return np.stack([r * np.cos(2 * u), np.sin(3 * u) + 0.4 * np.sin(v), r * np.sin(2 * u)], -1).reshape(-1, 3), triangles


@pytest.fixture(scope="module")
def scene(tmp_path_factory):
    folder = tmp_path_factory.mktemp("scene")
    vekr.Scene(*knot()).save(folder)
    return folder


def everything(scene, hits):
    """All that is known of a hit."""
    points = scene.points(hits, 0.999)
    lamp = np.array([3, 8, 2], np.float32)
    lit = ~scene.occluded(lamp, points - lamp, hits.hit)
    parts = [hits.distance, hits.triangle, hits.u * hits.hit, hits.v * hits.hit, lit]
    vectors = [scene.normals(hits), scene.normals(hits, smooth=True), points, hits.directions]
    return np.concatenate([np.stack(parts, -1).astype(np.float32), *vectors], -1)


@pytest.mark.parametrize("size", [(16, 8), (64, 48), (132, 20), (300, 260), (12, 40)])
@pytest.mark.parametrize("tile", [4, 16, (8, 40), (100, 128), 1000])
def test_a_picture_in_tiles_is_the_picture_at_once(scene, size, tile):
    camera = vekr.Camera((3, 4, 6), (0, 0.1, 0), fov=40)
    whole = vekr.Scene.open(scene)
    expected = everything(whole, whole.intersect(*camera.rays(*size)))
    if tile == 4 and size[0] == 300:
        tile = (52, 20)
    got = render.picture(scene, camera, *size, shade=everything, channels=17, tile=tile)
    assert got.shape == (size[1], size[0], 17)
    assert got.compute(scheduler="threads").tobytes() == expected.astype(np.float32).tobytes()


@settings(max_examples=40)
@given(seed=st.integers(0, 2**32 - 1))
@example(seed=0)
def test_a_tile_has_the_rays_that_it_has_in_the_whole(seed):
    rng = np.random.default_rng(seed)
    width, height = (4 * int(n) for n in rng.integers(1, 300, 2))
    camera = vekr.Camera(*rng.normal(size=(2, 3)), up=rng.normal(size=3), fov=rng.uniform(5, 150))
    origin, directions = camera.rays(width, height)
    y, x = (np.sort(rng.choice(side + 1, 2, replace=False)) for side in (height, width))
    eye, got = pickle.loads(pickle.dumps(_View(camera, width, height))).rays(_Tile(tuple(y), tuple(x)))
    part = directions[y[0] : y[1], x[0] : x[1]]
    assert eye.tobytes() == origin.tobytes() and np.ascontiguousarray(got).tobytes() == np.ascontiguousarray(part).tobytes()


def test_a_turntable_is_its_pictures(scene):
    cameras = render.cameras_around((0, 2, 7), (0, 0, 0), 5)
    frames = render.turntable(scene, cameras, 64, 32, tile=(16, 32))
    assert frames.shape == (5, 32, 64, 3) and frames.numblocks == (5, 2, 2, 1)
    got = frames.compute(scheduler="threads")
    whole = vekr.Scene.open(scene)
    for camera, frame in zip(cameras, got):
        assert frame.tobytes() == render.lambert(whole, whole.intersect(*camera.rays(64, 32))).tobytes()
    assert got.std() > 0.05 and not (got[0] == got[1]).all()


def test_views_and_graphs_are_small(scene):
    graph = render.turntable(scene, render.cameras_around((0, 2, 7), (0, 0, 0), 100), 640, 480).__dask_graph__()
    assert len(graph) == 100 * (1 + 2 * 3) and len(pickle.dumps(dict(graph))) < 200_000


def test_what_does_not_fit_is_refused(scene, tmp_path):
    camera = vekr.Camera((0, 0, 5), (0, 0, 0))
    for call in (lambda: render.picture(scene, camera, 63, 64), lambda: render.picture(scene, camera, 64, 64, tile=10),
                 lambda: render.turntable(scene, [], 64, 64), lambda: render.cameras_around((0, 0, 1), (0, 0, 0), 0),
                 lambda: render.picture(tmp_path, camera, 64, 64).compute(scheduler="sync"),
                 lambda: render.picture(scene, camera, 64, 64, channels=2).compute(scheduler="sync")):
        with pytest.raises(ValueError):
            call()
