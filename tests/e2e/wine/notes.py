"""What Wine notes while a program runs: calls of functions, loaded images, and how a program ended."""

import re
import typing

EXIT = ["ExitProcess"]  # the functions whose calls every prefix notes

# Wine's debug channels: errors, which tell of a program that did not begin; with calls; with loaded images.
ERRORS = "-all,err+virtual"
CALLS_TOO = ERRORS + ",+relay"
IMAGES_TOO = ERRORS + ",+pid,+loaddll"

CALL = re.compile(r"^(\w+):Call KERNEL32\.(\w+)\((.*)\) ret=(\w+)$", re.MULTILINE)
LOADED = re.compile(r'^(\w+):\w+:trace:loaddll:build_module Loaded L"(.*)" at ', re.MULTILINE)
NOTE = re.compile(r"^(?:\w+:)?\w+:(?:Call |Ret  |Starting |trace:relay:|trace:loaddll:).*\n", re.MULTILINE)


class Call(typing.NamedTuple):
    """A call of a function of kernel32.dll."""

    thread: int
    function: str
    arguments: str  # hexadecimal digits; a text follows its address
    caller: int  # the address


def setting(functions):
    """The part of a .reg file that names the functions of kernel32.dll whose calls Wine notes."""
    names = ";".join(f"kernel32.{function}" for function in functions)
    return f'\n[HKEY_CURRENT_USER\\Software\\Wine\\Debug]\n"RelayInclude"="{names}"\n'


def calls_in(said):
    return [Call(int(thread, 16), function, arguments, int(caller, 16))
            for thread, function, arguments, caller in CALL.findall(said)]


def images_in(said, program):
    """The paths of the images that were loaded into a program's process, in their order, its own among them."""
    images = [(process, path.replace("\\\\", "\\")) for process, path in LOADED.findall(said)]
    own = next(process for process, path in images if path.lower() == program.lower())
    return [path for process, path in images if process == own]


def without_notes(said):
    return NOTE.sub("", said)


def exit_code(status, calls):
    """The whole exit code. Unix sees eight bits of it, or 1 where those are 0 and the whole is not. None when it is not
    known: the program did not end by itself, or others ended with other codes that look the same to Unix."""
    codes = {code_given(call) for call in calls}
    fitting = {code for code in codes if status == (code & 0xFF or int(code != 0))}
    return fitting.pop() if len(fitting) == 1 else None


def code_given(call):
    """The exit code that a call of ExitProcess gives."""
    code = int(call.arguments, 16)
    return code - (1 << 32) if code >> 31 else code
