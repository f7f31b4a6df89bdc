#!/usr/bin/env python3
"""Tests of the comparison, the retries and the facts, without Wine."""

import contextlib
import io
import re
import subprocess
import sys
import tempfile
import unittest
import unittest.mock
from pathlib import Path

sys.dont_write_bytecode = True

import differences  # noqa: E402
import facts  # noqa: E402
import machine  # noqa: E402
import registry_text  # noqa: E402
import transcript  # noqa: E402
from differences import Difference  # noqa: E402
from transcript import Message  # noqa: E402

PROJECT = Path(__file__).resolve().parents[2]
GUID, OTHER_GUID = "{1}", "{2}"


def logged(thread, *texts, guid=GUID):
    return [Message(thread, text, guid) for text in texts]


def row(tablet, wine, tablets="all"):
    return Difference(tablets, tablet, wine, "either", "because")


class Transcripts(unittest.TestCase):
    def complaints(self, tablet, windows, *rows):
        return transcript.compare(tablet, windows, rows)

    def test_thread_numbers_and_thread_order_do_not_matter(self):
        tablet = logged("main", "A:1 : a", "B:2 : b") + logged("worker", "C:3 : c")
        windows = logged(8, "C:3 : c") + logged(4, "A:1 : a", "B:2 : b")
        self.assertEqual([], self.complaints(tablet, windows))

    def test_another_text_is_found(self):
        self.assertEqual(2, len(self.complaints(logged("main", "A:1 : a", "B:2 : b"), logged(4, "A:1 : a", "B:2 : c"))))

    def test_a_missing_or_additional_message_is_found(self):
        short, long = logged("main", "A:1 : a"), logged("main", "A:1 : a", "A:1 : a")
        self.assertEqual(1, len(self.complaints(long, short)))
        self.assertEqual(1, len(self.complaints(short, long)))

    def test_another_order_within_a_thread_is_found(self):
        tablet, windows = logged("main", "A:1 : a", "B:2 : b", "C:3 : c"), logged(4, "A:1 : a", "C:3 : c", "B:2 : b")
        self.assertTrue(self.complaints(tablet, windows))

    def test_another_module_is_found(self):
        self.assertTrue(self.complaints(logged("main", "A:1 : a"), logged(4, "A:1 : a", guid=OTHER_GUID)))

    def test_a_thread_that_only_one_world_has_is_found(self):
        one, two = logged("main", "A:1 : a"), logged("main", "A:1 : a") + logged("worker", "B:2 : b")
        self.assertEqual(1, len(self.complaints(one, two)))
        self.assertEqual(1, len(self.complaints(two, one)))

    def test_a_message_on_another_thread_is_found(self):
        tablet = logged("main", "A:1 : a", "B:2 : b") + logged("worker", "C:3 : c")
        windows = logged(4, "A:1 : a") + logged(8, "C:3 : c", "B:2 : b")
        self.assertEqual(2, len(self.complaints(tablet, windows)))

    def test_threads_with_the_same_first_message_are_joined(self):
        tablet = logged("radio", "R:1 : r", "S:2 : s", "R:1 : r", "S:2 : s")
        windows = logged(4, "R:1 : r", "S:2 : s") + logged(8, "R:1 : r", "S:2 : s")
        self.assertEqual([], self.complaints(tablet, windows))

    def test_a_listed_difference_is_accepted(self):
        tablet, windows = logged("main", "P:1 : id 36 of x"), logged(4, "P:1 : id 364 of x")
        listed = row("P:1 : id {digits} of {same}", "P:1 : id {digits} of {same}")
        self.assertEqual([], self.complaints(tablet, windows, listed))
        self.assertTrue(self.complaints(tablet, logged(4, "P:1 : id 364 of y"), listed))
        self.assertTrue(self.complaints(tablet, logged(4, "P:1 : id x of x"), listed))

    def test_a_listed_difference_that_does_not_occur_is_reported(self):
        same = logged("main", "A:1 : a")
        self.assertEqual(1, len(self.complaints(same, logged(4, "A:1 : a"), row("A:1 : *", "A:1 : *"))))
        self.assertEqual(1, len(self.complaints(same, logged(4, "A:1 : a"), row("-", "B:2 : b"))))

    def test_a_message_of_one_world_can_be_listed(self):
        tablet, windows = logged("main", "A:1 : a"), logged(4, "A:1 : a", "W:9 : only here")
        self.assertEqual([], self.complaints(tablet, windows, row("-", "W:9 : {same}")))

    def test_a_message_can_be_listed_that_may_be_missing_under_wine(self):
        tablet, listed = logged("main", "A:1 : a", "Z:9 : closed"), row("Z:9 : closed", "?")
        self.assertEqual([], self.complaints(tablet, logged(4, "A:1 : a", "Z:9 : closed"), listed))
        self.assertEqual([], self.complaints(tablet, logged(4, "A:1 : a"), listed))
        self.assertEqual(1, len(self.complaints(logged("main", "A:1 : a"), logged(4, "A:1 : a"), listed)))

    def test_messages_not_logged_yet_are_counted(self):
        expected = logged("main", "A:1 : a", "A:1 : a", "B:2 : b")
        self.assertEqual(2, transcript.inclusion(expected, logged(4, "A:1 : a"), []))
        self.assertEqual(0, transcript.inclusion(expected, logged(4, "B:2 : b", "A:1 : a", "A:1 : a", "C:3 : c"), []))


