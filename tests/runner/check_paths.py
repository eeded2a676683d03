#!/usr/bin/env python3
"""check_paths.py ZAM EXAMPLES SYSTEM: names of directories of every kind, wherever a file or a directory is named.

Each kind gets the same files, and a network that names them all. What it writes has to be what it writes for a plain name.
"""
import atexit
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

zam, examples, system = os.path.abspath(sys.argv[1]), Path(sys.argv[2]).resolve(), sys.argv[3]

os.chdir(tempfile.mkdtemp())
here = os.getcwd()
atexit.register(shutil.rmtree, here)
long = "/".join(["d" * 90] * 3)  # longer than the 260 characters of old interfaces
# each with what its name is to the program
KINDS = [("plain", "plain"), ("a blank", "a blank"), ("für", "für"), ("漢字", "漢字"), ("up/down", "up/../up/down"),
         (long, long), ("absolute", f"{here}/absolute")]
if system == "Windows":
    drive = "Z:" + here.replace("/", "\\")
    KINDS += [("down/below", r"down\below"), ("drive", drive + r"\drive"), ("slashes", drive.replace("\\", "/") + "/slashes"),
              ("unc für", r"\\?\unix" + here.replace("/", "\\") + r"\unc für")]
# where the system's calls for settings know no longer ones
NOT_BY_LONG_NAMES = ("threshold.json", "saved.ini", "all") if system == "Windows" else ()


def network(name):
    """Every parameter that names a file or a directory, and the outputs that show what was found."""
    def file(inner):
        return f"{name}/{inner}" if "/" in name or "\\" not in name else f"{name}\\{inner}"
    capture = {"saveMode": 0, "tmpDir": name, "in": [{"ref": "view.out"}]}
    shown = {"nnodes": 3, "nspace": 2, "coord": {"values_file": file("triangle.raw"), "type": "float"},
             "cell_sets": [{"name": "Tri", "ncells": 1, "connect": [0, 1, 2]}]}
    return {
        "modules": {
            "field": {"use": "read_field", "params": {"filename": file("a.fld")}},
            "grid": {"use": "ZAMread_frt", "params": {"frt_fname": file("cylinder.dat")}},
            "voxels": {"use": "ZAMread_voxel_update", "params": {"filename": file("v.txt")}},
            "files": {"use": "GetFilesCore_update", "params": {"dir": name, "ext": "txt"}},
            "settings": {"use": "ZAM_LIB_QELjoySetParams", "params": {"section": "s", "load_file": file("joystick.ini")}},
            "view": {"use": "host_view", "params": {"objects": [{"field": shown}], "width": 20, "height": 20}},
            "capture": {"use": "ZBufCaptureUpdate", "params": capture},
            "merged": {"use": "MergeImagesUpdate", "params": {"currCount": {"ref": "capture.currCount"}, "saveMode": 0,
                                                              "currDir": {"ref": "capture.currDir"}, "backCol": [0, 0, 0]}},
            "clear": {"use": "ZBufClearUpdate"},
        },
        "events": [{"set": {"settings.save_file": file("saved.ini")}},
                   {"write": {"captured.json": "capture.currCount"}},
                   {"set": {"clear.currDir": {"ref": "capture.currDir"}}}],
        "write": {"field.json": "field.out", "grid.vts": "grid.out", "voxels.raw": "voxels.outfld", "files.json": "files.files",
                  "threshold.json": "settings.threshold", "view.png": "view.out", "merged.png": "merged.out_fld"},
    }


def fill(directory):
    directory.mkdir(parents=True)
    (directory / "a.fld").write_text("# AVS\nndim=1 dim1=3 nspace=1 veclen=1 data=float field=uniform\n"
                                     "variable 1 file=values.txt filetype=ascii skip=0\n")
    (directory / "values.txt").write_text("1 2 4\n")
    (directory / "v.txt").write_text("".join(f"{x} {y} {z} {x + y * z}\n" for z in (0, 1) for y in (0, 1) for x in (0, 1)))
    (directory / "joystick.ini").write_text("[s]\nthreshold=0.25\n")
    (directory / "triangle.raw").write_bytes(bytes.fromhex("000000bf 000000bf 0000003f 000000bf 00000000 0000003f"))
    shutil.copy(examples / "cylinder" / "cylinder.dat", directory)


def run(place, name):
    """What the network writes, how saved settings look, and what else is there afterwards, by their names."""
    directory = Path(place)
    fill(directory)
    Path("network.json").write_text(json.dumps(network(name)), encoding="utf-8")
    (directory / "beside.json").write_text('{"modules": {"r": {"use": "read_field", "params": {"filename": "a.fld"}}}}')
    for command in (["run", "network.json", "--output-dir", f"{name}/out", "--log", f"{name}/log"],
                    ["info", f"{name}/a.fld"], ["run", f"{name}/beside.json"]):
        done = subprocess.run([zam, *command], capture_output=True, text=True, stdin=subprocess.DEVNULL)
        if done.returncode != 0 or done.stderr:
            sys.exit(f"{name}: {command}: {done.returncode}: {done.stderr}")
    written = {file.name: file.read_bytes() for file in (directory / "out").iterdir()}
    saved = directory / "saved.ini"
    written["saved.ini"] = saved.read_bytes() if saved.exists() else b""
    written["all"] = sorted(re.sub(r"\d+", "N", file.name) for file in directory.iterdir())  # captures by process
    return written


expected = run(*KINDS[0])
faults = []
for place, name in KINDS[1:]:
    for file, contents in run(place, name).items():
        if contents != expected[file] and not (name == long and file in NOT_BY_LONG_NAMES):
            faults.append(f"{name}: {file} is not what it is elsewhere")
if json.loads(expected["captured.json"]) != 1 or len(expected["files.json"]) < 20:
    faults.append(f"captures and files were not found: {expected['captured.json']} {expected['files.json']}")
print("\n".join(faults) or f"{len(KINDS)} kinds of names, {len(expected)} results each")
sys.exit(1 if faults else 0)
