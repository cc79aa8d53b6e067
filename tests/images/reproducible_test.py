"""The same sources give the same bytes, wherever they are built."""

import os
import pathlib
import shutil
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
ELSEWHERE = ROOT / "build" / "built elsewhere"

LANGUAGES = sorted(table.stem for table in (ROOT / "resources" / "strings").glob("*.txt"))
TARGETS = ["kelo_exe", "kelo_dll", *(f"Internationalization_{language}" for language in LANGUAGES)]
FILES = ["KeloCustomAction.exe", "KeloCustomAction.dll",
         *(f"Internationalization_{language}.dll" for language in LANGUAGES)]

# Ends with the test, whatever ends that, and the compilers with it.
TIED = ["setpriv", "--pdeathsig", "INT"]


def copy_the_sources():
    """Copies the tracked files as they are now."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, text=True, check=True).stdout
    for name in filter(None, listed.split("\0")):
        target = ELSEWHERE / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if (ROOT / name).is_file():
            shutil.copyfile(ROOT / name, target)
            shutil.copymode(ROOT / name, target)


def build():
    # A compiler cache would answer with what another folder's build gave it.
    environment = {key: value for key, value in os.environ.items() if not key.endswith("_LAUNCHER")}
    for command in (["cmake", "--preset", "windows"], [*TIED, "ninja", "-C", "build/windows", *TARGETS]):
        subprocess.run(command, cwd=ELSEWHERE, env=environment, stdout=subprocess.DEVNULL, check=True)


class Reproducible(unittest.TestCase):
    def setUp(self):
        shutil.rmtree(ELSEWHERE, ignore_errors=True)  # of a test that was interrupted
        self.addCleanup(shutil.rmtree, ELSEWHERE)

    def test_another_folder_gives_the_same_bytes(self):
        copy_the_sources()
        build()
        for name in FILES:
            with self.subTest(name):
                first, again = (folder / "build" / "windows" / name for folder in (ROOT, ELSEWHERE))
                self.assertEqual(first.read_bytes() == again.read_bytes(), True)
