"""The checkout and its build folders: where CMake says they are, or else where the presets put them."""

import os
import pathlib

ROOT = pathlib.Path(__file__).resolve().parents[2]


def _build(preset):
    return pathlib.Path(os.environ.get(f"KELO_{preset.upper()}_BUILD") or ROOT / "build" / preset)


NATIVE = _build("native")
WINDOWS = _build("windows")
