"""Counts instructions under callgrind, and tells whose they are."""

import os
import re
import subprocess
from collections import Counter
from pathlib import Path

SERVICE = re.compile(r"(?:^|/)(?:common|device|unzip|crash|modem|service)/[\w/]+\.(?:cpp|h)$")
STAND_IN = re.compile(r"(?:^|/)(?:tablet|platform)/[\w/]+\.(?:cpp|h)$")


class Profile:
    """Instructions of each function by itself, in groups: service, stand-in, zlib, runtime (libc and libstdc++)."""

    def __init__(self, text):
        self.functions = Counter()  # (group, function): instructions
        names = {"fn": {}, "file": {}, "ob": {}}
        group = function = ""
        current = {"ob": "", "file": ""}
        skip = False
        for line in text.splitlines():
            match = re.match(r"(fn|fl|fi|fe|ob|cfn|cfi|cfl|cob)=\((\d+)\)(?: (.*))?$", line)
            if match:
                kind = "fn" if match[1] in ("fn", "cfn") else "ob" if match[1] in ("ob", "cob") else "file"
                if match[3] is not None:
                    names[kind][match[2]] = match[3]
                if match[1] in ("ob", "fl"):
                    current["ob" if match[1] == "ob" else "file"] = names[kind][match[2]]
                elif match[1] == "fn":
                    function = names["fn"][match[2]]
                    group = self._group(current["ob"], current["file"], function)
            elif line.startswith("calls="):
                skip = True
            elif re.match(r"[+\-*\d]\S* \d+$", line):
                if not skip:
                    self.functions[group, function] += int(line.rsplit(" ", 1)[1])
                skip = False

    @staticmethod
    def _group(program, file, function):
        if "libz." in program:
            return "zlib"
        if ".so" in program:
            return "runtime"
        if SERVICE.search(file):
            return "service"
        # Templates of the library, compiled into the program: nearly all of them are the stand-in's.
        return "stand-in" if STAND_IN.search(file) or "c++" in file or "/fmt/" in file or "utf8" in file else "program"

    def groups(self):
        totals = Counter()
        for (group, _), count in self.functions.items():
            totals[group] += count
        return totals

    def minus(self, other):
        """What this profile has more than another one, which did nothing but start and end."""
        rest = Profile("")
        rest.functions = Counter({key: count - other.functions[key] for key, count in self.functions.items()})
        return rest


def count(command, log):
    """The profile of one run; `log` is a file to write on the way."""
    done = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={log}", *map(str, command)],
                          capture_output=True, text=True, check=False, env={**os.environ, "LD_BIND_NOW": "1"})
    if done.returncode != 0:
        raise SystemExit(f"bench: {Path(command[0]).name} failed under valgrind:\n{done.stderr[-2000:]}")
    return Profile(Path(log).read_text(errors="replace"))
