#!/usr/bin/env python3
"""Tests of check.py on copies of a real Vantord.exe, each with one planted fault."""

import json
import struct
import sys
import tempfile
import unittest
from pathlib import Path

import call_sites
import check
import pe

PROGRAM, SYMBOLS, RECORD, VERSION = None, None, None, None  # set by main


class CallSites(unittest.TestCase):
    """Tests that call_sites.py finds a message that does too much while its zone is off."""

    READ = [call_sites.Line(0, "adrp", "x9, 0x140062000 <.text+0x7d0>"), call_sites.Line(4, "ldr", "w8, [x9, #88]")]
    JUMP = call_sites.Line(16, "tbz", "w8, #3, 0x1400016e8 <.text+0x6e8>")

    def judge(self, *between):
        return call_sites.sites([*self.READ, *between, self.JUMP], call_sites.Arm64(0x140062058, set()))

    def test_a_load_and_a_jump_by_a_bit_are_two_instructions(self):
        found, unusual = self.judge()
        self.assertEqual(([own for _, own in found], unusual), ([2], []))

    def test_a_call_before_the_jump_is_unusual(self):
        found, unusual = self.judge(call_sites.Line(8, "bl", "0x140001a88 <.text+0xa88>"))
        self.assertEqual((found, len(unusual)), ([], 1))

    def test_a_read_without_a_jump_is_unusual(self):
        found, unusual = call_sites.sites(self.READ, call_sites.Arm64(0x140062058, set()))
        self.assertEqual((found, len(unusual)), ([], 1))


