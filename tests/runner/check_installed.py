#!/usr/bin/env python3
"""check_installed.py ZAM SOURCE: the man page and the completions know every command and option that zam has."""
import re
import subprocess
import sys
from pathlib import Path

zam, source = sys.argv[1], Path(sys.argv[2])
FILES = ["docs/man/zam.1"] + [f"runner/completion/{name}" for name in ("zam.bash", "_zam", "zam.fish")]


def ask(*arguments):
    return subprocess.run([zam, *arguments], check=True, capture_output=True, text=True).stdout


commands = re.findall(r"^  (\w+) ", ask("help").split("Subcommands:")[1], re.MULTILINE)
options = {option for command in commands for option in re.findall(r"--([\w-]+)", ask("help", command))}
if not {"run", "help"} <= set(commands) or not {"set", "output-dir"} <= options:
    sys.exit(f"zam help names {commands} and {options}")
missing = []
for file in FILES:
    words = set(re.findall(r"[\w-]+", re.sub(r"\\-|--|:", lambda m: "-" if m[0] == "\\-" else " ",
                                            (source / file).read_text().replace("\\-\\-", " "))))
    missing += [f"{file}: {word}" for word in [*commands, *sorted(options - {"help"})] if word not in words]
bash = f"""source {source}/runner/completion/zam.bash
COMP_WORDS=({zam} modules tr); COMP_CWORD=2; _zam; echo "${{COMPREPLY[*]}}" """
completed = subprocess.run(["bash", "-c", bash], capture_output=True, text=True).stdout.split()
if completed != ["tracer"]:
    missing.append(f"bash completes tr to {completed}")
sys.exit("\n".join(missing) or 0)
