#!/usr/bin/python3
"""Runs test programs beside images that count, and checks that each line and each branch of the program has run.

Usage: check.py PROJECT-FOLDER GCOV IMAGES-FOLDER NOTES-FOLDER TEST...

The tests lie in IMAGES-FOLDER; the images keep their counts beside the compiler's notes, in NOTES-FOLDER. Names each
function and line that never runs and each branch that is never taken. A line that cannot run says why, with
"// never runs: REASON", and then must not run.
"""

import collections
import json
import pathlib
import re
import subprocess
import sys

EXCUSE = re.compile(r"// never runs: \S")


def run_tests(images, notes, tests):
    """Whether all tests pass. Earlier counts are deleted, so only these tests are counted."""
    for counts in notes.rglob("*.gcda"):
        counts.unlink()
    return all([subprocess.run([images / test, "--gtest_brief=1"]).returncode == 0 for test in tests])


def in_pairs(items):
    return [items[i:i + 2] for i in range(0, len(items), 2)]


class Line:
    """How often a line ran, and its branches. All instances of a template count together."""

    def __init__(self):
        self.count = 0
        self.branches = {}  # their counts, by which of the branches exceptions take

    def add(self, counted):
        self.count += counted["count"]
        counts = [branch["count"] for branch in counted["branches"]]
        thrown = tuple(branch["throw"] for branch in counted["branches"])
        self.branches[thrown] = [sum(both) for both in zip(counts, self.branches.get(thrown, [0] * len(counts)))]

    def ways(self, is_switch):
        """How often each way of each decision was taken. The compiler reports the two ways of a decision, all ways of a
        switch, and the two ways out of a call that may throw, which is not a decision. It also adds decisions of its
        own on the paths of exceptions, so a decision that nothing ever reached is left out. If it is one of the
        source's, a way that leads to it was never taken, and that way is named."""
        for thrown, counts in self.branches.items():
            exits = in_pairs(list(zip(thrown, counts)))
            ways = [count for pair in exits if not any(is_thrown for is_thrown, _ in pair) for _, count in pair]
            for decision in [ways] if is_switch else in_pairs(ways):
                if any(decision):
                    yield from decision


class Counts:
    """The counts of the images for src/: lines by file and number, and calls of functions by the place where they
    begin."""

    def __init__(self, gcov, project, notes):
        self.lines = collections.defaultdict(Line)
        self.functions = collections.Counter()
        # Notes outlive their source: CMakeFiles/TARGET.dir/SOURCE.gcno.
        current = [note for note in sorted(notes.rglob("*.gcno"))
                   if project.joinpath(*note.relative_to(notes).parts[1:]).with_suffix("").exists()]
        command = [gcov, "--json-format", "--stdout", "--branch-probabilities", "--relative-only",
                   "--source-prefix", project, *current]
        for line in subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout.splitlines():
            report = json.loads(line)
            for file in report["files"]:
                path = pathlib.Path(report["current_working_directory"], file["file"]).resolve()
                if path.is_relative_to(project / "src"):
                    self.add(path.relative_to(project), file)

    def add(self, path, file):
        for line in file["lines"]:
            self.lines[path, line["line_number"]].add(line)
        for function in file["functions"]:
            self.functions[path, function["start_line"], function["start_column"]] += function["execution_count"]


class Verdict:
    """The totals, and the places of everything that is wrong."""

    def __init__(self):
        self.lines = []  # for each, whether it ran
        self.ways = []  # for each, whether it was taken
        self.wrong = []

    def judge(self, path, number, line, text):
        if text == "}":  # at most code of the compiler's own
            return
        if EXCUSE.search(text):
            if line.count:
                self.wrong.append((path, number, "runs"))
            return
        self.lines.append(line.count > 0)
        if not line.count:
            self.wrong.append((path, number, "never runs"))
            return
        ways = [count > 0 for count in line.ways(text.startswith("switch ("))]
        self.ways += ways
        if not all(ways):
            self.wrong.append((path, number, f"{ways.count(False)} of {len(ways)} branches never taken"))

    def figures(self):
        lines, ways = (f"{sum(passed)} of {len(passed)}" for passed in (self.lines, self.ways))
        return f"src/: {lines} lines and {ways} branches run"


def main(project, gcov, images, notes, *tests):
    project, images, notes = (pathlib.Path(folder).resolve() for folder in (project, images, notes))
    summary = images / "summary.txt"
    summary.write_text("src/: nothing is counted when the tests fail\n")
    if not run_tests(images, notes, tests):
        return 1

    counts = Counts(gcov, project, notes)
    texts = {path: [line.strip() for line in (project / path).read_text().splitlines()] for path, _ in counts.lines}
    verdict = Verdict()
    verdict.wrong = [(*place, "never called") for (*place, _), count in counts.functions.items() if not count]
    for (path, number), line in counts.lines.items():
        verdict.judge(path, number, line, texts[path][number - 1])

    for path, number, what in sorted(verdict.wrong):
        print(f"{path}:{number}: {what}: {texts[path][number - 1]}")
    summary.write_text(verdict.figures() + "\n")
    return 1 if verdict.wrong else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
