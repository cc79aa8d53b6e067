"""What is on a machine under Wine, as values to compare: registry, files, and what changed between two looks."""

WATCHED_KEYS = (r"HKEY_LOCAL_MACHINE\Software", r"HKEY_LOCAL_MACHINE\System")


def registry_values(prefix):
    """The values of the watched keys and of all below them, by "key [name]", and those keys."""
    values = {}
    for watched in WATCHED_KEYS:
        key = ""
        for line in prefix.export_registry(watched).replace("\\\n", "").splitlines():
            if line.startswith("["):
                key = line[1:-1].replace("HKEY_LOCAL_MACHINE", "HKLM")
                values[key] = ""
            elif "=" in line:
                name, _, data = line.partition("=") if line.startswith("@") else line[1:].partition('"=')
                values[f"{key} [{'(default)' if name == '@' else name}]"] = data
    return values


def files(prefix, folder="C:\\"):
    """The size and the time of change of each file below a folder, by its Windows path."""
    drive = prefix.path("C:\\")
    found = {}
    for path in prefix.path(folder).rglob("*"):
        name = "C:\\" + str(path.relative_to(drive)).replace("/", "\\")
        status = path.lstat()
        found[name] = "" if path.is_dir() else f"{status.st_size} bytes", 0 if path.is_dir() else status.st_mtime_ns
    return found


def changes(before, after):
    """What changed, in the order of its names: "added", "removed" or "changed", the name, and what there is, or was."""
    found = [("removed", item, before[item]) for item in before.keys() - after.keys()]
    found += [("added", item, after[item]) for item in after.keys() - before.keys()]
    found += [("changed", item, after[item]) for item in before.keys() & after.keys() if before[item] != after[item]]
    return sorted(found, key=lambda change: change[1].lower())
