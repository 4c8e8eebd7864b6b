"""Scenes against the functions as they are, bit for bit, and against a ray caster in numpy."""

import pickle

import numpy as np
import pytest
from hypothesis import given
from hypothesis import settings as hypothesis_settings
from hypothesis import strategies as st

import vekr
import vekr.lib as lib


def soup(rng, triangles=200, spread=0.3):
    centres = rng.uniform(-1, 1, (triangles, 1, 3))
    corners = centres + rng.uniform(-spread, spread, (triangles, 3, 3))
    return corners.reshape(-1, 3).astype(np.float32), np.arange(3 * triangles).reshape(-1, 3)


def brute(scene, origins, directions, limit=np.inf):
    """All hits of each ray: distances (rays, triangles), infinite at misses, and how far inside each hit lies."""
    o, d = np.broadcast_arrays(np.asarray(origins, float), np.asarray(directions, float))
    o, d = o.reshape(-1, 1, 3), d.reshape(-1, 1, 3)
    a, b, c = (scene.vertices[scene.triangles[:, k]].astype(float) for k in range(3))
    e1, e2 = a - c, b - c
    p = np.cross(d, e2)
    with np.errstate(all="ignore"):
        inverse = 1 / np.sum(e1 * p, -1)
        t = o - c
        u = np.sum(t * p, -1) * inverse
        q = np.cross(t, e1)
        v = np.sum(d * q, -1) * inverse
        distance = np.sum(e2 * q, -1) * inverse
        rim = np.minimum(np.minimum(u, v), 1 - u - v)
        distance = np.where((rim >= 0) & (distance > 0) & (distance < limit), distance, np.inf)
    return distance, rim


def check_nearest(scene, hits, origins, directions, limit=np.inf):
    distance, rim = brute(scene, origins, directions, limit)
    nearest = distance.min(axis=1)
    found, wanted = hits.triangle.reshape(-1), np.where(np.isfinite(nearest), distance.argmin(axis=1), -1)
    # Rays within 1e-4 of an edge may go either way.
    doubtful = (np.abs(rim) < 1e-4).any(axis=1)
    assert np.count_nonzero(doubtful) <= 0.1 * len(doubtful)
    assert np.array_equal(found[~doubtful], wanted[~doubtful])
    hit = (found >= 0) & ~doubtful
    assert np.allclose(hits.distance.reshape(-1)[hit], nearest[hit], rtol=1e-4, atol=1e-4)


@pytest.fixture(scope="module")
def scene():
    return vekr.Scene(*soup(np.random.default_rng(3)))


CAMERA = vekr.Camera((0.3, 0.5, 3.5), (0, 0, 0), fov=40)


# ---------------------------------------------------------------- against the functions as they are


def call_eye(scene, origin, directions, limit=3.4028235e38):
    height, width, _ = directions.shape
    planes = np.moveaxis(directions, -1, 0)
    from vekr._rays import aligned

    out = aligned((4, height, width))
    out[0], out[1:3] = limit, 0
    lib.vekrIntersectEyeSO_32f(np.asarray(origin, np.float32), [planes[c] for c in range(3)], out[0], [out[1], out[2]],
                               out[3].view(np.int32), scene._view, (width, height))
    return out


def test_a_picture_has_the_bits_of_one_packet_block(scene):
    origin, directions = CAMERA.rays(64, 48)
    out = call_eye(scene, origin, directions)
    for threads in (1, 3):
        hits = scene.intersect(origin, directions, threads=threads)
        assert hits.distance.tobytes() == out[0].tobytes() and hits.triangle.tobytes() == out[3].tobytes()
        assert hits.u.tobytes() == out[1].tobytes() and hits.v.tobytes() == out[2].tobytes()
    assert 0.2 < hits.hit.mean() < 1


def test_a_wide_picture_has_the_bits_of_one_packet_block(scene):
    origin, directions = CAMERA.rays(200, 132)
    out = call_eye(scene, origin, directions)
    for threads in (1, 3):
        hits = scene.intersect(origin, directions, threads=threads)
        assert hits.distance.tobytes() == out[0].tobytes() and hits.triangle.tobytes() == out[3].tobytes()
        assert hits.u.tobytes() == out[1].tobytes() and hits.v.tobytes() == out[2].tobytes()
    narrow = scene.layers(origin, np.ascontiguousarray(directions[:, :100]), 3)
    wide = scene.layers(origin, directions, 3)
    assert np.array_equal(wide.triangle[:, :, :100], narrow.triangle)
    light = np.array([1, 3, 2], np.float32)
    segments = scene.points(hits, 0.999) - light
    mask = np.random.default_rng(0).random(hits.triangle.shape) < 0.8
    blocked = scene.occluded(light, segments, mask, threads=2)
    assert np.array_equal(blocked[:, :100], scene.occluded(light, segments[:, :100], mask[:, :100]))
    each = scene.intersect(np.broadcast_to(origin, directions.shape), directions, np.full((132, 200), 3.5))
    assert np.array_equal(each.hit, hits.hit & (hits.distance < 3.5)) and (each.distance[~each.hit] == 3.5).all()


