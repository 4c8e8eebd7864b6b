"""What dask costs, how workers scale, and a volume that is larger than the machine.

    dask_large.py costs                        processor time of chunks of 128^3 beside that of the calls alone
    dask_large.py tasks                        what a task costs a cluster of two processes
    dask_large.py scaling                      one worker and two
    dask_large.py large 2048 4096 8192         a volume of that shape, made lazily, resized, filtered, hashed chunk by chunk
    dask_large.py halo                         processor time of a filter's chunks by their size
"""

import hashlib
import os
import resource
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "python"))

import dask
import dask.array as da
import numpy as np
from dask.distributed import Client, LocalCluster, progress

import vekr.dask as vd
from vekr import chunks as plans
from vekr import volume as vol

KERNEL = np.ones((3, 3, 3), int)
MEMORY = "2GiB"


def block(number, shape):
    """A chunk of the source: cheap, of no pattern that repeats from chunk to chunk."""
    cells = np.arange(number * 37, number * 37 + shape[2], dtype=np.uint32)
    row = ((cells * np.uint32(2654435761)) >> np.uint32(24)).astype(np.uint8)
    z, y = np.arange(shape[0], dtype=np.uint8)[:, None, None], np.arange(shape[1], dtype=np.uint8)[:, None]
    return (row ^ (3 * y)) + 5 * z


def made(block_info=None):
    told = block_info[None]
    return block(int(np.ravel_multi_index(told["chunk-location"], told["num-chunks"])), told["chunk-shape"])


def source_of(shape, chunk):
    return da.map_blocks(made, chunks=da.core.normalize_chunks(chunk, shape), dtype=np.uint8,
                         meta=np.empty((0, 0, 0), np.uint8))


def hashed(array):
    """The hash of each chunk, as an array of as many chunks; 32 bytes each."""
    def one(values):
        return np.frombuffer(hashlib.sha256(np.ascontiguousarray(values).data).digest(), np.uint8).reshape(1, 1, 32)

    return array.map_blocks(one, chunks=((1,) * array.numblocks[0], (1,) * array.numblocks[1], (32,) * array.numblocks[2]),
                            dtype=np.uint8, meta=np.empty((0, 0, 0), np.uint8))


def nothing(array):
    """An array of a byte for each chunk: makes the chunks and drops them."""
    return array.map_blocks(lambda a: a[:1, :1, :1].astype(np.uint8), chunks=tuple((1,) * n for n in array.numblocks),
                            dtype=np.uint8, meta=np.empty((0, 0, 0), np.uint8))


class Kept:
    """A source in memory that is read as a store is."""

    def __init__(self, array):
        self.array, self.shape, self.dtype, self.chunks = array, array.shape, array.dtype, (128,) * 3

    def __getitem__(self, part):
        return self.array[part]

    def __dask_tokenize__(self):
        return id(self.array)


def cases(volume, side):
    """Calls on a volume: name, the dask array, its plan."""
    turn = np.radians(10)
    matrix = [[np.cos(turn), -np.sin(turn), 0, 40], [np.sin(turn), np.cos(turn), 0, -40], [0, 0, 1, 0.3]]
    shape = (side,) * 3
    yield "resize linear", vd.resize(volume, 1.0, shift=0.3, chunks=128), plans.Resize(shape, np.uint8, 1.0, shift=0.3)
    yield ("resize mitchell", vd.resize(volume, 1.0, shift=0.3, interpolation="mitchell", chunks=128),
           plans.Resize(shape, np.uint8, 1.0, shift=0.3, interpolation="mitchell"))
    for name in ("linear", "mitchell"):
        yield (f"affine {name}", vd.affine(volume, matrix, interpolation=name, chunks=128),
               plans.Affine(shape, np.uint8, matrix, interpolation=name))


def alone(plan, source, side):
    """Processor time of the library's part: plan.run() on all chunks, one thread."""
    start = time.process_time()
    for z in range(0, side, 128):
        for y in range(0, side, 128):
            for x in range(0, side, 128):
                plan.run(source, tuple(slice(a, min(a + 128, side)) for a in (z, y, x)))
    return time.process_time() - start


