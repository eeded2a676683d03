#!/usr/bin/env python3
"""check_terminal.py ZAM MODULES: what zam shows on a terminal, and how it ends when it is told to.

MODULES is the directory of the tests' module library."""
import os
import pty
import re
import select
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ZAM, MODULES = sys.argv[1:]
PICTURE = """{"modules": {"k": {"use": "kinds", "params": {"field": {"field": {"dims": [3, 2], "node_data": [
    {"type": "byte", "veclen": 4, "values": [%s]}]}}}}}, "write": {"out/p.png": "k.field"}}""" % ",".join(["9"] * 24)
LARGE = """{"modules": {"k": {"use": "kinds", "params": {"field": {"field": {"dims": [400, 400, 400], "node_data": [
    {"type": "byte", "veclen": 1, "values": {"values_file": "large.raw"}}]}}}}}, "write": {"large.json": "k.field"}}"""
TICKS = '{"modules": {"t": {"use": "tick"}}}'


class Run:
    """zam on a terminal of its own."""

    def __init__(self, network, *options, **environment):
        Path("n.json").write_text(network)
        self.shown = b""
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            variables = {"PATH": os.environ["PATH"], "TERM": "xterm", "ZAM_MODULE_PATH": MODULES, **environment}
            os.execve(ZAM, [ZAM, "run", "n.json", *options], variables)

    def read(self, seconds):
        """Reads what is shown; false once the terminal is closed."""
        if not select.select([self.terminal], [], [], seconds)[0]:
            return True
        try:
            piece = os.read(self.terminal, 65536)
        except OSError:  # Linux says so when the last program has closed the terminal
            return False
        self.shown += piece
        return bool(piece)

    def end(self):
        """What was shown, and the exit status."""
        while self.read(60):
            pass
        status = os.waitpid(self.process, 0)[1]
        os.close(self.terminal)
        return self.shown.decode(), os.waitstatus_to_exitcode(status)


def expect(condition, *what):
    if not condition:
        sys.exit("wrong: " + " ".join(map(repr, what)))


def check_lists():
    shown, status = Run(PICTURE).end()
    expect((shown, status) == ("wrote out/p.png 3 × 2\r\n", 0), shown, status)
    shown, status = Run(PICTURE, "--quiet").end()
    expect((shown, status) == ("", 0), shown, status)


def check_colours():
    wrong = PICTURE.replace("p.png", "p.vtr")
    plain = Run(wrong, NO_COLOR="1").end()[0]
    expect(plain.startswith("zam: error: out/p.vtr: ") and "\033[3" not in plain, plain)
    expect(Run(wrong).end()[0].startswith("zam: \033[31merror:\033[0m out/p.vtr: "))
    expect("\033" not in Run(wrong, TERM="dumb").end()[0])
    expect(Run("{").end()[0].startswith("\033[31mn.json:1:"))


def check_progress():
    shown, _ = Run(TICKS, "--loop", "2.5").end()
    expect(re.fullmatch(r"(\r\033\[K[^\r\n]*\d+ %, 2 s, ticking)+\r\033\[K", shown), shown)
    expect(Run(TICKS, "--loop", "1.5").end()[0] == "")


def check_ends(ask, status):
    """Told to end while a file is being written, zam ends at once and leaves nothing of it."""
    run = Run(LARGE)
    deadline = time.monotonic() + 60
    while not Path("large.json.part").exists():
        expect(time.monotonic() < deadline, "no file is being written")
        run.read(0.01)
    asked = time.monotonic()
    ask(run)
    _, ended = run.end()
    took = time.monotonic() - asked
    expect(ended == status, ended)
    expect(not list(Path().glob("large.json*")), "something is left")
    return took


os.chdir(tempfile.mkdtemp(prefix="zam_terminal_"))
try:
    with open("large.raw", "wb") as large:
        large.truncate(400**3)
    check_lists()
    check_colours()
    check_progress()
    # the fastest of some, as the machine may have other things to do
    took = min(check_ends(lambda run: os.write(run.terminal, b"\x03"), 130) for _ in range(3))
    expect(took < 0.1, took)
    check_ends(lambda run: os.kill(run.process, signal.SIGTERM), 143)
    print(f"ended {1000 * took:.0f} ms after Ctrl-C")
finally:
    subprocess.run(["rm", "-r", os.getcwd()], check=True)