def test_interleaved_directions_and_one_origin_each_give_the_same_picture(scene):
    origin, directions = CAMERA.rays(128, 132)
    hits = scene.intersect(origin, directions)
    again = scene.intersect(origin, np.ascontiguousarray(directions))
    assert hits.distance.tobytes() == again.distance.tobytes() and hits.triangle.tobytes() == again.triangle.tobytes()
    each = scene.intersect(np.broadcast_to(origin, directions.shape), directions)
    assert np.array_equal(hits.triangle, each.triangle)
    assert np.allclose(hits.distance[hits.hit], each.distance[hits.hit])


@pytest.mark.parametrize("shape", [(1,), (3,), (16,), (17,), (1000,), (40000,), (5, 7), (20, 18), (37, 64), (130, 136), (3, 21, 260), (5, 129), (2, 9, 32), (0,), (4, 0), ()])
def test_any_leading_shape_agrees_with_brute_force_and_threads(scene, rng, shape):
    directions = rng.normal(size=(*shape, 3)).astype(np.float32)
    hits = scene.intersect([0.1, 0.2, 2.5], directions, threads=1)
    assert hits.triangle.shape == hits.distance.shape == hits.u.shape == shape
    part = directions.reshape(-1, 3)[:400]
    check_nearest(scene, vekr.Hits(*(a.reshape(-1)[:400] for a in (hits.distance, hits.triangle, hits.u, hits.v)), None, None),
                  [0.1, 0.2, 2.5], part)
    again = scene.intersect([0.1, 0.2, 2.5], directions, threads=4)
    assert all(np.array_equal(a, b) for a, b in ((hits.distance, again.distance), (hits.triangle, again.triangle), (hits.u, again.u)))


def test_one_origin_each_and_limits(scene, rng):
    origins = rng.uniform(-1, 1, (500, 3)).astype(np.float32)
    directions = rng.normal(size=(500, 3)).astype(np.float32)
    limits = rng.uniform(0, 1, 500).astype(np.float32)
    hits = scene.intersect(origins, directions, limits)
    check_nearest(scene, hits, origins, directions, limits[:, None])
    assert np.array_equal(hits.distance[~hits.hit], limits[~hits.hit])


def test_rays_along_the_axes_hit_what_packets_would_lose(scene):
    for axis in range(3):
        for sign in (-1, 1):
            direction = np.zeros(3, np.float32)
            direction[axis] = sign
            spots = np.random.default_rng(axis).uniform(-1, 1, (333, 3)).astype(np.float32)
            spots[:, axis] = -3 * sign
            check_nearest(scene, scene.intersect(spots, np.broadcast_to(direction, spots.shape)), spots, direction)
    # A picture whose rows look level.
    x = np.linspace(-0.3, 0.3, 64)
    directions = np.stack(np.broadcast_arrays(x, np.zeros((64, 1)), -1.0), -1).astype(np.float32)
    check_nearest(scene, scene.intersect([0, 0.1, 3], directions), [0, 0.1, 3], directions)


def test_occluded_agrees_with_brute_force(scene, rng):
    light = np.array([0.5, 2.0, 1.0], np.float32)
    for shape in ((800,), (24, 32), (7,)):
        points = rng.uniform(-1, 1, (*shape, 3)).astype(np.float32)
        distance, rim = brute(scene, light, points - light, 1.0)
        wanted = np.isfinite(distance).any(axis=1).reshape(shape)
        sure = ~(np.abs(rim) < 1e-4).any(axis=1).reshape(shape) & ~((distance > 0.999) & (distance < 1.001)).any(axis=1).reshape(shape)
        found = scene.occluded(light, points - light)
        assert found.dtype == bool and found.shape == shape
        assert np.array_equal(found[sure], wanted[sure])
        mask = rng.random(shape) < 0.5
        assert np.array_equal(scene.occluded(light, points - light, mask), found & mask)
        each = scene.occluded(np.broadcast_to(light, points.shape), points - light)
        assert np.array_equal(each[sure], wanted[sure])


