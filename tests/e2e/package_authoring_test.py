"""The authoring of the installer package for each WiX, and the package that make_package makes of it."""

import collections
import re
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as ET
from pathlib import Path

from package import authoring, tables
from package.authoring import WIX_3, WIX_4
from package.tables import PACKAGING, PERMANENT, SAMPLE, SAMPLE_SOURCE
from paths import ROOT, WINDOWS

# In packaging/, which paths.py lets be found.
from wix_source import HIDE_TARGET, IN_SCRIPT, SET_PROPERTY

NAMESPACE_3, NAMESPACE_4 = "http://schemas.microsoft.com/wix/2006/wi", "http://wixtoolset.org/schemas/v4/wxs"
NAMESPACES = {WIX_3: NAMESPACE_3, SAMPLE_SOURCE: NAMESPACE_3, WIX_4: NAMESPACE_4}

# The compilers make these of the properties' attributes.
MADE_BY_COMPILERS = {"MsiHiddenProperties", "SecureCustomProperties", "AdminProperties"}

# Attributes that later versions have renamed or dropped.
OF_WIX_3 = {"Win64", "BinaryKey", "FileKey", "SourceFile"}


def document():
    return (ROOT / "docs" / "installer_package.md").read_text(encoding="utf-8")


def documented_actions():
    """The documented actions: type, place and condition of each."""
    rows = re.findall(r"^\| `(\w+)` +\| (\d+) +\| (\d+) +\| (?:`(.+)`|always) +\|$", document(), re.MULTILINE)
    return {action: (int(kind), int(place), condition) for action, kind, place, condition in rows}


def documented_properties():
    """The documented properties, by who sets them."""
    found = collections.defaultdict(set)
    for name, who in re.findall(r"^\| `(\w+)` +\| (whoever installs|the author) +\|", document(), re.MULTILINE):
        found[who].add(name)
    return found


class ThreeCompilers(unittest.TestCase):
    """WiX 3, WiX 4 and 5, and wixl make the same package."""

    def setUp(self):
        self.maxDiff = None
        self.wix_3 = authoring.of_source(WIX_3)

    def test_later_versions_say_the_same(self):
        self.assertEqual(authoring.of_source(WIX_4), self.wix_3)

    def test_wixl_makes_the_same(self):
        self.assertEqual(authoring.of_package(SAMPLE, self.wix_3), self.wix_3)

    def test_actions_are_as_documented(self):
        seen = {action: (kind, *self.wix_3["sequence"][action])
                for action, (kind, *_) in self.wix_3["actions"].items()}
        self.assertEqual(seen, documented_actions())

    def test_sample_provides_what_is_documented(self):
        names = {
            "Directory": {row["Directory"] for row in tables.table(SAMPLE, "Directory")},
            "File": {row["File"] for row in tables.table(SAMPLE, "File")},
            "Binary": {row["Name"] for row in tables.table(SAMPLE, "Binary")},
            "ComponentRef": {row["Component_"] for row in tables.table(SAMPLE, "FeatureComponents")},
        }
        names["File"] |= {tables.long_name(row["FileName"]) for row in tables.table(SAMPLE, "File")}
        rows = re.findall(r"^\| (Directory|File|Binary|ComponentRef) `([\w.]+)`", document(), re.MULTILINE)
        self.assertEqual([row for row in rows if row[1] not in names[row[0]]], [])
        # The fragment refers to nothing else.
        documented = {name for _, name in rows}
        needed = {binary for kind, binary, _ in self.wix_3["actions"].values() if kind & 0x3F == 1}
        self.assertLessEqual(needed | self.wix_3["components"].keys(), documented)

    def test_properties_are_as_documented(self):
        self.assertEqual(self.wix_3["secure"], documented_properties()["whoever installs"])
        # No command line reaches properties with lower-case letters, which only the author sets.
        for name in documented_properties()["the author"]:
            self.assertRegex(name, "[a-z]")


