"""Nothing that is given to the layers above the plain functions may end the interpreter: it works, or it raises."""

import warnings

import numpy as np
import pytest
from hypothesis import given
from hypothesis import settings as hypothesis_settings
from hypothesis import strategies as st
from numpy.lib.stride_tricks import as_strided

import vekr
from vekr import sh
from vekr import volume as vol

REFUSED = (TypeError, ValueError, OverflowError, MemoryError, vekr.VekrError)
DTYPES = [np.uint8, np.uint16, np.float32, np.int16, np.float64, np.int32, np.bool_, np.complex64, ">u2", ">f4", object, "U3"]
WEIRD = [0.0, -0.0, 1.0, -1.0, 0.5, 1e-300, 1e300, -1e300, np.inf, -np.inf, np.nan, 3.4e38, 1e-45, 2.0**31, -(2.0**31), 0.1, 1e10]

side = st.integers(0, 9)
number = st.one_of(st.sampled_from(WEIRD), st.floats(-20, 20), st.integers(-3, 12))
small = st.one_of(st.sampled_from([0.0, -1.0, np.nan, np.inf, 1e-9, 1e-300, 1e-12]), st.floats(-2, 6))


@st.composite
def arrays(draw, dtypes=DTYPES, dims=(3,), sides=side):
    shape = tuple(draw(sides) for _ in range(draw(st.sampled_from(dims))))
    dtype = np.dtype(draw(st.sampled_from(dtypes)))
    rng = np.random.default_rng(draw(st.integers(0, 99)))
    values = rng.integers(0, 9, shape)
    array = values.astype(str).astype(dtype) if dtype.kind == "U" else values.astype(dtype)
    kind = draw(st.integers(0, 8)) if shape else 6
    if kind == 1:
        array = array[::-1]
    elif kind == 2 and len(shape) > 1:
        array = array[:, ::-1]
    elif kind == 3:
        array = array[..., ::-1]
    elif kind == 4:
        array = array.T
    elif kind == 5:
        array = np.broadcast_to(array[:1], shape)
    elif kind == 6:
        array.setflags(write=False)
    elif kind == 7:
        array = array[..., ::2]
    elif kind == 8 and dtype.kind not in "OU":
        room = np.zeros(array.nbytes + 1, np.uint8)[1:]
        odd = room.view(dtype).reshape(shape) if array.nbytes else array
        odd[...] = array
        array = odd
    if draw(st.integers(0, 9)) == 0 and dtype.kind == "f" and array.flags.writeable:
        array[...] = draw(st.sampled_from([np.nan, np.inf, 1e38]))
    return array


volumes = st.one_of(arrays(DTYPES[:3]), arrays(), arrays(dims=(0, 1, 2, 4)))
outs = st.one_of(st.none(), st.just("self"), arrays(DTYPES[:4]))
codes = st.one_of(st.sampled_from(["nearest", "linear", "lagrange", "bspline", "catmull-rom", "mitchell", 1, 2, 7]),
                  st.sampled_from(["cubic", 3, 0, None, 1e9, -1]))
regions = st.one_of(st.none(), st.tuples(*[st.tuples(st.integers(-3, 9), st.integers(-3, 12))] * 3),
                    st.sampled_from([3, (1, 2), ((0, 1),) * 4, (slice(None),) * 3, (slice(0, 5, 2),) * 3, ("a",) * 3]))
fills = st.one_of(st.none(), number, st.just("x"))
shapes = st.one_of(st.none(), st.tuples(side, side, side), st.sampled_from([3, (2, 2), (2**31, 1, 1), (-1, 2, 2), (1.5, 2, 2), "abc"]))


def survives(call):
    with warnings.catch_warnings(), np.errstate(all="ignore"):
        warnings.simplefilter("ignore")
        try:
            return call()
        except REFUSED:
            return None


def given_out(out, volume):
    return volume if isinstance(out, str) else out


@given(volumes, st.one_of(st.none(), small, st.tuples(small, small, small)), shapes, small, codes, regions, regions, outs, fills)
@hypothesis_settings(max_examples=300)
def test_resize(volume, factor, shape, shift, code, region, out_region, out, fill):
    survives(lambda: vol.resize(volume, factor, shape=shape, shift=shift, interpolation=code, region=region,
                                out_region=out_region, out=given_out(out, volume), fill=fill))


