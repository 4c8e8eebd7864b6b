"""Statuses of the library as exceptions and warnings."""

from __future__ import annotations

import warnings

from . import _header, _native

_TEXTS = _header.statuses(_native.header)


def status_text(status: int) -> str:
    """Return what a status means, in the words of the header.

    Examples
    --------
    >>> status_text(-6)
    'vekErrSize: a count, length, dimension or divisor is out of range'
    """
    name, meaning = _TEXTS.get(status, ("unknown status", str(status)))
    return f"{name}: {meaning}" if meaning else name


class _StatusTold(Exception):
    # A status that isn't 0, and the function that returned it.

    def __init__(self, status: int, function: str = "") -> None:
        super().__init__(status, function)
        self.status = status
        self.function = function

    def __str__(self) -> str:
        text = f"{status_text(self.status)} (status {self.status})"
        return f"{self.function}: {text}" if self.function else text


class VekrError(_StatusTold):
    """A function of the library has refused its arguments or failed; its outputs are as they were.

    Attributes
    ----------
    status : int
        The library's status, below 0.
    """


class VekrWarning(_StatusTold, UserWarning):
    """A function of the library did less than it was asked for.

    Attributes
    ----------
    status : int
        The library's status, above 0.
    """


def check(status: int, function: str = "", stacklevel: int = 2) -> int:
    """Raise for a status below 0, warn for one above 0, and return it."""
    if status < 0:
        raise VekrError(status, function)
    if status > 0:
        warnings.warn(VekrWarning(status, function), stacklevel=stacklevel + 1)
    return status
