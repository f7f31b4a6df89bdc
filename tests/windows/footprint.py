#!/usr/bin/env python3
"""What the resting service has in memory under Wine: footprint.py --build FOLDER --hosted FOLDER [--work FOLDER]

Prints JSON, {program: {file: [KB in memory, KB of them that were written to]}}, the file "" for what is of none, of
Vantord.exe and of the partner service of the tests, which does next to nothing: what that one takes is Wine's. Exit code 77
where there is no Wine.
"""

import json
import sys

sys.dont_write_bytecode = True

import lives  # noqa: E402
import machine  # noqa: E402
import run  # noqa: E402


class Resting(lives.SampleTest):
    sample = "already-deployed"


def main(arguments):
    options = run.parse(arguments)
    wine = machine.Wine(options.wine.split(), options.wineserver.split(), patience=options.patience)
    if wine.missing():
        print(f"footprint.py: {wine.missing()} is not installed", file=sys.stderr)
        return 77
    with run.sole_user((options.work or options.build / "wine").resolve()):
        world = run.make_world(options, wine)
        led = machine.lead(Resting.sample, lambda: lives.Runs(world, Resting))
    print(json.dumps(led.windows.memory, indent=1))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
