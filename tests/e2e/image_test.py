"""The two images for Windows: what they are, what they need, and how they are protected."""

import unittest

import pe
from program import DLL, EXE

# Every library that the program may need. All are part of Windows.
WINDOWS_LIBRARIES = {"advapi32.dll", "kernel32.dll", "msi.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "psapi.dll",
                     "shell32.dll", "user32.dll", "version.dll", "winscard.dll"}

SUPPORTED_WINDOWS = {
    "Windows Vista": "{e2011457-1546-43c5-a5fe-008deee3d3f0}",
    "Windows 7": "{35138b9a-5d96-4fbd-8e2d-a2440225f93a}",
    "Windows 8": "{4a2f28e3-53b9-4441-ba9c-d69d4a4a6e38}",
    "Windows 8.1": "{1f676c76-80e1-4239-95bb-83d0f6d0da78}",
    "Windows 10": "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}",
}

LARGEST_SIZE = 256 * 1024


class BothImages(unittest.TestCase):
    def each(self):
        for path in (EXE, DLL):
            with self.subTest(path.name):
                yield path, pe.Image(path)

    def test_are_for_64_bits(self):
        for _, image in self.each():
            self.assertEqual((image.machine, image.magic), (pe.MACHINE_AMD64, pe.MAGIC_64_BIT))

    def test_need_nothing_but_windows(self):
        for _, image in self.each():
            self.assertLessEqual({name.lower() for name in image.imported_libraries}, WINDOWS_LIBRARIES)

    def test_run_at_random_addresses_without_executable_data(self):
        wanted = pe.HIGH_ENTROPY | pe.DYNAMIC_BASE | pe.NX_COMPATIBLE
        for _, image in self.each():
            self.assertEqual(image.dll_characteristics & wanted, wanted)

    def test_can_execute_nothing_that_they_can_write(self):
        for _, image in self.each():
            both = pe.EXECUTABLE | pe.WRITABLE
            self.assertIn(".text", image.section_rights)
            self.assertEqual([name for name, rights in image.section_rights.items() if rights & both == both], [])

    def test_offer_one_function(self):
        for _, image in self.each():
            self.assertEqual(image.exported_names, ["SRK_Auth_Change"])

    def test_keep_their_relocations(self):
        for _, image in self.each():
            self.assertFalse(image.characteristics & pe.RELOCATIONS_STRIPPED)
            self.assertGreater(image.relocations_size, 0)

    def test_are_small(self):
        for path, _ in self.each():
            self.assertLessEqual(path.stat().st_size, LARGEST_SIZE)

    def test_say_whose_they_are(self):
        for path, image in self.each():
            resource = image.resource(pe.RESOURCE_VERSION)
            self.assertEqual(pe.version_text(resource, "CompanyName"), "Kelo Systems Corp.")
            self.assertEqual(pe.version_text(resource, "OriginalFilename"), path.name)
            self.assertRegex(pe.version_text(resource, "FileVersion"), r"^\d+\.\d+\.\d+\.\d+$")


class Program(unittest.TestCase):
    def setUp(self):
        self.image = pe.Image(EXE)
        self.manifest = self.image.resource(pe.RESOURCE_MANIFEST).decode()

    def test_has_no_console(self):
        self.assertEqual(self.image.subsystem, pe.SUBSYSTEM_GUI)

    def test_runs_elevated(self):
        self.assertIn('level="requireAdministrator"', self.manifest)

    def test_is_told_the_true_version_of_every_supported_windows(self):
        for name, identifier in SUPPORTED_WINDOWS.items():
            with self.subTest(name):
                self.assertIn(f'<supportedOS Id="{identifier}"/>', self.manifest)
