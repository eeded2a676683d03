"""Writes the field files whose bytes are put together value by value. See ../data/README.md for what they give."""
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


def header(dims, data, veclen=1, kind="uniform", nspace=None, extra=""):
    lines = ["# AVS field file", f"ndim = {len(dims)}"]
    lines += [f"dim{axis} = {n}" for axis, n in enumerate(dims, 1)]
    lines += [f"nspace = {nspace or len(dims)}", f"veclen = {veclen}", f"data = {data}", f"field = {kind}"]
    return "\n".join(lines) + "\n" + extra


def write(name, *parts):
    (OUT / name).write_bytes(b"".join(p if isinstance(p, bytes) else p.encode() for p in parts))


def inline_types():
    """One file a data type: 4 x 3 x 2 nodes, negative values, inline."""
    grid = nodes(4, 3, 2)
    codes = {"byte": "B", "short": "h", "int": "i", "long": "q", "float": "f", "double": "d"}
    for name, code in codes.items():
        sign = 1 if name == "byte" else -1
        values = [sign * value(n) for n in grid]
        write(f"native_{name}.fld", header([4, 3, 2], name), "\f\f", pack("<", code, values))
        if name != "byte":
            write(f"swapped_{name}.fld", header([4, 3, 2], name), "\f\f", pack(">", code, values))
    wire = {"short": "h", "int": "i", "long": "i", "float": "f", "double": "d"}  # a long is 4 bytes on the wire
    for name, code in wire.items():
        write(f"xdr_{name}.fld", header([4, 3, 2], "xdr_" + name), "\f\f", pack(">", code, [-value(n) for n in grid]))


def inline_positions():
    """Inline data of every field kind, the veclen values of a node together, positions behind them."""
    grid = nodes(4, 3, 2)
    both = [value(n, c) for n in grid for c in (0, 1)]
    axes = [0, 0.5, 2, 4.5] + [0, 1.25, 2.5] + [-1, 1]
    write("inline_uniform.fld", header([4, 3, 2], "float", 2), "\f\f", pack("<", "f", both + [-1, 2, -3, 4, -5, 6]))
    write("inline_rectilinear.fld", header([4, 3, 2], "float", 2, "rectilinear"), "\f\f", pack("<", "f", both + axes))
    write("inline_rectilinear_xdr.fld", header([4, 3, 2], "xdr_double", 2, "rectilinear"), "\f\f",
          pack(">", "d", both), pack(">", "f", axes))
    columns = [position(n)[axis] for axis in range(3) for n in grid]
    write("inline_irregular.fld", header([4, 3, 2], "short", 2, "irregular"), "\f\f",
          pack("<", "h", both), pack("<", "f", columns))
    # Opacity, red, green, blue; the form feeds among the values are data.
    write("inline_bytes.fld", header([3, 2, 2], "byte", 4, extra="min_ext = -1 -1 0\nmax_ext = 1 1 2\n"), "\f\f",
          bytes(b for i, j, k in nodes(3, 2, 2) for b in (12, 12, 10 * i + j, 200 + k)))
    # A curve: one axis, two coordinates a node.
    write("inline_curve.fld", header([5], "int", 1, "irregular", 2), "\f\f", pack("<", "i", [n * n for n in range(5)]),
          pack("<", "f", [0, 1, 2, 3, 4, 0, 0.5, 0, -0.5, 0]))


def named_sources():
    """Binary values in files of their own, in other files' middle, and in the field file itself."""
    grid = nodes(4, 3, 2)
    write("interleaved.dat", b"8 bytes.", pack("<", "f", [x for n in grid for x in (*position(n), value(n), value(n, 1))]))
    sources = "".join(f"{kind} {n} file = interleaved.dat filetype = binary skip = 8 offset = {offset} stride = 5\n"
                      for kind, n, offset in [("coord", 1, 0), ("coord", 2, 1), ("coord", 3, 2),
                                              ("variable", 1, 3), ("variable", 2, 4)])
    write("interleaved.fld", header([4, 3, 2], "float", 2, "irregular", extra=sources))

    # The skip of a source that names the field file counts from that file's first byte: 200 of header, 2 form feeds.
    text = header([4, 3, 2], "double", extra="variable 1 file = names_itself.fld filetype = binary skip = 00202\n")
    text += "#" * (199 - len(text)) + "\n"
    write("names_itself.fld", text, "\f\f", pack("<", "d", [value(n) for n in grid]))

    # Two sources without a name count from the byte after the form feeds; the second lies before the first.
    sources = "variable 1 filetype = binary skip = 96\nvariable 2 filetype = binary\n"
    write("unnamed.fld", header([4, 3, 2], "int", 2, extra=sources), "\f\f",
          pack("<", "i", [value(n, 1) for n in grid] + [value(n) for n in grid]))


def columns_with_carriage_returns():
    grid = nodes(3, 2, 2)
    rows = ["# a table\r\n", "n x y z first second\r\n", "\r\n"]
    for number, n in enumerate(grid):
        rows.append("\t".join(str(x) for x in (number, *position(n), value(n), -value(n, 1))) + " \r\n")
    write("columns.txt", *rows)
    sources = "".join(f"{kind} {n} file=columns.txt filetype=ascii skip=3 offset={offset} stride=6\n"
                      for kind, n, offset in [("coord", 1, 1), ("coord", 2, 2), ("coord", 3, 3),
                                              ("variable", 1, 4), ("variable", 2, 5)])
    text = header([3, 2, 2], "float", 2, "irregular", extra='label = first "the second"\nunit = m "m / s"\n' + sources)
    write("columns.fld", text.replace("\n", "\r\n"))


def steps():
    """Time steps: kept-open files in a repeated block, and steps written out."""
    grid = nodes(5, 3)
    write("kept_open.dat", pack("<", "f", [value(n, step) for step in range(5) for n in grid]))
    write("kept_open_time.dat", pack("<", "f", [0.25 * step for step in range(5)]))
    block = ("nstep = 5\nDO\ntime file = kept_open_time.dat filetype = binary close = 0\n"
             "variable 1 file = kept_open.dat filetype = binary close = 0\nEOT\nENDDO\n")
    write("kept_open.fld", header([5, 3], "float", extra=block))

    lines = []
    for step in range(3):
        lines.append(f"step {step}\n")
        lines += [" ".join(str(value((i, j, 0), step)) for i in range(5)) + "\n" for j in range(3)]
    write("written_out.txt", *lines)
    text = "label = height\nunit = m\n"
    for step in range(3):
        text += f"time value = {1 + step}.5\nmin_val = {1000 * step} max_val = {1000 * step + 24}\n"
        text += f"variable 1 file = written_out.txt filetype = ascii skip = {4 * step + 1}\nEOT\n"
    write("written_out.fld", header([5, 3], "int", extra=text))


inline_types()
inline_positions()
named_sources()
columns_with_carriage_returns()
steps()
