#!/usr/bin/env python3
"""./dev and its list of packages: does each word ask for what it needs, and for nothing else?"""

import re
import subprocess
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
# They configure nothing and compile nothing.
WITHOUT_COMPILER = {"format", "packages"}


def packages(word):
    lines = subprocess.run([ROOT / "dev", "packages", word], check=True, capture_output=True, text=True, timeout=60).stdout
    return {line.split()[0] for line in lines.splitlines()}


class DevTest(unittest.TestCase):
    def setUp(self):
        self.words = set(re.findall(r"^word_(\w+)\(\)", (ROOT / "dev").read_text(), re.M))
        self.list = (ROOT / "cmake" / "packages.txt").read_text()
        self.named = set(" ".join(re.findall(r"^\[(.*)\]$", self.list, re.M)).split())

    def test_the_list_names_every_word_and_no_other(self):
        self.assertEqual(self.named, self.words - {"packages"})

    def test_help_names_every_word(self):
        shown = subprocess.run([ROOT / "dev", "help"], check=True, capture_output=True, text=True, timeout=60).stdout
        self.assertEqual(set(re.findall(r"^  (\w+)", shown, re.M)), self.words | {"help"})

    def test_run_asks_for_the_program_alone(self):
        run = packages("run")
        self.assertLessEqual(len(run), 20)
        self.assertTrue({"cmake", "g++", "libfmt-dev"} <= run)
        self.assertFalse({"libgtest-dev", "python3", "wine", "chromium", "npm", "clang"} & run)
        self.assertEqual(packages("tablet"), run)

    def test_test_asks_for_every_package(self):
        every = {line.split()[0] for line in self.list.splitlines() if line and line[0] not in "#["}
        self.assertEqual(packages("test"), every)

    def test_each_word_that_compiles_asks_for_cmake_and_ninja(self):
        for word in self.words - WITHOUT_COMPILER:
            with self.subTest(word=word):
                self.assertTrue({"cmake", "ninja-build"} <= packages(word))


if __name__ == "__main__":
    unittest.main(verbosity=2)