class Sources(unittest.TestCase):
    """The compilers' demands on a source."""

    def each(self):
        for path in NAMESPACES:
            with self.subTest(path.name):
                yield path, ET.parse(path).getroot()

    def test_are_in_the_namespace_of_their_version(self):
        for path, root in self.each():
            self.assertTrue(root.tag.startswith("{" + NAMESPACES[path] + "}"), root.tag)

    def test_leave_lists_of_properties_to_the_compilers(self):
        for _, root in self.each():
            names = {element.get("Id") for element in root.iter() if element.tag.endswith("}Property")}
            self.assertEqual(names & MADE_BY_COMPILERS, set())

    def test_define_each_property_once(self):
        for fragment in (WIX_3, WIX_4):
            names = [element.get("Id") for path in (fragment, SAMPLE_SOURCE)
                     for element in ET.parse(path).getroot().iter() if element.tag.endswith("}Property")]
            self.assertEqual(sorted(set(names)), sorted(names))

    def test_of_later_versions_use_their_names(self):
        for element in ET.parse(WIX_4).getroot().iter():
            self.assertEqual(element.attrib.keys() & OF_WIX_3, set())
            if element.tag.rpartition("}")[2] not in ("Include", "CustomAction"):
                self.assertEqual((element.text or "").strip(), "")


class Sequence(unittest.TestCase):
    """The places of the actions among the installer's own."""

    def setUp(self):
        self.types = {row["Action"]: int(row["Type"]) for row in tables.table(SAMPLE, "CustomAction")}
        self.functions = {row["Action"]: row["Target"] for row in tables.table(SAMPLE, "CustomAction")}
        self.sequence = {row["Action"]: row for row in tables.table(SAMPLE, "InstallExecuteSequence")}

    def order(self, *actions):
        self.assertEqual(sorted(actions, key=lambda action: int(self.sequence[action]["Sequence"])), list(actions))

    def test_choices_are_found_before_they_are_checked_and_before_an_older_version_goes(self):
        self.order("KeloChoices", "LaunchConditions", "RemoveExistingProducts", "KeloSetupCommand")

    def test_removal_comes_before_everything_that_it_needs_is_removed(self):
        self.order("InstallInitialize", "KeloUninstallRollback", "KeloUninstall", "StopServices",
                   "RemoveRegistryValues", "RemoveFiles")

    def test_older_version_is_removed_within_the_transaction_before_the_files(self):
        self.order("InstallInitialize", "RemoveExistingProducts", "StopServices", "InstallFiles")

    def test_service_stops_before_files_and_set_up(self):
        self.order("StopServices", "RemoveFiles", "InstallFiles", "KeloSetup")

    def test_set_up_comes_after_its_files_and_values_and_before_the_srk_change(self):
        self.order("InstallFiles", "WriteRegistryValues", "KeloRollback", "KeloSetup", "SRK_Auth_Change",
                   "KeloCommitNow", "InstallFinalize", "KeloRestart")

    def test_each_action_of_the_script_gets_its_data_just_before(self):
        for action, kind in self.types.items():
            data = "KeloSrkData" if action == "SRK_Auth_Change" else action + "Data"
            if kind & IN_SCRIPT and self.functions[action] != "ForgetLogonTask":
                with self.subTest(action):
                    self.order(data, action)
                    self.assertEqual(self.sequence[data]["Condition"], self.sequence[action]["Condition"])

    def test_each_action_that_takes_time_has_a_progress_text(self):
        with_text = {row["Action"] for row in tables.table(SAMPLE, "ActionText")}
        self.assertEqual({action for action, kind in self.types.items() if kind & 0x3F != SET_PROPERTY}, with_text)

    def test_only_a_first_installation_is_taken_back(self):
        # Wine 8 cannot show it: there a failed repair is not rolled back at all.
        self.assertEqual(self.sequence["KeloRollback"]["Condition"], "NOT Installed")

    def test_password_is_hidden_on_its_way(self):
        data = next(row for row in tables.table(SAMPLE, "CustomAction") if row["Action"] == "KeloSrkData")
        self.assertTrue(data["Target"].endswith(" /PASSWORD=[TPM_OWNER_PASSWORD]"))
        self.assertLessEqual({"TPM_OWNER_PASSWORD", data["Source"]}, tables.hidden_properties(SAMPLE))
        for action in ("KeloSrkData", "SRK_Auth_Change"):
            self.assertTrue(self.types[action] & HIDE_TARGET, action)


