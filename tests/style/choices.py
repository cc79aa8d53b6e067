#!/usr/bin/python3
"""Checks docs/choices.md: it has one table, and every choice names a test that exists."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
CHOICES = ROOT / "docs" / "choices.md"

HEADING = ["choice", "why", "held by"]
TEST = re.compile(r"`([^`]+)`")


def native_tests():
    """Suite.Test of every test in C++, also of those in tables."""
    for source in (ROOT / "tests").rglob("*_test.cpp"):
        text = source.read_text(encoding="utf-8")
        for suite, name in re.findall(r"^TEST(?:_P|_F)?\((\w+),\s*(\w+)\)", text, re.M):
            yield f"{suite}.{name}"
        for suite, rows in re.findall(r'RunTests\("(\w+)"(.+?);\n\n', text, re.S):
            for name in re.findall(r'\.(?:Run|Log|Result)\(\s*"(\w+)"', rows):
                yield f"{suite}.{name}"


def python_tests():
    """file.test_name of every test in Python."""
    for source in (ROOT / "tests").rglob("*_test.py"):
        for name in re.findall(r"^    def (test_\w+)\(", source.read_text(encoding="utf-8"), re.M):
            yield f"{source.stem}.{name}"


def rows():
    lines = [line for line in CHOICES.read_text(encoding="utf-8").splitlines() if line.startswith("|")]
    cells = [[cell.strip() for cell in line.strip("|").split("|")] for line in lines]
    if cells[0] != HEADING or set("".join(cells[1])) != {"-"}:
        sys.exit(f"{CHOICES.name}: the table does not begin with {' | '.join(HEADING)}")
    return cells[2:]


def complaints():
    tests = {*native_tests(), *python_tests()}
    for row in rows():
        if len(row) != len(HEADING) or not all(row):
            yield f"not three cells: {row}"
            continue
        named = TEST.findall(row[2])
        if not named:
            yield f"{row[0]}: no test"
        for test in named:
            if test not in tests:
                yield f"{row[0]}: there is no test {test}"


found = list(complaints())
print("\n".join(found))
sys.exit(1 if found else 0)
