#!/usr/bin/env python3
"""What Vantord.exe is, compared with what is recorded: check.py PROGRAM SYMBOLS RECORD --version A.B.C.D [--record]

RECORD is a JSON file beside this script. Each line of the output names a number that moved, with what it was and what
it is; exit code 1 then. --record writes the file anew: look at what changed before it is committed.
"""

import argparse
import json
import re
import sys
import zlib
from pathlib import Path

import pe

PROJECT = Path(__file__).resolve().parents[3]
# GetFileVersionInfoSizeW of Windows returns room for every text a second time, and 4 bytes more. The service asks for
# no block above this.
VERSION_BLOCK_LIMIT = 4096
# By how many per cent a number may change before it must be recorded again.
TOLERANCES = {"size": 2, "canaries": 10}
# __stack_chk_fail of cmake/mingw/stack_protector.c: 2 into a register, and the instruction of a fast failure.
STACK_CHECK_FAILED = {0xAA64: bytes.fromhex("4000805260003ed4"), 0x8664: bytes.fromhex("b902000000cd29")}
# Absolute paths of the machine that built it, narrow or wide. Paths of a compiler's own sources are relative.
BUILD_PATH = re.compile(rb"(?<![\w.])/(?:[\w.+-]+/)+[\w.+-]+\.(?:c|cc|cpp|h|S|s|o|obj|a|lib|pdb)\b|[A-Za-z]:\\[^\0\"<>|]*?\.(?:pdb|obj|cpp)\b")
MITIGATIONS = {
    "high_entropy_addresses": 0x20,
    "random_addresses": 0x40,
    "no_execution_of_data": 0x100,
    "control_flow_guard": pe.GUARD_CF,
}


def described(program):
    """What is recorded: everything that may only change on purpose."""
    return {
        "machine": f"{program.machine:#06x}",
        "subsystem": program.subsystem,
        "mitigations": {name: bool(program.dll_characteristics & bit) for name, bit in MITIGATIONS.items()},
        "sections": program.section_names(),
        "size": len(program.data),
        # Places that end the process if something was written past a buffer on the stack.
        "canaries": program.calls(STACK_CHECK_FAILED[program.machine]) if program.machine in STACK_CHECK_FAILED else 0,
        # zlib's checksum by the processor's instructions; x64 has none for it.
        "crc_instructions": program.crc_instructions() > 0,
        "load_configuration": program.load_configuration(),
        "exports": program.exports(),
        "imports": program.imports(),
    }


def _moved(name, was, now):
    """One line for each number that changed, and for each item that is missing from a list or new in it."""
    if isinstance(was, dict) and isinstance(now, dict):
        for key in sorted(was.keys() | now.keys()):
            yield from _moved(f"{name}.{key}" if name else key, was.get(key, []), now.get(key, []))
    elif name in TOLERANCES:
        if abs(now - was) * 100 > was * TOLERANCES[name]:
            yield f"{name}: was {was}, is {now}: more than {TOLERANCES[name]} % away"
    elif isinstance(was, list) and isinstance(now, list):
        for gone in sorted(set(was) - set(now)):
            yield f"{name}: {gone} is gone"
        for new in sorted(set(now) - set(was)):
            yield f"{name}: {new} is new"
    elif was != now:
        yield f"{name}: was {was}, is {now}"


def _comparable(record, now):
    """Both without what the record leaves open: values that are null and, where it is partial, keys that it has not."""
    if not isinstance(record, dict) or not isinstance(now, dict):
        return record, now
    keys = record.keys() if record.get("partial") else record.keys() | now.keys()
    left_open = {"partial", *(key for key, value in record.items() if value is None)}
    pairs = {key: _comparable(record.get(key, []), now.get(key, [])) for key in keys - left_open}
    return {key: pair[0] for key, pair in pairs.items()}, {key: pair[1] for key, pair in pairs.items()}


def build_paths(data):
    """Paths of the machine that built it, as narrow text and as wide text of either alignment."""
    texts = [data] + [re.sub(rb"([\x20-\x7e])\0", rb"\1", data[start:]) for start in (0, 1)]
    return sorted({match[0].decode(errors="replace") for text in texts for match in BUILD_PATH.finditer(text)})


def _version_faults(program, version):
    block = program.version_block()
    if block is None:
        yield "version block: missing"
        return
    answered = 2 * len(block) + 4
    if answered > VERSION_BLOCK_LIMIT:
        yield f"version block: {answered} bytes as GetFileVersionInfoSizeW returns them, at most {VERSION_BLOCK_LIMIT}"
    for name, numbers in zip(("file version", "product version"), pe.fixed_versions(block)):
        if numbers != version:
            yield f"{name}: is {'.'.join(map(str, numbers))}, the project's is {'.'.join(map(str, version))}"


def _symbol_faults(program, symbols):
    """Whether the file of symbols beside the program is this program's."""
    codeview, link = program.codeview(), program.debug_link()
    if program.symbols or any(name.startswith(".debug") for name in program.section_names()):
        yield "symbols: the program holds some of its own"
    if codeview:
        if codeview.file != symbols.name:
            yield f"symbols: the program names {codeview.file}, not {symbols.name}"
        if (codeview.guid, codeview.age) != pe.pdb_identity(symbols.read_bytes()):
            yield f"symbols: {symbols.name} belongs to another program"
    elif link:
        if link != (symbols.name, zlib.crc32(symbols.read_bytes())):
            yield f"symbols: the program names {link[0]} with CRC {link[1]:#x}, {symbols.name} is another"
    else:
        yield "symbols: the program does not say where they are"


def _clone_faults(symbols):
    """The program carries a checksum of its symbols: where they name the folder of the clone, as text or made into a name,
    another clone gives another program."""
    data = symbols.read_bytes()
    for spelled in (str(PROJECT), re.sub(r"\W", "_", str(PROJECT))):
        if spelled.encode() in data:
            yield f"symbols: {symbols.name} names the folder of this clone, {spelled}"


def faults(program, symbols, version, record):
    """Everything that is wrong, one line each."""
    yield from _moved("", *_comparable(record, described(program)))
    yield from _version_faults(program, version)
    yield from _symbol_faults(program, symbols)
    # MSVC's symbols name the folder of the sources.
    if not record.get("partial"):
        yield from _clone_faults(symbols)
    address, size = program.directory(pe.RELOCATIONS)
    if not address or not size:
        yield "relocations: none, so its addresses cannot be random"
    for section in program.sections:
        if section.flags & pe.SECTION_WRITABLE and section.flags & pe.SECTION_EXECUTABLE:
            yield f"section {section.name}: can be written and executed"
    if program.time_stamp and not any(kind == pe.DEBUG_REPRODUCIBLE for kind, _ in program.debug_entries()):
        yield f"time stamp: {program.time_stamp}, a wall clock's; no two builds would be the same"
    for path in build_paths(program.data):
        yield f"build path: {path}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program", type=Path)
    parser.add_argument("symbols", type=Path)
    parser.add_argument("record", type=Path)
    parser.add_argument("--version", required=True, help="the project's, four numbers")
    parser.add_argument("--record", dest="write", action="store_true")
    options = parser.parse_args()
    program = pe.Program(options.program.read_bytes())
    if options.write:
        options.record.write_text(json.dumps(described(program), indent=2) + "\n")
    version = tuple(int(number) for number in options.version.split("."))
    found = list(faults(program, options.symbols, version, json.loads(options.record.read_text())))
    for fault in found:
        print(f"{options.program.name}: {fault}")
    if found:
        print(f"Compared with {options.record}. What is wanted of this is recorded by the same command with --record.")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
