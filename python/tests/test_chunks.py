"""Parts of a result against the whole call, bit for bit, computed from nothing but the voxels that a plan asks for.

Every block lies between poisoned voxels and pages that must not be touched. VEKR_EXAMPLES sets how many random cases each
test tries.
"""

import os
import pickle
import warnings

import numpy as np
import pytest
from hypothesis import example, given, settings
from hypothesis import strategies as st

import support
import vekr
from guarded import guarded
from support import CODES, TYPES, volume_of
from vekr import chunks
from vekr import volume as vol

EXAMPLES = int(os.environ.get("VEKR_EXAMPLES", "150"))
SEEDS = st.integers(0, 2**32 - 1)
CUBIC = [name for name, code in CODES.items() if code >= 4]


def many(test):
    return settings(max_examples=EXAMPLES)(given(seed=SEEDS)(test))


def same(a, b):
    return a.dtype == b.dtype and a.shape == b.shape and a.tobytes() == b.tobytes()


def cut(rng, side):
    """Some cuts of an axis, often into single voxels."""
    how = rng.integers(4)
    if how == 0:
        return [0, side]
    if how == 1 and side < 30:
        return list(range(side + 1))
    return sorted({0, side, *rng.integers(0, side, rng.integers(1, 5)).tolist()})


def some_parts(rng, shape, most=12):
    """Parts of a random chunking, as slices."""
    cuts = [cut(rng, side) for side in shape]
    for _ in range(most):
        at = [rng.integers(len(c) - 1) for c in cuts]
        yield tuple(slice(c[k], c[k + 1]) for c, k in zip(cuts, at))


def region_of(rng, shape, chance=0.4):
    if rng.random() > chance:
        return None
    pairs = [np.sort(rng.choice(side + 1, 2, replace=False)).tolist() for side in shape]
    return [slice(a, b) for a, b in pairs]


def check_parts(rng, plan, source, expected, maps=(), most=12):
    """Compare random parts with the whole."""
    assert plan.shape == expected.shape and plan.dtype == expected.dtype
    read = 0
    for part in some_parts(rng, plan.shape, most):
        local = [m[part] for m in maps]
        need = plan.needs(part, *local)
        block = None
        if need is not None:
            assert all(0 <= a < b <= side for axis, side in zip(need.runs, source.shape) for a, b in axis)
            block = guarded(plan.read(source, need), plan.margin, bool(rng.integers(2)), rng)
            read += need.voxels
        got = plan.compute(part, need, block, *local)
        assert same(got, np.ascontiguousarray(expected[part])), (part, need)
    return read


def sides_of(rng, low=1, high=40):
    return tuple(int(s) for s in rng.integers(low, high, 3))


# ---------------------------------------------------------------- resize


@many
@example(seed=0)
def test_parts_of_a_resize_have_the_bits_of_the_whole(seed):
    rng = np.random.default_rng(seed)
    name, dtype = rng.choice(list(CODES)), TYPES[rng.integers(3)]
    low = 4 if name in CUBIC and rng.random() < 0.9 else 1 + (name == "linear")
    source = volume_of(rng, sides_of(rng, low, 45), dtype)
    options = dict(interpolation=name, region=region_of(rng, source.shape), fill=int(rng.integers(200)))
    if rng.random() < 0.5:
        options["factor"] = tuple(rng.choice([0.3, 0.5, 0.77, 1.0, 1.3, 2.0, 3.3], 3))
    if rng.random() < 0.5 or "factor" not in options:
        options["shape"] = sides_of(rng, 1, 70)
    if rng.random() < 0.5:
        options["shift"] = tuple(rng.uniform(-9, 9, 3))
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", vekr.VekrWarning)
        expected = vol.resize(source, threads=1, **options)
        options["out_region"] = region_of(rng, expected.shape, 0.2)
        expected = vol.resize(source, threads=1, **options)
        plan = chunks.Resize(source.shape, dtype, options.pop("factor", None), **options)
    check_parts(rng, plan, source, expected)


