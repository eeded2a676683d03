#!/usr/bin/env python3
"""check_animation.py ZAM: the animation that `zam run` writes, and its single frames, as PIL reads them.

Left out, with a word, where PIL is not installed.
"""
import json
import os
import subprocess
import sys
import tempfile

try:
    from PIL import Image
except ImportError:
    print("left out: PIL is not installed")
    sys.exit(0)

zam = os.path.abspath(sys.argv[1])
square = {"field": {"dims": [2, 2], "points": [-0.3, 0.1, 0, 0.4]}}
network = {
    "modules": {"view": {"use": "host_view", "params": {"objects": [square], "width": 40, "height": 30, "xform": {"rotate": [0, 0, 0]}}}},
    "events": [{"for": {"view.xform.rotate": [[0, 0, 0], [0, 0, 360]], "view.background": [[1, 0, 0], [0, 0, 1]]},
                "steps": 7, "loop": True, "fps": 3,
                "write": {"turn.webp": {"from": "view.out", "origin": "lower"}, "turn_%d.png": "view.out"}}],
    "write": {"still.webp": {"from": "view.out", "alpha": True}, "still.png": {"from": "view.out", "alpha": True}},
}
with tempfile.TemporaryDirectory() as scratch:
    os.chdir(scratch)
    with open("n.json", "w") as file:
        json.dump(network, file)
    subprocess.run([zam, "run", "n.json"], check=True, timeout=60)
    film = Image.open("turn.webp")
    assert (film.n_frames, film.info["loop"]) == (7, 0), (film.n_frames, film.info)
    shown_at = 0
    for step in range(7):
        film.seek(step)
        film.load()
        assert film.info["timestamp"] == shown_at, (step, film.info)
        shown_at = round((step + 1) * 1000 / 3)
        picture = Image.open(f"turn_{step}.png").transpose(Image.FLIP_TOP_BOTTOM)
        assert film.convert("RGB").tobytes() == picture.tobytes(), f"frame {step}"
    assert film.info["duration"] == shown_at - round(6 * 1000 / 3), film.info
    still = Image.open("still.webp")
    assert still.mode == "RGBA" and still.tobytes() == Image.open("still.png").tobytes()
