"""Checks that zam-mpi on several ranks writes the bytes of zam alone: check_ranks.py ZAM ZAM_MPI MPIEXEC [NETWORK...].

Without networks it runs scenes of its own; networks are run where they lie.
"""
import filecmp
import json
import os
import subprocess
import sys
import tempfile
from array import array
from pathlib import Path

zam, zam_mpi, mpiexec = (os.path.abspath(path) for path in sys.argv[1:4])
networks = [os.path.abspath(path) for path in sys.argv[4:]]
# a rank that waits for ever fails the test; root runs tests in containers
environment = {**os.environ, "ZAM_RANKS_WAIT": "60", "OMPI_ALLOW_RUN_AS_ROOT": "1", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1"}
faults = []

RED, GREEN, BLUE, GREY = [1, 0, 0], [0, 1, 0], [0, 0, 1], [0.5, 0.5, 0.5]
TURNED = {"rotate": [20, 30, 0], "scale": 0.2}


def call(command, network, directory, *options):
    ended = subprocess.run([*command, "run", network, "--quiet", "--output-dir", directory, *options], text=True,
                           capture_output=True, timeout=300, env=environment, cwd=os.path.dirname(network))
    return ended.returncode, ended.stderr


def differences(compared):
    found = compared.left_only + compared.right_only
    _, different, unreadable = filecmp.cmpfiles(compared.left, compared.right, compared.common_files, shallow=False)
    return found + different + unreadable + [n for part in compared.subdirs.values() for n in differences(part)]


def compare(name, network, ranks, said=(), *options):
    """said: parts of the ranks' messages; without them all goes well."""
    with tempfile.TemporaryDirectory() as folder:
        alone, together = os.path.join(folder, "alone"), os.path.join(folder, "together")
        status, errors = call([zam], network, alone, *options)
        command = [mpiexec, "--oversubscribe", "-n", str(ranks), zam_mpi]
        status_of_ranks, messages = call(command, network, together, *options)
        wrong = [f"does not say {text}" for text in said if text not in messages]
        if status != status_of_ranks or (status != 0) != bool(said):
            wrong.append(f"status {status_of_ranks}, alone {status}")
        if os.path.isdir(alone) or os.path.isdir(together):
            wrong += differences(filecmp.dircmp(alone, together))
        if wrong:
            faults.append(f"{name} on {ranks} ranks: {', '.join(wrong)}\n{errors}{messages}")


def cone(radius, offset, **params):
    return {"use": "cone", "params": {"div": 24, "length": 2, "radius": radius, "offset": offset, **params}}


def scene(objects, colors, events=(), modules=None, write=None, **params):
    """Six cones, of which b and c coincide, and a view."""
    cones = {name: cone(radius, offset) for name, radius, offset in
             (("a", 1, 0), ("b", 0.8, 0.5), ("c", 0.8, 0.5), ("d", 0.6, 1), ("e", 1.2, 2), ("f", 0.3, -1))}
    objects = [{"ref": name + ".out"} if isinstance(name, str) else name for name in objects]
    view = {"use": "host_view", "params": {"width": 120, "height": 90, "objects": objects, "colors": colors, **params}}
    return {"modules": {**cones, **(modules or {}), "view": view}, "events": list(events),
            "write": write or {"view.png": "view.out", "depth.json": "view.out"}}


def merge(mode, count, **params):
    common = {"saveMode": mode, "currCount": count, "num": count, "backCol": [0, 0, 1]}
    return {"use": "MergeImages", "params": {**common, **params}}


def merge_files(count):
    return {"modules": {"merge": merge(0, count, currDir="captures")}, "write": {"merged.png": "merge.out_fld"}}


def merge_views(**modules):
    return scene(*COINCIDING, modules=modules, write={"merged.png": "merge.out_fld"})


COINCIDING = ["a", "b", "c", "d", "e", "f"], [GREY, RED, GREEN, BLUE]
READER = {"use": "DVLDread_field_update", "params": {"filename": "0.fld"}}
FILES = {"for": {"reader.filename": {"numbered": "%d.fld", "count": 5}}, "ref": "reader.out", "distribute": True}
CAPTURE = {"use": "ZBufCapture", "params": {"saveMode": 0, "tmpDir": ".", "in": [{"ref": "view.out"}]}}
VOLUME = {"field": {"dims": [128, 128, 128], "nspace": 3, "grid_type": "uniform", "points": [-1, -1, -1, 1, 1, 1],
                    "node_data": [{"type": "byte", "values": {"values_file": "volume.raw", "type": "byte"}}]}}
HEAT = {"range": [0, 4], "preset": "heat"}
SCENES = {
    "fitted": scene(*COINCIDING),
    "coinciding": scene(["b", "c"], [RED, GREEN], xform=TURNED),
    "coinciding_the_other_way": scene(["c", "b"], [GREEN, RED]),
    "placed": scene(*COINCIDING, xform=TURNED, fptr=0.5),
    "axes": scene(*COINCIDING, write={"view.png": {"from": "view.out", "axes": True, "legend": True}}),
    "legend_of_another_rank": scene(
        ["a", "b", FILES], [], modules={"reader": READER}, datamaps=[None, None, None, None, None, HEAT],
        write={"view.png": {"from": "view.out", "legend": True, "axes": True}}),
    "files": scene(["a", FILES], [RED], modules={"reader": READER}),
    "frames_of_all": scene(["a", FILES], [RED], modules={"reader": READER}, events=[
        {"for": {"view.xform.rotate": [[0, 0, 0], [0, 90, 0]], "reader[3].stepno": [1, 1], "a.radius": [1, 2]},
         "steps": 3, "write": {"turn_%d.png": "view.out", "turn.webp": "view.out"}}]),
    "inputs_named_by_outputs": scene(*COINCIDING, write={"view.json": "view", "e.vtu": "e.out", "objects.json": "view.objects"}),
    "views_of_views": scene(["a", "b", {"ref": "inner.out"}], [], modules={
        "inner": {"use": "host_view", "params": {"objects": [{"ref": "c.out"}, {"ref": "d.out"}], "width": 40, "height": 30}}}),
    "captures_in_files": merge_files(9),
    "captures_in_memory": merge_views(merge=merge(1, 1, rc=[{"ref": "view.out"}])),
    "captures_of_each_rank": merge_views(
        capture=CAPTURE, merge=merge(0, {"ref": "capture.currCount"}, num=0, currDir={"ref": "capture.currDir"})),
    "volume_of_all_ranks": {
        "modules": {"render": {"use": "tracer", "params": {"in": VOLUME, "width": 40, "height": 30, "xform": TURNED}}},
        "events": [{"for": {"render.xform.rotate": [[0, 0, 0], [0, 90, 0]]}, "steps": 5, "write": {"%d.png": "render.out"}}]},
    "events": scene(*COINCIDING, events=[
        {"set": {"e.radius": 2}}, {"write": {"1.png": "view.out"}},
        {"set": {"view.objects": [{"ref": name + ".out"} for name in "fecba"], "d.radius": 3}}, {"write": {"2.png": "view.out"}},
        {"set": {"d.length": 1, "view.objects": [{"ref": "d.out"}, {"ref": "a.out"}]}}, {"write": {"3.png": "view.out"}},
        {"set": {"view.objects": [{"ref": "f.out"}]}}, {"write": {"4.png": "view.out"}},
        {"run": ["d", "view"]}]),
}
FAULTS = {
    "capture_missing": (merge_files(10), ["merge: error: Can not merge image"]),
    "module_fails": (scene(*COINCIDING, modules={"c": cone(1, 0, div=1)}), ["c: error: div must be at least 3!"]),
    "object_is_none": (scene(["a", "b", "c", {"ref": "d.length"}], []), ["objects[3] is not a field"]),
    "no_image": (scene(*COINCIDING, width=0), ["width and height have to be from 1"]),
    "broken_file": (scene(["a", {**FILES, "for": {"reader.filename": ["0.fld", "broken.fld", "1.fld"]}}], [],
                          modules={"reader": READER}), ["reader[1]: error"]),
}


def write_files():
    """Plane grids with one value per node, side by side; a volume; captures."""
    for i in range(5):
        values = "\n".join(str(i * 0.5 + node % 3) for node in range(12))
        Path(f"{i}.txt").write_text(values + "\n")
        Path(f"{i}.fld").write_text(
            f"# AVS field file\nndim = 2\ndim1 = 4\ndim2 = 3\nnspace = 2\nveclen = 1\ndata = float\nfield = uniform\n"
            f"min_ext = {2 * i} 0\nmax_ext = {2 * i + 2} 2\nvariable 1 file={i}.txt filetype=ascii skip=0\n")
    Path("volume.raw").write_bytes(bytes(node * node // 300 % 256 for node in range(128**3)))  # more than is left alone
    Path("captures").mkdir()
    for i in range(9):
        depths = array("f", ((7 * pixel + 3 * i) % 10 / 10 for pixel in range(40 * 30)))
        Path(f"captures/pceimg{i:05}.img").write_bytes(b"0004000030" + bytes([255, i, 10 * i, 90]) * len(depths) + depths)
    Path("broken.fld").write_text("# AVS field file\nndim = 2\n")


def check_scenes():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        write_files()
        cases = {**{name: (network, ()) for name, network in SCENES.items()}, **FAULTS}
        for name, (network, said) in cases.items():
            file = os.path.join(folder, name + ".json")
            Path(file).write_text(json.dumps(network))
            for ranks in (2, 4, 16):
                compare(name, file, ranks, said)
        os.chdir("/")


for network in networks:
    for ranks in (2, 4, 16):
        compare(os.path.relpath(network), network, ranks)
if not networks:
    check_scenes()
for fault in faults:
    print(fault)
sys.exit(bool(faults))
