"""The folders of prefixes: each is a copy of what tests need of one template, locked while it is used, and removed
afterwards."""

import collections
import contextlib
import fcntl
import itertools
import os
import pathlib
import shutil
import struct
import tempfile
import zlib

from paths import ROOT
from wine import commands, notes
from wine.interruption import interruption

BASE = ROOT / "build" / "wine"

# What a prefix has of the template: the folders that these patterns fit, and the files in them. Wine makes a hundred
# others, and to make them anew would take longer than all else.
FOLDERS = ["dosdevices", "drive_c/Program Files", "drive_c/ProgramData", "drive_c/users/*/Temp",
           "drive_c/users/*/AppData/Local/Microsoft/Windows/*", "drive_c/windows",
           "drive_c/windows/globalization/sorting", "drive_c/windows/system32", "drive_c/windows/system32/wbem",
           "drive_c/windows/syswow64", "drive_c/windows/temp"]

# The files that programs and Wine's server write to. All others are images and tables: all prefixes share them.
WRITTEN = (".reg", ".ini")

PROCESSORS = os.sched_getaffinity(0)

# Services and drivers of Wine that no test needs, and that would start with every prefix.
NOT_NEEDED_SERVICES = ["Eventlog", "MountMgr", "NDIS", "nsiproxy", "PlugPlay"]
ON_DEMAND = 3

# Keys of Wine that no test needs: classes and countries, which each server would read when it begins and each snapshot
# of a machine would hold; a program that would start with every prefix; and devices whose drivers would start
# nevertheless.
NOT_NEEDED_KEYS = [r"Software\Classes", r"Software\Microsoft\Windows\CurrentVersion\Telephony",
                   r"Software\Microsoft\Windows\CurrentVersion\RunServices", r"System\CurrentControlSet\Enum\ROOT"]

# The ways into Wine's own WMI: the only classes of Wine that tests create.
WMI_LOCATORS = ["{4590F811-1D3A-11D0-891F-00AA004B2E24}", "{CB8555CC-9128-11D1-AD9B-00C04FD8FDFF}"]

# Each program that starts looks through the time zones for its own. These are the tests' own: bias in minutes, and when
# daylight saving time ends and begins (month, week, hour).
TIME_ZONES = {
    "Greenwich Standard Time": (0, (0, 0, 0), (0, 0, 0)),
    "Eastern Standard Time": (300, (11, 1, 2), (3, 2, 2)),
}
TIME_ZONES_KEY = r"Software\Microsoft\Windows NT\CurrentVersion\Time Zones"
DAYLIGHT_BIAS = -60


def _time_zone(name):
    """The part of a .reg file with a time zone."""
    bias, *changes = TIME_ZONES[name]
    data = struct.pack("<3i", bias, 0, DAYLIGHT_BIAS) + b"".join(
        struct.pack("<8H", 0, month, 0, week, hour, 0, 0, 0) for month, week, hour in changes)
    return f"""
[HKEY_LOCAL_MACHINE\\{TIME_ZONES_KEY}\\{name}]
"Std"="{name}"
"Dlt"="{name.replace("Standard", "Daylight")}"
"TZI"=hex:{data.hex(",")}
"""


# The settings of every prefix, as a .reg file. A service may take as long to answer as on Windows: Wine's service
# manager would wait ten seconds, too few on a busy machine (1053). It takes this number as a text only.
SETTINGS = r"""Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control]
"ServicesPipeTimeout"="30000"
""" + notes.setting(notes.EXIT) + "".join(f"""
[HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\{name}]
"Start"=dword:{ON_DEMAND:08x}
""" for name in NOT_NEEDED_SERVICES) + "".join(f"""
[-HKEY_LOCAL_MACHINE\\{key}]
""" for key in (*NOT_NEEDED_KEYS, TIME_ZONES_KEY)) + "".join(f"""
[HKEY_LOCAL_MACHINE\\Software\\Classes\\CLSID\\{locator}\\InprocServer32]
@="C:\\\\windows\\\\system32\\\\wbem\\\\wbemprox.dll"
"ThreadingModel"="Both"
""" for locator in WMI_LOCATORS) + "".join(map(_time_zone, TIME_ZONES))


class Folder:
    """A prefix's folder."""

    path = None
    _lock = None

    def make(self):
        """From now on the current process runs on the folder's processor."""
        BASE.mkdir(parents=True, exist_ok=True)
        with _locked(BASE / "lock"):
            template = _template()
            _remove_abandoned()
            with interruption.postponed():
                processor = _least_used_processor()
                self.path = pathlib.Path(tempfile.mkdtemp(prefix=f"prefix-{processor}-", dir=BASE))
                self._lock = _lock(self.path)
        # Programs and Wine's server take turns: that costs the least on the same processor.
        os.sched_setaffinity(0, {processor})
        _copy_files(template, self.path)
        for folder in itertools.chain.from_iterable(map(template.glob, FOLDERS)):
            copy = self.path / folder.relative_to(template)
            copy.mkdir(parents=True)
            _copy_files(folder, copy)
        (self.path / "tmp").mkdir()

    def remove(self):
        """Removes it, if it was made."""
        if self._lock is not None:
            _remove(self.path)
            os.close(self._lock)
            self._lock = None


def wine_version():
    """Such as "wine-8.0"."""
    return commands.wine_version(BASE)


def _template():
    """The template for the installed Wine and the settings, made when it is not there yet."""
    template = BASE / f"template-{wine_version()}-{zlib.crc32(SETTINGS.encode()):08x}"
    if template.exists():
        return template
    new = BASE / "new-template"
    _remove(new)
    (new / "tmp").mkdir(parents=True)
    try:
        (new / commands.FONTS).write_text("<fontconfig/>", encoding="ascii")
        (new / "settings.reg").write_text(SETTINGS, encoding="utf-16")
        # The program that starts the server makes folders that Wine's set-up needs: no server runs before it.
        for command in (["wine", "wineboot", "-i"], ["wine", commands.REGEDIT, "/S", "settings.reg"],
                        ["wineserver", "-w"]):
            status, _, _ = commands.run(new, command, timeout=300)
            if status != 0:
                raise RuntimeError(f"{' '.join(command)} ended with {status}")
    except BaseException:
        with interruption.postponed():
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


def _copy_files(folder, target):
    # These are seven hundred: Path objects and shutil.copytree would take twice the time.
    with os.scandir(folder) as entries:
        for entry in entries:
            place = f"{target}/{entry.name}"
            if entry.is_symlink():
                os.symlink(os.readlink(entry.path), place)
            elif entry.name.endswith(WRITTEN):
                shutil.copyfile(entry.path, place)
            elif entry.is_file():
                _share(entry.path, place)


def _share(file, place):
    try:
        os.link(file, place)
    except OSError:  # not every file system has links
        shutil.copy2(file, place)


def _remove(prefix):
    """Ends what runs in a prefix and removes it."""
    if not prefix.exists():
        return
    if commands.has_server(prefix):
        commands.end_processes(prefix)
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
        with interruption.postponed():
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
