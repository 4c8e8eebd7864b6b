"""Threads, processes, interrupts and memory."""

import multiprocessing
import os
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import pytest

import support
import vekr
from vekr import volume as vol

pytestmark = pytest.mark.process
CORES = len(os.sched_getaffinity(0))


def work(seed):
    """Something of every part, with threads; returns a number that stands for all its bits."""
    rng = np.random.default_rng(seed)
    volume = rng.integers(0, 255, (40, 40, 40)).astype(np.uint8)
    results = [vol.affine(volume, support.turn((3, 4, 5)), threads=3), vol.resize(volume, 1.3, threads=3),
               vol.affine(volume, support.turn((3, 4, 5)), exact=False, interpolation="nearest")]
    vertices = rng.normal(size=(900, 3))
    scene = vekr.Scene(vertices, np.arange(900).reshape(-1, 3))
    hits = scene.intersect([0, 0, 5], rng.normal(size=(64, 64, 3)), threads=3)
    results += [hits.distance, hits.triangle, scene.normals(hits, smooth=True), scene.normals(hits)]
    results.append(vekr.sh.Basis(5).evaluate(rng.normal(size=(20000, 3)), threads=3))
    return hash(tuple(np.ascontiguousarray(r).tobytes() for r in results[:2] + results[3:]))


@pytest.mark.parametrize("method", ["fork", "spawn"])
def test_other_processes_do_the_same_work(method, monkeypatch):
    monkeypatch.setenv("PYTHONHASHSEED", "0")
    here = [work(1), work(2)]  # threads have been forked here before any process is
    context = multiprocessing.get_context(method)
    with context.Pool(2) as pool:
        there = pool.map_async(work, [1, 2]).get(timeout=100)
    if method == "fork":
        assert here == there
    else:
        assert len(set(there)) == 2


@pytest.mark.skipif(CORES < 2, reason="needs two processors")
def test_two_calls_at_once_run_at_once():
    volume = np.random.default_rng(0).random((96, 96, 96)).astype(np.float32)
    matrix = support.turn((10, 20, 30), 1.0, (48, 48, 48))

    def call():
        vol.affine(volume, matrix, interpolation="mitchell", threads=1)

    def together():
        other = threading.Thread(target=call)
        other.start()
        call()
        other.join()

    def seconds(what):
        start = time.perf_counter()
        what()
        return time.perf_counter() - start

    call()
    # On a machine that others use too, one good pair is enough.
    ratios = []
    for _ in range(12):
        ratios.append(seconds(together) / min(seconds(call), seconds(call)))
        if ratios[-1] < 1.6:
            return
    # If the other processor was taken all the time, the interpreter must at least have gone on beside a call.
    ticks = []
    other = threading.Thread(target=call)
    other.start()
    while other.is_alive():
        ticks.append(time.perf_counter())
        time.sleep(0.001)
    assert len(ticks) > 10, ratios


def resident():
    with open("/proc/self/statm") as statm:
        return int(statm.read().split()[1]) * os.sysconf("SC_PAGESIZE")


def test_ten_thousand_calls_leave_no_memory_behind():
    volume, small = np.zeros((6, 6, 6), np.float32), np.zeros((6, 6, 6), np.int16)
    x = np.ones((6, 6, 6), np.float32)
    scene, basis = vekr.Scene([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]]), vekr.sh.Basis(4)
    directions, kernel = np.ones((33, 3), np.float32), np.ones((3, 3, 3), int)
    vertices = np.random.default_rng(0).normal(size=(300, 3))

    def once():
        vol.resize(volume, 1.5)
        vol.remap(volume, x, x, x)
        vol.affine(volume, np.eye(3, 4))
        vol.filter(small, kernel)
        hits = scene.intersect([0, 0, 5], directions)
        scene.points(hits), scene.normals(hits, smooth=True), scene.occluded([0, 0, 5], directions), scene.layers([0, 0, 5], directions, 2)
        basis.reconstruct(basis.project(directions, directions), directions)
        try:
            vol.affine(volume, np.zeros((3, 4)))
        except vekr.VekrError:
            pass

    for _ in range(300):
        once()
        vekr.Scene(vertices, np.arange(300).reshape(-1, 3))
    before = resident()
    for _ in range(1000):
        once()
    for _ in range(300):
        vekr.Scene(vertices, np.arange(300).reshape(-1, 3))
    assert resident() - before < 4 << 20


# Shells start what runs in the background with interrupts ignored, and children take that over.
INTERRUPTED = """
import numpy as np, signal, sys, vekr
signal.signal(signal.SIGINT, signal.default_int_handler)
volume = np.zeros((200, 200, 200), np.uint8)
out = np.zeros((200, 200, 200), np.uint8)
print("ready", flush=True)
try:
    while True:
        vekr.volume.affine(volume, np.eye(3, 4) * 1.01, interpolation="mitchell", out=out, fill=0, threads=THREADS)
except KeyboardInterrupt:
    print("interrupted", flush=True)
vekr.volume.affine(volume, np.eye(3, 4) * 1.01, out=out, out_region=((0, 20), (0, 200), (0, 200)))
print("alive", flush=True)
"""


@pytest.mark.parametrize("threads", [1, 2])
def test_an_interrupt_takes_effect_between_blocks(threads):
    child = subprocess.Popen([sys.executable, "-c", INTERRUPTED.replace("THREADS", str(threads))], stdout=subprocess.PIPE, text=True,
                             env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)})
    assert child.stdout.readline() == "ready\n"
    time.sleep(0.2)
    sent = time.perf_counter()
    child.send_signal(signal.SIGINT)
    assert child.stdout.readline() == "interrupted\n"
    assert time.perf_counter() - sent < 5
    assert child.stdout.readline() == "alive\n"
    assert child.wait(60) == 0


def test_an_exception_out_of_progress_leaves_whole_blocks():
    volume = np.full((60, 40, 40), 9, np.uint8)

    class Enough(Exception):
        pass

    def progress(done, total):
        if done >= total // 2:
            raise Enough

    for threads in (1, 3):
        out = np.zeros_like(volume)
        with pytest.raises(Enough):
            vol.affine(volume, np.eye(3, 4), out=out, threads=threads, progress=progress)
        planes = out.reshape(60, -1)
        assert set(np.unique(planes.min(axis=1) + planes.max(axis=1))) <= {0, 18}
        written = (planes.min(axis=1) == 9).sum()
        assert 0 < written < 60 or threads > 1 and written == 60  # helpers may have been done with all of it


def test_progress_counts_all_blocks():
    volume = np.zeros((60, 40, 40), np.int16)
    for threads in (1, 4):
        seen = []
        vol.filter(volume, np.ones((3, 3, 3), int), threads=threads, progress=lambda done, total: seen.append((done, total)))
        assert [d for d, _ in seen] == sorted({d for d, _ in seen}) and seen[-1][0] == seen[-1][1] > 1
    vol.filter(volume, np.ones((3, 3, 3), int), progress=True)
    with pytest.raises(TypeError):
        vol.filter(volume, np.ones((3, 3, 3), int), progress=3)
