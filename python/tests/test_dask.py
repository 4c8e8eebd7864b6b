"""Dask arrays against the one big call, bit for bit: any chunking, scheduler and store, and workers that are killed."""

import hashlib
import os
import pickle
import random
import signal
import subprocess
import sys
import time
import warnings
from pathlib import Path

import numpy as np
import pytest
from hypothesis import example, given, settings
from hypothesis import strategies as st

import support
import vekr
from support import CODES, TYPES, volume_of
from vekr import volume as vol

dask = pytest.importorskip("dask")
zarr = pytest.importorskip("zarr")
import dask.array as da  # noqa: E402

import vekr.dask as vd  # noqa: E402
from vekr.dask import _graph  # noqa: E402

HERE = Path(__file__).resolve().parent
EXAMPLES = int(os.environ.get("VEKR_EXAMPLES", "150")) // 5
SEEDS = st.integers(0, 2**32 - 1)


def many(test):
    return settings(max_examples=EXAMPLES)(given(seed=SEEDS)(test))


def same(a, b):
    return a.dtype == b.dtype and a.shape == b.shape and a.tobytes() == b.tobytes()


def chunking(rng, shape, most=4):
    """Random chunks, with single voxels among them."""
    made = []
    for side in shape:
        cuts = sorted({0, side, *rng.integers(0, side, rng.integers(0, most)).tolist(), *([1] if rng.random() < 0.3 else [])})
        made.append(tuple(b - a for a, b in zip(cuts, cuts[1:])) if side > 1 else (1,))
    return tuple(made)


def lazily(rng, source):
    return da.from_array(source, chunks=chunking(rng, source.shape))


def maps_for(rng, source_shape, shape):
    maps = []
    for axis in (2, 1, 0):
        middle = np.linspace(-1, source_shape[axis], shape[axis]).reshape([-1 if k == axis else 1 for k in range(3)])
        maps.append((middle + rng.uniform(-2, 2, shape)).astype(np.float32))
    maps[0][0, 0, 0] = np.nan
    return maps


# ---------------------------------------------------------------- bits


@many
@example(seed=0)
def test_any_chunks_give_the_bits_of_the_whole(seed):
    rng = np.random.default_rng(seed)
    dtype, name = TYPES[rng.integers(3)], rng.choice(list(CODES))
    source = volume_of(rng, tuple(rng.integers(4, 30, 3)), dtype)
    shape = tuple(int(s) for s in rng.integers(1, 30, 3))
    lazy, chunks = lazily(rng, source), chunking(rng, shape)
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", vekr.VekrWarning)
        shift = tuple(rng.uniform(-3, 3, 3))
        got = vd.resize(lazy, shape=shape, shift=shift, interpolation=name, fill=3, chunks=chunks)
        assert got.chunks == chunks
        assert same(got.compute(scheduler="sync"), vol.resize(source, shape=shape, shift=shift, interpolation=name, fill=3))
    matrix = support.turn(rng.uniform(-30, 30, 3), rng.uniform(0.7, 1.5), (9, 9, 9))
    got = vd.affine(lazy, matrix, shape=shape, interpolation=name, fill=3, chunks=chunks)
    assert same(got.compute(scheduler="sync"), vol.affine(source, matrix, shape=shape, interpolation=name, fill=3))
    maps = maps_for(rng, source.shape, shape)
    got = vd.remap(lazy, *(da.from_array(m, chunks=chunks) for m in maps), interpolation=name, fill=3)
    assert got.chunks == chunks
    assert same(got.compute(scheduler="sync"), vol.remap(source, *maps, interpolation=name, fill=3))


@many
@example(seed=0)
def test_any_chunks_give_the_bits_of_the_whole_filter(seed):
    rng = np.random.default_rng(seed)
    source = rng.integers(-9000, 9000, tuple(rng.integers(3, 30, 3))).astype(np.int16)
    kernel = rng.integers(-9, 30, [(3, 3, 3), (5, 5, 5), (2, 3, 4)][rng.integers(3)])
    border = str(rng.choice(["nearest", "reflect", "mirror", "wrap", "constant"]))
    divisor = int(rng.choice([1, 14, 64]))
    got = vd.filter(lazily(rng, source), kernel, divisor=divisor, border=border, chunks=chunking(rng, source.shape))
    assert same(got.compute(scheduler="sync"), vol.filter(source, kernel, divisor=divisor, border=border))


