"""The proof kit: its programs and libraries can be loaded by every 64-bit Windows, and the same files make the same
zip."""

import hashlib
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import zipfile

import pe
from image_test import C_RUNTIME, headers_of, missing_on_5_2
from paths import ROOT, WINDOWS

KIT = WINDOWS / "proof_kit.zip"
# What the sample package brings besides the product.
STAND_INS = ("service_program.exe", "described_program.exe", "CertJobPlanner.dll", "stkprobe.dll")


class ProofKit(unittest.TestCase):
    def images(self):
        with zipfile.ZipFile(KIT) as kit, tempfile.TemporaryDirectory() as folder:
            kit.extractall(folder)
            places = [*pathlib.Path(folder).rglob("*.exe"), *(WINDOWS / name for name in STAND_INS)]
            self.assertGreater(len(places), 6)
            for place in places:
                yield place.name, pe.Image(place)

    def test_imports_nothing_that_windows_5_2_lacks(self):
        declared = set(re.findall(r"\b(\w+)\s*\(", headers_of("0x0502")))
        for name, image in self.images():
            imported = {function for library, functions in image.imports.items() for function in functions
                        if library.lower() != C_RUNTIME}
            everything = {function for functions in image.imports.values() for function in functions}
            self.assertEqual((name, sorted(imported - declared), sorted(everything & missing_on_5_2())), (name, [], []))

    def test_the_same_files_make_the_same_zip(self):
        before = hashlib.sha256(KIT.read_bytes()).hexdigest()
        with tempfile.TemporaryDirectory() as folder:
            again = pathlib.Path(folder, "kit.zip")
            subprocess.run([sys.executable, "-B", ROOT / "proof" / "make_kit.py", again], check=True)
            self.assertEqual(hashlib.sha256(again.read_bytes()).hexdigest(), before)
