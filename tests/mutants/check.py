#!/usr/bin/python3
"""Changes the program one place at a time and looks whether a test fails.

Usage: check.py PROJECT-FOLDER BUILD-FOLDER [--all] [--survivors] [--equivalent] [--quick] [--every N] [FILE...]

Tries the changes of the lines that differ from the newest tag, and others spread over all sources when those are few.
--all, or KELO_MUTANTS=all, tries all; FILE... those of files below src/; --survivors those that no test noticed the
last time; --equivalent those that nothing can notice, which stand in equivalent.txt with the reason; --every N each Nth
of these. --quick leaves out the tests that take long and the sweep of failures.
"""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import os
import pathlib
import queue
import re
import subprocess
import sys
import threading
import time

from clang.cindex import Index

from changes import Changes
from images import IMAGES, Images
from trial import Bench
from visits import PROGRAMS, Visits, list_tests, recorded

# How many changes are made without --all: those that differ from the last release, up to MOST and at least LEAST.
MOST, LEAST = 150, 100
SECONDS_BETWEEN_LINES = 20


class Progress:
    """Prints a progress line from time to time."""

    def __init__(self):
        self.next = time.monotonic() + SECONDS_BETWEEN_LINES
        self.lock = threading.Lock()

    def __call__(self, text):
        with self.lock:
            if time.monotonic() >= self.next:
                print(text, flush=True)
                self.next = time.monotonic() + SECONDS_BETWEEN_LINES


def hash_of(*parts):
    whole = hashlib.sha256()
    for part in parts:
        whole.update(part if isinstance(part, bytes) else str(part).encode())
        whole.update(b"\0")
    return whole.hexdigest()


# ---- all changes of src/ ----

def changes_of_unit(root, path, arguments):
    """The changes of a source and of the headers in its syntax tree, and the uses of names: (changes, uses) of each
    file."""
    unit = Index.create().parse(str(root / path), args=arguments)
    wrong = [str(message) for message in unit.diagnostics if message.severity >= 3]
    if wrong:
        raise SystemExit(f"{path} cannot be read: {wrong[0]}")
    declarations = collections.defaultdict(list)
    for declaration in unit.cursor.get_children():
        if file := declaration.extent.start.file:
            declarations[file.name].append(declaration)
    below = str(root / "src") + "/"
    of_files = [Changes(root, file[len(str(root)) + 1:], inside) for file, inside in declarations.items()
                if file.startswith(below)]
    return [(of_file.all(), of_file.uses) for of_file in of_files]


def parser_arguments(images):
    """For each source, the arguments with which it is parsed. The headers that all include are parsed once."""
    parsed = {}
    for path, unit in images.units.items():
        arguments = unit.parser_arguments("c++")
        if unit.first_header:
            if unit.first_header not in parsed:
                parsed[unit.first_header] = images.folder / f"headers{len(parsed)}.pch"
                headers = Index.create().parse(unit.first_header, args=unit.parser_arguments("c++-header"))
                headers.save(parsed[unit.first_header])
            arguments += ["-include-pch", str(parsed[unit.first_header])]
        yield path, arguments


class AllChanges:
    """Every change, by its name, and the uses of all names."""

    def __init__(self, root, images, workers):
        self.changes, self.uses = {}, {}
        jobs = [(root, path, arguments) for path, arguments in parser_arguments(images)]
        with concurrent.futures.ProcessPoolExecutor(workers) as pool:
            for found in pool.map(changes_of_unit, *zip(*jobs)):
                for changes, uses in found:
                    self.changes.update((change.name, change) for change in changes)
                    for used, users in uses.items():
                        self.uses.setdefault(used, set()).update(users)
        self.changes = dict(sorted(self.changes.items(), key=lambda item: (item[1].path, item[1].begin, item[1].end)))

    def users_of(self, name):
        """The lines of all functions that use a variable, also through another one."""
        found, names = set(), [name]
        for used in names:
            for path, owner, lines in self.uses.get(used, ()):
                if (path, owner, lines) not in found:
                    found.add((path, owner, lines))
                    names.append(owner)
        return [(path, lines) for path, _, lines in found]


def tests_of(change, everything, visits):
    """The tests that run the changed lines, each with the images."""
    place = change.place
    for lines in (place.lines, place.owner_lines):
        if visits.has_code(change.path, lines) and place.is_function:
            return visits.of_lines(change.path, lines)
    found = {}
    for path, lines in everything.users_of(place.owner):
        for test, images in visits.of_lines(path, lines).items():
            found.setdefault(test, set()).update(images)
    return found


