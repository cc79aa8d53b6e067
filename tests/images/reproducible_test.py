"""The same sources give the same bytes, wherever they are built."""

import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import unittest

from paths import ROOT, WINDOWS

PRESET = "windows"

LANGUAGES = sorted(table.stem for table in (ROOT / "resources" / "strings").glob("*.txt"))
FILES = ["KeloCustomAction.exe", "KeloCustomAction.dll", "KeloPackage.dll", "KeloEventMessages.dll",
         *(f"Internationalization_{language}.dll" for language in LANGUAGES)]

FOLDER = pathlib.Path("build", PRESET)

# Ninja ends with the test, whatever ends the test, and the compilers end with ninja.
NINJA = ["setpriv", "--pdeathsig", "TERM", "ninja", "-j", str(os.cpu_count()), "-C", FOLDER, "kelo_images"]


def copy_the_sources(folder):
    """Copies the tracked files as they are now."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, text=True, check=True).stdout
    for name in filter(None, listed.split("\0")):
        target = folder / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if (ROOT / name).is_file():
            shutil.copyfile(ROOT / name, target)
            shutil.copymode(ROOT / name, target)


def build(folder):
    """Builds the images. Returns the build's exit status."""
    # A compiler cache would return what it kept of another folder's build.
    environment = {key: value for key, value in os.environ.items() if not key.endswith("_LAUNCHER")}
    subprocess.run(["cmake", "--preset", PRESET], cwd=folder, env=environment, stdout=subprocess.DEVNULL, check=True)
    ninja = subprocess.Popen(NINJA, cwd=folder, env=environment, stdout=subprocess.DEVNULL)
    try:
        return ninja.wait()
    finally:  # an interruption, too, ends the compilers
        ninja.terminate()
        ninja.wait()


class Reproducible(unittest.TestCase):
    def test_another_folder_gives_the_same_bytes(self):
        signal.signal(signal.SIGTERM, signal.default_int_handler)  # lets the folder be removed first
        with tempfile.TemporaryDirectory(prefix="kelo-elsewhere-") as elsewhere:
            sources = pathlib.Path(elsewhere, "another name")
            copy_the_sources(sources)
            self.assertEqual(build(sources), 0)
            for name in FILES:
                with self.subTest(name):
                    again = sources / FOLDER / name
                    self.assertTrue(again.read_bytes() == (WINDOWS / name).read_bytes())
