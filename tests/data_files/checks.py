"""What the checking scripts of data files share: fields that `zam run` makes of them, and what was found wrong.

A script is called with the program, works in a folder of its own and ends with `finish`. Whoever has not the program or
package that judges says so with `need` and is left out.
"""
import importlib
import json
import os
import subprocess
import sys
import tempfile
from pathlib import Path


def leave_out(why):
    print("left out: " + why)
    sys.exit(0)


def need(package):
    try:
        return importlib.import_module(package)
    except ImportError:
        return leave_out(f"{package} is not installed")


numpy = need("numpy")
zam = os.path.abspath(sys.argv[1])
faults = []
folder = tempfile.TemporaryDirectory()
os.chdir(folder.name)


def call(*arguments):
    return subprocess.run([zam, *arguments], capture_output=True, text=True, timeout=60)


def run(value, modules=None):
    """The field that a value makes, or what the program says against it."""
    objects = {"use": "host_view", "params": {"width": 1, "height": 1, "objects": [value]}}
    Path("n.json").write_text(json.dumps({"modules": {**(modules or {}), "s": objects}, "write": {"f.json": "s.objects[0]"}}))
    ended = call("run", "n.json")
    return json.loads(Path("f.json").read_text()) if ended.returncode == 0 else ended.stderr


def compare(name, field, **expected):
    """expected: members of the field, `values` of its first component, `type` and others of that component."""
    if isinstance(field, str):
        return faults.append(f"{name}: {field}")
    component = field["node_data"][0]
    for key, wanted in expected.items():
        got = field.get(key, component.get(key))
        if key in ("values", "points"):
            got = numpy.array([float(value) for value in got])
            wanted = numpy.asarray(wanted, dtype="f8").ravel()
            same = got.shape == wanted.shape and numpy.allclose(got, wanted, rtol=1e-6, atol=1e-9, equal_nan=True)
        else:
            same = got == wanted
        if not same:
            faults.append(f"{name}: {key} is {got}, not {wanted}")


def refused(name, value, text, modules=None):
    said = run(value, modules)
    if not isinstance(said, str) or text not in said:
        faults.append(f"{name}: {said} where \"{text}\" was expected")


def says(name, text, *arguments):
    """A call of the program that says a text somewhere."""
    ended = call(*arguments)
    if text not in ended.stdout + ended.stderr:
        faults.append(f"{name}: {ended.stdout + ended.stderr} where \"{text}\" was expected")


def finish():
    os.chdir("/")
    print("\n".join(faults) or "all as it should be")
    sys.exit(1 if faults else 0)
