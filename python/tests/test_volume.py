"""Volumes against the library's own functions, bit for bit, and against scipy and closed forms."""

import itertools

import numpy as np
import pytest
from hypothesis import assume, given
from hypothesis import settings as hypothesis_settings
from hypothesis import strategies as st
from scipy import ndimage

import support
import vekr
from support import CODES, TYPES, volume_of
from vekr import volume as vol
from vekr.volume._planes import Planes

ALL = list(itertools.product(TYPES, CODES))


def same(a, b):
    return a.dtype == b.dtype and a.shape == b.shape and a.tobytes() == b.tobytes()


# ---------------------------------------------------------------- against the functions as they are


@pytest.mark.parametrize("dtype,name", ALL)
def test_resize_gives_the_librarys_bits_however_it_is_cut(rng, dtype, name):
    source = volume_of(rng, (40, 41, 65), dtype)
    for factor in ((1.3, 0.7, 2.0), (0.4, 1.0, 1.9)):
        result = vol.resize(source, factor, interpolation=name, threads=1)
        expected = support.resize(source, np.zeros(result.shape, dtype), factor, (0, 0, 0), CODES[name])
        assert same(result, expected)
        seen = []
        assert same(vol.resize(source, factor, interpolation=name, threads=3, progress=lambda *a: seen.append(a)), expected)
        assert seen[-1][0] == seen[-1][1] > 1


@pytest.mark.parametrize("dtype,name", ALL)
def test_remap_gives_the_librarys_bits(rng, dtype, name):
    source = volume_of(rng, (19, 22, 31), dtype)
    maps = [rng.uniform(-1, side, (18, 20, 33)).astype(np.float32) for side in (31, 22, 19)]
    maps[0][3, 4, 5] = np.nan
    expected = support.remap(source, maps, np.zeros((18, 20, 33), dtype), CODES[name])
    for threads in (1, 4):
        assert same(vol.remap(source, *maps, interpolation=name, threads=threads), expected)
    assert same(vol.remap(source, *maps, interpolation=CODES[name], progress=lambda *a: None), expected)


@pytest.mark.parametrize("dtype,name", ALL)
def test_affine_gives_the_librarys_bits_for_any_threads_and_cuts(rng, dtype, name):
    source = volume_of(rng, (24, 33, 37), dtype)
    matrix = support.turn((10, 5, 20), 1.1, (18, 16, 12))
    exact = vol.exact_matrix(matrix, (20, 33, 40))
    result = vol.affine(source, matrix, shape=(20, 33, 40), interpolation=name)
    for threads in (1, 2, 5):
        vekr.set_threads(threads)
        assert exact.origin == (0, 0, 0)
        assert same(result, support.affine(source, exact.matrix, np.zeros((20, 33, 40), dtype), CODES[name]))
        assert same(result, vol.affine(source, matrix, shape=(20, 33, 40), interpolation=name, threads=threads))
    pieces = np.zeros_like(result)
    for z, y, x in itertools.product((0, 7), (0, 20), (0, 3)):
        part = (slice(z, z + 13 if z else 7), slice(y, y + 20), slice(x, x + 37 if x else 3))
        vol.affine(source, matrix, out_region=part, out=pieces, interpolation=name)
    assert same(result, pieces)
    vekr.set_threads(1)
    assert same(vol.affine(source, matrix, exact=False, interpolation=name),
                support.affine(source, matrix, np.zeros_like(source), CODES[name]))


@pytest.mark.parametrize("kernel,divisor", [((3, 3, 3), 27), ((3, 3, 3), 16), ((5, 5, 5), -7), ((1, 2, 3), 3), ((3, 4, 5), 1)])
def test_filter_gives_the_librarys_bits(rng, kernel, divisor):
    source = rng.integers(-3000, 3000, (14, 21, 50)).astype(np.int16)
    taps = rng.integers(-20, 20, kernel)
    expected = support.filter_valid(source, taps, divisor)
    for threads in (1, 3):
        assert same(vol.filter(source, taps, divisor=divisor, border="valid", threads=threads), expected)


