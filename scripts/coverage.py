#!/usr/bin/env python3
"""Counts the lines of the service that the tests reach: coverage.py BUILD [--write]

BUILD is the folder of the preset `coverage`, after its tests have run. docs/coverage.md lists every unreached line with a
reason. Exit code 1 if an unreached line is missing there or has no reason, if a listed line is reached, or if less than
97 % of the lines are reached. --write renews the page and keeps the reasons; new ones are written by hand.
"""

import json
import re
import subprocess
import sys
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "scripts" / "style"))
sys.dont_write_bytecode = True

from rules import LAYERS  # noqa: E402

PAGE = ROOT / "docs" / "coverage.md"
ROOMS = [room for line in reversed(LAYERS["vantord"]) for room in line]
LEAST_PERCENT = 97.0
NO_REASON = "no reason yet"

HEAD = """# Lines of the service that no test reaches

Measured by `./dev coverage` with gcov over all tests of the hosted build, for `vantord/` only. A line counts if the
compiler made code for it. `scripts/coverage.py` fails if an unreached line is not listed or has no reason, or if a listed
line is reached; `./dev coverage --write` renews the page and keeps the reasons.
"""

# What people write: kept as it is.
REST = "\n# Wrong lines that no test notices\n"


def gcov(build):
    """gcov's records of every object of the service."""
    notes = sorted(build.glob("CMakeFiles/vantord_service.dir/**/*.gcno"))
    if not notes:
        sys.exit(f"{build}: no coverage data; build the preset coverage first")
    for note in notes:
        done = subprocess.run(
            ["gcov", "--json-format", "--stdout", note], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, cwd=build, check=True
        )
        for line in done.stdout.decode("utf-8").splitlines():
            yield json.loads(line)


def measured(build):
    """{path: {line number: executions}}; a line of a header counts once for all objects."""
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
    """(path, text) of each line that never ran, in order; a text may occur more than once."""
    for path in sorted(counts, key=lambda path: (ROOMS.index(path.split("/")[1]), path)):
        lines = (ROOT / path).read_text(encoding="utf-8").splitlines()
        for number in sorted(number for number, count in counts[path].items() if count == 0):
            yield path, lines[number - 1].strip()


def written():
    """The page as it is: what is counted, and what people write."""
    counted, heading, rest = (PAGE.read_text(encoding="utf-8") if PAGE.exists() else "").partition(REST)
    return counted, heading + rest


def listed():
    """{(path, text): reason} of the page."""
    reasons = {}
    path = None
    for line in written()[0].splitlines():
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
    for folder in ROOMS:
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
    return "".join(parts) + written()[1]


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
    complaints = [f"{path}: not reached, no reason: {text}" for path, text in missing if reasons.get((path, text), NO_REASON) == NO_REASON]
    complaints += [f"{path}: listed, but reached or removed: {text}" for path, text in reasons if (path, text) not in missing]
    if PAGE.read_text(encoding="utf-8") != page(counts, reasons):
        complaints.append("docs/coverage.md: out of date; run ./dev coverage --write")
    if percent < LEAST_PERCENT:
        complaints.append(f"{percent:.1f} % of the lines are reached, expected {LEAST_PERCENT:.0f} %")
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
