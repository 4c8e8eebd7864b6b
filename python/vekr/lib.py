"""The library's functions as they are, for those who know them.

Every function of ``vekr.h`` is here under its own name, with its own arguments. What is added:

* a status below 0 is raised as :class:`vekr.VekrError`, one above 0 is warned of as :class:`vekr.VekrWarning`;
* a pointer may be given as a numpy array of the pointer's type (C-contiguous, writeable where the function writes),
  a list of planes as a list of such arrays, a struct as a tuple, a null pointer as ``None``;
* the interpreter's lock is released during the call.

Beyond that nothing is tested: sizes, steps and addresses are the caller's, and a wrong one may end the interpreter.
``ffi`` is the cffi object with all types, ``raw`` the library without statuses turned to exceptions. The constants of
the header are here too. ``help(vekr.lib.vekrSH_32f)`` shows what the header says.

Examples
--------
>>> import numpy as np
>>> import vekr.lib as lib
>>> size = np.zeros(1, np.int32)
>>> lib.vekrWarpAffineGetBufSize((0, 0, 0, 8, 8, 8), (0, 0, 0, 8, 8, 8), 1, lib.vekrInterLinear, size)
0
>>> lib.vekrWarpAffineGetBufSize((0, 0, 0, 8, 8, 8), (0, 0, 0, 8, 8, 8), 3, lib.vekrInterLinear, size)
Traceback (most recent call last):
    ...
vekr.errors.VekrError: vekrWarpAffineGetBufSize: vekErrChannel: buffer size queries: the channel count is not 1 (status -53)
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Callable, Dict, Sequence

import numpy as np

from . import _header
from ._native import ffi, header, raw
from .errors import check

_ITEMS: Dict[str, "np.dtype[Any]"] = {
    "float": np.dtype(np.float32),
    "double": np.dtype(np.float64),
    "uint8_t": np.dtype(np.uint8),
    "uint16_t": np.dtype(np.uint16),
    "int16_t": np.dtype(np.int16),
    "int32_t": np.dtype(np.int32),
    "uint32_t": np.dtype(np.uint32),
}


class _Pointer:
    """Turns what a caller gives for one pointer parameter into what cffi takes."""

    def __init__(self, function: str, parameter: _header.Parameter) -> None:
        self.what = f"{function}: {parameter.name}"
        self.is_written = parameter.is_written
        self.stars = parameter.type.count("*")
        self.item = parameter.type.replace("const", "").replace("*", "").strip()

    def __call__(self, value: Any) -> Any:
        if value is None:
            return ffi.NULL
        if isinstance(value, np.ndarray):
            if self.stars == 2:
                return self._list(list(value))
            return ffi.cast("void *", ffi.from_buffer(self._checked(value)))
        if self.stars == 2 and isinstance(value, (list, tuple)):
            return self._list(value)
        return value

    def _list(self, values: Sequence[Any]) -> Any:
        pointers = [ffi.cast("void *", ffi.from_buffer(self._checked(v))) if isinstance(v, np.ndarray)
                    else ffi.NULL if v is None else ffi.cast("void *", v) for v in values]
        made = ffi.new(f"{self.item} *[]", [ffi.cast(f"{self.item} *", p) for p in pointers])
        return made

    def _checked(self, array: "np.ndarray[Any, Any]") -> "np.ndarray[Any, Any]":
        wanted = _ITEMS.get(self.item)
        if wanted is not None and array.dtype != wanted:
            raise TypeError(f"{self.what} takes {wanted}, not {array.dtype}")
        if not array.flags.c_contiguous:
            raise ValueError(f"{self.what} takes contiguous arrays")
        if self.is_written and not array.flags.writeable:
            raise ValueError(f"{self.what} is written to, and the array is read-only")
        return array


def _plain(value: Any) -> Any:
    return value


def _converter(function: str, parameter: _header.Parameter) -> Callable[[Any], Any]:
    if "*" in parameter.type:
        return _Pointer(function, parameter)
    return _plain


def _wrapped(function: _header.Function) -> Callable[..., Any]:
    call = getattr(raw, function.name)
    converters = [_converter(function.name, parameter) for parameter in function.parameters]
    name, has_status, count = function.name, function.result == "VekStatus", len(function.parameters)

    def wrapper(*args: Any) -> Any:
        if len(args) != count:
            raise TypeError(f"{name} takes {count} arguments, not {len(args)}")
        result = call(*[convert(arg) for convert, arg in zip(converters, args)])
        return check(result, name) if has_status and result else result

    wrapper.__name__ = wrapper.__qualname__ = name
    wrapper.__doc__ = f"{function.declaration}\n\n{function.comment}"
    return wrapper


_functions = _header.functions(header)
_constants = [name for name in dir(raw) if isinstance(getattr(raw, name), int)]
globals().update({name: _wrapped(function) for name, function in _functions.items()})
globals().update({name: getattr(raw, name) for name in _constants})

__all__ = ["ffi", "raw", *_functions, *_constants]

if TYPE_CHECKING:

    def __getattr__(name: str) -> Any: ...
