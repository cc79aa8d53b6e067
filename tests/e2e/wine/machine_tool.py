"""Has machine_tool, a program of the tests, change or tell what only a Windows program can (tools/machine_tool)."""

import json

import paths

PROGRAM = paths.WINDOWS / "machine_tool.exe"
SCRIPT = r"C:\machine_tool.txt"


def line(*words):
    """The line of a script for a verb and its arguments."""
    return "\t".join(map(str, words))


def do(prefix, lines):
    """Does what the lines of a script say. Returns what the program prints."""
    script = prefix.path(SCRIPT)
    script.write_text("".join(text + "\n" for text in lines), encoding="utf-8")
    status, output = prefix.wine(PROGRAM, "script", SCRIPT)
    script.unlink()
    if status != 0:
        raise RuntimeError(f"machine_tool ended with {status}: {output.decode(errors='replace')}")
    return output


def ask(prefix, lines):
    """The JSON values that the program prints for the lines of a script."""
    text = do(prefix, lines).decode()
    values = []
    while text := text.lstrip():
        value, end = json.JSONDecoder().raw_decode(text)
        values.append(value)
        text = text[end:]
    return values
