"""Which tests run which lines of the program: each test is run once on images that record the lines."""

import collections
import concurrent.futures
import json
import math
import os
import pathlib
import subprocess
import tempfile

from images import IMAGES

# The sweep's own runs, without failures.
PLAIN_RUNS = "Machines/FaultSweep.EveryCallIsKnown/"
# How many tests one process runs.
MOST_IN_SHARE = 100
PROGRAMS = {"unit_tests": "*", "scenarios_tests": "*", "faults_tests": PLAIN_RUNS + "*"}


def list_tests(program, pattern="*"):
    """The names of a program's tests, each with its source."""
    with tempfile.NamedTemporaryFile(suffix=".json") as listed:
        arguments = ["--gtest_list_tests", f"--gtest_filter={pattern}", f"--gtest_output=json:{listed.name}"]
        subprocess.run([program, *arguments], check=True, capture_output=True)
        suites = json.load(listed)["testsuites"]
    return {f"{suite['name']}.{test['name']}": test["file"] for suite in suites for test in suite["testsuite"]}


def visited(path):
    """The addresses recorded in an image's file."""
    data = path.read_bytes()
    found, at = [], data.find(b"\1")
    while at >= 0:
        found.append(at)
        at = data.find(b"\1", at + 1)
    return found


def record(folder, program, names):
    """For each of a program's tests: which code of each image it runs, and how long it takes."""
    with tempfile.TemporaryDirectory(dir=folder) as notes:
        # tests/support/noted_tests.cpp gives each test a folder with its name.
        run = subprocess.run([folder / program, "--gtest_brief=1", f"--gtest_filter={':'.join(names)}"], cwd=folder,
                             env=os.environ | {"KELO_VISITS": notes}, capture_output=True)
        if run.returncode:
            raise SystemExit(f"{program} fails without any change:\n{run.stdout.decode(errors='replace')}")
        for name in names:
            files = {path.name: path for path in pathlib.Path(notes, name).iterdir()}
            seconds = float(files.pop("seconds").read_text())
            noted = {image: visited(path) for image, path in files.items()}
            yield {"program": program, "name": name, "seconds": seconds, "noted": noted}


def shares(tests):
    """The tests of each program, in shares for one process each: few, because a process takes long to start."""
    for program in PROGRAMS:
        names = [name for of, name in tests if of == program]
        count = math.ceil(len(names) / MOST_IN_SHARE)
        yield from ((program, names[first::count]) for first in range(count))


def recorded(folder, cache, stamps, workers, progress):
    """The records of all tests, from the cache if their stamps show that the images and the test are the same."""
    known = json.loads(cache.read_text()) if cache.exists() else {}
    sources = {(program, name): file for program, pattern in PROGRAMS.items()
               for name, file in list_tests(folder / program, pattern).items()}
    records = {" ".join(test): known[" ".join(test)] for test in sources
               if known.get(" ".join(test), {}).get("stamp") == stamps[test]}
    missing = [test for test in sources if " ".join(test) not in records]
    done = 0
    with concurrent.futures.ThreadPoolExecutor(workers) as pool:
        for share in pool.map(lambda share: list(record(folder, *share)), shares(missing)):
            for one in share:
                test = one["program"], one["name"]
                records[" ".join(test)] = one | {"stamp": stamps[test], "source": sources[test]}
            done += len(share)
            progress(f"{done} of {len(missing)} tests have shown what they run")
    if missing:
        cache.write_text(json.dumps(records))
    return list(records.values())


class Visits:
    """The tests that run each line."""

    def __init__(self, images, records):
        self.seconds = {(one["program"], one["name"]): one["seconds"] for one in records}
        self.sources = {(one["program"], one["name"]): pathlib.PurePath(one["source"]) for one in records}
        blocks = {image: images.blocks(image) for image in IMAGES}
        self.functions = collections.defaultdict(set)  # by line: the functions that it is compiled in
        for of_image in blocks.values():
            for lines in of_image.values():
                for path, number, function in lines:
                    self.functions[path, number].add(function)
        self.by_line = collections.defaultdict(dict)  # by line: the images through which each test runs it
        for one in records:
            for image, addresses in one["noted"].items():
                for address in addresses:
                    for path, number, _ in blocks[image].get(address, ()):
                        self.by_line[path, number].setdefault((one["program"], one["name"]), set()).add(image)

    def of_lines(self, path, lines):
        """The tests that run any of the lines, each with the images."""
        found = {}
        for number in lines:
            for test, images in self.by_line.get((path, number), {}).items():
                found.setdefault(test, set()).update(images)
        return found

    def distance(self, test, path):
        """The distance of a test's source from one of the program: 0 for its own test, 1 in the same folder."""
        source, tested = self.sources[test], pathlib.PurePath(path)
        if source.parent.name != tested.parent.name:
            return 2
        return 0 if source.stem == tested.stem + "_test" else 1

    def has_code(self, path, lines):
        return any((path, number) in self.functions for number in lines)

    def functions_of(self, path, lines):
        return set().union(*(self.functions.get((path, number), ()) for number in lines))
