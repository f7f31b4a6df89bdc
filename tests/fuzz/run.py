#!/usr/bin/env python3
"""Runs the fuzzers of build/fuzz: run.py [--seconds N] [--merge] [HARNESS...]

Each harness runs for N seconds (20), one after the other, from the checked-in corpus and the inputs of earlier runs. An
input with a finding is kept in build/fuzz/findings, and the command that repeats it is printed. --merge then puts the
fewest inputs with the same coverage into tests/fuzz/corpus. Exit code 1 if there was a finding.
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "fuzz"
CORPUS = ROOT / "tests" / "fuzz" / "corpus"
HARNESSES = ("zip_memory", "zip_file", "entry_name", "extra_field", "reg_text", "tablet_json", "hive", "trace")
LONGEST = {"zip_memory": 2048, "zip_file": 2048, "entry_name": 300, "extra_field": 700, "reg_text": 1024,
           "tablet_json": 2048, "hive": 1024, "trace": 4096}
MOST_FOUND_CHECKED_IN = 80  # of a harness
SLOWEST_SECONDS = 20  # a longer execution is a finding


def dictionary(harness):
    name = "zip" if harness.startswith("zip_") else harness
    return ROOT / "tests" / "fuzz" / f"{name}.dict"


def environment(scratch):
    options = "detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1"
    return {**os.environ, "TMPDIR": scratch, "ASAN_OPTIONS": options, "UBSAN_OPTIONS": "print_stacktrace=1:halt_on_error=1"}


def program(harness):
    return BUILD / "tests" / "fuzz" / f"fuzz_{harness}"


def starts(harness):
    """The folders of inputs; libFuzzer writes to the first."""
    work = BUILD / "work" / harness
    work.mkdir(parents=True, exist_ok=True)
    seeds = BUILD / "seeds" / harness
    return [folder for folder in (work, CORPUS / harness, seeds) if folder.is_dir()]


def fuzz(harness, seconds, scratch):
    """Runs a harness and prints the result; True without a finding."""
    findings = BUILD / "findings"
    findings.mkdir(exist_ok=True)
    command = [program(harness), f"-max_total_time={seconds}", f"-timeout={SLOWEST_SECONDS}", "-print_final_stats=1"]
    command += [f"-max_len={LONGEST[harness]}", f"-dict={dictionary(harness)}", f"-artifact_prefix={findings}/{harness}-"]
    done = subprocess.run(
        [*command, *starts(harness)], env=environment(scratch), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False
    )
    text = done.stdout.decode("utf-8", errors="replace")
    log = BUILD / f"{harness}.log"
    log.write_text(text, encoding="utf-8")
    executions = re.search(r"number_of_executed_units:\s*(\d+)", text)
    coverage = re.findall(r"cov: (\d+)", text)
    print(f"{harness:12} {int(executions[1]) if executions else 0:>10} executions, {coverage[-1] if coverage else '?'} edges", flush=True)
    if done.returncode == 0:
        return True
    print(f"{harness}: a finding; log: {log.relative_to(ROOT)}")
    for line in re.findall(r"^(?:does not hold: .*|.*ERROR: .*|.*runtime error: .*|terminate called .*)$", text, re.M)[:5]:
        print(f"  {line}")
    for kept in re.findall(r"Test unit written to (\S+)", text):
        print(f"  repeat it with: {program(harness).relative_to(ROOT)} {Path(kept).relative_to(ROOT)}")
    return False


def is_found(file):
    """True if libFuzzer has named the file; seeds have other names."""
    return re.fullmatch(r"[0-9a-f]{40}", file.name) is not None


def merge(harness, scratch):
    """Rewrites the checked-in corpus: the seeds, and the fewest other inputs with the coverage of all."""
    target = CORPUS / harness
    target.mkdir(parents=True, exist_ok=True)
    named = [file for folder in starts(harness) for file in folder.iterdir() if not is_found(file)]
    with tempfile.TemporaryDirectory(dir=scratch) as merged:
        for file in named:
            shutil.copyfile(file, Path(merged) / file.name)
        command = [program(harness), "-set_cover_merge=1", f"-max_len={LONGEST[harness]}", merged, *starts(harness)]
        subprocess.run(command, env=environment(scratch), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
        for file in target.iterdir():
            file.unlink()
        found = sorted((file for file in Path(merged).iterdir() if is_found(file)), key=lambda file: file.stat().st_size)
        # Short and long ones.
        step = -(-len(found) // MOST_FOUND_CHECKED_IN) or 1
        for file in named + found[::step]:
            shutil.copyfile(Path(merged) / file.name, target / file.name)
    sizes = [file.stat().st_size for file in target.iterdir()]
    print(f"{harness:12} {len(sizes)} inputs of {sum(sizes)} bytes in the corpus, chosen from {len(found)} found ones and the seeds")


def main(arguments):
    parser = argparse.ArgumentParser(prog="./dev fuzz", description="Runs the fuzzers, one after the other.")
    parser.add_argument("--seconds", type=int, default=20, metavar="N", help="for each harness (20)")
    parser.add_argument("--merge", action="store_true", help="then rewrite the checked-in corpora")
    parser.add_argument("harness", nargs="*", choices=[[], *HARNESSES], help=f"one of {', '.join(HARNESSES)}; all of them")
    options = parser.parse_args(arguments)
    subprocess.run([program("seeds"), BUILD / "seeds"], check=True)
    # In memory: several times faster for fuzzers with a drive C:.
    base = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=base, prefix="vantord-fuzz-") as scratch:
        good = [fuzz(harness, options.seconds, scratch) for harness in options.harness or HARNESSES]
        if options.merge and all(good):
            for harness in options.harness or HARNESSES:
                merge(harness, scratch)
    return 0 if all(good) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