class TheTable(unittest.TestCase):
    def read(self, text):
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder) / "README.md"
            file.write_text(text)
            return differences.read(file)

    def test_its_rows_are_read(self):
        header = "| " + " | ".join(differences.COLUMNS) + " |\n|---|---|---|---|---|\n"
        text = f"# x\n\n{differences.HEADING}\n\nWords.\n\n{header}| a, b | `X:1 : p\\|q` | `-` | either | so |\n\n## next\n| no |\n"
        (difference,) = self.read(text)
        self.assertEqual(("X:1 : p|q", "-"), (difference.tablet, difference.wine))
        self.assertTrue(difference.is_of_one_world)
        self.assertEqual([True, True, False], [difference.applies_to(name) for name in ("a", "b", "c")])

    def test_a_file_without_it_is_an_error(self):
        with self.assertRaises(ValueError):
            self.read("# x\n")

    def test_a_row_without_a_reason_is_an_error(self):
        header = "| " + " | ".join(differences.COLUMNS) + " |\n|---|---|---|---|---|\n"
        with self.assertRaises(ValueError):
            self.read(f"{differences.HEADING}\n\n{header}| all | `a` | `b` | either | |\n")


class TheTableOfCalls(unittest.TestCase):
    def test_it_lists_exactly_the_differences_that_the_conformance_tests_expect(self):
        text = (PROJECT / "sim" / "winapi" / "README.md").read_text().partition("## One call, two worlds\n")[2]
        listed = re.findall(r"^\| `([\w-]+)` \|", text.split("\n## ")[0], re.M)
        sources = "".join(file.read_text() for file in sorted((PROJECT / "tests" / "conformance").glob("*_test.cpp")))
        expected = set(re.findall(r'\bDiffers(?:<[\w:]+>)?\(\s*"([\w-]+)"', sources))
        self.assertGreater(len(expected), 10)
        self.assertEqual(sorted(expected), listed)


class TheRunner(unittest.TestCase):
    def test_without_wine_everything_is_skipped_and_the_missing_program_is_named(self):
        with tempfile.TemporaryDirectory() as folder:
            report = Path(folder) / "report.xml"
            words = ["--build", folder, "--hosted", folder, "--report", str(report), "--wine", "no-such-program"]
            run = subprocess.run(
                [sys.executable, str(PROJECT / "tests" / "windows" / "run.py"), *words],
                capture_output=True,
                text=True,
                timeout=30,
                check=False,
            )
            self.assertEqual(0, run.returncode, run.stderr)
            self.assertRegex(run.stdout.splitlines()[-1], r"^0 passed, 0 failed, [1-9]\d* skipped$")
            self.assertIn('skipped message="no-such-program is not installed"', report.read_text())


