"""The package's own library and the file of event texts: their exports, their imports, and how they are protected."""

import unittest

import pe
from image_test import EXE, KNOWN_LIBRARIES
from paths import WINDOWS

LIBRARY, EVENT_MESSAGES = WINDOWS / "KeloPackage.dll", WINDOWS / "KeloEventMessages.dll"
LARGEST_SIZE = 32 * 1024
RESOURCE_MESSAGES = 11


class Library(unittest.TestCase):
    def setUp(self):
        self.image = pe.Image(LIBRARY)

    def test_offers_the_actions(self):
        self.assertEqual(self.image.exported_names, ["AnnounceProgram", "AskForRestart", "FindChoices", "ForgetLogonTask",
                                                     "NotePendingMoves", "RunProgram", "RunSetup"])

    def test_imports_from_known_libraries_alone(self):
        self.assertEqual({library.lower() for library in self.image.imports}, KNOWN_LIBRARIES)

    def test_takes_what_it_imports_from_the_system_folder(self):
        self.assertEqual(self.image.dependent_load_flags, pe.SEARCH_SYSTEM_FOLDER)

    def test_runs_at_random_addresses_without_executable_data(self):
        wanted = pe.HIGH_ENTROPY | pe.DYNAMIC_BASE | pe.NX_COMPATIBLE
        self.assertEqual(self.image.dll_characteristics & wanted, wanted)
        self.assertGreater(self.image.relocations_size, 0)
        both = pe.EXECUTABLE | pe.WRITABLE
        self.assertEqual([name for name, rights in self.image.section_rights.items() if rights & both == both], [])

    def test_is_small(self):
        self.assertLessEqual(LIBRARY.stat().st_size, LARGEST_SIZE)


class EventMessages(unittest.TestCase):
    def test_are_in_a_file_that_needs_and_starts_nothing(self):
        image = pe.Image(EVENT_MESSAGES)
        self.assertEqual((image.imports, image.entry_point), ({}, 0))
        self.assertNotEqual(image.resource(RESOURCE_MESSAGES), b"")

    def test_are_nowhere_else(self):
        self.assertEqual(pe.Image(EXE).resource(RESOURCE_MESSAGES), b"")


class Versions(unittest.TestCase):
    def test_are_the_program_s(self):
        wanted = pe.version_text(pe.Image(EXE).resource(pe.RESOURCE_VERSION), "FileVersion")
        for path in (LIBRARY, EVENT_MESSAGES):
            resource = pe.Image(path).resource(pe.RESOURCE_VERSION)
            self.assertEqual(pe.version_text(resource, "FileVersion"), wanted)
            self.assertEqual(pe.version_text(resource, "OriginalFilename"), path.name)
