#!/usr/bin/env python3
"""The recipe for several machines, with GNU parallel on this one: shards_test.py PROGRAM"""

import json
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PROGRAM = str(Path(sys.argv[1]).resolve())
MERGE = Path(__file__).resolve().parents[2] / "scripts" / "merge_sweeps.py"

if shutil.which("parallel") is None:
    print("skipped: parallel is not installed")
    sys.exit(77)


def merge(*files):
    return subprocess.run([sys.executable, "-B", MERGE, *files], capture_output=True, text=True, timeout=60)


class ShardsTest(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def run_here(self, *words):
        return subprocess.run(words, check=True, capture_output=True, text=True, cwd=self.folder, timeout=240).stdout

    def test_shards_swept_side_by_side_make_the_table_of_the_whole(self):
        self.run_here(PROGRAM, "init", "tablet", "--small", "--sample", "wifi-only")
        sweep = f"{PROGRAM} sweep tablet --jobs 1 --json --shard"
        # The 50th and 150th run of every 200 are the 50th of every 100.
        self.run_here("parallel", "--jobs", "2", f"{sweep} {{}}/200 > {{}}.json", ":::", "50", "150")
        self.run_here("sh", "-c", f"{sweep} 50/100 > whole.json")
        self.assertGreater(sum(json.loads((self.folder / "whole.json").read_text())["tried"].values()), 5)
        parts, whole = merge(self.folder / "50.json", self.folder / "150.json"), merge(self.folder / "whole.json")
        self.assertEqual((parts.returncode, parts.stdout), (0, whole.stdout))
        self.assertIn("| fault |", parts.stdout)

    def test_a_broken_promise_in_one_shard_ends_with_5_and_names_the_repeat(self):
        good = {"tried": {"cut": 2}, "promises": [{"name": "p", "holds": "", "broken": 0}], "findings": []}
        bad = {"tried": {"cut": 1}, "promises": [{"name": "p", "holds": "", "broken": 1}],
               "findings": [{"promise": "p", "detail": "d", "lives": 1, "repeat": "again --seed 3"}]}
        for name, document in (("good", good), ("bad", bad)):
            (self.folder / name).write_text(json.dumps(document))
        both = merge(self.folder / "good", self.folder / "bad")
        self.assertEqual(both.returncode, 5)
        self.assertIn("| cut | 3 |", both.stdout)
        self.assertIn("| p | 1 |", both.stdout)
        self.assertIn("again --seed 3", both.stdout)

    def test_a_shard_that_failed_is_named(self):
        (self.folder / "bad").write_text('{"error": {"problem": "there is no such folder"}}')
        refused = merge(self.folder / "bad")
        self.assertEqual(refused.returncode, 3)
        self.assertIn("bad: this sweep failed: there is no such folder", refused.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
