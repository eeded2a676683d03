"""zam serve, driven by HTTP: what is changed, drawn, saved, undone and recorded; who is let in; what rubbish and slow or lost
connections do. Usage: serve_test.py ZAM SCRATCH"""
import html
import json
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import time
import unittest

sys.dont_write_bytecode = True
from client import Events, Server  # noqa: E402

ZAM, SCRATCH = sys.argv[1], pathlib.Path(sys.argv[2])
SIDE = 32
NETWORK = {
    "modules": {
        "render": {
            "use": "tracer",
            "params": {
                "in": {"field": {"dims": [SIDE] * 3, "node_data": [{"type": "byte", "values": {"values_file": "volume.raw"}}]}},
                "width": 300, "height": 200, "color_table": {"preset": "heat"},
            },
        },
        "check": {"use": "CheckTmpDir"},
    },
    "write": {"picture.png": "render.out", "page.png": {"from": "render.out", "legend": True}, "lines.svg": "render.out"},
}


def transform(angle):
    return {"rotate": [angle, 2 * angle, 0]}


class ServeTest(unittest.TestCase):
    def setUp(self):
        shutil.rmtree(SCRATCH, ignore_errors=True)
        (SCRATCH / "sub").mkdir(parents=True)
        (SCRATCH / "volume.raw").write_bytes(bytes(i * 7 % 253 for i in range(SIDE**3)))
        (SCRATCH / "network.json").write_text(json.dumps(NETWORK) + "  // a comment\n")
        self.server = Server(ZAM, str(SCRATCH / "network.json"))
        self.addCleanup(self.server.__exit__)
        self.events = Events(self.server)
        self.addCleanup(self.events.close)
        self.events.wait("picture")

    def full_picture(self, change):
        """The bytes of the picture that has a change."""
        self.events.wait("state", lambda state: state["change"] >= change and state["modules"][0]["state"] == "ran"
                         and state["version"] > 0)
        state = self.server.get_json("state")
        version = self.events.wait("picture", lambda event: event["full"] and event["version"] >= state["version"])[0]["version"]
        return self.server.get("picture", output=state["shown"], version=version)

    def run_by_program(self, file):
        subprocess.run([ZAM, "run", "--quiet", SCRATCH / file, "--output-dir", SCRATCH / "out"], check=True)
        return SCRATCH / "out"

    def test_what_is_saved_runs_to_the_same_bytes(self):
        first = self.full_picture(0)
        moment = time.monotonic()
        for angle in range(5, 45, 5):
            change = self.server.post("change", set={"render.xform": transform(angle)}, dragging=True, gesture=3)["change"]
        self.assertTrue(self.events.wait("picture", after=moment)[0]["width"] <= 300)
        self.server.post("change", set={"render.interpolate": 0})
        dragged = self.full_picture(self.server.post("rest")["change"])
        self.assertNotEqual(dragged, first)
        self.assertEqual(self.server.parameter("render.width"), 300)
        self.assertEqual(self.server.post("save", file="saved.json"), {})
        self.assertEqual((self.run_by_program("saved.json") / "picture.png").read_bytes(), dragged)

        self.assertIn("error", self.server.post("save", 409, file="saved.json"))
        self.assertEqual(self.server.post("save", file="saved.json", confirmed=True), {})
        # the gesture is one step
        self.server.post("undo")
        self.assertEqual(self.full_picture(self.server.post("undo")["change"]), first)
        self.assertIsNone(self.server.parameter("render.xform"))
        self.server.post("redo")
        self.assertEqual(self.full_picture(self.server.post("redo")["change"]), dragged)
        self.assertEqual(change, 8)

    def test_recordings_are_networks(self):
        self.server.post("change", set={"render.fptr": 0.5})
        self.server.post("record", on=True)
        for angle in (10, 20):
            self.full_picture(self.server.post("change", set={"render.xform": transform(angle)})["change"])
        self.server.post("record", on=False)
        last = self.full_picture(self.server.post("change", reset=["render.fptr"])["change"])
        self.server.post("save", file="recorded.json")
        events = json.loads((SCRATCH / "recorded.json").read_text())["events"]
        self.assertEqual([list(event) for event in events], [["set"], ["write"], ["set"], ["write"], ["set"]])
        out = self.run_by_program("recorded.json")
        self.assertEqual((out / "picture.png").read_bytes(), last)
        self.assertEqual({path.name for path in out.glob("frame*")}, {"frame_0000.png", "frame_0001.png"})

    def test_data_files_open_as_zam_view_shows_them(self):
        (SCRATCH / "sub" / "steps.raw").write_bytes(bytes(i * i % 251 for i in range(3 * 8**3)))
        (SCRATCH / "sub" / "steps.fld").write_text("# AVS\nndim=3 dim1=8 dim2=8 dim3=8 nspace=3 veclen=1 data=byte nstep=3 field=uniform"
                                                   "\nvariable 1 file=steps.raw filetype=binary close=0\n")
        change = self.server.post("open", file="sub/steps.fld")["change"]
        first = self.full_picture(change)
        state, _ = self.events.wait("state", lambda state: state["steps"])
        self.assertEqual((state["base"], state["steps"]["count"], state["steps"]["now"]), ("sub", 3, 0))
        last = self.full_picture(self.server.post("step", step=2)["change"])
        self.assertNotEqual(last, first)
        other = Events(self.server)  # another page
        self.addCleanup(other.close)
        self.assertEqual(other.wait("state")[0]["steps"]["now"], 2)
        self.assertEqual(self.full_picture(self.server.post("undo")["change"]), first)
        other.wait("state", lambda state: state["steps"] and state["steps"]["now"] == 0 and not state["undo"])
        self.full_picture(self.server.post("redo")["change"])

        self.server.post("save", 400, file="steps.json")
        self.server.post("save", file="sub/steps.json")
        subprocess.run([ZAM, "view", SCRATCH / "sub" / "steps.fld", "-o", SCRATCH / "seen.png", "--save-network",
                        SCRATCH / "sub" / "seen.json"], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        seen = json.loads((SCRATCH / "sub" / "seen.json").read_text())
        reader = next(name for name, module in seen["modules"].items() if module["use"] == "DVLDread_field_update")
        seen["events"] = [{"set": {reader + ".stepno": 3}}]
        (SCRATCH / "sub" / "seen.json").write_text(json.dumps(seen))
        self.run_by_program("sub/seen.json")  # to the whole name that was given
        self.assertEqual((SCRATCH / "seen.png").read_bytes(), (self.run_by_program("sub/steps.json") / state["shown"]).read_bytes())

    def test_joysticks_are_moved_and_recorded(self):
        (SCRATCH / "stick.json").write_text(json.dumps({"modules": {
            "settings": {"use": "ZAM_LIB_QELjoySetParams"},
            "stick": {"use": "ZAM_LIB_QELjoyCapture", "params": {"joystick": {"ref": "settings.joystick"}}}},
            "write": {"stick.json": "stick.joy1_captured"}}))
        self.server.post("open", file="stick.json")
        self.server.post("record", on=True)
        for x in (32000, 65535):
            self.server.post("joystick", id=1, x=x, buttons=2)
        self.server.post("joystick", 400, id=3, x=1)
        self.server.post("record", on=False)
        self.server.post("save", file="moved.json")
        events = json.loads((SCRATCH / "moved.json").read_text())["events"]
        self.assertEqual([(list(event.items())[0]) for event in events if "advance" not in event],
                         [("joystick", {"id": 1, "x": 32000, "buttons": 2}), ("run", ["stick"]),
                          ("joystick", {"id": 1, "x": 65535, "buttons": 2})])
        self.assertEqual((self.run_by_program("moved.json") / "stick.json").read_text(), "1\n")

    def test_outputs_values_and_files(self):
        state = self.server.get_json("state")
        self.assertEqual({output["name"]: output["kind"] for output in state["outputs"]},
                         {"picture.png": "picture", "page.png": "vector", "lines.svg": "vector"})
        self.assertTrue('id="module-render"' in html.unescape(state["graph"]) or state["graph"] == "")
        self.assertEqual(len(state["presets"]["heat"]), 256)
        self.assertRegex(self.server.get_json("value", output="picture.png", x=150.5, y=100)["text"],
                         r"^pixel 150, 100: opacity \d+, red \d+, green \d+, blue \d+$")
        histogram = self.server.get_json("histogram", of="render.in")
        self.assertEqual((sum(histogram["counts"]), histogram["min"], histogram["max"]), (SIDE**3, 0, 252))
        self.assertEqual([entry["name"] for entry in self.server.get_json("files")["entries"]], ["sub", "network.json", "volume.raw"])
        moment = time.monotonic()
        self.server.post("show", output="page.png", width=800, height=600)
        inside = self.events.wait("picture", lambda event: event["output"] == "page.png", moment)[0]["inside"]
        drawing = self.server.get("vector", output="page.png").decode()
        self.assertTrue(drawing.startswith("<?xml") and "data:image/png" in drawing)
        self.assertTrue(all(0 <= part < 1 for part in inside) and inside[0] + inside[2] < 0.95, inside)  # the legend is beside it

    def test_a_newer_change_overtakes(self):
        moment = time.monotonic()
        self.server.post("change", set={"render.width": 4000, "render.height": 4000})
        self.events.wait("progress", after=moment)
        asked = time.monotonic()
        change = self.server.post("change", set={"render.width": 50, "render.height": 40})["change"]
        self.assertLess(time.monotonic() - asked, 2.0)
        self.full_picture(change)
        picture = self.events.wait("picture", after=moment)[0]
        self.assertEqual((picture["width"], picture["height"]), (50, 40))

    def test_what_does_not_check_changes_nothing(self):
        (SCRATCH / "wrong.json").write_text('{"modules": {"a": {"use": "tracer", "params": {"widht": 3}}}}')
        os.symlink("/etc", SCRATCH / "sub" / "elsewhere")
        before = self.server.get_json("state")["modules"]
        for name, body in (
                ("change", {"set": {"render.width": "x"}}),
                ("change", {"set": {"render.height": 7, "render.width": [1, {}]}}),
                ("change", {"set": {"render.nothing": 1}}),
                ("change", {"set": {"nobody": 1}}),
                ("change", {"set": 5}),
                ("change", {"reset": ["render"]}),
                ("change", {"set": {"render.in": {"data_file": "/etc/passwd"}}}),
                ("change", {"set": {"render.in": {"data_file": "sub/elsewhere/passwd"}}}),
                ("change", {"set": {"render.in": {"data_file": "sub\\..\\..\\x"}}}),
                ("change", {"set": {"check.tmpDir": "/etc"}}),
                ("show", {"output": "none.png", "width": 1, "height": 1}),
                ("save", {"file": "../x.json"}), ("save", {"file": "sub/elsewhere/x.json"}), ("save", {"file": "x.png"}),
                ("save", {"file": "/tmp/x.json"}), ("save", {"file": 3}),
                ("open", {"file": "/etc/passwd"}), ("open", {"file": "none"}), ("open", {"file": "volume.raw"}),
                ("step", {"step": 1}), ("joystick", {"id": 7}), ("record", {}), ("open", {"file": "wrong.json"})):
            with self.subTest(name=name, body=body):
                self.assertTrue(self.server.post(name, 400, **body)["error"])
        for body in (b"", b"[]", b"{", b'{"set":' + b"[" * 5000, b"\xff\xfe", b'{"set": {"render.width": 1e999}}'):
            self.assertEqual(self.server.request("POST", "change", body)[0], 400, body[:20])
        for name in ("files?of=..", "files?of=/etc", "files?of=sub/elsewhere", "files?of=%00", "value?output=picture.png&x=a&y=1",
                     "histogram?of=nobody.x", "histogram", "picture?output=picture.png&version=-"):
            self.assertEqual(self.server.request("GET", name)[0], 400, name)
        state = self.server.get_json("state")
        self.assertEqual([module["parameters"] for module in state["modules"]], [module["parameters"] for module in before])
        self.assertRegex(state["problems"][0]["place"], r"wrong.json:1:\d+")
        self.assertIn("did you mean", state["problems"][0]["text"])

    def test_nobody_else_gets_in(self):
        server = self.server
        own = {"Origin": server.origin}
        for method, name, token, headers in (
                ("GET", "state", "0" * 32, {}), ("GET", "state", server.token[:-1], {}), ("GET", "state", server.token + "0", {}),
                ("GET", "", "x", {}), ("GET", "state", None, {"Host": "evil.example:80"}),
                ("GET", "state", None, {"Host": f"{server.host}:{server.port + 1}"}),
                ("GET", "state", None, {"Origin": "http://evil.example"}), ("GET", "state", None, {"Origin": "null"}),
                ("POST", "undo", None, {"Origin": None}), ("POST", "undo", None, {"Origin": "https" + server.origin[4:]}),
                ("POST", "undo", "0" * 32, own)):
            with self.subTest(method=method, token=token, headers=headers):
                status, _, body = server.request(method, name, "{}" if method == "POST" else None, token, headers)
                self.assertEqual((status, body), (403, b""))
        for method, name, expected in (("GET", "none", 404), ("GET", "../state", 404), ("GET", "undo", 405), ("POST", "state", 405),
                                       ("PUT", "state", 403), ("GET", "index.html", 200), ("GET", "", 200)):
            status, headers, _ = server.request(method, name)
            self.assertEqual(status, expected, name)
            self.assertIn("default-src 'none'", headers["Content-Security-Policy"])
            self.assertEqual((headers["X-Content-Type-Options"], headers["Cache-Control"]), ("nosniff", "no-store"))
        localhost = f"localhost:{server.port}"
        self.assertEqual(server.request("GET", "state", headers={"Host": localhost, "Origin": "http://" + localhost})[0], 200)
        self.assertEqual(server.request("POST", "change", b"x" * 1_100_000)[0], 413)

    def test_slow_and_lost_connections_hold_up_nobody(self):
        def opened(data=b""):
            connection = socket.create_connection((self.server.host, self.server.port), 20)
            self.addCleanup(connection.close)
            connection.sendall(data)
            return connection

        path = f"/{self.server.token}".encode()
        head = f"Host: {self.server.host}:{self.server.port}\r\n".encode()
        rubbish = [b"\0\1\2\r\n\r\n", b"GET\r\n\r\n", b"GET " + b"/" * 9000 + b" HTTP/1.1\r\n\r\n", b"GET / HTTP/9\r\n\r\n",
                   b"POST " + path + b"/undo HTTP/1.1\r\n" + head + b"Content-Length: -1\r\n\r\n",
                   b"GET " + path + b"/state HTTP/1.1\r\n" + head + head + b"\r\n",
                   b"GET " + path + b"/state HTTP/1.1\r\n" + b"X: y\r\n" * 5000]
        rubbish += [b"GET / HTTP/1.1\r\nRange: bytes=" + b"1-2," * 2000 + b"\r\n\r\n"]
        connections = [opened(data) for data in rubbish]
        connections += [opened(b"GET /") for _ in range(150)]  # more than there are threads, and none of them ends
        for _ in range(3):
            opened(b"POST " + path + b"/change HTTP/1.1\r\n" + head + b"Origin: " + self.server.origin.encode()
                   + b"\r\nContent-Length: 500\r\n\r\n{").close()
        asked = time.monotonic()
        self.server.get_json("state")
        self.assertLess(time.monotonic() - asked, 3.0)
        # who asks for events and does not read them misses some
        streams = [opened(b"GET " + path + b"/events HTTP/1.1\r\n" + head + b"\r\n") for _ in range(7)]
        time.sleep(0.5)
        self.assertEqual(self.server.request("GET", "events")[0], 503)
        for i in range(300):
            change = self.server.post("change", set={"render.xform": transform(i)}, dragging=True, gesture=1)["change"]
        self.full_picture(change)
        for stream in streams:
            stream.close()
        until = time.monotonic() + 20
        while self.server.get_json("state")["version"] and time.monotonic() < until:
            connection = self.server.connect()
            connection.request("GET", f"/{self.server.token}/events")
            status = connection.getresponse().status
            connection.close()
            if status == 200:
                return
            time.sleep(0.5)
        self.fail("streams that were lost still count")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
