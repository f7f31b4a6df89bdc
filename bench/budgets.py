#!/usr/bin/env python3
"""Compares the instructions of extraction, of messages and of whole runs with recorded ones.

budgets.py --build DIR check SCENARIO    exit code 0: within the budget; 1: not; 77: skipped, with the reason
budgets.py --build DIR record            writes bench/budgets.json

Instructions depend on the compiler and its options, not on the machine's load: with another compiler or other options the
check is skipped. zlib and the C library are not counted.
"""

import argparse
import json
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True

from counts import count  # noqa: E402

BUDGETS = Path(__file__).resolve().parent / "budgets.json"
SKIPPED = 77
# The stand-in may grow slowly: its time is not the tablet's.
TOLERANCE = {"program": 0.03, "service": 0.03, "stand-in": 0.10}
# A message whose zone is off is a bit test, compiled into the benchmark: there "program" counts too.
COUNTED = ("service", "stand-in")
COUNTED_OF_MESSAGE_OFF = ("program", "service", "stand-in")

# Name: what is run. An archive is FILES FOLDERS LEAST MOST KIND; messages are a kind; a run is KIND SAMPLE.
SCENARIOS = {
    "extract-deflated": {"archive": (1, 1, 1 << 20, 1 << 20, "deflated")},
    "extract-stored": {"archive": (1, 1, 2 << 20, 2 << 20, "stored")},
    "extract-small": {"archive": (100, 2, 1536, 9216, "deflated")},
    "message-off": {"messages": "off"},
    "message-silent": {"messages": "silent"},
    "message-sent": {"messages": "sent"},
    "life": {"run": ("boot", "fresh")},
    "radio": {"run": ("radio", "already-deployed")},
}
MESSAGES = 1000


def profile(scenario, build, folder):
    """Instructions of a scenario, without those of starting and ending."""
    tools = Path(build) / "bench"
    what = SCENARIOS[scenario]
    log = Path(folder) / "callgrind"
    if "messages" in what:
        program = [tools / "bench_messages", what["messages"]]
        return count([*program, MESSAGES], log).minus(count([*program, 0], log))
    tablet = Path(folder) / "tablet"
    if "run" in what:
        return of_run(build, *what["run"], tablet, log)
    (tablet / "C").mkdir(parents=True)
    *numbers, kind = what["archive"]
    subprocess.run([tools / "bench_archive", tablet / "C" / "a.zip", "5", *map(str, numbers), kind], check=True)
    program = [tools / "bench_extract", tablet, "a.zip"]
    idle = count([*program, "0"], log)
    return count(program, log).minus(idle)


def of_run(build, kind, sample, tablet, log):
    """A run of the small variant of a sample, without reading it and powering it on."""
    def counted(kind):
        shutil.rmtree(tablet, ignore_errors=True)
        subprocess.run([Path(build) / "vantord-tablet", "init", tablet, "--sample", sample, "--small"], check=True,
                       stdout=subprocess.DEVNULL)
        return count([Path(build) / "bench" / "bench_runs", kind, tablet], log)

    return counted(kind).minus(counted("load"))


def compiler(build):
    """The compiler and its options, from the build's cache."""
    cache = dict(re.findall(r"^(\w+):\w+=(.*)$", (Path(build) / "CMakeCache.txt").read_text(), re.MULTILINE))
    shown = subprocess.run([cache["CMAKE_CXX_COMPILER"], "--version"], capture_output=True, text=True, check=True).stdout
    version = re.sub(r"^\S+ ", "", shown.splitlines()[0])
    kind = cache["CMAKE_BUILD_TYPE"]
    return f"{version}, {cache['CMAKE_CXX_FLAGS']} {cache['CMAKE_CXX_FLAGS_' + kind.upper()]}".replace(",  ", ", ")


def counted(scenario):
    return COUNTED_OF_MESSAGE_OFF if scenario == "message-off" else COUNTED


def figures(scenario, build, least=0.01):
    """{group: its instructions, and its functions with at least this share of them}"""
    with tempfile.TemporaryDirectory(prefix="vantord-bench-") as folder:
        measured = profile(scenario, build, folder)
    groups = measured.groups()
    result = {}
    for group in counted(scenario):
        named = {function: n for (g, function), n in measured.functions.items()
                 if g == group and n >= max(groups[group], 1) * least}
        result[group] = {"instructions": groups[group], "functions": dict(sorted(named.items(), key=lambda f: -f[1]))}
    return result


def moved(recorded, now):
    """Lines naming the functions whose instructions changed most."""
    before, after = recorded["functions"], now["functions"]
    # Functions that were too small to be recorded are named when they have grown.
    large = {name for name, count in after.items() if count * 100 >= now["instructions"]}
    changes = [(after.get(name, 0) - before.get(name, 0), name) for name in {*before, *large}]
    changes.sort(key=lambda change: -abs(change[0]))
    return [f"    {change:+12,}  {before.get(name, 0):12,} -> {after.get(name, 0):12,}  {name}"
            for change, name in changes[:8] if change != 0]


def faults(group, recorded, now):
    """Lines of complaint about a group of functions; empty if it is within its budget."""
    before, after = recorded["instructions"], now["instructions"]
    if abs(after - before) <= TOLERANCE[group] * before:
        return []
    what = "more than the budget" if after > before else "less than the budget: lower it, to keep the gain"
    return ["  what changed:", *moved(recorded, now),
            f"  {what}; `python3 bench/budgets.py --build build/hosted record` writes the new figures"]


def check(scenario, build):
    if shutil.which("valgrind") is None:
        print("skipped: valgrind is not installed")
        return SKIPPED
    budgets = json.loads(BUDGETS.read_text())
    if budgets["compiler"] != compiler(build):
        print(f"skipped: recorded with {budgets['compiler']}; this is {compiler(build)}")
        return SKIPPED
    now = figures(scenario, build, least=0)
    found = []
    for group in counted(scenario):
        recorded = budgets["scenarios"][scenario][group]
        print(f"{scenario}, {group}: {recorded['instructions']:,} instructions recorded, "
              f"{now[group]['instructions']:,} now")
        found += faults(group, recorded, now[group])
    print("\n".join(found))
    return 1 if found else 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("word", choices=("check", "record"))
    parser.add_argument("scenario", nargs="?", choices=sorted(SCENARIOS))
    options = parser.parse_args()
    if options.word == "check":
        return check(options.scenario, options.build)
    scenarios = {name: figures(name, options.build) for name in SCENARIOS}
    BUDGETS.write_text(json.dumps({"compiler": compiler(options.build), "scenarios": scenarios}, indent=1) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
