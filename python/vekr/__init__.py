"""vekr: rays, harmonics and volumes, the same to the last bit on every run.

============================  =========================================================================================
:mod:`vekr.volume`            resize, affine warp, remap and filter volumes
:class:`vekr.Scene`           cast rays at triangle meshes (:mod:`vekr.mesh`)
:mod:`vekr.sh`                spherical harmonics: values, projection, reconstruction
:mod:`vekr.lib`               the 51 functions of the library as they are
============================  =========================================================================================
"""

from . import lib, volume
from ._work import get_threads, set_threads
from .errors import VekrError, VekrWarning

__version__ = "6.1"

__all__ = ["VekrError", "VekrWarning", "get_threads", "lib", "set_threads", "volume"]
