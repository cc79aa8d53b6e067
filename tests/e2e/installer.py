"""Installer packages: what their tables say, variants of them, and what msiexec does with them under Wine."""

import subprocess

from wine import MOST_SECONDS, ROOT

PROGRAMS = ROOT / "build" / "windows"
SAMPLE = PROGRAMS / "kelo_toolkit_sample.msi"

# The folders that Windows names, as they are under Wine.
STANDARD_FOLDERS = {"TARGETDIR": "C:", "ProgramFiles64Folder": r"C:\Program Files",
                    "System64Folder": r"C:\windows\system32"}
ROOTS = {"2": "HKLM"}

PERMANENT = 16  # a component's attribute


def table(package, name):
    """The rows of a package's table, each by its columns."""
    exported = subprocess.run(["msiinfo", "export", package, name], capture_output=True, text=True, check=True,
                              timeout=MOST_SECONDS).stdout
    columns, _types, _keys, *rows = [line.split("\t") for line in exported.splitlines()]
    return [dict(zip(columns, row)) for row in rows]


def variant(package, target, *statements):
    """A copy of a package with its tables changed."""
    target.write_bytes(package.read_bytes())
    for statement in statements:
        subprocess.run(["msibuild", target, "-q", statement], stdout=subprocess.DEVNULL, check=True,
                       timeout=MOST_SECONDS)


def folders(package):
    """Where the package's folders are."""
    rows = {row["Directory"]: row for row in table(package, "Directory")}

    def path(name):
        if name in STANDARD_FOLDERS:
            return STANDARD_FOLDERS[name]
        return path(rows[name]["Directory_Parent"]) + "\\" + rows[name]["DefaultDir"]
    return {name: path(name) for name in rows}


def files(package):
    """The size of each file that the package brings, by its path."""
    folder_of = folders(package)
    components = {row["Component"]: folder_of[row["Directory_"]] for row in table(package, "Component")}
    return {components[row["Component_"]] + "\\" + row["FileName"]: int(row["FileSize"])
            for row in table(package, "File")}


def registry_values(package, component=""):
    """The registry values that the package, or a component of it, writes, by "key [name]": texts and numbers."""
    install_folder = folders(package)["INSTALLDIR"] + "\\"

    def value(text):
        return int(text[1:]) if text.startswith("#") else text.replace("[INSTALLDIR]", install_folder)
    return {f"{ROOTS[row['Root']]}\\{row['Key']} [{row['Name']}]": value(row["Value"])
            for row in table(package, "Registry") if component in ("", row["Component_"])}


def hidden_properties(package):
    """The properties that the installer keeps out of its log."""
    values = {row["Property"]: row["Value"] for row in table(package, "Property")}
    return set(values.get("MsiHiddenProperties", "").split(";"))


def without_hidden(package, log):
    """An installer's verbose log with the properties hidden that the package has hidden: Windows does so, Wine 8 writes
    them down."""
    starts = tuple(f"Property({half}): {name} =" for name in hidden_properties(package) for half in "SC")
    return "\n".join(line for line in log.splitlines() if not line.startswith(starts))
