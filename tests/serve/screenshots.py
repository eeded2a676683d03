"""Pictures of zam serve's page for the README: screenshots.py ZAM EXAMPLES FOLDER writes serve_*.png into FOLDER."""
import io
import sys
from pathlib import Path

sys.dont_write_bytecode = True
from browser import Page, missing, start_browser  # noqa: E402

if missing():
    sys.exit(f"screenshots: there is no {missing()} (scripts/setup browser)")

from PIL import Image  # noqa: E402

ZAM, EXAMPLES, FOLDER = (Path(argument).resolve() for argument in sys.argv[1:4])
SIZE = 1120, 700


def show_colors(page):
    """Scrolls to the curves, of which a point is chosen."""
    page.script("arguments[0].scrollIntoView({block: 'center'})", page.find(".strip"))
    page.script("arguments[0].focus()", page.find_all("circle.handle")[1])


def turn(page):
    page.drag(40, -20)


def show_step(page):
    page.find("#step-on").click()
    page.wait(lambda: page.server.get_json("state")["steps"]["now"] == 1, "the next step")
    page.rest()
    page.script("document.activeElement.blur()")


SHOTS = [
    ("volume", "orbital/network.json", "dark", show_colors),
    ("steps", "vortex_street/data/street.fld", "light", show_step),
    ("mesh", "field_lines/network.json", "light", turn),
]

for name, file, scheme, act in SHOTS:
    browser = start_browser(*SIZE, scheme)
    try:
        page = Page(browser, ZAM, EXAMPLES / file)
        act(page)
        picture = Image.open(io.BytesIO(browser.get_screenshot_as_png())).convert("RGB")
        # 256 colours, dithered: small enough for a page of text
        palette = picture.quantize(256, Image.Quantize.MAXCOVERAGE)
        picture.quantize(palette=palette, dither=Image.Dither.FLOYDSTEINBERG).save(FOLDER / f"serve_{name}.png", optimize=True)
        page.close()
    finally:
        browser.quit()
