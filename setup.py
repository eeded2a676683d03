"""The wheel: the Python module with the libraries and definitions that it loads, as CMake builds and installs them."""
import re
import sys
from pathlib import Path

from skbuild import setup

VERSION = re.search(r"project\(zam VERSION (\S+)", (Path(__file__).parent / "CMakeLists.txt").read_text())[1]


def is_of_the_wheel(file):
    """Whether an installed file is the module's, a library that it loads, or data of modules."""
    inside = file.parts[file.parts.index("cmake-install") + 3 :]  # of the package: python/zam/...
    if inside[0] == "lib":
        # A wheel has no links, only copies: a library comes once, by the name that others load it by (.so.0.1)
        versions = re.search(r"\.so((\.\d+)*)$", file.name)
        return bool(versions) and (versions[1].count(".") == 2 or (not versions[1] and not file.is_symlink()))
    return len(inside) == 1 or inside[:2] == ("share", "zam")


setup(
    version=VERSION,
    packages=["zam"],
    package_dir={"zam": "python/zam"},
    cmake_install_dir="python/zam",
    cmake_install_target="install/strip",
    cmake_process_manifest_hook=lambda files: [file for file in files if is_of_the_wheel(Path(file))],
    cmake_args=[
        *(f"-DZAM_BUILD_{part}=OFF" for part in ("TESTS", "BENCHMARKS", "EXAMPLES")),
        f"-DPython_EXECUTABLE={sys.executable}",
        "-DCMAKE_INSTALL_LIBDIR=lib",
        "-DZAM_PYTHON_DIR=.",
    ],
)
