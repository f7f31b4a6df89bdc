#!/usr/bin/env python3
"""What a message whose zone is off costs in the shipped program: call_sites.py PROGRAM SYMBOLS [--show N]

Finds every place in PROGRAM that reads the mask of zones, and looks at the instructions between that and the jump over the
message: nothing may but the test of a bit. Of the code around the message the compiler may move something in between, as
long as it calls nothing; such places are counted. Exit code 1 when a place is otherwise, 77 when a tool of LLVM is missing.
"""

import argparse
import re
import shutil
import subprocess
import sys
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

import pe

SKIPPED = 77
MASK = "g_ulZoneMask"
# How far after the read the jump may be. A jump further away does not belong to a message.
NEAR = 12
# With fewer places than this, the search does not recognise them.
FEWEST = 100
REGISTER_ARM = re.compile(r"\b[wx](\d+)\b")


@dataclass
class Line:
    address: int
    operation: str
    operands: str

    def __str__(self):
        return f"{self.address:x}: {self.operation} {self.operands}".rstrip()


class Unusual(Exception):
    """A place that reads the mask in another way than messages do; the text shows it."""


def _run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def mask_address(program, symbols):
    if symbols.suffix == ".pdb":
        found = re.search(rf"S_GDATA32 \[size = \d+\] `{MASK}`\n.*addr = (\d+):(\d+)",
                          _run("llvm-pdbutil", "dump", "-globals", str(symbols)))
        return image_base(program) + program.sections[int(found[1]) - 1].address + int(found[2])
    return int(re.search(rf"^([0-9a-f]+) \w {MASK}$", _run("llvm-nm", str(symbols)), re.MULTILINE)[1], 16)


def places_that_hold(program, mask):
    """Where the program keeps the mask's address: compilers of mingw-w64's kind reach data of another source that way."""
    base = image_base(program)
    return {base + section.address + at for section in program.sections if not section.flags & pe.SECTION_EXECUTABLE
            for at in range(0, min(section.stored, section.size) - 7, 8)
            if int.from_bytes(program.data[section.offset + at : section.offset + at + 8], "little") == mask}


def image_base(program):
    return program._number("Q", program.optional_at + 24)


def disassembly(path):
    lines = []
    for address, operation, operands in re.findall(r"^\s*([0-9a-f]+):\s+(\S+)[ \t]*([^\n]*)$",
                                                   _run("llvm-objdump", "-d", "--no-show-raw-insn", str(path)), re.MULTILINE):
        lines.append(Line(int(address, 16), operation, operands.strip()))
    return lines


class Arm64:
    """Follows the addresses that `adrp` and `add` make, line by line."""

    CALLS = ("bl", "blr")

    def __init__(self, mask, kept):
        self.mask, self.kept = mask, kept
        self.pages = {}  # register: address

    def reads(self, line):
        """The register that gets the mask here; None when it is not read here."""
        operands = [part.strip() for part in re.split(r",(?![^\[]*\])", line.operands)]
        target = REGISTER_ARM.fullmatch(operands[0]) if operands else None
        if target is None or line.operation.startswith(("st", "b", "cb", "tb", "cmp", "tst", "ret")):
            return None
        if line.operation == "adrp":
            self.pages[target[1]] = int(operands[1].split()[0], 16)
            return None
        result = made = None
        if line.operation == "ldr":
            place = re.fullmatch(r"\[x(\d+)(?:, #(\d+))?\]", operands[1])
            address = self.pages.get(place[1], 0) + int(place[2] or 0) if place else 0
            if address == self.mask:
                result = target[1]
            elif address in self.kept:
                made = self.mask
        if line.operation == "add" and len(operands) == 3 and operands[2].startswith("#"):
            source = REGISTER_ARM.fullmatch(operands[1])
            if source and source[1] in self.pages:
                made = self.pages[source[1]] + int(operands[2][1:], 0)
        self.pages.pop(target[1], None)
        if made is not None:
            self.pages[target[1]] = made
        return result

    def decides(self, line, register):
        """How many instructions test a bit of the register and jump, when they begin here; 0 when they do not."""
        if re.match(rf"w{register}, #", line.operands):
            return {"tbz": 1, "tbnz": 1, "tst": 2}.get(line.operation, 0)
        return 0

    @staticmethod
    def jumps(line):
        return line.operation in ("b.eq", "b.ne", "tbz", "tbnz")


