"""The page of `zam serve` in headless Chromium: examples are opened, turned, changed, stepped and saved, and the connection is lost.

Called as `browser_test.py FOLDER`, where FOLDER holds the examples with their data and the environment's ZAM_PROGRAM is zam.
"""
import base64
import io
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

try:
    from PIL import Image
    from selenium import webdriver
    from selenium.webdriver import ActionChains, Keys
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError as missing:
    print(f"left out: {missing.name} is not installed")
    sys.exit(0)

for program in ("chromium", "chromedriver"):
    if not shutil.which(program):
        print(f"left out: there is no {program}")
        sys.exit(0)

ZAM = os.path.abspath(os.environ["ZAM_PROGRAM"])
EXAMPLES = Path(sys.argv.pop()).resolve()
SECONDS = 30  # for what takes one on a machine at rest


def start_browser():
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--window-size=1280,720"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(options=options, service=Service(shutil.which("chromedriver")))


def pixels(address):
    """Red, green and blue of a picture whose address is its data."""
    return Image.open(io.BytesIO(base64.b64decode(address.split(",")[1]))).convert("RGB").tobytes()


class Pages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = start_browser()
        cls.addClassCleanup(cls.browser.quit)

    def serve(self, file):
        """Opens the page of a network or data file; gives the server."""
        server = subprocess.Popen([ZAM, "serve", str(file), "--no-open"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.addCleanup(server.stdout.close)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        self.addCleanup(self.leave)
        self.address = server.stdout.readline().removeprefix("zam: ").strip()
        self.browser.get(self.address)
        return server

    def leave(self):
        self.browser.get("about:blank")
        self.browser.get_log("browser")

    def copy(self, example):
        """A folder of its own, for what writes to it."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        shutil.copytree(EXAMPLES / example, Path(folder.name) / "n", ignore=shutil.ignore_patterns("out"))
        return Path(folder.name) / "n"

    def script(self, text, *arguments):
        return self.browser.execute_script(text, *arguments)

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def state(self):
        return self.script("return fetch('state').then((answer) => answer.json())")

    def value(self, path):
        module, parameter = path.split(".")
        modules = {each["name"]: each for each in self.state()["modules"]}
        return next(each["value"] for each in modules[module]["parameters"] if each["name"] == parameter)

    def wait(self, condition, what):
        return WebDriverWait(self.browser, SECONDS, 0.05).until(lambda _: condition(), what)

    def picture(self):
        """What is seen: its address, of a picture as data."""
        return self.script("const [canvas, drawing] = ['picture', 'drawing'].map((id) => document.getElementById(id));"
                           "return canvas.hidden ? drawing.src : canvas.toDataURL()")

    def wait_for_picture(self, before=None):
        """A picture in full that is not `before`."""
        shows = "const size = document.getElementById('size').textContent; return size !== '' && !size.includes('preview')"
        self.wait(lambda: self.script(shows) and self.picture() != before, "a picture")
        return self.picture()

    def press(self, *keys, held=Keys.NULL):
        ActionChains(self.browser).key_down(held).send_keys(*keys).key_up(held).perform()

    def faults(self):
        """What the browser complains about, other than pictures that are not there yet."""
        return [entry["message"] for entry in self.browser.get_log("browser") if not re.search(r"/(picture|vector)\?.* 404 ", entry["message"])]

    def test_every_example_is_opened(self):
        for network in sorted(EXAMPLES.glob("*/*.json")):
            with self.subTest(network=network.relative_to(EXAMPLES)):
                self.serve(network)
                self.wait(lambda: self.script("return !document.getElementById('page').inert"), "a state")
                state = self.state()
                self.assertEqual(state["problems"], [])
                self.assertEqual(len(self.browser.find_elements(By.CSS_SELECTOR, "#graph .module")), len(state["modules"]))
                if any(output["name"] == state["shown"] and output["kind"] != "other" for output in state["outputs"]):
                    picture = self.wait_for_picture()
                    self.assertTrue("/vector?" in picture or len(set(pixels(picture))) > 10)
                nameless = self.script("return [...document.querySelectorAll('button, input, select, [tabindex]')].filter((each) => each.checkVisibility()"
                                       " && !each.ariaLabel && !each.textContent && !each.labels?.length && !each.hasAttribute('aria-labelledby'))"
                                       ".map((each) => each.outerHTML)")
                self.assertEqual(nameless, [])
                self.assertEqual(self.faults(), [])
            self.doCleanups()

    def test_what_is_seen_is_what_is_saved(self):
        folder = self.copy("orbital")
        self.serve(folder / "network.json")
        before = self.wait_for_picture()

        place = self.find("#sheet")
        ActionChains(self.browser, 20).move_to_element(place).click_and_hold().move_by_offset(80, 20).move_by_offset(40, 0).release().perform()
        dragged = self.wait_for_picture(before)
        turned = self.value("render.xform")
        self.assertNotEqual(turned["rotate"], [-70, 0, 25])
        self.press(Keys.ARROW_RIGHT)
        self.wait_for_picture(dragged)
        self.assertNotEqual(self.value("render.xform"), turned)
        self.press("z", held=Keys.CONTROL)
        self.wait(lambda: self.value("render.xform") == turned, "undone keys")
        self.wait_for_picture()

        handle = self.browser.find_elements(By.CSS_SELECTOR, "circle.handle")[3]
        self.script("arguments[0].scrollIntoView(); arguments[0].focus()", handle)
        self.press(Keys.ARROW_UP, Keys.ARROW_UP, held=Keys.SHIFT)
        self.wait(lambda: self.value("render.color_table")["alpha"][3] == [54, 28], "the curve")

        self.find("#save").click()
        name = self.find("dialog input")
        name.clear()
        name.send_keys("saved.json", Keys.ENTER)
        self.wait((folder / "saved.json").exists, "the saved network")
        self.wait(lambda: not self.state()["changed"], "a saved state")
        subprocess.run([ZAM, "run", "saved.json", "--quiet", "--output-dir", "out"], cwd=folder, check=True)
        saved = Image.open(folder / "out/orbital.png").convert("RGB").tobytes()
        self.wait(lambda: pixels(self.picture()) == saved, "the picture of the saved network")
        self.assertEqual(self.faults(), [])

    def test_files_are_not_overwritten_unasked(self):
        folder = self.copy("rocket")
        kept = (folder / "network.json").read_text()
        self.serve(folder / "network.json")
        self.wait_for_picture()
        for button, same in (("footer button:not(.main)", True), ("footer button.main", False)):
            self.find("#save").click()
            self.find("dialog input").send_keys(Keys.ENTER)
            self.wait(lambda: "Overwrite" in self.find("dialog").text, "the question")
            self.find(f"dialog {button}").click()
            self.wait(lambda: not self.browser.find_elements(By.TAG_NAME, "dialog"), "the answer")
            if not same:
                self.wait(lambda: (folder / "network.json").read_text() != kept, "another file")
            self.assertEqual((folder / "network.json").read_text() == kept, same)

    def test_steps_of_a_data_file(self):
        self.serve(EXAMPLES / "vortex_street/data/street.fld")
        before = self.wait_for_picture()
        self.find("#step-on").click()
        self.wait(lambda: self.state()["steps"]["now"] == 1, "the next step")
        self.wait_for_picture(before)
        self.find("#play").click()
        self.wait(lambda: self.state()["steps"]["now"] >= 3, "two more")
        self.find("#play").click()
        self.assertEqual(self.find("#play").get_attribute("aria-label"), "play")

    def test_two_pages_see_the_same(self):
        self.serve(EXAMPLES / "rocket/network.json")
        first = self.browser.current_window_handle
        self.wait_for_picture()
        self.browser.switch_to.new_window("tab")
        self.browser.get(self.address)
        before = self.wait_for_picture()
        number = self.find("#parameters [aria-labelledby='label-view.fptr'][type=number]")
        number.clear()
        number.send_keys("0", Keys.ENTER)
        self.wait_for_picture(before)
        self.browser.close()
        self.browser.switch_to.window(first)
        self.wait(lambda: self.find("#parameters [aria-labelledby='label-view.fptr'][type=number]").get_property("value") == "0", "the change")

    def test_rubbish_is_refused(self):
        self.serve(EXAMPLES / "rocket/network.json")
        self.wait_for_picture()
        before = self.state()
        cases = [("change", "{", 400), ("change", json.dumps({"set": {"view.width": "wide"}, "dragging": False, "gesture": 1}), 400),
                 ("change", json.dumps({"set": {"nobody.width": 1}, "dragging": False, "gesture": 1}), 400), ("change", "x" * 2_000_000, 413),
                 ("open", json.dumps({"file": "../orbital/network.json"}), 400), ("nothing", "{}", 404), ("state", "{}", 405)]
        for path, body, status in cases:
            post = "return fetch(arguments[0], {method: 'POST', body: arguments[1]}).then((answer) => answer.status)"
            self.assertEqual(self.script(post, path, body), status, (path, body[:60]))
        self.assertEqual(self.state()["modules"], before["modules"])
        number = self.find("#parameters [aria-labelledby='label-view.width'][type=number]")
        self.script("arguments[0].removeAttribute('min')", number)
        number.clear()
        number.send_keys("-5", Keys.ENTER)
        self.wait(lambda: self.find("#message").is_displayed(), "the server's word")
        self.assertEqual(number.get_property("value"), "480")

    def test_gamepads_are_joysticks(self):
        self.serve(EXAMPLES / "joystick/network.json")
        event = "return import('./gamepad.js').then(({ joystickEvent }) => joystickEvent(arguments[0], 1))"
        up_right = [{"pressed": number in (0, 2, 12, 15)} for number in range(17)]
        cases = [({"axes": [-1, 0, 1], "buttons": [], "mapping": ""}, {"id": 1, "x": 0, "y": 32768, "z": 65535, "buttons": 0}),
                 ({"axes": [], "buttons": up_right, "mapping": "standard"}, {"id": 1, "pov": 4500, "buttons": 5}),
                 ({"axes": [], "buttons": [{"pressed": False}], "mapping": "standard"}, {"id": 1, "pov": 65535, "buttons": 0})]
        for gamepad, joystick in cases:
            self.assertEqual(self.script(event, gamepad), joystick)
        self.assertEqual(self.script("return fetch('joystick', {method: 'POST', body: arguments[0]}).then((answer) => answer.status)",
                                     json.dumps(cases[1][1])), 200)

    def test_problems_keys_and_the_end(self):
        folder = self.copy("rocket")
        (folder / "wrong.json").write_text((folder / "network.json").read_text().replace("DVConeUpdate", "DVConeUpdat"))
        server = self.serve(folder / "wrong.json")
        self.wait(lambda: self.find("#problems").is_displayed(), "the problems")
        self.assertRegex(self.find("#problem-list li").text, r"wrong.json:\d+:\d+")
        self.press("?")
        self.assertIn("turn to the left", self.find("dialog").text)
        self.press(Keys.ESCAPE)
        server.send_signal(signal.SIGTERM)
        self.wait(lambda: "has ended" in self.find("#banner").text, "the end")
        self.assertEqual(server.wait(SECONDS), 0)
        self.serve(folder / "network.json").kill()
        self.wait(lambda: "lost" in self.find("#banner").text, "the loss")


if __name__ == "__main__":
    unittest.main(verbosity=2)
