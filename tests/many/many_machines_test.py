"""Proves what kelo-rehearse prints for many machines: a whole line for each, in order, whatever comes of it, and the table
of outcomes."""

import json
import os
import pty
import re
import signal
import subprocess
import time
import unittest

from generated_machines import ENDLESS, lines
from rehearsing import PROGRAM, ROOT, InFolder, children, ending, rehearse

LONGEST = 16 * 1024 * 1024


def line(file="-", number=None, title="A plain Windows 10 machine", status="succeeded", **others):
    """The line of a plain machine on which /Commit succeeds, or with other values."""
    usual = {"arguments": ["/Commit"], "export": None, "exitCode": 0, "status": status, "stack": None, "lastStep": "end",
             "firstFailedCall": None, "result": "SUCCEEDED", "changes": 8, "digest": "0fb791fe09c6fa48"}
    return {"file": file, "line": number, "title": title, **usual, **others}


def without(file, number, status, result, title=None, arguments=("/Commit",)):
    """The line of a machine without a rehearsal."""
    nothing = {key: None for key in ("exitCode", "stack", "lastStep", "firstFailedCall", "changes", "digest")}
    return line(file, number, title, status, **{**nothing, "result": result, "arguments": list(arguments)})


class Descriptions(InFolder):
    maxDiff = None

    def test_a_folder_gives_a_line_for_each_description_by_name_and_the_table(self):
        self.write(b={}, a__z={"title": "in a folder"}, a__machine__schema={}, c="nonsense")
        (self.folder / "a/machine/schema.json").rename(self.folder / "a/machine.schema.json")
        (self.folder / "readme.txt").write_text("no description")
        run = rehearse(self.folder, "--", "/Commit")
        failure = (f"{self.folder}/c.json: not JSON: line 1, column 2: syntax error while parsing value - invalid literal; "
                   "last read: 'no'")
        self.assertEqual([line(f"{self.folder}/a/z.json", title="in a folder"), line(f"{self.folder}/b.json"),
                          without(f"{self.folder}/c.json", None, "unreadable", failure)], run.lines())
        self.assertEqual(" machines  status       first failure in        example\n"
                         f"        2  succeeded    -                       {self.folder}/a/z.json\n"
                         f"{' ' * 48}SUCCEEDED\n"
                         f"        1  unreadable   -                       {self.folder}/c.json\n"
                         f"{' ' * 48}{failure}\n"
                         "3 machines: 2 succeeded, 1 unreadable\n", run.errors)
        self.assertEqual(0, run.status)

    def test_files_folders_and_lines_come_in_the_order_of_the_command_line(self):
        self.write(b={}, a__z={})
        run = rehearse("-", f"{self.folder}/b.json", f"{self.folder}/a", "--", "/Commit", lines=["{}"])
        self.assertEqual([line("-", 1), line(f"{self.folder}/b.json"), line(f"{self.folder}/a/z.json")], run.lines())

    def test_a_file_or_folder_that_cannot_be_read_is_a_line(self):
        (self.folder / "empty").mkdir()
        run = rehearse(f"{self.folder}/none.json", f"{self.folder}/empty", "--", "/Commit")
        name = f"{self.folder}/none.json"
        self.assertEqual([without(name, None, "unreadable", f"{name}: cannot be read")], run.lines())
        self.assertEqual(0, run.status)

    def test_a_single_description_gives_a_line_if_an_option_asks_for_it(self):
        self.write(a={})
        self.assertEqual([line(f"{self.folder}/a.json")], rehearse("--jobs=1", f"{self.folder}/a.json", "--", "/Commit").lines())

    def test_lines_are_numbered_and_blank_ones_left_out(self):
        run = rehearse("-", "--first-line=101", "--", "/Commit", lines=["{}", "", " \t", '{"title": "last"}'])
        self.assertEqual([line("-", 101), line("-", 104, title="last")], run.lines())

    def test_a_line_without_an_end_counts_and_no_line_gives_nothing(self):
        done = subprocess.run([PROGRAM, "-", "--", "/Commit"], input=b"{}", capture_output=True, check=True)
        self.assertEqual([line("-", 1)], [json.loads(done.stdout)])
        self.assertEqual(("", "0 machines\n", 0), rehearse("-", lines=[]))

    def test_a_line_that_is_too_long_is_skipped_as_a_whole(self):
        fits = json.dumps({"title": "x" * 600}).ljust(LONGEST)
        run = rehearse("-", "--", "/Commit", lines=[fits, fits + " ", "{}", "9" * (2 * LONGEST)])
        too_long = [without("-", number, "unreadable", f"-:{number}: the line is longer than {LONGEST} bytes")
                    for number in (2, 4)]
        self.assertEqual([line("-", 1, title="x" * 500 + "..."), too_long[0], line("-", 3), too_long[1]], run.lines())

    def test_a_line_may_be_like_a_file_below_the_current_folder(self):
        alike = rehearse("-", "--", "/Setup", lines=['{"like": "machines/windows-7-toolkit.json"}']).lines()
        file = rehearse("--jobs=1", "machines/windows-7-toolkit.json", "--", "/Setup").lines()
        self.assertEqual([{**file[0], "file": "-", "line": 1}], alike)

    def test_options_of_a_single_machine_are_refused(self):
        for option in ("--json", "--trace", "--verbose", "--save=/tmp/x", "--seen=/tmp/x"):
            name = option.split("=")[0]
            self.assertEqual(("", f"kelo-rehearse: {name} is for a single machine (--help tells more)\n", 2),
                             rehearse("machines", option))


