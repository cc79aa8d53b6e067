"""Runs the real program on a described machine under Wine and tells what it did: the view of kelo-rehearse."""

import subprocess
import sys

from machine_state import changes, files, registry_values
from program import DEATH, ENDLESS, LOG, USAGE_ERROR, DescriptionError, Machine, NoResult, rehearse
from provision import complete, load
from wine import Hung, wine_version


def show(area, found, describe):
    """The lines that tell how an area changed, under its name; none when it did not."""
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
        changed = show("registry", changes(registry_before, registry_after), lambda _, data: data)
        changed += show("files", changes(files_before, files_after), describe_file)
        print("\nChanged on the machine:" + ("" if changed else " nothing"))
        print("".join(line + "\n" for line in changed), end="")
        print(f"\nExit code: {'not known, it did not end by itself' if run.exit_code is None else run.exit_code}")
    return DEATH if run.exit_code is None else int(run.exit_code != 0)


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
        return usage_error(f"{path}: {error}")
    except NoResult as error:
        reason, status = error.args
        print(f"No result: {reason} (rehearsed, and not run under Wine)")
        return status
    except Hung as hung:
        print("No result: the program did not end", *hung.args, *getattr(hung, "__notes__", []), sep="\n")
        return ENDLESS
    except KeyboardInterrupt:
        return 130


def usage_error(text):
    print(f"run: {text}", file=sys.stderr)
    return USAGE_ERROR


if __name__ == "__main__":
    sys.exit(main())
