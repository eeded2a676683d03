"""The wheel: the Python module with the libraries and definitions that it loads, as CMake builds and installs them."""
import os
import re
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent
VERSION = re.search(r"project\(zam VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1]
OPTIONS = [
    *(f"-DZAM_BUILD_{part}=OFF" for part in ("TESTS", "BENCHMARKS", "EXAMPLES")),
    f"-DPython_EXECUTABLE={sys.executable}",
    "-DCMAKE_INSTALL_LIBDIR=lib",
    "-DZAM_PYTHON_DIR=.",
    *shlex.split(os.environ.get("CMAKE_ARGS", "")),
]


def is_loaded(library):
    """Whether others load a library by this name: by that with the interface's version, if any (.so.0.1)."""
    versions = re.search(r"\.so((\.\d+)*)$", library.name)[1].count(".")
    return versions == 2 or (versions == 0 and not library.is_symlink())


class Build(build_ext):
    def run(self):
        build = Path(self.build_temp).absolute()
        installed, package = build / "installed", Path(self.build_lib).absolute() / "zam"

        def cmake(*arguments):
            subprocess.run(["cmake", *map(os.fspath, arguments)], check=True)

        cmake("-S", ROOT, "-B", build, "-G", "Ninja", *OPTIONS)
        cmake("--build", build)
        cmake("--install", build, "--prefix", installed, "--strip")
        (package / "lib").mkdir(parents=True, exist_ok=True)
        for file in installed.iterdir():
            if file.is_file():
                shutil.copy(file, package)
        for library in (installed / "lib").glob("libzam_*.so*"):
            if is_loaded(library):  # a wheel has no links, only copies
                shutil.copy(library, package / "lib")
        shutil.copytree(installed / "share/zam", package / "share/zam", dirs_exist_ok=True)


setup(version=VERSION, packages=[], ext_modules=[Extension("zam._core", [])], cmdclass={"build_ext": Build})