class Outcomes(InFolder):
    def test_the_first_failure_is_told_by_its_call_and_step(self):
        run = rehearse("--jobs=1", "--fault=StartServiceW=1068", "machines/windows-7-toolkit.json", "--", "/Setup")
        self.assertEqual([line("machines/windows-7-toolkit.json", None, status="incomplete", arguments=["/Setup"], stack="KELO",
                               title="Windows 7 with the toolkit's files and a TCG software stack in place",
                               firstFailedCall={"call": "StartServiceW", "error": 1068, "step": "toolkit service"},
                               result="ENDED WITH 0, BUT NOT ALL IS DONE: 1 failure", changes=19, digest="84aad154f3ce55b4")],
                         run.lines())

    def test_a_failure_without_a_line_is_told_by_its_call(self):
        run = rehearse("-", "--fault=RegCreateKeyExA=5", "--", "/Commit", lines=["{}"])
        self.assertEqual([line("-", 1, status="failed", exitCode=-1, result="FAILED: it ended with -1",
                               firstFailedCall={"call": "RegCreateKeyExA", "error": 5, "step": "provider defaults"},
                               changes=4, digest="7519e5492a7ad701")], run.lines())

    def test_an_export_has_no_arguments(self):
        run = rehearse("--jobs=1", "--export=SRK_Auth_Change", "machines/srk-upgrade.json")
        told = run.lines()[0]
        self.assertEqual(([], "SRK_Auth_Change", 0), (told["arguments"], told["export"], told["exitCode"]))

    def test_passwords_are_stars(self):
        run = rehearse("-", "--", "/Commit", "/PASSWORD=secret", lines=['{"title": "/PASSWORD=secret"}'])
        self.assertNotIn("secret", run.output + run.errors)
        self.assertIn("/PASSWORD=*", run.output)

    def test_a_machine_on_which_the_program_waits_for_ever_is_a_line(self):
        run = rehearse("-", "--", "/Setup", lines=[json.dumps(ENDLESS)])
        self.assertEqual([line("-", 1, status="endless", exitCode=None, arguments=["/Setup"], lastStep="command unblocking",
                               result="NO RESULT: the program would wait for ever; it was ended after 1200.250 s, waiting for "
                                      "the service to change its state", changes=7, digest="7066b612e7dc2d67")], run.lines())

    def test_a_program_that_dies_does_no_harm_to_the_next(self):
        program = self.ending_program()
        ways = {"abort": "abort", "write nowhere": "access violation", "return": None, "too deep": "access violation",
                "divide by zero": "division by zero"}
        run = rehearse("-", "--jobs=1", program=program, lines=[ending(way) for way in ways])
        told = [(one["status"], one["result"]) for one in run.lines()]
        self.assertEqual([("died", f"NO RESULT: the program died: {reason}") if reason else ("failed", "FAILED: it ended with 1")
                          for reason in ways.values()], told)

    def test_a_program_that_computes_for_ever_is_given_up(self):
        run = rehearse("-", "--jobs=1", "--limit=1", program=self.ending_program(), lines=[ending("loop"), ending("abort")])
        self.assertEqual(without("-", 1, "timeout", "the rehearsal took longer than 1 s", arguments=()), run.lines()[0])
        self.assertEqual("died", run.lines()[1]["status"])

    def test_a_rehearsal_that_crashes_is_tried_again_and_then_a_line(self):
        run = rehearse("-", "--jobs=1", program=self.ending_program(), lines=[ending("kill the host's process"), ending("abort")])
        self.assertEqual(without("-", 1, "crashed", "the rehearsal ended twice by signal 9", arguments=()), run.lines()[0])
        self.assertEqual("died", run.lines()[1]["status"])

    def test_a_description_of_any_depth_is_a_line(self):
        depth = 200000
        run = rehearse("-", "--", "/Commit", lines=['{"registry": ' + '{"a": ' * depth + "1" + "}" * depth + "}", "{}"])
        self.assertEqual([("unreadable", 1), ("succeeded", 2)], [(one["status"], one["line"]) for one in run.lines()])

    def test_a_machine_that_takes_too_much_memory_is_a_line(self):
        run = rehearse("/dev/zero", "-", "--limit=250", "--", "/Commit", lines=["{}"])
        reason = "it takes more memory than one machine may have"
        self.assertEqual([without("/dev/zero", None, "unreadable", reason), line("-", 1)], run.lines())


