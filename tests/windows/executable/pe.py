"""A small reader of the PE32+ format, for the facts that the tests compare."""

import re
import struct
from dataclasses import dataclass

EXPORTS, IMPORTS, RESOURCES, RELOCATIONS, DEBUG, LOAD_CONFIG = 0, 1, 2, 5, 6, 10
RT_VERSION = 16
ARM64 = 0xAA64  # the machine
CRC32X_MASK, CRC32X = 0xFFE0FC00, 0x9AC04C00
DEBUG_CODEVIEW, DEBUG_REPRODUCIBLE = 2, 16
SECTION_EXECUTABLE, SECTION_WRITABLE = 0x20000000, 0x80000000
GUARD_CF = 0x4000  # of the DLL characteristics
FIXED_FILE_INFO = 0xFEEF04BD


class NotAProgram(Exception):
    """The file is not one that this reader understands; the text says why."""


@dataclass(frozen=True)
class Section:
    name: str
    address: int
    size: int
    offset: int
    stored: int
    flags: int


@dataclass(frozen=True)
class CodeView:
    guid: bytes
    age: int
    file: str


class Program:
    """One executable or DLL. Numbers are the header's own."""

    def __init__(self, data):
        self.data = data
        if data[:2] != b"MZ":
            raise NotAProgram("no MZ at its start")
        self.header_at = self._number("I", 0x3C)
        if data[self.header_at : self.header_at + 4] != b"PE\0\0":
            raise NotAProgram("no PE header")
        (self.machine, sections, self.time_stamp, _, self.symbols, optional_size, self.characteristics) = struct.unpack_from(
            "<HHIIIHH", data, self.header_at + 4
        )
        self.optional_at = self.header_at + 24
        if self._number("H", self.optional_at) != 0x20B:
            raise NotAProgram("not a 64-bit program")
        self.subsystem = self._number("H", self.optional_at + 68)
        self.dll_characteristics = self._number("H", self.optional_at + 70)
        self.sections = [self._section(self.optional_at + optional_size + 40 * i) for i in range(sections)]

    def _number(self, kind, offset):
        return struct.unpack_from("<" + kind, self.data, offset)[0]

    def _section(self, at):
        name, size, address, stored, offset, flags = struct.unpack_from("<8sIIII12xI", self.data, at)
        return Section(name.rstrip(b"\0").decode(), address, size, offset, stored, flags)

    def directory(self, which):
        """(address, size) of a data directory; zeros when the program has none."""
        if which >= self._number("I", self.optional_at + 108):
            return 0, 0
        return struct.unpack_from("<II", self.data, self.optional_at + 112 + 8 * which)

    def offset(self, address):
        for section in self.sections:
            if section.address <= address < section.address + section.stored:
                return address - section.address + section.offset
        raise NotAProgram(f"nothing is stored for the address {address:#x}")

    def text(self, address):
        at = self.offset(address)
        return self.data[at : self.data.index(b"\0", at)].decode("ascii")

    def imports(self):
        """{library in small letters: sorted names, an ordinal as "#3"}"""
        found = {}
        address, _ = self.directory(IMPORTS)
        at = self.offset(address) if address else None
        while at is not None:
            wanted, _, _, name, bound = struct.unpack_from("<IIIII", self.data, at)
            if not name:
                break
            entries = found.setdefault(self.text(name).lower(), [])
            entry_at = self.offset(wanted or bound)
            while entry := self._number("Q", entry_at):
                entries.append(f"#{entry & 0xFFFF}" if entry >> 63 else self.text((entry & 0x7FFFFFFF) + 2))
                entry_at += 8
            at += 20
        return {library: sorted(names) for library, names in found.items()}

    def exports(self):
        """Sorted names of what other programs may call, a function without a name as "#3"."""
        address, _ = self.directory(EXPORTS)
        if not address:
            return []
        base, functions, names, table, names_at, ordinals_at = struct.unpack_from("<IIIIII", self.data, self.offset(address) + 16)
        named = {}
        for i in range(names):
            ordinal = self._number("H", self.offset(ordinals_at) + 2 * i)
            named[ordinal] = self.text(self._number("I", self.offset(names_at) + 4 * i))
        used = [i for i in range(functions) if self._number("I", self.offset(table) + 4 * i)]
        return sorted(named.get(i, f"#{base + i}") for i in used)

    def load_configuration(self):
        """The size field of the load configuration; 0 without one."""
        address, _ = self.directory(LOAD_CONFIG)
        return self._number("I", self.offset(address)) if address else 0

    def calls(self, code):
        """How many calls lead to the function that consists of these bytes."""
        return sum(self._calls_in(section, code) for section in self.sections if section.flags & SECTION_EXECUTABLE)

    def crc_instructions(self):
        """How many instructions of ARM64 take 8 bytes into a CRC-32 (crc32x)."""
        if self.machine != ARM64:
            return 0
        found = 0
        for section in self.sections:
            if section.flags & SECTION_EXECUTABLE:
                words = struct.unpack_from(f"<{section.stored // 4}I", self.data, section.offset)
                found += sum(word & CRC32X_MASK == CRC32X for word in words)
        return found

    def _calls_in(self, section, code):
        text = self.data[section.offset : section.offset + section.stored]
        target = text.find(code)
        if target < 0:
            return 0
        if self.machine == ARM64:  # bl: the distance in instructions, 26 bits with a sign
            words = struct.unpack_from(f"<{len(text) // 4}I", text)
            return sum(word >> 26 == 0x25 and (4 * (i + (word & 0x3FFFFFF)) - target) & 0xFFFFFFF == 0 for i, word in enumerate(words))
        return sum(struct.unpack_from("<i", text, i + 1)[0] + i + 5 == target
                   for i in (match.start() for match in re.finditer(rb"\xe8(?=....)", text, re.S)))

    def _resource(self, path):
        """The bytes below the first resource of that type, whatever its name and language; None without one."""
        address, _ = self.directory(RESOURCES)
        if not address:
            return None
        root = at = self.offset(address)
        for wanted in path:
            named, numbered = struct.unpack_from("<HH", self.data, at + 12)
            entries = [struct.unpack_from("<II", self.data, at + 16 + 8 * i) for i in range(named + numbered)]
            below = [value for name, value in entries if wanted is None or name == wanted]
            if not below:
                return None
            at = root + (below[0] & 0x7FFFFFFF)
        data_at, size = struct.unpack_from("<II", self.data, at)
        return self.data[self.offset(data_at) : self.offset(data_at) + size]

    def version_block(self):
        """The version resource as it is stored; None without one."""
        return self._resource((RT_VERSION, None, None))

    def debug_entries(self):
        """[(type, bytes)]"""
        address, size = self.directory(DEBUG)
        entries = []
        for at in range(0, size, 28):
            kind, stored, _, offset = struct.unpack_from("<12xIIII", self.data, self.offset(address) + at)
            entries.append((kind, self.data[offset : offset + stored]))
        return entries

    def codeview(self):
        """The PDB that holds the symbols; None if the program names none."""
        for kind, data in self.debug_entries():
            if kind == DEBUG_CODEVIEW and data[:4] == b"RSDS":
                return CodeView(data[4:20], struct.unpack_from("<I", data, 20)[0], data[24:].split(b"\0")[0].decode())
        return None

    def debug_link(self):
        """(file, CRC-32) of the DWARF symbols; None when the program names none."""
        for section in self.sections:
            if section.name == ".gnu_debuglink" or section.name.startswith("/") and self._long_name(section) == ".gnu_debuglink":
                data = self.data[section.offset : section.offset + section.size]
                return data.split(b"\0")[0].decode(), struct.unpack("<I", data[-4:])[0]
        return None

    def _long_name(self, section):
        """A name over 8 characters is in the string table, which follows the symbols."""
        strings = self._number("I", self.header_at + 12) + 18 * self.symbols
        at = strings + int(section.name[1:])
        return self.data[at : self.data.index(b"\0", at)].decode()

    def section_names(self):
        return [self._long_name(one) if one.name.startswith("/") else one.name for one in self.sections]