class Tables(unittest.TestCase):
    """The parts that make_package adds because wixl leaves them out."""

    def test_images_have_their_version_and_language(self):
        version = tables.properties(SAMPLE)["ProductVersion"]
        files = {tables.long_name(row["FileName"]): (row["Version"], row["Language"])
                 for row in tables.table(SAMPLE, "File")}
        for name in ("KeloCustomAction.exe", "KeloEventMessages.dll"):
            self.assertEqual(files[name], (f"{version}.0", "1033"))
        self.assertEqual(files["KeloKSP.dll"], ("", ""))

    def test_version_is_the_build_s(self):
        project = re.search(r"^project\(.* VERSION (\S+) ", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"),
                            re.MULTILINE)
        self.assertEqual(tables.properties(SAMPLE)["ProductVersion"], project[1])

    def test_only_files_without_a_version_have_a_hash(self):
        hashed = {row["File_"] for row in tables.table(SAMPLE, "MsiFileHash")}
        self.assertEqual(hashed, {row["File"] for row in tables.table(SAMPLE, "File") if not row["Version"]})

    def test_each_column_can_be_validated(self):
        described = {(row["Table"], row["Column"]) for row in tables.table(SAMPLE, "_Validation")}
        there = {(name, column) for name in tables.tables(SAMPLE) for column in tables.columns(SAMPLE, name)}
        self.assertEqual(described, there)

    def test_each_name_has_a_short_one_of_its_own(self):
        folder_of = {row["Component"]: row["Directory_"] for row in tables.table(SAMPLE, "Component")}
        names = [(folder_of[row["Component_"]], row["FileName"]) for row in tables.table(SAMPLE, "File")]
        names += [(row["Directory_Parent"], row["DefaultDir"]) for row in tables.table(SAMPLE, "Directory")
                  if row["DefaultDir"] not in (".", "SourceDir")]
        short = [(folder, name.partition("|")[0].upper()) for folder, name in names]
        self.assertEqual(sorted(set(short)), sorted(short))
        for _, name in short:
            self.assertRegex(name, r"^[\w~-]{1,8}(\.[\w~-]{1,3})?$")
        self.assertIn("KELOCU~1.EXE", dict(map(reversed, short)))

    def test_what_goes_to_the_system_folder_stays(self):
        permanent = {row["Component"] for row in tables.table(SAMPLE, "Component")
                     if int(row["Attributes"]) & PERMANENT}
        in_system_folder = {row["Component"] for row in tables.table(SAMPLE, "Component")
                            if row["Directory_"] == "System64Folder"}
        self.assertEqual(permanent, in_system_folder)

    def test_no_command_line_moves_a_folder(self):
        # Except the root, which is empty: all folders are below folders of Windows.
        public = {name for name in tables.folders(SAMPLE) if not re.search("[a-z]", name)}
        self.assertEqual(public, {"TARGETDIR"})

    def test_texts_of_every_language_are_shipped(self):
        shipped = {tables.long_name(row["FileName"]) for row in tables.table(SAMPLE, "File")}
        built = {path.stem for path in (ROOT / "resources" / "strings").glob("*.txt")}
        self.assertLessEqual({f"Internationalization_{language}.dll" for language in built}, shipped)

    def test_files_that_are_only_copied_differ_in_size(self):
        # The tests recognise them by their sizes.
        sizes = [path.stat().st_size for path in (PACKAGING / "sample" / "stand_ins").iterdir()]
        self.assertEqual(len(set(sizes)), len(sizes))


class MakePackage(unittest.TestCase):
    def make(self, *arguments, cwd):
        return subprocess.run([PACKAGING / "make_package", *arguments], cwd=cwd, capture_output=True, text=True,
                              check=False)

    def test_takes_folders_from_any_current_folder(self):
        with tempfile.TemporaryDirectory(dir=WINDOWS) as folder:
            package = Path(folder, "relative.msi")
            done = self.make("relative.msi", "../../../packaging/sample/kelo_toolkit.wxs", "-D", "KELO_VERSION=2.3.4",
                             "..", "../../../packaging/sample", cwd=folder)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertEqual(tables.properties(package)["ProductVersion"], "2.3.4")

    def test_leaves_no_package_when_a_file_is_missing(self):
        with tempfile.TemporaryDirectory() as folder:
            done = self.make("x.msi", SAMPLE_SOURCE, "-D", "KELO_VERSION=1.0.0", cwd=folder)
            self.assertNotEqual(done.returncode, 0)
            self.assertEqual(list(Path(folder).iterdir()), [])
