"""What `import zam` promises, case by case. The program is named by ZAM_PROGRAM, for what it makes too."""
import copy
import gc
import os
import resource
import signal
import subprocess
import sys
import tempfile
import textwrap
import threading
import time
import unittest
import warnings
from pathlib import Path

import numpy as np

import zam

PROGRAM = os.environ["ZAM_PROGRAM"]
CONE = {"div": 5, "offset": 0, "length": 2, "radius": 1}


def ball(side=24, dtype=np.uint8):
    z, y, x = np.mgrid[-1 : 1 : side * 1j, -1 : 1 : side * 1j, -1 : 1 : side * 1j]
    return np.clip(255 - 200 * np.sqrt(x * x + y * y + z * z), 0, 255).astype(dtype)


def eddies(dtype=np.float32):
    y, x = np.mgrid[0:20, 0:30]
    return np.stack([np.sin(y / 3), np.cos(x / 3)], -1).astype(dtype)


plain = unittest.skipIf("ASAN_OPTIONS" in os.environ, "the sanitizer takes time and memory")


def peak():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024


def in_other_process(code):
    """What a script prints."""
    script = "import sys, numpy as np, zam\nfrom python_test import *\n" + textwrap.dedent(code)
    path = os.pathsep.join([str(Path(__file__).parent), *sys.path])
    return subprocess.run([sys.executable, "-c", script], env={**os.environ, "PYTHONPATH": path}, check=True,
                          capture_output=True, text=True).stdout


class Errors(unittest.TestCase):
    def test_what_is_wrong_is_said(self):
        u = eddies()[..., 0]
        net = zam.Network()
        net.add("render", "tracer")
        cases = [
            (lambda: zam.tracer(ball(), widht=3), TypeError, "did you mean 'width'"),
            (lambda: zam.tracer(ball(), width="3"), TypeError, "tracer.width: a whole number is expected, not str"),
            (lambda: zam.tracer(ball(), width=2**70), ValueError, "too large"),
            (lambda: zam.tracer(ball(), width=2**40), ValueError, "tracer.width"),
            (lambda: zam.tracer(ball(), width=0), zam.ModuleError, "tracer: width and height must be at least 1"),
            (lambda: zam.tracer(ball(), in_=ball()), TypeError, "two values for 'in_'"),
            (lambda: zam.tracer(ball(), ball()), TypeError, "takes 1 parameters by place"),
            (lambda: zam.tracer("ball.npy"), TypeError, "zam.read('ball.npy') reads a file"),
            (lambda: zam.tracer(ball().astype(complex)), TypeError, "numbers are expected, not complex"),
            (lambda: zam.tracer(ball(), color_table="viridi"), ValueError, 'did you mean "viridis"'),
            (lambda: zam.tracer(ball(), xform=np.eye(3)), TypeError, "4 x 4"),
            (lambda: zam.tracer(ball(), progress=3), TypeError, "progress"),
            (lambda: zam.trcer, AttributeError, "did you mean 'tracer'"),
            (lambda: zam.view(ball(), present="bone"), TypeError, "did you mean 'preset'"),
            (lambda: zam.view(ball(), zoom="x"), TypeError, "zoom cannot be 'x'"),
            (lambda: zam.read("missing.npy"), zam.Error, "cannot open missing.npy"),
            (lambda: zam.Network("missing.json"), zam.Error, "missing.json"),
            (lambda: zam.field(ball(), labels=["a", "b"]), ValueError, "2 labels for 1 components"),
            (lambda: zam.field(u, coord=eddies(), axes=[]), TypeError, "coord, or spacing"),
            (lambda: zam.field(u, axes=[[0, 1], [0, 1]]), ValueError, "a position per node"),
            (lambda: copy.copy(net["render"]), AttributeError, "_network"),
            (lambda: zam.field(ball(), ball(8)), ValueError, "does not fit nodes"),
            (lambda: net["rendr"], KeyError, "did you mean 'render'"),
            (lambda: net["render"].widht, AttributeError, "did you mean 'width'"),
            (lambda: setattr(net["render"], "width", []), TypeError, "render.width"),
            (lambda: net.connect("render.in", "rendr.out"), ValueError, 'did you mean "render"'),
            (lambda: net.add("it", "trcer"), zam.Error, 'did you mean "tracer"'),
        ]
        for call, kind, text in cases:
            with self.subTest(text), self.assertRaises(kind) as caught:
                call()
            self.assertIn(text, str(caught.exception))

    def test_a_note_is_a_warning_where_the_caller_stands(self):
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            zam.tracer(ball().astype(float))
        self.assertEqual([(one.category, one.filename) for one in caught], [(zam.ModuleWarning, __file__)])
        self.assertIn('"convert": {"type": "byte", "range": "auto"}', str(caught[0].message))


