#!/usr/bin/env python3
"""check_includes.py SOURCE_DIR: holds the sources' includes against the table of rooms in docs/architecture.md.

A row is "| `room/` | what is decided there | `room/`, `room/` |"; the last column says whom the room knows. Who knows a room
also knows whom that room knows. What follows the last room in a path is no concern of the rule.
"""
import re
import sys
from pathlib import Path

root = Path(sys.argv[1])
page = (root / "docs/architecture.md").read_text()
rooms = {}
for line in page.splitlines():
    cells = [cell.strip() for cell in line.strip("|").split("|")]
    if len(cells) == 3 and re.fullmatch(r"`[\w/]+/`", cells[0]):
        rooms[cells[0].strip("`/")] = [name.strip("/") for name in re.findall(r"`([\w/]+/)`", cells[2])]
assert len(rooms) > 15, "the table of rooms was not found"


def known(room):
    """The room and all that it knows, directly or through others."""
    seen, open_rooms = set(), [room]
    while open_rooms:
        here = open_rooms.pop()
        if here not in seen:
            seen.add(here)
            if not room.startswith(here + "/"):  # of the room around it a room knows that room's own headers only
                open_rooms += rooms[here]
    return seen


def room_of(file):
    """The room of a file by its folder, the nearest one above; None outside all rooms."""
    folder = Path(file).parent
    while str(folder) != ".":
        if str(folder) in rooms:
            return str(folder)
        folder = folder.parent
    return None


faults = []
checked = 0
for file in sorted(path for path in root.rglob("*") if path.suffix in {".h", ".cpp", ".inc", ".l", ".y", ".in"}):
    name = file.relative_to(root).as_posix()
    room = room_of(name)
    if room is None or name.startswith("build"):
        continue
    allowed = known(room)
    for include in re.findall(r'^#include "([^"]+/[^"]+)"', file.read_text(), re.MULTILINE):
        checked += 1
        other = room_of(include)
        if other not in allowed:
            faults.append(f"{name} includes {include}: {room}/ does not know {other}/")
assert checked > 500, f"only {checked} includes were found"
print("\n".join(faults) or f"{checked} includes, all as the rooms allow")
sys.exit(1 if faults else 0)
