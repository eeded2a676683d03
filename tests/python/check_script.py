#!/usr/bin/env python3
"""check_script.py SCRIPT OUTPUTS: runs an example in Python; its files have to be those that its network left."""
import filecmp
import subprocess
import sys
import tempfile
from pathlib import Path

script, outputs = sys.argv[1:]
with tempfile.TemporaryDirectory() as folder:
    subprocess.run([sys.executable, script, folder], check=True)
    made = sorted(file.name for file in Path(folder).iterdir())
    assert made == sorted(file.name for file in Path(outputs).iterdir() if file.suffix != ".log"), made
    same, different, _ = filecmp.cmpfiles(folder, outputs, made, shallow=False)
    assert len(same) > 0 and not different, different
