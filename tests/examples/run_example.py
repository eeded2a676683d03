#!/usr/bin/env python3
"""run_example.py ZAM NETWORK OUTPUTS EXPECTED: runs a network, and compares its outputs with what is stored of them.

The record of calls lies among the outputs. EXPECTED/outputs.txt has a line for each file in OUTPUTS, or for each array
of a VTK file:

    NAME exact CHECKSUM            the bytes
    NAME floats MEAN/SIZE...       single precision, or what the array has
    NAME bytes MEAN/SIZE...
    NAME text CHECKSUM MEAN/SIZE...   the text between the numbers, and the numbers
    NAME picture WIDTH HEIGHT      small, as EXPECTED/NAME; an image in an .svg as NAME.png

"exact" is for what does not go through the system's sine, power or exponential: it is the same everywhere. Means are
those of 16 runs of values, times 1, 2, .. 7, 1, .. in turn so that a change of places shows, beside the mean magnitude;
they may be off by 1e-5 of that. Pixels of a small picture are means of 16 x 16 pixels and may be off by 1 of 255.

With ZAM_UPDATE_EXPECTED=1 in the environment what is stored is written anew, each line in the kind that it had.
Look at the pictures before you commit them.
"""
import array
import base64
import hashlib
import os
import re
import shutil
import struct
import subprocess
import sys
import zlib
from pathlib import Path

RUNS = 16
CELL = 16
TOLERANCE = 1e-5
IMAGE = re.compile(rb"data:image/png;base64,([^\"]*)")
ABSOLUTE = re.compile(rb'"[A-Z]:\\\\[^"]*\\\\')  # the directory of a file's name on Windows, where modules are given it
NUMBER = re.compile(rb"-?\d+(?:\.\d+)?(?:e[-+]?\d+)?")
KINDS = {".png": "picture", ".svg": "text"}  # of new files; others are exact
VTK_TYPES = {"Float32": "f", "Float64": "d"}


# --- Pictures ---

def unfilter(kind, row, above, step):
    """A row of a PNG picture, given the one above."""
    if kind == 0:
        return row
    if kind == 2:
        return bytearray(a + b & 255 for a, b in zip(row, above))
    for i, value in enumerate(row):
        left = row[i - step] if i >= step else 0
        if kind == 1:
            guess = left
        elif kind == 3:
            guess = left + above[i] >> 1
        else:
            corner = above[i - step] if i >= step else 0
            by_left, by_above, by_corner = abs(above[i] - corner), abs(left - corner), abs(left + above[i] - 2 * corner)
            guess = left if by_left <= by_above and by_left <= by_corner else above[i] if by_above <= by_corner else corner
        row[i] = value + guess & 255
    return row


def read_png(data):
    """(width, height, channels, rows), 8 bits per channel."""
    place, packed, header = 8, b"", None
    while place < len(data):
        size, kind = struct.unpack(">I4s", data[place:place + 8])
        chunk = data[place + 8:place + 8 + size]
        header = struct.unpack(">IIBBBBB", chunk) if kind == b"IHDR" else header
        packed += chunk if kind == b"IDAT" else b""
        place += size + 12
    width, height, depth, color, _, _, interlaced = header
    channels = {0: 1, 2: 3, 6: 4}[color]
    assert depth == 8 and not interlaced
    stride, rows, raw = width * channels, [bytes(width * channels)], zlib.decompress(packed)
    for at in range(0, height * (stride + 1), stride + 1):
        rows.append(unfilter(raw[at], bytearray(raw[at + 1:at + 1 + stride]), rows[-1], channels))
    return width, height, channels, rows[1:]


def write_png(width, height, channels, rows):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    header = struct.pack(">IIBBBBB", width, height, 8, {1: 0, 3: 2, 4: 6}[channels], 0, 0, 0)
    packed = zlib.compress(b"".join(b"\0" + bytes(row) for row in rows), 9)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", packed) + chunk(b"IEND", b"")


def shrink(width, height, channels, rows):
    small = []
    for top in range(0, height, CELL):
        band = [sum(column) for column in zip(*rows[top:top + CELL])]
        count = min(CELL, height - top)
        small.append([round(sum(band[at:min(at + CELL * channels, len(band)):channels]) /
                            (count * min(CELL, width - left)))
                      for left in range(0, width, CELL)
                      for at in range(left * channels, left * channels + channels)])
    return len(small[0]) // channels, len(small), channels, small


# --- What is stored of an output ---

def checksum(data):
    return hashlib.sha256(data).hexdigest()[:16]


