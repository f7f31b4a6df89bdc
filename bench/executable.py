"""The size of Vantord.exe by section and by origin of the code."""

import re
import subprocess
import sys
from collections import Counter
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "windows" / "executable"))

import pe  # noqa: E402

PRODUCT = ("common", "device", "unzip", "crash", "uefi", "radio", "modem", "service")
CXX_RUN_TIME = re.compile(r"(?:^|/)(?:lib)?(?:c\+\+(?:abi)?|unwind)\.(?:lib|a)$")
KINDS = {".text": "code", ".rdata": "constants", ".pdata": "unwinding", ".xdata": "unwinding"}


def _dump(what, pdb):
    return subprocess.run(["llvm-pdbutil", "dump", what, str(pdb)], capture_output=True, text=True, check=True).stdout


def sections(program):
    """{section: bytes in the file}"""
    return {section.name: section.stored for section in pe.Program(Path(program).read_bytes()).sections}


def _part(module, library):
    """The part a piece belongs to, by its object and library."""
    if library.endswith("vantord_service.a") or "/service/main.cpp" in module:
        source = module.rsplit("/", 1)[-1].removesuffix(".obj")
        for folder in PRODUCT:
            if any((ROOT / "vantord" / folder).rglob(source)):
                return f"{folder}/"
        return "service/"  # build_stamp.cpp, which the build makes
    if library.endswith("vantord_zlib.a"):
        return "zlib"
    if CXX_RUN_TIME.search(library):
        return "C++ run time"
    if module.startswith("Import:") or module.lower().endswith(".dll") or module == "* Linker *":
        return "imports and the linker's own"
    return "C run time"


def parts(pdb):
    """{part: {kind of content: bytes}}, from the linker's record of the object of each piece."""
    modules = [_part(module, library) for module, library in
               re.findall(r"Mod \d+ \| `([^`]*)`:\s*\n\s*Obj: `([^`]*)`", _dump("-modules", pdb))]
    sizes = {}
    for section, module, size in re.findall(r"SC\[([^\]]+)\]\s*\| mod = (\d+), \S+ size = (\d+)",
                                            _dump("-section-contribs", pdb)):
        kind = KINDS.get(section, "other")
        sizes.setdefault(modules[int(module)], Counter())[kind] += int(size)
    return sizes


def rows(pdb):
    """A table, largest part first, and a row with the total."""
    kinds = ["code", "constants", "unwinding", "other"]
    sizes = parts(pdb)
    lines = sorted(sizes.items(), key=lambda entry: -sum(entry[1].values()))
    total = Counter()
    for _, counts in lines:
        total.update(counts)
    return ["part", *kinds, "all"], [[name, *(f"{counts[kind]:,}" for kind in kinds), f"{sum(counts.values()):,}"]
                                     for name, counts in [*lines, ("all", total)]]