def test_single_voxels_as_chunks(rng):
    source = volume_of(rng, (5, 6, 7), np.uint8)
    for lazy, chunks in ((da.from_array(source, chunks=1), 4), (da.from_array(source, chunks=3), 1)):
        got = vd.resize(lazy, 1.2, interpolation="lagrange", chunks=chunks).compute(scheduler="sync")
        assert same(got, vol.resize(source, 1.2, interpolation="lagrange"))


def test_threads_give_the_same_and_calls_in_a_row_too(rng):
    source = volume_of(rng, (40, 50, 60), np.uint8)
    lazy = da.from_array(source, chunks=(13, 50, 17))
    kernel = np.ones((3, 3, 3), int)
    half = vd.resize(lazy, 0.7, interpolation="mitchell", chunks=11)
    got = vd.filter(half.astype(np.int16), kernel, divisor=27, chunks=(9, 40, 8))
    expected = vol.filter(vol.resize(source, 0.7, interpolation="mitchell").astype(np.int16), kernel, divisor=27)
    vekr.set_threads(3)
    for workers in (1, 2, 5):
        assert same(got.compute(scheduler="threads", num_workers=workers), expected)
    assert vekr.get_threads() == 3


def test_stores_and_memory_maps_are_read_by_the_tasks(rng, tmp_path):
    source = volume_of(rng, (30, 31, 32), np.uint16)
    stored = zarr.open(str(tmp_path / "a.zarr"), "w", shape=source.shape, chunks=(10, 10, 32), dtype=source.dtype)
    stored[...] = source
    mapped = np.memmap(tmp_path / "a.raw", np.uint16, "w+", shape=source.shape)
    mapped[...] = source
    mapped.flush()
    expected = vol.resize(source, 1.3, interpolation="bspline")
    maps = maps_for(rng, source.shape, (12, 13, 14))
    for volume in (stored, mapped, source, source.tolist() and mapped[:, :, :]):
        got = vd.resize(volume, 1.3, interpolation="bspline", chunks=16)
        assert same(got.compute(scheduler="threads"), expected)
        assert same(vd.remap(volume, *maps).compute(scheduler="threads"), vol.remap(source, *maps))
    assert vd.resize(stored, 1.0).chunksize == (10, 10, 32)
    graph = vd.resize(mapped, 1.3).__dask_graph__()
    assert len(pickle.dumps(dict(graph))) < 20000  # the map itself does not travel
    assert same(pickle.loads(pickle.dumps(_graph.Mapped(mapped)))[3:5], source[3:5])


# ---------------------------------------------------------------- what a graph is


class Counted:
    """An array that counts what is read of it."""

    def __init__(self, array):
        self.array, self.shape, self.dtype, self.read = array, array.shape, array.dtype, 0

    def __getitem__(self, part):
        self.read += self.array[part].size
        return self.array[part]


def test_a_chunk_is_one_task_and_reads_what_it_needs(rng):
    source = Counted(volume_of(rng, (120, 120, 120), np.uint8))
    result = vd.resize(source, 1.0, shift=0.3, interpolation="mitchell", chunks=40)
    assert len(result.__dask_graph__()) == 27
    result.compute(scheduler="sync")
    assert source.array.size <= source.read <= 1.5 * source.array.size
    source.read = 0
    result[:40, :40, :40].compute(scheduler="sync")
    assert source.read <= 43**3