class X64:
    """Reads go through the address of the mask, which the program keeps, or to the mask itself."""

    CALLS = ("callq",)

    def __init__(self, mask, kept):
        self.mask, self.kept = mask, kept
        self.holders = set()

    def reads(self, line):
        target = re.search(r"%(\w+)(?:\s*#.*)?$", line.operands)
        at = re.search(r"# 0x([0-9a-f]+)", line.operands)
        if line.operation == "movq" and at and int(at[1], 16) in self.kept:
            self.holders.add(target[1])
            return None
        through = re.search(r"(?<!\d)\(%(\w+)\)", line.operands)
        direct = at is not None and int(at[1], 16) == self.mask
        if direct or (through and through[1] in self.holders):
            if line.operation.startswith("test"):
                return "memory"
            if line.operation == "movl" and re.fullmatch(r"e\w\w|r\d+d", target[1] if target else ""):
                name = target[1]
                if not direct or through:
                    self._forget(name)
                return name
        if target and line.operation.startswith(("mov", "lea", "xor", "pop", "add", "sub")):
            self._forget(target[1])
        return None

    def _forget(self, name):
        self.holders.discard("r" + name[1:] if name.startswith("e") else name.removesuffix("d"))

    def decides(self, line, register):
        if register == "memory":
            return 2 if line.operation.startswith("test") else 0
        # Bytes of the register: al and ah of eax, sil of esi, r8b of r8d.
        letter = register[1:2]
        names = {register, register[1:] + "l", register.removesuffix("d") + "b"}
        if register.endswith("x"):
            names |= {letter + "l", letter + "h"}
        tested = re.match(r"\$-?\w+, %(\w+)(?:\s*#.*)?$", line.operands)
        return 2 if line.operation.startswith(("test", "and")) and tested and tested[1] in names else 0

    @staticmethod
    def jumps(line):
        return line.operation in ("je", "jne")


def site(lines, at, machine, register):
    """(the lines from the read to the jump, how many of them are the message's)"""
    shown = lines[at : at + NEAR]
    for number, line in enumerate(shown):
        if line.operation in machine.CALLS:
            break
        needed = machine.decides(line, register) if number or register == "memory" else 0
        if not needed:
            continue
        rest = shown[number : number + 4]
        jump = next((i for i, other in enumerate(rest) if machine.jumps(other) and (i or needed == 1)), None)
        if jump is None or any(other.operation in machine.CALLS for other in rest[:jump]):
            break
        own = needed + (0 if register == "memory" else 1)
        return shown[: number + jump + 1], own
    raise Unusual("\n".join(f"    {line}" for line in shown))


def sites(lines, machine):
    found, unusual = [], []
    for at, line in enumerate(lines):
        register = machine.reads(line)
        if register is None:
            continue
        try:
            found.append(site(lines, at, machine, register))
        except Unusual as error:
            unusual.append(str(error))
    return found, unusual


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program", type=Path)
    parser.add_argument("symbols", type=Path)
    parser.add_argument("--show", type=int, default=1, help="how many call sites to show")
    options = parser.parse_args()
    for tool in ("llvm-objdump", "llvm-nm" if options.symbols.suffix != ".pdb" else "llvm-pdbutil"):
        if shutil.which(tool) is None:
            print(f"skipped: {tool} is not installed (package llvm)")
            return SKIPPED
    program = pe.Program(options.program.read_bytes())
    mask = mask_address(program, options.symbols)
    machine = {0xAA64: Arm64, 0x8664: X64}[program.machine](mask, places_that_hold(program, mask))
    found, unusual = sites(disassembly(options.program), machine)
    lengths = Counter(own for _, own in found)
    print(f"{options.program.name}: {len(found)} places test a zone: "
          + ", ".join(f"{count} in {own} instructions" for own, count in sorted(lengths.items()))
          + f"; in {sum(len(lines) == own for lines, own in found)} of them there is nothing in between")
    for lines, _ in sorted(found, key=lambda entry: len(entry[0]))[: options.show]:
        print("\n".join(f"    {line}" for line in lines))
    for text in unusual:
        print(f"not a load, a test and a jump:\n{text}")
    if len(found) < FEWEST:
        print(f"only {len(found)} places: the reader of the disassembly does not see what it should")
    return 1 if unusual or len(found) < FEWEST else 0


if __name__ == "__main__":
    sys.exit(main())
