"""The page of `zam serve` in headless Chromium: examples are opened, turned, changed, stepped and saved, and the connection is lost.

Called as `browser_test.py ZAM EXAMPLES SCRATCH`, where EXAMPLES holds the examples with their data.
"""
import base64
import io
import json
import os
import shutil
import signal
import subprocess
import sys
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
from browser import SECONDS, Page, missing, start_browser  # noqa: E402

if missing():
    print(f"left out: there is no {missing()} (scripts/setup browser)")
    sys.exit(0)

from PIL import Image  # noqa: E402
from selenium.webdriver import Keys  # noqa: E402

ZAM, EXAMPLES, SCRATCH = (Path(argument).resolve() for argument in sys.argv[1:4])
NAMELESS = """return [...document.querySelectorAll('button, input, select, [tabindex]')]
    .filter((each) => each.checkVisibility() && !each.ariaLabel && !each.textContent && !each.labels?.length
            && !each.hasAttribute('aria-labelledby')).map((each) => each.outerHTML)"""
OUTSIDE = "return performance.getEntriesByType('resource').map(({name}) => name).filter((name) => !name.startsWith(arguments[0]))"


def set_up_scratch():
    """The examples, to write beside them: links, which saving replaces."""
    def left_out(folder, names):
        second_reads_it = Path(folder).name in ("knot", "stress")  # what the first network has written
        return {"rendered", "trajectories"} if second_reads_it else {"out"}

    shutil.rmtree(SCRATCH, ignore_errors=True)
    shutil.copytree(EXAMPLES, SCRATCH, ignore=left_out, copy_function=os.link)


def pixels(image):
    """Red, green and blue of a picture: a file, or its data as an address."""
    source = io.BytesIO(base64.b64decode(image.split(",")[1])) if isinstance(image, str) else image
    return Image.open(source).convert("RGB").tobytes()


