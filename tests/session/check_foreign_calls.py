#!/usr/bin/env python3
"""check_foreign_calls.py LIBRARY: a network run through foreign-function calls, in an interpreter."""
import ctypes
import sys

zam = ctypes.CDLL(sys.argv[1])
for name in ("zam_open", "zam_parse", "zam_get"):
    getattr(zam, name).restype = ctypes.c_void_p
for name in ("zam_error", "zam_values"):
    getattr(zam, name).restype = ctypes.c_char_p


def told(result):
    assert result, zam.zam_error()
    return ctypes.c_void_p(result) if result != 1 else result


text = b"""{"modules": {"cone": {"use": "cone", "params": {"div": 5, "offset": 0, "length": 2, "radius": 1}},
    "it": {"use": "host_view", "params": {"objects": [{"ref": "cone.out"}], "width": 3, "height": 2}}}}"""
session = told(zam.zam_open(None))
network = told(zam.zam_parse(session, text, None))
told(zam.zam_run(network))
image = told(zam.zam_get(network, b"it.out"))
dims = (ctypes.c_int64 * 3)()
assert zam.zam_dims(image, dims, 3) == 2 and list(dims) == [3, 2, 0], list(dims)
zam.zam_end(network)
zam.zam_close(session)
zam.zam_let_go(image)
assert zam.zam_arrays_held() == 0 and zam.zam_arrays_outstanding() == 0
