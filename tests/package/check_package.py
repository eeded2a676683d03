#!/usr/bin/env python3
"""check_package.py CPACK BUILD ZAM MAKER [EMULATOR]: packages are whole, and draw the demo wherever they are put, as the build does.

Archives are unpacked, .deb files installed into an empty root; MAKER makes the demo's data. ZAM is the build's own. With an
EMULATOR the packages are for another system: it runs their programs, and MAKER is one of them. With ZAM_TEST_CHROOT in the
environment the .deb files are installed once more, by apt with all that they depend on, into a system made by mmdebstrap.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

cpack, build, zam, maker, *emulator = sys.argv[1:]
NETWORK = "examples/orbital/network.json"
DATA = ["orbital/data/orbital.fld", "6", "4", "2", "72", "32"]


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, **options)


def files(folder):
    return {path.relative_to(folder): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def check(program, pages):
    """The program draws the demo that lies beside the pages, and links of the pages lead somewhere."""
    readme = (pages / "README.md").read_text()
    missing = [link for link in re.findall(r"(?:\]\(|src=\")(?!http)([^)\"#]+)", readme) if not (pages / link).exists()]
    there = {path.name for path in pages.iterdir()}
    assert not missing and {"LICENSE", "CHANGELOG.md"} < there, f"missing: {missing}, there are {there}"
    version = run(*program, "--version", capture_output=True, text=True).stdout.split()[1]
    assert f"\n## {version}" in (pages / "CHANGELOG.md").read_text(), f"the changelog has no section for {version}"
    run(*emulator, pages / "examples" / maker, *DATA, cwd=pages / "examples")
    run(*program, "run", NETWORK, "--output-dir", "out", cwd=pages)
    run(zam, "run", NETWORK, "--output-dir", "expected", cwd=pages)
    drawn, expected = files(pages / "out"), files(pages / "expected")
    assert any(name.suffix == ".png" for name in expected), "nothing was drawn"
    assert drawn == expected, f"{sorted(map(str, drawn))} differ from {sorted(map(str, expected))}"


def check_archive(package, place):
    shutil.unpack_archive(package, place)
    root, = place.iterdir()
    if emulator:
        check([*emulator, root / "bin/zam.exe"], root)
    else:
        check([root / "bin/zam"], root / "share/doc/zam")


def check_debs(packages, root):
    """What they depend on is this system's, so that a root of their own has to do without it."""
    (root / "var/lib/dpkg/info").mkdir(parents=True)
    (root / "var/lib/dpkg/updates").mkdir()
    (root / "var/lib/dpkg/status").touch()
    as_root = [] if os.geteuid() == 0 else ["fakeroot"]
    os.environ["PATH"] += ":/usr/sbin:/sbin"  # dpkg asks for programs there
    run(*as_root, "dpkg", f"--root={root}", "--log=/dev/null", "--force-depends", "--force-script-chrootless", "--install",
        *packages, stdout=subprocess.DEVNULL)
    check([root / "usr/bin/zam"], root / "usr/share/doc/zam")
    modules = root / "usr/lib/python3/dist-packages"
    if modules.exists():
        script = "import numpy, zam; print(zam.__file__, zam.view(numpy.eye(9)))"
        told = run("/usr/bin/python3", "-c", script, env={**os.environ, "PYTHONPATH": modules}, capture_output=True, text=True)
        assert told.stdout.startswith(str(modules)) and "9 x 9" in told.stdout, told.stdout


def check_chroot(packages, root):
    here = Path(packages[0]).parent
    inside = ["apt-get install -y --no-install-recommends", *(f"/packages/{Path(name).name}" for name in packages)]
    run("mmdebstrap", "--variant=apt", "--quiet", "--skip=cleanup/reproducible", f"--customize-hook=copy-in {here} /",
        f"--customize-hook=chroot \"$1\" mv /{here.name} /packages", f"--customize-hook=chroot \"$1\" {' '.join(inside)}",
        os.environ["ZAM_TEST_CHROOT"], root)
    check(["chroot", root, "sh", "-c", 'cd /usr/share/doc/zam && exec zam "$@"', "zam"], root / "usr/share/doc/zam")


made = run(cpack, cwd=build, capture_output=True, text=True).stdout
packages = re.findall("package: (.*) generated", made)
debs = [name for name in packages if name.endswith(".deb")]
assert len(debs) in (0, 3, 4, 5), debs
with tempfile.TemporaryDirectory() as scratch:
    for package in set(packages) - set(debs):
        check_archive(package, Path(scratch, "with a blank", "für 図"))
    if debs:
        check_debs(debs, Path(scratch, "root"))
    if debs and "ZAM_TEST_CHROOT" in os.environ:
        check_chroot(debs, Path(scratch, "chroot"))
for package in packages:
    print(f"{package}: {Path(package).stat().st_size / 1e6:.1f} MB")
