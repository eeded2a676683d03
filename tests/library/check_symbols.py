#!/usr/bin/env python3
"""check_symbols.py LIBRARY CONTRACT_DIR DEFINITION...: what the module library imports and exports.

It must import nothing of its host but operations of the contract, link to no host, export every entry that a definition
file names, and export only plain names that a loader or a script can look up.
"""
import json
import re
import subprocess
import sys
from pathlib import Path

library, contract, *definitions = sys.argv[1:]
faults = []


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def symbols(option):
    return [line.split()[-1] for line in output("nm", "-D", option, library).splitlines()]


headers = "\n".join(path.read_text() for path in Path(contract).glob("*.h"))
operations = set(re.findall(r"ZAM_HOST_API [^;]*?\b(\w+)\(", headers))
assert len(operations) > 100, "the contract's operations were not found"

versioned = re.compile(r"@+(GLIBC|GLIBCXX|CXXABI|GCC|HWY|TIRPC)_")  # the system's libraries version their symbols
optional = re.compile(r"_ITM_|__gmon_start__|__cxa_finalize|__(asan|ubsan|sanitizer|tsan)_")
for symbol in symbols("--undefined-only"):
    if symbol.split("@")[0] not in operations and not versioned.search(symbol) and not optional.match(symbol):
        faults.append(f"imports {symbol}, which is no operation of the contract")

for needed in re.findall(r"NEEDED.*\[(.*)\]", output("readelf", "-d", library)):
    if "zam" in needed or "SDL" in needed:  # joysticks load SDL when the first is asked for
        faults.append(f"links to {needed}")

exported = {symbol.split("@")[0] for symbol in symbols("--defined-only")}
for file in definitions:
    definition = json.loads(Path(file).read_text())
    entries = definition.get("entries", {})
    if "class" in definition:
        methods = [method["name"] for method in definition["methods"]]
        entries = {name: f"{definition['class']}_{name}" for name in ["create", "destroy", *methods]}
    named = [definition.get("entry")] + [e if isinstance(e, str) else e["name"] for e in entries.values()]
    faults += [f"does not export {name}, which {Path(file).name} names" for name in named if name and name not in exported]
faults += [f"exports {name}, which is no plain name" for name in sorted(exported) if name.startswith("_Z")]

print("\n".join(faults) if faults else f"{len(exported)} exported names, no fault")
sys.exit(1 if faults else 0)
