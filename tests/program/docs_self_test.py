#!/usr/bin/env python3
"""Shows pages with mistakes to the check of the pages' commands, and looks whether each is found."""

import sys
import unittest

sys.dont_write_bytecode = True

import docs_commands as commands  # noqa: E402

HELP = "  run [ARGS...]   x\n  test   x\n"


def wrong(text):
    return commands.check("page.md", text, "/bin/true", HELP)


class Pages(unittest.TestCase):
    def test_what_works_is_no_problem(self):
        self.assertEqual(wrong("```sh\n# a remark\nmkdir a   # makes it\nls a\nfalse  # exit code 1\n./dev run\n```\n"), [])
        self.assertEqual(wrong("```console\n$ printf 'a\\nb\\nc\\n'\na\n...\nc\n```\n"), [])
        self.assertEqual(wrong("```text\nnot-a-command\n```\n"), [])

    def test_an_exit_code_that_is_not_shown_is_found_with_its_place(self):
        self.assertIn("page.md:2: false: ends with 1, not with 0", wrong("```sh\nfalse\n```\n")[0])
        self.assertIn("ends with 0, not with 5", wrong("```sh\ntrue # exit code 5\n```\n")[0])

    def test_other_output_is_found(self):
        self.assertIn("prints something else", wrong("```console\n$ echo a\nb\n```\n")[0])
        self.assertIn("prints something else", wrong("```console\n$ printf 'a\\nb\\n'\na\n```\n")[0])

    def test_words_that_do_not_exist_are_found(self):
        self.assertIn("no such word: ./dev walk", wrong("```sh\n./dev walk\n```\n")[0])
        self.assertIn("no such word: cmake --preset none", wrong("```sh\ncmake --preset none\n```\n")[0])


if __name__ == "__main__":
    unittest.main()
