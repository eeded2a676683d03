"""The page of zam serve in headless Chromium, as tests and screenshots drive it."""
import shutil
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True
from client import Server  # noqa: E402

try:
    from selenium import webdriver
    from selenium.webdriver import ActionChains, Keys
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError:
    webdriver = None

SECONDS = 60  # for what takes one on a machine at rest


def missing():
    """What the browser lacks on this machine; None if nothing."""
    if not webdriver:
        return "python3-selenium"
    return next((program for program in ("chromium", "chromedriver") if not shutil.which(program)), None)


def start_browser(width=1280, height=720, scheme="light"):
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", f"--window-size={width},{height}"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    browser = webdriver.Chrome(options=options, service=Service(shutil.which("chromedriver")))
    browser.set_script_timeout(SECONDS)
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
    return browser


class Page:
    """A page of its own server, in a browser that is there already."""

    def __init__(self, browser, zam, file):
        self.browser = browser
        self.server = Server(zam, Path(file).name, cwd=Path(file).parent, stderr=subprocess.DEVNULL)
        self.address = f"{self.server.origin}/{self.server.token}/"
        browser.get(self.address)
        self.rest()

    def close(self):
        self.browser.get("about:blank")
        self.browser.get_log("browser")
        self.server.process.kill()
        self.server.process.wait()
        self.server.process.stdout.close()

    def script(self, text, *arguments):
        return self.browser.execute_script(text, *arguments)

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def find_all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def wait(self, condition, what):
        return WebDriverWait(self.browser, SECONDS, 0.05).until(lambda _: condition(), what)

    def rest(self):
        """Waits until all that was done on the page is drawn in full."""
        self.wait(lambda: self.script("return !document.getElementById('page').inert && document.getElementById('room').ariaBusy === 'false'"),
                  "a picture in full")

    def drag(self, right, down):
        ActionChains(self.browser, 20).move_to_element(self.find("#sheet")).click_and_hold().move_by_offset(right, down) \
            .move_by_offset(right, down).release().perform()
        self.rest()

    def press(self, *keys, held=None):
        held = held or Keys.NULL
        ActionChains(self.browser).key_down(held).send_keys(*keys).key_up(held).perform()

    def raise_point(self, number):
        """Moves a point of the curve that is edited up by 20."""
        self.script("arguments[0].scrollIntoView({block: 'center'}); arguments[0].focus()", self.find_all("circle.handle")[number])
        self.press(Keys.ARROW_UP, Keys.ARROW_UP, held=Keys.SHIFT)
        self.rest()

    def save(self, name, events=True):
        """Begins to save: what asks whether a file is to be overwritten stays open."""
        self.find("#save").click()
        if not events and self.find_all("dialog .choice"):
            self.find("dialog .choice input").click()
        entry = self.find("dialog input[type=text]")
        entry.clear()
        entry.send_keys(name, Keys.ENTER)
