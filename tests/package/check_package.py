#!/usr/bin/env python3
"""check_package.py CPACK BUILD ZAM EMULATOR: a package is whole, and draws the demo wherever it is unpacked, as the build does.

Programs in the package are run by the emulator; ZAM is the build's own, which needs none.
"""
import re
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

cpack, build, zam, emulator = sys.argv[1:]
NETWORK = "examples/orbital/network.json"


def files(folder):
    return {path.relative_to(folder): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


made = subprocess.run([cpack], cwd=build, check=True, capture_output=True, text=True).stdout
package = Path(re.search("package: (.*) generated", made)[1])
with tempfile.TemporaryDirectory() as scratch:
    place = Path(scratch, "with a blank", "für 図")
    zipfile.ZipFile(package).extractall(place)
    root, = place.iterdir()
    readme = (root / "README.md").read_text()
    missing = [link for link in re.findall(r"(?:\]\(|src=\")(?!http)([^)\"#]+)", readme) if not (root / link).exists()]
    there = {path.name for path in root.iterdir()}
    assert not missing and {"LICENSE", "CHANGELOG.md"} < there, f"missing: {missing}, there are {there}"

    subprocess.run([emulator, "./make_orbital.exe", "orbital/data/orbital.fld", "6", "4", "2", "72", "32"],
                   cwd=root / "examples", check=True)
    subprocess.run([emulator, root / "bin/zam.exe", "run", NETWORK, "--output-dir", "out"], cwd=root, check=True)
    subprocess.run([zam, "run", NETWORK, "--output-dir", "expected"], cwd=root, check=True)
    drawn, expected = files(root / "out"), files(root / "expected")
    assert any(name.suffix == ".png" for name in expected), "nothing was drawn"
    assert drawn == expected, f"{sorted(map(str, drawn))} differ from {sorted(map(str, expected))}"
    binaries = sum(path.stat().st_size for path in root.glob("bin/*"))
print(f"{package}: {package.stat().st_size / 1e6:.1f} MB, of which programs and libraries unpacked {binaries / 1e6:.1f} MB")
