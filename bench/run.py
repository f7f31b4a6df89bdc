#!/usr/bin/env python3
"""Compares extraction with other programs and with lower bounds, and measures the rest of the service.

The contenders take turns; the ratio within a round counts. Without --quick the figures go to bench/results.md and the
plot to bench/results.svg.
"""

import argparse
import dataclasses
import os
import pickle
import shutil
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True

import service  # noqa: E402
from contenders import contenders  # noqa: E402
from measure import CASES, IDLE, Bench, Case  # noqa: E402
from results import when, write_results  # noqa: E402

HERE = Path(__file__).resolve().parent
# Enough for all archives and targets.
NEEDED_BYTES = 1 << 30
# {entries: extractions}: 60,000 entries for each number.
PER_ENTRY = [(100, 600), (1000, 60), (10000, 6), (60000, 1)]


def working_folder(build):
    """A file system in memory if it has room: the disk of a busy machine varies most."""
    memory = Path("/dev/shm")
    if memory.is_dir() and os.access(memory, os.W_OK) and shutil.disk_usage(memory).free > NEEDED_BYTES:
        return tempfile.mkdtemp(prefix="vantord-bench-", dir=memory), "a file system in memory"
    return tempfile.mkdtemp(prefix="bench-", dir=build), "the disk"


def per_entry(bench, who, rounds, progress, plan):
    """CPU microseconds for an entry, by the size of the archive: {entries: [one number a round]}."""
    figures = {entries: [] for entries, _ in plan}
    for number in range(rounds):
        progress(f"cost of an entry: round {number + 1} of {rounds}")
        for entries, times in plan:
            archive = bench.archive(Case(f"of-{entries}", "", 6, entries, max(entries // 100, 1), 100, 500))
            idle = bench.run(who, archive, 0, times)
            used = bench.run(who, archive, entries, times)
            cpu = used["user"] + used["system"] - idle["user"] - idle["system"]
            figures[entries].append(cpu * 1e6 / (entries * times))
    return figures


def memory_on_a_full_drive(bench, who, archive):
    """KB of peak memory that extraction adds, without the tablet's list of files: it has them before both runs."""
    bench.run(who, archive)
    idle = bench.run(who, archive, 0, keep=True)
    used = bench.run(who, archive, keep=True)
    return used["peak_kb"] - idle["peak_kb"]


def measure(options, progress):
    everybody = contenders(options.build)
    absent = [c.name for c in everybody if not c.is_there()]
    present = [c for c in everybody if c.is_there()]
    for name in absent:
        print(f"bench: {name} is left out: it is not installed", file=sys.stderr)
    cases = [case.smaller() for case in CASES] if options.quick else CASES
    folder, kind = (options.folder, "a given folder") if options.folder else working_folder(options.build)
    plan = [(20, 3), (100, 1)] if options.quick else PER_ENTRY
    with Bench(options.build, folder) as bench:
        data = {"folder": kind, "absent": absent, "cases": cases, "contenders": present}
        data["idle"] = bench.rounds([IDLE], present, min(options.rounds, 3), progress)[IDLE.name]
        data["samples"] = bench.rounds(cases, present, options.rounds, progress)
        data["calls"] = {}
        data["full_drive"] = {}
        for case in cases:
            progress(f"{case.name}: system calls and memory")
            # Plain calls make one call for each byte of a header: ten million are too many for strace. A smaller case leaves
            # out what the full one does.
            counted = [c for c in present if not (c.name == "plain calls" and case.name == "many")]
            data["calls"][case.name] = {c.name: bench.system_calls(c, bench.archive(case)) for c in counted}
            data["full_drive"][case.name] = {
                c.name: memory_on_a_full_drive(bench, c, bench.archive(case)) for c in present if c.drive}
        data["per_entry"] = {c.name: per_entry(bench, c, min(options.rounds, 5), progress, plan) for c in present if c.drive}
        data["service"] = service.measure(options.build, folder, options.rounds, progress, options.quick)
    return data


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=Path, required=True, help="the hosted build")
    parser.add_argument("--rounds", type=int, default=7, help="how many rounds (7)")
    parser.add_argument("--folder", type=Path, help="a folder to work in; removed at the end")
    parser.add_argument("--again", action="store_true", help="write the last measurement again")
    parser.add_argument("--quick", action="store_true", help="one round with small archives; prints the results only")
    options = parser.parse_args()
    options.build = options.build.resolve()
    if options.folder and options.folder.exists():
        parser.error(f"{options.folder} exists: name a new folder, which is removed at the end")
    if options.quick:
        options.rounds = 1
    kept = options.build / "bench" / "measured.pickle"
    if options.again:
        if not kept.exists():
            parser.error(f"{kept} does not exist: measure first, without --again")
        data = pickle.loads(kept.read_bytes())
    else:
        data = measure(options, lambda text: print(text, file=sys.stderr))
        data["when"] = when()
        data["contenders"] = [dataclasses.replace(c, command=None) for c in data["contenders"]]
    if options.quick:
        with tempfile.TemporaryDirectory(prefix="vantord-bench-") as folder:
            write_results(Path(folder), data)
            print(Path(folder, "results.md").read_text())
        return 0
    if not options.again:
        kept.write_bytes(pickle.dumps(data))
    write_results(HERE, data)
    print("bench/results.md, bench/results.svg")
    return 0


if __name__ == "__main__":
    sys.exit(main())
