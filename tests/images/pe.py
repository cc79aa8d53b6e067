"""Reads what a Windows image says about itself."""

import re
import struct

MACHINE_AMD64 = 0x8664
MAGIC_64_BIT = 0x20B
SUBSYSTEM_GUI = 2
RELOCATIONS_STRIPPED = 0x0001
HIGH_ENTROPY, DYNAMIC_BASE, NX_COMPATIBLE = 0x0020, 0x0040, 0x0100
EXECUTABLE, WRITABLE = 0x20000000, 0x80000000  # of a section
RESOURCE_VERSION, RESOURCE_MANIFEST = 16, 24
SEARCH_SYSTEM_FOLDER = 0x800  # LOAD_LIBRARY_SEARCH_SYSTEM32

_EXPORTS, _IMPORTS, _RESOURCES, _RELOCATIONS, _LOAD_CONFIGURATION = 0, 1, 2, 5, 10  # data directories
_DEPENDENT_LOAD_FLAGS = 78  # their place in the load configuration


class Image:
    def __init__(self, path):
        self.data = path.read_bytes()
        header = self._u32(0x3C)
        if self.data[:2] != b"MZ" or self.data[header : header + 4] != b"PE\0\0":
            raise ValueError(f"{path}: not a Windows image")
        self.machine, sections = struct.unpack_from("<HH", self.data, header + 4)
        optional_size, self.characteristics = struct.unpack_from("<HH", self.data, header + 20)
        optional = header + 24
        self.magic = self._u16(optional)
        self.entry_point = self._u32(optional + 16)
        self.subsystem, self.dll_characteristics = struct.unpack_from("<HH", self.data, optional + 68)
        count = self._u32(optional + 108)
        self._directories = [struct.unpack_from("<II", self.data, optional + 112 + 8 * i) for i in range(count)]
        self._sections = [struct.unpack_from("<IIII", self.data, optional + optional_size + 40 * i + 8)
                          for i in range(sections)]  # virtual size, address, size in the file, place in the file
        self.section_rights = {
            self.data[place : place + 8].rstrip(b"\0").decode(): self._u32(place + 36)
            for place in (optional + optional_size + 40 * i for i in range(sections))}

    @property
    def relocations_size(self):
        return self._directories[_RELOCATIONS][1]

    @property
    def dependent_load_flags(self):
        """Where the loader is to look for imported libraries; None when the image does not say."""
        address, size = self._directories[_LOAD_CONFIGURATION]
        if not address:
            return None
        place = self._offset(address)
        if self._u32(place) != size or size < _DEPENDENT_LOAD_FLAGS + 2:
            raise ValueError(f"a load configuration of {self._u32(place)} bytes in a directory of {size}")
        return self._u16(place + _DEPENDENT_LOAD_FLAGS)

    @property
    def imports(self):
        """The names of the imported functions and variables of each library."""
        descriptor = self._offset(self._directories[_IMPORTS][0])
        imports = {}
        while self._u32(descriptor + 12):
            imports[self._text(self._u32(descriptor + 12))] = list(self._imported_names(self._u32(descriptor)))
            descriptor += 20
        return imports

    def _imported_names(self, table):
        place = self._offset(table)
        while entry := struct.unpack_from("<Q", self.data, place)[0]:
            # The highest bit marks an import by number; a name follows a hint.
            yield f"#{entry & 0xFFFF}" if entry >> 63 else self._text(entry + 2)
            place += 8

    @property
    def exported_names(self):
        directory = self._offset(self._directories[_EXPORTS][0])
        names = self._offset(self._u32(directory + 32))
        return [self._text(self._u32(names + 4 * i)) for i in range(self._u32(directory + 24))]

    def resource(self, kind):
        """The bytes of the one resource of a kind; nothing when there is none."""
        root = self._offset(self._directories[_RESOURCES][0])
        directory = root
        wanted = kind
        for _ in range(3):  # kind, name, language
            entry = self._resource_entry(directory, wanted)
            if entry is None:
                return b""
            directory = root + (entry & 0x7FFFFFFF)
            wanted = None
        address, size = struct.unpack_from("<II", self.data, directory)
        offset = self._offset(address)
        return self.data[offset : offset + size]

    def _resource_entry(self, directory, wanted):
        named, numbered = struct.unpack_from("<HH", self.data, directory + 12)
        for i in range(named + numbered):
            identifier, entry = struct.unpack_from("<II", self.data, directory + 16 + 8 * i)
            if wanted in (None, identifier):
                return entry
        return None

    def _offset(self, address):
        for _, start, size, place in self._sections:
            if start <= address < start + size:
                return address - start + place
        raise ValueError(f"address {address:#x} lies in no section")

    def _text(self, address):
        start = self._offset(address)
        return self.data[start : self.data.index(b"\0", start)].decode("ascii")

    def _u16(self, offset):
        return struct.unpack_from("<H", self.data, offset)[0]

    def _u32(self, offset):
        return struct.unpack_from("<I", self.data, offset)[0]


def version_text(resource, name):
    """A named text of a version resource, None when there is none."""
    match = re.search(name + "\0+([^\0]+)\0", resource.decode("utf-16-le"))
    return match and match[1]
