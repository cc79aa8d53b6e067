"""Reads WiX sources as their compiler sees them: files are included, variables replaced and namespaces removed."""

import pathlib
import re
import xml.etree.ElementTree as ET

# The kinds of actions, and the bits of their types (CustomAction table).
LIBRARY_FUNCTION, INSTALLED_PROGRAM, SET_PROPERTY = 0x1, 0x12, 0x33
GO_ON_AFTER_FAILURE, ROLLBACK, COMMIT, IN_SCRIPT, NO_IMPERSONATION, HIDE_TARGET = (
    0x40, 0x100, 0x200, 0x400, 0x800, 0x2000)
EXECUTION = {"immediate": 0, "deferred": IN_SCRIPT, "rollback": IN_SCRIPT | ROLLBACK, "commit": IN_SCRIPT | COMMIT}

DIRECTIVE = re.compile(r"<\?(?!xml\b)\s*(\w+)\s*(.*?)\s*\?>", re.DOTALL)


def read(path, variables=()):
    """The root element of a source."""
    root = ET.fromstring(_preprocessed(pathlib.Path(path), dict(variables)))
    for element in root.iter():
        element.tag = element.tag.rpartition("}")[2]
    return root


def _preprocessed(path, variables):
    """A source's text with its directives carried out."""
    text = re.sub(r"<!--.*?-->", "", path.read_text(encoding="utf-8"), flags=re.DOTALL)
    out, taken, end = [], [True], 0
    for directive in DIRECTIVE.finditer(text):
        if all(taken):
            out.append(_replaced(text[end:directive.start()], variables))
        end = directive.end()
        kind, argument = directive.groups()
        if kind in ("ifdef", "ifndef"):
            taken.append((argument.removeprefix("var.") in variables) == (kind == "ifdef"))
        elif kind == "else":
            taken[-1] = not taken[-1]
        elif kind == "endif":
            taken.pop()
        elif kind == "define":
            name, _, value = argument.partition("=")
            variables[name.strip()] = value.strip().strip('"')
        elif kind == "include":
            included = _preprocessed(path.parent / argument, variables)
            out.append(re.search(r"<Include\b[^>]*>(.*)</Include>", included, re.DOTALL)[1] if all(taken) else "")
        else:
            raise ValueError(f"{path}: <?{kind}?> is not known here")
    return "".join(out) + _replaced(text[end:], variables)


def _replaced(text, variables):
    return re.sub(r"\$\(var\.(\w+)\)", lambda match: variables[match[1]], text)


def action_type(action):
    """The type of a CustomAction element."""
    kind = next(kind for attribute, kind in (("DllEntry", LIBRARY_FUNCTION), ("ExeCommand", INSTALLED_PROGRAM),
                                             ("Property", SET_PROPERTY)) if attribute in action.attrib)
    kind |= EXECUTION[action.get("Execute", "immediate")]
    for attribute, value, bit in (("Impersonate", "no", NO_IMPERSONATION), ("Return", "ignore", GO_ON_AFTER_FAILURE),
                                  ("HideTarget", "yes", HIDE_TARGET)):
        kind |= bit if action.get(attribute) == value else 0
    return kind
