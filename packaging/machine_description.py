"""Reads the files of machine descriptions: JSON with comments, each of which may be like another one."""

import json
import pathlib
import re

# A text, which may look like a comment inside, or a comment.
_TEXT_OR_COMMENT = re.compile(r'"(?:\\.|[^"\\])*"|//[^\n]*|/\*.*?\*/', re.DOTALL)


def parse(text):
    """The JSON of a description's text. Blanks take the place of comments, so that errors name the right place."""
    return json.loads(_TEXT_OR_COMMENT.sub(
        lambda found: found[0] if found[0].startswith('"') else re.sub(r"[^\n]", " ", found[0]), text))


def load(path):
    """The description in a file, together with those that it is like."""
    description = parse(pathlib.Path(path).read_text(encoding="utf-8"))
    model = description.pop("like", None)
    return description if model is None else merged(load(pathlib.Path(path).parent / model), description)


def merged(*descriptions):
    """One description that says what all say together; the later ones count more. Null stays and takes away."""
    whole = {}
    for description in descriptions:
        for name, value in description.items():
            base = whole.get(name)
            whole[name] = merged(base, value) if isinstance(base, dict) and isinstance(value, dict) else value
    return whole
