"""The values that a machine description has in the registry, as Windows stores them."""

VALUE_TYPES = {"REG_NONE": 0, "REG_SZ": 1, "REG_EXPAND_SZ": 2, "REG_BINARY": 3, "REG_DWORD": 4, "REG_MULTI_SZ": 7,
               "REG_QWORD": 11}


def typed_bytes(value):
    """A registry value of a description: its type's number and its bytes."""
    if isinstance(value, int):
        return 4, value.to_bytes(4, "little")
    if isinstance(value, str):
        return 1, utf16(value)
    kind = value["type"]
    kind = kind if isinstance(kind, int) else VALUE_TYPES[kind]
    if "text" in value:
        return kind, utf16(value["text"])
    if "number" in value:
        return kind, value["number"].to_bytes(8 if kind == VALUE_TYPES["REG_QWORD"] else 4, "little")
    return kind, bytes.fromhex(value.get("hex", ""))


def described_value(kind, data):
    """The other way round, from a type's number and a text with its zeros or hexadecimal digits."""
    name = next((name for name, number in VALUE_TYPES.items() if number == kind), kind)
    if kind == VALUE_TYPES["REG_SZ"]:
        return data.rstrip("\0")
    if kind in (VALUE_TYPES["REG_EXPAND_SZ"], VALUE_TYPES["REG_MULTI_SZ"]):
        return {"type": name, "text": data.rstrip("\0")}
    if kind == VALUE_TYPES["REG_DWORD"] and len(data) == 8:
        return int.from_bytes(bytes.fromhex(data), "little")
    if kind == VALUE_TYPES["REG_QWORD"] and len(data) == 16:
        return {"type": name, "number": int.from_bytes(bytes.fromhex(data), "little")}
    return {"type": name, "hex": data}


def utf16(text):
    """A text with its terminator."""
    return (text + "\0").encode("utf-16-le")
