"""Finds, declares and opens the shared library."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Any

import cffi

from . import _header

_PACKAGE = Path(__file__).resolve().parent
_BUNDLED = _PACKAGE / "_native"  # what a wheel brings along
_SOURCE = _PACKAGE.parent.parent  # the source tree, if the package lies in one
_SONAME = "libvekre9.so.6.1"

# What the companion library adds; it is opened along with the library that needs it.
_COMPANION = "void vekSetNumThreads(int32_t count); int32_t ownGetNumThreads(void);"


def _header_text() -> str:
    for path in (_BUNDLED / "vekr.h", _SOURCE / "include" / "vekr.h", Path("/usr/include/vekr.h"),
                 Path("/usr/local/include/vekr.h")):
        if path.is_file():
            return path.read_text(encoding="utf-8")
    raise ImportError("vekr.h, from which the functions are declared, was not found beside the package")


def _candidates() -> "list[str]":
    """Return where to look for the library: what the environment says, the wheel's, the build tree's, the system's."""
    told = os.environ.get("VEKR_LIBRARY")
    if told:
        return [told]
    files = [_BUNDLED / _SONAME, _SOURCE / "build" / "release" / "lib" / _SONAME]
    return [str(path) for path in files if path.is_file()] + [_SONAME]


def _open() -> Any:
    problems = []
    for candidate in _candidates():
        try:
            return ffi.dlopen(candidate)
        except OSError as problem:
            problems.append(str(problem))
    raise ImportError(f"{_SONAME} could not be opened ({'; '.join(problems)}); set VEKR_LIBRARY to its path")


header = _header_text()
ffi: Any = cffi.FFI()
ffi.cdef(_header.declarations(header))
ffi.cdef(_COMPANION)
raw: Any = _open()


def address(array: Any) -> int:
    """Return where an array's first element lies; fastest where the array is contiguous."""
    if array.flags.c_contiguous:
        return int(ffi.cast("intptr_t", ffi.from_buffer(array)))
    return int(array.__array_interface__["data"][0])