class Results(unittest.TestCase):
    def test_pictures_are_those_of_the_program(self):
        values = np.arange(256) / 255
        tables = ["bone", {"preset": "bone"}, {"preset": "bone", "alpha": [[0, 0], [255, 255]]}]
        size = {"width": 40, "height": 30, "xform": zam.rotate(-60, 0, 30)}
        pictures = [zam.tracer(ball(), color_table=table, **size) for table in tables]
        for picture in pictures[1:]:
            self.assertEqual(picture.png(), pictures[0].png())
        scaled = zam.convert(ball().astype(float), type="byte", range=[0, 255])
        self.assertEqual(zam.tracer(scaled, color_table="bone", **size).png(), pictures[0].png())
        ramp = np.stack([values, values, values, values], -1)
        self.assertEqual(zam.tracer(ball(), color_table=ramp).png(), zam.tracer(ball()).png())
        with tempfile.TemporaryDirectory() as folder:
            np.save(Path(folder) / "ball.npy", ball())
            Path(folder, "n.json").write_text("""{"modules": {"render": {"use": "tracer", "params": {
                "width": 40, "height": 30, "in": {"data_file": "ball.npy"}, "color_table": {"preset": "bone"},
                "xform": {"rotate": [-60, 0, 30]}}}},
                "write": {"it.png": "render.out"}}""")
            subprocess.run([PROGRAM, "run", "n.json"], cwd=folder, check=True)
            self.assertEqual(Path(folder, "it.png").read_bytes(), pictures[0].png())
        self.assertEqual(zam.tracer(np.zeros((5, 6, 7, 4), np.uint8), **size).shape, (30, 40))  # opacity and colours
        self.assertEqual(pictures[0].image().shape, (30, 40, 3))
        self.assertEqual(pictures[0].image(alpha=True).shape, (30, 40, 4))
        np.testing.assert_array_equal(pictures[0].image(), pictures[0][0][..., 1:4])

    def test_textures_are_the_right_way_up(self):
        texture = zam.lic_texture(eddies())
        np.testing.assert_array_equal(texture.image(), texture[0][::-1, :, 1:4])
        self.assertTrue(texture._repr_png_().startswith(b"\x89PNG"))

    def test_several_outputs_are_a_named_tuple(self):
        found = zam.topology(eddies())
        self.assertEqual(found._fields, ("out_field", "out_field2"))
        kinds = found.out_field2.data[0].view("S2")[:, 0]
        self.assertLessEqual(set(kinds), {b"SP", b"AN", b"RN", b"AF", b"RF", b"CE"})
        self.assertEqual([cells.name for cells in found.out_field.cells], ["Line"])
        self.assertEqual(found.out_field.coord.shape, (found.out_field.nodes, 3))

    def test_every_module_is_a_function(self):
        for name, summary in zam.modules().items():
            if name.startswith("QELjoy"):
                continue
            function = getattr(zam, name)
            self.assertEqual(function.__doc__.split("\n")[0][1:-1], summary[1:])
            self.assertIn(name, dir(zam))
        self.assertIn("norm        int (0 mean, 1 sum): ", zam.lic_texture.__doc__)
        self.assertIn("rate        real (0 to 1): ", zam.lic_texture.__doc__)

    def test_fields_are_what_is_given(self):
        u = eddies()[..., 0]
        cases = {
            "uniform": dict(spacing=[0.5, 2], origin=[1, 1]),
            "rectilinear": dict(axes=[np.arange(30) ** 2, np.arange(20)]),
            "structured": dict(coord=np.dstack(np.mgrid[0:20, 0:30])),
        }
        net = zam.Network()
        net.add("it", "threshcolor")
        for grid, place in cases.items():
            given = zam.field(u, labels="u", units="m/s", null=-1, **place)
            net["it"].in_ = given
            held = net["it"].in_
            self.assertEqual((held.grid, held.shape, held[0].label, held["u"].units), (grid, (20, 30), "u", "m/s"))
            self.assertEqual(held[0].null_value, -1)
            np.testing.assert_array_equal(held[0], u)
            np.testing.assert_array_equal(held.points, given.points)
            np.testing.assert_array_equal(held.coord, given.coord)
        cone = zam.cone(**CONE)
        again = zam.field(coord=cone.coord, cells={"Tri": cone.cells[0].connect})
        self.assertEqual(zam.host_view([again], width=30).png(), zam.host_view(cone, width=30).png())

    def test_masked_values_are_null(self):
        net = zam.Network()
        net.add("it", "threshcolor", in_=np.ma.masked_array([[1.0, 2.0], [3.0, 4.0]], [[0, 1], [0, 0]], fill_value=-9))
        self.assertEqual((net["it"].in_[0].null_value, net["it"].in_[0][0, 1]), (-9, -9))

    def test_numbers_that_no_element_type_has_become_the_next(self):
        net = zam.Network()
        net.add("it", "threshcolor")
        types = {"i1": "i2", "u2": "i4", "u4": "i8", "u8": "f8", "f2": "f4", ">f4": "f4", "?": "u1"}
        for given, held in types.items():
            net["it"].in_ = np.array([[0, 1], [1, 0]], given)
            self.assertEqual(net["it"].in_[0].dtype, np.dtype(held), given)
            np.testing.assert_array_equal(net["it"].in_[0], [[0, 1], [1, 0]])

    def test_views_are_those_of_the_program(self):
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder) / "data.npy"
            for data in ball(), ball(16, np.float64), eddies()[..., 0]:
                np.save(file, data)
                for options, given in ([], {}), (["--preset", "heat", "--plain"], {"preset": "heat", "plain": True}):
                    subprocess.run([PROGRAM, "view", *options, "data.npy", "-o", "it.png"], cwd=folder,
                                   check=True, capture_output=True)
                    expected = Path(folder, "it.png").read_bytes()
                    self.assertEqual(zam.view(file, **given).png(), expected)
                    self.assertEqual(zam.view(data, **given)._repr_png_(), expected)
            zam.view(data).save(Path(folder) / "it.svg")
            self.assertIn("<svg", Path(folder, "it.svg").read_text())


