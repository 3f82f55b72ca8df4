"""The wheel of the Python module: CMake builds, setuptools packs. ZOLT_BUILD_FOLDER names a build folder of the project
that is to be used instead of one of the wheel's own."""
import os
import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"project\(zolt_mfdenoise VERSION ([\d.]+)", (HERE / "CMakeLists.txt").read_text())[1]
OFF = [f"-DZOLT_BUILD_{part}=OFF" for part in ("TOOLS", "TESTS", "BENCHMARKS", "FUZZERS")]


class BuildByCMake(build_ext):
    def build_extension(self, ext):
        folder = os.environ.get("ZOLT_BUILD_FOLDER")
        if not folder:
            folder = os.path.abspath(self.build_temp)
            subprocess.run(
                ["cmake", "-S", HERE, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                 "-DZOLT_BUILD_PYTHON=ON", f"-DPython3_EXECUTABLE={sys.executable}", *OFF],
                check=True,
            )
        subprocess.run(["cmake", "--build", folder, "--target", "zolt_python"], check=True)
        package = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve().parent
        subprocess.run(["cmake", "--install", folder, "--component", "wheel", "--prefix", package], check=True)


setup(
    version=VERSION,
    packages=["zolt_burst"],
    package_dir={"": "bindings/python"},
    package_data={"zolt_burst": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("zolt_burst._native", sources=[])],
    cmdclass={"build_ext": BuildByCMake},
    options={"egg_info": {"egg_base": "build"}} if (HERE / "build").is_dir() else {},
)
