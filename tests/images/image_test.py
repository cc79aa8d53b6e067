"""The two images for Windows: their kind, their imports, and how they are protected."""

import pathlib
import re
import subprocess
import unittest

import pe
from paths import WINDOWS

# In tests/support/, which paths.py lets be found.
from delayed import delayed

EXE = WINDOWS / "KeloCustomAction.exe"
DLL = EXE.with_suffix(".dll")

# Every function of Windows that the program may need, after its library's name in brackets.
ALLOWED_IMPORTS = pathlib.Path(__file__).with_name("allowed_imports.txt")

# Functions that 5.2 lacks, each with the reason after a colon.
MISSING_ON_5_2 = pathlib.Path(__file__).with_name("missing_on_5_2.txt")

# Functions that the images look up at the first call instead of importing them.
DELAYED = {name for _, name in delayed("program_calls.cpp")}

COMPILER = "x86_64-w64-mingw32-g++-posix"
# The headers of Windows that declare the functions of its libraries, except the C runtime's.
HEADERS = ["windows.h", "aclapi.h", "msi.h", "msiquery.h", "objbase.h", "oleauto.h", "psapi.h", "sddl.h", "shellapi.h", "shlobj.h",
           "winscard.h", "winver.h"]
C_RUNTIME = "msvcrt.dll"

SUPPORTED_WINDOWS = {
    "Windows Vista": "{e2011457-1546-43c5-a5fe-008deee3d3f0}",
    "Windows 7": "{35138b9a-5d96-4fbd-8e2d-a2440225f93a}",
    "Windows 8": "{4a2f28e3-53b9-4441-ba9c-d69d4a4a6e38}",
    "Windows 8.1": "{1f676c76-80e1-4239-95bb-83d0f6d0da78}",
    "Windows 10": "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}",
}

# Libraries that Windows, since 5.2, takes from its system folder only, whatever lies beside a program.
KNOWN_LIBRARIES = {"advapi32.dll", "kernel32.dll", C_RUNTIME, "shell32.dll"}

LARGEST_SIZE = 160 * 1024


def allowed_imports():
    """Pairs of a library and a name."""
    library = None
    for line in ALLOWED_IMPORTS.read_text(encoding="utf-8").splitlines():
        if line.startswith("["):
            library = line.strip("[]")
        elif line and not line.startswith("#"):
            yield library, line


def missing_on_5_2():
    lines = MISSING_ON_5_2.read_text(encoding="utf-8").splitlines()
    return {line.partition(": ")[0] for line in lines if not line.startswith("#")}


def headers_of(version):
    """The text of Windows' headers for programs that run on a version and later ones."""
    source = "".join(f"#include <{header}>\n" for header in HEADERS)
    command = [COMPILER, "-E", "-x", "c++", f"-D_WIN32_WINNT={version}", "-DPSAPI_VERSION=1", "-"]
    return subprocess.run(command, input=source, capture_output=True, text=True, check=True).stdout


def imports_of(image):
    return {(library.lower(), name) for library, names in image.imports.items() for name in names}


class BothImages(unittest.TestCase):
    def each(self):
        for path in (EXE, DLL):
            with self.subTest(path.name):
                yield path, pe.Image(path)

    def test_are_for_64_bits(self):
        for _, image in self.each():
            self.assertEqual((image.machine, image.magic), (pe.MACHINE_AMD64, pe.MAGIC_64_BIT))

    def test_import_from_known_libraries_alone(self):
        for _, image in self.each():
            self.assertEqual({library.lower() for library in image.imports}, KNOWN_LIBRARIES)

    def test_take_what_they_import_from_the_system_folder(self):
        for _, image in self.each():
            self.assertEqual(image.dependent_load_flags, pe.SEARCH_SYSTEM_FOLDER)

    def test_import_what_is_allowed(self):
        for _, image in self.each():
            self.assertEqual(sorted(imports_of(image) - set(allowed_imports())), [])

    def test_import_all_that_is_allowed(self):
        imported = set().union(*(imports_of(image) for _, image in self.each()))
        self.assertEqual([allowed for allowed in allowed_imports() if allowed not in imported], [])

    def test_import_nothing_that_windows_5_2_lacks(self):
        for _, image in self.each():
            needed = {name for _, name in imports_of(image)} | DELAYED
            self.assertEqual(sorted(needed & missing_on_5_2()), [])

    def test_import_only_what_the_headers_give_to_windows_5_2(self):
        declared = set(re.findall(r"\b(\w+)\s*\(", headers_of("0x0502")))
        self.assertNotIn("GetTickCount64", declared)
        names = {name for library, name in allowed_imports() if library != C_RUNTIME}
        self.assertEqual(sorted((names | DELAYED) - declared), [])

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
