"""Throw-away Wine prefixes: each is a copy of one template, and nothing of it is left behind, whatever happens."""

import atexit
import collections
import contextlib
import fcntl
import functools
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import typing
import zlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
BASE = ROOT / "build" / "wine"

# Files this big in a new prefix are Wine's own images and tables. Nothing writes to them, so the copies share them.
SHARED_FILE_SIZE = 64 * 1024

PROCESSORS = os.sched_getaffinity(0)

EXIT = ["ExitProcess"]


def _noting(functions):
    """The key of a .reg file that has Wine, where it notes calls, note those of functions of kernel32.dll."""
    names = ";".join(f"kernel32.{function}" for function in functions)
    return f'\n[HKEY_CURRENT_USER\\Software\\Wine\\Debug]\n"RelayInclude"="{names}"\n'


# Services and drivers of Wine that nothing here needs, and that would start with every prefix.
NOT_NEEDED = ["Eventlog", "MountMgr", "NDIS", "nsiproxy", "PlugPlay"]
ON_DEMAND = 3

# What every prefix has from the start, as a .reg file. A service may take as long to answer as on Windows: on a busy
# machine the ten seconds that Wine's service manager waits otherwise are too few (1053). It takes this number as a
# text alone.
SETTINGS = r"""Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control]
"ServicesPipeTimeout"="30000"
""" + _noting(EXIT) + "".join(f"""
[HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\{name}]
"Start"=dword:{ON_DEMAND:08x}
""" for name in NOT_NEEDED)

MOST_SECONDS = 120  # that a program may take
MOST_ERRORS = 10000  # characters of what it says that are shown when it takes longer

# What a command begins with. Where the system does not allow one of them, it is left out.
RUNNERS = [
    # Linux puts a program's heap at random between 2 and 3 GB. One in some thousand then lies where Wine needs to have
    # 0x7ffe0000, and Wine ends with exit code 1 before the program begins. Not at random, the heap is out of the way.
    ["setarch", "--addr-no-randomize"],
    # Root may write to read-only files, which nobody may on Windows. Inside a prefix, root has no such privilege.
    ["setpriv", "--bounding-set=-dac_override,-dac_read_search", "--"],
]

# What Wine says, by its debug channels: of a program that did not begin; and of calls, or of libraries, too.
ERRORS = "-all,err+virtual"
NOTING = ERRORS + ",+relay"
NOTING_LIBRARIES = ERRORS + ",+pid,+loaddll"
NOT_BEGUN = "failed to map the shared user data"

# What the command of a prefix's server begins with besides: it ends with the test, whatever ends that, and all programs
# with it.
TIED = ["setpriv", "--pdeathsig", "INT", "--"]


class Hung(AssertionError):
    """A program did not end in its time, and what ran in its prefix was ended."""


class Call(typing.NamedTuple):
    """A call of a function, as Wine notes it."""

    thread: int
    function: str
    arguments: str  # hexadecimal digits; a text behind its address
    caller: int  # the address


CALL = re.compile(r"^(\w+):Call KERNEL32\.(\w+)\((.*)\) ret=(\w+)$", re.MULTILINE)
LOADED = re.compile(r'^(\w+):\w+:trace:loaddll:build_module Loaded L"(.*)" at ', re.MULTILINE)
# A call of whatever kind, or what becomes of a library.
NOTE = re.compile(r"^(?:\w+:)?\w+:(?:Call |Ret  |Starting |trace:relay:|trace:loaddll:).*\n", re.MULTILINE)


