#!/usr/bin/env python3
"""check_installed.py CMAKE BUILD DIRECTORY: what is installed is imported, and loads what lies beside it."""
import os
import subprocess
import sys
import tempfile
from pathlib import Path

cmake, build, directory = sys.argv[1:]
SCRIPT = """
import numpy as np, zam
print(zam.__file__, zam.tracer(np.ones((4, 4, 4), np.uint8), width=3, height=2).image().shape)
print(*{line.split()[-1] for line in open("/proc/self/maps") if "libzam_" in line})
"""
with tempfile.TemporaryDirectory() as prefix:
    subprocess.run([cmake, "--install", build, "--prefix", prefix], check=True, capture_output=True)
    assert Path(prefix, directory, "__init__.pyi").exists()
    environment = {**os.environ, "PYTHONPATH": str(Path(prefix, directory).parent)}
    shown = subprocess.run([sys.executable, "-c", SCRIPT], env=environment, check=True, capture_output=True, text=True)
    package, libraries = shown.stdout.splitlines()
    assert package.startswith(prefix) and package.endswith("(2, 3, 3)"), package
    assert all(library.startswith(prefix) for library in libraries.split()), libraries
