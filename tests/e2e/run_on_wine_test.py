"""./run --wine reports a run of the real program as kelo-rehearse reports a rehearsal: the same report except for times
and Wine's own differences."""

import re
import subprocess
import tempfile
import unittest

from machines.registry_values import described_value, typed_bytes
from paths import ROOT
from runs.rehearsal import REHEARSE

# How a prefix differs from a machine: owners, lists that are not handed down, and what images are.
WINES_OWN = {
    "owner": r"      owner  .*\n",
    "access lists": r"(      access( was| now)?  .*\n)(                  .*\n)*",
    "libraries' sizes and images": r"  \((a library|[\d,]+ bytes?|0\s+bytes)\)",
}
TIMES = re.compile(r"[+-]\d+\.\d{3}|\d+\.\d{3} s|PID: +\d+ +TID: +\d+|PID: +\d+|PID:|TID: +\d+| times in.*")


def on_wine(*words):
    done = subprocess.run([ROOT / "run", "--wine", *words], capture_output=True, text=True, check=False, cwd=ROOT)
    return done.stdout[done.stdout.index("Run: "):], done.returncode


def rehearsed(machine, *words):
    done = subprocess.run([REHEARSE, machine, "--", *words], capture_output=True, text=True, check=False, cwd=ROOT)
    return done.stdout, done.returncode


def section(report, title):
    return re.search(rf"^{title}.*?(?=^\S|\Z)", report, re.MULTILINE | re.DOTALL)[0]


def changes(report):
    """The changes without Wine's own differences, each on one line."""
    text = section(report, "Changes on the machine")
    for pattern in WINES_OWN.values():
        text = re.sub(pattern, "\n" if pattern.endswith("\n") else "", text)
    lines = re.sub(r"\n {14,}", " ", text).splitlines()
    return sorted(" ".join(line.lower().split()) for line in lines if line.strip())


def log(report):
    """The log's lines without times and without the count of looks in a wait, which depends on the real clock."""
    lines = TIMES.sub("", section(report, "Log")).splitlines()
    return [" ".join(line.split()) for line in lines if line.strip() and not line.strip().isdecimal()]


class View(unittest.TestCase):
    maxDiff = None

    def check(self, machine, *words):
        seen, status = on_wine("--machine", machine, *words)
        predicted, predicted_status = rehearsed(machine, *words)
        self.assertEqual(status, predicted_status)
        self.assertEqual(seen.splitlines()[:2], predicted.splitlines()[:2])
        self.assertEqual(changes(seen), changes(predicted))
        self.assertEqual(log(seen.replace(r"C:\windows", r"C:\Windows")), log(predicted))
        return seen

    def test_of_a_setup(self):
        seen = self.check("machines/windows-7-toolkit.json", "/Setup", "/TSS_VENDOR=KELO")
        self.assertIn("""
    HKLM\\SOFTWARE\\Microsoft\\Tpm\\BlockedCommands\\List
      removed     125, 13, 16, 200, 20, 22, 62
""", seen)
        self.assertRegex(seen, r"\n +allow +Administrators +GENERIC_ALL +and its subkeys\n")
        self.assertRegex(seen, r"\n  Under +wine-")

    def test_of_a_commit(self):
        self.check("machines/windows-10-toolkit.json", "/Commit")

    def test_of_a_removal(self):
        self.check("machines/windows-7-installed.json", "/Uninstall")

    def test_of_a_run_that_would_not_end(self):
        seen, status = on_wine("--machine", "tests/unit/rehearse/reports/hang.json", "/Setup")
        self.assertEqual(status, 3)
        self.assertIn("NO RESULT: the program would wait for ever", seen)

    def test_of_a_bad_description_or_option(self):
        with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
            file.write("{}x")
            file.flush()
            for words in (("--machine", file.name), ("--machine", "none.json"), ("--json",)):
                done = subprocess.run([ROOT / "run", "--wine", *words], capture_output=True, text=True, check=False)
                self.assertEqual((done.returncode, done.stderr.splitlines()[-1][:5]), (2, "run: "), words)


class RegistryValues(unittest.TestCase):
    """A value that was read is told as a description has it."""

    def test_of_each_type(self):
        for value in (5, "text", {"type": "REG_EXPAND_SZ", "text": "%windir%"}, {"type": "REG_BINARY", "hex": "00ff"},
                      {"type": "REG_MULTI_SZ", "text": "one\0two"}, {"type": "REG_QWORD", "number": 1 << 40},
                      {"type": "REG_NONE", "hex": ""}, {"type": 17, "hex": "01"}):
            self.assertEqual(described_value(*typed_bytes(value)), value)
