"""The same sources give the same bytes, wherever they are built."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from program import EXE
from wine import ROOT, expect_interruption

LANGUAGES = sorted(table.stem for table in (ROOT / "resources" / "strings").glob("*.txt"))
TARGETS = ["kelo_exe", "kelo_dll", *(f"Internationalization_{language}" for language in LANGUAGES)]
IMAGES = ["KeloCustomAction.exe", "KeloCustomAction.dll"]
FILES = IMAGES + [f"Internationalization_{language}.dll" for language in LANGUAGES]


def copy_of_the_sources(folder):
    """The tracked files as they are now."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, text=True, check=True).stdout
    for name in filter(None, listed.split("\0")):
        target = folder / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if (ROOT / name).is_file():
            shutil.copyfile(ROOT / name, target)
            shutil.copymode(ROOT / name, target)


def build(folder):
    # A compiler cache would answer with what another folder's build gave it.
    environment = {key: value for key, value in os.environ.items() if not key.endswith("_LAUNCHER")}
    for command in (["cmake", "--preset", "windows"],
                    ["cmake", "--build", "--preset", "windows", "-j2", "--target", *TARGETS]):
        subprocess.run(command, cwd=folder, env=environment, stdout=subprocess.DEVNULL, check=True)


class Reproducible(unittest.TestCase):
    def test_another_folder_gives_the_same_bytes(self):
        expect_interruption()
        with tempfile.TemporaryDirectory(prefix="kelo-elsewhere-") as folder:
            sources = pathlib.Path(folder, "another name")
            copy_of_the_sources(sources)
            build(sources)
            for name in FILES:
                with self.subTest(name):
                    again = sources / "build" / "windows" / name
                    self.assertEqual(again.read_bytes() == EXE.with_name(name).read_bytes(), True)
