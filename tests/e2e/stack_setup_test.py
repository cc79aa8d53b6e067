"""The set-up of the TCG software stack with real detection libraries, services and a real service program: log and
machine are as predicted, and a removal takes it back."""

from machines.descriptions import as_on_wine, merged
from machines.parts import SLOW, WINDOWS_7, blocked, shims, toolkit_service
from product import (BLOCKED_COMMANDS, INCORRECT_TPM, KELO_STACK, NTRU_FOLDER, NTRU_STACK, PROBE_LIBRARY, SERVICE, SHIM,
                     SYSTEM, SYSTEM_PROBE, TOOLKIT, TSP1, TSP1_BACKUP, TSPI, TSPI_BACKUP, USABLE_ANSWERS, VENDORS,
                     probe)
from reading import services
from reading.notes import notes_of_probe
from runs.log_lines import WAIT, messages
from runs.prediction import PredictedRuns
from runs.rehearsal import report_of
from setup.libraries import handles

KELO_PROBE, NTRU_PROBE = map(probe, VENDORS)
FUNCTIONS = tuple(USABLE_ANSWERS)
LOADED, FREED, ENDED = "loaded with error mode 32769", "freed", "error mode 0"  # what a detection library notes
USABLE = USABLE_ANSWERS
ABSENT = {**USABLE, "DetectTSS": 2}

# Lengths of the toolkit's folder: with "KELO\\stkprobe.dll" after it, a path has at most 239 characters.
LONGEST_FOR_KELO = 239 - len(rf"KELO\{PROBE_LIBRARY}")
SHORTEST_TOO_LONG = LONGEST_FOR_KELO + 1

TBS = {"state": "running", **SLOW}
KELO_SERVICE = {"state": "running", "binaryPath": r'"C:\Program Files\Kelo TSS\tcsd_x86.exe"', **SLOW}
NTRU_SERVICE = {"state": "running", "binaryPath": rf'"{NTRU_FOLDER}\tcsd_win32.exe"', **SLOW}
AT_ONCE = {"onStart": {"states": [{"state": "running"}]}, "onStop": {"states": [{"state": "stopped"}]}}


def toolkit(kelo=ABSENT, ntru=ABSENT, **members):
    """A machine with the toolkit's files, whose detection libraries answer so; None for one without."""
    libraries = {path: {"exports": exports} for path, exports in ((KELO_PROBE, kelo), (NTRU_PROBE, ntru))
                 if exports is not None}
    return merged(shims(), toolkit_service(**AT_ONCE), blocked(*BLOCKED_COMMANDS, 99), {"libraries": libraries},
                  members)


def once_per_wait(log):
    """The messages without repeated ones of waits, whose number depends on the real clock."""
    told = messages(log)
    return [message for i, message in enumerate(told) if i == 0 or message != told[i - 1] or not WAIT.match(message)]


class StackSetup(PredictedRuns):
    def check(self, description, *runs):
        """Each run logs, ends and leaves the machine as predicted. Returns the machine and the messages of all runs."""
        machine = self.enter(description)
        return machine, self.check_runs(machine, description, *runs)

    def check_runs(self, machine, description, *runs):
        told = []
        for report, seen in self.check_each(machine, as_on_wine(description), runs):
            self.assertEqual(once_per_wait(seen.log), once_per_wait(report["log"]))
            told += seen.messages
        return told


