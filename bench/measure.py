"""Runs the contenders in turn on an archive and keeps what each run used."""

import json
import os
import re
import shutil
import statistics
import subprocess
import sys
import zlib
from dataclasses import dataclass, field
from pathlib import Path


@dataclass
class Case:
    name: str
    about: str
    seed: int
    files: int
    folders: int
    least: int
    most: int
    stored: bool = False

    def smaller(self):
        """The same in small, to check that everything works."""
        large = self.least > 1 << 20
        files = self.files if large else max(self.files // 100, 1)
        shrink = 64 if large else 1
        return Case(self.name, self.about, self.seed, files, min(self.folders, files), self.least // shrink,
                    self.most // shrink, self.stored)


MIB = 1 << 20
CASES = [
    Case("large", "120 MB of program-like code, deflated, 8 files", 1, 8, 1, 15 * MIB, 15 * MIB),
    Case("stored", "the same 120 MB, stored", 1, 8, 1, 15 * MIB, 15 * MIB, True),
    Case("small", "5,000 files of 1.5 to 9 KB in 50 folders, deflated", 2, 5000, 50, 1536, 9216),
    Case("many", "60,000 entries of 100 to 500 bytes in 600 folders, deflated", 3, 60000, 600, 100, 500),
]
IDLE = Case("idle", "one byte", 4, 1, 1, 1, 1)


@dataclass
class Samples:
    """What one contender used on one archive, a value a round."""

    cpu: list = field(default_factory=list)  # seconds, user and system
    wall: list = field(default_factory=list)  # seconds
    peak: list = field(default_factory=list)  # KB

    def median(self, what):
        return statistics.median(getattr(self, what))


class Bench:
    """Archives and targets in one folder, which is removed at the end."""

    def __init__(self, build, folder):
        self.tools = Path(build).resolve() / "bench"
        self.folder = Path(folder).resolve()
        self.folder.mkdir(parents=True, exist_ok=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.folder, ignore_errors=True)

    def archive(self, case):
        path = self.folder / f"{case.name}.zip"
        if not path.exists():
            numbers = [case.seed, case.files, case.folders, case.least, case.most]
            kind = "stored" if case.stored else "deflated"
            subprocess.run([self.tools / "bench_archive", path, *map(str, numbers), kind], check=True)
        return path

    def target(self, contender, archive, keep=False):
        """An empty folder to extract to; for the service a tablet with the archive on its drive."""
        target = self.folder / "target"
        if not keep:
            shutil.rmtree(target, ignore_errors=True)
        if contender.drive and not keep:
            (target / "C").mkdir(parents=True)
            os.link(archive, target / "C" / "a.zip")
        target.mkdir(exist_ok=True)
        return target

    def run(self, contender, archive, *more, keep=False):
        """One run; returns what it used. A failed run ends the program."""
        command = [*contender.command(archive, self.target(contender, archive, keep)), *more]
        done = subprocess.run([self.tools / "bench_usage", *map(str, command)], capture_output=True, text=True, check=True)
        used = json.loads(done.stdout)
        if used["exit"] != 0:
            raise SystemExit(f"bench: {contender.name} failed on {archive.name} with {used['exit']}: {done.stderr.strip()}")
        return used

    def system_calls(self, contender, archive):
        """System calls of one run, by name; None if strace is missing or not permitted."""
        if shutil.which("strace") is None:
            return None
        log = self.folder / "strace"
        command = contender.command(archive, self.target(contender, archive))
        done = subprocess.run(["strace", "-f", "-c", "-o", log, *map(str, command)], check=False, capture_output=True, text=True)
        if done.returncode != 0:
            print(f"bench: system calls are not counted: strace says {done.stderr.strip()[-200:]}", file=sys.stderr)
            return None
        counts = {}
        for line in log.read_text().splitlines():
            match = re.match(r"\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)\s+(?:\d+\s+)?(\w+)$", line)
            if match:
                counts[match[2]] = counts.get(match[2], 0) + int(match[1])
        counts.pop("total", None)
        return counts

    def check(self, contender, archive):
        """Checks size and CRC-32 of every extracted file."""
        folder = self.folder / "target"
        folder = folder / "C" / "out" if contender.drive else folder
        for line in (self.folder / f"{archive.name}.index").read_text().splitlines():
            _, _, size, _, crc, path = line.split(" ")
            content = (folder / path).read_bytes()
            if len(content) != int(size) or zlib.crc32(content) != int(crc):
                raise SystemExit(f"bench: {contender.name} extracted {path} of {archive.name} wrongly")

    def rounds(self, cases, contenders, rounds, progress):
        """{case: {contender: Samples}}. Each runs once in every round, so that a disturbance hits all."""
        samples = {case.name: {contender.name: Samples() for contender in contenders} for case in cases}
        for number in range(rounds):
            for case in cases:
                progress(f"round {number + 1} of {rounds}: {case.name}")
                archive = self.archive(case)
                # Another contender begins each round.
                for contender in contenders[number % len(contenders):] + contenders[:number % len(contenders)]:
                    used = self.run(contender, archive)
                    if number == 0:
                        self.check(contender, archive)
                    kept = samples[case.name][contender.name]
                    kept.cpu.append(used["user"] + used["system"])
                    kept.wall.append(used["wall"])
                    kept.peak.append(used["peak_kb"])
        return samples