class Pages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        set_up_scratch()
        cls.browser = start_browser()
        cls.addClassCleanup(cls.browser.quit)

    def open(self, file):
        page = Page(self.browser, ZAM, SCRATCH / file)
        self.addCleanup(page.close)
        return page

    def seen(self, page):
        """The picture that is seen, as the data of a .png file."""
        return page.script("return document.getElementById('picture').toDataURL()")

    def faults(self, page):
        """What the browser complains about, what nobody could name, and what came from elsewhere."""
        return [entry["message"] for entry in self.browser.get_log("browser")] + page.script(NAMELESS) + page.script(OUTSIDE, page.address)

    def save(self, page, name, events):
        page.save(name, events)
        page.wait(lambda: not page.server.get_json("state")["changed"], "a saved network")

    def run_saved(self, file):
        """The files that zam run makes of a saved network, by their names."""
        result = (SCRATCH / file).parent / "result"
        subprocess.run([ZAM, "run", (SCRATCH / file).name, "--quiet", "--output-dir", "result"], cwd=result.parent, check=True)
        return {file.name: file for file in result.iterdir()}

    def write_at_end(self, file, output, of):
        """Lets a saved network without events write an output that was one of its events."""
        written = [event["write"] for event in json.loads(of.read_text())["events"] if output in event.get("write", {})]
        file.write_text(json.dumps({**json.loads(file.read_text()), "write": {output: written[0][output]}}))

    def change_all(self, page):
        """Turns, changes a curve and a number, where there are any; gives the state."""
        if page.find_all("#sheet.turnable"):
            page.drag(30, 10)
        if page.find_all("circle.handle"):
            page.raise_point(0)
        if page.find_all("#parameters .number input[type=number]"):
            entry = page.find("#parameters .number input[type=number]")
            page.script("arguments[0].focus()", entry)
            page.press(Keys.ARROW_DOWN, Keys.ENTER)
            page.rest()
        return page.server.get_json("state")

    def test_what_is_seen_of_an_example_is_what_is_saved(self):
        for network in sorted(SCRATCH / file.relative_to(EXAMPLES) for file in EXAMPLES.glob("*/*.json")):
            with self.subTest(network=network.relative_to(SCRATCH)):
                page = self.open(network)
                state = page.server.get_json("state")
                self.assertEqual(state["problems"], [])
                self.assertEqual(len(page.find_all("#graph .module")), len(state["modules"]))
                kind = next(output["kind"] for output in state["outputs"] if output["name"] == state["shown"])
                if kind != "other":
                    changed = self.change_all(page)
                    self.assertNotEqual([module["parameters"] for module in changed["modules"]],
                                        [module["parameters"] for module in state["modules"]])
                    saved = network.with_name("saved_" + network.name)
                    self.save(page, saved.name, events=False)
                    if state["shown"] not in json.loads(saved.read_text()).get("write", {}):
                        self.write_at_end(saved, state["shown"], of=network)
                    result = self.run_saved(saved)[state["shown"]]
                    if kind == "vector":
                        self.assertEqual(page.server.get("vector", output=state["shown"]), result.read_bytes())
                    else:
                        self.assertEqual(pixels(self.seen(page)), pixels(result))
                        self.assertGreater(len(set(pixels(result))), 10)
                self.assertEqual(self.faults(page), [])
            self.doCleanups()

    def test_undo_and_record(self):
        page = self.open("orbital/network.json")
        page.press(Keys.ARROW_RIGHT)
        page.rest()
        turned = page.server.parameter("render.xform")
        self.assertNotEqual(turned["rotate"], [-70, 0, 25])
        page.find("#record").click()
        page.wait(lambda: page.find("#record").get_attribute("aria-pressed") == "true", "a recording")
        page.drag(40, 10)
        self.assertNotEqual(page.server.parameter("render.xform"), turned)
        page.press("z", held=Keys.CONTROL)
        page.wait(lambda: page.server.parameter("render.xform") == turned, "one undo for the drag")
        page.press("r")
        page.wait(lambda: page.find("#record").get_attribute("aria-pressed") == "false", "its end")
        self.save(page, "recorded.json", events=True)
        self.assertGreater(len(self.run_saved("orbital/recorded.json")), 2)

    def test_files_are_not_overwritten_unasked(self):
        network = SCRATCH / "rocket/network.json"
        kept = network.read_text()
        page = self.open(network)
        page.press(Keys.ARROW_RIGHT)
        page.rest()
        for button, same in (("footer button:not(.main)", True), ("footer button.main", False)):
            page.save("network.json")
            page.wait(lambda: "Overwrite" in page.find("dialog").text, "the question")
            page.find(f"dialog {button}").click()
            page.wait(lambda: not page.find_all("dialog") and (same or network.read_text() != kept), "the answer")
            self.assertEqual(network.read_text() == kept, same)

    def test_steps_of_a_data_file(self):
        page = self.open("vortex_street/data/street.fld")
        before = page.server.get("vector", output="view.png")
        step = lambda: page.server.get_json("state")["steps"]["now"]  # noqa: E731
        page.find("#step-on").click()
        page.wait(lambda: step() == 1, "the next step")
        page.rest()
        self.assertNotEqual(page.server.get("vector", output="view.png"), before)
        page.find("#play").click()
        page.wait(lambda: step() >= 3, "two more")
        page.find("#play").click()
        page.wait(lambda: page.find("#play").get_attribute("aria-label") == "play", "the end")
        page.find("#sheet").click()
        page.wait(lambda: page.find("#value").text.startswith("pixel "), "a value")

    def test_two_pages_see_the_same(self):
        page = self.open("rocket/network.json")
        selector = "#parameters [aria-labelledby='label-view.fptr'][type=number]"
        first = self.browser.current_window_handle
        self.browser.switch_to.new_window("tab")
        self.browser.get(page.address)
        page.rest()
        number = page.find(selector)
        number.clear()
        number.send_keys("0", Keys.ENTER)
        page.rest()
        drawn = self.seen(page)
        self.browser.close()
        self.browser.switch_to.window(first)
        page.wait(lambda: page.find(selector).get_property("value") == "0", "the change")
        page.wait(lambda: self.seen(page) == drawn, "its picture")

    def test_rubbish_is_refused(self):
        page = self.open("rocket/network.json")
        before = page.server.get_json("state")["modules"]
        change = lambda **what: json.dumps({"set": what, "dragging": False, "gesture": 1})  # noqa: E731
        cases = [("change", "{", 400), ("change", change(**{"view.width": "wide"}), 400), ("change", change(**{"nobody.width": 1}), 400),
                 ("change", "x" * 2_000_000, 413), ("open", json.dumps({"file": "../orbital/network.json"}), 400), ("nothing", "{}", 404),
                 ("state", "{}", 405)]
        for path, body, status in cases:
            post = "return fetch(arguments[0], {method: 'POST', body: arguments[1]}).then((answer) => answer.status)"
            self.assertEqual(page.script(post, path, body), status, (path, body[:60]))
        self.assertEqual(page.server.get_json("state")["modules"], before)
        page.wait(lambda: page.find("#back").is_displayed(), "what is wrong with the file")
        page.find("#back").click()
        background = page.find("#parameters [aria-labelledby='label-view.background']")
        shown = background.get_property("value")
        background.send_keys(Keys.CONTROL, "a")
        background.send_keys('"blue"', Keys.ENTER)
        page.wait(lambda: page.find("#message").text, "the server's word")
        self.assertEqual(background.get_property("value"), shown)

    def test_gamepads_are_joysticks(self):
        page = self.open("joystick/network.json")
        event = "return import('./gamepad.js').then(({ joystickEvent }) => joystickEvent(arguments[0], 1))"
        up_right = [{"pressed": number in (0, 2, 12, 15)} for number in range(17)]
        cases = [({"axes": [-1, 0, 1], "buttons": [], "mapping": ""}, {"id": 1, "x": 0, "y": 32768, "z": 65535, "buttons": 0}),
                 ({"axes": [], "buttons": up_right, "mapping": "standard"}, {"id": 1, "pov": 4500, "buttons": 5}),
                 ({"axes": [], "buttons": [{"pressed": False}], "mapping": "standard"}, {"id": 1, "pov": 65535, "buttons": 0})]
        for gamepad, joystick in cases:
            self.assertEqual(page.script(event, gamepad), joystick)
        page.server.post("joystick", **cases[1][1])

    def test_problems_keys_and_the_end(self):
        folder = SCRATCH / "rocket"
        (folder / "wrong.json").write_text((folder / "network.json").read_text().replace("DVConeUpdate", "DVConeUpdat"))
        self.addCleanup((folder / "wrong.json").unlink)
        page = self.open("rocket/wrong.json")
        page.wait(lambda: page.find("#problems").is_displayed(), "the problems")
        self.assertRegex(page.find("#problem-list li").text, r"wrong.json:\d+:\d+")
        page.press("?")
        self.assertIn("turn to the left", page.find("dialog").text)
        page.press(Keys.ESCAPE)
        page.server.process.send_signal(signal.SIGTERM)
        page.wait(lambda: "has ended" in page.find("#banner").text, "the end")
        self.assertEqual(page.server.process.wait(SECONDS), 0)
        page = self.open("rocket/network.json")
        page.server.process.kill()
        page.wait(lambda: "lost" in page.find("#banner").text, "the loss")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
