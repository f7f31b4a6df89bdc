"""Measures the service beside extraction: messages, runs, waiting, and size."""

import json
import re
import shutil
import statistics
import subprocess
import sys
from pathlib import Path

import executable

ROOT = Path(__file__).resolve().parent.parent
# Messages of each kind in one measurement.
MESSAGES = {"off": 20_000_000, "silent": 200_000, "sent": 20_000}
# The parts of a boot, in order, each with its first message or status.
PARTS = [
    ("the process and its dispatcher", "power-on"),
    ("start: settings, trace, the objects", "START_PENDING"),
    ("looking for the modem's device", "CModemCtrlDevice::Open: (+)"),
    ("notifications, report RUNNING", "CModemTemplate::ExistModemCtrl:121"),
    ("worker: setup state, versions, whether to deploy", "RUNNING"),
    ("the notification's archive", "CImageSelector::UnzipBinary: (+)"),
    ("choice of the archive, hiding the archives", "CImageSelector::UnzipBinary: (-)"),
    ("extraction of the archive", "CImageSelector::UnzipBinary: (+)"),
    ("image paths: deployed", "CImageSelector::UnzipBinary: (-)"),
    ("the partner service", "CVantord::StartServiceOEM:119"),
    ("waiting for the end of setup, reset of the modem", "IsDefaultSetupState:1587"),
]


class Rest:
    def __init__(self, build, folder, rounds):
        self.build, self.folder, self.rounds = Path(build), Path(folder), rounds
        self.tools = self.build / "bench"

    def _output(self, *command):
        return subprocess.run([str(word) for word in command], capture_output=True, text=True, check=True).stdout

    def _tablet(self, sample, small=False):
        tablet = self.folder / "tablet"
        shutil.rmtree(tablet, ignore_errors=True)
        self._output(self.build / "vantord-tablet", "init", tablet, "--sample", sample, *(["--small"] if small else []))
        return tablet

    def messages(self, shrink):
        """{kind: nanoseconds of CPU time for one message}"""
        return {kind: statistics.median(float(self._output(self.tools / "bench_messages", kind, count // shrink))
                                        for _ in range(self.rounds)) for kind, count in MESSAGES.items()}

    def allocations(self):
        return self._output(self.tools / "bench_allocations").strip()

    def boot(self):
        """Rows of (part, CPU milliseconds, virtual milliseconds), and one with the total."""
        rounds = []
        for _ in range(self.rounds):
            output = self._output(self.tools / "bench_runs", "boot", self._tablet("fresh"))
            rounds.append(split([(int(virtual), int(cpu), text) for virtual, cpu, text in
                                 re.findall(r"^(\d+) (\d+) (.*)$", output, re.MULTILINE)]))
        rows = [(name, statistics.median(parts[at][1] for parts in rounds), rounds[0][at][2])
                for at, (name, _, _) in enumerate(rounds[0])]
        whole = statistics.median(sum(cpu for _, cpu, _ in parts) for parts in rounds)
        return [*rows, ("all", whole, sum(virtual for _, _, virtual in rows))]

    def radio(self):
        """(CPU milliseconds, virtual milliseconds, calls of the Windows API) of a stop past a silent radio."""
        rounds = [[int(number) for number in
                   self._output(self.tools / "bench_runs", "radio", self._tablet("already-deployed", True)).split()]
                  for _ in range(self.rounds)]
        return statistics.median(cpu for cpu, _, _ in rounds) / 1e6, rounds[0][1], rounds[0][2]

    def parked(self):
        """(calls in a day, movements of the clock, KB before the service starts, KB when it rests)"""
        return [int(number) for number in
                self._output(self.tools / "bench_runs", "park", self._tablet("already-deployed", True)).split()]

    def runs(self, shrink):
        """Rows of (kind of run, runs, those that hang, runs in a second of CPU time): one core, the small variant."""
        tablet = self._tablet("fresh", True)
        rows = []
        for kind, more in (("schedule", ["--schedules", str(400 // shrink)]), ("cut", ["--shard", f"1/{8 * shrink}"]),
                           ("fault", ["--shard", f"1/{8 * shrink}"])):
            sweep = [self.build / "vantord-tablet", "sweep", tablet, "--only", kind, "--jobs", "1", "--json", *more]
            # Exit code 5, a broken promise, does not matter here.
            document = json.loads(subprocess.run([str(word) for word in sweep], capture_output=True, text=True, check=False).stdout)
            seconds = []
            for _ in range(min(self.rounds, 5)):
                used = json.loads(self._output(self.tools / "bench_usage", *sweep))
                seconds.append(used["user"] + used["system"])
            rows.append((kind, document["lives"], document["ends"].get("hung", 0),
                         document["lives"] / statistics.median(seconds)))
        return rows


def split(lines):
    """The lines of a boot, (virtual ms, CPU ns, text) each, by PARTS: rows of (part, CPU ms, virtual ms)."""
    marks = []
    rest = iter(lines)
    for name, begin in PARTS:
        mark = next((line for line in rest if line[2].startswith(begin)), None)
        if mark is None:
            raise SystemExit(f'bench: a boot of "fresh" does not log "{begin}", the beginning of the part "{name}"')
        marks.append((name, mark))
    ends = [mark for _, mark in marks[1:]] + [lines[-1]]
    return [(name, (end[1] - mark[1]) / 1e6, end[0] - mark[0]) for (name, mark), end in zip(marks, ends)]


def programs(build):
    """{program: (bytes, sections, table of parts or None, call sites)} of those that are built beside `build`."""
    found = {}
    for machine, symbols in (("arm64", "Vantord.pdb"), ("x64", "Vantord.debug")):
        program = Path(build).parent / f"windows-{machine}" / "Vantord.exe"
        if not program.exists():
            continue
        call_sites = ROOT / "tests" / "windows" / "executable" / "call_sites.py"
        done = subprocess.run([sys.executable, "-B", str(call_sites), str(program), str(program.with_name(symbols))],
                              capture_output=True, text=True, check=False)
        if done.returncode not in (0, 77):  # 77: no LLVM here, which it prints
            raise SystemExit(f"bench: {call_sites.name} failed on {program}:\n{done.stdout}{done.stderr}")
        parts = executable.rows(program.with_suffix(".pdb")) if symbols.endswith(".pdb") else None
        found[machine] = (program.stat().st_size, executable.sections(program), parts, done.stdout.rstrip().splitlines())
    return found


def footprint(build):
    """{program: {file: [KB in memory, KB written to]}} of the resting service under Wine; None if not available."""
    program = Path(build).parent / "windows-x64"
    if not (program / "Vantord.exe").exists():
        return None
    done = subprocess.run([sys.executable, "-B", str(ROOT / "tests" / "windows" / "footprint.py"), "--build", str(program),
                           "--hosted", str(build)], capture_output=True, text=True, check=False)
    if done.returncode != 0:
        print(f"bench: no working set under Wine: {done.stderr.strip()[-300:]}", file=sys.stderr)
        return None
    return json.loads(done.stdout)


def measure(build, folder, rounds, progress, quick):
    rest = Rest(build, folder, rounds)
    shrink = 20 if quick else 1
    progress("messages, runs, waiting, size")
    return {"messages": rest.messages(shrink), "allocations": rest.allocations(), "boot": rest.boot(), "radio": rest.radio(),
            "parked": rest.parked(), "runs": rest.runs(shrink), "programs": programs(build),
            "footprint": None if quick else footprint(build)}
