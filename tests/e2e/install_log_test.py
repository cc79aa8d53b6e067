"""The install log as a file: the form of its lines, appending, and runs that cannot write it."""

import datetime
import unittest

from machines.numbers import READ_ONLY
from product import DATA, LOG, LOG_FOLDER
from runs.log_lines import parse
from runs.program import Machine
from runs.table import Table


def now():
    return datetime.datetime.now(datetime.timezone.utc).replace(tzinfo=None)


class InstallLog(Table, unittest.TestCase):
    def test_each_line_has_time_zone_and_thread(self):
        with Machine({}) as machine:
            start = now() - datetime.timedelta(milliseconds=50)
            lines = [parse(line) for line in machine.run("/Commit").log]
            end = now() + datetime.timedelta(milliseconds=50)
        self.assertGreater(len(lines), 3)
        times = [datetime.datetime.strptime(line["time"], "%Y/%m/%d %H:%M:%S.%f") for line in lines]
        self.assertEqual(times, sorted(times))
        self.assertTrue(start <= times[0] and times[-1] <= end, (start, times, end))
        self.assertEqual(len({(line["zone"], line["thread"]) for line in lines}), 1)

    def test_lines_end_as_on_windows(self):
        with Machine({}) as machine:
            machine.run("/Commit")
            content = machine.prefix.path(LOG).read_bytes()
        self.assertTrue(content.endswith(b"\r\n"))
        self.assertEqual(content.count(b"\n"), content.count(b"\r\n"))

    def test_two_runs_append(self):
        with Machine({}) as machine:
            first = machine.run("/Commit")
            second = machine.run("/Commit")
            content = machine.prefix.path(LOG).read_bytes().decode("cp1252").splitlines()
        self.assertEqual(content, first.log + second.log)
        self.assertEqual(first.messages, second.messages)

    ROWS = {
        "folder_that_cannot_be_made_leaves_no_log": (DATA, {"text": "a file"}),
        "folder_that_is_a_file_leaves_no_log": (LOG_FOLDER, {"text": "a file"}),
        "read_only_file_stays_as_it_is": (LOG, {"text": "an old line\r\n", "attributes": READ_ONLY}),
    }

    def row(self, path, file):
        """A run with a file in the way leaves it as it is, and no log."""
        with Machine({"files": {path: file}}) as machine:
            run = machine.run("/Commit")
            self.assertEqual(machine.content(path), file["text"].encode())
        self.assertEqual((run.log, run.exit_code, run.stdout), ([], 0, "Done!"))
