"""The numbers that Windows has for the words of a description."""

VALUE_TYPES = {"REG_NONE": 0, "REG_SZ": 1, "REG_EXPAND_SZ": 2, "REG_BINARY": 3, "REG_DWORD": 4, "REG_MULTI_SZ": 7,
               "REG_QWORD": 11}

STATES = {"stopped": 1, "startPending": 2, "stopPending": 3, "running": 4, "continuePending": 5, "pausePending": 6,
          "paused": 7}
START_TYPES = {"boot": 0, "system": 1, "auto": 2, "demand": 3, "disabled": 4}
ACCEPTS_STOP = 1

GENERIC_READ, GENERIC_ALL, KEY_READ, KEY_ALL_ACCESS = 0x80000000, 0x10000000, 0x20019, 0xF003F

# The flags of an access list's entry, by their names in the security descriptor definition language.
OBJECT_INHERIT, CONTAINER_INHERIT, INHERITED = 1, 2, 0x10
ENTRY_FLAGS = {"OI": OBJECT_INHERIT, "CI": CONTAINER_INHERIT, "NP": 4, "IO": 8, "ID": INHERITED}

EVERYONE, USERS, ADMINISTRATORS = "S-1-1-0", "S-1-5-32-545", "S-1-5-32-544"
LOCAL_SYSTEM, NETWORK_SERVICE = "S-1-5-18", "S-1-5-20"

READ_ONLY = 1  # FILE_ATTRIBUTE_READONLY


def flags_of(entry):
    """The flags of an entry of a described access list."""
    return entry.get("inheritance", 0) | (INHERITED if entry.get("inherited") else 0)


def word_for(number, words):
    """The word for a number in one of these tables; the number itself when there is none."""
    return next((word for word, known in words.items() if known == number), number)
