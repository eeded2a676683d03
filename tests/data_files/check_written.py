#!/usr/bin/env python3
"""check_written.py ZAM: what `zam info` tells of VTK files in all encodings and of PNG pictures, and of damaged ones.

The files are written here byte by byte; of what zam writes itself it has to tell what went in.
"""
import base64
import itertools
import random
import struct
import zlib
from pathlib import Path

from checks import call, faults, finish, numpy, run, says


def lengths(numbers, order, word):
    return struct.pack(order + ("I" if word == 32 else "Q") * len(numbers), *numbers)


def encode(values, order, word, packed, in_base64):
    """The bytes of an array behind its length; packed in blocks of 64 bytes."""
    data = values.astype(values.dtype.newbyteorder(order)).tobytes()
    text = base64.b64encode if in_base64 else bytes
    if not packed:
        return text(lengths([len(data)], order, word) + data)
    blocks = [zlib.compress(data[i:i + 64]) for i in range(0, len(data), 64)]
    sizes = [len(blocks), 64, len(data) % 64, *map(len, blocks)]
    return text(lengths(sizes, order, word)) + text(b"".join(blocks))


def vtk(arrays, form, order="<", word=32, packed=False, compressor="vtkZLibDataCompressor"):
    """A file of 3 x 4 x 2 nodes; `form`: ascii, binary, raw or base64."""
    tags, appended = b"", b""
    for name, values in arrays.items():
        kind = {"f": "Float", "i": "Int", "u": "UInt"}[values.dtype.kind] + str(8 * values.itemsize)
        vector = values.shape[1] if values.ndim > 1 else 1
        tag = f'<DataArray type="{kind}" Name="{name}" NumberOfComponents="{vector}"'
        if form == "ascii":
            tags += (tag + ' format="ascii">\n<InformationKey name="k"><Value index="0">7</Value></InformationKey>'
                     + " ".join(map(str, values.ravel())) + "\n</DataArray>").encode()
        elif form == "binary":
            tags += (tag + ' format="binary">\n  ').encode() + encode(values, order, word, packed, True) + b"\n</DataArray>"
        else:
            tags += (tag + f' format="appended" offset="{len(appended)}"/>').encode()
            appended += encode(values, order, word, packed, form == "base64")
    head = (f'<?xml version="1.0"?>\n<!-- > -->\n<VTKFile type="ImageData" header_type="UInt{word}" byte_order='
            f'"{"Little" if order == "<" else "Big"}Endian"' + (f' compressor="{compressor}"' if packed else "") +
            '>\n<ImageData WholeExtent="1 3 0 3 0 1" Origin="1 2 3" Spacing=".5 1 2"><Piece Extent="1 3 0 3 0 1"><PointData>')
    end = f'<AppendedData encoding="{form}">\n_'.encode() + appended + b"</AppendedData>" if appended else b""
    return head.encode() + tags + b"</PointData></Piece></ImageData>" + end + b"</VTKFile>"


def tell(arrays):
    return "".join(f'component   {i}: {name}, veclen {a.shape[1] if a.ndim > 1 else 1}, label "{name}", units "", '
                   f"min {a.min()}, max {a.max()}\n" for i, (name, a) in enumerate(arrays.items()))


def check_vtk(noise):
    arrays = {"float": noise.integers(-99, 99, (24, 3)).astype("f4"), "short": noise.integers(-128, 128, 24).astype("i1"),
              "int": noise.integers(300, 60000, 24).astype("u2"), "long": noise.integers(-2**40, 2**40, 24)}
    told = ("grid        uniform\ndims        3 x 4 x 2 (24 nodes)\nspace       3\nextent      1.5 2 3 to 2.5 5 5\n" +
            tell(arrays).replace(".0", ""))
    for case in itertools.product(("ascii", "binary", "raw", "base64"), "<>", (32, 64), (False, True)):
        Path("a").write_bytes(vtk(arrays, *case))
        says(str(case), told, "info", "a")
    Path("a").write_bytes(vtk(arrays, "raw", packed=True, compressor="x"))
    says("another compressor", 'label "float", units ""\n', "info", "a")
    says("another compressor", "note: values packed by x are not read: float, short, int, long\n", "info", "a")
    return [vtk(arrays, form, packed=packed) for form in ("ascii", "binary", "raw") for packed in (False, True)]


def check_own():
    """Files of each grid, by the field that they are made of."""
    node_data = [{"label": "p", "values": [1, 5, 3, 4]}]
    grids = {"vti": {"dims": [2, 2], "points": [0, 1, 2, 3]}, "vtr": {"dims": [2, 2], "points": [0, 0, 2, 0, 0, 1, 0, 3]},
             "vts": {"dims": [2, 2], "coord": [0, 1, 2, 1, 0, 3, 2, 3]},
             "vtu": {"nspace": 2, "coord": [0, 1, 2, 1, 0, 3, 2, 3], "cell_sets": [{"name": "Tri", "connect": [0, 1, 2, 1, 2, 3]}]}}
    for ending, grid in grids.items():
        run({"field": {**grid, "node_data": node_data}})
        call("run", "n.json", "--write", f"o.{ending}=s.objects[0]")
        size = "nodes       4" if ending == "vtu" else "dims        2 x 2 x 1 (4 nodes)"
        says(ending, f"{size}\nspace       3\nextent      0 1 0 to 2 3 0\ncomponent   0: float, veclen 1, label \"p\", "
             f"units \"\", min 1, max 5\n{'cells       2 Tri' if ending == 'vtu' else ''}", "info", f"o.{ending}")


def interlaced(pixels):
    """A PNG picture in the seven passes of its format."""
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
    passes = [pixels[y::dy, x::dx] for x, y, dx, dy in [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4),
                                                        (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]]
    rows = b"".join(b"\0" + row.tobytes() for part in passes if part.size for row in part)
    size = struct.pack(">IIBBBBB", pixels.shape[1], pixels.shape[0], 16, 4, 0, 0, 1)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", size) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def check_png(noise):
    for height, width in [(1, 1), (2, 3), (33, 5)]:
        pixels = noise.integers(300, 60000, (height, width, 2)).astype(">u2")
        Path("p").write_bytes(interlaced(pixels))
        says("png", f"dims        {width} x {height}", "info", "p")
        for name, channel in (("grey", 0), ("opacity", 1)):
            values = pixels[..., channel]
            says(name, f'int, veclen 1, label "{name}", units "", min {values.min()}, max {values.max()}\n', "info", "p")
    says("png", "pixels      grey with opacity, 16 bits per channel\n", "info", "p")
    return Path("p").read_bytes()


def check_damage(files):
    """Whatever happens to a file: one line at most says what is wrong with it."""
    chance = random.Random(1)
    for number, file in enumerate(files * 12):
        damaged = bytearray(file[:chance.randrange(len(file))] if number % 3 == 0 else file)
        for _ in range(number % 3 * 2):
            damaged[chance.randrange(len(damaged))] = chance.randrange(256)
        Path("d").write_bytes(damaged)
        ended = call("info", "d")
        if ended.returncode not in (0, 1) or (ended.returncode == 1) != (ended.stdout == ""):
            faults.append(f"damage {number}: {ended}")


check_own()
check_damage([*check_vtk(numpy.random.default_rng(1)), check_png(numpy.random.default_rng(2))])
finish()