class UsableStack(StackSetup):
    def test_kelo(self):
        machine, messages = self.check(toolkit(kelo=USABLE, **WINDOWS_7,
                                               services={KELO_STACK: KELO_SERVICE, "TBS": TBS}),
                                       ["/Setup"], ["/Uninstall"])
        self.assertIn("Commands blocked on Vista+", messages)
        self.assertNotIn("Remove old Tsp1_x64.dll", messages)
        self.assertEqual(machine.content(SYSTEM_PROBE), machine.content(KELO_PROBE))
        self.assertEqual(notes_of_probe(machine.prefix, KELO_PROBE), ([LOADED, *FUNCTIONS, FREED], [ENDED]))
        self.assertEqual(notes_of_probe(machine.prefix, NTRU_PROBE), ([], []))

    def test_ntru(self):
        machine, messages = self.check(toolkit(ntru=USABLE, **WINDOWS_7,
                                               services={NTRU_STACK: NTRU_SERVICE, "TBS": TBS}),
                                       ["/Setup", "/TSS_VENDOR=NTRU12"], ["/Uninstall"])
        self.assertIn("NTRU TSS service restarted", messages)
        self.assertIn(f"{NTRU_STACK} has been sucessfully started", messages)
        self.assertEqual(machine.content(SYSTEM_PROBE), machine.content(NTRU_PROBE))
        self.assertEqual(notes_of_probe(machine.prefix, NTRU_PROBE)[0], [LOADED, *FUNCTIONS, FREED])

    def test_kelo_comes_before_ntru_whatever_was_asked_for(self):
        services_there = {KELO_STACK: KELO_SERVICE, NTRU_STACK: NTRU_SERVICE}
        _, messages = self.check(toolkit(USABLE, USABLE, services=services_there), ["/Setup", "/TSS_VENDOR=NTRU12"])
        self.assertIn("SRK is in correct auth format", messages)
        self.assertNotIn(f"DetectTPMPlatform({TOOLKIT}\\,NTRU12)", messages)

    def test_usable_stack_takes_its_own_shim_away_and_leaves_the_other(self):
        shims = {TSPI: {"text": "old TSPI"}, TSP1: {"text": "old TSP1"}}
        machine, _ = self.check(toolkit(kelo=USABLE, files=shims), ["/Setup"])
        self.assertIsNone(machine.content(TSPI))
        self.assertEqual(machine.content(TSP1), b"old TSP1")

    def test_unowned_tpm_is_not_asked_for_its_srk(self):
        machine, _ = self.check(toolkit(kelo={**USABLE, "isOwned": 0}), ["/Setup"])
        self.assertEqual(notes_of_probe(machine.prefix, KELO_PROBE)[0],
                         [LOADED, *FUNCTIONS[:-1], FREED])

    def test_second_setup_after_a_first(self):
        # The stack has no service here. The toolkit's service, which runs after the first set-up, would depend on it:
        # Windows then refuses to stop the stack's service (1051), and Wine does not.
        self.check(toolkit(kelo=USABLE), ["/Setup"], ["/Setup"], ["/Rollback"])


class UnusableSrk(StackSetup):
    """The stack counts as usable, and an event is reported."""

    def test_event_is_reported(self):
        description = toolkit(kelo={**USABLE, "ValidSRKAuth": 1})
        machine, messages = self.check(description, ["/Setup"])
        self.assertIn("SRK is in incorrect auth format!", messages)
        predicted = report_of(description, "--", "/Setup")
        self.assertEqual([(event["id"], event["type"], event["strings"]) for event in predicted["events"]],
                         [(1018, 1, [INCORRECT_TPM])])

    def test_srk_that_cannot_be_told(self):
        _, messages = self.check(toolkit(kelo={**USABLE, "ValidSRKAuth": 2}), ["/Setup"])
        self.assertIn("Cannot determine SRK auth format", messages)

    def test_tpm_that_is_not_activated_is_looked_at_further(self):
        _, messages = self.check(toolkit(kelo={**USABLE, "isActivated": 0, "ValidSRKAuth": 1}), ["/Setup"])
        self.assertLess(messages.index("TPM is not activated rc: 10015"),
                        messages.index("SRK is in incorrect auth format!"))


