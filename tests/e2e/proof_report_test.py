"""./run proof-report, on reports that are written here: as a Windows would have to behave if winsim's predictions are
right, and changed in one place."""

import contextlib
import copy
import functools
import io
import json
import pathlib
import tempfile
import unittest
import zlib

import paths  # noqa: F401 (it lets the modules of proof/ be found)
from machines.descriptions import complete, merged, settled
from machines.parts import WINDOWS_10, blocked
from product import BLOCKED_COMMANDS

# In proof/.
import make_kit
import prediction
import proof_report
from report import AREAS, MOMENTS, RUNS, SWITCHES
from rows import DIFFERS, IN_PART, NOT_BY_KIT, OPEN, PROVED, ROWS

MACHINE = merged(WINDOWS_10, blocked(*BLOCKED_COMMANDS))
WINDOWS_11 = {"version": "10.0", "build": 22631, "servicePack": 0, "isServer": False}
TESTS = sorted({test for row in ROWS for test in row.tests})


def captured(machine):
    """What KeloDescribe would read of a simulated machine."""
    return {area: value for area, value in settled(machine).items() if area in AREAS}


@functools.cache
def lines_as_predicted():
    """The lines of a report in which everything is as predicted. They need the build, which the lister of tests does
    not have."""
    machine, choices = captured(complete(MACHINE)), None
    lines = [{"step": "begin", "time": "2030-01-02T03:04:05Z", "steps": 11, "form": 1, "kit": make_kit.identity(),
              "windows": WINDOWS_11},
             {"step": "tests", "results": [{"test": test, "result": "passed"} for test in TESTS], "leftOut": []},
             {"step": "capture", "moment": MOMENTS[0], "machine": machine}]
    for run in RUNS:
        outcome = prediction.predict(run, machine, choices, is_wines=False)
        choices = prediction.choices_of(outcome)
        machine = captured(outcome.machine)
        lines += [{"step": "installer", "switch": SWITCHES[run.mode], "package": run.package,
                   "properties": list(run.properties), "exitCode": outcome.status,
                   "actions": ["INSTALL", *dict.fromkeys(outcome.order)],
                   "log": [line for one in outcome.runs for line in one.log]},
                  {"step": "capture", "moment": run.after, "machine": machine}]
    return [*lines, {"step": "clean", "removed": []}, {"step": "end", "time": "2030-01-02T03:05:06Z", "lines": 13}]


INSTALLATION, INSTALLED = 3, 4  # the places of lines


def written(lines):
    """The bytes of a report."""
    texts = [json.dumps(line).encode() for line in lines]
    return b"".join(b"%08x %s\r\n" % (zlib.crc32(text), text) for text in texts)


