#!/usr/bin/env python3
"""Counts which lines of the product folders the tests have reached: coverage.py BUILD [--write]

BUILD is the folder of the preset `coverage`, in which the tests have run. docs/coverage.md lists every line that was not
reached, with the reason. Exit code 1 when a line stands there without a reason or not at all, or is reached by now, and
when less than 97 % of the lines are reached. --write renews the page; reasons stay with their lines, and where one is
missing it must be written there by hand.
"""

import json
import re
import subprocess
import sys
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
PAGE = ROOT / "docs" / "coverage.md"
FOLDERS = ("service", "modem", "radio", "uefi", "device", "crash", "unzip", "common")
LEAST_PERCENT = 97.0
NO_REASON = "no reason yet"

HEAD = """# Lines of the service that no test reaches

Measured by `./dev coverage` with gcov over all tests of the hosted build, in the product folders only. A line counts
when the compiler made code for it. The lists below are held by `scripts/coverage.py`, which fails when a line is
not listed, has no reason or is reached after all; `./dev coverage --write` renews the page and keeps the reasons.
"""


def gcov(build):
    """The records of every object of the product, as gcov tells them."""
    notes = sorted(build.glob("CMakeFiles/vantord_service.dir/**/*.gcno"))
    if not notes:
        sys.exit(f"{build}: nothing to count: build the preset coverage first")
    for note in notes:
        done = subprocess.run(
            ["gcov", "--json-format", "--stdout", note], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, cwd=build, check=True
        )
        for line in done.stdout.decode("utf-8").splitlines():
            yield json.loads(line)


def measured(build):
    """{path: {line number: how often it ran}}; a line of a header counts once, however many objects have it."""
    counts = defaultdict(lambda: defaultdict(int))
    for record in gcov(build):
        base = Path(record["current_working_directory"])
        for file in record["files"]:
            path = (base / file["file"]).resolve()
            if not path.is_relative_to(ROOT) or path.relative_to(ROOT).parts[0] != "vantord":
                continue
            for line in file["lines"]:
                counts[path.relative_to(ROOT).as_posix()][line["line_number"]] += line["count"]
    return counts


def unreached(counts):
    """(path, text of the line) of each line that never ran, in order; the same text may come more than once."""
    for path in sorted(counts, key=lambda path: (FOLDERS.index(path.split("/")[1]), path)):
        lines = (ROOT / path).read_text(encoding="utf-8").splitlines()
        for number in sorted(number for number, count in counts[path].items() if count == 0):
            yield path, lines[number - 1].strip()


def listed():
    """{(path, text): reason} of the page."""
    reasons = {}
    path = None
    for line in PAGE.read_text(encoding="utf-8").splitlines() if PAGE.exists() else ():
        heading = re.match(r"## `(.+)`$", line)
        entry = re.match(r"- `` (.*) ``: (.*)$", line)
        if heading:
            path = heading[1]
        elif entry and path:
            reasons[path, entry[1]] = entry[2]
    return reasons


def table(counts):
    rows = ["\n| folder | lines | reached | |\n|---|---|---|---|\n"]
    total = reached = 0
    for folder in FOLDERS:
        lines = [count for path in counts if path.startswith(f"vantord/{folder}/") for count in counts[path].values()]
        ran = sum(count > 0 for count in lines)
        total, reached = total + len(lines), reached + ran
        rows.append(f"| `vantord/{folder}/` | {len(lines)} | {ran} | {100 * ran / len(lines):.1f} % |\n")
    rows.append(f"| all | {total} | {reached} | {100 * reached / total:.1f} % |\n")
    return "".join(rows), 100 * reached / total


def page(counts, reasons):
    parts = [HEAD, table(counts)[0]]
    last = None
    for path, text in dict.fromkeys(unreached(counts)):
        if path != last:
            parts.append(f"\n## `{path}`\n\n")
            last = path
        parts.append(f"- `` {text} ``: {reasons.get((path, text), NO_REASON)}\n")
    return "".join(parts)


def main(arguments):
    build = Path(arguments[0]).resolve()
    counts = measured(build)
    reasons = listed()
    if "--write" in arguments[1:]:
        PAGE.write_text(page(counts, reasons), encoding="utf-8")
        reasons = listed()
    figures, percent = table(counts)
    print(figures)
    missing = dict.fromkeys(unreached(counts))
    complaints = [f"{path}: not reached and without a reason: {text}" for path, text in missing if reasons.get((path, text), NO_REASON) == NO_REASON]
    complaints += [f"{path}: listed, but reached by now or gone: {text}" for path, text in reasons if (path, text) not in missing]
    if PAGE.read_text(encoding="utf-8") != page(counts, reasons):
        complaints.append("docs/coverage.md is not what was counted: ./dev coverage --write")
    if percent < LEAST_PERCENT:
        complaints.append(f"{percent:.1f} % of the lines are reached, {LEAST_PERCENT:.0f} % are wanted")
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
