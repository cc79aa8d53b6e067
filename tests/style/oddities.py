#!/usr/bin/python3
"""Checks the table of docs/architecture.md against the sources: it names exactly the files with required behaviour that
looks wrong ("Required:")."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENT = ROOT / "docs" / "architecture.md"
HEADING = "| where | what is required |"


def marked():
    for source in (ROOT / "src").rglob("*"):
        if source.is_file() and "Required:" in source.read_text(encoding="utf-8"):
            yield source.relative_to(ROOT / "src").as_posix()


def named():
    """The files in the table's first cells; `.h` alone is the header of the file before it."""
    _, _, table = DOCUMENT.read_text(encoding="utf-8").partition(HEADING)
    for row in re.findall(r"^\|([^|]*)\|", table, re.M):
        previous = ""
        for name in re.findall(r"`([^`]+)`", row):
            previous = previous.rsplit(".", 1)[0] + name if name.startswith(".") else name
            yield previous


def complaints():
    in_sources, in_table = set(marked()), set(named())
    yield from (f"src/{name} marks required behaviour, and is not in the table" for name in sorted(in_sources - in_table))
    yield from (f"{name} is in the table, and marks nothing as required" for name in sorted(in_table - in_sources))


found = list(complaints())
print("\n".join(found))
sys.exit(1 if found else 0)