class ProofReport(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.lines = copy.deepcopy(lines_as_predicted())
        self.file = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()), "report.txt")

    def read(self, *options, data=None):
        """Reads the report of this test. Returns the exit status, the standard output and the standard error."""
        self.file.write_bytes(written(self.lines) if data is None else data)
        output, errors = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(output), contextlib.redirect_stderr(errors):
            status = proof_report.main([str(self.file), *options])
        return status, output.getvalue(), errors.getvalue()

    def statuses(self):
        """The exit status, and the status of each row by its first words."""
        status, output, errors = self.read("--json")
        self.assertEqual(errors, "")
        return status, {row["what"]: row["status"] for row in json.loads(output)["rows"]}

    def changed(self, expected):
        """The statuses that are not those of a report in which everything is as predicted."""
        status, seen = self.statuses()
        self.assertEqual(status, 1)
        self.assertEqual({what: now for what, now in seen.items() if now != AS_PREDICTED[what]}, expected)

    def test_proves_its_rows_where_all_is_as_predicted(self):
        status, text, errors = self.read()
        self.assertEqual((status, errors), (0, ""), text)
        self.assertEqual(text.splitlines()[:2], ["Proof on Windows 10.0.22631",
                                                 "  7 ROWS PROVED, 4 IN PART; ALL IS AS PREDICTED"])
        self.assertNotIn("predicted  ", text)
        self.assertEqual(self.statuses(), (0, AS_PREDICTED))

    def test_wine_proves_no_row(self):
        self.lines[0]["windows"]["wine"] = "8.0"
        status, seen = self.statuses()
        self.assertEqual(status, 1)  # its rollback is another
        self.assertEqual(set(seen.values()), {OPEN, NOT_BY_KIT, DIFFERS})

    def test_a_windows_of_another_kind_proves_another_part(self):
        for windows, shown in (({"isServer": True}, "shown: server editions; not shown: 11, 5.2"),
                               ({"build": 19045}, "this Windows is none of them")):
            with self.subTest(windows):
                self.lines[0]["windows"] = {**WINDOWS_11, **windows}
                self.assertIn(shown, self.read()[1])

    def test_a_skipped_test_proves_nothing(self):
        place = TESTS.index("ControlService.FailsForAServiceThatARunningOneNeeds")
        self.lines[1]["results"][place] |= {"result": "skipped", "text": "not on this machine"}
        self.assertEqual(self.statuses()[1], {**AS_PREDICTED, "a stop while others depend on the service": OPEN})
        self.assertIn("was skipped: not on this machine", self.read()[1])

    def test_a_test_that_was_left_out_proves_nothing(self):
        self.lines[1]["results"] = [result for result in self.lines[1]["results"]
                                    if not result["test"].startswith("Links.")]
        self.lines[1]["leftOut"] = [{"tests": "Links.*", "reason": "no links here"}]
        self.assertEqual(self.statuses()[1], {**AS_PREDICTED,
                                              "links and hard links that a user made before a run": OPEN})
        self.assertIn("Links.AreOpenedThemselvesWithTheFlag was left out: no links here",
                      " ".join(self.read()[1].split()))

    def test_a_failed_test_is_shown_with_its_message(self):
        place = TESTS.index("Access.AFilesListDecidesWhoOpensIt")
        self.lines[1]["results"][place] |= {"result": "failed", "text": "Which is: 0|5u"}
        self.changed({"access lists of files and folders": DIFFERS})
        text = self.read()[1]
        self.assertIn("1 DIFFERENT; 1 FAILED TEST\n", text)
        self.assertIn("  Access.AFilesListDecidesWhoOpensIt\n      Which is: 0\n      5u\n", text)

    def test_another_line_of_the_log_is_shown_with_both_sides(self):
        log = self.lines[INSTALLATION]["log"]
        place = next(place for place, line in enumerate(log) if line.endswith("Detected TSS"))
        log[place] = log[place].replace("Detected TSS", "No TSS")
        self.changed({"services: states, configuration, waits": DIFFERS, "Windows versions": DIFFERS,
                      "the package in the installer": DIFFERS})
        self.assertRegex(self.read()[1], r"the installation: log: from line \d+ on\n"
                                         r"    predicted TZ\S+ Detected TSS\n    seen +TZ\S+ No TSS\n")

    def test_another_exit_code_action_and_machine_are_shown(self):
        self.lines[INSTALLATION]["exitCode"] = 1603
        self.lines[INSTALLATION]["actions"].remove("KeloCommit")
        self.lines[INSTALLED]["machine"]["services"]["KlPCR"]["start"] = "disabled"
        text = self.read()[1]
        self.assertIn("the installation: exit code: msiexec\n    predicted 0\n    seen      1603\n", text)
        self.assertIn("the installation: actions: the package's actions\n", text)
        self.assertIn('the installation: services: klpcr\n    predicted {"start": "auto"}\n    seen      {"start": '
                      '"disabled"}\n', text)

    def test_an_owner_counts_on_a_windows(self):
        files = self.lines[INSTALLED]["machine"]["files"]
        files["C:\\ProgramData\\Kelo Systems Corp\\Common\\policies"]["owner"] = "S-1-5-18"
        self.assertIn("files: c:\\programdata\\kelo systems corp\\common\\policies", self.read()[1])

    def test_a_step_that_was_not_carried_out_leaves_its_rows_open(self):
        self.lines[INSTALLED] = {"step": "capture", "error": "KeloDescribe ended with 5"}
        status, seen = self.statuses()
        self.assertEqual((status, seen["access lists of files and folders"], seen["a stop while others depend on the "
                                                                                  "service"]), (1, OPEN, PROVED))
        self.assertIn("capture: KeloDescribe ended with 5", self.read()[1])

    def test_a_report_without_most_steps_is_not_as_predicted(self):
        self.lines = [self.lines[0], {**self.lines[-1], "lines": 2}]
        status, text, _ = self.read()
        self.assertEqual(status, 1)
        self.assertIn("11 of 11 steps left no line", text)

    def test_a_program_of_another_build_is_named(self):
        self.lines[0]["kit"]["program"] = "0123456789abcdef"
        self.assertIn("0123456789abcdef, not that of this build", self.read()[1])

    # --- Files that are no reports ------------------------------------------------------------------------------------

    def refused(self, why, data=None):
        status, output, errors = self.read(data=data)
        self.assertEqual((status, output), (2, ""))
        self.assertRegex(errors, rf"\Arun: {self.file}: {why}\n\Z")

    def test_a_report_that_was_cut_off_is_refused_wherever_it_was(self):
        whole = written(self.lines)
        for end in (*range(0, len(whole) - 2, len(whole) // 40), len(whole) - 3):
            with self.subTest(end):
                self.refused("(not a report of the proof kit|the end is missing: .*|line [0-9]+ is .*)", whole[:end])

    def test_a_report_with_another_byte_is_refused(self):
        whole = written(self.lines)
        for place in range(5, len(whole) - 2, len(whole) // 40):
            with self.subTest(place):
                self.refused("line [0-9]+ is .*", whole[:place] + bytes([whole[place] ^ 1]) + whole[place + 1:])

    def test_a_missing_line_is_noticed(self):
        del self.lines[INSTALLED]
        self.refused("the end is missing: .*")

    def test_other_files_are_refused(self):
        for data in (b"", b"hello\n", bytes(range(256)), b"00000000 {}\n", written([{"step": "end"}])):
            with self.subTest(data[:20]):
                self.refused("(not a report of the proof kit|line 1.*)", data)
        status, _, errors = self.read()
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(proof_report.main([str(self.file) + ".none"]), 2)

    def test_hostile_lines_are_refused(self):
        for place, change in ((INSTALLED, {"machine": {"like": "/etc/passwd"}}), (INSTALLED, {"machine": []}),
                              (INSTALLED, {"moment": "../start"}), (INSTALLATION, {"package": "../../../x.msi"}),
                              (INSTALLATION, {"properties": ["TPM_VSC=$(x)"]}), (INSTALLATION, {"log": [1]}),
                              (INSTALLATION, {"exitCode": "0"}), (0, {"windows": {}}), (0, {"form": 2}),
                              (1, {"results": [{"test": "A.B", "result": "fine"}]}), (2, {"step": "shell"})):
            with self.subTest(change):
                self.lines = copy.deepcopy(lines_as_predicted())
                self.lines[place] |= change
                self.refused("(line [0-9]+.*|a report of the form 2.*)")

    def test_a_deeply_nested_line_is_refused(self):
        text = b'{"step": ' + b"[" * 200000 + b"]" * 200000 + b"}"
        self.refused("line 1 is damaged: no JSON", b"%08x %s\n" % (zlib.crc32(text), text))

    def test_a_machine_that_is_none_is_refused(self):
        self.lines[2]["machine"] = {"registry": {"HKLM": {"values": 5}}}
        self.refused("a captured machine cannot be rehearsed: .*")

    def test_texts_of_the_file_do_not_reach_the_terminal_as_they_are(self):
        self.lines[0]["time"] = "\x1b[2Jnow\r"
        self.lines[1]["results"][0] |= {"result": "failed", "text": "\x1b]0;title\x07"}
        text = self.read()[1]
        self.assertIn(r"\x1b[2Jnow\x0d", text)
        self.assertNotIn("\x1b", text)


# The statuses of the rows, by their first words, where all is as predicted on a Windows 11.
AS_PREDICTED = {
    "links and hard links that a user made before a run": PROVED,
    "the same made between two calls, and redirection trust": NOT_BY_KIT,
    "access lists of keys, and the way to them by ownership": PROVED,
    "access lists of files and folders": PROVED,
    "services: states, configuration, waits": PROVED,
    "a dependency that is missing or stopped at a start": PROVED,
    "a dependency that is starting, or fails to, at a start": PROVED,
    "a stop while others depend on the service": PROVED,
    "probe libraries, task library, device installer, service program": NOT_BY_KIT,
    "smart-card readers, CNG configuration, WMI of the TPM": IN_PART,
    "the event log's entry": IN_PART,
    "files in use, moves at the next start": NOT_BY_KIT,
    "Windows versions": IN_PART,
    "the package in the installer": IN_PART,
    "a TPM, and the toolkit at work": NOT_BY_KIT,
}