def test_only_the_chunks_that_are_needed_are_made():
    made = []

    def block(block_info=None):
        made.append(block_info[None]["chunk-location"])
        return np.full(block_info[None]["chunk-shape"], sum(made[-1]), np.uint8)

    lazy = da.map_blocks(block, chunks=((10,) * 6,) * 3, dtype=np.uint8, meta=np.empty((0, 0, 0), np.uint8))
    made.clear()
    vd.resize(lazy, 0.5, chunks=10)[:10, 10:20, 20:].compute(scheduler="sync")
    assert {m[0] for m in made} == {0, 1, 2} - {2} and {m[1] for m in made} == {2, 3} and len(made) == len(set(made)) == 8
    maps = [np.full((4, 4, 4), at, np.float32) for at in (14.5, 25.5, 35.5)]
    made.clear()
    vd.remap(lazy, *maps).compute(scheduler="sync")
    assert made == [(3, 2, 1)]


def test_small_chunks_go_whole_and_of_large_ones_only_pieces():
    kernel = np.ones((3, 3, 3), int)
    small = da.zeros((160, 160, 160), chunks=40, dtype=np.int16)
    assert len(vd.filter(small, kernel).__dask_graph__()) - len(small.__dask_graph__()) == 64
    large = da.zeros((256, 256, 512), chunks=256, dtype=np.int16)
    assert len(vd.filter(large, kernel).__dask_graph__()) - len(large.__dask_graph__()) == 2 + 2
    many = da.zeros((1 << 11,) * 3, chunks=256, dtype=np.int16)  # 512 chunks, with 26 neighbours but for those at the rim
    tasks = len(vd.filter(many, kernel).__dask_graph__()) - len(many.__dask_graph__())
    assert tasks == 8**3 + (8 + 2 * 7) ** 3 - 8**3


def test_pieces_of_large_chunks_make_the_same(rng, monkeypatch):
    source = rng.integers(-9000, 9000, (30, 31, 32)).astype(np.int16)
    monkeypatch.setattr(_graph, "_WORTH", 1)
    for border in ("reflect", "wrap"):
        got = vd.filter(da.from_array(source, chunks=(9, 31, 12)), np.ones((5, 3, 3), int), border=border, chunks=11)
        assert len(got.__dask_graph__()) > 100
        assert same(got.compute(scheduler="sync"), vol.filter(source, np.ones((5, 3, 3), int), border=border))


def test_needs_told_beforehand_and_wrong_ones_are_found_out(rng):
    source = volume_of(rng, (20, 20, 20), np.uint8)
    lazy, maps = da.from_array(source, chunks=7), maps_for(rng, (20, 20, 20), (9, 9, 9))
    needs = vd.remap_needs(lazy, *maps)
    assert same(vd.remap(lazy, *maps, needs=needs).compute(scheduler="sync"), vol.remap(source, *maps))
    other = {number: type(need)(*([(3, 5)] for _ in range(3))) for number, need in needs.items()}
    with pytest.raises(ValueError, match="does not need"):
        vd.remap(lazy, *maps, needs=other).compute(scheduler="sync")


def test_names_tell_calls_apart(rng):
    lazy = da.zeros((20, 20, 20), chunks=10, dtype=np.uint8)
    names = [vd.resize(lazy, f, interpolation=i).name for f in (0.5, 0.7) for i in ("linear", "mitchell")]
    assert len(set(names)) == 4 and vd.resize(lazy, 0.5).name == names[0]


def test_arguments_that_do_not_fit_are_refused():
    lazy = da.zeros((20, 20, 20), chunks=10, dtype=np.uint8)
    for call in (lambda: vd.resize(lazy.astype(float), 0.5), lambda: vd.resize(lazy[0], 0.5), lambda: vd.filter(lazy, np.ones((3, 3, 3), int)),
                 lambda: vd.remap(lazy, 1, 2, 3), lambda: vd.remap(lazy, np.zeros((2, 2, 2)), np.zeros((3, 2, 2)), 0),
                 lambda: vd.resize(lazy, 0.5, chunks=(3, 3)), lambda: vd.affine(lazy, np.zeros((2, 2))),
                 lambda: vd.resize(lazy[lazy[:, 0, 0] > 0], 0.5)):
        with pytest.raises((TypeError, ValueError)):
            call()


# ---------------------------------------------------------------- stores


