"""Writes the files whose bytes are put together value by value. See ../data/README.md for what they hold."""
import struct
import sys
from itertools import product
from pathlib import Path

OUT = Path(sys.argv[1])


def nodes(*dims):
    """Index triples of a grid of up to three axes, the first axis fastest."""
    dims = list(dims) + [1] * (3 - len(dims))
    return [(i, j, k) for k, j, i in product(range(dims[2]), range(dims[1]), range(dims[0]))]


def value(node, c=0):
    i, j, k = node
    return i + 10 * j + 100 * k + 1000 * c


def position(node):
    i, j, k = node
    return i + 0.25 * j, 0.5 * j, k - 0.125 * i


def pack(order, code, values):
    return struct.pack(f"{order}{len(values)}{code}", *values)


def header(what, dims, data, veclen=1, kind="uniform", nspace=None, extra=""):
    lines = [f"# AVS {what}", f"ndim = {len(dims)}"] + [f"dim{axis} = {n}" for axis, n in enumerate(dims, 1)]
    lines += [f"nspace = {nspace or len(dims)}", f"veclen = {veclen}", f"data = {data}", f"field = {kind}"]
    return "\n".join(lines) + "\n" + extra


def write(name, *parts):
    (OUT / name).write_bytes(b"".join(p if isinstance(p, bytes) else p.encode() for p in parts))


def inline_types():
    """One file per data type: 4 x 3 x 2 nodes, negative values, inline."""
    grid = nodes(4, 3, 2)
    codes = {"byte": "B", "short": "h", "int": "i", "long": "q", "float": "f", "double": "d"}
    for order, sign in {"native": "<", "swapped": ">", "xdr": ">"}.items():
        for name, code in codes.items():
            if name == "byte" and order != "native":
                continue
            xdr = order == "xdr"
            values = [value(n) if name == "byte" else -value(n) for n in grid]
            wire = "i" if xdr and name == "long" else code  # a long is 4 bytes on the wire
            write(f"{order}_{name}.fld", header(f"{name}s, {order}", [4, 3, 2], "xdr_" * xdr + name), "\f\f",
                  pack(sign, wire, values))


def inline_positions():
    """Inline data of every field kind, the veclen values of a node together, positions after them."""
    grid = nodes(4, 3, 2)
    both = [value(n, c) for n in grid for c in (0, 1)]
    axes = [0, 0.5, 2, 4.5] + [0, 1.25, 2.5] + [-1, 1]
    write("inline_uniform.fld", header("two values per node, extents", [4, 3, 2], "float", 2), "\f\f",
          pack("<", "f", both + [-1, 2, -3, 4, -5, 6]))
    write("inline_rectilinear.fld", header("values, then axes", [4, 3, 2], "float", 2, "rectilinear"), "\f\f",
          pack("<", "f", both + axes))
    write("inline_rectilinear_xdr.fld", header("doubles, then axes as floats", [4, 3, 2], "xdr_double", 2, "rectilinear"), "\f\f",
          pack(">", "d", both), pack(">", "f", axes))
    columns = [position(n)[axis] for axis in range(3) for n in grid]
    write("inline_irregular.fld", header("shorts, then x, y and z", [4, 3, 2], "short", 2, "irregular"), "\f\f",
          pack("<", "h", both), pack("<", "f", columns))
    # Opacity, red, green, blue; the form feeds among the values are data.
    write("inline_bytes.fld", header("voxels, form feeds among them", [3, 2, 2], "byte", 4, extra="min_ext = -1 -1 0\nmax_ext = 1 1 2\n"), "\f\f",
          bytes(b for i, j, k in nodes(3, 2, 2) for b in (12, 12, 10 * i + j, 200 + k)))
    # One axis, two coordinates per node.
    write("inline_curve.fld", header("a curve", [5], "int", 1, "irregular", 2), "\f\f",
          pack("<", "i", [n * n for n in range(5)]), pack("<", "f", [0, 1, 2, 3, 4, 0, 0.5, 0, -0.5, 0]))


def named_sources():
    """Binary values in files of their own, in other files' middle, and in the field file itself."""
    grid = nodes(4, 3, 2)
    write("interleaved.dat", b"8 bytes.", pack("<", "f", [x for n in grid for x in (*position(n), value(n), value(n, 1))]))

    # The skip of a source that names the field file counts from that file's first byte: 200 of header, 2 form feeds.
    itself = "variable 1 file = names_itself.fld filetype = binary skip = 00202\n"
    text = header("a source that is this file", [4, 3, 2], "double", extra=itself)
    text += "#" * (199 - len(text)) + "\n"
    write("names_itself.fld", text, "\f\f", pack("<", "d", [value(n) for n in grid]))

    # Two sources without a name count from the byte after the form feeds; the second lies before the first.
    unnamed = "variable 1 filetype = binary skip = 96\nvariable 2 filetype = binary\n"
    write("unnamed.fld", header("sources without a name", [4, 3, 2], "int", 2, extra=unnamed), "\f\f",
          pack("<", "i", [value(n, 1) for n in grid] + [value(n) for n in grid]))


def steps():
    """The values of five steps one after another, and their times."""
    grid = nodes(5, 3)
    write("kept_open.dat", pack("<", "f", [value(n, step) for step in range(5) for n in grid]))
    write("kept_open_time.dat", pack("<", "f", [0.25 * step for step in range(5)]))


inline_types()
inline_positions()
named_sources()
steps()
