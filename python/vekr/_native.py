"""Finds, declares and opens the shared library."""

from __future__ import annotations

import os
import struct
from pathlib import Path
from typing import Any, Sequence

import _cffi_backend as backend  # what cffi itself stands on: its own functions look types up by name on every call
import cffi

from . import _header

_PACKAGE = Path(__file__).resolve().parent
_BUNDLED = _PACKAGE / "_native"  # what a wheel brings along
_SOURCE = _PACKAGE.parent.parent  # the source tree, or the folder of libraries, if the package lies in one
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
    files = [_BUNDLED / _SONAME, _SOURCE / "build" / "release" / "lib" / _SONAME, _SOURCE / _SONAME]
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


_VOID, _INTEGER = ffi.typeof("void *"), ffi.typeof("intptr_t")
_packers = [struct.Struct(f"{count}P").pack for count in range(8)]
_ADDRESSES, _INT, _SIZE = ffi.typeof("uintptr_t[]"), ffi.typeof("int32_t *"), ffi.typeof("float[3]")
_ADDRESS = ffi.typeof("uintptr_t *")
_cast, _from_buffer, _new = backend.cast, backend.from_buffer, backend.newp


def address(array: Any) -> int:
    """Return where an array's first element lies; fastest where the array is contiguous."""
    if array.flags.c_contiguous:
        return int(_cast(_INTEGER, _from_buffer(_VOID, array, False)))
    return int(array.__array_interface__["data"][0])


def pointer_to(array: Any) -> Any:
    """Return where a contiguous array begins, as a pointer parameter takes it."""
    return _from_buffer(_VOID, array, False)


def pointer(place: int) -> Any:
    """Return an address as what a pointer parameter takes."""
    return _cast(_VOID, place)


def pointers(places: Sequence[int]) -> Any:
    """Return addresses of planes as a list of planes."""
    return _from_buffer(_VOID, _packers[len(places)](*places), False)


def address_list(places: Sequence[int]) -> Any:
    """Return memory that holds addresses."""
    return _new(_ADDRESSES, places)


def within(memory: Any, number: int = 0) -> Any:
    """Return a list of addresses from one of them on, as a pointer parameter takes it."""
    return _cast(_VOID, _cast(_ADDRESS, memory) + number if number else memory)


def int_out() -> Any:
    """Return room for an int that a function writes."""
    return _new(_INT)


def triple(values: Sequence[float]) -> Any:
    """Return three floats."""
    return _new(_SIZE, values)
