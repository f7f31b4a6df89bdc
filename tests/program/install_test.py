#!/usr/bin/env python3
"""What `cmake --install` puts on a machine, used from there: install_test.py CMAKE BUILD_FOLDER SCRATCH_FOLDER"""

import json
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

CMAKE, BUILD, SCRATCH = sys.argv[1], Path(sys.argv[2]), Path(sys.argv[3]).resolve()
PREFIX = SCRATCH / "usr"
PROGRAM = PREFIX / "bin" / "vantord-tablet"


def run(*words):
    return subprocess.run([PROGRAM, *words], check=True, capture_output=True, text=True, cwd=SCRATCH, timeout=60).stdout


def options_of_help(*command):
    """The options that --help shows, each by its longest name; and the commands."""
    text = run(*command, "--help")
    options = set()
    for line in text.splitlines():
        names = re.match(r"  ((?:-\w,)?--?[\w-]+(?:,--?[\w-]+)*)(?:\s|$)", line)
        if names:
            options.update(names.group(1).split(","))
    below = text.partition("Subcommands:")[2].partition("\n\n")[0]
    return options, re.findall(r"^  (\w+)", below, re.M)


def sections_of_man_page(page):
    """The options of each .SS section, "" for the program's own."""
    sections, current = {}, None
    for line in page.splitlines():
        if line == ".SH OPTIONS":
            current = sections.setdefault("", set())
        elif line.startswith(".SS "):
            current = sections.setdefault(line[4:], set())
        elif line.startswith(".SH "):
            current = None
        elif current is not None and line.startswith("\\fB\\-"):
            current.update(name.replace("\\-", "-") for name in re.findall(r"\\fB(\\-.*?)\\fR", line))
    return sections


def complete(*words):
    """What bash offers after these words, the last of which is being typed."""
    script = (
        f"source '{PREFIX}/share/bash-completion/completions/vantord-tablet'\n"
        'COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _vantord_tablet; printf "%s\\n" "${COMPREPLY[@]}"'
    )
    out = subprocess.run(["bash", "-c", script, "bash", "vantord-tablet", *words], check=True, capture_output=True,
                         text=True, cwd=SCRATCH, timeout=60)
    return set(out.stdout.split())


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(SCRATCH, ignore_errors=True)
        SCRATCH.mkdir(parents=True)
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", PREFIX], check=True, stdout=subprocess.DEVNULL)
        own, cls.commands = options_of_help()
        # "help --help" explains the program itself.
        cls.help = {"": own} | {command: options_of_help(command)[0] for command in cls.commands if command != "help"}
        run("init", "tablet", "--small", "--sample", "crashed-modem")

    def test_the_program_runs_from_there_and_restarts_the_service(self):
        description = json.loads((SCRATCH / "tablet" / "tablet.json").read_text())
        cut = run("run", "tablet", "--quiet", "--cut-at", "150")
        self.assertIn("the service stopped", cut)
        self.assertEqual(description["schema"], 1)

    def test_help_manual_page_and_completion_have_the_same_options(self):
        self.assertIn("run", self.commands)
        self.assertIn("--report", self.help["run"])
        sections = sections_of_man_page((PREFIX / "share/man/man1/vantord-tablet.1").read_text())
        self.assertEqual(set(sections) - {"help"}, set(self.help))
        for command, options in self.help.items():
            with self.subTest(command=command):
                self.assertGreater(len(options), 1)
                self.assertEqual(sections[command], options)
                everywhere = {"--color", "--quiet", "-q"} if command else set()
                self.assertEqual(complete(*([command] if command else []), "-"), options | everywhere)

    def test_completion_offers_commands_and_files(self):
        self.assertEqual(complete(""), set(self.commands))
        self.assertEqual(complete("sel"), {"select"})
        self.assertEqual(complete("run", "--rep"), {"--report"})
        self.assertEqual(complete("run", "tab"), {"tablet"})
        self.assertEqual(complete("run", "tablet", "--save", "ta"), {"tablet"})
        self.assertEqual(complete("help", "sel"), {"select"})
        self.assertEqual(complete("init", "x", "--sample", "wifi"), {"wifi-only"})
        self.assertEqual(complete("run", "tablet", "--fault", "WriteF"), {"WriteFile"})

    def test_a_copy_of_the_program_alone_restarts_the_service(self):
        alone = SCRATCH / "alone"
        alone.mkdir()
        shutil.copy(PROGRAM, alone)
        done = subprocess.run([alone / PROGRAM.name, "run", "tablet", "--quiet", "--cut-at", "150"], cwd=SCRATCH,
                              capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("the tablet booted again", done.stdout)

    def test_four_runs_at_a_time_on_one_tablet_do_not_disturb_each_other(self):
        words = [PROGRAM, "run", "tablet", "--json"]
        runs = [subprocess.Popen(words, cwd=SCRATCH, stdout=subprocess.PIPE, text=True) for _ in range(4)]
        documents = [json.loads(one.communicate(timeout=60)[0]) for one in runs]
        self.assertEqual([one.returncode for one in runs], [0] * 4)
        for document in documents:
            self.assertEqual(document["changes"], documents[0]["changes"])
            self.assertEqual(document["status"], documents[0]["status"])

    def test_the_page_of_commands_has_every_exit_code(self):
        shown = re.findall(r"^ +(\d+)  \w", run("run", "--help").partition("Exit codes:")[2], re.M)
        page = (Path(__file__).resolve().parents[2] / "docs" / "commands.md").read_text()
        self.assertGreater(len(shown), 6)
        for code in shown:
            self.assertRegex(page, rf"(?m)^\| {code} \| \w")

    def test_the_manual_page_is_well_formed(self):
        if shutil.which("man") is None:
            self.skipTest("this machine has no man; install man-db")
        shown = subprocess.run(["man", "--warnings", "-l", PREFIX / "share/man/man1/vantord-tablet.1"], check=True,
                               capture_output=True, text=True, env={"MANWIDTH": "100", "PATH": "/usr/bin:/bin"})
        self.assertEqual(shown.stderr, "")
        self.assertIn("--seed", shown.stdout)
        self.assertIn("EXIT STATUS", shown.stdout)

    def test_the_lnav_format_knows_every_key_of_real_events(self):
        file = PREFIX / "share/lnav/formats/vantord/vantord_events.json"
        known = json.loads(file.read_text())["vantord_events"]
        run("run", "tablet", "--quiet", "--calls", "--events", "e.jsonl")
        kinds = {int: "integer", str: "string"}
        seen = {}
        for line in (SCRATCH / "e.jsonl").read_text().splitlines():
            seen.update({key: kinds[type(value)] for key, value in json.loads(line).items()})
        self.assertEqual({key: value["kind"] for key, value in known["value"].items()}, seen)
        fields = {part["field"] for part in known["line-format"] if isinstance(part, dict)} - {"__timestamp__"}
        named = fields | {known[key] for key in ("timestamp-field", "body-field", "opid-field")}
        self.assertLessEqual(named, set(seen))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