class Arrays(unittest.TestCase):
    @plain
    def test_a_gigabyte_is_not_copied(self):
        printed = in_other_process("""
            volume = np.full((1024, 1024, 1024), 7, np.uint8)
            before = peak()
            zam.tracer(volume, width=2, height=2)
            net = zam.Network()
            net.add("it", "tracer", in_=volume)
            held = net["it"].in_[0]
            print(peak() - before, np.shares_memory(held, volume), held.shape == volume.shape)
        """)
        grown, shared, same = printed.split()
        self.assertLess(int(grown), 64 << 20)
        self.assertEqual((shared, same), ("True", "True"))

    def test_results_are_read_where_they_are_and_outlive_everything(self):
        net = zam.Network()
        net.add("it", "cone", **CONE)
        net.run()
        coord = net["it"].out.coord
        self.assertTrue(np.shares_memory(coord, net["it"].out.coord))
        before = coord.copy()
        net["it"].radius = 3
        net.run()
        self.assertFalse(np.array_equal(net["it"].out.coord, before))
        del net
        gc.collect()
        np.testing.assert_array_equal(coord, before)
        with self.assertRaises(ValueError):
            coord[0] = 1
        printed = in_other_process("""
            coord = zam.cone(**CONE).coord
            zam._core.end()
            print(coord.sum() == coord.copy().sum(), zam._core.account()[1:])
        """)
        self.assertEqual(printed, "True (0, [])\n")

    def test_lent_arrays_are_let_go(self):
        volume = ball()
        held = sys.getrefcount(volume)
        picture = zam.tracer(volume, width=4, height=4)
        self.assertEqual(sys.getrefcount(volume), held)
        net = zam.Network()
        net.add("it", "tracer", in_=volume)
        view = net["it"].in_[0]
        self.assertGreater(sys.getrefcount(volume), held)
        del net
        self.assertGreater(sys.getrefcount(volume), held)
        del view, picture
        self.assertEqual(sys.getrefcount(volume), held)
        self.assertEqual(zam._core.account(), (0, 0, []))

    @plain
    def test_a_thousand_networks_do_not_grow(self):
        printed = in_other_process("""
            volume = ball()
            def once():
                zam.tracer(volume, width=8, height=8)
                net = zam.Network(text='{"modules": {"c": {"use": "cone"}}}')
                for name, value in CONE.items(): setattr(net["c"], name, value)
                net.run()
            for _ in range(100): once()
            before = peak()
            for _ in range(1000): once()
            print(peak() - before)
        """)
        self.assertLess(int(printed), 1 << 20)