def test_a_store_gets_whole_chunks_and_is_gone_on_with(rng, tmp_path):
    source = volume_of(rng, (40, 40, 40), np.uint8)
    result = vd.resize(da.from_array(source, chunks=15), 0.9, interpolation="mitchell", chunks=12)
    path = tmp_path / "out.zarr"
    assert vd.to_zarr(result, path) == 27
    assert same(zarr.open(str(path))[...], vol.resize(source, 0.9, interpolation="mitchell"))
    with pytest.raises(ValueError, match="already"):
        vd.to_zarr(result, path)
    assert vd.to_zarr(result, path, resume=True) == 0
    (path / "1.1.1").unlink()
    (path / "0.2.1").rename(path / "0.2.1.abc.partial")  # as a write leaves it that was ended in the middle
    assert vd.to_zarr(result, path, resume=True, compute=False).compute() == 2
    assert same(zarr.open(str(path))[...], vol.resize(source, 0.9, interpolation="mitchell"))
    with pytest.raises(ValueError, match="not begun"):
        vd.to_zarr(result.rechunk(10), path, resume=True)
    with pytest.raises(ValueError, match="one shape"):
        vd.to_zarr(result.rechunk(((5, 31), 36, 36)), tmp_path / "other.zarr")


# ---------------------------------------------------------------- several processes


def digest(path):
    return hashlib.sha256(zarr.open(str(path), "r")[...].tobytes()).hexdigest()


@pytest.fixture(scope="module")
def cluster():
    distributed = pytest.importorskip("distributed")
    with dask.config.set({"distributed.worker.daemon": True, "distributed.scheduler.allowed-failures": 100,
                          "distributed.worker.memory.terminate": False}):
        with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=":0",
                                      memory_limit="400MB") as made, distributed.Client(made) as client:
            yield client


@pytest.mark.process
def test_processes_give_the_same(rng, tmp_path, cluster):
    source = volume_of(rng, (50, 60, 70), np.uint16)
    stored = zarr.open(str(tmp_path / "in.zarr"), "w", shape=source.shape, chunks=(20, 20, 70), dtype=source.dtype)
    stored[...] = source
    kernel = np.ones((5, 5, 5), int)
    matrix = support.turn((10, 5, 20), 1.1, (30, 30, 25))
    for volume in (stored, da.from_array(source, chunks=23)):
        result = vd.affine(volume, matrix, shape=(33, 44, 55), interpolation="catmull-rom", chunks=17)
        result = vd.filter(result.astype(np.int16), kernel, divisor=125)
        expected = vol.affine(source, matrix, shape=(33, 44, 55), interpolation="catmull-rom")
        assert same(result.compute(), vol.filter(expected.astype(np.int16), kernel, divisor=125))
    maps = maps_for(rng, source.shape, (22, 23, 24))
    assert same(vd.remap(da.from_zarr(stored), *maps).compute(), vol.remap(source, *maps))


@pytest.mark.process
def test_processes_draw_the_same_picture(rng, tmp_path, cluster):
    scene = vekr.Scene(rng.normal(size=(600, 3)), np.arange(600).reshape(-1, 3))
    scene.save(tmp_path / "scene")
    cameras = vd.render.cameras_around((0, 1, 6), (0, 0, 0), 3)
    frames = vd.render.turntable(tmp_path / "scene", cameras, 96, 64, tile=(32, 48)).compute()
    for camera, frame in zip(cameras, frames):
        assert same(frame, np.ascontiguousarray(vd.render.lambert(scene, scene.intersect(*camera.rays(96, 64)))))


def _big_block(seed, block_info=None):
    told = block_info[None]
    number = np.ravel_multi_index(told["chunk-location"], told["num-chunks"])
    return np.random.default_rng(seed + number).integers(0, 256, told["chunk-shape"], np.uint8)


@pytest.mark.process
def test_a_volume_larger_than_the_workers_memory_goes_through(tmp_path, cluster):
    lazy = da.map_blocks(_big_block, 5, chunks=((64,) * 14, (256,) * 4, (1024,)), dtype=np.uint8,
                         meta=np.empty((0, 0, 0), np.uint8))
    assert lazy.nbytes > 2 * 400e6
    result = vd.resize(lazy, 0.25, chunks=(16, 64, 256))
    assert vd.to_zarr(result, tmp_path / "out.zarr", compressor=None) == result.npartitions
    part = lazy[:128, :512].compute(scheduler="threads")
    whole = zarr.open(str(tmp_path / "out.zarr"), "r")
    assert same(whole[:31, :127], np.ascontiguousarray(vol.resize(part, 0.25)[:31, :127]))


