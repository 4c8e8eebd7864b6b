"""What a user of the installed Python package does first; run where nothing but the packages is installed."""

import importlib.metadata
from pathlib import Path

import numpy as np
import vekr

FOLDER = Path("/usr/lib/python3/dist-packages/vekr")
assert Path(vekr.__file__).parent == FOLDER, vekr.__file__
assert list(FOLDER.glob("__pycache__/*.pyc")), "no bytecode was made"
with open("/proc/self/maps") as maps:
    loaded = {Path(line.split()[-1]) for line in maps if "libvekre9" in line or "libvekcore" in line}
assert len(loaded) == 2 and all(path.parent.parent == Path("/usr/lib") for path in loaded), loaded
assert importlib.metadata.version("vekr") == vekr.__version__

scene = vekr.Scene([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
hits = scene.intersect([0.25, 0.25, 2], [[0, 0, -1], [0, 1, 0]])
assert hits.triangle.tolist() == [0, -1] and hits.distance[0] == 2

volume = np.arange(4, dtype=np.float32).reshape(1, 1, 4)
twice = vekr.volume.resize(volume, (1, 1, 2), interpolation="nearest")
assert twice.tolist() == [[[0, 0, 1, 1, 2, 2, 3, 3]]]

assert abs(vekr.sh.Basis(1).evaluate([0, 0, 1])[0] - 0.28209) < 1e-4
print("the installed Python package works")