def means(values):
    size = max(1, -(-len(values) // RUNS))
    runs = [values[at:at + size] for at in range(0, len(values), size)]
    return [f"{sum(v * (1 + k % 7) for k, v in enumerate(run)) / len(run):.9g}/"
            f"{sum(map(abs, run)) * 4 / len(run):.3g}" for run in runs]


def vtk_arrays(data):
    """(name, type, bytes) of the arrays of a VTK file, after the text before them."""
    text, _, appended = data.partition(b'<AppendedData encoding="raw">\n_')
    yield "", None, text
    for found in re.finditer(rb'<DataArray type="(\w+)" Name="([^"]*)".*offset="(\d+)"', text):
        at = int(found[3])
        size, = struct.unpack_from("<q", appended, at)
        yield ":" + found[2].decode().replace(" ", "_"), found[1].decode(), appended[at + 8:at + 8 + size]


def describe(kind, data, typecode="f"):
    if kind == "exact":
        return [checksum(data)]
    if kind in ("floats", "bytes"):
        return means(array.array("B" if kind == "bytes" else typecode, data))
    if kind == "text":
        data = IMAGE.sub(b"", data)
        return [checksum(NUMBER.sub(b"#", data))] + means([float(number) for number in NUMBER.findall(data)])
    raise ValueError(kind)


def outputs(folder, stored):
    """(name, kind, words, small picture) of every output; the kind is the one stored, if any."""
    for file in sorted(path for path in folder.rglob("*") if path.is_file()):
        name, data = file.relative_to(folder).as_posix(), file.read_bytes()
        data = ABSOLUTE.sub(b'"', data) if file.suffix == ".json" else data
        if file.suffix == ".png":
            picture = read_png(data)
            yield name, "picture", [str(size) for size in picture[:2]], shrink(*picture)
        elif file.suffix.startswith(".vt"):
            for array_name, kind, values in vtk_arrays(data):
                kept = stored.get(name + array_name, ["floats" if kind in VTK_TYPES else "exact"])[0]
                yield name + array_name, kept, describe(kept, values, VTK_TYPES.get(kind)), None
        else:
            kind = stored.get(name, [KINDS.get(file.suffix, "exact")])[0]
            yield name, kind, describe(kind, data), None
            for image in IMAGE.findall(data) if file.suffix == ".svg" else []:
                picture = read_png(base64.b64decode(image))
                yield name + ".png", "picture", [str(size) for size in picture[:2]], shrink(*picture)


def agree(kind, words, expected):
    if len(words) != len(expected):
        return False
    exact = {"exact": 1, "picture": 2, "text": 1}.get(kind, 0)
    pairs = [[[float(part) for part in word.split("/")] for word in each[exact:]] for each in (words, expected)]
    noise = 1e-6 * max((size for _, size in pairs[1]), default=0)  # what is left of a zero that cancels
    return words[:exact] == expected[:exact] and all(
        abs(mean - was) <= TOLERANCE * max(size, noise) for (mean, _), (was, size) in zip(*pairs))


def main(zam, network, folder, expected):
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    result = subprocess.run([zam, "run", network, "--output-dir", folder, "--log", folder / "calls.log"]).returncode
    if result != 0:
        return result
    table = expected / "outputs.txt"
    stored = {}
    for line in table.read_text().splitlines() if table.exists() else []:
        name, *rest = line.split()
        stored[name] = rest
    update = os.environ.get("ZAM_UPDATE_EXPECTED") == "1"
    lines, faults, seen = [], [], set()
    for name, kind, words, small in outputs(folder, stored):
        seen.add(name)
        lines.append(" ".join([name, kind, *words]))
        if update:
            if small:
                (expected / name).parent.mkdir(parents=True, exist_ok=True)
                (expected / name).write_bytes(write_png(*small))
        elif name not in stored:
            faults.append(f"{name}: nothing is stored of it")
        elif not agree(kind, words, stored[name][1:]):
            faults.append(f"{name}: {' '.join(words)}\n  stored: {' '.join(stored[name][1:])}")
        elif small:
            was = read_png((expected / name).read_bytes())
            worst = max(abs(a - b) for new, old in zip(small[3], was[3]) for a, b in zip(new, old))
            if small[:3] != was[:3] or worst > 1:
                faults.append(f"{name}: differs from the stored picture by up to {worst} of 255")
    faults += [f"{name}: was not written" for name in stored if name not in seen and not update]
    if update:
        expected.mkdir(parents=True, exist_ok=True)
        table.write_text("".join(line + "\n" for line in lines))
    if faults:
        print("\n".join(faults), "\nIf that is wanted: ZAM_UPDATE_EXPECTED=1 ctest --preset release -R ^example")
    return 1 if faults or not lines else 0


sys.exit(main(*map(Path, sys.argv[1:])))