@given(volumes, st.lists(number, min_size=12, max_size=12), st.booleans(), shapes, codes, regions, regions, outs, fills, st.booleans())
@hypothesis_settings(max_examples=300)
def test_affine(volume, entries, is_mild, shape, code, region, out_region, out, fill, exact):
    matrix = np.array(entries, float).reshape(3, 4)
    if is_mild:
        with np.errstate(all="ignore"):
            matrix = np.eye(3, 4) + matrix * 0.01
    survives(lambda: vol.affine(volume, matrix, shape=shape, interpolation=code, region=region, out_region=out_region,
                                out=given_out(out, volume), fill=fill, exact=exact))


@given(volumes, st.one_of(arrays([np.float32]), arrays()), st.lists(number, min_size=3, max_size=3), codes, regions, outs, fills)
@hypothesis_settings(max_examples=300)
def test_remap(volume, shape_of_maps, values, code, region, out, fill):
    with np.errstate(all="ignore"):
        maps = [np.full(shape_of_maps.shape, v, np.float32) if shape_of_maps.dtype.kind != "f" else
                (shape_of_maps * np.float32(0.7) + np.float32(v)) for v in values]
    maps[0] = shape_of_maps if shape_of_maps.dtype.kind in "OUc" else maps[0]
    survives(lambda: vol.remap(volume, *maps, interpolation=code, region=region, out=given_out(out, volume), fill=fill))


@given(st.one_of(arrays([np.int16]), volumes), arrays([np.int32, np.int64, np.int8, np.float64], sides=st.integers(0, 6)),
       st.one_of(st.integers(-5, 5), number, st.just("x")), st.one_of(st.none(), st.tuples(*[st.integers(-1, 6)] * 3), st.just(2)),
       st.sampled_from(["nearest", "reflect", "mirror", "wrap", "constant", "valid", "other"]), outs, st.sampled_from([1, 9000, 40000, 2**40]))
@hypothesis_settings(max_examples=300)
def test_filter(volume, kernel, divisor, anchor, border, out, scale):
    taps = kernel if kernel.dtype.kind == "f" else kernel.astype(np.int64) * scale
    survives(lambda: vol.filter(volume, taps, divisor=divisor, anchor=anchor, border=border, out=given_out(out, volume)))


@given(st.integers(0, 2**32 - 1), st.integers(0, 12), st.integers(0, 30), st.sampled_from(WEIRD), st.integers(-2, 13),
       st.floats(-0.1, 1.1), st.one_of(st.none(), st.integers(-1, 51)), st.sampled_from([None, None, -1, 0, 31, 81, 2**40]))
@hypothesis_settings(max_examples=120)
def test_scene(seed, vertex_count, triangle_count, weird, most, bias, depth, budget):
    rng = np.random.default_rng(seed)
    vertices = rng.normal(size=(vertex_count, 3))
    if vertex_count and seed % 3 == 0:
        vertices[rng.integers(vertex_count), rng.integers(3)] = weird
    if seed % 5 == 0:
        vertices = np.round(vertices)  # flat, degenerate and equal triangles
    if seed % 7 == 0:
        vertices = vertices * 1e37
    triangles = rng.integers(min(0, most), max(most, 1), (triangle_count, 3))
    scene = survives(lambda: vekr.Scene(vertices, triangles, split_bias=bias, max_depth=depth, memory_limit=budget))
    if scene is None:
        return
    directions = rng.normal(size=(37, 3))
    directions[rng.integers(37), rng.integers(3)] = weird
    directions[3] = 0
    for origin in (np.array([0.1, 0.2, weird]), rng.normal(size=(37, 3))):
        hits = survives(lambda: scene.intersect(origin, directions, weird if seed % 2 else None))
        if hits is not None:
            survives(lambda: (scene.normals(hits), scene.normals(hits, smooth=True), scene.points(hits, weird)))
        survives(lambda: scene.occluded(origin, directions, rng.random(37) < 0.5))
        survives(lambda: scene.layers(origin, directions, 3))


@given(arrays([np.float32, np.float64, np.int32, np.complex64, object, "U3"], dims=(0, 1, 2, 3)), arrays(dims=(0, 1, 2, 3)),
       arrays(dims=(0, 1, 2)), st.integers(-1, 17), st.integers(-1, 17))
