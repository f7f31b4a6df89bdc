#!/usr/bin/env python3
"""Holds the instructions of the extraction loop and of the message path against recorded ones.

budgets.py --build DIR check SCENARIO    exit code 0: within the budget; 1: not; 77: skipped, with the reason
budgets.py --build DIR record            writes bench/budgets.json anew

Instructions do not depend on how busy the machine is, but on the compiler: with another version than the recorded one
nothing can be said. zlib and the C library are not counted.
"""

import argparse
import json
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True

from counts import count  # noqa: E402

BUDGETS = Path(__file__).resolve().parent / "budgets.json"
SKIPPED = 77
TOLERANCE = 0.03
COUNTED = ("service", "stand-in")

# Name: what is run. An archive is FILES FOLDERS LEAST MOST KIND; messages are a kind.
SCENARIOS = {
    "extract-deflated": {"archive": (1, 1, 1 << 20, 1 << 20, "deflated")},
    "extract-stored": {"archive": (1, 1, 2 << 20, 2 << 20, "stored")},
    "extract-small": {"archive": (100, 2, 1536, 9216, "deflated")},
    "message-off": {"messages": "off"},
    "message-silent": {"messages": "silent"},
    "message-sent": {"messages": "sent"},
}
MESSAGES = 1000


def profile(scenario, build, folder):
    """Instructions of a scenario, less those of starting and ending."""
    tools = Path(build) / "bench"
    what = SCENARIOS[scenario]
    log = Path(folder) / "callgrind"
    if "messages" in what:
        program = [tools / "bench_messages", what["messages"]]
        return count([*program, MESSAGES], log).minus(count([*program, 0], log))
    tablet = Path(folder) / "tablet"
    (tablet / "C").mkdir(parents=True)
    *numbers, kind = what["archive"]
    subprocess.run([tools / "bench_archive", tablet / "C" / "a.zip", "5", *map(str, numbers), kind], check=True)
    program = [tools / "bench_extract", tablet, "a.zip"]
    idle = count([*program, "0"], log)
    return count(program, log).minus(idle)


def compiler():
    return subprocess.run(["c++", "--version"], capture_output=True, text=True, check=True).stdout.splitlines()[0]


def figures(scenario, build):
    with tempfile.TemporaryDirectory(prefix="vantord-bench-") as folder:
        measured = profile(scenario, build, folder)
    groups = measured.groups()
    result = {}
    for group in COUNTED:
        # What makes up a hundredth of its group and more is named, so that a change can be told by name.
        named = {function: n for (g, function), n in measured.functions.items()
                 if g == group and n * 100 >= max(groups[group], 1)}
        result[group] = {"instructions": groups[group], "functions": dict(sorted(named.items(), key=lambda f: -f[1]))}
    return result


def moved(recorded, now):
    """Lines that name the functions whose instructions have changed most."""
    before, after = recorded["functions"], now["functions"]
    changes = [(after.get(name, 0) - before.get(name, 0), name) for name in {*before, *after}]
    changes.sort(key=lambda change: -abs(change[0]))
    return [f"    {change:+12,}  {before.get(name, 0):12,} -> {after.get(name, 0):12,}  {name}"
            for change, name in changes[:8] if change != 0]


def check(scenario, build):
    if shutil.which("valgrind") is None:
        print("skipped: valgrind is not installed")
        return SKIPPED
    budgets = json.loads(BUDGETS.read_text())
    if budgets["compiler"] != compiler():
        print(f"skipped: recorded with {budgets['compiler']}; this is {compiler()}")
        return SKIPPED
    now = figures(scenario, build)
    failed = False
    for group in COUNTED:
        recorded = budgets["scenarios"][scenario][group]
        before, after = recorded["instructions"], now[group]["instructions"]
        change = (after - before) / max(before, 1)
        print(f"{scenario}, {group}: {before:,} instructions recorded, {after:,} now ({change:+.1%})")
        if abs(change) <= TOLERANCE:
            continue
        failed = True
        print("\n".join(["  what moved:", *moved(recorded, now[group])]))
        what = "more than the budget" if change > 0 else "less: lower the budget, so that this is not lost again"
        print(f"  {what}; `python3 bench/budgets.py --build build/hosted record` writes the new figures")
    return 1 if failed else 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("word", choices=("check", "record"))
    parser.add_argument("scenario", nargs="?", choices=sorted(SCENARIOS))
    options = parser.parse_args()
    if options.word == "check":
        return check(options.scenario, options.build)
    scenarios = {name: figures(name, options.build) for name in SCENARIOS}
    BUDGETS.write_text(json.dumps({"compiler": compiler(), "scenarios": scenarios}, indent=1) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
