"""KeloDescribe under Wine: it changes nothing, says what it could not read, and needs no hints. machines_test holds what
it captures against the descriptions of all machines."""

import hashlib
import re
import unittest

from machines.cases import CASES
from machines.descriptions import merged
from machines.parts import USABLE, WINDOWS_10
from product import PROGRAM, TASK_LIBRARY, TOOLKIT, probe
from reading import capture, services
from runs.program import Machine
from standins.names import FOLDER
from wine import machine_tool

# What the tests and stand-ins keep for themselves, and what Wine writes at any time.
PASSED_OVER = re.compile(re.escape(FOLDER) + r"(\\|$)|C:\\users\\|.*\.reg$", re.IGNORECASE)


def whole(prefix):
    """All that can be seen of a prefix: files with content and times, the registry, services and their states."""
    files = {}
    for drive in prefix.drives():
        root = prefix.path(drive + "\\")
        for place in sorted(root.rglob("*")):
            path = drive + "\\" + str(place.relative_to(root)).replace("/", "\\")
            if not PASSED_OVER.match(path):
                status = place.lstat()
                # Reading a file changes its time of access, as anywhere. Prefixes share files by further names.
                files[path] = (status.st_mode, status.st_uid, status.st_mtime_ns,
                               hashlib.sha256(place.read_bytes()).hexdigest() if place.is_file() else None)
    keys = {root: prefix.export_registry(root) for root in ("HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER", "HKEY_USERS")}
    [states] = machine_tool.ask(prefix, [services.LISTING])
    return files, keys, states


class KeloDescribe(unittest.TestCase):
    maxDiff = None

    def machine(self, description):
        return self.enterContext(Machine(description))

    def test_changes_nothing(self):
        for name in ("the other stack is usable", "the toolkit's service from an earlier installation"):
            with self.subTest(name):
                machine = self.machine(CASES[name].description)
                machine.captured()  # Wine makes keys of its own for the first program that asks for readers
                files, keys, states = whole(machine.prefix)
                machine.captured()
                files_after, keys_after, states_after = whole(machine.prefix)
                self.assertEqual({path: (files.get(path), files_after.get(path)) for path in files.keys() | files_after
                                  if files.get(path) != files_after.get(path)}, {})
                for root, text in keys.items():
                    self.assertEqual(set(text.splitlines()) ^ set(keys_after[root].splitlines()), set(), root)
                self.assertEqual(states_after, states)

    def test_says_in_the_file_and_in_its_last_line_what_was_not_read(self):
        machine = self.machine(merged(USABLE, WINDOWS_10))
        description, last_line = capture.capture(machine.prefix)
        places = [note.partition(": ")[0] for note in description["notes"]]
        self.assertLessEqual({f"libraries.{probe('KELO')}", f"libraries.{probe('NTRU12')}",
                              rf"libraries.{TOOLKIT}\{TASK_LIBRARY}"}, set(places))
        self.assertEqual(last_line, capture.CAPTURED + " describes this machine. Not read (see \"notes\" in it): "
                         + ", ".join(places))

    def test_asks_the_detection_libraries_only_when_told_to(self):
        machine = self.machine(USABLE)
        answers = []
        for options in ((), ("--probe",)):
            description, _ = capture.capture(machine.prefix, *options)
            answers.append(description["libraries"][probe("KELO")]["exports"]["isEnabled"])
        self.assertEqual(answers, [0, 1])

    def test_finds_the_program_by_the_registry(self):
        machine = self.machine(USABLE)
        self.assertEqual(capture.capture(machine.prefix)[0]["process"]["path"].lower(), PROGRAM.lower())

    def test_tells_no_name_of_another_program_or_user(self):
        machine = self.machine(merged(USABLE, {"processes": [{"name": "secret.exe"}]}))
        description, _ = capture.capture(machine.prefix)
        self.assertNotIn("secret", str(description))
        self.assertEqual({process["name"] for process in description["processes"] if "name" in process}, {"other.exe"})
        sids = set(re.findall(r"S-1-5-21-[\d-]+", str(description)))
        self.assertEqual({sid for sid in sids if not sid.startswith("S-1-5-21-0-0-1-")}, set())
        self.assertNotIn("Users", description["environment"].keys())
