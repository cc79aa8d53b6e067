"""Reads from the sources which Windows functions the images look up at the first call."""

import pathlib
import re

IMAGE = pathlib.Path(__file__).resolve().parents[2] / "image"
ROW = re.compile(r'^KELO_DELAYED\(L"([^"]+)", (\w+), \w+\);$', re.MULTILINE)


def delayed(source):
    """Pairs of a library and a function of one of image/'s tables."""
    return ROW.findall((IMAGE / source).read_text(encoding="utf-8"))