class Prefix:
    """A Windows machine under Wine, for the length of a `with` statement."""

    locale = "C.UTF-8"  # what Wine takes its language from
    current_folder = None  # where programs start, as Unix names it; none: in the prefix's own folder
    zone = "UTC"  # and its time zone
    log = None  # the file, as Windows names it, that tells how far a program came that did not end
    _server = None
    _lock = None
    _noted = EXIT  # the functions whose calls Wine notes

    def __enter__(self):
        _interruption.expect()
        atexit.register(self.__exit__)  # an interrupted test need not come to the end of its `with` statement
        BASE.mkdir(parents=True, exist_ok=True)
        with _locked(BASE / "lock"):
            template = _template()
            _remove_abandoned()
            with _interruption.postponed():
                processor = _least_used_processor()
                self.folder = pathlib.Path(tempfile.mkdtemp(prefix=f"prefix-{processor}-", dir=BASE))
                self._lock = _lock(self.folder)
        # Programs and Wine's server take turns: on the same processor that costs the least.
        os.sched_setaffinity(0, {processor})
        try:
            shutil.copytree(template, self.folder, symlinks=True, dirs_exist_ok=True, copy_function=_copy_or_share)
            (self.folder / "tmp").mkdir()
            self._start_server()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        with _interruption.postponed():
            atexit.unregister(self.__exit__)
            if self._lock is None:
                return
            if self._server:
                self._end_server()
            _remove(self.folder)
            os.close(self._lock)
            self._lock = None

    def _start_server(self, *options, notes=subprocess.DEVNULL):
        with _interruption.postponed():
            self._server = _serve(self.folder, *options, notes=notes)
        _wait_for_server(self.folder, self._server)

    def _end_server(self):
        self._server.send_signal(signal.SIGINT)  # it ends all that runs in the prefix, then itself
        try:
            self._server.wait(MOST_SECONDS)
        except subprocess.TimeoutExpired:
            self._server.kill()
            self._server.wait()

    def wine(self, *command, timeout=MOST_SECONDS):
        """Runs a program with its arguments. Returns its exit code as Unix sees it, and its standard output; what it,
        or Wine, says on standard error is for whoever reads the output of a failed test. Raises Hung."""
        status, output, _ = self._run(command, timeout)
        return status, output

    def started(self, *command):
        """Starts a program, which is given no time limit: for whoever measures it. Returns the process."""
        return subprocess.Popen([*_runner(), "wine", *command], env=_environment(self.folder, self.locale, self.zone),
                                cwd=self.current_folder or self.folder, stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def ended(self, *command):
        """Runs a program as wine does. Returns its exit code and its standard output."""
        status, output, calls = self.calls(EXIT, *command)
        return exit_code(status, calls), output

    def calls(self, functions, *command):
        """Runs a program. Returns its exit code as Unix sees it, its standard output, and the calls that it and what
        runs meanwhile make of functions of kernel32.dll. Wine's desktop, should it come up, is among what runs."""
        if functions != self._noted:
            self.import_registry("Windows Registry Editor Version 5.00\n" + _noting(functions))
            self._noted = functions
        status, output, said = self._run(command, debug=NOTING)
        return status, output, [Call(int(thread, 16), function, arguments, int(caller, 16))
                                for thread, function, arguments, caller in CALL.findall(said)]

    def loaded(self, *command):
        """Runs a program. Returns its exit code as Unix sees it, its standard output, and the paths of the images that
        were loaded into its process, in their order, its own among them."""
        status, output, said = self._run(command, debug=NOTING_LIBRARIES)
        images = [(process, path.replace("\\\\", "\\")) for process, path in LOADED.findall(said)]
        own = next(process for process, path in images if path.lower() == str(command[0]).lower())
        return status, output, [path for process, path in images if process == own]

    def _run(self, command, timeout=MOST_SECONDS, debug=ERRORS):
        try:
            return _run(self.folder, ["wine", *command], timeout, self.locale, self.zone, self.current_folder, debug)
        except Hung as hung:
            if self.log and (log := self.path(self.log)).is_file():
                hung.add_note(f"The log so far:\n{log.read_text(encoding='cp1252', errors='replace')}")
            raise

    @contextlib.contextmanager
    def traced(self):
        """Has Wine's server, anew, note what it is asked for. Yields a function that tells the notes."""
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
        """Where a file lies; its drive is made when there is none yet. Its name need not be there yet, and is not
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
        """Applies the text of a .reg file."""
        self.path(r"C:\import.reg").write_text(text, encoding="utf-16")
        status, _ = self.wine("regedit", "/S", r"C:\import.reg")
        self.path(r"C:\import.reg").unlink()
        if status != 0:
            raise RuntimeError(f"regedit ended with {status}")

    def export_registry(self, key):
        """The text of a .reg file with a key and all below it; empty when there is no such key."""
        exported = self.path(r"C:\export.reg")
        self.wine("regedit", "/E", r"C:\export.reg", key)
        if not exported.exists():
            return ""
        text = exported.read_text(encoding="utf-16")
        exported.unlink()
        return text


def exit_code(status, calls):
    """The whole exit code, of which Unix sees eight bits, or 1 where those are 0 and the whole is not. None when it is
    not known: the program did not end by itself, or others ended with other codes that Unix sees as the same."""
    codes = {code_given(call) for call in calls}
    fitting = {code for code in codes if status == (code & 0xFF or int(code != 0))}
    return fitting.pop() if len(fitting) == 1 else None


def code_given(call):
    """The exit code that a call of ExitProcess gives."""
    code = int(call.arguments, 16)
    return code - (1 << 32) if code >> 31 else code


def wine_version():
    """Such as "wine-8.0"."""
    version = subprocess.run(["wine", "--version"], env=_environment(BASE), capture_output=True, text=True, check=True)
    return version.stdout.split()[0]


def _environment(prefix, locale=Prefix.locale, zone=Prefix.zone, debug=ERRORS):
    """The same everywhere, and nothing of the user's."""
    return {
        "PATH": os.environ.get("PATH", os.defpath),
        "HOME": "/nonexistent",
        "LC_ALL": locale,
        "TZ": zone,
        "TMPDIR": str(prefix / "tmp"),  # where the server keeps its socket
        "WINEPREFIX": str(prefix),
        "WINEARCH": "win64",
        "WINEDEBUG": debug,
        "WINEDLLOVERRIDES": "winemenubuilder.exe=d;mscoree=;mshtml=",
    }


@functools.cache
def _runner():
    """What every command begins with."""
    def works(runner):
        return subprocess.run([*runner, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0
    return [word for runner in RUNNERS if works(runner) for word in runner]


def _run(prefix, command, timeout=MOST_SECONDS, locale=Prefix.locale, zone=Prefix.zone, cwd=None, debug=ERRORS,
         attempts=3):
    """Runs a command. Returns its exit code, its standard output, and what was said on standard error. Both are files,
    because Wine's own processes stay for a while and keep a pipe open. Errors go to the test's standard error too."""
    said_in = prefix / "tmp" / "errors.txt"
    with tempfile.TemporaryFile(dir=prefix / "tmp") as output, open(said_in, "ab") as errors:
        said_before = errors.tell()

        def said():
            return said_in.read_bytes()[said_before:].decode(errors="replace")
        try:
            done = subprocess.run([*_runner(), *command], env=_environment(prefix, locale, zone, debug),
                                  cwd=cwd or prefix, timeout=timeout, stdin=subprocess.DEVNULL, stdout=output,
                                  stderr=errors, check=False)
        except subprocess.TimeoutExpired:
            _end_processes(prefix)
            output.seek(0)
            raise Hung(f"{shlex.join(map(str, command))} did not end within {timeout} seconds. It wrote "
                       f"{output.read()!r} and, as errors, {NOTE.sub('', said())[-MOST_ERRORS:]!r}") from None
        all_said = said()
        if errors_said := NOTE.sub("", all_said):
            print(f"{shlex.join(map(str, command))} ended with {done.returncode}. It or Wine said: {errors_said}",
                  file=sys.stderr)
        if done.returncode == 1 and NOT_BEGUN in errors_said and attempts > 1:
            return _run(prefix, command, timeout, locale, zone, cwd, debug, attempts - 1)
        output.seek(0)
        return done.returncode, output.read(), all_said


def _serve(prefix, *options, notes=subprocess.DEVNULL):
    """Starts Wine's server. It stays, and with it the services, while no program runs."""
    return subprocess.Popen([*_runner(), *TIED, "wineserver", "-f", "-p", *options], env=_environment(prefix),
                            stdin=subprocess.DEVNULL, stdout=notes, stderr=notes)


def _wait_for_server(prefix, server):
    """A program that finds none would start a server of its own."""
    while not any((prefix / "tmp").glob("*/server-*/socket")):
        if server.poll() is not None:
            raise RuntimeError(f"wineserver ended with {server.returncode}")
        time.sleep(0.01)


def _succeed(prefix, *command, timeout=MOST_SECONDS):
    status, _, _ = _run(prefix, command, timeout)
    if status != 0:
        raise RuntimeError(f"{shlex.join(command)} ended with {status}")


def _end_processes(prefix):
    subprocess.run([*_runner(), "wineserver", "-k"], env=_environment(prefix), timeout=MOST_SECONDS,
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)


def _template():
    """The template for the installed Wine and the settings, made when it is not there yet."""
    template = BASE / f"template-{wine_version()}-{zlib.crc32(SETTINGS.encode()):08x}"
    if template.exists():
        return template
    new = BASE / "new-template"
    _remove(new)
    (new / "tmp").mkdir(parents=True)
    try:
        (new / "settings.reg").write_text(SETTINGS, encoding="utf-16")
        # The program that starts the server makes folders that Wine's set-up needs: no server runs before it.
        for command in (["wine", "wineboot", "-i"], ["wine", "regedit", "/S", "settings.reg"], ["wineserver", "-w"]):
            _succeed(new, *command, timeout=300)
    except BaseException:
        with _interruption.postponed():
            _remove(new)
        raise
    for old in BASE.glob("template-*"):
        _remove(old)
    shutil.rmtree(new / "tmp")
    (new / "settings.reg").unlink()
    (new / "wineserver").unlink(missing_ok=True)  # says where the server's socket was
    return new.rename(template)


def _least_used_processor():
    """The processor that the fewest prefixes run on: their names tell theirs."""
    used = collections.Counter(folder.name.split("-")[1] for folder in BASE.glob("prefix-*"))
    return min(PROCESSORS, key=lambda processor: used[str(processor)])


def _copy_or_share(source, target):
    if os.path.getsize(source) >= SHARED_FILE_SIZE and not source.endswith(".reg"):
        with contextlib.suppress(OSError):
            return os.link(source, target)
    return shutil.copy2(source, target)


def _remove(prefix):
    """Ends what runs in a prefix and removes it."""
    if not prefix.exists():
        return
    (prefix / "tmp").mkdir(exist_ok=True)
    _end_processes(prefix)
    shutil.rmtree(prefix, ignore_errors=True)
    if prefix.exists():  # a process that was just ended may have dropped a file
        shutil.rmtree(prefix)


def _remove_abandoned():
    """Removes the prefixes of tests that were killed: nobody holds those locked."""
    for prefix in BASE.glob("prefix-*"):
        try:
            lock = _lock(prefix, fcntl.LOCK_NB)
        except OSError:
            continue
        with _interruption.postponed():
            _remove(prefix)
            os.close(lock)


def _lock(path, flags=0):
    """A descriptor that holds a file or a folder locked until it is closed."""
    descriptor = os.open(path, os.O_RDONLY)
    try:
        fcntl.flock(descriptor, fcntl.LOCK_EX | flags)
    except OSError:
        os.close(descriptor)
        raise
    return descriptor


@contextlib.contextmanager
def _locked(path):
    path.touch()
    descriptor = _lock(path)
    try:
        yield
    finally:
        os.close(descriptor)


def _find_name(folder, name):
    """The entry of a folder that Windows finds under a name."""
    if not (folder / name).exists() and folder.is_dir():
        for entry in folder.iterdir():
            if entry.name.lower() == name.lower():
                return entry
    return folder / name


class _Interruption:
    """Signals that end the process: each lets `with` statements tidy up first, and comes after what must not be cut
    short."""

    SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)

    def __init__(self):
        self._depth = 0
        self._came = False

    def expect(self):
        """Has the signals come here."""
        for number in self.SIGNALS:
            signal.signal(number, self._handle)

    @contextlib.contextmanager
    def postponed(self):
        self._depth += 1
        try:
            yield
        finally:
            self._depth -= 1
            if self._came and self._depth == 0:
                self._came = False
                raise KeyboardInterrupt

    def _handle(self, *_):
        # Of all exceptions, unittest lets this one alone end a run.
        if self._depth == 0:
            raise KeyboardInterrupt
        self._came = True


_interruption = _Interruption()