class UnusableStacks(StackSetup):
    """The installed stacks decide first, then the wanted one."""

    KELO = {KELO_STACK: KELO_SERVICE}
    NTRU = {NTRU_STACK: NTRU_SERVICE}
    NTRU_LIBRARY = {NTRU_FOLDER + r"\TSP1_x64.dll": {"version": "1.2.1.24"}}

    def setup(self, services_there, *arguments, **members):
        return self.check(toolkit(services=services_there, **members), ["/Setup", *arguments], ["/Uninstall"])

    def test_kelo_installed_and_asked_for(self):
        _, messages = self.setup(self.KELO, "/TSS_VENDOR=KELO")
        self.assertIn("Set to default TPM Platform: KELO", messages)
        self.assertNotIn("Kelo TSS not present so copy 'shim' TSPI.dll", messages)

    def test_ntru_installed_and_kelo_asked_for(self):
        _, messages = self.setup(self.NTRU, "/TSS_VENDOR=KELO", files=self.NTRU_LIBRARY)
        self.assertIn("Found a single TCS = NTRU12 that is different than the default KELO. Set the default to its TSS",
                      messages)

    def test_kelo_installed_and_ntru_asked_for(self):
        _, messages = self.setup(self.KELO, "/TSS_VENDOR=NTRU12")
        self.assertIn("Found a single TCS = KELO that is different than the default NTRU12. Set the default to its TSS",
                      messages)

    def test_one_installed_and_none_asked_for(self):
        _, messages = self.setup(self.NTRU)
        self.assertTrue(any("Unable to install Toolkit!" in message for message in messages))

    def test_both_installed_and_kelo_asked_for(self):
        _, messages = self.setup({**self.KELO, **self.NTRU}, "/TSS_VENDOR=kelo")
        self.assertIn("Set to default TPM Platform: kelo", messages)

    def test_both_installed_and_ntru_asked_for(self):
        _, messages = self.setup({**self.KELO, **self.NTRU}, "/TSS_VENDOR=NTRU12", files=self.NTRU_LIBRARY)
        self.assertIn("Set to default TPM Platform: NTRU12", messages)

    def test_none_installed_and_kelo_asked_for(self):
        machine, messages = self.check(toolkit(), ["/Setup", "/TSS_VENDOR=KELO"])
        self.assertIn("Kelo TSS not present so copy 'shim' TSPI.dll", messages)
        self.assertEqual(machine.content(TSPI), b"the toolkit's shim")

    def test_none_installed_and_ntru_asked_for(self):
        machine, messages = self.check(toolkit(), ["/Setup", "/TSS_VENDOR=NTRU12"], ["/Uninstall"])
        self.assertIn("NTRU not present so copy 'shim' TSP1.dll", messages)
        self.assertIsNone(machine.content(TSP1))

    def test_unknown_stack_asked_for(self):
        _, messages = self.setup({}, "/TSS_VENDOR=NTRU")
        self.assertIn("No default TPM platform specified - installation will fail.", messages)

    def test_stack_that_cannot_be_restarted(self):
        stuck = {**NTRU_SERVICE, "onStart": {"states": [{"state": "startPending"}, {"afterMs": 600, "state": "stopped",
                                                                                   "exitCode": 1066}]}}
        machine, messages = self.setup({NTRU_STACK: stuck})
        self.assertIn("Unable to restart NTRU TSS service", messages)
        self.assertEqual(notes_of_probe(machine.prefix, NTRU_PROBE)[0], [])


class UnusableLibraries(StackSetup):
    """Each is passed over for the next, and a message for the result is left."""

    def setup(self, **stacks):
        return self.check(toolkit(**stacks), ["/Setup"])

    def test_no_library_at_all(self):
        self.setup(kelo=None, ntru=None)

    def test_file_that_is_no_library(self):
        broken = {path: {"loadError": 193} for path in (KELO_PROBE, NTRU_PROBE)}
        _, messages = self.check(toolkit(None, None, libraries=broken), ["/Setup"])
        self.assertIn(f"Failed to Load Library: {KELO_PROBE} Err: 193", messages)

    def test_each_function_that_may_be_missing(self):
        for name in FUNCTIONS:
            with self.subTest(function=name):
                partial = {other: result for other, result in USABLE.items() if other != name}
                self.setup(kelo=partial, ntru=ABSENT)

    def test_tpm_that_is_not_enabled(self):
        _, messages = self.setup(kelo={**USABLE, "isEnabled": 2})
        self.assertIn("TPM is not enabled rc: 10015", messages)

    def test_answer_of_the_last_library_is_the_result(self):
        self.setup(ntru={**USABLE, "DetectTSS": 5})