@pytest.mark.parametrize("name", CUBIC)
def test_cubic_columns_behind_the_last_group_of_four_keep_their_order(rng, name):
    source = rng.normal(size=(5, 6, 40)).astype(np.float32) * 1e3
    expected = vol.resize(source, (1.0, 1.0, 1.37), interpolation=name)
    plan = chunks.Resize(source.shape, source.dtype, (1.0, 1.0, 1.37), interpolation=name)
    width = plan.shape[2]
    for a in range(width):
        for b in range(a + 1, width + 1, 1 if a % 7 == 0 else 9):
            part = (slice(2, 4), slice(1, 5), slice(a, b))
            assert same(plan.run(source, part), np.ascontiguousarray(expected[part]))


def test_a_block_of_ones_own_is_copied_where_it_has_no_margin(rng):
    source = volume_of(rng, (20, 21, 22), np.uint8)
    plan = chunks.Resize(source.shape, source.dtype, 1.7, interpolation="linear")
    part = (slice(3, 9), slice(10, 20), slice(30, 33))
    need = plan.needs(part)
    block = guarded(np.array(source[need.box]), 0, True, rng)
    assert same(plan.compute(part, need, block), np.ascontiguousarray(vol.resize(source, 1.7)[part]))


def test_a_resize_that_writes_nothing_warns():
    with pytest.warns(vekr.VekrWarning):
        plan = chunks.Resize((8, 8, 8), np.uint8, 1.0, shift=99.0, fill=3)
    assert plan.needs(None) is None and (plan.run(np.zeros((8, 8, 8), np.uint8), None) == 3).all()


# ---------------------------------------------------------------- remap, affine


@many
@example(seed=0)
def test_parts_of_a_remap_have_the_bits_of_the_whole(seed):
    rng = np.random.default_rng(seed)
    name, dtype = rng.choice(list(CODES)), TYPES[rng.integers(3)]
    source = volume_of(rng, sides_of(rng, 1 if rng.random() < 0.3 else 4, 30), dtype)
    shape = sides_of(rng, 1, 24)
    region = region_of(rng, source.shape)
    spread, maps = rng.choice([0.6, 3, 40]), []
    for axis in (2, 1, 0):
        side = source.shape[axis]
        middle = np.linspace(-1, side, shape[axis]).reshape([-1 if k == axis else 1 for k in range(3)])
        m = (middle + rng.uniform(-spread, spread, shape)).astype(np.float32)
        whole = rng.random(shape) < 0.3  # ties, bounds
        m[whole] = np.rint(2 * m[whole]) / 2
        m[rng.random(shape) < 0.02] = np.nan
        maps.append(m)
    options = dict(interpolation=name, region=region, fill=7)
    expected = vol.remap(source, *maps, threads=1, **options)
    check_parts(rng, chunks.Remap(source.shape, dtype, shape, **options), source, expected, maps)


STEPS = [0.3, 0.1, 0.6, 1.0, 0.5, 1.1, 0.7]


def matrix_for(rng, source_shape, shape):
    how = rng.integers(4)
    middle = [s / 2 for s in source_shape[::-1]]
    if how == 0:  # sums of these steps land next to whole numbers
        steps = rng.choice(STEPS, 3)
        return vol.from_scipy(steps, rng.integers(-3, 9, 3).astype(float))
    if how == 1:  # exchanged axes
        matrix = np.zeros((3, 4))
        order = [(1, 2, 0), (2, 0, 1)][rng.integers(2)]
        for r in range(3):
            matrix[r, order[r]] = rng.choice([1.0, -1.0, 0.8])
            matrix[r, 3] = shape[2 - r] if matrix[r, order[r]] < 0 else 0.5
        return matrix
    scale = rng.uniform(0.5, 2.0)
    matrix = support.turn(rng.uniform(-180, 180, 3) if how == 2 else rng.uniform(-15, 15, 3), scale, middle)
    matrix[:, 3] += np.array(shape[::-1]) / 2 - middle
    return matrix


@many
@example(seed=142)  # a block of one voxel's width, whose step numpy leaves open
@example(seed=100198)
def test_parts_of_an_affine_warp_have_the_bits_of_the_whole(seed):
    rng = np.random.default_rng(seed)
    name, dtype = rng.choice(list(CODES)), TYPES[rng.integers(3)]
    source = volume_of(rng, sides_of(rng, 1 if rng.random() < 0.2 else 4, 30), dtype)
    shape = sides_of(rng, 1, 40)
    matrix = matrix_for(rng, source.shape, shape)
    options = dict(shape=shape, interpolation=name, region=region_of(rng, source.shape),
                   out_region=region_of(rng, shape, 0.2), fill=9)
    expected = vol.affine(source, matrix, threads=1, **options)
    check_parts(rng, chunks.Affine(source.shape, dtype, matrix, **options), source, expected)


