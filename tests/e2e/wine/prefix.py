"""A throw-away Windows machine under Wine: runs programs, and leads to its files and its registry."""

import atexit
import contextlib
import signal
import subprocess

from wine import children, commands
from wine.commands import MOST_SECONDS, REGEDIT, Hung
from wine.folders import Folder
from wine.interruption import interruption
from wine.notes import CALLS_TOO, ERRORS, EXIT, IMAGES_TOO, calls_in, exit_code, images_in, setting

REG_FILE = "Windows Registry Editor Version 5.00\n"  # how a .reg file begins


class Prefix:
    """Lives for a `with` statement; nothing of it is left, whatever happens."""

    locale = commands.LOCALE  # from which Wine takes its language
    zone = commands.ZONE  # and its time zone
    current_folder = None  # where programs start, as Unix names it; None: in the prefix's own folder
    log = None  # the file, as Windows names it, that tells how far a program came that did not end
    _server = None
    _noted = EXIT  # the functions whose calls Wine notes

    def __init__(self):
        self._folder = Folder()

    @property
    def folder(self):
        return self._folder.path

    def __enter__(self):
        interruption.expect()
        atexit.register(self.__exit__)  # an interrupted test need not come to the end of its `with` statement
        try:
            self._folder.make()
            self._start_server()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        with interruption.postponed():
            atexit.unregister(self.__exit__)
            if self._server:
                self._end_server()
                self._server = None
            self._folder.remove()

    def _start_server(self, *options, notes=subprocess.DEVNULL):
        with interruption.postponed():
            self._server = commands.serve(self.folder, *options, notes=notes)
        commands.wait_for_server(self.folder, self._server)

    def _end_server(self):
        self._server.send_signal(signal.SIGINT)  # it ends all that runs in the prefix, then itself
        try:
            children.wait(self._server, MOST_SECONDS)
        except subprocess.TimeoutExpired:
            self._server.kill()
            self._server.wait()

    def wine(self, *command, timeout=MOST_SECONDS):
        """Runs a program with its arguments. Returns its exit code as Unix sees it, and its standard output. The
        standard error, the program's and Wine's, goes to the test's. Raises Hung."""
        status, output, _ = self._run(command, timeout)
        return status, output

    def started(self, *command):
        """Starts a program, without a time limit, for whoever measures it. Returns the process."""
        return commands.start(self.folder, command, self.locale, self.zone, self.current_folder)

    def ended(self, *command):
        """Runs a program as wine does. Returns its whole exit code and its standard output."""
        status, output, calls = self.calls(EXIT, *command)
        return exit_code(status, calls), output

    def calls(self, functions, *command):
        """Runs a program. Returns its exit code as Unix sees it, its standard output, and the calls of functions of
        kernel32.dll that it and whatever else runs makes. Wine's desktop, should it come up, runs too."""
        if functions != self._noted:
            self.import_registry(setting(functions))
            self._noted = functions
        status, output, said = self._run(command, debug=CALLS_TOO)
        return status, output, calls_in(said)

    def loaded(self, *command):
        """Runs a program. Returns its exit code as Unix sees it, its standard output, and the paths of the images that
        were loaded into its process, in their order, its own among them."""
        status, output, said = self._run(command, debug=IMAGES_TOO)
        return status, output, images_in(said, str(command[0]))

    def _run(self, command, timeout=MOST_SECONDS, debug=ERRORS):
        try:
            return commands.run(self.folder, ["wine", *command], timeout, self.locale, self.zone, self.current_folder,
                                debug)
        except Hung as hung:
            if self.log and (log := self.path(self.log)).is_file():
                hung.add_note(f"The log so far:\n{log.read_text(encoding='cp1252', errors='replace')}")
            raise

    @contextlib.contextmanager
    def traced(self):
        """Starts Wine's server anew, and lets it note each request. Yields a function that returns the notes."""
        notes = self.folder / "tmp" / "server.txt"
        self._end_server()
        with open(notes, "wb") as file:
            self._start_server("-d1", notes=file)
            try:
                yield lambda: notes.read_text(encoding="utf-8", errors="replace")
            finally:
                self._end_server()
        self._start_server()

    def path(self, windows_path):
        """Where a file lies; a drive that is not there yet is made. The name need not be there yet, and is not
        case-sensitive."""
        drive, *names = windows_path.replace("/", "\\").split("\\")
        path = self.folder / f"drive_{drive[0].lower()}"
        if not path.exists():
            path.mkdir()
            (self.folder / "dosdevices" / drive.lower()).symlink_to(path)
        for name in filter(None, names):
            path = _find_name(path, name)
        return path

    def drives(self):
        """The prefix's own drives, such as C:."""
        return [f"{folder.name[-1].upper()}:" for folder in self.folder.glob("drive_?")]

    def import_registry(self, text):
        """Applies the sections of a .reg file."""
        file = self.path(r"C:\import.reg")
        file.write_text(REG_FILE + text, encoding="utf-16")
        status, _ = self.wine(REGEDIT, "/S", r"C:\import.reg")
        file.unlink()
        if status != 0:
            raise RuntimeError(f"regedit ended with {status}")

    def export_registry(self, key):
        """The text of a .reg file with a key and all below it; empty when there is no such key."""
        exported = self.path(r"C:\export.reg")
        self.wine(REGEDIT, "/E", r"C:\export.reg", key)
        if not exported.exists():
            return ""
        text = exported.read_text(encoding="utf-16")
        exported.unlink()
        return text


def _find_name(folder, name):
    """The entry of a folder that Windows finds under a name."""
    if not (folder / name).exists() and folder.is_dir():
        for entry in folder.iterdir():
            if entry.name.lower() == name.lower():
                return entry
    return folder / name
