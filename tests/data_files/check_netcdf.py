#!/usr/bin/env python3
"""check_netcdf.py ZAM: fields that `zam run` makes of NetCDF files, compared with what netCDF4 makes of them."""
from pathlib import Path

from checks import call, compare, faults, finish, need, numpy, refused, run, says

netCDF4 = need("netCDF4")
FORMATS = ("NETCDF3_CLASSIC", "NETCDF3_64BIT_OFFSET", "NETCDF3_64BIT_DATA", "NETCDF4", "NETCDF4_CLASSIC")


def wind(kind):
    """Wind on a grid of longitudes and latitudes with a record axis; packed, with nulls; coordinates."""
    random = numpy.random.default_rng(3)
    speed = random.normal(size=(3, 5, 300)).astype("f4")
    packed = random.integers(-3000, 3000, size=(5, 300)).astype("i2")
    packed[1, 2], packed[2, 3] = -32768, -9999
    with netCDF4.Dataset("w.nc", "w", format=kind) as file:
        file.createDimension("time", None)
        file.createDimension("lat", 5)
        file.createDimension("lon", 300)
        for name, values in {"lat": [60, 30, 0, -20, -30], "lon": numpy.arange(300) * 0.5 - 75, "time": [0, 6, 12]}.items():
            file.createVariable(name, "f8", (name,))[:] = values
        extra = {"zlib": True, "chunksizes": (1, 3, 77)} if kind.startswith("NETCDF4") else {}
        u = file.createVariable("u", "f4", ("time", "lat", "lon"), fill_value=1e20, **extra)
        u.units, u.long_name = "m s-1", "eastward wind"
        u[:] = speed
        t = file.createVariable("t", "i2", ("lat", "lon"), fill_value=-32768)
        t.set_auto_maskandscale(False)
        t.scale_factor, t.add_offset, t.missing_value, t.units = 0.01, 273.15, numpy.int16(-9999), "K"
        t[:] = packed
        file.createVariable("crs", "i4", ())
        file.createVariable("name", "S1", ("lat",))[:] = numpy.array(list("abcde"), "S1")
    grid = {"grid_type": "rectilinear", "dims": [300, 5]}
    positions = [[x, 0] for x in numpy.arange(300) * 0.5 - 75] + [[0, y] for y in (60, 30, 0, -20, -30)]
    field = run({"data_file": "w.nc", "variable": "u"})
    compare(kind, field, **grid, points=positions, type="float", label="eastward wind", units="m s-1", values=speed[0])
    compare(kind + " times", {"node_data": [{"values": field["time"]["values"]}]}, values=[0, 6, 12])
    for step in range(3):
        compare(f"{kind} step {step}", {"node_data": field["time"]["steps"][step]["node_data"]}, values=speed[step])
    compare(kind + " one step", run({"data_file": "w.nc", "variable": "u", "step": 1, "convert": {"crop": [[7, 9], [1, 4]]}}),
            dims=[3, 4], values=speed[1, 1:5, 7:10])
    unpacked = numpy.where((packed == -32768) | (packed == -9999), -32768, packed * 0.01 + 273.15)
    compare(kind + " packed", run({"data_file": "w.nc", "variable": "t"}), **grid, type="float", label="t", units="K", null=-32768,
            values=unpacked)
    compare(kind + " coordinate", run({"data_file": "w.nc", "variable": "lat"}), dims=[5], type="double",
            values=[60, 30, 0, -20, -30])
    refused(kind + " choice", {"data_file": "w.nc"}, "has to name one of u (float 3 x 5 x 300), t (float 5 x 300)\n")
    refused(kind + " texts", {"data_file": "w.nc", "variable": "name"}, "name: texts are not read")
    says(kind + " info", "array       u (float 3 x 5 x 300), min ", "info", "w.nc")


