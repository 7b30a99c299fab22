"""What pyproject.toml cannot say: the platform of a wheel that contains the library.

It serves every Python 3, by ctypes, but one kind of machine. Without the library in the package the
wheel serves any machine, on which the loader has to find one.
"""

import pathlib

from setuptools import Distribution, setup
from wheel.bdist_wheel import bdist_wheel

LIBRARY = pathlib.Path(__file__).parent / "kxcms" / "libKXPipeline.so.1"


class Package(Distribution):
    def has_ext_modules(self):
        return LIBRARY.exists()


class Wheel(bdist_wheel):
    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


setup(distclass=Package, cmdclass={"bdist_wheel": Wheel})