def test_parts_of_a_warp_without_exact_matrix_have_the_bits_of_the_whole(rng):
    # Of 300 turns the one that has none: the terms of an entry nearly cancel.
    matrix = [[-0.7242946496981273, 0.2394010843959196, -1.015562956193762, 28.21375342996003],
              [-0.9642072565455625, 0.3188612440176749, 0.7628339336137775, 11.43467405821455],
              [0.3987296874172216, 1.2059429358961589, -9.229629575332233e-05, -8.049205580906875]]
    source = volume_of(rng, (20, 22, 24), np.uint16)
    for name in CODES:
        options = dict(shape=(24, 22, 33), interpolation=name, fill=9)
        plan = chunks.Affine(source.shape, source.dtype, matrix, **options)
        assert not plan.is_exact
        check_parts(rng, plan, source, vol.affine(source, matrix, **options), most=6)


# ---------------------------------------------------------------- filter


def kernel_for(rng):
    how = rng.integers(3)
    shape = [(3, 3, 3), (5, 5, 5), sides_of(rng, 1, 12)][how]
    top = [3, 300, 32768][rng.integers(3)]
    return rng.integers(-top, top, shape)


@many
@example(seed=0)
def test_parts_of_a_filtered_volume_have_the_bits_of_the_whole(seed):
    rng = np.random.default_rng(seed)
    kernel = kernel_for(rng)
    source = rng.integers(-32768, 32768, sides_of(rng, 1, 50)).astype(np.int16)
    border = rng.choice(["nearest", "reflect", "mirror", "wrap", "constant", "valid"])
    if border == "valid" and any(s < k for s, k in zip(source.shape, kernel.shape)):
        border = "reflect"
    options = dict(divisor=int(rng.choice([1, 2, 64, 27, 14, -5, int(np.abs(kernel).sum()) + 1])), border=border)
    if rng.random() < 0.5:
        options["anchor"] = tuple(int(rng.integers(k)) for k in kernel.shape)
    if border == "constant":
        options["value"] = -77
    expected = vol.filter(source, kernel, threads=1, **options)
    check_parts(rng, chunks.Filter(source.shape, kernel, **options), source, expected)


def test_narrow_parts_of_a_filtered_volume_are_rounded_as_the_whole(rng):
    source = rng.integers(-9000, 9000, (6, 6, 40)).astype(np.int16)
    kernel, divisor = np.ones((3, 3, 3), int), 14
    expected = vol.filter(source, kernel, divisor=divisor)
    alone = vol.filter(source[:, :, 10:24], kernel, divisor=divisor, border="valid")
    assert not same(alone, np.ascontiguousarray(expected[1:-1, 1:-1, 11:23]))  # by itself it is rounded otherwise
    plan = chunks.Filter(source.shape, kernel, divisor=divisor)
    for a in range(40):
        for b in (a + 1, min(a + 7, 40)):
            part = (slice(0, 6), slice(0, 6), slice(a, b))
            assert same(plan.run(source, part), np.ascontiguousarray(expected[part]))


def test_a_filter_that_goes_round_reads_both_ends_and_not_what_lies_between():
    plan = chunks.Filter((90, 80, 70), np.ones((3, 3, 3), int), border="wrap")
    need = plan.needs((slice(0, 30), slice(50, 80), slice(0, 70)))
    assert need.runs == (((0, 31), (89, 90)), ((0, 1), (49, 80)), ((0, 70),))
    assert need.shape == (32, 32, 70)
    with pytest.raises(ValueError, match="no box"):
        need.box


# ---------------------------------------------------------------- all


def plans(source):
    matrix = support.turn((10, 5, 20), 1.1, (18, 16, 12))
    return [chunks.Resize(source.shape, source.dtype, 1.3, interpolation="mitchell"),
            chunks.Affine(source.shape, source.dtype, matrix, interpolation="linear"),
            chunks.Filter(source.shape, np.ones((3, 3, 3), int), divisor=27)]


