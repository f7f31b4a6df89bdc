#!/usr/bin/env python3
"""Memory of the resting service under Wine: footprint.py --build FOLDER --hosted FOLDER [--work FOLDER]

Prints JSON, {program: {file: [KB in memory, KB written to]}}, with the file "" for memory of no file, for Vantord.exe and
for the tests' partner service, which does nothing: its memory is Wine's. Exit code 77 without Wine.
"""

import json
import sys

sys.dont_write_bytecode = True

import machine  # noqa: E402
import run  # noqa: E402
import sample_test  # noqa: E402


class Resting(sample_test.SampleTest):
    sample = "already-deployed"


def main(arguments):
    options = run.parse(arguments)
    wine = machine.Wine(options.wine.split(), options.wineserver.split(), slowdown=options.slowdown)
    if wine.missing():
        print(f"footprint.py: {wine.missing()} is not installed", file=sys.stderr)
        return 77
    with run.sole_user((options.work or options.build / "wine").resolve()):
        world = run.make_world(options, wine)
        runs = machine.with_retries(Resting.sample, lambda: sample_test.Runs(world, Resting))
    print(json.dumps(runs.windows.memory, indent=1))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
