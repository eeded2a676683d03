#!/usr/bin/env python3
"""check_faults.py CASE ZAM ZAM_MPI MPIEXEC: what becomes of a network on four ranks when one of them fails.

Each case ends in time with a status and a message, leaves nothing half written under its name, and what is missing
afterwards --resume makes: the same bytes as those of one process.
"""
import json
import os
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

case, zam, zam_mpi, mpirun = sys.argv[1:]
RANKS = 4
FRAMES = 24
LIMIT = 100  # seconds for any run


def write_network(folder, side=96, frames=FRAMES):
    folder.mkdir(exist_ok=True)
    (folder / "volume.raw").write_bytes(bytes(i * i % 251 for i in range(32 ** 3)))
    field = {"dims": [32, 32, 32], "node_data": [{"type": "byte", "values": {"values_file": "volume.raw"}}]}
    render = {"in": {"field": field}, "width": side, "height": side, "interpolate": 1, "color_table": {"preset": "heat"}}
    film = {"for": {"render.xform.rotate": [[0, 0, 0], [0, 90, 0]]}, "steps": frames,
            "write": {"film.webp": "render.out", "frame_%02d.png": "render.out"}}
    network = {"modules": {"render": {"use": "ZAMtracer_render_update", "params": render}}, "events": [film],
               "write": {"last.png": "render.out"}}
    (folder / "network.json").write_text(json.dumps(network))
    return folder / "network.json"


def start(networks, output, *options, wait=60):
    """zam-mpi on one network per rank."""
    contexts = []
    for network in networks:
        contexts += [":"] * bool(contexts) + ["-n", "1", zam_mpi, "run", network, "--output-dir", output, *options]
    words = [mpirun, "--oversubscribe", *["--allow-run-as-root"] * (os.geteuid() == 0), *map(str, contexts)]
    environment = {**os.environ, "ZAM_RANKS_WAIT": str(wait)}
    return subprocess.Popen(words, stderr=subprocess.PIPE, stdout=subprocess.PIPE, text=True, env=environment)


def end(process):
    try:
        _, told = process.communicate(timeout=LIMIT)
    except subprocess.TimeoutExpired:
        process.terminate()
        raise SystemExit("zam-mpi hangs: " + process.communicate()[1])
    return process.returncode, told


def rank_processes(process):
    """The ranks that this mpirun has started."""
    children = subprocess.run(["ps", "--ppid", str(process.pid), "-o", "pid=,comm="], capture_output=True, text=True).stdout
    return [int(line.split()[0]) for line in children.splitlines() if line.split()[1] == "zam-mpi"]


def files(folder):
    return {path.relative_to(folder): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def hurt(process, output, what):
    """Sends a signal to the last rank once some frames are there."""
    deadline = time.monotonic() + LIMIT
    while len(list(output.glob("frame_*.png"))) < 4:
        assert process.poll() is None and time.monotonic() < deadline, end(process)
        time.sleep(0.01)
    os.kill(rank_processes(process)[-1], what)


with tempfile.TemporaryDirectory() as scratch:
    here = Path(scratch)
    output, expected = here / "out", here / "expected"
    network = write_network(here / "all", *{"killed": [400], "stopped": [400]}.get(case, []))
    subprocess.run([zam, "run", network, "--output-dir", expected], check=True)
    same = [network] * RANKS
    if case == "killed":
        run = start(same, output)
        hurt(run, output, signal.SIGKILL)
        status, told = end(run)
        wanted = "signal 9"
    elif case == "stopped":
        run = start(same, output, wait=5)
        hurt(run, output, signal.SIGSTOP)
        status, told = end(run)
        wanted = "has waited 5 s for other ranks"
    elif case == "full":
        output.mkdir()
        for number in 5, 17:  # for these the disk is full
            (output / f"frame_{number:02}.png").symlink_to("/dev/full")
        status, told = end(start(same, output))
        wanted = "frame 5 failed, the first one that did"
        assert "frame_05.png: cannot write" in told, told
        for link in filter(Path.is_symlink, list(output.iterdir())):
            link.unlink()
    elif case == "missing":
        other = write_network(here / "other")
        (other.parent / "volume.raw").unlink()
        status, told = end(start([network] * (RANKS - 1) + [other], output))
        wanted = "rank 3: "
    assert status != 0 and wanted in told, f"{status}: {told}"
    whole = files(expected)
    halves = [name for name, data in files(output).items() if name in whole and data != whole[name]]
    assert not halves, f"{halves} are half written"
    status, told = end(start(same, output, "--resume"))
    assert status == 0 and files(output) == whole, f"{status}: {told} {sorted(map(str, files(output)))}"
