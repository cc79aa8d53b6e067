"""Runs the real program on a described machine under Wine, and kelo-rehearse on the same machine."""

import contextlib
import dataclasses
import json
import pathlib
import re
import shutil
import subprocess
import tempfile

from log_lines import messages, parse
from provision import as_on_wine, complete, provision, without_vain_nulls
from wine import MOST_SECONDS, ROOT, Prefix

EXE = ROOT / "build" / "windows" / "KeloCustomAction.exe"
DLL = EXE.with_suffix(".dll")
EXPORT_HOST = EXE.with_name("export_host.exe")
CALLS = EXE.with_name("kelo_calls.exe")
REHEARSE = ROOT / "build" / "native" / "kelo-rehearse"

LOG = r"C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit\kelo_install_log.txt"

OWN_CODE = range(0x140000000, 0x150000000)  # where a program lies that is linked as usual

# kelo-rehearse's exit statuses.
USAGE_ERROR, ENDLESS, DEATH = 2, 3, 4


@dataclasses.dataclass
class Run:
    """What a run of the program left."""

    exit_code: int
    stdout: str
    log: list  # whole lines, of this run alone

    @property
    def messages(self):
        return messages(self.log)


class DescriptionError(Exception):
    """A machine that kelo-rehearse does not accept; the text is what it says."""


class NoResult(AssertionError):
    """A rehearsal without a result: why, and kelo-rehearse's exit status."""


class Machine:
    """A described machine under Wine with the program on it, for the length of a `with` statement."""

    def __init__(self, description):
        self.description = description
        whole = complete(description)
        self.program = whole["process"]["path"]
        self.encoding = f"cp{whole['windows']['codePage']}"  # of the log

    def __enter__(self):
        with contextlib.ExitStack() as stack:
            self.prefix = stack.enter_context(Prefix())
            self.prefix.log = LOG
            self.missing = provision(self.prefix, self.description)
            target = self.prefix.path(self.program)
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(EXE, target)
            self._stack = stack.pop_all()
        return self

    def __exit__(self, *error):
        return self._stack.__exit__(*error)

    def run(self, *arguments):
        (exit_code, stdout), log = self._logged(self.prefix.ended, self.program, *arguments)
        return Run(exit_code, stdout.decode(self.encoding), log)

    def calls(self, functions, *arguments):
        """Runs the program. Returns its own calls of functions of kernel32.dll that take a text: names and texts."""
        (_, _, calls), log = self._logged(self.prefix.calls, functions, self.program, *arguments)
        threads = {int(parse(line)["thread"]) for line in log}
        return [(call.function, re.search('"(.*)"', call.arguments)[1].replace(r"\\", "\\"))
                for call in calls if call.thread in threads and call.caller in OWN_CODE]

    def loaded(self, *arguments):
        """Runs the program. Returns the paths of the libraries that were loaded into its process, in small letters, and
        the messages it logged."""
        (_, _, paths), log = self._logged(self.prefix.loaded, self.program, *arguments)
        return [path.lower() for path in paths if path.lower() != self.program.lower()], messages(log)

    def content(self, path):
        """The bytes of a file; None when it is not there."""
        file = self.prefix.path(path)
        return file.read_bytes() if file.is_file() else None

    def call_export(self, name):
        """Has an installer load the library image and call an export of it with the described CustomActionData. Returns
        the export's result, and the messages it logged."""
        data = self.description.get("installer", {}).get("properties", {}).get("CustomActionData", "")
        (status, result), log = self._logged(self.prefix.wine, EXPORT_HOST, DLL, name, data)
        if status != 0:
            raise AssertionError(f"{name}: export_host ended with {status}")
        return int(result), messages(log)

    def call(self, function, *arguments):
        """Calls a single function of the program. Returns its result as text, and the messages it logged."""
        (status, result), log = self._logged(self.prefix.wine, CALLS, function, *arguments)
        if status != 0:
            raise AssertionError(f"{function}: kelo_calls ended with {status}")
        return result.decode(), messages(log)

    def place(self, file, path):
        """Puts a file of the build on the machine."""
        target = self.prefix.path(path)
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(file, target)

    def _logged(self, run, *command):
        """Runs a program in one of the prefix's manners. Returns what that returns, and the lines that it logged."""
        before = len(self._log_lines())
        result = run(*command)
        return result, self._log_lines()[before:]

    def _log_lines(self):
        log = self.prefix.path(LOG)
        return log.read_bytes().decode(self.encoding).splitlines() if log.is_file() else []


def rehearse(description, *arguments):
    """What kelo-rehearse predicts for a machine."""
    report = rehearsal(description, "--", *arguments)
    return Run(report["exitCode"], report["stdout"], report["log"])


def rehearse_export(description, name):
    """What kelo-rehearse predicts for an export: its result, and the messages it logs."""
    report = rehearsal(description, "--export", name)
    return report["exitCode"], messages(report["log"])


def rehearsal(description, *arguments):
    """The JSON report of kelo-rehearse for a machine that is as Wine is where nothing is said."""
    return rehearse_and_save(as_on_wine(description), *arguments)[0]


def rehearse_with_machines(description, *runs):
    """The JSON reports of runs one after the other, each with its arguments, on the same machine, and the machine that
    each leaves."""
    machine = as_on_wine(description)
    for arguments in runs:
        report, machine = rehearse_and_save(machine, "--", *arguments)
        yield report, machine


def rehearse_and_save(machine, *arguments):
    """The JSON report of kelo-rehearse, and the machine as it is left."""
    with tempfile.TemporaryDirectory() as folder:
        before, after = pathlib.Path(folder, "before.json"), pathlib.Path(folder, "after.json")
        before.write_text(json.dumps(without_vain_nulls(machine)), encoding="utf-8")
        done = subprocess.run([REHEARSE, "--json", "--save", after, before, *arguments], capture_output=True,
                              text=True, check=False, timeout=MOST_SECONDS)
        if done.returncode == USAGE_ERROR:
            raise DescriptionError(done.stderr.strip().removeprefix("kelo-rehearse: ").removeprefix(f"{before}: "))
        report = json.loads(done.stdout)
        if report["noResult"]:
            raise NoResult(report["noResult"], done.returncode)
        if done.returncode != int(report["exitCode"] != 0):
            raise AssertionError(f"{REHEARSE} ended with {done.returncode}, and reports {report['exitCode']}")
        return report, json.loads(after.read_text(encoding="utf-8"))