def fixed_versions(block):
    """(file version, product version) of a version block, four numbers each."""
    at = block.find(struct.pack("<I", FIXED_FILE_INFO))
    if at < 0:
        raise NotAProgram("the version block has no fixed part")
    words = struct.unpack_from("<IIIIII", block, at)
    numbers = [(words[i] >> 16, words[i] & 0xFFFF, words[i + 1] >> 16, words[i + 1] & 0xFFFF) for i in (2, 4)]
    return tuple(numbers)


def pdb_identity(data):
    """(GUID, age) of a program database."""
    if not data.startswith(b"Microsoft C/C++ MSF 7.00\r\n\x1aDS"):
        raise NotAProgram("no program database")
    page, _, _, directory_bytes, _, map_page = struct.unpack_from("<IIIIII", data, 32)
    pages = -(-directory_bytes // page)
    numbers = struct.unpack_from(f"<{pages}I", data, map_page * page)
    directory = b"".join(data[n * page : (n + 1) * page] for n in numbers)[:directory_bytes]
    (streams,) = struct.unpack_from("<I", directory)
    sizes = struct.unpack_from(f"<{streams}I", directory, 4)
    at = 4 + 4 * streams + 4 * (-(-sizes[0] // page) if sizes[0] != 0xFFFFFFFF else 0)
    (first,) = struct.unpack_from("<I", directory, at)
    return data[first * page + 12 : first * page + 28], struct.unpack_from("<I", data, first * page + 8)[0]
