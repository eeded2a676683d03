#!/usr/bin/env python3
"""check_view.py ZAM: pictures that `zam view` makes, compared with where NumPy says what has to be seen.

Left out, with a word, where NumPy or Pillow are not installed.
"""
import json
from pathlib import Path

from checks import call, faults, finish, need, numpy

Image = need("PIL.Image")


def expect(name, holds, text=""):
    if not holds:
        faults.append(f"{name}: {text}")


def view(file, *options, status=0):
    """What the program says, by the first word of its lines; and the notes and errors."""
    ended = call("view", file, "-o", "p.png", *options)
    expect(f"view {file} {options}", ended.returncode == status, ended.stderr)
    return {line.split()[0]: line[12:] for line in ended.stdout.splitlines()}, ended.stderr


def picture(file="p.png"):
    return numpy.asarray(Image.open(file).convert("RGB")).astype(int)


def lit(pixels):
    """First and last column and row that are not black."""
    rows, columns = numpy.nonzero(pixels.sum(axis=2))
    return columns.min(), columns.max(), rows.min(), rows.max()


def check_plane(random):
    """Values at their places: x to the right, y up, whatever the type; nulls grey."""
    values = random.random((30, 40))
    numpy.save("a.npy", values)
    facts, _ = view("a.npy", "--plain", "--preset", "gray", "--range", "0,1", "--size", "390x290")
    shown = picture()
    expect("size", shown.shape == (290, 390, 3), shown.shape)
    for row, column in ((3, 5), (20, 33), (11, 17)):  # ten pixels from node to node
        seen = shown[290 - 10 * row, 10 * column].mean()
        expect("plane", abs(seen - 255 * values[row, column]) < 12, f"{row} {column}: {seen}, {255 * values[row, column]}")
    expect("modules", facts["modules"] == "host_view", facts)
    values[5:15, 5:15] = numpy.nan
    numpy.save("a.npy", values)
    view("a.npy", "--plain", "--size", "390x290")
    seen = picture()[190, 100]
    expect("nulls", tuple(seen) == (204, 204, 204), seen)
    for single in (values[numpy.newaxis], values[:, numpy.newaxis], values[:, :, numpy.newaxis]):
        numpy.save("a.npy", single)
        facts, _ = view("a.npy", "--plain")
        expect("single node", facts["modules"] == "host_view", facts)


def check_volume(random):
    """A volume in the middle of the picture with its proportions, a blob where it is, percentiles of its values."""
    for dims in ((2, 2, 2), (16, 16, 16), (5, 9, 17)):
        numpy.save("a.npy", numpy.full(dims, -2.5))
        facts, _ = view("a.npy", "--plain", "--turn", "0,0,0", "--perspective", "0", "--size", "400x400")
        left, right, top, bottom = lit(picture())
        nodes = numpy.array(dims) - 1
        ratio = (right - left) / (bottom - top)
        expect("proportions", abs(ratio - nodes[2] / nodes[1]) < 0.03, f"{dims}: {ratio}")
        expect("middle", abs(left + right - 400) < 4 and abs(top + bottom - 400) < 4, f"{dims}: {left} {right} {top} {bottom}")
        expect("fills", max(right - left, bottom - top) > 350, f"{dims}: {left} {right} {top} {bottom}")
        expect("one value", "only value -2.5" in facts["range"], facts)
    z, y, x = numpy.mgrid[-1:1:40j, -1:1:40j, -1:1:40j]
    numpy.save("a.npy", numpy.exp(-40 * ((x - 0.5) ** 2 + (y + 0.5) ** 2 + z**2)).astype("f4"))
    view("a.npy", "--plain", "--turn", "0,0,0", "--perspective", "0", "--size", "400x400")
    left, right, top, bottom = lit(picture())
    expect("blob", abs(left + right - 580) < 20 and abs(top + bottom - 580) < 20, f"{left} {right} {top} {bottom}")
    for scale, shift in ((1e-30, 0), (1e30, 0), (1, 101325), (1e-3, -5)):
        values = random.normal(size=(20, 30, 40)) * scale + shift
        numpy.save("a.npy", values)
        low, high = (float(word) for word in view("a.npy", "--plain")[0]["range"].split(",")[0].split(" to "))
        wanted = numpy.percentile(values, [1, 99])
        close = numpy.allclose([low, high], wanted, rtol=0, atol=0.2 * (wanted[1] - wanted[0]))
        expect("percentiles", close, f"{low} {high}, {wanted}")
    values = numpy.zeros((20, 20, 20), "f4")  # almost all the same
    values[:3, :3, :3] = random.random((3, 3, 3)) + 1
    numpy.save("a.npy", values)
    facts, _ = view("a.npy", "--plain")
    expect("others than the most frequent", 1.5 < float(facts["range"].split()[2].strip(",")) < 2.1, facts)


