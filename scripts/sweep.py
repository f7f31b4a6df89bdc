#!/usr/bin/env python3
"""Sweeps the small variant of each sample: sweep.py PROGRAM [--samples A,B] [--write] [OPTION...]

OPTIONs go to each `vantord-tablet sweep`, whose JSON is kept in build/sweep/SAMPLE.json. Prints each finding with the
command that repeats it, and a table of all samples. --write puts the table into docs/promises.md. Exit code 5 if a promise
broke, 1 if a sweep failed.
"""

import argparse
import datetime
import json
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
PAGE = ROOT / "docs" / "promises.md"
BEGIN, END = "<!-- ./dev sweep --write -->", "<!-- end -->"
KINDS = ("fault", "allocation", "pair", "cut", "schedule")
COLUMNS = ("one call fails", "allocations", "two calls fail", "power cuts", "schedules", "runs", "calls and errors", "findings")


def samples_of(program):
    listed = subprocess.run([program, "init", "--list"], check=True, capture_output=True, text=True)
    return [line.split()[0] for line in listed.stdout.splitlines() if line.strip()]


def sweep(program, sample, work, options):
    """The JSON of a sweep; None if it failed."""
    tablet = Path("build/tablets/sweep") / sample
    subprocess.run(["rm", "-rf", work / tablet], check=True)
    (work / tablet).parent.mkdir(parents=True, exist_ok=True)
    subprocess.run([program, "init", tablet, "--sample", sample, "--small"], cwd=work, check=True, stdout=subprocess.DEVNULL)
    # The progress bar goes to standard error.
    done = subprocess.run([program, "sweep", tablet, "--json", *options], cwd=work, stdout=subprocess.PIPE, text=True)
    kept = work / "build" / "sweep" / f"{sample}.json"
    kept.parent.mkdir(parents=True, exist_ok=True)
    kept.write_text(done.stdout, encoding="utf-8")
    if done.returncode not in (0, 5):
        print(f"{sample}: sweep failed with exit code {done.returncode}; its output: {kept.relative_to(work)}")
        return None
    return json.loads(done.stdout)


def numbers(documents):
    """The values of COLUMNS for one or several documents; the same call and error in several counts once."""
    tried = [sum(document["tried"][kind] for document in documents) for kind in KINDS]
    runs = sum(document["lives"] for document in documents)
    pairs = len({pair for document in documents for pair in document["errors"]})
    findings = sum(finding["lives"] for document in documents for finding in document["findings"])
    return [*tried, runs, pairs, findings]


def table(documents):
    rows = [*((sample, numbers([document])) for sample, document in documents.items()), ("all", numbers(documents.values()))]
    lines = ["| sample | " + " | ".join(COLUMNS) + " |", "|---" * (len(COLUMNS) + 1) + "|"]
    return lines + [f"| {name} | " + " | ".join(f"{number:,}" for number in row) + " |" for name, row in rows]


def commit_now():
    return subprocess.run(["git", "log", "-1", "--format=%h"], cwd=ROOT, capture_output=True, text=True).stdout.strip()


def remark(documents, commit, options):
    """The command, commit and effort of these numbers."""
    seconds = sum(document["seconds"] for document in documents.values())
    calls = sum(document["calls"] for document in documents.values())
    processors = max(document["processors"] for document in documents.values())
    words = " ".join(["./dev sweep", *options])
    return (f"`{words}` at {commit} on {datetime.datetime.now(datetime.timezone.utc):%Y-%m-%d}: {calls:,} calls of the "
            f"Windows API in {seconds:,.0f} s on {processors} processors.")


def write(documents, commit, options):
    page = PAGE.read_text(encoding="utf-8")
    text = "\n".join([BEGIN, "", remark(documents, commit, options), "", *table(documents), "", END])
    PAGE.write_text(re.sub(re.escape(BEGIN) + ".*?" + re.escape(END), lambda _: text, page, flags=re.S), encoding="utf-8")


def main(arguments):
    parser = argparse.ArgumentParser(prog="./dev sweep", description="Sweeps the small variant of each sample.")
    parser.add_argument("program", type=Path)
    parser.add_argument("--samples", help="only these, separated by commas")
    parser.add_argument("--work", type=Path, default=ROOT, help="the folder in which build/ is")
    parser.add_argument("--write", action="store_true", help="put the table into docs/promises.md")
    own, options = parser.parse_known_args(arguments)
    program, work = own.program.resolve(), own.work.resolve()
    documents, status, commit = {}, 0, commit_now()
    for sample in own.samples.split(",") if own.samples else samples_of(program):
        print(f"+ vantord-tablet sweep build/tablets/sweep/{sample} {' '.join(options)}".rstrip(), file=sys.stderr, flush=True)
        document = sweep(program, sample, work, options)
        if document is None:
            status = 1
            continue
        documents[sample] = document
        for finding in document["findings"]:
            print(f"{finding['promise']}: {finding['detail']} ({finding['lives']} runs)\n  {finding['repeat']}", flush=True)
    print("\n".join(table(documents)))
    if own.write and status == 0:
        write(documents, commit, ["--samples", own.samples, *options] if own.samples else options)
    return status or (5 if numbers(documents.values())[-1] else 0)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
