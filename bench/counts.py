"""Counts instructions under callgrind, by owner."""

import os
import re
import subprocess
from collections import Counter, defaultdict
from pathlib import Path

# The owner of a function, by the sources of its instructions; the first match counts. Code inlined from a header does
# not change the owner.
OWNERS = (
    ("program", re.compile(r"(?:^|/)bench/[\w/]+\.(?:cpp|h)$")),
    ("service", re.compile(r"(?:^|/)vantord/(?:common|device|unzip|crash|uefi|radio|modem|service)/[\w/]+\.(?:cpp|h)$")),
    ("stand-in", re.compile(r"(?:^|/)sim/(?:tablet|winapi)/[\w/]+\.(?:cpp|h)$")),
    # Library templates compiled into the program: nearly all are the stand-in's.
    ("stand-in", re.compile(r"/c\+\+/|/fmt/|/utf8|/nlohmann/")),
)
LINE = re.compile(r"(fn|fl|fi|fe|ob|cfn|cfi|cfl|cob)=\((\d+)\)(?: (.*))?$")
KIND = {"fn": "fn", "cfn": "fn", "ob": "ob", "cob": "ob"}


class Profile:
    """Instructions of each function, in groups: program (the benchmark itself), service, stand-in, zlib, and runtime
    (the C and C++ libraries and everything else)."""

    def __init__(self, text):
        self.functions = Counter()  # (group, function): instructions
        spent = Counter()  # (object, function): instructions
        files = defaultdict(set)  # (object, function): sources
        names = {"fn": {}, "file": {}, "ob": {}}
        current = {"ob": "", "file": "", "fn": ""}
        is_call = False
        for line in text.splitlines():
            match = LINE.match(line)
            if match:
                kind = KIND.get(match[1], "file")
                if match[3] is not None:
                    names[kind][match[2]] = match[3]
                if not match[1].startswith("c"):
                    current[kind] = names[kind][match[2]]
            elif line.startswith("calls="):
                # The next line holds the cost of the called function, which is counted there.
                is_call = True
            elif re.match(r"[+\-*\d]\S* \d+$", line):
                if not is_call:
                    key = current["ob"], current["fn"]
                    spent[key] += int(line.rsplit(" ", 1)[1])
                    files[key].add(current["file"])
                is_call = False
        for (program, function), instructions in spent.items():
            self.functions[self._group(program, files[program, function]), function] += instructions

    @staticmethod
    def _group(program, files):
        if "libz." in program:
            return "zlib"
        if ".so" not in program:
            for owner, pattern in OWNERS:
                if any(pattern.search(file) for file in files):
                    return owner
        return "runtime"

    def groups(self):
        totals = Counter()
        for (group, _), count in self.functions.items():
            totals[group] += count
        return totals

    def minus(self, other):
        """This profile without another one, which only started and ended."""
        rest = Profile("")
        rest.functions = Counter({key: count - other.functions[key] for key, count in self.functions.items()})
        return rest


def count(command, log):
    """The profile of one run; `log` is a temporary file."""
    done = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={log}", *map(str, command)],
                          capture_output=True, text=True, check=False, env={**os.environ, "LD_BIND_NOW": "1"})
    if done.returncode != 0:
        raise SystemExit(f"bench: {Path(command[0]).name} failed under valgrind:\n{done.stderr[-2000:]}")
    return Profile(Path(log).read_text(errors="replace"))
