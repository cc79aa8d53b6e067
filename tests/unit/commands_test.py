#!/usr/bin/python3
"""Proves that the command lines in the help texts, README.md and docs/ work, and that the files they name exist. Each
line is run as written, with example files substituted for names such as M.json.
Usage: commands_test.py PROJECT-FOLDER"""

import json
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))

from builds import NATIVE  # noqa: E402 (after the folder that it is in)

REHEARSE = NATIVE / "kelo-rehearse"

# Commands that are not run, by their beginnings, and why.
LEFT_OUT = {
    "./run --wine": "takes Wine; e2e holds the real program against rehearsals",
    "./run bench": "measures; its figures are no tests",
    "./run package": "takes a package; e2e rehearses the sample package",
    "./run proof-": "builds for Windows, and reads a file from there; e2e does both",
    "./test": "would run the tests in a test, but for --help",
    "cmake --": "the images group builds the sample package",
    "cd tests/": "e2e and its tests are run by ctest",
    "KELO_FUZZ_SECONDS=": "ten hours of fuzzing",
}

# Documents use these names for a user's own files.
EXAMPLES = {"M.json": "machines/windows-7-toolkit.json", "CALL=ERROR": "OpenServiceW=5",
            "CALL#2=ERROR": "OpenServiceW#2=5"}

# Documents use these names for output files, which go to a folder of this test's own. Logs to explain exist there from
# the start.
LOGS = {"LOG", "kelo_install_log.txt"}
WRITTEN = {"OUT.json", "OUT.html", "after.json", *LOGS}

COMMAND = re.compile(r"(?:\$ )?((?:\./run|\./test|(?:build/native/)?kelo-rehearse|cmake --|cd tests/|"
                     r"KELO_\w+=\S+ \./)\b.*)")


def command_of(text):
    """The command in a line or a piece of code, without the remark after it; None if there is none."""
    match = COMMAND.fullmatch(text.strip())
    return re.split(r"\s{2,}|; ", match[1])[0] if match else None


def commands_in(text):
    """The commands in a text: indented lines, and pieces of code that begin with a command."""
    text = re.sub(r"^```.*?^```$", "", text, flags=re.MULTILINE | re.DOTALL)
    shown = re.findall(r"^ {2,}(\S.*)$", text, flags=re.MULTILINE)
    # In running text, a command with a single word is only its name, or the name of an option.
    pieces = [" ".join(piece.split()) for piece in re.findall(r"`([^`]+)`", text)]
    shown += [piece for piece in pieces if piece.count(" ") > 1]
    for line in shown:
        command = command_of(line)
        # A name alone, or a pattern that matches many commands.
        if command and " " in command and not re.search(r"\[|GROUP|\.\.\.|…|\|", command):
            yield command


def documents(project):
    """The texts to check, by name."""
    for path in [project / "README.md", *sorted((project / "docs").glob("*.md"))]:
        yield str(path.relative_to(project)), path.read_text("utf-8")
    for command in (["./run"], ["./test"], [str(REHEARSE)]):
        done = subprocess.run([*command, "--help"], cwd=project, capture_output=True, text=True, check=True)
        yield f"{pathlib.Path(command[0]).name} --help", done.stdout


def words_of(command, project, folder):
    words = [str(folder / word) if word in WRITTEN else EXAMPLES.get(word, word)
             for word in shlex.split(command.removeprefix("build/native/"))]
    if words[0] == "kelo-rehearse":
        words[0] = str(REHEARSE)
    return words


def write_logs(project, folder):
    """The log of a rehearsed set-up, under each name that the documents use for one."""
    done = subprocess.run([REHEARSE, "--json", "machines/windows-7-toolkit.json", "--", "/Setup"], cwd=project,
                          capture_output=True, text=True, check=True)
    for name in LOGS:
        (folder / name).write_text("\r\n".join([*json.loads(done.stdout)["log"], ""]), "utf-8")


def missing_files(text, project):
    """The project's files that a text names and that do not exist."""
    for name in re.findall(r"\b(?:machines|docs|tests|winsim|packaging|scripts|resources)/[\w/.-]+\.\w+", text):
        if not (project / name).exists():
            yield name


def check(project, folder):
    seen = set()
    for document, text in documents(project):
        yield from (f"{document}: there is no {name}" for name in missing_files(text, project))
        for command in commands_in(text):
            if command in seen or any(command.startswith(beginning) for beginning in LEFT_OUT):
                continue
            seen.add(command)
            done = subprocess.run(words_of(command, project, folder), cwd=project, capture_output=True, text=True,
                                  check=False)
            if done.returncode != 0:
                yield f"{document}: {command}: ended with {done.returncode}\n{done.stdout[:300]}{done.stderr[:2000]}"
            yield from (f"{document}: {command}: {line}" for line in done.stdout.splitlines() if "NOT REACHED" in line)
    if len(seen) < 15:
        yield f"only {len(seen)} commands were found: {sorted(seen)}"
    print(f"{len(seen)} commands were run; left out were those that begin with")
    for beginning, reason in LEFT_OUT.items():
        print(f"  {beginning}: {reason}")


def main():
    project = pathlib.Path(sys.argv[1])
    with tempfile.TemporaryDirectory() as name:
        write_logs(project, pathlib.Path(name))
        errors = list(check(project, pathlib.Path(name)))
    print("\n".join(errors))
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
