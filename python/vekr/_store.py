"""A scene as a folder of plain ``.npy`` files, and the sums beside them that tell whether they are whole."""

from __future__ import annotations

import json
import zlib
from pathlib import Path
from typing import Dict, Sequence

import numpy as np

from ._rays import Array

_FORMAT = 1
_SUMS = "scene.json"


def write(folder: Path, parts: Dict[str, Array]) -> None:
    """Write arrays under their names."""
    folder.mkdir(parents=True, exist_ok=True)
    sums: Dict[str, int] = {}
    for name, array in parts.items():
        np.save(folder / f"{name}.npy", array)
        sums[name] = _checksum(array)
    (folder / _SUMS).write_text(json.dumps({"format": _FORMAT, "crc32": sums}) + "\n", encoding="utf-8")


def read(folder: Path, names: Sequence[str], mmap: bool, verify: bool) -> Dict[str, Array]:
    """Read arrays by their names, mapped if `mmap`, compared with their sums if `verify`; ValueError if that fails."""
    try:
        told = json.loads((folder / _SUMS).read_text(encoding="utf-8"))
        if told["format"] != _FORMAT:
            raise ValueError(f"{folder} was written by another version")
        parts = {name: np.asarray(np.load(folder / f"{name}.npy", mmap_mode="r" if mmap else None, allow_pickle=False))
                 for name in names}
        if verify:
            for name, array in parts.items():
                if _checksum(array) != told["crc32"][name]:
                    raise ValueError(f"{name}.npy is not what was saved")
    except (OSError, KeyError, TypeError, ValueError) as problem:
        raise ValueError(f"{folder} holds no whole scene: {problem}") from problem
    return parts


def _checksum(array: Array) -> int:
    return zlib.crc32(np.ascontiguousarray(array).reshape(-1).view(np.uint8).data)