# ---------------------------------------------------------------- against scipy and closed forms


@pytest.mark.parametrize("name,order", [("nearest", 0), ("linear", 1)])
def test_affine_and_remap_agree_with_scipy(rng, name, order):
    source = volume_of(rng, (24, 33, 37), np.float32)
    matrix = support.turn((7, -4, 12), 0.9, (18, 16, 12))
    ours = vol.affine(source, matrix, interpolation=name, fill=-1)
    theirs = ndimage.affine_transform(source.astype(float), *vol.to_scipy(matrix), order=order, cval=-1)
    # Where both have sampled: at the rim scipy mixes with the value outside.
    inside = (ours != -1) & (theirs != -1)
    assert inside.mean() > 0.5
    difference = np.abs(ours - theirs)[inside]
    assert difference.max() < 2e-3 if order else np.mean(difference > 0) < 1e-3
    coordinates = [rng.uniform(1, side - 2, (5, 6, 7)) for side in source.shape]
    z, y, x = (c.astype(np.float32) for c in coordinates)
    theirs = ndimage.map_coordinates(source.astype(float), [z, y, x], order=order)
    assert np.allclose(vol.remap(source, x, y, z, interpolation=name), theirs, rtol=0, atol=2e-3)


@pytest.mark.parametrize("name", ["lagrange", "bspline", "catmull-rom", "mitchell"])
def test_cubics_agree_with_their_closed_forms(rng, name):
    def mitchell(b, c, d):
        d = abs(d)
        if d < 1:
            return ((12 - 9 * b - 6 * c) * d**3 + (-18 + 12 * b + 6 * c) * d**2 + 6 - 2 * b) / 6
        return ((-b - 6 * c) * d**3 + (6 * b + 30 * c) * d**2 + (-12 * b - 48 * c) * d + 8 * b + 24 * c) / 6

    def lagrange(_, __, d):
        d = abs(d)
        return 1 - d / 2 - d**2 + d**3 / 2 if d < 1 else -(d - 1) * (d - 2) * (d - 3) / 6

    form, b, c = {"lagrange": (lagrange, 0, 0), "bspline": (mitchell, 1, 0), "catmull-rom": (mitchell, 0, 0.5),
                  "mitchell": (mitchell, 0.5, 0.3)}[name]
    source = volume_of(rng, (8, 8, 8), np.float32)
    at = rng.uniform(1, 4.999, (20, 3)).astype(np.float32)
    ours = vol.remap(source, *(at[:, k].reshape(1, 1, 20) for k in range(3)), interpolation=name).ravel()
    for value, (x, y, z) in zip(ours, at):
        wanted = 0.0
        for k, j, i in itertools.product(range(4), repeat=3):
            px, py, pz = int(x) - 1 + i, int(y) - 1 + j, int(z) - 1 + k
            wanted += source[pz, py, px] * form(b, c, px - x) * form(b, c, py - y) * form(b, c, pz - z)
        assert abs(value - wanted) < 0.3  # tables of 200 entries, interpolated linearly; voxels up to 1000


def test_resize_agrees_with_scipy_zoom_where_the_grids_coincide(rng):
    source = volume_of(rng, (10, 11, 12), np.float32)
    ours = vol.resize(source, 2.0)
    theirs = ndimage.zoom(source.astype(float), 2, order=1, grid_mode=True, mode="nearest")
    assert np.abs(ours - theirs).max() < 1e-3
    ours = vol.resize(source, 3.0, interpolation="nearest")
    assert np.array_equal(ours, np.repeat(np.repeat(np.repeat(source, 3, 0), 3, 1), 3, 2))


@given(st.tuples(*[st.integers(1, 11)] * 3), st.sampled_from([15, 16, 31, 32, 33, 47, 64, 95]),
       st.sampled_from(["nearest", "reflect", "mirror", "wrap", "constant"]), st.integers(0, 2**32 - 1),
       st.sampled_from([5, 300, 40000]), st.sampled_from([1, 2, 64]))