class Runs(unittest.TestCase):
    @plain
    def test_a_call_costs_less_than_five_milliseconds(self):
        volume = ball(8)
        zam.tracer(volume, width=1, height=1)
        times = []
        for _ in range(50):
            begin = time.perf_counter()
            zam.tracer(volume, width=1, height=1)
            times.append(time.perf_counter() - begin)
        self.assertLess(sorted(times)[len(times) // 2], 5e-3)

    def test_progress_is_told_and_may_cancel(self):
        told = []
        zam.tracer(ball(), progress=lambda *now: told.append(now))
        self.assertEqual(told[0], ("tracer", 0, ""))
        self.assertGreater(len(told), 2)
        net = zam.Network()
        net.add("it", "tracer", in_=ball())
        with self.assertRaises(zam.Cancelled):
            net.run(progress=lambda *now: False)
        with self.assertRaises(ZeroDivisionError):
            net.run(progress=lambda *now: 1 / 0)
        with self.assertRaisesRegex(zam.Error, "another call is at work"):
            net.run(progress=lambda *now: net.run())
        net.run()
        self.assertEqual(net["it"].out.shape, (128, 128))
        self.assertEqual(zam._core.account(), (0, 0, []))

    def test_ctrl_c_ends_a_long_run(self):
        threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT)).start()
        begin = time.monotonic()
        with self.assertRaises(KeyboardInterrupt):
            zam.lic_texture(np.random.default_rng(1).normal(size=(3000, 3000, 2)).astype(np.float32), line=500)
        self.assertLess(time.monotonic() - begin, 10)
        self.assertEqual(zam._core.account(), (0, 0, []))

    def test_threads_wait_for_each_other(self):
        pictures = []
        volume = ball()
        threads = [threading.Thread(target=lambda: pictures.append(zam.tracer(volume).png())) for _ in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(pictures, [zam.tracer(volume).png()] * 8)

    def test_a_network_runs_what_changed(self):
        text = '{"modules": {"c": {"use": "cone"}, "v": {"use": "host_view"}}}'
        net = zam.Network(text=text, changes={"v.width": 30})
        for name, value in CONE.items():
            setattr(net["c"], name, value)
        net["v"].objects = [{"ref": "c.out"}]
        net.set("v.height", 20)
        net.run()
        self.assertEqual((list(net), net["v"].width, net["v"].out.shape), (["c", "v"], 30, (20, 30)))
        first = net.png("v.out")
        net["c"].div = 3
        net.run()
        self.assertNotEqual(net.png("v.out"), first)
        self.assertEqual(len(net["c"].out.coord), 5)
        with tempfile.TemporaryDirectory() as folder:
            net.save(Path(folder) / "it.png", "v.out")
            self.assertEqual(Path(folder, "it.png").read_bytes(), net.png("v.out"))
            net["v"].out.save(Path(folder) / "field.png")
            self.assertEqual(Path(folder, "field.png").read_bytes(), net.png("v.out"))


if __name__ == "__main__":
    unittest.main()
