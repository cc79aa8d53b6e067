#!/usr/bin/python3
"""Checks the arrows between the rooms of the project: which folder may include files of which others. A new arrow is a
decision: it needs an entry here and in the picture of docs/architecture.md."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]

# Each folder, and the folders that it may include besides itself. src/ and winsim/ have layers: a folder may include
# all layers below its own, and none above or beside it.
SRC_LAYERS = [["src/windows"], ["src/log"], ["src/platform"],
              ["src/tss", "src/service", "src/smartcard", "src/providers", "src/tpm", "src/enroll", "src/messages"],
              ["src/entry"]]
WINSIM_LAYERS = [["winsim/include"], ["winsim/base"], ["winsim/machine"], ["winsim/process"], ["winsim/api"], ["winsim/crt"]]

ALLOWED = {
    # Knowledge about this product, for the tools that run it or examine its runs. Nothing of the simulated Windows
    # includes it; it passes its rules to the simulated program instead.
    "winsim/toolkit": ["winsim/base", "winsim/machine", "winsim/process"],
    # Makes a table of winsim/base, on Windows, and the schema of machine descriptions.
    "winsim/tools": ["winsim/base", "winsim/machine"],
    "catalogue": [],
    "report": ["catalogue", "winsim/base", "winsim/machine", "winsim/process", "winsim/toolkit"],
    "rehearse": ["report", "winsim/base", "winsim/process", "winsim/toolkit"],
    "explain": ["report", "catalogue", "winsim/base", "winsim/machine", "winsim/process", "winsim/toolkit"],
    # A program for Windows, which reads a machine with the product's own owners of handles and its guard.
    "describe": ["winsim/base", "winsim/machine", "src/windows"],
    # A program for Windows, which carries out the steps of the proof kit.
    "proof": ["describe", "src/windows"],
    # Linked into the images below src/, which does not know of it.
    "image": [],
    "packaging": [],
    "bench": ["src/log", "explain", "winsim/toolkit"],
    # The one arrow between steps: the software stack's set-up restarts the toolkit's service.
    "src/tss": ["src/service"],
}


def allow_layers(layers):
    below = []
    for layer in layers:
        for room in layer:
            ALLOWED.setdefault(room, []).extend(below)
        below.extend(layer)


def room_of(path):
    """The room that a file belongs to, from its path below the root."""
    parts = path.parts
    return "/".join(parts[:2]) if parts[0] in ("src", "winsim") else parts[0]


def included(source, name):
    """The file that an include refers to: beside the source, or below one of the compiler's include folders."""
    for folder in (source.parent, ROOT, ROOT / "src", ROOT / "winsim/include", ROOT / "packaging"):
        if (folder / name).is_file():
            return (folder / name).relative_to(ROOT)
    return None


def complaints():
    seen = set()
    rooms = sorted({room.split("/")[0] for room in ALLOWED})
    for folder in rooms:
        for source in sorted((ROOT / folder).rglob("*")):
            if source.suffix not in (".cpp", ".h", ".c", ".in"):
                continue
            room = room_of(source.relative_to(ROOT))
            if room not in ALLOWED:
                yield f"{source.relative_to(ROOT)}: the folder {room} is not in the table"
                continue
            for name in re.findall(r'^\s*#\s*include "([^"]+)"', source.read_text(encoding="utf-8"), re.M):
                file = included(source, name)
                if file is None:
                    yield f"{source.relative_to(ROOT)}: no file {name}"
                    continue
                target = room_of(file)
                seen.add((room, target))
                if target != room and target not in ALLOWED[room]:
                    yield f"{source.relative_to(ROOT)}: {room} may not include {file}"
    for room, targets in ALLOWED.items():
        if not (ROOT / room).is_dir():
            yield f"the table names {room}, which is no folder"
        if not room.startswith(("src/", "winsim/")):
            yield from (f"the table allows {room} -> {target}, which nothing needs"
                        for target in targets if (room, target) not in seen)


allow_layers(SRC_LAYERS)
allow_layers(WINSIM_LAYERS)
if __name__ == "__main__":
    found = list(complaints())
    print("\n".join(found))
    sys.exit(1 if found else 0)
