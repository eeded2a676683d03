#!/usr/bin/env python3
"""What network.json makes, in Python: curvilinear.py [DIRECTORY]. The data are there first (README.md)."""
import sys
from pathlib import Path

import numpy as np

import zam

out = Path(sys.argv[1] if len(sys.argv) > 1 else "out")
out.mkdir(exist_ok=True)

positions = np.fromfile("data/positions.bin", np.float32).reshape(240, 721, 2)
velocity = np.fromfile("data/velocity.bin", np.float32).reshape(240, 721, 2)
flow = zam.field(velocity, vector=True, coord=positions, labels="velocity", units="U")
unrolled = zam.lic_jacobi(flow)

zam.lic_texture(unrolled, line=15, rate=0.5).save(out / "unrolled.png")
flow.save(out / "airfoil.vts")
unrolled.save(out / "unrolled.vti")
