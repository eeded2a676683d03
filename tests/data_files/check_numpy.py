#!/usr/bin/env python3
"""check_numpy.py ZAM: fields that `zam run` makes of NumPy's files, compared with what NumPy makes of them.

Left out, with a word, where NumPy is not installed.
"""
import io
import json
from pathlib import Path

from checks import compare, faults, finish, numpy, refused, run, says


def npy(header, data=b""):
    text = header.encode()
    return b"\x93NUMPY\x01\x00" + len(text).to_bytes(2, "little") + text + data


def check_arrays(random):
    """Element types, orders of axes, members of archives."""
    cube = numpy.arange(24).reshape(2, 3, 4)
    types = {"u1": "byte", "i1": "short", "<i2": "short", ">u2": "int", "<i4": "int", ">u4": "long", "<i8": "long",
             "u8": "double", "f2": "float", "<f4": "float", ">f8": "double", "?": "byte"}
    for code, name in types.items():
        numpy.save("a.npy", cube.astype(code))
        compare(code, run({"data_file": "a.npy"}), dims=[4, 3, 2], points=[0, 0, 0, 3, 2, 1], type=name,
                values=cube.astype(code))
    numpy.save("a.npy", numpy.asfortranarray(cube))
    compare("fortran_order", run({"data_file": "a.npy"}), dims=[2, 3, 4], values=cube.ravel("F"))
    compare("fortran_order vector", run({"data_file": "a.npy", "vector_axis": 2}), dims=[2, 3], veclen=4,
            values=cube.transpose(1, 0, 2))
    for axis in (0, 1, -1):
        numpy.save("v.npy", cube)
        compare(f"vector_axis {axis}", run({"data_file": "v.npy", "vector_axis": axis}), veclen=cube.shape[axis],
                values=numpy.moveaxis(cube, axis, -1))
        field = run({"data_file": "v.npy", "step_axis": axis, "spacing": [0.5, 2], "origin": [1, -1]})
        for step, values in enumerate(numpy.moveaxis(cube, axis, 0)):
            compare(f"step_axis {axis}", {"node_data": field["time"]["steps"][step]["node_data"]}, values=values)
            compare("step", run({"data_file": "v.npy", "step_axis": axis, "step": step}), values=values)
    compare("spacing", field, points=[1, -1, 2, 1])
    u, v = random.normal(size=(2, 300, 400)).astype("f4")
    numpy.savez_compressed("uv.npz", u=u, v=v, cube=cube, text=numpy.array(["x"]))
    field = run({"data_file": "uv.npz", "variables": ["v", "u"]})
    compare("npz", field, dims=[400, 300], label="v", values=v)
    compare("npz, second", {"node_data": field["node_data"][1:]}, label="u", values=u)
    refused("mistyped", {"data_file": "uv.npz", "variable": "cubr"}, 'text; did you mean "cube"?')
    compare("npz as vectors", run({"data_file": "uv.npz", "variables": ["u", "v"], "convert": {"vector": True}}), veclen=2,
            values=numpy.stack([u, v], -1))


def interpolate(values, sizes):
    for axis, size in enumerate(reversed(sizes)):
        at = numpy.linspace(0, values.shape[axis] - 1, size)
        low = numpy.minimum(at.astype(int), values.shape[axis] - 2)
        share = (at - low).reshape([-1 if i == axis else 1 for i in range(values.ndim)])
        values = numpy.take(values, low, axis) * (1 - share) + numpy.take(values, low + 1, axis) * share
    return values


