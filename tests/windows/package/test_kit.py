#!/usr/bin/env python3
"""Whether the kit's folder is whole and needs nothing else: test_kit.py FOLDER"""

import hashlib
import re
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "executable"))

import pe  # noqa: E402

KIT = None  # set by main
LINES_OF_A_PAGE = 60
# Libraries of every Windows.
OF_WINDOWS = {"advapi32.dll", "cfgmgr32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "psapi.dll", "setupapi.dll",
              "user32.dll", "version.dll"}


class Kit(unittest.TestCase):
    def test_it_has_the_program_the_service_and_one_page(self):
        names = {file.relative_to(KIT).as_posix() for file in KIT.rglob("*") if file.is_file()}
        own = {"README.txt", "SHA256SUMS", "THIRD-PARTY-NOTICES.txt", "kit-result.schema.json", "run-check.cmd", "vantord-check.exe"}
        packages = {f"vantord/{kind}/{name}" for kind in ("component", "component-trigger", "standalone")
                    for name in ("Vantord.exe", "vantord.inf")}
        self.assertEqual(own | packages, names)
        for name in ("README.txt", "run-check.cmd"):
            data = (KIT / name).read_bytes()
            self.assertEqual(data.count(b"\n"), data.count(b"\r\n"))
        self.assertLessEqual((KIT / "README.txt").read_text().count("\n"), LINES_OF_A_PAGE)

    def test_its_checksums_are_those_of_its_files(self):
        for line in (KIT / "SHA256SUMS").read_text().splitlines():
            digest, name = line.split("  ")
            self.assertEqual(digest, hashlib.sha256((KIT / name).read_bytes()).hexdigest(), name)

    def test_the_program_needs_no_libraries_but_those_of_windows(self):
        program = pe.Program((KIT / "vantord-check.exe").read_bytes())
        libraries = {name for name in program.imports() if not name.startswith("api-ms-win-")}
        self.assertEqual(set(), libraries - OF_WINDOWS)
        self.assertIn("kernel32.dll", libraries)

    def test_the_page_names_every_option(self):
        options = set(re.findall(rb"\n  +(--[a-z-]+) ", (KIT / "vantord-check.exe").read_bytes()))
        page = (KIT / "README.txt").read_text()
        self.assertLessEqual({b"--service", b"--run", b"--list", b"--clean"}, options)
        for option in ("--service", "--run", "--list", "--clean"):
            self.assertIn(option, page)


if __name__ == "__main__":
    KIT = Path(sys.argv.pop(1))
    unittest.main()
