"""The wheel's tag: any Python 3, since ctypes loads what is compiled, on the system that it is compiled for."""
from typing import Tuple

from setuptools import Distribution, setup
from wheel.bdist_wheel import bdist_wheel


class WithLibraries(Distribution):
    """What is in it belongs to one system, though nothing is an extension of Python."""

    def has_ext_modules(self) -> bool:
        return True


class AnyPython(bdist_wheel):
    def get_tag(self) -> Tuple[str, str, str]:
        return ("py3", "none", super().get_tag()[2])


setup(distclass=WithLibraries, cmdclass={"bdist_wheel": AnyPython})
