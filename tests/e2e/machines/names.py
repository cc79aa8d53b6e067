"""Descriptions in which Windows' names have become the numbers that they stand for."""

import functools
import json

from paths import ROOT


def with_numbers(description):
    """The description with a number, or a SID, for each name that the schema of descriptions lists with one."""
    return _translated(description, _schema())


@functools.cache
def _schema():
    return json.loads((ROOT / "machines" / "machine.schema.json").read_text(encoding="utf-8"))


def _translated(value, schema):
    schema = _resolved(schema)
    choices = [_resolved(choice) for choice in schema.get("anyOf", [schema])]
    if isinstance(value, str):
        return next((number for choice in choices for number in _meanings(value, choice)), value)
    if isinstance(value, list):
        items = [_translated(item, choice.get("items", {})) for item in value
                 for choice in choices if choice.get("type") == "array"]
        # A list of names makes a mask.
        is_mask = any(isinstance(item, str) for item in value) and all(isinstance(item, int) for item in items)
        return sum(items) if is_mask else items
    if isinstance(value, dict):
        rules = next((choice for choice in choices if choice.get("type") == "object"), {})
        return {name: _translated(member, _rule_of(name, rules)) for name, member in value.items()}
    return value


def _meanings(name, schema):
    """What a name stands for in a place of the schema."""
    for choice in [schema, *map(_resolved, schema.get("anyOf", []))]:
        if choice.get("const") == name:
            text = choice["description"]
            yield text if text.startswith("S-1-") else int(text, 0)


def _resolved(schema):
    while "$ref" in schema:
        name = schema["$ref"].removeprefix("#/$defs/")
        schema = _schema() if name == "effects" else _schema()["$defs"][name]
    return schema


def _rule_of(name, schema):
    rules = schema.get("properties", {})
    return rules.get(name) or next(iter(schema.get("patternProperties", {}).values()),
                                   schema.get("additionalProperties") or {})
