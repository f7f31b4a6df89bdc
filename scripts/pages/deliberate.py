#!/usr/bin/env python3
"""Keeps docs/deliberate-behaviour.md, the table of the `Deliberate:` comments, equal to the sources.

deliberate.py          reports whether the page is up to date; exit code 1 if it is not
deliberate.py --write  writes the page
"""

import re
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.append(str(Path(__file__).resolve().parents[1] / "style"))

import generated  # noqa: E402
from consequences import CONSEQUENCES  # noqa: E402
from functions import functions  # noqa: E402
from source import DELIBERATE, Source  # noqa: E402

ROOT = Path(__file__).resolve().parents[2]
PRODUCT = ROOT / "vantord"
FOLDERS = ["service", "modem", "radio", "uefi", "device", "crash", "unzip", "common"]
PAGE = ROOT / "docs" / "deliberate-behaviour.md"

HEAD = """# Deliberate behaviour

Behaviour of the service that looks like a mistake and is intended. Each is marked `Deliberate:` in the source, with what
a reader would expect instead and the test that holds it. "In the field" is what an engineer notices.
`scripts/pages/deliberate.py --write` makes this page from those comments; a test fails if it is out of date.
"""


def place_of(source, first, last):
    """The name of the function around the lines of a comment, or of what the comment describes."""
    for begin, end, head in functions(source.code):
        if begin <= first <= end:
            return name_of(head)
    rest = "\n".join(source.code.split("\n")[last:])
    return name_of(rest[: re.search(r"[;{=]", rest).start()])


def name_of(declaration):
    declaration = re.sub(r"\[\[\w+\]\]", "", re.sub(r"\b(?:public|protected|private):", "", declaration)).strip()
    called = re.search(r"([~\w:]+)\s*\(", declaration)
    if called:
        return called[1]
    return re.sub(r"\[\w*\]", "", declaration).split()[-1]


def marks(source):
    """(place, behaviour, expected, tests) of each mark of one file, in order."""
    for first, text in source.comments:
        last = first + text.count("\n")
        for mark in DELIBERATE.finditer(text):
            line = first + text.count("\n", 0, mark.start())
            behaviour, expected, tests = (" ".join(part.split()) for part in mark.groups())
            yield place_of(source, line, last), behaviour, expected, tests.split(", ")


def cell(text):
    return (text[0].upper() + text[1:].rstrip(".")).replace("|", "\\|")


def rows(folder):
    for path in sorted((PRODUCT / folder).rglob("*.h")) + sorted((PRODUCT / folder).rglob("*.cpp")):
        source = Source(path.relative_to(ROOT).as_posix(), path.read_text(encoding="utf-8"))
        for place, behaviour, expected, tests in marks(source):
            if tests[0] not in CONSEQUENCES:
                raise ValueError(f"{source.path}: scripts/pages/consequences.py has no entry for {tests[0]}")
            names = ", ".join(f"`{test}`" for test in tests)
            yield tests[0], (f"| `{place}` | {cell(behaviour)} | {cell(expected)} | "
                             f"{cell(CONSEQUENCES[tests[0]])} | {names} |\n")


def page():
    parts, used = [HEAD], set()
    for folder in FOLDERS:
        found = list(rows(folder))
        used.update(test for test, _ in found)
        if found:
            parts.append(f"\n## {folder}/\n\n| function | behaviour | expected | in the field | test |\n|---|---|---|---|---|\n")
            parts += [row for _, row in found]
    for test in sorted(set(CONSEQUENCES) - used):
        raise ValueError(f"scripts/pages/consequences.py: no mark names {test} first")
    return "".join(parts)


def main(arguments):
    try:
        text = page()
    except ValueError as error:
        print(error)
        return 1
    return generated.keep(PAGE, text, arguments, "deliberate.py", f"{text.count(chr(10) + '| `')} deliberate behaviours")


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