class Machines(unittest.TestCase):
    def tried(self, *results):
        """The outcome, the number of attempts and the output, when the attempts end with these results."""
        use = unittest.mock.Mock(side_effect=results)
        with contextlib.redirect_stdout(io.StringIO()) as output:
            try:
                return machine.with_retries("a run", use), use.call_count, output.getvalue()
            except Exception as error:  # noqa: BLE001 - compared
                return type(error), use.call_count, output.getvalue()

    def test_after_a_machine_error_it_tries_again_and_reports_it(self):
        self.assertEqual(("ok", 1, ""), self.tried("ok"))
        result, attempts, output = self.tried(machine.MachineError("the pipe broke"), "ok")
        self.assertEqual(("ok", 2), (result, attempts))
        self.assertIn("a run: the pipe broke", output)
        self.assertEqual(("ok", 3), self.tried(*[machine.MachineError("x")] * 2, "ok")[:2])
        self.assertEqual((machine.MachineError, 3), self.tried(*[machine.MachineError("x")] * 3, "ok")[:2])

    def test_a_program_that_wine_did_not_start_has_no_exit_code(self):
        echo = machine.Machine(machine.Wine(["sh", "-c", 'echo "$1"; exit 1', "sh"]), "/nowhere")
        self.assertEqual((1, "a failure\n"), echo.run_for_status("a failure"))
        with self.assertRaisesRegex(machine.NotStarted, "was not started: 0 != 1 : Application could not"):
            echo.run_for_status("0 != 1 : Application could not be started, or no application")

    def test_a_failed_test_is_not_tried_again(self):
        self.assertEqual((AssertionError, 1, ""), self.tried(AssertionError("x"), "ok"))


class Memory(unittest.TestCase):
    def test_memory_is_counted_by_mapped_file(self):
        maps = (
            "140000000-140001000 r--p 00000000 00:00 0 \nSize: 4 kB\nRss: 4 kB\nPrivate_Dirty: 4 kB\n"
            "7f01000-7f09000 r-xp 00001000 08:01 77   /usr/lib/wine/KERNEL32.dll\nRss: 28 kB\nPrivate_Dirty: 0 kB\n"
            "7f09000-7f0a000 rw-p 00009000 08:01 77   /usr/lib/wine/KERNEL32.dll\nRss: 4 kB\nPrivate_Dirty: 4 kB\n"
            "7ffc000-7ffd000 rw-p 00000000 00:00 0   [stack]\nRss: 12 kB\nPrivate_Dirty: 8 kB\n"
        )
        self.assertEqual({"": (16, 12), "kernel32.dll": (32, 4)}, machine.memory_by_file(maps))


class Facts(unittest.TestCase):
    def test_they_are_read_from_the_service(self):
        self.assertEqual("Vantord", facts.SERVICE)
        self.assertTrue(facts.PARAMETERS_KEY.startswith(facts.SERVICE_KEY + "\\"), facts.PARAMETERS_KEY)
        self.assertRegex(facts.MODEM_INTERFACE, r"^\{[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\}$")
        self.assertRegex(facts.MODEM_CLASS_KEY, r"^HKEY_LOCAL_MACHINE\\.*\{[-0-9a-f]{36}\}$")


class RegistryTexts(unittest.TestCase):
    def test_values_continuations_and_deletions(self):
        text = (
            "Windows Registry Editor Version 5.00\r\n\r\n; words\r\n[HKEY_LOCAL_MACHINE\\A\\B]\r\n"
            '"Text"="C:\\\\x \\"y\\""\r\n"Number"=dword:0000000a\r\n"Bytes"=hex:01,\\\r\n  02\r\n'
            '"Several"=hex(7):41,00,00,00\r\n"Gone"=dword:1\r\n"Gone"=-\r\n[HKEY_LOCAL_MACHINE\\A\\C]\r\n'
            "[-HKEY_LOCAL_MACHINE\\A\\C]\r\n"
        )
        parsed = registry_text.parse(text)
        self.assertEqual(["hkey_local_machine\\a\\b"], list(parsed))
        self.assertEqual(
            {
                "text": (1, 'C:\\x "y"\0'.encode("utf-16-le")),
                "number": (4, b"\x0a\0\0\0"),
                "bytes": (3, b"\x01\x02"),
                "several": (7, b"A\0\0\0"),
            },
            parsed["hkey_local_machine\\a\\b"],
        )

    def test_an_unknown_line_is_an_error(self):
        with self.assertRaises(ValueError):
            registry_text.parse("[HKEY_LOCAL_MACHINE\\A]\nnonsense\n")


if __name__ == "__main__":
    unittest.main()
