"""Every example runs, is short, and ends in a picture of something."""

import importlib
import os
import sys
from pathlib import Path

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402
import pytest  # noqa: E402

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent)]
NAMES = sorted(path.stem for path in HERE.glob("*.py") if not path.stem.startswith("test_"))


def picture_of(name, tmp_path, *arguments):
    folder = Path(os.environ.get("VEKR_PICTURES", tmp_path))
    path = folder / f"{name}.png"
    result = importlib.import_module(name).main(str(path), *arguments)
    plt.close("all")
    return plt.imread(path), result


@pytest.mark.parametrize("name", NAMES)
def test_example(name, tmp_path):
    lines = (HERE / f"{name}.py").read_text().splitlines()
    assert len(lines) < 70 and sum(bool(line.strip()) for line in lines) < 60
    picture, result = picture_of(name, tmp_path)
    assert picture.shape[0] > 100 and picture[..., :3].std() > 0.05
    if name == "same_bits":
        for row, values in result.items():
            assert len(set(values)) == 1 or row == "affine, exact=False"
    if name == "dask_volume":
        assert len(set(result.values())) == 1 and len(result) == 3
    if name == "dask_turntable":
        assert result
    if name == "mr_volume":
        assert np.mean(np.abs(result) <= 0.5001) > 0.995
