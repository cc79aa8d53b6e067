"""Runs the real program on a described machine under Wine and tells what it did: the view of kelo-rehearse."""

import subprocess
import sys

from program import LOG, USAGE_ERROR, DescriptionError, Machine, rehearse
from provision import complete, load
from wine import wine_version

WATCHED_KEYS = (r"HKEY_LOCAL_MACHINE\Software", r"HKEY_LOCAL_MACHINE\System")


def registry_values(prefix):
    """The values of the machine's registry, by "key [name]", and its keys."""
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


def files(prefix):
    """The size and the time of change of each file, by its Windows path."""
    drive = prefix.path("C:\\")
    found = {}
    for path in drive.rglob("*"):
        name = "C:\\" + str(path.relative_to(drive)).replace("/", "\\")
        status = path.lstat()
        found[name] = "" if path.is_dir() else f"{status.st_size} bytes", 0 if path.is_dir() else status.st_mtime_ns
    return found


def changes(area, before, after, describe):
    """The lines that tell how an area changed, under its name; none when it did not."""
    found = [("removed", item, before[item]) for item in before.keys() - after.keys()]
    found += [("added", item, after[item]) for item in after.keys() - before.keys()]
    found += [("changed", item, after[item]) for item in before.keys() & after.keys() if before[item] != after[item]]
    found.sort(key=lambda change: change[1].lower())
    lines = [f"  {kind:<8} {item}  {describe(item, value)}".rstrip() for kind, item, value in found]
    return [f" {area}", *lines] if lines else []


def describe_file(name, value):
    return "(the log above)" if name.lower() == LOG.lower() else value[0]


def report(path, description, arguments):
    rehearse(description, *arguments)  # finds fault with a bad description
    whole = complete(description)
    with Machine(description) as machine:
        prefix = machine.prefix
        registry_before, files_before = registry_values(prefix), files(prefix)
        run = machine.run(*arguments)
        registry_after, files_after = registry_values(prefix), files(prefix)

        print(f"Machine: {whole['title']} (Windows {whole['windows']['version']}, {path}) on {wine_version()}")
        if machine.missing:
            print(f"Not like the description: {', '.join(machine.missing)}")
        print(f"Command: {subprocess.list2cmdline([machine.program, *arguments])}")
        print("\nLog:" + ("" if run.log else " none"))
        for line in run.log:
            print("  " + line)
        changed = changes("registry", registry_before, registry_after, lambda _, data: data)
        changed += changes("files", files_before, files_after, describe_file)
        print("\nChanged on the machine:" + ("" if changed else " nothing"))
        print("".join(line + "\n" for line in changed), end="")
        print(f"\nExit code: {-1 if run.exit_status == 255 else run.exit_status}")
    return run.exit_status


def main():
    path, *arguments = sys.argv[1:]
    try:
        description = load(path)
    except OSError as error:
        return usage_error(f"{path}: {error.strerror}")
    except ValueError as error:
        return usage_error(f"{path}: {error}")
    try:
        return report(path, description, arguments)
    except DescriptionError as error:
        return usage_error(error)
    except KeyboardInterrupt:
        return 130


def usage_error(text):
    print(f"run: {text}", file=sys.stderr)
    return USAGE_ERROR


if __name__ == "__main__":
    sys.exit(main())