@hypothesis_settings(max_examples=300)
def test_harmonics(directions, samples, weights, band, wanted):
    basis = survives(lambda: sh.Basis(band))
    survives(lambda: sh.evaluate_band(wanted, directions))
    if basis is not None:
        survives(lambda: basis.evaluate(directions, wanted))
        survives(lambda: basis.project(directions, samples, weights=weights, max_band=wanted))
        survives(lambda: basis.reconstruct(samples, directions))


@given(volumes, arrays(dims=(1, 2), dtypes=[np.float64, np.int32, "U3"]), number)
@hypothesis_settings(max_examples=60)
def test_conventions(volume, matrix, value):
    for call in (vol.invert, vol.from_scipy, vol.to_scipy, lambda m: vol.from_nifti(m, m), lambda m: vol.to_nifti(m, m),
                 lambda m: vol.from_itk(m), lambda m: vol.to_itk(m), lambda m: vol.grid_affine(m, m), lambda m: vol.compose(m, m),
                 lambda m: vol.exact_matrix(m, (3, 3, 3)), lambda m: vol.resample_like(volume, m, m, (2, 3, 4)),
                 lambda m: vekr.Camera(m, m, m), lambda m: vekr.Camera((0, 0, value), (0, 0, 0), fov=value).rays(5, 4)):
        survives(lambda: call(matrix))


# ---------------------------------------------------------------- what needs its own set-up


def test_sizes_beyond_the_interface_are_refused():
    wide = as_strided(np.zeros(8, np.uint8), (1, 1, 2**31 + 8), (0, 0, 0))
    with pytest.raises(ValueError):
        vol.affine(wide, np.eye(3, 4))
    with pytest.raises(ValueError):
        vol.resize(np.zeros((4, 4, 4), np.uint8), shape=(2**31, 4, 4))
    with pytest.raises(ValueError):
        vol.resize(np.zeros((4, 4, 4), np.uint8), 1e12)
    with pytest.raises(ValueError):
        vol.remap(np.zeros((4, 4, 4), np.uint8), *[as_strided(np.zeros(1, np.float32), (2**31, 1, 1), (0, 0, 0))] * 3)
    tall = as_strided(np.zeros(8, np.float32), (1, 2**31 + 8, 1), (0, 0, 4))
    with pytest.raises(ValueError):
        vol.affine(tall, np.eye(3, 4), interpolation="mitchell", shape=(1, 1, 1))


def test_an_out_that_overlaps_is_refused():
    room = np.zeros((8, 8, 8), np.uint8)
    for source, out in ((room, room), (room[:6], room[2:]), (room[::-1], room), (room[:, :, ::2], room[:, :, :4])):
        with pytest.raises(ValueError, match="overlap"):
            vol.affine(source, np.eye(3, 4), shape=out.shape, out=out)
    even, odd = room[::2], room[1::2]  # interleaved planes share nothing
    vol.affine(even, np.eye(3, 4), out=odd)
    maps = np.zeros((3, 4, 4, 4), np.float32)
    with pytest.raises(ValueError, match="overlap"):
        vol.remap(np.zeros((4, 4, 4), np.float32), *maps, out=maps[0])


def test_an_out_on_top_of_itself_is_written_like_any_array():
    room = np.zeros(64, np.uint8)
    out = as_strided(room, (4, 4, 4), (0, 4, 1), writeable=True)
    source = np.arange(64, dtype=np.uint8).reshape(4, 4, 4)
    vol.affine(source, np.eye(3, 4), out=out)
    assert np.array_equal(room[:16], source[3].ravel()) and not room[16:].any()


@pytest.mark.parametrize("code", ["nearest", "linear", "mitchell"])
@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.float32])
def test_nothing_beside_an_out_is_written(code, dtype):
    rng = np.random.default_rng(0)
    source = (rng.random((9, 8, 7)) * 200).astype(dtype)
    room = np.full((12, 13, 14), 77, dtype)
    out = room[2:10, 3:11, 4:12]
    for call in (lambda: vol.resize(source, shape=out.shape, interpolation=code, out=out, fill=0),
                 lambda: vol.affine(source, np.eye(3, 4) * 1.03, interpolation=code, out=out, fill=0),
                 lambda: vol.remap(source, *(np.indices(out.shape, np.float32)[k] for k in (2, 1, 0)), interpolation=code, out=out, fill=0)):
        call()
        rest = room.copy()
        rest[2:10, 3:11, 4:12] = 77
        assert (rest == 77).all()
