"""Proves that the examples of docs/many_machines.md lose no line when one of two workers is killed while it works."""

import contextlib
import os
import pathlib
import re
import signal
import subprocess
import time

from generated_machines import lines
from rehearsing import PROGRAM, ROOT, InFolder, children, rehearse

DOCUMENT = (ROOT / "docs" / "many_machines.md").read_text("utf-8")
COUNT = 200
BLOCK = 20  # instead of the document's 1000
WAIT_SECONDS = 100


def example(language, beginning):
    """The example in this language that begins so, with smaller blocks."""
    found = [text for text in re.findall(rf"^```{language}\n(.*?)^```$", DOCUMENT, re.MULTILINE | re.DOTALL)
             if text.startswith(beginning)]
    assert len(found) == 1, (language, beginning)
    return found[0].replace("1000", str(BLOCK))


def descendants(process):
    for child in children(process):
        yield child
        yield from descendants(child)


def waited(condition):
    """The first result of a condition that holds."""
    for _ in range(WAIT_SECONDS * 50):
        if result := condition():
            return result
        time.sleep(0.02)
    raise AssertionError("waited in vain")


def name_of(process):
    with contextlib.suppress(FileNotFoundError, ProcessLookupError):
        return pathlib.Path(f"/proc/{process}/comm").read_text("ascii").strip()
    return ""


class Engines(InFolder):
    def setUp(self):
        super().setUp()
        machines = list(lines(COUNT))
        self.expected = rehearse("-", "--", "/Setup", lines=machines).output
        # What descriptions are like begins at the folder of the example.
        (self.folder / "machines").symlink_to(ROOT / "machines")
        (self.folder / "machines.jsonl").write_text("".join(line + "\n" for line in machines), "utf-8")
        self.environment = {**os.environ, "PATH": f"{PROGRAM.parent}:{os.environ['PATH']}"}

    def started(self, command, **options):
        process = subprocess.Popen(command, cwd=self.folder, env=self.environment, start_new_session=True, **options)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.communicate()

    def output(self):
        path = self.folder / "lines.jsonl"
        return path.read_text("utf-8") if path.exists() else ""

    def test_parallel(self):
        command = example("sh", "parallel ")
        self.assertEqual(1, command.count("--pipe"))
        process = self.started(["bash", "-c", command.replace("--pipe", "--pipe --jobs 2")])

        def one_of_two_is_killed():
            # Those whose parent is the shell that parallel started, and not another of their kind.
            workers = [one for one in descendants(process.pid) if name_of(one) == PROGRAM.name and children(one)]
            if self.output() and len(workers) == 2:
                with contextlib.suppress(ProcessLookupError):  # it may just have ended
                    os.kill(workers[0], signal.SIGKILL)
                    return True
            return False

        waited(one_of_two_is_killed)
        self.assertEqual(0, process.wait())
        self.assertEqual(self.expected, self.output())

    def test_dask(self):
        (self.folder / "rehearse_on_dask.py").write_text(example("python", "import collections"), "utf-8")
        commands = example("sh", "dask-scheduler").splitlines()
        log = self.folder / "scheduler.log"
        with log.open("wb") as file:
            self.started(["bash", "-c", "exec " + commands[0].rstrip("& ").replace("8786", "0")], stderr=file)
        address = waited(lambda: re.search(r"Scheduler at: +(tcp://\S+)", log.read_text("utf-8")))[1]
        workers = [self.started(["bash", "-c", "exec " + command.rstrip("& ").replace("tcp://127.0.0.1:8786", address)],
                                stderr=subprocess.DEVNULL) for command in commands[1:]]
        self.assertEqual(2, len(workers))
        program = f"/usr/bin/python3 rehearse_on_dask.py {address} /Setup < machines.jsonl > lines.jsonl"
        client = self.started(["bash", "-c", program], stderr=subprocess.DEVNULL)
        waited(lambda: all(PROGRAM.name in map(name_of, descendants(worker.pid)) for worker in workers))
        self.assertLess(len(self.output().splitlines()), COUNT)
        os.killpg(workers[0].pid, signal.SIGKILL)
        self.assertEqual(0, client.wait())
        self.assertEqual(self.expected, self.output())
