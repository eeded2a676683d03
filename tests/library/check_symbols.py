#!/usr/bin/env python3
"""check_symbols.py LIBRARY OBJDUMP SOURCE_DIR DEFINITION...: what the module library imports and exports.

It must import nothing of its host but operations of the contract, link to no host (on Windows, where a library names
whom it imports from, to the host and the system alone), and export exactly what the modules' headers declare, the entries
that definition files name among them: the same on all systems.
"""
import json
import re
import subprocess
import sys
from pathlib import Path

library, objdump, sources, *definitions = sys.argv[1:]
faults = []


def dump(option):
    return subprocess.run([objdump, option, library], check=True, capture_output=True, text=True).stdout


def declared(folder, mark):
    """Names of the functions and variables that the headers in a folder declare with this mark."""
    headers = "\n".join(path.read_text() for path in Path(sources, folder).rglob("*.h"))
    return set(re.findall(rf"^[^#/\n]*\b{mark} [^;(\[]*?\b(\w+)[;(\[]", headers, re.MULTILINE))


def elf():
    """(imports that are no versioned symbol of the system's, exports, libraries it must not need)"""
    versioned = re.compile(r"\b(GLIBC|GLIBCXX|CXXABI|GCC|HWY|TIRPC)_")  # the system's libraries version their symbols
    optional = re.compile(r"_ITM_|__gmon_start__|__cxa_finalize|__(asan|ubsan|sanitizer|tsan)_")
    imports, exports = set(), set()
    for line in re.findall(r"^[0-9a-f]{16} .*", dump("-T"), re.MULTILINE):
        words = line.split()
        if "*UND*" not in words:
            exports.add(words[-1])
        elif not versioned.search(line) and not optional.match(words[-1]):
            imports.add(words[-1])
    needed = re.findall(r"NEEDED +(\S+)", dump("-p"))
    return imports, exports, [name for name in needed if "zam" in name or "SDL" in name]  # SDL is loaded when needed


def pe():
    """The same; no system's library but these may be needed."""
    system = re.compile(r"(kernel32|winmm|msvcrt|api-ms-win-crt-.*)\.dll", re.IGNORECASE)
    text = dump("-p")
    tables = dict(re.findall(r"DLL Name: (\S+)\n.*\n((?:.*\S.*\n)*)", text))
    imports = {line.split()[-1] for line in tables.pop("zam_host.dll", "").splitlines()}
    table = re.search(r"\[Ordinal/Name Pointer\] Table.*\n((?:.*\S.*\n)*)", text)
    exports = {line.split()[-1] for line in table[1].splitlines()}
    return imports, exports, [dll for dll in tables if not system.fullmatch(dll)]


operations = declared("contract", "ZAM_HOST_API")
assert len(operations) > 100, "the contract's operations were not found"
imports, exports, needed = pe() if library.endswith(".dll") else elf()
assert imports, "nothing is imported from the host"
faults += [f"imports {name}, which is no operation of the contract" for name in sorted(imports - operations)]
faults += [f"links to {name}" for name in needed]

entries = declared("modules", "ZAM_MODULE_API")
faults += [f"exports {name}, which no header declares" for name in sorted(exports - entries)]
faults += [f"does not export {name}, which a header declares" for name in sorted(entries - exports)]
for file in definitions:
    definition = json.loads(Path(file).read_text())
    named = definition.get("entries", {})
    if "class" in definition:
        methods = [method["name"] for method in definition["methods"]]
        named = {name: f"{definition['class']}_{name}" for name in ["create", "destroy", *methods]}
    names = [definition.get("entry")] + [e if isinstance(e, str) else e["name"] for e in named.values()]
    faults += [f"does not export {name}, which {Path(file).name} names" for name in names if name and name not in exports]

print("\n".join(faults) if faults else f"{len(imports)} imported and {len(exports)} exported names, no fault")
sys.exit(1 if faults else 0)
