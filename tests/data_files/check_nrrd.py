#!/usr/bin/env python3
"""check_nrrd.py ZAM: fields that `zam run` makes of NRRD files, compared with what the program unu makes them of."""
import shutil
import subprocess
from pathlib import Path

from checks import compare, finish, leave_out, numpy, refused, run, says

program = shutil.which("unu") or shutil.which("teem-unu") or leave_out("unu is not installed")


def unu(*arguments):
    subprocess.run([program, *(str(argument) for argument in arguments)], check=True, stderr=subprocess.DEVNULL)


def make(name, values, *options, encoding="raw", endian="little"):
    """values: slowest axis first, as NumPy has them."""
    values.tofile("values.raw")
    types = {"i1": "int8", "u1": "uint8", "i2": "int16", "u2": "uint16", "i4": "int32", "u4": "uint32", "i8": "int64",
             "u8": "uint64", "f4": "float", "f8": "double"}
    unu("make", "-i", "values.raw", "-t", types[values.dtype.str[1:]], "-s", *reversed(values.shape), "-e", "raw", "-en", "little",
        *options, "-o", "made.nrrd")
    unu("save", "-f", "nrrd", "-e", encoding, "-en", endian, "-i", "made.nrrd", "-o", name)


def check_encodings(random):
    ct = random.integers(-1000, 3000, size=(5, 60, 700)).astype("i2")
    space = ("-sp", "1", "1", "2", "-c", "a head", "-l", "x", "y", "z")
    for name in ("ct.nrrd", "ct.nhdr"):
        for encoding in ("raw", "gzip"):
            for endian in ("little", "big"):
                make(name, ct, *space, encoding=encoding, endian=endian)
                compare(f"{name} {encoding} {endian}", run({"data_file": name}), dims=[700, 60, 5], type="short", label="a head",
                        points=[0, 0, 0, 699, 59, 8], values=ct)
                compare("crop", run({"data_file": name, "convert": {"crop": [[3, 5], [7, 7], [0, 4]]}}), dims=[3, 5],
                        values=ct[:, 7, 3:6])
    for code in ("i1", "u1", "u2", "i4", "u4", "i8", "u8", "f4", "f8"):
        make("t.nrrd", ct[0, :4].astype(code), endian="big")
        compare(code, run({"data_file": "t.nrrd"}), dims=[700, 4], values=ct[0, :4].astype(code))


def check_axes():
    cube = numpy.arange(24, dtype="f4").reshape(2, 3, 4)
    make("v.nrrd", cube, "-k", "vector", "domain", "domain", "-spc", "2", "-dirs", "none (0.5,0) (0,2)", "-orig", "(1,-1)")
    compare("vector first", run({"data_file": "v.nrrd"}), dims=[3, 2], veclen=4, points=[1, -1, 2, 1], values=cube)
    make("v.nrrd", cube, "-k", "space", "space", "vector")
    compare("vector last", run({"data_file": "v.nrrd"}), dims=[4, 3], veclen=2, values=numpy.moveaxis(cube, 0, -1))
    field = run({"data_file": "v.nrrd", "vector_axis": 0, "step_axis": 2, "spacing": [0.5]})
    compare("axes of the request", field, dims=[3], veclen=4, points=[0, 1], values=cube[0])
    make("v.nrrd", cube, "-spc", "3", "-dirs", "(0,3,4) (1,0,0) (0,0,1)", "-orig", "(0,0,0)")
    compare("oblique", run({"data_file": "v.nrrd"}), points=[0, 0, 0, 15, 2, 1])
    says("oblique", "the space directions are not those of the axes", "info", "v.nrrd")
    Path("h.nhdr").write_text("NRRD0004\ntype: float\ndimension: 2\nsizes: 4 6\naxis mins: 1 -1\naxis maxs: 9 nan\n"
                              "centerings: cell node\nendian: little\nencoding: raw\nsample units: K\nline skip: 1\n"
                              "byte skip: 2\ndatafile: skip.raw\n")
    Path("skip.raw").write_bytes(b"a line\nxx" + cube.tobytes())
    compare("skips", run({"data_file": "h.nhdr"}), points=[2, -1, 8, 4], units="K", values=cube)
    Path("h.nhdr").write_text(Path("h.nhdr").read_text().replace("line skip: 1\nbyte skip: 2", "byte skip: -1"))
    compare("from the end", run({"data_file": "h.nhdr"}), values=cube)


def check_refusals():
    header = "NRRD0004\ntype: float\ndimension: 2\nsizes: {} 6\nendian: little\nencoding: {}\n"
    for name, text in {header.format(4, "raw") + "\n" + "x" * 95: "too short for all values",
                       header.format(4, "raw"): "the header does not end",
                       header.format(10**12, "gzip") + "\nx": "too short for all values",
                       header.format(4, "gzip") + "\nnot packed": "the packed data is damaged",
                       header.format(4, "hex") + "\n00": "data encoded as hex is not read",
                       header.format("x", "raw") + "\n": "the header is broken",
                       header.format(4, "raw") + "data file: -\n": "-: the file does not exist",
                       header.format(4, "raw") + "data file: /dev/zero\n": "this is not a regular file",
                       header.format(4, "raw") + "data file: LIST\na\n": "values in several files are not read"}.items():
        Path("bad.nrrd").write_text(name)
        refused(name[-30:], {"data_file": "bad.nrrd"}, text)


check_encodings(numpy.random.default_rng(4))
check_axes()
check_refusals()
finish()
