#!/usr/bin/python3
"""Proves that the schema of machine descriptions is the one that winsim's declarations make, that the tables of their
document are the schema's, that the plain machine has the same areas, and that the described machines of the project fit.
Usage: machine_schema_test.py PROJECT-FOLDER MACHINE-SCHEMA-PROGRAM [--write]: with --write, writes schema and tables."""

import json
import pathlib
import re
import subprocess
import sys

TYPES = {"object": dict, "array": list, "string": str, "boolean": bool, "integer": int, "null": type(None)}
CHECKED = {"type", "enum", "pattern", "minimum", "maximum", "required", "properties", "patternProperties",
           "additionalProperties", "items", "minItems", "anyOf", "$ref"}
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


# A table of the document follows a line that names its definition, or the area.
TABLE = re.compile(r"(<!-- keys of (\w+) -->\n)((?:\|.*\n)*)")


def table(schema, name):
    """The rows for an object's keys."""
    described = schema.root["$defs"].get(name) or schema.root["properties"][name]
    rows = [(key, *member["description"].partition(". Default: ")[::2])
            for key, member in described["properties"].items()]
    if any(usual for _, _, usual in rows):
        return ("| key | meaning | default |\n|---|---|---|\n" +
                "".join(f"| `{key}` | {meaning} | {usual}{' ' if usual else ''}|\n" for key, meaning, usual in rows))
    return "| key | meaning |\n|---|---|\n" + "".join(f"| `{key}` | {meaning} |\n" for key, meaning, _ in rows)


def check(project, made):
    schema = Schema(json.loads(made))
    plain = json.loads((project / "winsim/plain_windows_10.json").read_text("utf-8"))
    document = (project / "docs/machine.md").read_text("utf-8")
    areas = schema.root["properties"]
    documented = sections(document)
    if (project / "machines/machine.schema.json").read_text("utf-8") != made:
        yield "machines/machine.schema.json is not what winsim's declarations make: --write writes it"
    for _, name, rows in TABLE.findall(document):
        if rows != table(schema, name):
            yield f"docs/machine.md: the table of {name} is not the schema's: --write writes it"

    # Only a file can be like another one.
    if not list(areas) == list(documented) == [*list(plain)[:1], "like", *list(plain)[1:]]:
        yield f"areas: the schema has {list(areas)}, the plain machine {list(plain)}, the document {list(documented)}"
    tables = {name for _, name, _ in TABLE.findall(document)}
    with_keys = {name for name, described in schema.root["$defs"].items() if "properties" in described}
    yield from (f"docs/machine.md: no table of {name}" for name in sorted((with_keys | {"folders"}) - tables))

    machines = [project / "winsim/plain_windows_10.json", project / "tests/winsim/machine.json",
                *sorted((project / "machines").rglob("*.json"))]
    described = {str(path): path.read_text("utf-8") for path in machines if path.name != "machine.schema.json"}
    for i, example in enumerate(re.findall(r"```json\n(\{.*?)```", document, flags=re.DOTALL)):
        described[f"docs/machine.md, example {i + 1}"] = example
    for name, text in described.items():
        yield from (f"{name}: {error}" for error in schema.errors(json.loads(text), schema.root))


def write(project, made):
    (project / "machines/machine.schema.json").write_text(made, "utf-8")
    document = project / "docs/machine.md"
    schema = Schema(json.loads(made))
    document.write_text(TABLE.sub(lambda found: found[1] + table(schema, found[2]), document.read_text("utf-8")), "utf-8")


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
