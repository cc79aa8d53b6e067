"""Measures rehearsals on many machines: speed, whether it stays the same, and memory."""

import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time
import typing

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests" / "many"))
from generated_machines import lines  # noqa: E402 (after the folder that it is in)
from rehearsing import PROGRAM, children  # noqa: E402

STARTS = 200
ALONE = 50


class Moment(typing.NamedTuple):
    """How far the rehearsals are."""

    machines: int
    seconds: float
    most_memory: float  # MB, of the largest of the processes


class Figures(typing.NamedTuple):
    processors: int
    moments: list[Moment]  # after a tenth, half and all of the machines
    start: float  # ms, of a process that does nothing
    alone: float  # ms, of kelo-rehearse with a single one of the machines


def most_memory(process):
    """The peak memory of a process or any of its children, in MB."""
    peaks = []
    for number in (process, *children(process)):
        try:
            status = pathlib.Path(f"/proc/{number}/status").read_text("ascii")
        except OSError:  # it has just ended
            continue
        peaks += [int(found) / 1024 for found in re.findall(r"^VmHWM:\s+(\d+) kB$", status, re.MULTILINE)]
    return max(peaks, default=0.0)


def rehearsed(path, count):
    """The moments of a run with the descriptions in a file."""
    wanted = [count // 10, count // 2, count]
    moments = []
    with path.open("rb") as given, subprocess.Popen([PROGRAM, "-", "--", "/Setup"], cwd=ROOT, stdin=given, stdout=subprocess.PIPE,
                                                    stderr=subprocess.DEVNULL) as process:
        begin, seen = time.monotonic(), 0
        memory = 0.0
        while piece := os.read(process.stdout.fileno(), 1 << 20):
            seen += piece.count(b"\n")
            if wanted and seen >= wanted[0]:
                wanted.pop(0)
                memory = most_memory(process.pid) if wanted else memory
                moments.append(Moment(seen, time.monotonic() - begin, memory))
            elif wanted == [count] and seen >= count * 0.95:
                memory = most_memory(process.pid)
    if seen != count or process.returncode != 0:
        raise RuntimeError(f"{seen} of {count} lines, exit status {process.returncode}")
    return moments


def milliseconds(*command):
    """How long a command takes, without the end of the process that waits for it."""
    begin = time.monotonic()
    process = os.posix_spawn(command[0], command, os.environ,
                             file_actions=[(os.POSIX_SPAWN_OPEN, number, "/dev/null", os.O_RDWR, 0) for number in (1, 2)])
    os.waitpid(process, 0)
    return (time.monotonic() - begin) * 1000


def measure(count):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        path = folder / "machines.jsonl"
        with path.open("w", encoding="ascii") as file:
            for line in lines(count):
                file.write(line + "\n")
        moments = rehearsed(path, count)
        alone = []
        (folder / "machines").symlink_to(ROOT / "machines")
        for number, line in enumerate(lines(ALONE)):
            one = folder / f"{number}.json"
            one.write_text(line, "ascii")
            alone.append(milliseconds(str(PROGRAM), "--jobs=1", str(one), "--", "/Setup"))
    start = statistics.median(milliseconds("/bin/true") for _ in range(STARTS))
    return Figures(len(os.sched_getaffinity(0)), moments, start, statistics.fmean(alone))
