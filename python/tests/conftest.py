"""Settings of all tests: the package beside them, and the same random cases on every run."""

import os
import sys
from pathlib import Path

import numpy as np
import pytest
from hypothesis import HealthCheck, Phase, settings

if not os.environ.get("VEKR_TEST_INSTALLED"):
    sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

settings.register_profile("suite", derandomize=True, deadline=None, database=None,
                          phases=[Phase.explicit, Phase.generate],
                          suppress_health_check=list(HealthCheck))
settings.load_profile("suite")


@pytest.fixture
def rng() -> np.random.Generator:
    return np.random.default_rng(7)


@pytest.fixture(autouse=True)
def library_threads():
    """Give the library's own thread count back after a test."""
    import vekr

    yield
    vekr.set_threads(0)
