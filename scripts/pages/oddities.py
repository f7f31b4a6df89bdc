#!/usr/bin/env python3
"""Keeps docs/oddities.md, the index of the `Kept on purpose:` comments, equal to the sources.

oddities.py          says whether the page is up to date; exit code 1 when it is not
oddities.py --write  writes the page anew
"""

import re
import sys
from pathlib import Path

sys.dont_write_bytecode = True

import generated  # noqa: E402

ROOT = Path(__file__).resolve().parents[2]
PRODUCT = ROOT / "vantord"
FOLDERS = ["service", "modem", "radio", "uefi", "device", "crash", "unzip", "common"]
PAGE = ROOT / "docs" / "oddities.md"
MARK = "Kept on purpose:"

HEAD = """# Oddities that are wanted

Behaviour of the service that looks like a mistake and is none. Each is marked `Kept on purpose:` where it stands, with
what one would expect instead and the test that pins it. This page is made of those comments by
`scripts/pages/oddities.py --write`; a test fails when it is out of date.
"""


def comment_text(line):
    """What a line's comment says, or None for a line without one."""
    found = re.search(r"//+<?\s?(.*)$", line)
    return found.group(1).strip() if found else None


def oddities(path):
    """The texts of one file's marks: each goes on until its comment ends or the next mark."""
    texts, current = [], None
    for line in path.read_text(encoding="utf-8").splitlines():
        text = comment_text(line)
        if text is None:
            current = None
            continue
        before, mark, after = text.partition(MARK)
        if mark:
            if current is not None:
                texts[-1] += " " + before.strip()
            texts.append(after.strip())
            current = True
        elif current:
            texts[-1] += " " + text
    return [re.sub(r"\s+", " ", text).strip() for text in texts]


def page():
    parts = [HEAD]
    for folder in FOLDERS:
        files = sorted((PRODUCT / folder).rglob("*.h")) + sorted((PRODUCT / folder).rglob("*.cpp"))
        entries = [(path.relative_to(PRODUCT), text) for path in files for text in oddities(path)]
        if not entries:
            continue
        parts.append(f"\n## {folder}/\n\n")
        parts += [f"- `{path}`: {text}\n" for path, text in entries]
    return "".join(parts)


def main(arguments):
    text = page()
    return generated.keep(PAGE, text, arguments, "oddities.py", f"{text.count(chr(10) + '- ')} oddities")


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
