#!/usr/bin/env python3
"""check_schema.py ZAM EXAMPLES: the schema that zam prints accepts every network of the examples, and not just anything."""
import json
import subprocess
import sys
from pathlib import Path

try:
    import jsonschema
except ImportError:
    print("left out: Python's jsonschema is not installed")
    sys.exit(0)

schema = json.loads(subprocess.run([sys.argv[1], "schema"], check=True, capture_output=True).stdout)
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)


def faults(network):
    return [f"{'.'.join(map(str, fault.absolute_path))}: {fault.message}" for fault in validator.iter_errors(network)]


networks = [json.loads(file.read_text()) for file in sorted(Path(sys.argv[2]).glob("*/*.json"))]
networks = [network for network in networks if "modules" in network]
found = [fault for network in networks for fault in faults(network)]
if found or not networks:
    sys.exit("\n".join(found) or "there are no networks")


def with_tracer(**params):
    return {"modules": {"t": {"use": "tracer", "params": params}}}


for right in (with_tracer(**{"in": {"data_file": "a.npy"}}, width=-3, fptr="nan", interpolate=7), with_tracer(width=None)):
    if faults(right):
        sys.exit(f"refused: {right}: {faults(right)}")
for wrong in ({}, with_tracer(width="3"), with_tracer(widht=3), with_tracer(color_table={"preset": "grey"}),
              {"modules": {"t": {"use": "tracr"}}}, {"modules": {}, "events": [{"play": 1}]}):
    if not faults(wrong):
        sys.exit(f"accepted: {wrong}")
print(f"{len(networks)} networks")
