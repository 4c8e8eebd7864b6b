"""Measures: best of several runs, alternating between the things compared, so that both see the same neighbours."""

import os
import sys
import time
from pathlib import Path

# One thread each: numpy's libraries read these when they are loaded.
for variable in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS"):
    os.environ[variable] = "1"
ROOT = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "python"))


def seconds(call):
    """Return the processor time of a call, all threads together: all of these run on one."""
    start = time.process_time()
    call()
    return time.process_time() - start


def best(calls, repetitions):
    """Return the best time of each of several calls, run in turns."""
    times = [[] for _ in calls]
    for _ in range(repetitions):
        for list_of, call in zip(times, calls):
            list_of.append(seconds(call))
    return [min(t) for t in times]


def machine():
    model = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")), "?")
    return f"{model}, {os.cpu_count()} processors, load {os.getloadavg()[0]:.1f}"