def check_flow():
    """Vectors by names, by numbers, by their axis; a vortex is seen as one; time steps are frames."""
    y, x = numpy.mgrid[-1:1:40j, -2:2:80j]
    numpy.savez("w.npz", x=x, u=-y, v=x, other=x * 0)
    numpy.save("w.npy", numpy.stack([-y, x], -1))
    for file, options in (("w.npz", ()), ("w.npz", ("--vector", "u,v")), ("w.npz", ("--vector", "1,2")), ("w.npy", ())):
        facts, _ = view(file, "--plain", "--save-network", "n.json", *options)
        expect("flow", facts["modules"] == "lic_texture, topology, host_view", facts)
        expect("lengths", f"to {numpy.hypot(x, y).max():.3f}, the lengths" in facts["range"], facts)
        shown = picture()
        height, width, _ = shown.shape
        expect("size", (width, height) == (640, 316), f"{width} {height}")
        centre = shown[height // 2 - 1 : height // 2 + 2, width // 2 - 1 : width // 2 + 2]
        expect("centre", (centre == (255, 230, 51)).all(axis=2).any(), centre.tolist())
    numpy.save("s.npy", numpy.stack([numpy.stack([-y, x + step], -1)for step in range(5)]))
    ended = call("view", "s.npy", "--plain", "-o", "s.webp")
    frames = Image.open("s.webp").n_frames if ended.returncode == 0 else ended.stderr
    expect("frames", frames == 5, frames)
    view("s.npy", "--plain", "--step", "4")


def check_steps(random):
    """A step of a field file, which its module reads, is the frame that the animation of all steps has there."""
    steps = random.random((3, 8, 10)).astype("<f4")
    steps.tofile("s.raw")
    Path("s.fld").write_text("# AVS\nndim=2 dim1=10 dim2=8 nspace=2 veclen=1 data=float field=uniform nstep=3\n" + "".join(
        f"time value={step}\nvariable 1 file=s.raw filetype=binary skip={320 * step}\nEOT\n" for step in range(3)))
    expect("film", call("view", "s.fld", "--plain", "--range", "0,1", "-o", "s.webp").returncode == 0)
    film = Image.open("s.webp")
    for step in range(3):
        film.seek(step)
        view("s.fld", "--plain", "--range", "0,1", "--step", str(step))
        expect(f"step {step}", (picture() == numpy.asarray(film.convert("RGB"))).all(), "another picture")


def check_descending_axes(random):
    """Data whose positions go down along axes look as the same data the other way round."""
    for dims, veclen in (((40, 20), 2), ((40, 20), 1), ((12, 10, 8), 1)):
        values = random.random((*reversed(dims), veclen)).cumsum(0).cumsum(1)  # smooth: faces have diagonals
        corners = [0] * len(dims), [size - 1 for size in dims]
        shown = []
        for turned in (False, True):
            low, high = (list(corner) for corner in corners)
            if turned:
                low[1], high[1] = high[1], low[1]
            y_axis = len(dims) - 2
            data = numpy.flip(values, y_axis) if turned else values
            field = {"dims": dims, "nspace": len(dims), "points": low + high,
                     "node_data": [{"veclen": veclen, "values": data.ravel().tolist()}]}
            Path("d.json").write_text(json.dumps(field))
            view("d.json", "--plain", "--size", "200x200")
            shown.append(picture())
        difference = numpy.abs(shown[0] - shown[1])
        expect(f"descending {dims} {veclen}", shown[0].std() > 10 and difference.mean() < 1, difference.mean())


def check_capture():
    """The colours of a capture, row by row from the top."""
    colours = numpy.arange(6 * 4 * 4, dtype="u1").reshape(4, 6, 4)
    Path("c.img").write_bytes(b"0000600004" + colours.tobytes() + numpy.full((4, 6), 0.5, "<f4").tobytes())
    view("c.img")
    expect("capture", (picture() == colours[:, :, 1:]).all(), picture().tolist())


def check_same_bytes():
    """The network that is kept makes the same picture, also from another folder."""
    Path("sub").mkdir()
    for file in ("a.npy", "w.npz", "s.npy"):
        for ending in (".png", ".svg", ".webp"):
            made = call("view", file, "-o", "made" + ending, "--save-network", "sub/n.json", "--size", "90x80")
            ran = call("run", "sub/n.json", "--output-dir", "again")
            expect(f"{file} {ending}", made.returncode == 0 and ran.returncode == 0, made.stderr + ran.stderr)
            same = Path("made" + ending).read_bytes() == Path("again/made" + ending).read_bytes()
            expect(f"{file} {ending}", same, "other bytes")


def check_refusals():
    numpy.save("nan.npy", numpy.full((4, 4, 4), numpy.nan))
    numpy.save("empty.npy", numpy.zeros((0, 4)))
    Path("short.img").write_bytes(b"0000300002" + bytes(47))
    Path("n.json").write_text(json.dumps({"modules": {"v": {"use": "host_view"}}, "write": {"v.json": "v"}}))
    cases = [
        ("nan.npy", (), 1, "no value that is a finite number"),
        ("empty.npy", (), 1, "zam: error: empty.npy: double 0 x 4: there are no values"),
        ("short.img", (), 1, "short.img: the file is shorter than"),
        ("w.npz", ("--variable", "q"), 1, "there is no array q; there are x (double 40 x 80), u (double 40 x 80)"),
        ("s.npy", ("--step", "5"), 1, "there is no step 5; there are 5"),
        ("a.npy", ("--preset", "blue"), 2, "unknown preset blue; there are gray bone"),
        ("a.npy", ("--opacity", "[[0,0"), 2, "--opacity"),
        ("a.npy", ("--range", "1"), 2, "--range"),
        ("n.json", (), 2, "the network writes no image"),
        ("n.json", ("--zoom", "2"), 2, "only -o goes with it"),
        ("p.png", (), 2, "zam writes but does not read"),
        ("none", (), 2, "cannot open none"),
    ]
    for file, options, status, text in cases:
        _, said = view(file, *options, status=status)
        expect(f"{file} {options}", text in said and said.count("\n") == 1, said)


def main():
    random = numpy.random.default_rng(7)
    check_plane(random)
    check_volume(random)
    check_flow()
    check_steps(random)
    check_descending_axes(random)
    check_capture()
    check_same_bytes()
    check_refusals()
    finish()


main()
