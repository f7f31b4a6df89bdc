#!/usr/bin/env python3
"""clang-tidy over the service, the simulated tablet and the program: tidy.py --build FOLDER [--jobs N]

FOLDER is a build by clang. The service's sources are read singly with the checks of .clang-tidy; those of sim/ and cli/
several at a time, as that build compiles them, with the checks of scripts/support.clang-tidy. What passed is not read
again until a file that it includes, a check or a program changes: the folder "tidy" of the cache remembers it
(VANTORD_CACHE, or ~/.cache/vantord).
"""

import argparse
import hashlib
import json
import os
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
SERVICE, SUPPORT = ROOT / ".clang-tidy", ROOT / "scripts" / "support.clang-tidy"
TIME_LIMIT_S = 1800


def units(build):
    """What is to be read: (source, its compile command, its checks)."""
    for entry in json.loads((build / "compile_commands.json").read_text()):
        file, command = Path(entry["file"]), shlex.split(entry["command"])
        if file.is_relative_to(ROOT / "vantord"):
            yield file, command, SERVICE
        elif file.is_relative_to(ROOT / "sim") or file.is_relative_to(ROOT / "cli"):
            yield file, command, SUPPORT
        elif file.match("CMakeFiles/vantord_*.dir/Unity/*") and "vantord_testing" not in str(file):
            yield file, command, SUPPORT


def inputs_of_objects(build):
    """The files that each object was made of, by ninja's record of the last build."""
    listing = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True, capture_output=True, text=True).stdout
    inputs, current = {}, []
    for line in listing.splitlines():
        if line.startswith("    "):
            current.append((build / line.strip()).resolve())
        elif ": #deps " in line:
            current = []
            if "(VALID)" in line:
                inputs[line.partition(": #deps ")[0]] = current
    return inputs


def key(command, checks, inputs, version):
    """A name for everything that the outcome depends on. Files of other projects count by size and time."""
    digest = hashlib.sha256("\0".join([version, *command]).encode())
    digest.update(checks.read_bytes())
    for file in sorted(set(inputs)):
        if file.is_relative_to(ROOT) and file.suffix != ".pch":
            digest.update(file.read_bytes())
        elif file.suffix != ".pch":
            digest.update(f"{file} {file.stat().st_size} {file.stat().st_mtime_ns}".encode())
    return digest.hexdigest()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=Path, required=True)
    parser.add_argument("--jobs", type=int, default=2)
    options = parser.parse_args()
    build = options.build.resolve()
    passed = Path(os.environ.get("VANTORD_CACHE", Path.home() / ".cache" / "vantord")) / "tidy"
    passed.mkdir(parents=True, exist_ok=True)
    version = subprocess.run(["clang-tidy", "--version"], check=True, capture_output=True, text=True).stdout
    inputs = inputs_of_objects(build)

    def read(unit):
        file, command, checks = unit
        made_of = inputs.get(command[command.index("-o") + 1])
        mark = passed / key(command, checks, made_of, version) if made_of else None
        if mark and mark.exists():
            return file, "remembered", ""
        words = ["clang-tidy", "--quiet", "-p", build, f"--config-file={checks}", file]
        try:
            run = subprocess.run(words, capture_output=True, text=True, timeout=TIME_LIMIT_S)
        except subprocess.TimeoutExpired:
            return file, "FAILED", f"it took more than {TIME_LIMIT_S} s\n"
        if run.returncode == 0 and mark:
            mark.touch()
        return file, "FAILED" if run.returncode else "passed", run.stdout + (run.stderr if run.returncode else "")

    todo = sorted(units(build), key=lambda unit: unit[2] == SERVICE)
    outcomes, findings = [], []
    with ThreadPoolExecutor(options.jobs) as pool:
        for number, (file, outcome, text) in enumerate(pool.map(read, todo), 1):
            outcomes.append(outcome)
            print(f"[{number}/{len(todo)}] {outcome} {os.path.relpath(file, ROOT)}", flush=True)
            if outcome == "FAILED":
                findings.append(f"FAILED: {os.path.relpath(file, ROOT)}\n{text}")
    print(*findings, sep="\n")
    print(", ".join(f"{outcomes.count(word)} {word}" for word in ("passed", "remembered", "FAILED")))
    return 1 if "FAILED" in outcomes or not outcomes else 0


if __name__ == "__main__":
    sys.exit(main())
