"""Registry values in the form of a description, and as Windows stores them."""

from machines.numbers import VALUE_TYPES, word_for

REG_SZ, REG_EXPAND_SZ, REG_DWORD, REG_MULTI_SZ, REG_QWORD = (
    VALUE_TYPES[name] for name in ("REG_SZ", "REG_EXPAND_SZ", "REG_DWORD", "REG_MULTI_SZ", "REG_QWORD"))


def typed_bytes(value):
    """A described value: its type's number and its bytes."""
    if isinstance(value, int):
        return REG_DWORD, value.to_bytes(4, "little")
    if isinstance(value, str):
        return REG_SZ, utf16(value)
    kind = value["type"]
    kind = kind if isinstance(kind, int) else VALUE_TYPES[kind]
    if "text" in value:
        return kind, utf16(value["text"])
    if "number" in value:
        return kind, value["number"].to_bytes(8 if kind == REG_QWORD else 4, "little")
    return kind, bytes.fromhex(value.get("hex", ""))


def described_value(kind, data):
    """The other way round."""
    name = word_for(kind, VALUE_TYPES)
    if kind in (REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ) and len(data) % 2 == 0:
        text = data.decode("utf-16-le", "surrogatepass").rstrip("\0")
        return text if kind == REG_SZ else {"type": name, "text": text}
    if kind == REG_DWORD and len(data) == 4:
        return int.from_bytes(data, "little")
    if kind == REG_QWORD and len(data) == 8:
        return {"type": name, "number": int.from_bytes(data, "little")}
    return {"type": name, "hex": data.hex()}


def multi_string(texts):
    """A described value that is a list of texts."""
    return {"type": "REG_MULTI_SZ", "text": "".join(text + "\0" for text in texts)}


def utf16(text):
    """A text with its terminator."""
    return (text + "\0").encode("utf-16-le", "surrogatepass")
