"""Prints the table of the benchmarks: each figure, its floor measured alternately with it, and their ratio.

Usage: table.py [--rounds N]   measures each run under Wine N times, 9 or more (15)
"""

import argparse
import contextlib
import os
import pathlib
import re
import statistics
import subprocess
import sys
import time
import typing

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests" / "e2e"))
import many_machines  # noqa: E402 (after the folders that it is in)
from machines.descriptions import load  # noqa: E402 (after the folder that it is in)
from paths import NATIVE, WINDOWS as IMAGES  # noqa: E402
from runs.program import DLL, EXE, Machine  # noqa: E402
from runs.rehearsal import rehearse_each, report_of  # noqa: E402
from wine.prefix import Prefix  # noqa: E402

EMPTY, FOLDER, EXCEPTION = (IMAGES / "bench" / f"{name}_program.exe" for name in ("empty", "folder", "exception"))
LOG_LINES = IMAGES / "bench" / "log_lines.exe"
KELO_BENCH = NATIVE / "kelo-bench"
DEFAULT_MACHINE = load(ROOT / "machines" / "windows-7-toolkit.json")
LEAST_ROUNDS, USUAL_ROUNDS = 9, 15
LEAST_MACHINES, USUAL_MACHINES = 1000, 100_000


class Row(typing.NamedTuple):
    name: str
    floor_name: str
    value: float
    floor: float
    unit: str
    limit: float | None = None

    @property
    def is_above_limit(self):
        return self.limit is not None and self.value / self.floor > self.limit

    def __str__(self):
        limit = "-" if self.limit is None else f"{self.limit:.2f}"
        return (f"{self.name:<52} {self.value:>9.1f} {self.unit:<4} {self.floor_name:<42} {self.floor:>9.1f} {self.unit:<4} "
                f"{self.value / self.floor:>6.2f} {limit:>6}{'  ABOVE THE LIMIT' if self.is_above_limit else ''}")


class Cost(typing.NamedTuple):
    """The cost of a program's run from its start to its exit."""

    wall: float  # ms
    processor: float  # ms


def cost(prefix, *command):
    begin = time.monotonic()
    with prefix.started(*command) as process:
        _, _, used = os.wait4(process.pid, 0)
        wall = time.monotonic() - begin
        process.returncode = 0  # it was already waited for
    return Cost(wall * 1000, (used.ru_utime + used.ru_stime) * 1000)


def most_memory(prefix, *command):
    """The peak memory of a program's run, in MB. Polled during the run, because Linux's figure at the end includes the
    memory of the process that started the program."""
    most = 0
    with prefix.started(*command) as process:
        status = pathlib.Path(f"/proc/{process.pid}/status")
        while process.poll() is None:
            if found := re.search(r"^VmHWM:\s+(\d+) kB$", status.read_text(encoding="ascii"), re.MULTILINE):
                most = int(found[1])
    return most / 1024


def median(costs):
    return Cost(*(statistics.median(values) for values in zip(*costs)))


def start_to_exit(rounds):
    """The program's shortest run compared with programs that do nothing."""
    with Machine(DEFAULT_MACHINE) as machine:
        commands = {"empty": [EMPTY], "folder": [FOLDER], "commit": [machine.program, "/Commit"]}
        costs = {name: [] for name in commands}
        memory = {name: statistics.median(most_memory(machine.prefix, *command) for _ in range(LEAST_ROUNDS))
                  for name, command in commands.items()}
        for i in range(rounds + 1):
            for name, command in commands.items():
                measured = cost(machine.prefix, *command)
                if i > 0:  # the first round warms up
                    costs[name].append(measured)
    empty, folder, commit = (median(costs[name]) for name in ("empty", "folder", "commit"))
    asks = "a program that asks where the log belongs"
    yield Row("/Commit, start to exit under Wine", "an empty program", commit.wall, empty.wall, "ms", 1.5)
    yield Row("/Commit, processor time", "an empty program", commit.processor, empty.processor, "ms", 1.5)
    yield Row("/Commit, most memory", "an empty program", memory["commit"], memory["empty"], "MB", 1.5)
    yield Row("/Commit, start to exit under Wine", asks, commit.wall, folder.wall, "ms")
    yield Row("/Commit, processor time", asks, commit.processor, folder.processor, "ms")
    yield Row("/Commit, most memory", asks, memory["commit"], memory["folder"], "MB")
    yield Row("asking where the log belongs, start to exit", "an empty program", folder.wall, empty.wall, "ms")
    yield from setup_and_removal(rounds, empty.wall)