def costs(side=384):
    values = np.concatenate([block(n, (128, side, side)) for n in range(side // 128)])
    wide, count = values.astype(np.int16), (side // 128) ** 3
    kept = da.from_array(values, chunks=128).persist(scheduler="sync")
    kept_wide = da.from_array(wide, chunks=128).persist(scheduler="sync")
    filters = [("filter 3x3x3", vd.filter(v, KERNEL, divisor=27, chunks=128), plans.Filter((side,) * 3, KERNEL, divisor=27))
               for v in (Kept(wide), kept_wide)]
    both = [[*cases(Kept(values), side), filters[0]], [*cases(kept, side), filters[1]]]
    print("ms of a processor for a chunk of 128^3 (least of 5); 'threads' of one worker")
    print("| call | alone | store: threads | share | dask chunks: threads | share |\n|---|---|---|---|---|---|")
    for (name, stored, plan), (_, lazy, _) in zip(*both):
        data = wide if "filter" in name else values
        def spent(array):
            start = time.process_time()
            dask.compute(nothing(array), scheduler="threads", num_workers=1)
            return time.process_time() - start

        # In turns, so that all three see the same neighbours.
        turns = [(alone(plan, data, side), spent(stored), spent(lazy)) for _ in range(5)]
        least, *others = (1e3 * min(times) / count for times in zip(*turns))
        line = [least]
        for other in others:
            line += [other, 100 * (other / least - 1)]
        print("| {} | {:.2f} | {:.2f} | {:.0f} % | {:.2f} | {:.0f} % |".format(name, *line), flush=True)

def tasks():
    """What a task costs a cluster: the difference between many small chunks and few, of the same voxels."""
    values = np.zeros((240, 240, 240), np.uint8)
    with cluster(2) as (_, client), tempfile.TemporaryDirectory() as folder:
        vd.to_zarr(da.from_array(values, chunks=240), f"{folder}/a", compressor=None)
        mapped = np.memmap(f"{folder}/a/0.0.0", np.uint8, "r", shape=values.shape)

        def used(array):
            before = sum(client.run(time.process_time).values()), time.process_time()
            dask.compute(nothing(array))
            return (sum(client.run(time.process_time).values()) - before[0], time.process_time() - before[1],
                    len(array.__dask_graph__()))

        print("| source | tasks | ms of the workers' processors for a task | of the scheduler's and the client's |\n|---|---|---|---|")
        used(vd.resize(mapped, 1.0, chunks=60))
        for name, made in (("none, zeros of dask's own", lambda c: da.zeros(values.shape, chunks=c, dtype=np.uint8)),
                           ("memory map", lambda c: vd.resize(mapped, 1.0, interpolation="nearest", chunks=c)),
                           ("dask chunks", lambda c: vd.filter(source_of(values.shape, c).astype(np.int16), KERNEL, chunks=c))):
            few, many = used(made(80)), used(made(24))
            more = many[2] - few[2]
            print(f"| {name} | {few[2]}, {many[2]} | {1e3 * (many[0] - few[0]) / more:.2f} | "
                  f"{1e3 * (many[1] - few[1]) / more:.2f} |", flush=True)


class cluster:
    """Workers of one thread each on this machine."""

    def __init__(self, workers):
        self.workers = workers

    def __enter__(self):
        dask.config.set({"distributed.worker.daemon": True})
        self.made = LocalCluster(n_workers=self.workers, threads_per_worker=1, memory_limit=MEMORY, dashboard_address=":0")
        self.client = Client(self.made)
        return self.made, self.client

    def __exit__(self, *problem):
        self.client.close()
        self.made.close()


def scaling(side=768):
    print("| workers | clock, s | processor time of the workers, s |\n|---|---|---|")
    for workers in (1, 2):
        with cluster(workers) as (_, client):
            result = vd.affine(source_of((side,) * 3, 128), [[0.98, -0.17, 0, 60], [0.17, 0.98, 0, -60], [0, 0, 1, 0.3]],
                               interpolation="mitchell", chunks=128)
            before, start = sum(client.run(time.process_time).values()), time.perf_counter()
            dask.compute(nothing(result))
            clock = time.perf_counter() - start
            print(f"| {workers} | {clock:.1f} | {sum(client.run(time.process_time).values()) - before:.1f} |", flush=True)


def peak(dask_worker=None):
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024


def smoothed(volume, chunk):
    half = vd.resize(volume, 0.5, interpolation="mitchell", chunks=chunk)
    return vd.filter(half.astype(np.int16), KERNEL, divisor=27, chunks=chunk)


def large(*shape, chunk=256):
    source = source_of(shape, chunk)
    start = time.perf_counter()
    hashes = hashed(smoothed(source, chunk))
    print(f"{shape}: {source.nbytes / 2**30:.1f} GiB in {source.npartitions} chunks, graph of "
          f"{len(hashes.__dask_graph__())} tasks in {time.perf_counter() - start:.1f} s", flush=True)
    with cluster(2) as (_, client):
        before, own = sum(client.run(time.process_time).values()), time.process_time()
        start = time.perf_counter()
        future = client.compute(hashes)
        progress(future, notebook=False)
        found = future.result()
        clock = time.perf_counter() - start
        spent = sum(client.run(time.process_time).values()) - before
        most = max(client.run(peak).values())
        print(f"\n{clock:.0f} s on the clock, {spent:.0f} s of workers' processors, {time.process_time() - own:.0f} s of the "
              f"scheduler's; peak of a worker {most / 2**20:.0f} MiB; loads {os.getloadavg()}")
        print("hash of hashes", hashlib.sha256(found.tobytes()).hexdigest()[:16])
        # A chunk in the middle against the plain calls on what lies around it: with a factor of 1/2 coordinates are exact.
        number = [n // 2 for n in hashes.numblocks]
        a = [n * chunk for n in number]
        first = [max(2 * at - 16, 0) for at in a]
        around = tuple(slice(f, 2 * at + 2 * chunk + 16) for f, at in zip(first, a))
        part = vol.resize(dask.compute(source[around])[0], 0.5, interpolation="mitchell").astype(np.int16)
        here = vol.filter(part, KERNEL, divisor=27)[tuple(slice(at - f // 2, at - f // 2 + chunk) for at, f in zip(a, first))]
        wanted = hashlib.sha256(np.ascontiguousarray(here).data).digest()
        assert found[number[0], number[1]].reshape(-1, 32)[number[2]].tobytes() == wanted
        print(f"chunk {number} is that of the plain calls on the voxels around it")


def halo(side=512):
    print("| chunk | tasks | ms of a processor for a million voxels |\n|---|---|---|")
    wide = np.zeros((side,) * 3, np.int16)
    for chunk in (32, 64, 128, 256):
        lazy = da.from_array(wide, chunks=chunk).persist(scheduler="sync")
        result = vd.filter(lazy, KERNEL, divisor=27, chunks=chunk)
        start = time.process_time()
        dask.compute(nothing(result), scheduler="threads", num_workers=1)
        print(f"| {chunk}^3 | {len(result.__dask_graph__())} | {1e9 * (time.process_time() - start) / side**3:.1f} |", flush=True)


if __name__ == "__main__":
    {"costs": costs, "scaling": scaling, "large": large, "halo": halo, "tasks": tasks}[sys.argv[1]](*map(int, sys.argv[2:]))
