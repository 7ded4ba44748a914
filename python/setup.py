"""The wheel's tag: any Python 3, and the platform of the library inside, which CALI_WHEEL_PLATFORM names."""
import os

from setuptools import Distribution, setup
from wheel.bdist_wheel import bdist_wheel


class PlatformWheel(bdist_wheel):
    def get_tag(self):
        return "py3", "none", os.environ["CALI_WHEEL_PLATFORM"]


class WithLibrary(Distribution):
    def has_ext_modules(self):
        return True


setup(cmdclass={"bdist_wheel": PlatformWheel}, distclass=WithLibrary)
