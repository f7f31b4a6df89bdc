#!/usr/bin/env python3
"""Results of real machines (tests/worlds/) against the stand-in: worlds_test.py PROGRAM

Each answer agrees with the stand-in's, or its row of sim/winapi/README.md has it in the column "as seen on" and a reason.
"""

import json
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PAGE = ROOT / "sim" / "winapi" / "README.md"
WORLDS = sorted((ROOT / "tests" / "worlds").glob("*.zip"))
X64 = ROOT / "tests" / "worlds" / "vantord-check-wine-8.0-x64.zip"
PROGRAM = None  # set by main
DIFFERS = 5


def rows(text):
    """{question: cells} of the tables with the column "as seen on"."""
    found, columns = {}, 0
    for line in text.splitlines():
        cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
        if cells and cells[-1] == "as seen on":
            columns = len(cells)
        elif not cells:
            columns = 0
        elif len(cells) == columns and re.fullmatch(r"`[\w-]+`", cells[0]):
            found[cells[0].strip("`")] = cells
    return found


class Worlds(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def world(self, *words):
        return subprocess.run([PROGRAM, "world", *map(str, words)], capture_output=True, text=True, timeout=60)

    def document(self, file):
        return json.loads(self.world(file, "--json").stdout)

    def planted(self, change, source=X64):
        """A copy of a result after `change` of its document."""
        document = json.loads(zipfile.ZipFile(source).read("result.json"))
        change(document)
        file = self.folder / "planted.zip"
        with zipfile.ZipFile(file, "w", zipfile.ZIP_DEFLATED) as archive:
            archive.writestr("result.json", json.dumps(document))
        return file

    def test_every_result_agrees_or_its_difference_is_explained_on_the_page(self):
        page = rows(PAGE.read_text())
        for file in WORLDS:
            document = self.document(file)
            self.assertEqual([], document["unexpected"], file.name)
            for question in document["questions"]:
                with self.subTest(file=file.name, question=question["name"]):
                    self.assertNotEqual("unknown", question["outcome"])
                    if question["outcome"] == "differs":
                        self.assertNotEqual("", page[question["name"]][-2], "the row gives no reason")

    def test_the_page_has_the_answers_of_every_result(self):
        copy = self.folder / "README.md"
        shutil.copyfile(PAGE, copy)
        for file in WORLDS:
            self.assertIn(self.world(file, "--write", copy).returncode, (0, DIFFERS))
        self.assertEqual(PAGE.read_text(), copy.read_text(), "vantord-tablet world FILE --write sim/winapi/README.md")

    def test_every_question_is_a_row_of_the_page(self):
        asked = {question["name"] for question in self.document(X64)["questions"]}
        self.assertEqual(asked, rows(PAGE.read_text()).keys())

    def test_a_planted_difference_is_found(self):
        def plant(document):
            (answer,) = (one for one in document["answers"] if one["question"] == "streams")
            answer["seen"] = "0"

        file = self.planted(plant)
        found = {one["name"]: one for one in self.document(file)["questions"] if one["outcome"] == "differs"}
        self.assertEqual(("123", "0"), (found["streams"]["expected"], found["streams"]["seen"]))
        done = self.world(file)
        self.assertEqual(DIFFERS, done.returncode)
        self.assertIn("expected 123, seen 0; sim/winapi/README.md, row streams", done.stdout)

    def test_a_result_that_agrees_ends_with_0(self):
        expected = {one["name"]: one["expected"] for one in self.document(X64)["questions"]}

        def plant(document):
            for answer in document["answers"]:
                answer["seen"] = expected[answer["question"]] or answer["seen"]

        done = self.world(self.planted(plant))
        self.assertEqual(0, done.returncode, done.stdout)
        self.assertIn(" 0 differ, ", done.stdout)

    def test_a_test_that_failed_is_a_difference(self):
        def plant(document):
            document["answers"] = []
            document["steps"] = [{"name": "Files.A", "outcome": "timed out", "texts": ["which is 5"]}]

        done = self.world(self.planted(plant))
        self.assertEqual(DIFFERS, done.returncode)
        self.assertRegex(done.stdout, r"Files\.A: timed out\n +which is 5")
        self.assertIn(" 0 agree, 0 differ, 0 not modelled, ", done.stdout)

    def test_an_entry_of_the_same_machine_is_replaced_and_others_stay(self):
        page = self.folder / "page.md"
        page.write_text("| name | as seen on |\n|---|---|\n| `streams` | windows-1-x64, 2026-01-01: `0` |\n\n| `streams` | no |\n")

        def plant(date, seen):
            def change(document):
                document.update(machine="wine-9-x64", date=date)
                document["answers"] = [{"question": "streams", "seen": seen, "step": "A.B"}]

            return self.planted(change)

        for date, seen in (("2026-01-02", "1"), ("2026-01-03", "a|b\r\n")):
            self.world(plant(date, seen), "--write", page)
        self.assertEqual("| `streams` | windows-1-x64, 2026-01-01: `0`<br>wine-9-x64, 2026-01-03: `a\\|b\\r\\n` |",
                         page.read_text().splitlines()[2])
        self.assertEqual("| `streams` | no |", page.read_text().splitlines()[4])

    def test_what_is_no_result_is_refused(self):
        (self.folder / "text.zip").write_text("this is text")
        with zipfile.ZipFile(self.folder / "other.zip", "w") as archive:
            archive.writestr("a", b"a")
        for file in ("missing.zip", "text.zip", "other.zip", self.planted(lambda document: document.pop("answers"))):
            done = self.world(self.folder / file)
            self.assertEqual(3, done.returncode)
            self.assertIn("vantord-check has written", done.stderr)


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