@hypothesis_settings(max_examples=60)
def test_filter_is_the_convolution_for_every_kernel_width_and_form(kernel, width, border, seed, most, divisor):
    rng = np.random.default_rng(seed)
    source = rng.integers(-32768, 32768, (6, 7, width)).astype(np.int16)
    taps = rng.integers(-most, most + 1, kernel)
    anchor = tuple(int(rng.integers(side)) for side in kernel)
    # scipy's origin moves the kernel's middle; convolve's sense of it is ours turned round.
    origin = [side // 2 - a for side, a in zip(kernel, anchor)]
    theirs = ndimage.convolve(source.astype(np.int64), taps, mode=border, origin=[-o for o in origin])
    theirs = np.clip(np.rint(theirs / divisor), -32768, 32767).astype(np.int16)
    assert same(vol.filter(source, taps, divisor=divisor, anchor=anchor, border=border), theirs)


# ---------------------------------------------------------------- exact matrices


@given(st.tuples(*[st.floats(-180, 180)] * 3), st.floats(0.3, 4), st.tuples(*[st.floats(-50, 300)] * 3))
@hypothesis_settings(max_examples=60)
def test_an_exact_matrix_has_its_inverse_on_the_grid_and_near(angles, scale, middle):
    matrix = support.turn(angles, scale, middle)
    try:
        exact = vol.exact_matrix(matrix, (256, 256, 256))
    except ValueError:
        assume(False)  # about one in a hundred has none
    scaled = exact.inverse * 2.0**36
    assert np.array_equal(scaled, np.rint(scaled))
    assert exact.deviation <= 1e-10
    moved = np.array(matrix)
    moved[:, 3] += exact.origin
    assert np.abs(exact.inverse - vol.invert(moved)).max() < 1.01e-10


def test_a_matrix_that_has_no_exact_one_gives_the_same_for_all_cuts(rng):
    matrix = support.turn((-141.7680776627945, -1 / 3, -1e-05), 1 / 3, (12, 12, 12))
    with pytest.raises(ValueError):
        vol.exact_matrix(matrix, (24, 24, 24))
    source = volume_of(rng, (24, 24, 24), np.uint8)
    result = vol.affine(source, matrix, interpolation="catmull-rom")
    assert np.count_nonzero(result) > 100
    pieces = np.zeros_like(result)
    for z, y, x in itertools.product((0, 5), (0, 20), (0, 3)):
        part = (slice(z, 24 if z else 5), slice(y, 24 if y else 20), slice(x, 24 if x else 3))
        vol.affine(source, matrix, out_region=part, out=pieces, interpolation="catmull-rom", threads=3)
    assert same(result, pieces)


def test_a_matrix_whose_shift_cancels_is_exact_from_another_origin(rng):
    matrix = support.turn((1, 0, -1), 0.5, (1, 0, -1))
    exact = vol.exact_matrix(matrix, (24, 24, 24))
    assert exact.origin != (0, 0, 0)
    source = volume_of(rng, (24, 24, 24), np.float32)
    result = vol.affine(source, matrix, shape=(24, 24, 24))
    assert np.abs(result - vol.affine(source, matrix, shape=(24, 24, 24), exact=False)).max() < 1e-2
    pieces = np.zeros_like(result)
    for z in range(24):
        vol.affine(source, matrix, out=pieces, out_region=((z, z + 1), (3, 24), (5, 24)))
    assert np.array_equal(result[:, 3:, 5:], pieces[:, 3:, 5:])


def test_exact_rotations_agree_for_all_cuts_where_plain_ones_do_not(rng):
    # Steps whose sums land next to whole numbers: nearest decides there.
    source = volume_of(rng, (40, 40, 40), np.uint16)
    plain = exact = 0
    for step in (0.3, 0.1, 0.6, 0.7, 0.9, 1.1):
        matrix = vol.from_scipy([step, step, step], 0.5)
        for flag in (False, True):
            at_once = vol.affine(source, matrix, exact=flag, interpolation="nearest", threads=1)
            cut = np.zeros_like(at_once)
            for z in range(40):
                vol.affine(source, matrix, exact=flag, interpolation="nearest", out=cut, out_region=((z, z + 1), (0, 40), (1, 40)))
            differs = np.count_nonzero(at_once[:, :, 1:] != cut[:, :, 1:])
            exact, plain = (exact + differs, plain) if flag else (exact, plain + differs)
    assert exact == 0 < plain


def test_a_matrix_already_exact_is_used_as_it_is():
    matrix = np.array([[2, 0, 0, 0.5], [0, 1, 0.25, 0], [0, 0, 4, -3]])
    exact = vol.exact_matrix(matrix, (64, 64, 64))
    assert np.array_equal(exact.matrix, matrix) and exact.deviation == 0


@pytest.mark.parametrize("order", list(itertools.permutations(range(3))))
def test_axes_may_be_exchanged(rng, order):
    source = volume_of(rng, (5, 6, 7), np.uint16)  # z, y, x
    matrix = np.zeros((3, 4))
    for row, k in enumerate(order):
        matrix[row, k] = 1  # destination axis `row` of (x, y, z) shows source axis k
    wanted = source.transpose(*(2 - order[2 - k] for k in range(3)))
    result = vol.affine(source, matrix, shape=wanted.shape, interpolation="nearest")
    assert np.array_equal(result, wanted)
    assert np.array_equal(vol.exact_matrix(matrix, wanted.shape).matrix, matrix)
    region = ((1, 4), (2, 6), (0, 5))
    cut = np.zeros_like(source)
    cut[1:4, 2:6, 0:5] = source[1:4, 2:6, 0:5]
    moved = cut.transpose(*(2 - order[2 - k] for k in range(3)))
    assert np.array_equal(vol.affine(source, matrix, shape=wanted.shape, interpolation="nearest", region=region), moved)


# ---------------------------------------------------------------- views, outputs, regions, conventions


@pytest.mark.parametrize("view", [lambda a: a[::-1], lambda a: a[::2, 3:, 4:], lambda a: a[:, ::2], lambda a: a[:, ::-1],
                                  lambda a: a[:, :, ::2], lambda a: a.T, lambda a: np.broadcast_to(a[:1], a.shape),
                                  lambda a: np.broadcast_to(a[:, :1], a.shape), lambda a: a.astype(a.dtype.newbyteorder())])
@pytest.mark.parametrize("dtype", TYPES)
def test_views_give_what_their_copies_give(rng, view, dtype):
    base = volume_of(rng, (12, 14, 16), dtype)
    seen = view(base)
    copy = np.ascontiguousarray(seen, dtype)
    matrix = support.turn((3, 9, 2), 1.2)
    assert same(vol.affine(seen, matrix, interpolation="mitchell"), vol.affine(copy, matrix, interpolation="mitchell"))
    assert same(vol.resize(seen, 1.7, interpolation="lagrange"), vol.resize(copy, 1.7, interpolation="lagrange"))
    z, y, x = np.indices((5, 6, 7), np.float32) * 1.3
    assert same(vol.remap(seen, x, y, z), vol.remap(copy, x, y, z))
    out = np.zeros((12, 14, 16), dtype)
    assert vol.affine(copy, np.eye(3, 4), out=view(out) if view(out).flags.writeable and view(out).dtype == dtype else out) is not None


def test_an_odd_out_is_written_through_and_keeps_what_is_not_written(rng):
    source = volume_of(rng, (6, 7, 8), np.uint16)
    for view in (lambda a: a[::-1], lambda a: a[:, ::-1], lambda a: a[:, :, ::-1], lambda a: a[..., ::2]):
        base = np.full((6, 7, 16), 5, np.uint16)
        out = view(base)[:, :, :8]
        back = vol.affine(source, [[1, 0, 0, 2], [0, 1, 0, 0], [0, 0, 1, 0]], out=out, shape=out.shape)
        assert back is out
        assert (out[:, :, :2] == 5).all() and np.array_equal(out[:, :, 2:], source[:, :, :-2])
        assert np.count_nonzero(base != 5) <= out.size


def test_fill_and_regions(rng):
    source = volume_of(rng, (6, 7, 8), np.uint8)
    z, y, x = np.indices((6, 7, 8), np.float32)
    result = vol.remap(source, x, y, z, region=((1, 5), (0, 7), (2, 6)), fill=9)
    wanted = np.full_like(source, 9)
    wanted[1:5, :, 2:6] = source[1:5, :, 2:6]
    assert np.array_equal(result, wanted)
    result = vol.resize(source, 1.0, out_region=(slice(2, 4), slice(None), slice(None)), fill=1)
    assert np.array_equal(result[2:4], source[2:4]) and (result[:2] == 1).all()
    with pytest.warns(vekr.VekrWarning):
        vol.resize(source, 0.1, shape=(4, 4, 4), region=((0, 1), (0, 1), (0, 1)))


def test_conventions_there_and_back(rng):
    matrix = support.turn((10, 20, 30), 1.3, (5, 6, 7))
    assert np.allclose(vol.from_scipy(*vol.to_scipy(matrix)), matrix)
    source = vol.grid_affine((1, 2, 3), (0.5, 0.7, 2), support.turn((3, 4, 5))[:, :3])
    target = vol.grid_affine((0, 2, 1), (1, 1, 1))
    linear, shift = vol.to_itk(matrix, source=source, target=target)
    assert np.allclose(vol.from_itk(linear, shift, source=source, target=target), matrix)
    # About a centre: T(p) = M (p - c) + c + t.
    moved = shift - (np.eye(3) - linear) @ [9, 8, 7]
    assert np.allclose(vol.from_itk(linear, moved, (9, 8, 7), source=source, target=target), matrix)
    assert np.allclose(vol.from_nifti(source, vol.to_nifti(matrix, source)), matrix)


def test_resample_like_shows_the_same_world(rng):
    z, y, x = np.indices((20, 20, 20))
    affine = vol.grid_affine((5, -3, 2), (1.0, 1.5, 2.0), support.turn((0, 0, 30))[:, :3])
    world = [sum(affine[r, k] * c for k, c in enumerate((x, y, z))) + affine[r, 3] for r in range(3)]
    source = (world[0] + 2 * world[1] - world[2]).astype(np.float32)
    like = vol.grid_affine((2, 12, 12), (0.5, 0.5, 0.5))
    result = vol.resample_like(source, affine, like, (11, 12, 13), fill=np.nan)
    z, y, x = np.indices((11, 12, 13))
    wanted = (2 + 0.5 * x) + 2 * (12 + 0.5 * y) - (12 + 0.5 * z)
    assert np.isfinite(result).mean() > 0.9
    assert np.nanmax(np.abs(result - wanted)) < 1e-3


# ---------------------------------------------------------------- the floor below


@pytest.mark.parametrize("name", CODES)
def test_a_list_of_planes_can_stand_for_a_larger_volume(rng, name):
    # Only the part that the coordinates reach is there; sizes, borders and coordinates are the whole volume's.
    whole = volume_of(rng, (20, 22, 24), np.uint16)
    maps = [rng.uniform(low, high, (3, 4, 5)).astype(np.float32) for low, high in ((9, 13), (8, 12), (7, 11))]
    part = np.ascontiguousarray(whole[5:14, 6:15, 7:17])
    listed = Planes(part, (5, 6, 7), 20)
    out = np.zeros((3, 4, 5), np.uint16)
    at, to = [Planes(m) for m in maps], Planes(out)
    status = vekr.lib.raw.vekrRemap_16u_C1PV(listed.pointer, (24, 22, 20), listed.step, (0, 0, 0, 24, 22, 20),
                                             *(a.pointer for a in at), 20, to.pointer, to.step, (5, 4, 3), CODES[name])
    assert status == 0 and same(out, vol.remap(whole, *maps, interpolation=name))
