"""Runs the conformance tests that are built for Windows on a Wine machine of their own, set up from the description
that they run on natively. Arguments: the program's file in the build for Windows, and the test framework's arguments.
Exit status: the program's."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "e2e"))

import paths
from machines.descriptions import load
from setup import programs
from setup.provision import provision
from wine.prefix import Prefix

# The areas that a Wine machine must be given; Wine and the build provide the rest.
SET_UP = ("environment", "registry", "services", "programs")
TIMES = ("runMs", "neverEnds")  # set up here
SECONDS = 240
LINKED = "C:\\Linked\\"


def make_links(prefix, files):
    """Creates the linked files of a description, and the files that they lead to."""
    for path, file in sorted(files.items(), key=lambda item: "hardLinkTo" in item[1]):
        if not path.startswith(LINKED):
            continue
        place = prefix.path(path)
        place.parent.mkdir(parents=True, exist_ok=True)
        if "link" in file:
            place.symlink_to(prefix.path(file["link"]))
        elif "hardLinkTo" in file:
            place.hardlink_to(prefix.path(file["hardLinkTo"]))
        else:
            place.write_text(file.get("text", ""))


def main():
    name, *arguments = sys.argv[1:]
    program = paths.WINDOWS / name
    if not program.is_file():
        return f"{program} is not built: cmake --preset windows && cmake --build --preset windows"
    machine = load(pathlib.Path(__file__).with_name("machine.json"))
    with Prefix() as prefix:
        prefix.zone = "America/New_York"  # one with daylight saving time
        prefix.current_folder = prefix.path("C:\\")  # the current drive is Windows' own
        missing = provision(prefix, {area: machine[area] for area in SET_UP})
        prefix.import_registry("".join(programs.times(path, described)
                                       for path, described in machine["programs"].items()))
        make_links(prefix, machine["files"])
        missing = [item for item in missing if item.names[-1] not in TIMES]
        if missing:
            return f"not like the description: {', '.join(missing)}"
        status, output = prefix.wine(program, *arguments, timeout=SECONDS)
        sys.stdout.buffer.write(output)
    return status


if __name__ == "__main__":
    sys.exit(main())
