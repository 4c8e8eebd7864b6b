"""A package that has been installed brings its own library and header along."""

import os
from pathlib import Path

import pytest

import vekr
from vekr import _native


def test_the_package_finds_its_library():
    with open("/proc/self/maps") as maps:
        loaded = {Path(line.split()[-1]) for line in maps if "libvekre9" in line or "libvekcore" in line}
    assert len(loaded) == 2 and len({path.parent for path in loaded}) == 1


@pytest.mark.skipif(not os.environ.get("VEKR_TEST_INSTALLED"), reason="the source tree is tested")
def test_an_installed_package_uses_what_it_brings():
    folder = Path(vekr.__file__).parent
    assert "site-packages" in str(folder)
    with open("/proc/self/maps") as maps:
        loaded = {Path(line.split()[-1]).parent for line in maps if "libvekre9" in line or "libvekcore" in line}
    assert loaded == {folder / "_native"}
    assert (folder / "_native" / "vekr.h").is_file() and (folder / "py.typed").is_file()
    assert _native._BUNDLED == folder / "_native"
