#!/usr/bin/env python3
"""The recipes of docs/recipes/, as their users run them: recipes_test.py PROGRAM

Exit code 77 where make or python3-yaml is missing.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

try:
    import yaml
except ImportError as missing:
    print(f"skipped: {missing}")
    sys.exit(77)

PROGRAM = Path(sys.argv[1]).resolve()
RECIPES = Path(__file__).resolve().parents[2] / "docs" / "recipes"
POLICY = '{ "schema": 1, "archives": { "codes": { "VZW": "VZW.bin" } } }'


class RecipesTest(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        for name in ("tablets", "policies"):
            (self.folder / name).mkdir()
        (self.folder / "policies" / "ship.json").write_text(POLICY, encoding="utf-8")
        for name in ("west", "korea"):
            self.run_in("vantord-tablet", "init", f"tablets/{name}", "--small")

    def run_in(self, *command):
        environment = dict(os.environ, PATH=f"{PROGRAM.parent}:{os.environ['PATH']}")
        return subprocess.run(command, cwd=self.folder, env=environment, text=True, timeout=60, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def spoil(self, name):
        (self.folder / "tablets" / name / "C/Windows/System32/modem_core/KOR.bin").unlink()

    def test_the_ci_job_checks_every_tablet_and_keeps_the_reports(self):
        job = yaml.safe_load((RECIPES / "pre-ship.yml").read_text(encoding="utf-8"))["jobs"]["check"]
        commands = {step["name"]: step["run"] for step in job["steps"] if "run" in step}
        kept = next(step for step in job["steps"] if step.get("if") == "always()")["with"]["path"].split()
        self.assertEqual(self.run_in("bash", "-e", "-c", commands["check"]).returncode, 0)
        for file in kept:
            self.assertTrue((self.folder / file).stat().st_size > 100, file)
            (self.folder / file).unlink()
        self.spoil("korea")
        self.assertEqual(self.run_in("bash", "-e", "-c", commands["check"]).returncode, 5)
        self.assertIn("archive-missing", (self.folder / kept[0]).read_text(encoding="utf-8"))

    def test_make_checks_what_has_changed(self):
        make = ("make", "-f", str(RECIPES / "check.mk"), "checked")
        first = self.run_in(*make)
        self.assertEqual(first.returncode, 0, first.stdout)
        self.assertEqual(first.stdout.count("vantord-tablet check"), 2)
        self.assertNotIn("vantord-tablet check", self.run_in(*make).stdout)
        broken = self.folder / "tablets/korea/C/Windows/System32/modem_core/KOR.bin"
        broken.write_bytes(b"no archive")
        later = broken.stat().st_mtime_ns + 2_000_000_000
        os.utime(broken, ns=(later, later))
        again = self.run_in(*make)
        self.assertEqual(again.returncode, 2, again.stdout)
        self.assertEqual(again.stdout.count("vantord-tablet check"), 1)
        self.assertIn("[archive-not-found]", again.stdout)

    def test_the_factory_line_shows_pass_and_fail(self):
        line = (str(RECIPES / "factory-line.sh"), "tablets/korea", "logs")
        passed = self.run_in(*line)
        self.assertEqual((passed.returncode, passed.stdout), (0, "PASS korea\n"))
        self.assertTrue((self.folder / "logs/korea.html").exists())
        self.spoil("korea")
        failed = self.run_in(*line)
        self.assertEqual(failed.returncode, 5)
        self.assertRegex(failed.stdout, r"^FAIL korea: +error +.*10-image\.reg:15: sales code KOR leads to")
        shutil.rmtree(self.folder / "tablets/korea/C")
        self.assertRegex(self.run_in(*line).stdout, "^ERROR korea: exit code 3")


if __name__ == "__main__":
    if shutil.which("make") is None:
        print("skipped: make is missing")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