# ---- which are tried ----

def git(root, *arguments):
    run = subprocess.run(["git", "-C", root, *arguments], capture_output=True, text=True)
    return run.stdout if run.returncode == 0 else ""


def changed_lines(root):
    """The lines of src/ that differ from the newest tag; empty without a tag."""
    tag = git(root, "describe", "--tags", "--abbrev=0").strip()
    found, path = set(), None
    for line in git(root, "diff", "--unified=0", tag, "--", "src").splitlines() if tag else []:
        if line.startswith("+++ b/"):
            path = line[6:]
        elif match := re.match(r"@@ -\S+ \+(\d+)(?:,(\d+))? @@", line):
            begin = int(match[1])
            found.update((path, number) for number in range(begin, begin + int(match[2] or 1)))
    return found


def spread(items, count):
    """This many of the items, at even distances."""
    return items if len(items) <= count else [items[i * len(items) // count] for i in range(count)]


def short_choice(root, changes):
    lines = changed_lines(root)
    return spread([change for change in changes
                   if any((change.path, number) in lines for number in change.place.lines)], MOST)


# ---- what is known ----

class Equivalent:
    """The changes that nothing can notice: paragraphs with a line for the name of each change, and indented lines with
    the reason."""

    def __init__(self, path):
        self.names, self.wrong = [], []
        paragraphs = path.read_text().split("\n\n") if path.exists() else []
        for lines in (paragraph.splitlines() for paragraph in paragraphs):
            names = [line for line in lines if line.startswith("src/")]
            self.names += names
            if names and not any(line.startswith("    ") and line.strip() for line in lines):
                self.wrong.append(f"equivalent.txt has no reason for: {names[0]}")
        self.wrong += [f"equivalent.txt has twice: {name}" for name in sorted(set(self.names))
                       if self.names.count(name) > 1]


class TestStamps:
    """The inputs that a result depends on: all programs, if no test failed; otherwise the source of the test that
    failed, and the simulated machine."""

    def __init__(self, root, build, programs):
        self.all = hash_of(*((build / name).read_bytes() for name in programs))
        support = sorted(path for path in (root / "tests" / "support").iterdir() if path.is_file())
        machine = hash_of((build / "libwinsim.so").read_bytes(), *(path.read_bytes() for path in support))
        self.of_test = {}
        for program in PROGRAMS:
            listed = list_tests(build / program)
            sources = {file: hash_of(machine, (build / file).read_bytes()) for file in set(listed.values())}
            self.of_test.update(((program, name), sources[file]) for name, file in listed.items())

    def of(self, killer):
        return self.of_test.get(tuple(killer)) if killer else self.all


class Results:
    """The result of each change: its source, the other inputs, the result and the test that failed."""

    def __init__(self, path, stamps):
        self.path, self.stamps = path, stamps
        self.known = json.loads(path.read_text()) if path.exists() else {}
        self.lock = threading.Lock()
        self.unsaved = 0

    def of(self, change, key):
        known = self.known.get(change.name)
        return known if known and known["key"] == key else None

    def holds(self, known, is_quick):
        """Whether another trial would have the same result."""
        if known["result"] == "not compiled":
            return True
        return known["tests"] == self.stamps.of(known["killer"]) and (known["result"] == "killed" or
                                                                      known["quick"] <= is_quick)

    def add(self, change, key, result, killer, is_quick):
        with self.lock:
            self.known[change.name] = {"key": key, "tests": self.stamps.of(killer), "result": result, "killer": killer,
                                       "quick": is_quick}
            self.unsaved += 1
            if self.unsaved >= 20:
                self.save()

    def save(self):
        self.unsaved = 0
        new = self.path.with_suffix(".new")
        new.write_text(json.dumps(self.known, indent=0))
        new.replace(self.path)


class Run:
    def __init__(self, root, build, workers, is_quick):
        self.root, self.progress, self.workers, self.is_quick = root, Progress(), workers, is_quick
        self.images = Images(root, build)
        programs = [*PROGRAMS, "libwinsim.so", "kelo-rehearse", *(f"mutants/{image}" for image in IMAGES)]
        self.stamps = TestStamps(root, build, programs)
        benches = queue.SimpleQueue()
        records = self.records()
        self.visits = Visits(self.images, records)
        if not self.visits.by_line:
            raise SystemExit("the tests' notes are not of these images")
        self.everything = AllChanges(root, self.images, workers)
        self.results = Results(self.images.folder / "results.json", self.stamps)
        for number in range(workers):
            benches.put(Bench(self.images, self.visits, number))
        self.benches = benches

    def records(self):
        bench = Bench(self.images, None, "")
        bench.restore()
        images = hash_of(*((self.images.folder / image).read_bytes() for image in IMAGES))
        stamps = {test: hash_of(images, stamp) for test, stamp in self.stamps.of_test.items()}
        return recorded(bench.folder, self.images.folder / "visits.json", stamps, self.workers, self.progress)

    def is_run(self, change):
        """Whether an image contains the changed function: some functions are only evaluated by the compiler."""
        return not change.place.is_function or self.visits.has_code(change.path, change.place.owner_lines)

    def units_of(self, change):
        if change.path in self.images.units:
            return [self.images.units[change.path]]
        functions = self.visits.functions_of(change.path, change.place.owner_lines)
        return self.images.units_of_header(change.path, functions)

    def try_change(self, change):
        source = (self.root / change.path).read_bytes()
        key = hash_of(change.applied_to(source))
        known = self.results.of(change, key)
        if known and self.results.holds(known, self.is_quick):
            return known["result"]
        tests = tests_of(change, self.everything, self.visits)
        first = tuple(known["killer"]) if known and known["killer"] else None
        bench = self.benches.get()
        try:
            result, killer = bench.try_change(change, self.units_of(change), tests,
                                              first if first in tests else None, self.is_quick)
        finally:
            self.benches.put(bench)
        self.results.add(change, key, result, killer, self.is_quick)
        return result

    def at_least(self, least, chosen, changes):
        """Tries the chosen changes, and others until so many were made: some do not compile. The names of the changes by
        their results."""
        found = self.all(chosen)
        while (missing := least - len(found["killed"]) - len(found["survived"])) > 0:
            tried = set().union(*found.values())
            others = spread([change for change in changes if change.name not in tried], missing)
            if not others:
                break
            for result, names in self.all(others).items():
                found[result] += names
        return found

    def all(self, changes):
        """The names of the changes by their results."""
        found = {"killed": [], "survived": [], "not compiled": []}
        with concurrent.futures.ThreadPoolExecutor(self.workers) as pool:
            for done, (change, result) in enumerate(zip(changes, pool.map(self.try_change, changes)), 1):
                found[result].append(change.name)
                if result == "survived":
                    print(f"no test notices: {change.name}", flush=True)
                self.progress(f"{done} of {len(changes)} changes tried")
        self.results.save()
        return found


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("project", type=pathlib.Path)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--survivors", action="store_true")
    parser.add_argument("--equivalent", action="store_true")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--every", type=int, default=1)
    parser.add_argument("files", nargs="*")
    options = parser.parse_intermixed_args()
    root, build = options.project.resolve(), options.build.resolve()
    run = Run(root, build, os.cpu_count(), options.quick)
    equivalent = Equivalent(pathlib.Path(__file__).with_name("equivalent.txt"))
    every_change = [change for change in run.everything.changes.values() if run.is_run(change)]
    changes, least = every_change, 0
    if options.equivalent:
        changes = [change for change in changes if change.name in equivalent.names]
    elif options.files:
        changes = [change for change in changes if any(change.path.startswith(file) for file in options.files)]
    elif not options.all and not options.survivors and os.environ.get("KELO_MUTANTS") != "all":
        changes, least = short_choice(root, changes), LEAST
    if options.survivors:
        changes = [c for c in changes if run.results.known.get(c.name, {}).get("result") == "survived"]
    changes = changes[::options.every]

    found = run.at_least(least // options.every, changes, every_change)
    survived = [name for name in found["survived"] if name not in equivalent.names]
    wrong = equivalent.wrong
    wrong += [f"equivalent.txt names no change: {name}" for name in equivalent.names
              if name not in run.everything.changes]
    wrong += [f"equivalent.txt names a change that a test notices: {name}" for name in equivalent.names
              if name in found["killed"]]
    wrong += [f"no test notices: {name}" for name in survived]
    print("\n".join(wrong))
    summary = (f"mutants: {len(found['killed']) + len(found['survived'])} made, {len(found['killed'])} killed, "
               f"{len(found['survived']) - len(survived)} equivalent, {len(survived)} surviving")
    print(summary)
    (run.images.folder / "summary.txt").write_text(summary + "\n")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
