#!/usr/bin/env python3
"""Turns a table of texts into a resource script for windres.

Usage: make_string_table.py TABLE.txt SCRIPT.rc

A table is UTF-8. Its lines are an identifier, a tab and a text; lines that begin with "#" are comments, of which
"# language 0x0407" names the Windows language identifier of the texts and "# code page 1252" the ANSI code page of
that language. A text that Windows could not show there, or that is too long, is an error.
"""
import pathlib
import sys

# A text with its terminating zero fills no more bytes in the ANSI code page.
LONGEST_TEXT = 254


def header(lines, name):
    prefix = f"# {name} "
    return next(line.removeprefix(prefix) for line in lines if line.startswith(prefix))


def escape(text):
    return text.replace("\\", "\\\\").replace('"', '""')


def main():
    table, script = map(pathlib.Path, sys.argv[1:])
    lines = table.read_text(encoding="utf-8").splitlines()
    language = int(header(lines, "language"), 16)
    code_page = "cp" + header(lines, "code page")

    entries = []
    for number, line in enumerate(lines, start=1):
        if line.startswith("#"):
            continue
        identifier, text = line.split("\t")
        try:
            length = len(text.encode(code_page))
        except UnicodeEncodeError as error:
            sys.exit(f"{table}:{number}: {error}")
        if length > LONGEST_TEXT:
            sys.exit(f"{table}:{number}: {length} bytes are too many, {LONGEST_TEXT} is the limit")
        entries.append(f'    {int(identifier)}, "{escape(text)}"')

    # The low ten bits of a language identifier are the language, the others its variant.
    script.write_text(
        "\n".join(["#pragma code_page(65001)", f"LANGUAGE {language & 0x3FF:#x}, {language >> 10:#x}",
                   "STRINGTABLE", "BEGIN", *entries, "END", ""]),
        encoding="utf-8")


if __name__ == "__main__":
    main()
