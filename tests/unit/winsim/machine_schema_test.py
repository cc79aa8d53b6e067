#!/usr/bin/python3
"""Proves that the schema of machine descriptions is the one that winsim's declarations make, that their document has the
schema's tables and names and the described machines of the project, that the plain machine has the same areas, that
those machines fit the schema, and that the fuzzer of descriptions knows every key.
Usage: machine_schema_test.py PROJECT-FOLDER MACHINE-SCHEMA-PROGRAM [--write]: with --write, writes the schema, these parts
of the document, and the keys that the fuzzer's dictionary lacks."""

import json
import pathlib
import re
import subprocess
import sys
import textwrap

sys.path.append(str(pathlib.Path(__file__).resolve().parents[3] / "packaging"))

from machine_description import parse  # noqa: E402 (after the folder that it is in)

DICTIONARY = "tests/fuzz/corpus/machine_description.dict"
TYPES = {"object": dict, "array": list, "string": str, "boolean": bool, "integer": int, "null": type(None)}
CHECKED = {"type", "enum", "pattern", "minimum", "maximum", "required", "properties", "patternProperties",
           "additionalProperties", "items", "minItems", "anyOf", "const", "$ref"}
ANNOTATIONS = {"$schema", "$defs", "title", "description"}


def is_of_type(value, name):
    return isinstance(value, TYPES[name]) and (name == "boolean" or not isinstance(value, bool))


class Schema:
    """The part of JSON schema that the machine's schema uses."""

    def __init__(self, root):
        self.root = root

    def resolve(self, schema):
        while "$ref" in schema:
            _, _, name = schema["$ref"].partition("#/$defs/")
            schema = self.root["$defs"][name]
        return schema

    def errors(self, value, schema, path=""):
        """The errors in a value, as texts that begin with the path of the error."""
        schema = self.resolve(schema)
        unknown = schema.keys() - CHECKED - ANNOTATIONS
        if unknown:
            yield f"{path}: the schema uses {sorted(unknown)}, which this test does not know"
        types = schema.get("type", list(TYPES))
        if not any(is_of_type(value, name) for name in ([types] if isinstance(types, str) else types)):
            yield f"{path}: not of type {types}"
            return
        if "enum" in schema and value not in schema["enum"]:
            yield f"{path}: none of {schema['enum']}"
        if "const" in schema and value != schema["const"]:
            yield f"{path}: not {schema['const']}"
        if "anyOf" in schema and all(any(self.errors(value, choice, path)) for choice in schema["anyOf"]):
            yield f"{path}: fits no alternative"
        if isinstance(value, str) and not re.search(schema.get("pattern", ""), value):
            yield f"{path}: does not match {schema['pattern']}"
        if isinstance(value, int) and not schema.get("minimum", value) <= value <= schema.get("maximum", value):
            yield f"{path}: out of range"
        if isinstance(value, list):
            if len(value) < schema.get("minItems", 0):
                yield f"{path}: too short"
            for i, element in enumerate(value):
                yield from self.errors(element, schema.get("items", {}), f"{path}[{i}]")
        if isinstance(value, dict):
            yield from self.member_errors(value, schema, path)

    def member_errors(self, value, schema, path):
        for name in schema.get("required", []):
            if name not in value:
                yield f"{path}: no {name}"
        for name, member in value.items():
            fitting = [schema["properties"][name]] if name in schema.get("properties", {}) else [
                rule for pattern, rule in schema.get("patternProperties", {}).items() if re.search(pattern, name)]
            if not fitting and isinstance(schema.get("additionalProperties"), dict):
                fitting = [schema["additionalProperties"]]
            if not fitting and schema.get("additionalProperties") is False:
                yield f"{path}.{name}: unknown key"
            for rule in fitting:
                yield from self.errors(member, rule, f"{path}.{name}")


