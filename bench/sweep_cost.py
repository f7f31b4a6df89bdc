#!/usr/bin/env python3
"""What a run and a sweep of a full-size tablet cost, compared with its small variant, where nothing is deployed.

sweep_cost.py --build DIR [--rounds N]   exit code 1: processor time or memory of the sweep is more than twice the small
                                         variant's
"""

import argparse
import os
import subprocess
import sys
import tempfile
from pathlib import Path

SAMPLE = "already-deployed"
MOST = 2.0
# What is measured: its name, the command and its options.
MEASURED = (("run", "run", []), ("sweep", "sweep", ["--jobs", "1"]),
            ("sweep of 100 runs", "sweep", ["--jobs", "1", "--only", "schedule", "--schedules", "100"]))


def cost(command):
    """Seconds of processor time, and MB at the most of one process; what this program itself takes is the least."""
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise SystemExit(f"{' '.join(map(str, command))}: exit code {process.returncode}")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True, type=Path)
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    program = options.build / "vantord-tablet"
    costs = {}
    with tempfile.TemporaryDirectory(prefix="vantord-bench-") as folder:
        for size, flags in (("small", ["--small"]), ("full", [])):
            subprocess.run([program, "init", f"{folder}/{size}", "--sample", SAMPLE, *flags], check=True,
                           stdout=subprocess.DEVNULL)
        for _ in range(options.rounds):
            for name, word, flags in MEASURED:
                for size in ("small", "full"):
                    costs.setdefault((name, size), []).append(cost([program, word, f"{folder}/{size}", *flags]))
    exceeds = False
    for name, word, _ in MEASURED:
        for i, unit in enumerate(("s", "MB")):
            small, full = (min(c[i] for c in costs[name, size]) for size in ("small", "full"))
            print(f"{name:18} small {small:8.2f} {unit:2}  full {full:8.2f} {unit:2}  ratio {full / max(small, 1e-3):.2f}")
            exceeds = exceeds or (word == "sweep" and full > MOST * small)
    return 1 if exceeds else 0


if __name__ == "__main__":
    sys.exit(main())
