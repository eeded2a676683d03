#!/usr/bin/env python3
"""check_legend.py ZAM: pictures with legends and axes as PIL reads them, beside the same without, and the texts of their .svg files.

Left out, with a word, where PIL or NumPy is not installed, or where the program draws no letters.
"""
import base64
import io
import json
import os
import re
import subprocess
import sys
import tempfile

try:
    import numpy
    from PIL import Image
except ImportError:
    print("left out: PIL or NumPy is not installed")
    sys.exit(0)

zam = os.path.abspath(sys.argv[1])
red = [[0, 200], [255, 100]]  # of the colour table: from the lowest value to the highest
volume = {"data_file": "v.npy", "convert": {"range": [-50, 350], "crop": [[0, 3], [0, 3], [0, 3]]}}
flow = {"data_file": "uv.npy", "vector_axis": -1, "spacing": [10, 5], "origin": [100, 0]}
plane = {"field": {"dims": [3, 2], "points": [-1, 2, 3, 4], "node_data": [{"label": "a & b", "units": "m²", "values": [0, 1, 2, 3, 4, 5]}]}}
network = {
    "modules": {
        "tracer": {"use": "tracer", "params": {"in": volume, "width": 90, "height": 70, "color_table": {"preset": "gray", "red": red}}},
        "lic": {"use": "lic_texture", "params": {"in_fld": flow, "colvecflag": 1, "rate": 0.5}},
        "view": {"use": "host_view", "params": {"objects": [plane, plane], "datamaps": [None, {"range": [0, 1e-7], "preset": "gray", "red": red}],
                                                "width": 300, "height": 200, "xform": {"scale": 0.1}}}},
    "events": [{"for": {"view.datamaps": [[None, {"range": [0, 1]}], [None, {"range": [-1e9, 1e12]}]]}, "steps": 2,
                "write": {f"%d.{kind}": {"from": "view.out", "legend": True, "axes": True} for kind in ("png", "svg")}
                | {"film.webp": {"from": "view.out", "legend": True, "axes": True}}},
               {"set": {"view.datamaps": [None, {"range": [0, 1e-7], "preset": "gray", "red": red}]}}],
    "write": {},
}
# of a picture: the output; texts in the order of the page
cases = {
    "tracer": ({"from": "tracer.out"}, ["0", "100", "200", "300"]),
    "lic": ({"from": "lic.out_fld"}, ["200", "0", "100", "x", "y", "3", "4", "5"]),
    "upside_down": ({"from": "lic.out_fld", "origin": "upper"}, ["200", "0", "100", "x", "y", "3", "4", "5"]),
    "view": ({"from": "view.out"}, ["−6", "−4", "−2", "0", "2", "4", "6", "−4", "−2", "0", "2", "4", "x", "y", "a &amp; b (m²)", "0", "2×10⁻⁸", "4×10⁻⁸", "6×10⁻⁸",
                                    "8×10⁻⁸", "10⁻⁷", "a &amp; b (m²)"]),
    "alpha": ({"from": "view.out", "alpha": True}, None),
    "dark": ({"from": "view.out", "background": [0, 0, 0.2]}, None),
}
for name, (output, texts) in cases.items():
    around = {"legend": True, "axes": name != "tracer"}
    network["write"] |= {f"{name}.plain.png": output, f"{name}.png": output | around, f"{name}.webp": output | around}
    if texts:
        network["write"][f"{name}.svg"] = output | around

with tempfile.TemporaryDirectory() as scratch:
    os.chdir(scratch)
    numpy.save("v.npy", numpy.arange(125, dtype="f4").reshape(5, 5, 5))
    y, x = numpy.mgrid[0:25, 0:25]
    numpy.save("uv.npy", numpy.stack([x * 0.1 + 2, y * 0.1 + 0.01], -1).astype("f4"))
    with open("n.json", "w") as file:
        json.dump(network, file)
    ran = subprocess.run([zam, "run", "n.json"], timeout=60, capture_output=True, text=True)
    if "without Cairo" in ran.stderr:
        print("left out: this zam draws no letters")
        sys.exit(0)
    assert ran.returncode == 0 and not ran.stderr, ran.stderr

    def place(name):
        """Where the picture is on its page, by the .svg file."""
        page = open(f"{name}.svg").read()
        return [int(number) for number in re.search(r'<svg x="(\d+)" y="(\d+)" width="(\d+)" height="(\d+)"', page).groups()]

    for name, (output, texts) in cases.items():
        plain, page = Image.open(f"{name}.plain.png"), Image.open(f"{name}.png")
        left, top, width, height = place(name if texts else "view")
        assert page.mode == plain.mode and plain.size == (width, height), name
        assert page.crop((left, top, left + width, top + height)).tobytes() == plain.tobytes(), name
        corner = {"alpha": (255, 255, 255, 255), "dark": (0, 0, 51)}.get(name, (255, 255, 255))
        assert page.getpixel((0, 0)) == corner and page.getpixel((page.width - 1, page.height - 1)) == corner, name
        assert Image.open(f"{name}.webp").convert(page.mode).tobytes() == page.tobytes(), name
        if texts:
            svg = open(f"{name}.svg").read()
            assert re.findall(r"<text[^>]*>([^<]*)</text>", svg) == texts, (name, re.findall(r"<text[^>]*>([^<]*)</text>", svg))
            inner = Image.open(io.BytesIO(base64.b64decode(re.search('base64,([^"]*)"', svg).group(1))))
            turned = "scale(1 -1)" in svg
            assert (inner.transpose(Image.FLIP_TOP_BOTTOM) if turned else inner).tobytes() == plain.convert("RGB").tobytes(), name

    # the bar goes from the table's first colour, at its lower end, to the last
    for name, low, high in (("tracer", (200, 0, 0), (100, 255, 255)), ("view", (200, 0, 0), (100, 255, 255)), ("lic", (63, 63, 191), (191, 63, 63))):
        page = Image.open(f"{name}.png")
        bar = re.search(r'<rect x="([\d.]+)" y="([\d.]+)" width="([\d.]+)" height="([\d.]+)" fill="url', open(f"{name}.svg").read())
        x, y, width, height = (float(number) for number in bar.groups())
        ends = [page.getpixel((int(x + width / 2), int(at))) for at in (y + height - 1, y)]
        assert all(abs(a - b) <= 4 for end, wanted in zip(ends, (low, high)) for a, b in zip(end, wanted)), (name, ends)

    # ticks stand where their values are: the view's shorter side is 10 long, the texture's nodes are 10 apart
    for name, text, at in (("view", "−6", 300 * (-6 + 7.5) / 15), ("lic", "200", (200 - 100) / 10 + 0.5)):
        x = float(re.search(rf"translate\(([\d.]+) [\d.]+\)[^>]*>{text}<", open(f"{name}.svg").read()).group(1))
        assert abs(x - place(name)[0] - at) < 1e-3, (name, x)

    first, second, film = Image.open("0.png"), Image.open("1.png"), Image.open("film.webp")
    assert first.size == second.size == film.size and film.n_frames == 2
    assert first.tobytes() != second.tobytes() == (film.seek(1), film.convert("RGB").tobytes())[1]
