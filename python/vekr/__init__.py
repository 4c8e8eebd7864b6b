"""vekr: rays, harmonics and volumes, the same to the last bit on every run.

============================  =========================================================================================
:mod:`vekr.volume`            resize, affine warp, remap and filter volumes
:class:`vekr.Scene`           cast rays at triangle meshes (:mod:`vekr.mesh`)
:mod:`vekr.sh`                spherical harmonics: values, projection, reconstruction
:mod:`vekr.lib`               the 51 functions of the library as they are
============================  =========================================================================================
"""

from . import lib, mesh, sh, volume
from ._work import get_threads, set_threads
from .errors import VekrError, VekrWarning
from .mesh import Camera, Hits, Scene

__version__ = "6.1"

__all__ = ["Camera", "Hits", "Scene", "VekrError", "VekrWarning", "get_threads", "lib", "mesh", "set_threads", "sh", "volume"]
