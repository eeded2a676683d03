#!/usr/bin/env python3
"""check_parts.py ZAM MODULES: a network played in parts, killed and resumed writes what one run of it writes."""
import json
import os
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

zam = os.path.abspath(sys.argv[1])
os.environ["ZAM_MODULE_PATH"] = os.path.abspath(sys.argv[2])
scratch = tempfile.TemporaryDirectory()
os.chdir(scratch.name)

square = {"field": {"dims": [2, 2], "points": [-0.3, 0.1, 0, 0.4]}}
turn = {"view.xform.rotate": [[0, 0, 0], [0, 0, 360]]}
NETWORK = {
    "modules": {
        "view": {"use": "host_view", "params": {"objects": [square], "width": 40, "height": 30, "xform": {"rotate": [0, 0, 0]}}},
        "reader": {"use": "read_field", "params": {"filename": "steps.fld"}},
        "add": {"use": "test_add", "params": {"b": 1}},  # remembers its runs in add.changed
        "after": {"use": "host_view", "params": {"objects": [square], "width": {"ref": "add.sum"}, "height": 9}},
        "scaled": {"use": "test_scale", "params": {"values": {"values_file": "a.raw", "type": "float"}}},
    },
    "events": [
        {"write": {"before.png": "view.out"}},
        {"for": {**turn, "view.background": [[1, 0, 0], [0, 0, 1]]}, "steps": 7, "fps": 3,
         "write": {"turn.webp": "view.out", "sub/t%d.png": "view.out"}},
        {"set": {"view.width": 20}},
        {"for": {"reader.stepno": [1, 5], "view.height": [10, 10]}, "steps": 5,
         "write": {"step%d.json": "reader.out", "h%d.png": "view.out", "h.webp": {"from": "view.out", "alpha": True}}},
        {"for": {"add.a": [1, 6]}, "steps": 6, "write": {"add%d.json": "add", "after%d.png": "after.out"}},
        {"for": {"scaled.values": [{"values_file": "a.raw", "type": "float"}, {"values_file": "b.raw", "type": "float"}]}, "steps": 2,
         "write": {"scaled%d.raw": "scaled.scaled"}},
        {"write": {"after.png": "view.out"}},
    ],
    "write": {"add.json": "add", "end.png": "view.out"},
}
Path("n.json").write_text(json.dumps(NETWORK))
Path("a.raw").write_bytes(bytes(4))
Path("b.raw").write_bytes(bytes.fromhex("0000803f"))
Path("values.txt").write_text("".join(f"{step} {step * step}\n" for step in range(5)))
Path("steps.fld").write_text("# AVS\nndim=1 dim1=2 nspace=1 veclen=1 data=float field=uniform nstep=5\n" + "".join(
    f"time value={step}\nvariable 1 file=values.txt filetype=ascii skip={step}\nEOT\n" for step in range(5)))


def call(*words, status=0):
    done = subprocess.run([zam, *words], capture_output=True, text=True, timeout=60)
    assert done.returncode == status, (words, done.returncode, done.stderr)
    return done.stderr


def run(directory, *options, network="n.json"):
    """Runs, and says how often each module was called."""
    call("run", network, "--output-dir", directory, "--log", "log", *options)
    calls = [json.loads(line)["module"] for line in Path("log").read_text().splitlines() if '"event":"update"' in line]
    return {module: calls.count(module) for module in calls}


def contents(directory):
    return {str(file.relative_to(directory)): file.read_bytes() for file in Path(directory).rglob("*") if file.is_file()}


def expect_whole(directory):
    found = contents(directory)
    assert found.keys() == whole.keys(), (directory, found.keys() ^ whole.keys())
    assert found == whole, (directory, [name for name in whole if whole[name] != found[name]])


def touch(name):
    time.sleep(0.02)  # as long as the clock of a file system may stand still
    os.utime(name)
    time.sleep(0.02)


time.sleep(0.02)
run("whole")
whole = contents("whole")
assert len(whole) == 4 + 2 + 7 + 5 + 5 + 6 + 6 + 2, sorted(whole)

for parts in (2, 3, 9):
    directory = f"in{parts}"
    calls = [run(directory, "--part", f"{part}/{parts}") for part in reversed(range(parts))]
    call("join", "n.json", "--output-dir", directory)
    expect_whole(directory)
assert calls[0] == {}, calls[0]  # of part 8 of 9, for which there is no frame

# a part plays its own frames alone, and those before them only of what remembers
calls = run("alone", "--part", "2/3")
assert calls["add"] > 6 and calls["after"] == 3 and calls["view"] < 10, calls
assert "turn.webp: 5 of 7 frames are missing: 0-1, 3-4, 6" in call("join", "n.json", "--output-dir", "alone", status=1)
assert not Path("alone/turn.webp").exists()

# what is there is left out, what was touched or is gone is made again
assert run("in2", "--resume") == {} and run("in2", "--resume", "--part", "1/2") == {}
touch("b.raw")
assert run("in2", "--resume")["scaled"] == 2
expect_whole("in2")
Path("in2/sub/t3.png").unlink()
Path("in2/step2.json").unlink()
assert run("in2", "--resume").get("view", 0) < 7
expect_whole("in2")
touch("n.json")
assert run("in2", "--resume")["view"] > 10
expect_whole("in2")
stamp = os.stat("in2/end.png").st_mtime_ns
os.utime("n.json", ns=(stamp, stamp))  # equal times do not count as newer
assert run("in2", "--resume") != {}

# a killed part, and a film that is made again as a whole
film = {**NETWORK, "events": [{"for": turn, "steps": 400, "write": {"film.webp": "view.out"}}], "write": {}}
film["modules"]["view"]["params"].update(width=200, height=200)
Path("film.json").write_text(json.dumps(film))
time.sleep(0.02)
run("film", network="film.json")
killed = subprocess.Popen([zam, "run", "film.json", "--output-dir", "killed", "--part", "1/2"])
while not Path("killed/film.webp.frames/00005.webp").exists():
    time.sleep(0.001)
killed.send_signal(signal.SIGKILL)
killed.wait()
done = len(list(Path("killed/film.webp.frames").glob("*.webp")))
Path("killed/film.webp.frames/00007.webp.part").write_bytes(b"half a fr")
assert done < 200 and run("killed", "--resume", "--part", "1/2", network="film.json")["view"] == 1 + 200 - done
run("killed", "--resume", network="film.json")
assert contents("killed") == contents("film")
print("the same files in 2, 3 and 9 parts, and after a part was killed")