def check_types():
    """Element types and forms of nulls; a uniform grid of several dimensions; groups."""
    cube = numpy.arange(24).reshape(2, 3, 4)
    types = {"i1": "short", "u1": "byte", "i2": "short", "u2": "int", "i4": "int", "u4": "long", "i8": "long", "u8": "double",
             "f4": "float", "f8": "double"}
    with netCDF4.Dataset("t.nc", "w") as file:
        group = file.createGroup("inner")
        for axis, size in zip("zyx", cube.shape):
            file.createDimension(axis, size)
        file.createVariable("z", "f4", ("z",))[:] = [10, 20]
        file.createVariable("y", "i2", ("y",))[:] = [0, -1, -2]
        for code in types:
            group.createVariable(code, code, ("z", "y", "x"), fill_value=5)[:] = cube
        scaled = file.createVariable("scaled", "i4", ("x",))
        scaled.set_auto_maskandscale(False)
        scaled.add_offset, scaled[:] = 0.5, [1, 2, 3, 4]
        nan = file.createVariable("nan", "f4", ("x",), fill_value=numpy.nan)
        nan.missing_value, nan[:] = numpy.float32(3), [1, 2, 3, numpy.nan]
        old = file.createVariable("old", "i1", ("x",), fill_value=-1)
        old._Unsigned, old[:] = "true", [1, -1, 127, -128]
        file.createVariable("bnd", "f4", ("x",))[:] = 0
        old.bounds = "bnd"
    for code, name in types.items():
        compare(code, run({"data_file": "t.nc", "variable": "inner/" + code}), type=name, null=5, dims=[4, 3, 2],
                points=[0, 0, 10, 3, -2, 20], values=cube)
    compare("offset", run({"data_file": "t.nc", "variable": "scaled"}), type="double", values=[1.5, 2.5, 3.5, 4.5])
    compare("two nulls", run({"data_file": "t.nc", "variable": "nan"}), values=[1, 2, numpy.nan, numpy.nan])
    compare("_Unsigned", run({"data_file": "t.nc", "variable": "old"}), type="byte", null=255, values=[1, 255, 127, 128])
    refused("spacing", {"data_file": "t.nc", "variable": "inner/f4", "spacing": [1, 1, 1]}, "positions of its own")
    refused("bounds", {"data_file": "t.nc", "variable": "none"}, "old (byte 4), inner/i1 (")


def check_damage():
    """Files that are cut, or lie: one line, no field."""
    for kind in FORMATS:
        with netCDF4.Dataset("d.nc", "w", format=kind) as file:
            file.createDimension("x", 1000)
            file.createVariable("v", "f8", ("x",))[:] = numpy.arange(1000)
        whole = Path("d.nc").read_bytes()
        for length in (8, 60, len(whole) // 2, len(whole) - 8):
            Path("d.nc").write_bytes(whole[:length])
            said = run({"data_file": "d.nc"})
            if not isinstance(said, str) or said.count("\n") != 1:
                faults.append(f"{kind} of {length} bytes: {str(said)[:200]}")
    with netCDF4.Dataset("d.nc", "w", format="NETCDF3_CLASSIC", ) as file:
        file.createDimension("x", 6)
        file.createVariable("x", "f4", ("x",))[:] = [0, 1, 2, 3, numpy.nan, 5]
        file.createVariable("v", "f4", ("x",))[:] = 1
    refused("position", {"data_file": "d.nc"}, "coordinate variable x: not all of its values are finite")
    if call("info", "d.nc").returncode == 0:
        faults.append("zam info of a file without a readable variable ends with 0")


def check_bytes(chance):
    """Files with wrong bytes anywhere, which the library for HDF5 does not always survive: an answer or one line."""
    with netCDF4.Dataset("d.nc", "w") as file:
        file.createDimension("t", None)
        file.createDimension("x", 11)
        for name, form in (("a", {}), ("b", {"zlib": True, "chunksizes": (1, 5)}), ("c", {"zlib": True, "fletcher32": True})):
            file.createVariable(name, "f4", ("t", "x"), **form)[:] = chance.random((4, 11))
        file.createGroup("g").createVariable("w", "i2", ("x",))[:] = 3
    whole = numpy.frombuffer(Path("d.nc").read_bytes(), dtype="u1")
    for number in range(60):
        damaged = whole[: chance.integers(len(whole))].copy() if number % 5 == 0 else whole.copy()
        places = chance.integers(max(len(damaged), 1), size=chance.choice([1, 3, 20]))
        damaged[places[places < len(damaged)]] = chance.integers(256)
        Path("d.nc").write_bytes(damaged.tobytes())
        ended = call("info", "d.nc")
        if ended.returncode not in (0, 1) or ended.stderr.count("\n") > 1:
            faults.append(f"damage {number}: {ended}")


for kind in FORMATS:
    wind(kind)
check_types()
check_damage()
check_bytes(numpy.random.default_rng(1))
finish()
