#!/usr/bin/env python3
"""Tests of `./dev sweep`: sweep_self_test.py PROGRAM"""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True

import sweep  # noqa: E402

PROGRAM = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else None


def document(errors, findings=()):
    return {
        "tried": {"fault": 4, "allocation": 5, "pair": 3, "cut": 2, "schedule": 1}, "lives": 14, "errors": errors, "calls": 1000, "seconds": 2.0,
        "processors": 2, "findings": [{"promise": "ends", "detail": "hangs", "lives": lives, "repeat": "x"} for lives in findings],
    }


class Sweeps(unittest.TestCase):
    def test_a_call_and_error_of_several_samples_counts_once(self):
        documents = {"a": document({"ReadFile:5": 2, "WriteFile:5": 1}), "b": document({"ReadFile:5": 7}, [2, 1])}
        rows = sweep.table(documents)
        self.assertEqual(rows[2], "| a | 4 | 5 | 3 | 2 | 1 | 14 | 2 | 0 |")
        self.assertEqual(rows[3], "| b | 4 | 5 | 3 | 2 | 1 | 14 | 1 | 3 |")
        self.assertEqual(rows[4], "| all | 8 | 10 | 6 | 4 | 2 | 28 | 2 | 3 |")

    def test_it_prints_the_numbers_of_each_sample(self):
        with tempfile.TemporaryDirectory() as work:
            options = ["--samples", "wifi-only,already-deployed", "--work", work, "--shard", "1/50"]
            done = subprocess.run([sys.executable, sweep.__file__, PROGRAM, *options], capture_output=True, text=True, timeout=120)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            kept = {name: json.loads((Path(work) / "build/sweep" / f"{name}.json").read_text()) for name in ("wifi-only", "already-deployed")}
            self.assertEqual(done.stdout.splitlines(), sweep.table(kept))
            self.assertGreater(kept["wifi-only"]["lives"], 20)

    def test_a_failed_sweep_is_reported(self):
        with tempfile.TemporaryDirectory() as work:
            options = ["--samples", "wifi-only", "--work", work, "--shard", "9/5"]
            done = subprocess.run([sys.executable, sweep.__file__, PROGRAM, *options], capture_output=True, text=True, timeout=120)
            self.assertEqual(done.returncode, 1)
            self.assertIn("wifi-only: sweep failed with exit code 2", done.stdout)


if __name__ == "__main__":
    unittest.main()
