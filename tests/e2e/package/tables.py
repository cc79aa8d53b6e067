"""Installer packages: what their tables say, and variants of them."""

import re
import subprocess
import tempfile

from paths import ROOT, WINDOWS
from wine.commands import MOST_SECONDS

PACKAGING = ROOT / "packaging"
SAMPLE_SOURCE = PACKAGING / "sample" / "kelo_toolkit.wxs"
SAMPLE = WINDOWS / "kelo_toolkit_sample.msi"

# The folders that Windows names, as they are under Wine.
STANDARD_FOLDERS = {"TARGETDIR": "C:", "ProgramFiles64Folder": r"C:\Program Files",
                    "System64Folder": r"C:\windows\system32"}
ROOTS = {"2": "HKLM"}

PERMANENT, ALWAYS_64_BIT = 16, 256  # attributes of a component


def tables(package):
    """The names of the tables that tools may check; the others are the database's own."""
    listed = subprocess.run(["msiinfo", "tables", package], capture_output=True, text=True, check=True,
                            timeout=MOST_SECONDS).stdout.split()
    return {name for name in listed if name == "_Validation" or not name.startswith("_")}


def columns(package, name):
    return _exported(package, name)[0].split("\t")


def properties(package):
    return {row["Property"]: row["Value"] for row in table(package, "Property")}


def table(package, name):
    """The rows of a package's table, each by its columns."""
    head, _types, _keys, *rows = [line.split("\t") for line in _exported(package, name)]
    return [dict(zip(head, row)) for row in rows]


def _exported(package, name):
    with tempfile.TemporaryDirectory() as folder:  # where the streams of a table are written, if it has any
        return subprocess.run(["msiinfo", "export", package, name], cwd=folder, capture_output=True, text=True,
                              check=True, timeout=MOST_SECONDS).stdout.splitlines()


def variant(package, target, *statements):
    """A copy of a package with its tables changed."""
    target.write_bytes(package.read_bytes())
    for statement in statements:
        subprocess.run(["msibuild", target, "-q", statement], stdout=subprocess.DEVNULL, check=True,
                       timeout=MOST_SECONDS)


def build(target, version):
    """Makes the sample package of another version."""
    subprocess.run([PACKAGING / "make_package", target, SAMPLE_SOURCE, "-D", f"KELO_VERSION={version}", WINDOWS,
                    PACKAGING / "sample"], check=True, timeout=MOST_SECONDS)


def long_name(names):
    """The name of a file or a folder without the short one that may come before it."""
    return names.rpartition("|")[2]


def folders(package):
    """Where the package's folders are."""
    rows = {row["Directory"]: row for row in table(package, "Directory")}

    def path(name):
        if name in STANDARD_FOLDERS:
            return STANDARD_FOLDERS[name]
        return path(rows[name]["Directory_Parent"]) + "\\" + long_name(rows[name]["DefaultDir"])
    return {name: path(name) for name in rows}


def files(package):
    """The size of each file that the package brings, by its path."""
    folder_of = folders(package)
    components = {row["Component"]: folder_of[row["Directory_"]] for row in table(package, "Component")}
    return {components[row["Component_"]] + "\\" + long_name(row["FileName"]): int(row["FileSize"])
            for row in table(package, "File")}


def registry_values(package, component="", **given):
    """The registry values that the package, or a component of it, writes, by "key [name]": texts and numbers. The
    properties are the given ones, and the package's for the rest."""
    known = properties(package) | given
    known |= {name: path + "\\" for name, path in folders(package).items()}

    def value(text):
        if text.startswith("#"):
            return int(text[1:])
        return re.sub(r"\[(\w+)\]", lambda name: known.get(name[1], ""), text)
    return {f"{ROOTS[row['Root']]}\\{row['Key']} [{row['Name'] or '(default)'}]": value(row["Value"])
            for row in table(package, "Registry") if component in ("", row["Component_"])}


def hidden_properties(package):
    """The properties that the installer keeps out of its log."""
    return set(properties(package).get("MsiHiddenProperties", "").split(";"))


def without_hidden(package, log):
    """An installer's verbose log without the hidden properties: Windows leaves them out, Wine 8 does not."""
    starts = tuple(f"Property({half}): {name} =" for name in hidden_properties(package) for half in "SC")
    return "\n".join(line for line in log.splitlines() if not line.startswith(starts))
