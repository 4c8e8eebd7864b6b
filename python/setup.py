"""Marks the wheel as one for every Python 3 on this platform: it holds the shared library, but no extension module."""

from setuptools import setup
from setuptools.dist import Distribution
from wheel.bdist_wheel import bdist_wheel


class PlatformDistribution(Distribution):
    """A distribution that is not pure."""

    def has_ext_modules(self) -> bool:
        return True


class AnyPythonWheel(bdist_wheel):
    """A wheel of no particular Python."""

    def get_tag(self) -> "tuple[str, str, str]":
        return "py3", "none", super().get_tag()[2]


setup(distclass=PlatformDistribution, cmdclass={"bdist_wheel": AnyPythonWheel})
