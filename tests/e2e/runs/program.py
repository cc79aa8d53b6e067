"""Runs the real program on a described machine under Wine."""

import contextlib
import re

import paths
from machines.descriptions import complete, service_members
from product import LOG
from reading.capture import capture
from runs.log_lines import messages, parse
from runs.run import Run
from setup.files import copy
from setup.provision import provision
from wine.prefix import Prefix

EXE = paths.WINDOWS / "KeloCustomAction.exe"
DLL = EXE.with_suffix(".dll")
EXPORT_HOST = EXE.with_name("export_host.exe")
CALLS = EXE.with_name("kelo_calls.exe")

INSTALLERS_FOLDER = r"C:\windows\Installer"
OWN_CODE = range(0x140000000, 0x150000000)  # where a program is loaded that is linked as usual


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
            copy(EXE, self.prefix, self.program)
            # An installer starts the program, and calls the export.
            self.prefix.path(INSTALLERS_FOLDER).mkdir(exist_ok=True)
            self._stack = stack.pop_all()
        return self

    def __exit__(self, *error):
        return self._stack.__exit__(*error)

    def run(self, *arguments):
        """Runs the program, or has an installer load the library image and call one of its exports, with "--export" and
        its name."""
        if arguments[:1] == ("--export",):
            return self._call_export(arguments[1])
        (exit_code, stdout), log = self._logged(self.prefix.ended, self.program, *arguments)
        return Run(exit_code, stdout.decode(self.encoding), log)

    def calls(self, functions, *arguments):
        """Runs the program. Returns its own calls of functions of kernel32.dll that take a text: names and texts."""
        (_, _, calls), log = self._logged(self.prefix.calls, functions, self.program, *arguments)
        threads = {int(parse(line)["thread"]) for line in log}
        return [(call.function, re.search('"(.*)"', call.arguments)[1].replace(r"\\", "\\"))
                for call in calls if call.thread in threads and call.caller in OWN_CODE]

    def loaded(self, *arguments):
        """Runs the program. Returns the paths of the libraries that were loaded into its process, in lower case, and
        the messages that it logged."""
        (_, _, images), log = self._logged(self.prefix.loaded, self.program, *arguments)
        return [path.lower() for path in images if path.lower() != self.program.lower()], messages(log)

    def captured(self, *options):
        """The description that KeloDescribe makes of the machine."""
        description, _ = capture(self.prefix, "--program", self.program, *options)
        return description

    def service(self, name):
        """The members of a service; None without one."""
        service = self.captured()["services"].get(name)
        return service and service_members(name, service)

    def content(self, path):
        """The bytes of a file; None when it is not there."""
        file = self.prefix.path(path)
        return file.read_bytes() if file.is_file() else None

    def _call_export(self, name):
        """The CustomActionData is the described one."""
        data = self.description.get("installer", {}).get("properties", {}).get("CustomActionData", "")
        (status, result), log = self._logged(self.prefix.wine, EXPORT_HOST, DLL, name, data)
        if status != 0:
            raise AssertionError(f"{name}: export_host ended with {status}")
        return Run(int(result), "", log)

    def call(self, function, *arguments):
        """Calls a single function of the program. Returns its result as text, and the messages that it logged."""
        (status, result), log = self._logged(self.prefix.wine, CALLS, function, *arguments)
        if status != 0:
            raise AssertionError(f"{function}: kelo_calls ended with {status}")
        return result.decode(), messages(log)

    def place(self, file, path):
        """Puts a file of the build on the machine."""
        copy(file, self.prefix, path)

    def _logged(self, run, *command):
        """Runs a program in one of the prefix's ways. Returns what that returns, and the lines that were logged."""
        before = len(self._log_lines())
        result = run(*command)
        return result, self._log_lines()[before:]

    def _log_lines(self):
        log = self.prefix.path(LOG)
        return log.read_bytes().decode(self.encoding).splitlines() if log.is_file() else []