def check_conversions(random):
    noise = random.normal(size=(5, 6, 7)) * 100
    noise[0, 0, 0], noise[1, 1, 1] = numpy.nan, numpy.inf
    numpy.save("a.npy", noise)
    finite = noise[numpy.isfinite(noise)]
    share = (noise - finite.min()) / (finite.max() - finite.min())
    to_bytes = numpy.nan_to_num(numpy.clip(numpy.rint(255 * share), 0, 255), nan=0)
    compare("auto", run({"data_file": "a.npy", "convert": {"range": "auto"}}), type="byte", values=to_bytes)
    source = {"r": {"use": "host_view", "params": {"width": 1, "height": 1, "objects": [{"data_file": "a.npy"}]}}}
    compare("auto of a reference", run({"ref": "r.objects[0]", "convert": {"range": "auto"}}, source), values=to_bytes)
    compare("range", run({"data_file": "a.npy", "convert": {"range": [100, -100], "type": "short"}}), type="short",
            values=numpy.nan_to_num(numpy.clip(numpy.rint((100 - noise) * 65535 / 200 - 32768), -32768, 32767), nan=-32768))
    compare("crop", run({"data_file": "a.npy", "convert": {"crop": [[1, 4], [2, 2], [0, 3]]}}), dims=[4, 4], nspace=2,
            points=[1, 0, 4, 3], values=noise[0:4, 2, 1:5])
    refused("cast", {"data_file": "a.npy", "convert": {"type": "byte"}}, "does not fit in type byte")
    smooth = random.normal(size=(4, 6, 7, 2))
    numpy.save("v.npy", smooth)
    compare("magnitude", run({"data_file": "v.npy", "vector_axis": -1, "convert": {"magnitude": True}}), veclen=1,
            values=numpy.linalg.norm(smooth, axis=-1))
    compare("resample", run({"data_file": "v.npy", "vector_axis": -1, "convert": {"resample": [13, 4, 9]}}),
            dims=[13, 4, 9], points=[0, 0, 0, 6, 5, 3],
            values=numpy.stack([interpolate(smooth[..., part], [13, 4, 9]) for part in (0, 1)], -1))
    compare("steps", run({"data_file": "v.npy", "step_axis": 0, "vector_axis": -1, "step": 1,
                          "convert": {"type": "float", "components": [0]}}), type="float", values=smooth[1])


def check_nulls():
    """Nulls take no part in ranges, spoil what is made of them, and stay null."""
    members = [{"type": "float", "null": -9, "values": [1, 2, -9, 4, 5, 6, 7, 8]},
               {"type": "short", "null": -1, "values": [1, -1, 3, 4, 5, 6, 7, 8]}]
    source = {"r": {"use": "host_view",
                    "params": {"width": 1, "height": 1, "objects": [{"field": {"dims": [4, 2], "node_data": members}}]}}}
    cases = [({"range": "auto"}, {"null": None, "values": [0, 36, 0, 109, 146, 182, 219, 255]}),
             ({"vector": True}, {"null": -9, "values": [1, 1, 2, -9, -9, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8]}),
             ({"components": [0], "resample": [4, 3]}, {"values": [1, 2, -9, 4, 3, 4, -9, 6, 5, 6, 7, 8]}),
             ({"vector": True, "magnitude": True, "crop": [[0, 3], [0, 0]]},
              {"dims": [4], "null": -9, "values": [2**0.5, -9, -9, 32**0.5]})]
    for convert, expected in cases:
        compare(f"nulls, {convert}", run({"ref": "r.objects[0]", "convert": convert}, source), **expected)
    refused("a null that does not fit", {"ref": "r.objects[0]", "convert": {"type": "byte"}}, "null value -9", source)
    axes = {"dims": [3, 2], "points": [0, 0, 1, 0, 4, 0, 0, 0, 0, 10], "node_data": [{"values": [0, 1, 4, 10, 11, 14]}]}
    source["r"]["params"]["objects"] = [{"field": axes}]
    compare("rectilinear", run({"ref": "r.objects[0]", "convert": {"resample": [5, 3]}}, source), grid_type="uniform",
            points=[0, 0, 4, 10], values=[*range(5), *range(5, 10), *range(10, 15)])


