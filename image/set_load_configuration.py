"""Enters the load configuration's address (image/load_configuration.cpp) in an image's header; the linker does not.

Usage: set_load_configuration.py IMAGE
"""

import pathlib
import struct
import sys

# The load configuration in the image: its size, the flags, and zeros.
SIZE = 112
CONFIGURATION = struct.pack("<I74xH32x", SIZE, 0x800)

OPTIONAL_HEADER, CHECKSUM, DIRECTORIES = 24, 64, 112  # offsets in the header, and in its optional part
LOAD_CONFIGURATION = 10  # its index among the directories


def address_of(place, data, header):
    """The address at which the byte at an offset in the file is loaded."""
    (sections,) = struct.unpack_from("<H", data, header + 6)
    (optional_size,) = struct.unpack_from("<H", data, header + 20)
    table = header + OPTIONAL_HEADER + optional_size
    for i in range(sections):
        address, size, start = struct.unpack_from("<III", data, table + 40 * i + 12)
        if start <= place < start + size:
            return address + place - start
    raise ValueError(f"place {place:#x} lies in no section")


def checksum(data):
    """The checksum of an image whose header has a checksum of zero."""
    total = sum(struct.unpack(f"<{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return total + len(data)


def main():
    path = pathlib.Path(sys.argv[1])
    data = bytearray(path.read_bytes())
    (header,) = struct.unpack_from("<I", data, 0x3C)
    optional = header + OPTIONAL_HEADER
    found = data.count(CONFIGURATION)
    if found != 1:
        raise SystemExit(f"{path}: {found} load configurations")
    address = address_of(data.index(CONFIGURATION), data, header)
    struct.pack_into("<II", data, optional + DIRECTORIES + 8 * LOAD_CONFIGURATION, address, SIZE)
    struct.pack_into("<I", data, optional + CHECKSUM, 0)
    struct.pack_into("<I", data, optional + CHECKSUM, checksum(data))
    path.write_bytes(data)


if __name__ == "__main__":
    main()
