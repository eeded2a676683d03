#!/usr/bin/env python3
"""What network.json makes, in Python: orbital.py [DIRECTORY]. The data are there first (README.md)."""
import sys
from pathlib import Path

import zam

out = Path(sys.argv[1] if len(sys.argv) > 1 else "out")
out.mkdir(exist_ok=True)

orbital = zam.read("data/orbital.fld")
colors = {
    "alpha": [[0, 14], [42, 0], [48, 0], [54, 8], [60, 0], [72, 0], [78, 7], [84, 0],
              [172, 0], [178, 7], [184, 0], [196, 0], [202, 8], [208, 0], [214, 0], [255, 14]],
    "red": [[0, 255], [19, 150], [52, 30], [84, 20], [127, 10], [128, 90], [172, 220], [204, 255], [255, 255]],
    "green": [[0, 255], [19, 225], [52, 150], [84, 70], [127, 20], [128, 20], [172, 60], [204, 140], [237, 215],
              [255, 255]],
    "blue": [[0, 255], [52, 255], [84, 220], [127, 90], [128, 10], [172, 15], [204, 20], [237, 120], [255, 255]],
}


def render(size, opacity, rotation):
    return zam.tracer(
        orbital, width=size, height=size, a_scale_ptr=opacity, fptr=0.4, xform=rotation, color_table=colors
    )


render(640, 1.6, zam.rotate(-70, 0, 25)).save(out / "orbital.png")
for angle in range(0, 60, 15):
    render(320, 1.2, zam.rotate(-90, angle, 15)).save(out / f"turn_{angle:03}.png")
