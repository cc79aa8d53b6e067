"""KeloDescribe.exe: one file that needs nothing but Windows' own libraries, and no administrator."""

import unittest

import pe
from paths import WINDOWS

WINDOWS_LIBRARIES = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "psapi.dll", "shell32.dll",
                     "user32.dll", "version.dll", "winscard.dll"}


class DescribeImage(unittest.TestCase):
    def setUp(self):
        self.image = pe.Image(WINDOWS / "KeloDescribe.exe")

    def test_needs_only_libraries_of_windows(self):
        self.assertEqual({library.lower() for library in self.image.imports} - WINDOWS_LIBRARIES, set())

    def test_asks_for_no_administrator_and_is_told_the_same_version_as_the_program(self):
        own = self.image.resource(pe.RESOURCE_MANIFEST).decode()
        program = pe.Image(WINDOWS / "KeloCustomAction.exe").resource(pe.RESOURCE_MANIFEST).decode()
        self.assertIn('level="asInvoker"', own)
        self.assertEqual(own[own.index("<compatibility"):], program[program.index("<compatibility"):])
