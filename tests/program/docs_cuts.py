#!/usr/bin/env python3
"""Keeps the tables of docs/promises.md that `vantord-tablet sweep --cut-table` makes equal to what it prints.

cuts.py PROGRAM          says whether the tables are what the program prints; exit code 1 when one is not
cuts.py PROGRAM --write  puts them there anew

A table follows a line `<!-- vantord-tablet sweep SAMPLE --cut-table -->`; SAMPLE is the small variant of a sample.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

PAGE = Path(__file__).resolve().parents[2] / "docs" / "promises.md"
TABLE = re.compile(r"<!-- vantord-tablet sweep (\S+) --cut-table -->\n\n((?:\|.*\n)*)")
SECONDS = 280


def table(program, sample, folder):
    """The table of a sample; None when a promise broke."""
    tablet = Path(folder) / sample
    subprocess.run([program, "init", tablet, "--sample", sample, "--small"], check=True, stdout=subprocess.DEVNULL)
    done = subprocess.run([program, "sweep", tablet, "--cut-table"], capture_output=True, text=True, timeout=SECONDS)
    if done.returncode != 0:
        print(f"{sample}: exit code {done.returncode}\n{done.stdout[-2000:]}{done.stderr[-2000:]}")
        return None
    return done.stdout


def main(arguments):
    program = Path(arguments[0]).resolve()
    page = PAGE.read_text(encoding="utf-8")
    with tempfile.TemporaryDirectory(prefix="vantord-cuts-") as folder:
        tables = {match[1]: table(program, match[1], folder) for match in TABLE.finditer(page)}
    if not tables or None in tables.values():
        return 1
    made = TABLE.sub(lambda match: f"<!-- vantord-tablet sweep {match[1]} --cut-table -->\n\n{tables[match[1]]}", page)
    if "--write" in arguments[1:]:
        PAGE.write_text(made, encoding="utf-8")
    elif made != page:
        old, new = page.splitlines(), made.splitlines()
        for line in [f"- {line}" for line in old if line not in new] + [f"+ {line}" for line in new if line not in old]:
            print(line)
        print(f"docs/promises.md is not what the program prints: python3 tests/program/docs_cuts.py {arguments[0]} --write")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
