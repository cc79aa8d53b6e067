"""Tries a change: compiles it, links the images with it, and runs the tests of its lines until one fails."""

import os
import re
import resource
import shutil
import subprocess

from images import IMAGES
from visits import PLAIN_RUNS

FAILED = re.compile(r"^\[  FAILED  \] ([^ ,]+)", re.MULTILINE)
# Seconds of tests in one run: most changes fail the first test, and tests that run together start only once.
CHUNKS = [0.15, 0.5, 2, 8]
COST_BY_DISTANCE = [0.1, 0.4, 1]
# A quick trial leaves out tests that take longer than LONG, and stops after QUICK seconds of tests.
LONG, QUICK = 1.5, 4
# How many of the sweep's runs are made, of the machines and actions that enter a function.
SWEPT = 3
SWEEPS = ["Machines/FaultSweep.EveryCallFailsOnce/", "Machines/FaultSweep.MemoryRunsOutOnce/"]
MEMORY = 4 << 30


def limit(seconds):
    """Limits a test's processor time, before it counts as hanging, and its memory."""
    resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Bench:
    """A folder with the tests and, beside them, the images of one change after another."""

    def __init__(self, images, visits, number):
        self.images, self.visits = images, visits
        self.folder = images.folder / f"bench{number}"
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir()
        for name in ["unit_tests", "scenarios_tests", "faults_tests", "kelo-rehearse", "ending_program.so"]:
            # Not symbolic links: the tests use the images beside their own file.
            os.link(images.build / name, self.folder / name)
        self.replaced = {}
        self.linked = set()

    def link(self, needed):
        """Whether all images that the tests need can be linked."""
        for image in sorted(needed - self.linked):
            (self.folder / image).unlink(missing_ok=True)
            if not self.images.link(image, self.folder, self.replaced):
                return False
            self.linked.add(image)
        return True

    def restore(self):
        """Puts the images without a change beside the tests: a test may use an image that does not run the change."""
        for image in IMAGES:
            (self.folder / image).unlink(missing_ok=True)
            os.link(self.images.folder / image, self.folder / image)

    def compile(self, units, change):
        """Whether a changed source compiles in all its units."""
        source = (self.images.root / change.path).read_bytes()
        changed = self.folder / "changed" / change.path.removeprefix("src/")
        shutil.rmtree(self.folder / "changed", ignore_errors=True)
        changed.parent.mkdir(parents=True)
        changed.write_bytes(change.applied_to(source))
        self.replaced, self.linked = {}, set()
        self.restore()
        for unit in units:
            target = self.folder / f"{len(self.replaced)}.o"
            is_header = unit.path != change.path
            if not unit.compile(self.images.build, unit.source if is_header else changed, target,
                                self.folder / "changed" if is_header else None):
                return False
            self.replaced[unit.object] = target
        return True

    def failing(self, program, names, seconds, environment=None):
        """The one of the named tests that fails, None if none does."""
        allowed = int(3 + 5 * seconds)
        try:
            run = subprocess.run([self.folder / program, "--gtest_brief=1", "--gtest_fail_fast",
                                  f"--gtest_filter={':'.join(names)}"], cwd=self.folder, capture_output=True,
                                 env=os.environ | (environment or {}), timeout=20 * allowed,
                                 preexec_fn=lambda: limit(allowed))
        except subprocess.TimeoutExpired:
            return names[0]
        if run.returncode == 0:
            return None
        found = FAILED.search(run.stdout.decode(errors="replace"))
        # A test program that dies does not report which test ran.
        return found[1] if found else names[0]

    def chunks(self, path, tests, first):
        """The tests of a source: `first` first, then in the order of their cost, which counts less for tests nearer to
        the source. A chunk is small at first, and never contains tests of two programs."""
        seconds = self.visits.seconds
        cost = {test: seconds[test] * COST_BY_DISTANCE[self.visits.distance(test, path)] for test in tests}
        sizes = list(CHUNKS)
        chunk, spent = [], 0
        for test in sorted(tests, key=lambda test: (test != first, cost[test], test)):
            if chunk and (chunk == [first] or test[0] != chunk[0][0] or spent + seconds[test] > sizes[0]):
                yield chunk, spent
                chunk, spent = [], 0
                sizes = sizes[1:] or sizes
            chunk.append(test)
            spent += seconds[test]
        if chunk:
            yield chunk, spent

    def killer(self, path, tests, first, budget):
        """The failing test among those that run the changed lines, until the budget is used up."""
        for chunk, seconds in self.chunks(path, tests, first):
            if budget < 0:
                break
            budget -= seconds
            program = chunk[0][0]
            if not self.link(set().union(*(tests[test] for test in chunk))):
                return program, "it cannot be linked"
            failing = self.failing(program, [name for _, name in chunk], seconds)
            if failing:
                return program, failing
        return None

    def swept(self, change):
        """The sweep's failing test, among those whose machines enter the changed function."""
        plain = [(self.visits.seconds[test], test[1].removeprefix(PLAIN_RUNS), images) for test, images in
                 self.visits.of_lines(change.path, change.place.owner_lines).items() if test[0] == "faults_tests"]
        for seconds, name, images in sorted(plain, key=lambda run: run[:2])[:SWEPT]:
            if not self.link(images):
                return ("faults_tests", "it cannot be linked")
            failing = self.failing("faults_tests", [sweep + name for sweep in SWEEPS], 10, {"KELO_FAULTS": "brief"})
            if failing:
                return ("faults_tests", failing)
        return None

    def try_change(self, change, units, tests, first=None, is_quick=False):
        """("not compiled" | "killed" | "survived", the test that failed). Quick: without tests that take long."""
        if not self.compile(units, change):
            return "not compiled", None
        tests = {test: images for test, images in tests.items()
                 if test[0] != "faults_tests" and not (is_quick and self.visits.seconds[test] > LONG)}
        killer = self.killer(change.path, tests, first, QUICK if is_quick else float("inf"))
        if not killer and not is_quick:
            killer = self.swept(change)
        return ("killed", killer) if killer else ("survived", None)