def sections(document):
    """The document's text below each heading that names an area."""
    parts = re.split(r"^## `(\w+)`$", document, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


# Parts of the document that are made from the schema and the described machines; each follows a comment that says which.
MADE = re.compile(r"(<!-- (keys|names|machines|machine)(?: of)?(?: (\S+))? -->\n)((?:\|.*\n|  .*\n|```json\n(?:.*\n)*?```\n)*)")
WIDTH = 124


def made_part(project, schema, kind, name):
    """The text that follows a comment."""
    if kind == "keys":
        return table(schema, name)
    if kind == "names":
        names = [f"`{choice['const']}`" for choice in schema.root["$defs"][name]["anyOf"] if "const" in choice]
        return textwrap.fill(", ".join(names), WIDTH, initial_indent="  ", subsequent_indent="  ",
                             break_on_hyphens=False) + "\n"
    if kind == "machine":
        return f"```json\n{(project / name).read_text('utf-8')}```\n"
    return machine_table(project)


def machine_table(project):
    """A row for each described machine: its title, and its first comment."""
    rows = ""
    for path in described_machines(project):
        text = path.read_text("utf-8")
        comment = re.match(r"(?://.*\n)*", text)[0]
        tried, _, promise = re.sub(r"\s*//\s*", " ", comment).strip().removeprefix("Try ").partition(": ")
        promise = re.sub(r'"([^"]+)"', r"`\1`", promise)
        rows += f"| `{path.name}` | {parse(text)['title']} | `{tried}` | {promise} |\n"
    return "| file | machine | try | what happens |\n|---|---|---|---|\n" + rows


def described_machines(project):
    return [path for path in sorted((project / "machines").glob("*.json")) if path.name != "machine.schema.json"]


def table(schema, name):
    """The rows for an object's keys."""
    described = schema.root["$defs"].get(name) or schema.root["properties"][name]
    rows = [(key, *member["description"].partition(". Default: ")[::2])
            for key, member in described["properties"].items()]
    if any(usual for _, _, usual in rows):
        return ("| key | meaning | default |\n|---|---|---|\n" +
                "".join(f"| `{key}` | {meaning} | {usual}{' ' if usual else ''}|\n" for key, meaning, usual in rows))
    return "| key | meaning |\n|---|---|\n" + "".join(f"| `{key}` | {meaning} |\n" for key, meaning, _ in rows)


def keys(schema):
    """Every key that a description can have, except names such as those of files."""
    objects = [schema.root, *schema.root["properties"].values(), *schema.root["$defs"].values()]
    return {key for described in objects for key in described.get("properties", {})}


def dictionary_words(project):
    """The words that the fuzzer of descriptions puts into them. A line is a word with its quotation marks."""
    return {json.loads(json.loads(line)) for line in (project / DICTIONARY).read_text("utf-8").splitlines()}


def check(project, made):
    schema = Schema(json.loads(made))
    plain = json.loads((project / "winsim/plain_windows_10.json").read_text("utf-8"))
    document = (project / "docs/machine.md").read_text("utf-8")
    areas = schema.root["properties"]
    documented = sections(document)
    if (project / "machines/machine.schema.json").read_text("utf-8") != made:
        yield "machines/machine.schema.json is not what winsim's declarations make: --write writes it"
    for comment, kind, name, text in MADE.findall(document):
        if text != made_part(project, schema, kind, name):
            yield f"docs/machine.md: what follows {comment.strip()} is not up to date: --write writes it"

    # Only a file can be like another one.
    if not list(areas) == list(documented) == [*list(plain)[:1], "like", *list(plain)[1:]]:
        yield f"areas: the schema has {list(areas)}, the plain machine {list(plain)}, the document {list(documented)}"
    tables = {name for _, kind, name, _ in MADE.findall(document) if kind == "keys"}
    with_keys = {name for name, described in schema.root["$defs"].items() if "properties" in described}
    yield from (f"docs/machine.md: no table of {name}" for name in sorted((with_keys | {"folders"}) - tables))

    yield from (f"{DICTIONARY} lacks {key}: --write adds it" for key in sorted(keys(schema) - dictionary_words(project)))

    machines = [project / "winsim/plain_windows_10.json", project / "tests/winsim/machine.json",
                *described_machines(project)]
    described = {str(path): path.read_text("utf-8") for path in machines}
    for i, example in enumerate(re.findall(r"```json\n(\{.*?)```", document, flags=re.DOTALL)):
        described[f"docs/machine.md, example {i + 1}"] = example
    for name, text in described.items():
        yield from (f"{name}: {error}" for error in schema.errors(parse(text), schema.root))


def write(project, made):
    (project / "machines/machine.schema.json").write_text(made, "utf-8")
    document = project / "docs/machine.md"
    schema = Schema(json.loads(made))
    text = MADE.sub(lambda found: found[1] + made_part(project, schema, found[2], found[3]), document.read_text("utf-8"))
    document.write_text(text, "utf-8")
    words = sorted(dictionary_words(project) | keys(schema))
    (project / DICTIONARY).write_text("".join(json.dumps(json.dumps(word)) + "\n" for word in words), "utf-8")


def main():
    project = pathlib.Path(sys.argv[1])
    made = subprocess.run([sys.argv[2]], check=True, capture_output=True, encoding="utf-8").stdout
    if sys.argv[3:] == ["--write"]:
        write(project, made)
    errors = list(check(project, made))
    print("\n".join(errors))
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