class Exceptions(StackSetup):
    """An exception from a library ends the use of that library only; one that it handles itself changes nothing."""

    CAUGHT = "DetectTPMPlatform Exception Caught - Unable to Detect TSS Properly"

    def check_caught(self, thrown):
        for number, function in enumerate(FUNCTIONS):
            with self.subTest(function=function):
                faulty = {**USABLE, function: {"throws": thrown}}
                machine, messages = self.check(toolkit(kelo=faulty, ntru=USABLE), ["/Setup"])
                after = messages.index(self.CAUGHT)
                self.assertIn(f"DetectTPMPlatform({TOOLKIT}\\,NTRU12)", messages[after:])
                self.assertIn("SRK is in correct auth format", messages[after:])
                self.assertEqual(notes_of_probe(machine.prefix, KELO_PROBE),
                                 ([LOADED, *FUNCTIONS[:number + 1], FREED], [ENDED]))
        _, messages = self.check(toolkit(kelo=ABSENT, ntru={**USABLE, "isEnabled": {"throws": thrown}}), ["/Setup"])
        self.assertIn(self.CAUGHT, messages)

    def test_access_violation(self):
        self.check_caught("access violation")

    def test_division_by_zero(self):
        self.check_caught("division by zero")

    def test_exception_of_another_compiler(self):
        self.check_caught("C++ exception")

    def test_number(self):
        self.check_caught("number")

    def test_exception_that_the_library_handles(self):
        for thrown in ("access violation", "division by zero", "C++ exception", "number"):
            with self.subTest(thrown=thrown):
                description = toolkit(kelo=USABLE)
                machine = self.enter(description)
                handles(machine.prefix, KELO_PROBE, "isActivated", USABLE["isActivated"], thrown)
                messages = self.check_runs(machine, description, ["/Setup"])
                self.assertNotIn(self.CAUGHT, messages)
                self.assertIn("handled " + thrown.replace(" ", "-"), notes_of_probe(machine.prefix, KELO_PROBE)[0])


class FilesInUse(StackSetup):
    """A file that a process keeps loaded is moved aside."""

    def test_shims_in_use(self):
        shims = {TSPI: {"text": "TSPI in use", "inUse": True},
                 TSP1: {"text": "TSP1 in use", "inUse": True},
                 TSPI_BACKUP: {"text": "older backup"}}
        machine, messages = self.check(toolkit(files=shims), ["/Setup", "/TSS_VENDOR=KELO"], ["/Uninstall"])
        self.assertIn(f"RemoveTSP1File - Moved Tsp<x>_x64.dll to {TSPI_BACKUP}", messages)
        self.assertIn(f"RemoveTSP1File - Moved Tsp<x>_x64.dll to {TSP1_BACKUP}", messages)
        self.assertTrue(machine.content(TSPI_BACKUP).endswith(b"TSPI in use"))

    def test_shim_in_use_with_a_backup_in_use(self):
        shims = {TSPI: {"text": "in use", "inUse": True},
                 TSPI_BACKUP: {"text": "backup in use", "inUse": True}}
        machine, messages = self.check(toolkit(files=shims), ["/Setup"])
        self.assertIn("RemoveTSP1File - Unable to remove .bak file, err: 5", messages)
        self.assertTrue(machine.content(TSPI).endswith(b"in use"))

    def test_detection_library_in_use(self):
        files = {SYSTEM_PROBE: {"text": "old probe in use", "inUse": True},
                 SYSTEM + r"\stkprobe.bk1": {"text": "older backup"}}
        machine, messages = self.check(toolkit(kelo=USABLE, files=files), ["/Setup"])
        self.assertIn(f"CopyTCGDLL - Copied file {KELO_PROBE} to {SYSTEM_PROBE}", messages)
        self.assertEqual(machine.content(SYSTEM_PROBE), machine.content(KELO_PROBE))
        self.assertTrue(machine.content(SYSTEM + r"\stkprobe.bk1").endswith(b"old probe in use"))

    def test_detection_library_in_use_without_a_backup(self):
        files = {SYSTEM_PROBE: {"text": "old probe in use", "inUse": True}}
        _, messages = self.check(toolkit(kelo=USABLE, files=files), ["/Setup"])
        self.assertIn(f"CopyTCGDLL - Unable to Delete {SYSTEM}\\stkprobe.bk1 rc: 2", messages)