def _slow(block, seconds=0.05):
    time.sleep(seconds)
    return block


@pytest.mark.process
def test_workers_are_killed_and_the_result_is_whole_and_the_same(rng, tmp_path, cluster):
    source = volume_of(rng, (60, 60, 60), np.uint8)
    expected = vol.resize(source, 1.4, interpolation="mitchell")
    lazy = da.from_array(source, chunks=20).map_blocks(_slow)
    result = vd.resize(lazy, 1.4, interpolation="mitchell", chunks=21)
    chance = random.Random(3)
    future = cluster.compute(vd.to_zarr(result, tmp_path / "out.zarr", compute=False))
    killed = 0
    while killed < 3 and not future.done():
        time.sleep(chance.uniform(0.2, 0.6))
        nanny = chance.choice(list(cluster.cluster.workers.values()))
        if nanny.pid:  # not at its last death's door
            os.kill(nanny.pid, signal.SIGKILL)
            killed += 1
        cluster.wait_for_workers(2, timeout=120)
    assert killed >= 2 and future.result(timeout=300) == result.npartitions
    assert same(zarr.open(str(tmp_path / "out.zarr"), "r")[...], expected)


_WRITER = """
import sys
sys.path[:0] = {paths!r}
import numpy as np, dask.array as da
import test_dask
lazy = da.from_array(np.load({source!r}), chunks=20)
test_dask.vd.to_zarr(test_dask.vd.resize(lazy, 1.4, chunks=14).map_blocks(test_dask._slow, 0.03), {out!r},
                     resume=True, compute=False).compute(scheduler="threads", num_workers=2)
"""


@pytest.mark.process
def test_what_a_killed_process_has_left_is_whole_and_is_gone_on_with(rng, tmp_path):
    source = volume_of(rng, (60, 60, 60), np.uint8)
    expected = vol.resize(source, 1.4)
    np.save(tmp_path / "in.npy", source)
    out = tmp_path / "out.zarr"
    program = _WRITER.format(paths=[str(HERE), str(HERE.parent)], source=str(tmp_path / "in.npy"), out=str(out))
    for _ in range(3):
        writer = subprocess.Popen([sys.executable, "-c", program])
        before = len(list(out.glob("*.*.*"))) if out.exists() else 0
        until = time.monotonic() + 120
        while writer.poll() is None and time.monotonic() < until and (not out.exists() or len(list(out.glob("*.*.*"))) < before + 20):
            time.sleep(0.01)
        assert writer.poll() is None
        writer.kill()
        writer.wait()
        store = zarr.open(str(out), "r")
        whole = [key for key in store.chunk_store.keys() if key.count(".") == 2 and key.replace(".", "").isdigit()]
        assert before + 15 < len(whole) < 216
        for key in whole:
            at = tuple(slice(14 * int(n), 14 * int(n) + 14) for n in key.split("."))
            assert same(store[at], np.ascontiguousarray(expected[at]))
    result = vd.resize(da.from_array(source, chunks=20), 1.4, chunks=14)
    assert 0 < vd.to_zarr(result, out, resume=True) < 216 - 50
    assert same(zarr.open(str(out))[...], expected)


@pytest.mark.process
def test_the_package_works_without_dask_and_says_so(tmp_path):
    program = f"""
import sys
sys.path.insert(0, {str(HERE.parent)!r})
sys.modules["dask"] = None
import vekr, vekr.chunks
assert "dask.array" not in sys.modules
try:
    import vekr.dask
except ImportError as problem:
    assert "python3-dask" in str(problem) and "\\n" not in str(problem)
else:
    raise SystemExit("imported")
"""
    subprocess.run([sys.executable, "-c", program], check=True)
