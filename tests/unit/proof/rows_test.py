#!/usr/bin/python3
"""Holds the table of what the proof kit proves and docs/testing.md to each other, and to the conformance tests; and the
steps of prove.cmd to those that the reader knows. Usage: rows_test.py PROJECT-FOLDER"""

import pathlib
import re
import sys


def documented(project):
    """The rows of the document's first table whose last column has a text: pairs of the first and the last cell."""
    text = (project / "docs" / "testing.md").read_text("utf-8")
    table = re.search(r"^\| what \|.*?only a real Windows \|\n\|[-|]+\n(.*?)\n\n", text, re.M | re.S)[1]
    for line in table.splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if cells[-1]:
            yield cells[0], cells[-1]


def conformance_tests(project):
    for source in (project / "tests" / "winsim").rglob("*.cpp"):
        for suite, name in re.findall(r"^TEST(?:_F)?\((\w+), (\w+)\)", source.read_text("utf-8"), re.M):
            yield f"{suite}.{name}"


def steps(project):
    """The steps of prove.cmd: the words after the program, with the packages' names."""
    text = (project / "proof" / "prove.cmd").read_text("ascii")
    packages = dict(re.findall(r'set "(\w+)=(\w+\.msi)"', text))
    for line in re.findall(r'^"%PROOF%" (.*)$', text, re.M):
        line = re.sub(r"%(\w+)%", lambda name: packages[name[1]], line)
        yield [quoted or word for quoted, word in re.findall(r'"([^"]*)"|(\S+)', line)]


def complaints(project):
    sys.path.insert(0, str(project / "proof"))
    from report import MOMENTS, RUNS, SWITCHES
    from rows import ROWS
    rows, known = [*documented(project)], {(row.what, row.claim) for row in ROWS}
    yield from (f"proof/rows.py lacks the row {row}" for row in rows if row not in known)
    yield from (f"docs/testing.md lacks the row {row}" for row in known if row not in rows)
    yield from (f"proof/rows.py says nothing of {row.what}" for row in ROWS
                if not (row.tests or row.compared or row.rest))
    tests, runs = {*conformance_tests(project)}, {run.name for run in RUNS}
    for row in ROWS:
        yield from (f"there is no test {test}" for test in row.tests if test not in tests)
        yield from (f"there is no run {run}" for run, _ in row.compared if run not in runs)
    first, *done, last = steps(project)
    expected = [["tests"], ["capture", MOMENTS[0]]]
    for run in RUNS:
        expected += [["installer", SWITCHES[run.mode], run.package, *run.properties], ["capture", run.after]]
    seen = [[words[0], *words[2:]] if words[0] == "installer" else words for words in done if words[0] != "clean"]
    if seen != expected:
        yield f"prove.cmd has the steps {seen}, and proof/report.py {expected}"
    if (first, last) != (["begin", str(len(done))], ["end"]):
        yield f"prove.cmd begins with {first}, has {len(done)} steps and ends with {last}"
    if len(rows) < 10:
        yield "docs/testing.md: the table was not found"


found = [*complaints(pathlib.Path(sys.argv[1]).resolve())]
print("\n".join(found))
sys.exit(1 if found else 0)
