"""The files of a prefix."""

import os
import typing

DIRECTORY = "a directory"


class File(typing.NamedTuple):
    """A file or a folder, and what changes when it does."""

    path: str  # as Windows names it
    place: str  # as Unix does
    fingerprint: str | tuple  # DIRECTORY; or size and time of change


def below(prefix, folder):
    """Each file and folder below one, such as "C:\\"."""
    return _below(prefix.path(folder), folder.rstrip("\\"))


def _below(place, path):
    # A prefix has a thousand files and is read often: Path objects would take most of the time.
    with os.scandir(place) as entries:
        for entry in entries:
            name = f"{path}\\{entry.name}"
            status = entry.stat(follow_symlinks=False)
            yield File(name, entry.path, DIRECTORY if entry.is_dir() else (status.st_size, status.st_mtime_ns))
            if entry.is_dir(follow_symlinks=False):
                yield from _below(entry.path, name)
