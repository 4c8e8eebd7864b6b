"""The functions as they are."""

import subprocess
import sys
import warnings

import numpy as np
import pytest

import vekr
import vekr.lib as lib
from vekr import _header, _native


def test_all_functions_of_the_header_are_there_with_their_texts():
    declared = [line for line in _native.header.splitlines() if line.startswith("VEKR_API")]
    functions = _header.functions(_native.header)
    assert len(declared) == len(functions) == 51
    for name in functions:
        assert callable(getattr(lib, name))
        assert name in getattr(lib, name).__doc__
        assert functions[name].comment, name


def test_constants_are_those_of_the_header():
    assert lib.vekrInterCubicMitchell == 7 and lib.vekErrCoeff == -56 and lib.vekrPSAHBuildIdentifier == 0x2D07705B


def test_every_status_has_its_text():
    statuses = _header.statuses(_native.header)
    assert len(statuses) == 15
    assert str(vekr.VekrError(-8)) == "vekErrNullPtr: a pointer is null; looked for before sizes, but for the tree's context (status -8)"


def test_an_error_is_raised_with_its_status():
    with pytest.raises(vekr.VekrError) as caught:
        lib.vekrSHGetSize_32f(16, lib.vekrSHDirect, np.zeros(1, np.uint32))
    assert caught.value.status == lib.vekErrSize
    with pytest.raises(vekr.VekrError) as caught:
        lib.vekrTriangleAccelGetSize(None)
    assert caught.value.status == lib.vekErrNullPtr


def test_a_warning_is_warned_and_returned():
    source, out = np.zeros((4, 4, 4), np.uint8), np.zeros((4, 4, 4), np.uint8)
    planes = lambda a: [a[z] for z in range(4)]
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        status = lib.vekrWarpAffine_8u_C1PV(planes(source), (4, 4, 4), 4, (9, 0, 0, 1, 1, 1), planes(out), 4,
                                            (0, 0, 0, 4, 4, 4), np.eye(3, 4), lib.vekrInterNearest)
    assert status == lib.vekWarnNoOverlap
    assert caught[0].category is vekr.VekrWarning and caught[0].message.status == 40
    assert caught[0].filename == __file__


def test_arrays_are_tested_for_type_layout_and_writing():
    size = np.zeros(1, np.int32)
    with pytest.raises(TypeError):
        lib.vekrTriangleAccelGetSize(np.zeros(1, np.float32))
    with pytest.raises(TypeError):
        lib.vekrTriangleAccelGetSize(size, size)
    size.setflags(write=False)
    with pytest.raises(ValueError):
        lib.vekrTriangleAccelGetSize(size)
    with pytest.raises(ValueError):
        lib.vekrSetBoundBox_32f(np.zeros((4, 6), np.float32)[:, ::2], 4, np.zeros(6, np.float32))


def test_read_only_arrays_may_be_read():
    vertices, box = np.ones((4, 3), np.float32), np.zeros(6, np.float32)
    vertices.setflags(write=False)
    assert lib.vekrSetBoundBox_32f(vertices, 4, box) == 0
    assert box[0] < 1 < box[3]


def test_version_record():
    version = lib.vekrGetLibVersion()
    assert version.major == 6
    assert lib.ffi.string(version.name)


def test_the_thread_count_is_the_librarys():
    vekr.set_threads(3)
    assert vekr.get_threads() == 3 == lib.raw.ownGetNumThreads()
    vekr.set_threads(0)
    assert vekr.get_threads() >= 1
    with pytest.raises(ValueError):
        vekr.set_threads(-1)


def test_a_missing_library_is_told():
    run = subprocess.run([sys.executable, "-c", "import vekr"], env={"VEKR_LIBRARY": "/nowhere/lib.so", "PATH": "/usr/bin"},
                         cwd=_native._PACKAGE.parent, capture_output=True, text=True)
    assert run.returncode == 1 and "/nowhere/lib.so" in run.stderr and "VEKR_LIBRARY" in run.stderr