def test_layers_agree_with_brute_force(scene, rng):
    directions = (rng.uniform(-0.3, 0.3, (16, 32, 3)) + [0, 0, -1]).astype(np.float32)
    origin = [0.1, 0.2, 3]
    hits = scene.layers(origin, directions, 4)
    assert hits.triangle.shape == (4, 16, 32)
    distance, rim = brute(scene, origin, directions)
    order = np.argsort(distance, axis=1)[:, :4]
    wanted = np.where(np.isfinite(np.take_along_axis(distance, order, 1)), order, -1).T.reshape(4, 16, 32)
    sure = ~(np.abs(rim) < 1e-3).any(axis=1).reshape(16, 32)
    agree = (hits.triangle == wanted).all(axis=0)[sure]
    assert sure.mean() > 0.3 and agree.mean() > 0.99
    assert (hits.distance[1:][hits.triangle[1:] < 0] > 1e38).all()
    odd = scene.layers(origin, directions.reshape(-1, 3)[:301], 4)
    assert (odd.triangle == hits.triangle.reshape(4, -1)[:, :301]).mean() > 0.99


# ---------------------------------------------------------------- normals, points


def test_points_and_normals(scene):
    for shape in ((64, 48), (33, 5)):
        origin, directions = CAMERA.rays(*shape)
        hits = scene.intersect(origin, directions)
        points = scene.points(hits)
        weights = np.stack([hits.u, hits.v, 1 - hits.u - hits.v])
        corners = scene.vertices[scene.triangles[hits.triangle][..., :3]]
        on_triangle = np.einsum("khw,hwkc->hwc", weights, corners)
        assert np.abs(points - on_triangle)[hits.hit].max() < 1e-4
        assert (points[~hits.hit] == 0).all()
        flat, smooth = scene.normals(hits), scene.normals(hits, smooth=True)
        edges = np.cross(corners[..., 0, :] - corners[..., 2, :], corners[..., 1, :] - corners[..., 2, :])
        wanted = edges / np.linalg.norm(edges, axis=-1, keepdims=True)
        assert np.abs(flat - wanted)[hits.hit].max() < 1e-5
        assert np.abs(smooth - wanted)[hits.hit].max() < 1e-3  # triangles of a soup share no vertices
        layers = scene.layers(origin, directions, 3)
        assert scene.points(layers).shape == (3, *directions.shape)
        each = scene.intersect(np.broadcast_to(origin, directions.shape), directions)
        assert np.abs(scene.points(each) - points).max() < 1e-4


def test_smooth_normals_of_a_ball_are_its_radii():
    theta, phi = np.meshgrid(np.linspace(0, np.pi, 60), np.linspace(0, 2 * np.pi, 120), indexing="ij")
    vertices = np.stack([np.sin(theta) * np.cos(phi), np.cos(theta), np.sin(theta) * np.sin(phi)], -1).reshape(-1, 3)
    k = (np.arange(59)[:, None] * 120 + np.arange(119)).ravel()
    scene = vekr.Scene(vertices, np.concatenate([np.stack([k, k + 1, k + 120], 1), np.stack([k + 1, k + 121, k + 120], 1)]))
    origin, directions = vekr.Camera((3, 1, 2), (0, 0, 0), fov=30).rays(64, 64)
    hits = scene.intersect(origin, directions)
    normals, points = scene.normals(hits, smooth=True), scene.points(hits)
    length = np.linalg.norm(points, axis=-1, keepdims=True)
    cosine = np.abs(np.sum(normals * points, -1))[hits.hit] / length[hits.hit, 0]
    assert np.percentile(cosine, 1) > 0.99


# ---------------------------------------------------------------- scenes


def test_a_saved_scene_gives_the_same_bits(scene, tmp_path):
    scene.save(tmp_path / "scene")
    origin, directions = CAMERA.rays(64, 64)
    wanted = scene.intersect(origin, directions)
    for other in (vekr.Scene.open(tmp_path / "scene"), vekr.Scene.open(tmp_path / "scene", mmap=False), pickle.loads(pickle.dumps(scene))):
        hits = other.intersect(origin, directions)
        assert hits.distance.tobytes() == wanted.distance.tobytes() and hits.triangle.tobytes() == wanted.triangle.tobytes()
        assert np.array_equal(other.normals(hits), scene.normals(wanted))
        assert not other.vertices.flags.writeable


@pytest.mark.parametrize("name", ["tree", "records", "vertices"])
def test_a_damaged_scene_is_refused(scene, tmp_path, name):
    scene.save(tmp_path)
    data = bytearray((tmp_path / f"{name}.npy").read_bytes())
    data[-5] ^= 64
    (tmp_path / f"{name}.npy").write_bytes(data)
    with pytest.raises(ValueError):
        vekr.Scene.open(tmp_path)
    (tmp_path / f"{name}.npy").unlink()
    with pytest.raises(ValueError):
        vekr.Scene.open(tmp_path)


