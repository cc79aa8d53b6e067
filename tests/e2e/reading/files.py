"""The files of a prefix."""

import os
import typing

DIRECTORY = "a directory"


class File(typing.NamedTuple):
    """A file or a folder, and what changes when it does."""

    path: str  # as Windows names it
    place: os.PathLike  # as Unix does
    fingerprint: str | tuple  # DIRECTORY; or size and time of change


def below(prefix, folder):
    """Each file and folder below one, such as "C:\\"."""
    root = prefix.path(folder)
    for parent, folders, names in os.walk(root):
        for name in folders + names:
            place = root.__class__(parent, name)
            status = place.lstat()
            yield File(folder.rstrip("\\") + "\\" + str(place.relative_to(root)).replace("/", "\\"), place,
                       DIRECTORY if name in folders else (status.st_size, status.st_mtime_ns))
