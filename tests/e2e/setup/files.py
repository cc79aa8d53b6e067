"""Puts files on a machine."""

import shutil


def copy(file, prefix, path):
    """Puts a file of the build on a machine, in place of what is there."""
    target = prefix.path(path)
    target.parent.mkdir(parents=True, exist_ok=True)
    target.unlink(missing_ok=True)  # prefixes share Wine's own files
    shutil.copyfile(file, target)
    return target


def make(path, file):
    """Makes a described file or folder."""
    if file.get("directory"):
        path.mkdir(parents=True, exist_ok=True)
        return
    path.parent.mkdir(parents=True, exist_ok=True)
    path.unlink(missing_ok=True)  # prefixes share Wine's own files
    path.write_bytes(content(file))


def content(file):
    """The bytes of a described file."""
    data = file["bytes"].encode("latin-1") if "bytes" in file else file.get("text", "").encode()
    return data.ljust(file["size"], b"\0")[:file["size"]] if "size" in file else data