def test_options_of_the_build():
    vertices, triangles = soup(np.random.default_rng(1), 400)
    plain = vekr.Scene(vertices, triangles)
    leaf = vekr.Scene(vertices, triangles, max_depth=0)
    assert leaf.tree_bytes < plain.tree_bytes
    assert vekr.Scene(vertices, triangles, split_bias=1.0, memory_limit=500).tree_bytes > 0
    with pytest.raises(vekr.VekrError) as caught:
        vekr.Scene(vertices, triangles, memory_limit=16)
    assert caught.value.status == lib.vekErrMemAlloc
    origin, directions = CAMERA.rays(32, 32)
    a, b = plain.intersect(origin, directions), leaf.intersect(origin, directions)
    assert np.array_equal(a.triangle, b.triangle)
    half = vekr.Scene(vertices, triangles, bounds=[-1.5, -1.5, -1.5, 0, 1.5, 1.5])
    hits = half.intersect(origin, directions)
    left = half.vertices[half.triangles[:, :3], 0].min(axis=1)
    assert hits.hit.any() and left[hits.triangle[hits.hit]].max() <= 0 < left[a.triangle[a.hit]].max()


def test_an_empty_scene_is_hit_by_nothing():
    for scene in (vekr.Scene(np.zeros((0, 3)), np.zeros((0, 3), int)), vekr.Scene([[0, 0, 0]], [])):
        hits = scene.intersect([0, 0, 1], np.random.default_rng(0).normal(size=(40, 3)))
        assert not hits.hit.any()
        assert not scene.occluded([0, 0, 1], hits.directions).any()
        assert (scene.normals(hits) == 0).all() and (scene.normals(hits, smooth=True) == 0).all()
        assert not scene.layers([0, 0, 1], hits.directions, 2).hit.any()


def test_other_types_are_converted():
    vertices, triangles = soup(np.random.default_rng(2), 50)
    wanted = vekr.Scene(vertices, triangles)
    four = np.concatenate([triangles, np.full((50, 1), 77)], 1)
    for other in (vekr.Scene(vertices.astype(float), triangles.astype(np.uint8)), vekr.Scene(vertices.tolist(), triangles.tolist()),
                  vekr.Scene(np.asfortranarray(vertices), four.astype(np.int32)), vekr.Scene(vertices[:, ::1], four[:, ::1])):
        assert np.array_equal(other._tree, wanted._tree) and np.array_equal(other._records, wanted._records)


@given(st.integers(0, 2**32 - 1), st.integers(1, 40), st.sampled_from([0.01, 0.3, 5.0]))
@hypothesis_settings(max_examples=25)
def test_random_meshes_agree_with_brute_force(seed, triangles, spread):
    rng = np.random.default_rng(seed)
    scene = vekr.Scene(*soup(rng, triangles, spread))
    directions = rng.normal(size=(100, 3)).astype(np.float32)
    check_nearest_leniently(scene, scene.intersect([2, 3, 9], directions), [2, 3, 9], directions)


def check_nearest_leniently(scene, hits, origins, directions):
    distance, rim = brute(scene, origins, directions)
    doubtful = (np.abs(rim) < 1e-4).any(axis=1)
    assert np.array_equal(hits.hit[~doubtful], np.isfinite(distance).any(axis=1)[~doubtful])


def test_hits_put_together_by_hand_are_checked():
    scene = vekr.Scene([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    hits = scene.intersect([0.2, 0.2, 3], np.full((6, 3), (0, 0, -1), np.float32))
    whole = {name: getattr(hits, name) for name in ("distance", "triangle", "u", "v", "origins", "directions")}
    assert np.array_equal(scene.points(vekr.Hits(**whole)), scene.points(hits))

    def wrong(**changed):
        return vekr.Hits(**{**whole, **changed})

    for call, cases in ((scene.points, [dict(distance=hits.distance[:2]), dict(distance=hits.distance.astype(float)),
                                        dict(directions=hits.directions[:, :2]), dict(directions=hits.directions.astype(float)),
                                        dict(directions=hits.directions[:4]), dict(origins=hits.origins.astype(int)),
                                        dict(origins=hits.origins[:2]), dict(triangle=hits.triangle[:3]),
                                        dict(triangle=hits.triangle + 1), dict(triangle=hits.triangle.astype(np.int64))]),
                        (lambda h: scene.normals(h, smooth=True), [dict(u=hits.u[:2]), dict(v=hits.v.astype(float)),
                                                                   dict(triangle=hits.triangle + 1)]),
                        (scene.normals, [dict(triangle=hits.triangle + 1), dict(triangle=hits.triangle.astype(np.int64))])):
        for case in cases:
            with pytest.raises(ValueError):
                call(wrong(**case))
