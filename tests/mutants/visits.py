"""Which tests run which lines of the program: each test is run once, alone, on images that note it."""

import collections
import concurrent.futures
import json
import os
import subprocess
import tempfile
import time

from images import IMAGES

# The runs that the sweep of failures is made of, without failures.
PLAIN_RUNS = "Machines/FaultSweep.EveryCallIsKnown/"
PROGRAMS = {"unit_tests": "*", "scenarios_tests": "*", "faults_tests": PLAIN_RUNS + "*"}


def list_tests(program, pattern):
    shown = subprocess.run([program, "--gtest_list_tests", f"--gtest_filter={pattern}"], check=True,
                           capture_output=True, text=True).stdout
    suite = None
    for line in shown.splitlines():
        if line.startswith("  "):
            yield suite + line.split("#")[0].strip()
        elif line.split("#")[0].strip().endswith("."):
            suite = line.split("#")[0].strip()


def visited(path):
    """The addresses noted in an image's file."""
    data = path.read_bytes()
    found, at = [], data.find(b"\1")
    while at >= 0:
        found.append(at)
        at = data.find(b"\1", at + 1)
    return found


def record(folder, test):
    """What a test runs of each image, and how long it takes."""
    program, name = test
    with tempfile.TemporaryDirectory(dir=folder) as notes:
        start = time.monotonic()
        run = subprocess.run([folder / program, "--gtest_brief=1", f"--gtest_filter={name}"], cwd=folder,
                             env=os.environ | {"KELO_VISITS": notes}, capture_output=True, text=True)
        seconds = time.monotonic() - start
        if run.returncode:
            raise SystemExit(f"{program} fails without any change:\n{run.stdout}{run.stderr}")
        noted = {entry.name: visited(folder.joinpath(notes, entry.name)) for entry in os.scandir(notes)}
    return {"program": program, "name": name, "seconds": seconds, "noted": noted}


def recorded(folder, cache, fingerprint, workers, progress):
    """All tests' records, from the cache when they are of these programs."""
    if cache.exists():
        known = json.loads(cache.read_text())
        if known["fingerprint"] == fingerprint:
            return known["tests"]
    tests = [(program, name) for program, pattern in PROGRAMS.items() for name in list_tests(folder / program, pattern)]
    records = []
    with concurrent.futures.ThreadPoolExecutor(workers) as pool:
        for one in pool.map(lambda test: record(folder, test), tests):
            records.append(one)
            progress(f"{len(records)} of {len(tests)} tests have shown what they run")
    cache.write_text(json.dumps({"fingerprint": fingerprint, "tests": records}))
    return records


class Visits:
    """The tests of each line."""

    def __init__(self, images, records):
        self.tests = {(one["program"], one["name"]): one["seconds"] for one in records}
        blocks = {image: images.blocks(image) for image in IMAGES}
        self.functions = collections.defaultdict(set)  # what a line is compiled in
        for of_image in blocks.values():
            for lines in of_image.values():
                for path, number, function in lines:
                    self.functions[path, number].add(function)
        self.by_line = collections.defaultdict(dict)  # the images through which each test runs it
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

    def has_code(self, path, lines):
        return any((path, number) in self.functions for number in lines)

    def functions_of(self, path, lines):
        return set().union(*(self.functions.get((path, number), ()) for number in lines))