def setup_and_removal(rounds, empty):
    """Runs that wait: a set-up, and the removal of its installation."""
    actions = ("/Setup", "/Uninstall")
    walls = {action: [] for action in actions}
    for _ in range(rounds):
        with Machine(DEFAULT_MACHINE) as machine:
            for action in actions:
                walls[action].append(cost(machine.prefix, machine.program, action).wall)
    reports = (report for report, _ in rehearse_each(DEFAULT_MACHINE, *([action] for action in actions)))
    for action, report in zip(actions, reports):
        waits = report["clockMs"]
        yield Row(f"{action}, start to exit under Wine", f"its waits ({waits / 1000:.1f} s) and an empty program",
                  statistics.median(walls[action]), waits + empty, "ms", 1.5)


def calls():
    """How many Windows calls an action makes, and how many are left if equal calls are counted once."""
    for action in ("/Setup", "/Commit", "/Uninstall"):
        made = report_of(DEFAULT_MACHINE, "--", action)["calls"]
        different = {re.sub(r"#\d+", "", str([call["call"], call["in"], call["result"]])) for call in made}
        yield Row(f"{action}, calls made", "different calls among them", len(made), len(different), "")


def sizes():
    for image in (EXE, DLL, IMAGES / "KeloPackage.dll"):
        yield Row(f"{image.name}, size", "an empty program with texts and exceptions", image.stat().st_size / 1024,
                  EXCEPTION.stat().st_size / 1024, "KB")


def rows_of(output):
    """The rows that a benchmark wrote in nanoseconds, one a line."""
    for line in output.splitlines():
        name, floor_name, value, floor, limit = line.split("\t")
        is_time = not name.startswith("calls")
        scale, unit = (1000, "us") if is_time else (1, "")
        yield Row(name, floor_name, float(value) / scale, float(floor) / scale, unit,
                  None if limit == "-" else float(limit))


def native():
    yield from rows_of(subprocess.run([KELO_BENCH], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                                      check=True).stdout)


def lines_under_wine():
    with Prefix() as prefix:
        _, output = prefix.wine(LOG_LINES)
    yield from rows_of(output.decode())


def many(count):
    """Rehearsals on this many generated machines, two of a hundred of which would never end."""
    figures = many_machines.measure(count)
    tenth, half, whole = figures.moments
    each = whole.seconds * 1000 * figures.processors / whole.machines
    speed = whole.machines / whole.seconds
    name = f"/Setup on {count:,} machines, each and core"
    yield Row(name, "starting a process that does nothing", each, figures.start, "ms")
    yield Row(name, "kelo-rehearse started for each of them", each, figures.alone, "ms")
    yield Row("the same, machines a second", f"on each of {figures.processors} processors", speed, speed / figures.processors, "")
    yield Row("the second half of them", "the first half", whole.seconds - half.seconds, half.seconds, "s")
    yield Row("most memory of a process, all machines", "a tenth of them", whole.most_memory, tenth.most_memory, "MB")


def main():
    parser = argparse.ArgumentParser(prog="run bench",
                                     description="Runs the benchmarks and prints each figure, its floor and their ratio.")
    parser.add_argument("--rounds", type=int, default=USUAL_ROUNDS, metavar="N",
                        help=f"measure each run under Wine N times, {LEAST_ROUNDS} or more ({USUAL_ROUNDS})")
    parser.add_argument("--machines", type=int, default=USUAL_MACHINES, metavar="N",
                        help=f"machines that are rehearsed at once, {LEAST_MACHINES} or more ({USUAL_MACHINES})")
    parser.add_argument("--only-many", action="store_true", help="measure nothing but rehearsals on many machines")
    arguments = parser.parse_args()
    rounds = arguments.rounds
    if rounds < LEAST_ROUNDS:
        parser.error(f"--rounds: {LEAST_ROUNDS} or more")
    if arguments.machines < LEAST_MACHINES:
        parser.error(f"--machines: {LEAST_MACHINES} or more")
    print(f"{'what':<57} {'median':>9}   {'floor':<42} {'median':>9}    {'ratio':>8} {'limit':>6}")
    above = 0
    parts = [many(arguments.machines)]
    if not arguments.only_many:
        parts = [start_to_exit(rounds), lines_under_wine(), native(), calls(), sizes(), *parts]
    for part in parts:
        for row in part:
            print(row, flush=True)
            above += row.is_above_limit
    return 1 if above else 0


if __name__ == "__main__":
    with contextlib.suppress(KeyboardInterrupt):
        sys.exit(main())