def check_values_files():
    """Arrays as values_file, and a field dump as data_file."""
    noise = numpy.arange(24, dtype=">i4").reshape(4, 6) * 300
    numpy.save("a.npy", noise)

    def field(values, **others):
        return {"field": {"dims": [6, 4], "node_data": [{"values": {"values_file": "a.npy", **values}, **others}]}}
    compare("values_file", run(field({})), type="int", values=noise)
    compare("values_file converted", run(field({}, veclen=1, type="double")), type="double", values=noise)
    compare("values_file from a byte", run(field({"offset": 0, "type": "byte", "count": 24})), type="byte")
    refused("values_file of another type", field({"type": "float"}), "a.npy holds values of type int\n")
    refused("values_file that is short", field({"count": 25}), "a.npy holds 24 values of type int\n")
    numpy.save("a.npy", noise.repeat(2) * 10)
    refused("values_file too large", field({}, veclen=1, type="short"), "value 22: 33000 does not fit")
    numpy.save("a.npy", noise.repeat(2))
    compare("values_file too long", run(field({}, veclen=1)), values=noise.repeat(2)[:24])
    says("note", "zam: note: modules.s.params.objects[0].field.node_data[0].values: 96 bytes of 192 taken\n", "run", "n.json")
    dump = run(field({}, veclen=1, label="dump"))
    Path("dump").write_text(" \n" + json.dumps(dump))
    if run({"data_file": "dump"}) != dump:
        faults.append("a field dump is not the same field")
    compare("field dump converted", run({"data_file": "dump", "convert": {"crop": [[2, 3], [1, 1]]}}), dims=[2], label="dump")
    refused("field dump with an axis", {"data_file": "dump", "step_axis": 0}, "step_axis: unknown key")


def check_refusals():
    numpy.savez("z.npz", u=numpy.zeros((2, 3)), w=numpy.zeros((2, 2)))
    for request, text in [({}, "u (double 2 x 3), w (double 2 x 2)"), ({"variable": "x"}, "there is no array x"),
                          ({"variables": ["u", "w"]}, "another shape"), ({"variable": "u", "step": 0}, "step_axis"),
                          ({"variable": "u", "vector_axis": 2}, "2 axes"), ({"variable": "u", "spacing": [1]}, "2 axes"),
                          ({"variable": "u", "convert": {"components": ["q"]}}, "there are 0 u"),
                          ({"variable": "u", "convert": {"crop": [[0, 3], [0, 0]]}}, "has 3 nodes"),
                          ({"variable": "u", "convert": {"range": [0, 1], "type": "float"}}, "whole type")]:
        refused(str(request), {"data_file": "z.npz", **request}, text)
    whole = io.BytesIO()
    numpy.save(whole, numpy.zeros((4, 4)))
    for name, data in {"cut": whole.getvalue()[:-1], "cut header": whole.getvalue()[:20], "magic only": b"\x93NUMPY",
                       "vast": npy("{'descr': '<f8', 'fortran_order': False, 'shape': (4294967296, 4294967296), }"),
                       "negative": npy("{'descr': '<f8', 'fortran_order': False, 'shape': (-1, 2)}", bytes(99)),
                       "open": npy("{'descr': '<f8', 'shape': (1", bytes(99)), "other key": npy("{'a': 1}"),
                       "no shape": npy("{'descr': '<f8'}"), "empty": npy("{'descr': '<f8', 'shape': (0, 3)}"),
                       "complex": npy("{'descr': '<c8', 'shape': (1,)}", bytes(8)), "nothing": b"",
                       "zip of nothing": b"PK\x05\x06" + bytes(18), "broken zip": b"PK\x03\x04" + bytes(50)}.items():
        Path("bad.npy").write_bytes(data)
        refused(name, {"data_file": "bad.npy"}, "n.json:1:")


check_arrays(numpy.random.default_rng(1))
check_conversions(numpy.random.default_rng(2))
check_nulls()
check_values_files()
check_refusals()
finish()
