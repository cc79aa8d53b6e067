#!/usr/bin/python3
"""Checks that each source and header includes what it uses, itself or through a header that it includes, and that it says
which namespace a name is from. Several sources are compiled as one, so the compiler does not notice what a neighbour
has."""

import pathlib
import re
import sys

from layers import ALLOWED, ROOT, included, room_of

# The program's own sources are compiled one by one as well.
ROOMS = [room for room in ALLOWED if not room.startswith("src/") and room not in ("winsim/include", "winsim/crt")]

# Headers of the standard library, and names that they declare.
STANDARD = {
    "algorithm": "all_of any_of copy_n count_if find_if none_of remove_if sort stable_sort transform",
    "array": "array",
    "charconv": "from_chars",
    "cstdint": "int32_t int64_t uint8_t uint16_t uint32_t uint64_t",
    "cstring": "memcmp memcpy memset strlen",
    "filesystem": "filesystem",
    "fstream": "ifstream ofstream",
    "functional": "function",
    "iostream": "cerr cin cout",
    "limits": "numeric_limits",
    "map": "map multimap",
    "memory": "make_shared make_unique shared_ptr unique_ptr",
    "optional": "nullopt optional",
    "set": "set",
    "span": "span",
    "sstream": "istringstream ostringstream",
    "stdexcept": "invalid_argument logic_error out_of_range runtime_error",
    "string": "string to_string u16string wstring",
    "string_view": "string_view u16string_view wstring_view",
    "utility": "exchange move pair",
    "variant": "variant",
    "vector": "vector",
}
STANDARD_HEADER = {name: header for header, names in STANDARD.items() for name in names.split()}

# Declarations at the beginning of a line; each has the name as its one group.
TYPE_OR_CONSTANT = re.compile(
    r"^(?:(?:struct|class|enum class|enum|union) (\w+)\b(?![^\n]*;)|using (\w+) =|#define (\w+)"
    r"|(?:inline |constexpr |const )[^\n=(;]*?\b(\w+)(?:\[\])? = |extern [^\n]*\b(\w+);)", re.M)
FUNCTION = re.compile(r"^(?!return|else|using|namespace)[\w:<][^\n=(;]*?\b([A-Z]\w+)\(", re.M)
# The same at any place, and also members, parameters and enumerators: what a header elsewhere declares is then not
# meant.
LOCAL = re.compile(
    r"(?:struct|class|enum class|enum|using) (\w+)\b|^\s+([A-Z]\w+),?$"
    r"|(?:\b(?!return\b|else\b|throw\b|new\b|case\b)\w+|[\w>][&*]+|(?<! )>|\]) ([A-Z]\w+)[(;,){=]", re.M)
# A function that is defined as SPACE::Name sees the names of that namespace.
NAMESPACE = re.compile(r"\bnamespace (\w+)|^\w[^\n;=]* (\w+)::\w+\([^\n;]*$", re.M)


def names_in(pattern, code):
    return {next(filter(None, found)) if isinstance(found, tuple) else found for found in pattern.findall(code)}


def code_of(text):
    """A source without its comments and texts."""
    text = re.sub(r'R"(\w*)\(.*?\)\1"', '""', text, flags=re.S)
    return re.sub(r"//[^\n]*|/\*.*?\*/", "", re.sub(r'"(?:\\.|[^"\\\n])*"', '""', text), flags=re.S)


class File:
    """What a source or header includes, declares and uses."""

    def __init__(self, path):
        text = path.read_text(encoding="utf-8")
        code = code_of(text)
        self.named = set(re.findall(r'^\s*#\s*include ["<]([^">]+)[">]', text, re.M))
        self.includes = [included(path, name) for name in self.named]
        self.namespaces = names_in(NAMESPACE, code)
        self.types = names_in(TYPE_OR_CONSTANT, code)
        self.declared = self.types | names_in(FUNCTION, code)
        self.local = names_in(LOCAL, code) | self.declared
        self.used = set(re.findall(r"(?<![.\w>])[A-Za-z]\w+", code))
        self.used_unqualified = set(re.findall(r"(?<![.\w>:])[A-Za-z]\w+", code))
        self.standard_used = set(re.findall(r"\bstd::(\w+)", code))
        self.taken = set(re.findall(r"\busing \w+::(\w+);", code))


def read_all():
    files = {}
    for room in [*ROOMS, "winsim/include"]:
        for path in sorted((ROOT / room).glob("*")):
            if path.suffix in (".cpp", ".h"):
                files[path.relative_to(ROOT)] = File(path)
    return files


def reached(files, path, seen):
    """The headers that a file includes, directly or not."""
    for header in files[path].includes:
        if header in files and header not in seen:
            seen.add(header)
            reached(files, header, seen)
    return seen


def complaints():
    files = read_all()
    owners_of = {}
    for path, file in files.items():
        if path.suffix == ".h":
            for name in file.declared:
                owners_of.setdefault(name, set()).add(path)
    for path, file in files.items():
        if room_of(path) not in ROOMS:
            continue
        known = reached(files, path, set())
        visible = {room_of(path), *ALLOWED[room_of(path)]}
        local = file.local.union(*(files[header].local - files[header].declared for header in known))
        for name in sorted(file.used - local):
            owners = {owner for owner in owners_of.get(name, ()) if room_of(owner) in visible}
            if owners and not owners & known:
                yield f"{path} uses {name} without {' or '.join(map(str, sorted(owners)))}"
            spaces = set().union(*(files[owner].namespaces for owner in owners & known if name in files[owner].types))
            taken = file.taken.union(*(files[header].taken for header in known))
            if name in file.used_unqualified and spaces and not spaces & file.namespaces and name not in taken:
                yield f"{path} uses {name} without {' or '.join(sorted(spaces))}::"
        standard = file.named.union(*(files[header].named for header in known))
        for name in sorted(file.standard_used & STANDARD_HEADER.keys()):
            if STANDARD_HEADER[name] not in standard:
                yield f"{path} uses std::{name} without <{STANDARD_HEADER[name]}>"


found = list(complaints())
print("\n".join(found))
sys.exit(1 if found else 0)
