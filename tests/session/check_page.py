#!/usr/bin/env python3
"""check_page.py PAGE SOURCE_DIR LIBRARY CC CXX: compiles each program of a page against the library, and runs it."""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

page, source, library, cc, cxx = sys.argv[1:]
programs = re.findall(r"^```(cpp|c)\n(.*?)^```", Path(page).read_text(), re.MULTILINE | re.DOTALL)
assert len(programs) >= 3, "the programs of the page were not found"
with tempfile.TemporaryDirectory() as folder:
    for language, text in programs:
        file = Path(folder) / f"program.{language}"
        file.write_text(text)
        compiler = [cxx, "-std=c++20"] if language == "cpp" else [cc, "-std=c99", "-pedantic"]
        command = [*compiler, "-Wall", "-Werror", "-I", source, str(file), library, "-o", "program"]
        subprocess.run([*command, f"-Wl,-rpath,{Path(library).parent}"], cwd=folder, check=True)
        done = subprocess.run(["./program"], cwd=folder, capture_output=True, text=True, timeout=60)
        assert done.returncode == 0 and done.stdout and not done.stderr, done
    assert (Path(folder) / "voxels.png").read_bytes().startswith(b"\x89PNG")