class Many(unittest.TestCase):
    COUNT = 120
    LINES = list(lines(COUNT, endless=0.1))

    def started(self):
        process = subprocess.Popen([PROGRAM, "-", "--jobs=2", "--", "/Setup"], cwd=ROOT, stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        process.kill()
        process.wait()
        for stream in (process.stdin, process.stdout, process.stderr):
            stream.close()

    def test_the_number_of_jobs_changes_nothing(self):
        runs = [rehearse("-", f"--jobs={jobs}", "--", "/Setup", lines=self.LINES) for jobs in (1, 2, 7)]
        self.assertEqual(list(range(1, self.COUNT + 1)), [one["line"] for one in runs[0].lines()])
        self.assertEqual({"endless", "succeeded", "failed", "warnings"}, {one["status"] for one in runs[0].lines()})
        self.assertEqual(runs[0], runs[1])
        self.assertEqual(runs[0], runs[2])

    def test_a_worker_that_is_killed_changes_nothing(self):
        expected = rehearse("-", "--", "/Setup", lines=self.LINES)
        process = self.started()
        output = []
        for given in self.LINES[:40]:
            process.stdin.write(given + "\n")
        process.stdin.flush()
        for _ in range(20):
            output.append(process.stdout.readline())
        killed = children(process.pid)
        self.assertTrue(killed)
        os.kill(killed[0], signal.SIGKILL)
        process.stdin.write("".join(given + "\n" for given in self.LINES[40:]))
        process.stdin.close()
        output.append(process.stdout.read())
        self.assertEqual(expected, ("".join(output), process.stderr.read(), process.wait()))

    def test_all_workers_that_are_killed_while_idle_change_nothing(self):
        process = self.started()
        answers = []
        for given in self.LINES[:4]:
            process.stdin.write(given + "\n")
            process.stdin.flush()
            # The answer comes while standard input is still open.
            answers.append(process.stdout.readline())
            for worker in children(process.pid):
                os.kill(worker, signal.SIGKILL)
        process.stdin.close()
        self.assertEqual(rehearse("-", "--", "/Setup", lines=self.LINES[:4]).output, "".join(answers) + process.stdout.read())

    def test_workers_end_with_the_program(self):
        process = self.started()
        process.stdin.write("".join(given + "\n" for given in self.LINES[:2]))
        process.stdin.flush()
        process.stdout.readline()
        workers = children(process.pid)
        process.kill()
        process.wait()
        for _ in range(100):
            alive = [worker for worker in workers if os.path.exists(f"/proc/{worker}")]
            if not alive:
                break
            time.sleep(0.1)
        self.assertTrue(workers)
        self.assertEqual([], alive)

    def test_a_terminal_shows_the_progress_and_then_the_table(self):
        main, terminal = pty.openpty()
        with subprocess.Popen([PROGRAM, "-", "--", "/Setup"], cwd=ROOT, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                              stderr=terminal) as process:
            os.close(terminal)
            process.stdin.write("".join(given + "\n" for given in self.LINES).encode())
            process.stdin.close()
            shown = b""
            try:
                while piece := os.read(main, 4096):
                    shown += piece
            except OSError:  # the other end is closed
                pass
        os.close(main)
        progress = r"\r\033\[K\d+ machines?, \d+ a second: [^\r\n]{1,60}"
        self.assertRegex(shown.decode(), re.compile(rf"\A({progress})+\r\033\[K machines  status"))
        self.assertTrue(shown.decode().count("\033[K") > 1)


if __name__ == "__main__":
    unittest.main()
