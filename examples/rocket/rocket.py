#!/usr/bin/env python3
"""What network.json makes, in Python: rocket.py [DIRECTORY]."""
import sys
from pathlib import Path

import zam

out = Path(sys.argv[1] if len(sys.argv) > 1 else "out")
out.mkdir(exist_ok=True)

profile = [  # along the axis, radius
    (-1.9, 0.92), (-1.6, 0.86), (-1.3, 0.77), (-1.0, 0.64), (-0.75, 0.48), (-0.6, 0.36), (-0.5, 0.36), (-0.3, 0.45),
    (0.0, 0.5), (0.0, 1.0), (0.5, 1.0), (0.5, 0.96), (3.2, 0.96), (3.2, 1.0), (3.4, 1.0), (3.4, 0.96), (5.6, 0.96),
]
body = zam.revolve_c(resolution=64, smooth=0, profile=profile)
nose = zam.cone(div=64, offset=5.6, length=2.4, radius=0.96)
picture = zam.host_view(
    [body, nose],
    colors=[[0.9, 0.92, 0.95], [0.8, 0.22, 0.15]],
    width=480,
    height=640,
    fptr=0.35,
    background=[0.06, 0.09, 0.16],
    xform=zam.rotate(0, 28, 62).scale(0.13).translate(-0.16, -0.28, 0.19),
)

body.save(out / "body.vtu")
nose.save(out / "nose.vtu")
picture.save(out / "rocket.png")