def test_a_memory_map_becomes_another_one(rng, tmp_path):
    source = np.lib.format.open_memmap(tmp_path / "a.npy", "w+", np.uint16, (50, 60, 70))
    source[...] = volume_of(rng, source.shape, np.uint16)
    plan = chunks.Resize(source.shape, source.dtype, 0.7, interpolation="catmull-rom")
    seen = []
    for each, threads in ((16, 1), ((7, 100, 9), 2)):
        out = np.lib.format.open_memmap(tmp_path / "b.npy", "w+", plan.dtype, plan.shape)
        plan.into(out, source, chunks=each, threads=threads, progress=lambda *a: seen.append(a))
        assert same(np.array(out), vol.resize(source, 0.7, interpolation="catmull-rom")) and seen[-1][0] == seen[-1][1]


def test_maps_go_part_by_part_too(rng):
    source = volume_of(rng, (20, 20, 20), np.uint8)
    maps = [rng.uniform(0, 19, (15, 16, 17)).astype(np.float32) for _ in range(3)]
    plan = chunks.Remap(source.shape, source.dtype, maps[0].shape)
    out = np.zeros(plan.shape, np.uint8)
    assert same(plan.into(out, source, *maps, chunks=6), vol.remap(source, *maps))


def test_plans_travel(rng):
    source = volume_of(rng, (24, 33, 37), np.uint8).astype(np.int16)
    part = (slice(3, 9), slice(10, 20), slice(7, 33))
    for dtype, k in ((np.uint8, 0), (np.uint8, 1), (np.int16, 2)):
        plan = plans(source.astype(dtype))[:][k] if k < 2 else chunks.Filter(source.shape, np.ones((3, 3, 3), int))
        data = pickle.dumps(plan)
        other = pickle.loads(data)
        assert len(data) < 3000 and same(plan.run(source.astype(dtype), part), other.run(source.astype(dtype), part))
        assert pickle.loads(pickle.dumps(plan.needs(part))) == other.needs(part)


@pytest.mark.parametrize("make", [
    lambda shape: chunks.Resize(shape, np.float32, 1.0, interpolation="mitchell"),
    lambda shape: chunks.Resize(shape, np.uint8, 0.5, interpolation="mitchell"),
    lambda shape: chunks.Filter(shape, np.ones((5, 5, 5), int)),
    lambda shape: chunks.Affine(shape, np.uint8, support.turn((1, 2, 1), 1.0, (100, 100, 100)), interpolation="linear"),
])
def test_parts_of_forty_voxels_read_the_source_at_most_one_and_a_half_times(make):
    plan = make((200, 200, 200))
    sides = [range(0, side, 40) for side in plan.shape]
    needs = [plan.needs([slice(a, min(a + 40, s)) for a, s in zip((z, y, x), plan.shape)])
             for z in sides[0] for y in sides[1] for x in sides[2]]
    assert 0.9 < sum(need.voxels for need in needs if need is not None) / 200**3 <= 1.5


def test_what_does_not_fit_is_refused(rng):
    plan = chunks.Resize((8, 8, 8), np.uint8, 1.0)
    need = plan.needs(None)
    for call in (lambda: chunks.Resize((8, 8, 8), np.int16, 1.0), lambda: plan.compute(None, need, np.zeros((8, 8, 8))),
                 lambda: plan.needs(None, 1), lambda: chunks.Remap((8, 8, 8), np.uint8, (2, 2, 2)).needs(None),
                 lambda: plan.into(np.zeros((8, 8, 8), np.uint8), np.zeros((9, 8, 8), np.uint8)),
                 lambda: chunks.Filter((8, 8, 8), np.ones((3, 3, 3)), border="valid"),
                 lambda: chunks.Filter((2, 2, 2), np.ones((3, 3, 3), int), border="valid"),
                 lambda: chunks.Filter((2, 2, 2), np.ones((3, 3, 3), int), border="other"),
                 lambda: plan.needs([(0, 9), (3, 3), (0, 8)])):
        with pytest.raises((TypeError, ValueError)):
            call()
    with pytest.raises(vekr.VekrError):
        chunks.Affine((8, 8, 8), np.uint8, np.zeros((3, 4)))
