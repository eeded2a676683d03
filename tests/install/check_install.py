#!/usr/bin/env python3
"""check_install.py CMAKE BUILD SOURCE CC CXX: what is installed serves projects of others, wherever it has been moved to.

The plug-in of docs/plugins.md and the projects beside this file, a host and a program with networks, are built outside the
tree and run; so are a C program by way of pkg-config, and the installed zam with the plug-in.
"""
import json
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

cmake, build, source, cc, cxx = sys.argv[1:]
NETWORK = {"modules": {"it": {"use": "mean", "params": {"in": {"field": {
    "dims": [3], "node_data": [{"values": [1, 2, 6]}]}}}}}, "write": {"mean.json": "it.mean"}}


def run(*command, **variables):
    done = subprocess.run([str(word) for word in command], cwd=scratch, env={**os.environ, **variables},
                          capture_output=True, text=True)
    if done.returncode != 0 or done.stderr:
        sys.exit(f"{command} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
    return done.stdout


with tempfile.TemporaryDirectory() as folder:
    scratch = Path(folder)
    prefix = scratch / "moved"
    run(cmake, "--install", build, "--prefix", scratch / "first")
    (scratch / "first").rename(prefix)
    page = Path(source, "docs/plugins.md").read_text()
    (scratch / "plugin").mkdir()
    for name, text in re.findall(r"^`([\w.]+)`:\n\n```\w+\n(.*?)^```", page, re.MULTILINE | re.DOTALL):
        (scratch / "plugin" / name).write_text(text)
    for project in ["host", "session"]:
        shutil.copytree(Path(source, "tests/install", project), scratch / project)
    for project in ["plugin", "host", "session"]:
        place = scratch / f"build {project}"
        run(cmake, "-S", scratch / project, "-B", place, f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER={cxx}",
            "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Werror")
        run(cmake, "--build", place)
    plugins = scratch / "build plugin"
    told = run(scratch / "build host/own_host")
    assert told == "26 nodes, 0 arrays left over\n", told
    told = run(scratch / "build session/networks", plugins)
    assert told == "mean 3, 26 nodes\n", told

    flags = run("pkg-config", "--cflags", "--libs", "zam", PKG_CONFIG_PATH=str(prefix / "lib/pkgconfig"))
    run(cc, "-std=c99", f"{source}/tests/session/c_interface_test.c", "-o", "in_c", *shlex.split(flags),
        f"-Wl,-rpath,{prefix}/lib")
    run("./in_c")

    (scratch / "n.json").write_text(json.dumps(NETWORK))
    run(prefix / "bin/zam", "run", "n.json", ZAM_MODULE_PATH=str(plugins))
    assert json.loads((scratch / "mean.json").read_text()) == 3
    assert "$schema" in json.loads((prefix / "share/zam/network.schema.json").read_text())
    print(f"{sum(path.is_file() for path in prefix.rglob('*'))} files are installed")