class NtruVersion(StackSetup):
    """Version 1.2.1.25 and later ones need no shim."""

    UPDATED = ("CopyTSP1FileImp - Found updated TSS Version must ensure no Tsp1_x64.dll exists in System32 directory")

    def version(self, version, name="TSP1_x64.dll"):
        library = {rf"{NTRU_FOLDER}\{name}": {"version": version}}
        _, messages = self.check(toolkit(services={NTRU_STACK: NTRU_SERVICE}, files=library),
                                 ["/Setup", "/TSS_VENDOR=NTRU12"], ["/Uninstall"])
        self.assertIn(f"CopyTSP1FileImp - NTRU TSS Version: {version}", messages)
        return messages

    def test_1_2_1_24_is_too_old(self):
        self.assertNotIn(self.UPDATED, self.version("1.2.1.24"))

    def test_1_2_1_25_is_new_enough(self):
        self.assertIn(self.UPDATED, self.version("1.2.1.25"))

    def test_1_2_0_99_is_too_old(self):
        self.assertNotIn(self.UPDATED, self.version("1.2.0.99"))

    def test_old_name_of_the_library(self):
        self.assertIn(self.UPDATED, self.version("2.0.0.0", "TSP1.dll"))

    def test_library_without_a_version(self):
        library = {NTRU_FOLDER + r"\TSP1_x64.dll": {"text": "no version"}}
        self.check(toolkit(services={NTRU_STACK: NTRU_SERVICE}, files=library), ["/Setup", "/TSS_VENDOR=NTRU12"])

    def test_stack_without_its_service(self):
        library = {NTRU_FOLDER + r"\TSP1_x64.dll": {"version": "1.2.1.25"}}
        _, messages = self.check(toolkit(files=library), ["/Setup", "/TSS_VENDOR=NTRU12"])
        self.assertIn("CopyTSP1FileImp - Unable to get path to NTRU binary from Service Manager", messages)
        self.assertIn(self.UPDATED, messages)


class LongPaths(StackSetup):
    """Whatever the length of the toolkit's folder, nothing is used from another place."""

    PLANTED = r"C:\Planted"

    def toolkit_at(self, length):
        start = rf"C:\{'d' * 100}\{'e' * 100}" + "\\"
        folder = start + "f" * (length - len(start) - 1) + "\\"
        probes = {probe(stack, base[:-1]): {"exports": USABLE}
                  for base in (folder, self.PLANTED + "\\") for stack in VENDORS}
        shims = {rf"{base}NTRU12\{SHIM}": {"text": "shim in " + base}
                 for base in (folder, self.PLANTED + "\\")}
        planted_program = {"runs": [{"effects": {"services": {SERVICE: {"binaryPath": r'"C:\KlPCR.exe"'}}}}]}
        description = {"process": {"path": folder + "KeloCustomAction.exe"}, "libraries": probes, "files": shims,
                       "programs": {r"C:\KlPCR.exe": planted_program, self.PLANTED + r"\KlPCR.exe": planted_program}}
        return folder, description

    def check_length(self, length, *arguments):
        folder, description = self.toolkit_at(length)
        machine = self.enter(description)
        machine.prefix.current_folder = machine.prefix.path(self.PLANTED)
        messages = self.check_runs(machine, description, ["/Setup", *arguments])
        for base in (self.PLANTED + "\\", folder):
            for stack in VENDORS:
                self.assertEqual(notes_of_probe(machine.prefix, probe(stack, base[:-1])), ([], []))
        services.wait_for(machine.prefix, {SERVICE: None})
        for path in (TSPI, TSP1, SYSTEM_PROBE):
            self.assertNotEqual(machine.content(path), f"shim in {self.PLANTED}\\".encode())
        return machine, messages

    def test_no_stack_is_found(self):
        for length in (SHORTEST_TOO_LONG, 239, 250, 259, 260, 270, 300):
            with self.subTest(length=length):
                machine, messages = self.check_length(length)
                self.assertEqual(messages.count("Failed to Load Library:  Err: 206"), 2)
                self.assertIsNone(machine.content(SYSTEM_PROBE))

    def test_default_stack_is_set_up_without_anything_from_elsewhere(self):
        for length in (SHORTEST_TOO_LONG, 250, 270, 300):
            for vendor in VENDORS:
                with self.subTest(length=length, vendor=vendor):
                    machine, _ = self.check_length(length, "/TSS_VENDOR=" + vendor)
                    self.assertIsNone(machine.content(SYSTEM_PROBE))

    def test_longest_path_that_fits_is_loaded(self):
        folder, description = self.toolkit_at(LONGEST_FOR_KELO)
        machine, messages = self.check(description, ["/Setup"])
        self.assertIn(f"Load {probe('KELO', folder[:-1])}", messages)
        self.assertEqual(notes_of_probe(machine.prefix, probe("KELO", folder[:-1]))[0][-1], FREED)
