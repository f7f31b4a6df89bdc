#!/usr/bin/env python3
"""./dev and its list of packages: does each word ask for what it needs, and for nothing else?"""

import os
import pty
import re
import subprocess
import tempfile
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


STEPS = """
set -euo pipefail
root="$1" logs="$1/logs" jobs=1
mkdir -p "$logs"
for part in packages progress tests; do . "$2/scripts/dev/$part.sh"; done
fails() { printf 'before\n[7/9] x\nFAILED: x.o\nerror: here\n'; return 1; }
counted() { printf '<testsuite tests="5" failures="0" disabled="1" skipped="1">' >"$1"; }
shared() {
  printf '<testsuite tests="3" failures="1" disabled="0" skipped="0">
<testcase name="all.unzip" status="run"><system-out>...\n[  PASSED  ] 20 tests.\n</system-out></testcase>
<testcase name="all.crash" status="fail"><system-out>...\n[  PASSED  ] 5 tests.\n[  FAILED  ] 2 tests</system-out></testcase>
<testcase name="together.crash" status="run"><system-out>...\n[  PASSED  ] 7 tests.\n</system-out></testcase>' >"$1"
}
test_linux() { step "good one" true; step "bad one" fails || true; counted_step "many" counted @REPORT@; }
test_windows() { skip "far one" "no network"; }
"""


class StepsTest(unittest.TestCase):
    def run_steps(self, more="run_tests", **how):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        return subprocess.run(["bash", "-c", STEPS + more, "bash", folder, ROOT], text=True, timeout=60, **how)

    def test_steps_side_by_side_are_counted_in_one_sum(self):
        ran = self.run_steps(capture_output=True)
        self.assertEqual(ran.returncode, 1)
        self.assertEqual(ran.stdout.splitlines()[-1], "4 passed, 1 failed, 3 skipped")
        self.assertIn("skipped: no network", ran.stdout)

    def test_of_a_failed_step_the_failing_part_and_the_path_of_the_log_are_shown(self):
        ran = self.run_steps(capture_output=True)
        self.assertRegex(ran.stdout, r"bad one +FAILED +\d+ s\nFAILED: x.o\nerror: here\n\(the whole log: logs/bad-one.log\)")
        self.assertNotIn("before", ran.stdout)

    def test_nothing_failed_is_exit_code_0(self):
        ran = self.run_steps("fails() { true; }; run_tests", capture_output=True)
        self.assertEqual((ran.returncode, ran.stdout.splitlines()[-1]), (0, "5 passed, 0 failed, 3 skipped"))

    def test_tests_that_share_a_process_count_for_themselves(self):
        ran = self.run_steps('test_linux() { counted_step "some" shared @REPORT@; }; run_tests', capture_output=True)
        self.assertRegex(ran.stdout, r"some +26 of 27 passed")

    def test_a_terminal_shows_steps_at_work_with_their_time_and_how_far_they_are(self):
        main, terminal = pty.openpty()
        show = """watch_steps 1; printf '[1/9] a\n[3/9] b\n' >"$logs/l"; step_begins "build all" "$logs/l"; show_running
unwatch_steps"""
        self.run_steps(show, stdout=terminal, stderr=subprocess.DEVNULL)
        os.close(terminal)
        shown = os.read(main, 4000).decode()
        os.close(main)
        self.assertRegex(shown, r"build all 0:0\d \[3/9\]")

    def test_a_file_gets_no_line_of_progress(self):
        self.assertNotIn("\r", self.run_steps(capture_output=True).stdout)


if __name__ == "__main__":
    unittest.main(verbosity=2)