class Check(unittest.TestCase):
    def setUp(self):
        self.data = bytearray(PROGRAM.read_bytes())
        self.program = pe.Program(bytes(self.data))
        self.record = json.loads(RECORD.read_text())

    def faults(self, symbols=None):
        return list(check.faults(pe.Program(bytes(self.data)), symbols or SYMBOLS, VERSION, self.record))

    def put(self, kind, offset, number):
        struct.pack_into("<" + kind, self.data, offset, number)

    def replace(self, old, new):
        at = self.data.find(old)
        self.assertGreaterEqual(at, 0)
        self.data[at : at + len(new)] = new

    def assert_only(self, *expected):
        found = self.faults()
        self.assertEqual(len(expected), len(found), found)
        for text, fault in zip(expected, found):
            self.assertIn(text, fault)

    def test_a_partial_record_leaves_open_what_it_does_not_name(self):
        """The record of MSVC's program, of which the run time and its size are not known."""
        self.record = json.loads(RECORD.with_name(f"msvc-{RECORD.name}").read_text())
        found = [fault for fault in self.faults() if not fault.startswith("imports.msvcrt.dll: ")]
        self.assertEqual(["mitigations.control_flow_guard: was True, is False"], found)
        self.record["imports"]["version.dll"].remove("VerQueryValueW")
        self.assertIn("imports.version.dll: VerQueryValueW is new", self.faults())

    def test_the_program_as_it_was_built_has_no_faults(self):
        self.assert_only()

    def test_another_machine(self):
        self.put("H", self.program.header_at + 4, 0x14C)
        # No code is looked for in a program for another machine.
        self.assertRegex("\n".join(self.faults()), r"machine: was 0x\w+, is 0x014c")

    def test_another_subsystem(self):
        self.put("H", self.program.optional_at + 68, 2)
        self.assert_only("subsystem: was 3, is 2")

    def test_a_mitigation_that_was_switched_off(self):
        for name, bit in (("high_entropy_addresses", 0x20), ("random_addresses", 0x40), ("no_execution_of_data", 0x100)):
            self.data = bytearray(self.program.data)
            self.put("H", self.program.optional_at + 70, self.program.dll_characteristics & ~bit)
            self.assert_only(f"mitigations.{name}: was True, is False")

    def test_a_mitigation_that_nobody_recorded(self):
        self.put("H", self.program.optional_at + 70, self.program.dll_characteristics ^ pe.GUARD_CF)
        guarded = bool(self.program.dll_characteristics & pe.GUARD_CF)
        self.assert_only(f"mitigations.control_flow_guard: was {guarded}, is {not guarded}")

    def plant(self, data):
        """Writes into a gap of a section; returns the address there."""
        for section in self.program.sections:
            at = self.data.find(bytes(len(data) + 8), section.offset, section.offset + section.stored)
            if at >= 0:
                at = (at + 7) // 8 * 8
                self.data[at : at + len(data)] = data
                return section.address + at - section.offset
        self.fail("no gap is large enough")

    def test_a_load_configuration_that_nobody_recorded(self):
        address = self.plant(struct.pack("<I", 0x140))
        struct.pack_into("<II", self.data, self.program.optional_at + 112 + 8 * pe.LOAD_CONFIG, address, 0x140)
        self.assert_only("load_configuration: was 0, is 320")

    def test_exports(self):
        name = self.plant(b"_Unwind_Resume\0")
        names = self.plant(struct.pack("<I", name))
        functions = self.plant(struct.pack("<II", 0x1000, 0x1010))
        ordinals = self.plant(struct.pack("<HH", 1, 0xFFFF))
        table = self.plant(struct.pack("<IIIIIIIIII", 0xFFFFFFFF, 0, 0, name, 1, 2, 1, functions, names, ordinals))
        struct.pack_into("<II", self.data, self.program.optional_at + 112 + 8 * pe.EXPORTS, table, 40)
        self.assert_only("exports: #1 is new", "exports: _Unwind_Resume is new")

    def test_functions_without_canaries(self):
        code = check.STACK_CHECK_FAILED[self.program.machine]
        self.replace(code, bytes(len(code)))
        self.assert_only(f"canaries: was {self.record['canaries']}, is 0")

    def test_fewer_functions_with_canaries(self):
        self.record["canaries"] = self.record["canaries"] * 100 // 85
        self.assert_only("canaries: was")

    def test_no_instructions_for_checksums(self):
        if self.program.machine != pe.ARM64:
            self.skipTest("x64 has no instruction for this checksum")
        text = self.program.sections[0]
        for at in range(text.offset, text.offset + text.stored - 3, 4):
            if struct.unpack_from("<I", self.data, at)[0] & pe.CRC32X_MASK == pe.CRC32X:
                self.put("I", at, 0xD503201F)  # nop
        self.assert_only("crc_instructions: was True, is False")

    def test_fixed_addresses(self):
        self.put("I", self.program.optional_at + 112 + 8 * pe.RELOCATIONS, 0)
        self.assert_only("relocations")

    def test_a_section_that_can_be_written_and_executed(self):
        at = self.program.header_at + 24 + 240  # the first section's header: code
        self.put("I", at + 36, self.program.sections[0].flags | pe.SECTION_WRITABLE)
        self.assert_only("can be written and executed")

    def test_another_import(self):
        self.replace(b"ChangeServiceConfig2W\0", b"ChangeServiceConfig2A\0")
        self.assert_only("ChangeServiceConfig2W is gone", "ChangeServiceConfig2A is new")

    def test_another_library(self):
        self.replace(b"kavrilproxy.dll\0", b"kavrilproxz.dll\0")
        self.assertEqual(6, len([fault for fault in self.faults() if "kavrilprox" in fault]))

    def test_an_ordinal_of_the_proxy_library(self):
        self.record["imports"]["kavrilproxy.dll"] = ["#1", "#2", "#9"]
        self.assert_only("imports.kavrilproxy.dll: #2 is gone", "imports.kavrilproxy.dll: #3 is new")

    def test_a_size_that_drifts(self):
        self.record["size"] = self.record["size"] * 100 // 103
        self.assert_only("size: was")

    def test_another_version(self):
        block = self.program.version_block()
        at = self.program.data.find(block) + block.find(struct.pack("<I", pe.FIXED_FILE_INFO))
        self.put("I", at + 8, 0x00010063)
        self.assert_only("file version: is 1.99.")

    def test_a_version_block_too_large_to_be_asked_for(self):
        address, _ = self.program.directory(pe.RESOURCES)
        block = self.program.version_block()
        at = self.program.data.find(struct.pack("<I", len(block)), self.program.offset(address))
        self.put("I", at, 2047)
        self.assert_only("version block: 4098 bytes")

    def test_no_version_block(self):
        self.put("I", self.program.optional_at + 112 + 8 * pe.RESOURCES, 0)
        self.assert_only("version block: missing")

    def test_a_time_of_day_in_the_header(self):
        self.put("I", self.program.header_at + 8, 1700000000)
        for kind, _ in self.program.debug_entries():
            if kind == pe.DEBUG_REPRODUCIBLE:
                self.skipTest("this linker says that its stamp is no time")
        self.assert_only("time stamp: 1700000000")

    def test_a_path_of_the_builder(self):
        for path in (b"/home/me/vantord/common/registry.cpp\0", "/home/me/Vantord.pdb\0".encode("utf-16le")):
            self.data = bytearray(self.program.data)
            self.replace(b"\0" * (len(path) + 8), b"\0\0" + path)
            self.assert_only("build path: /home/me/")

    def test_symbols_that_name_the_clone(self):
        folder = str(check.PROJECT)
        for name in (folder, "_head_" + folder.replace("/", "_").replace("-", "_")):
            with tempfile.TemporaryDirectory() as other:
                symbols = Path(other) / SYMBOLS.name
                symbols.write_bytes(SYMBOLS.read_bytes() + name.encode())
                self.assertIn("names the folder of this clone", self.faults(symbols)[-1])

    def test_the_symbols_of_another_program(self):
        with tempfile.TemporaryDirectory() as folder:
            other = Path(folder) / SYMBOLS.name
            data = bytearray(SYMBOLS.read_bytes())
            identity = pe.pdb_identity(data)[0] if data.startswith(b"Microsoft") else b"MZ"
            at = data.find(identity)
            data[at] ^= 1
            other.write_bytes(data)
            self.assertEqual(1, len(self.faults(other)))
            self.assertIn("symbols: ", self.faults(other)[0])


if __name__ == "__main__":
    PROGRAM, SYMBOLS, RECORD = map(Path, sys.argv[1:4])
    VERSION = tuple(int(number) for number in sys.argv[4].split("."))
    unittest.main(argv=sys.argv[:1])
