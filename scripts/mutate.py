#!/usr/bin/env python3
"""Plants wrong lines in the product folders, one at a time, and counts which of them the tests notice: mutate.py [OPTION]...

The product is compiled into a shared library, and the unit test programs and vantord-tablet are linked to it once. For
each wrong line only the objects that depend on it are compiled anew; then the unit tests run, those of the line's own
folder first, and the stories, until one fails. The sources of the checkout are never written to.

Results go into a file of JSON lines, from which a run that was interrupted goes on. Wrong lines are tried in the order
of a hash: a run that ends early has tried a random sample. A wrong line that does not compile, or that makes the same
object code, does not count.
"""

import argparse
import collections
import concurrent.futures
import json
import os
import queue
import random
import re
import resource
import shlex
import subprocess
import sys
import threading
import time
from pathlib import Path

from mutants import ROOT, mutants_of

PROGRAMS = ("common", "device", "radio", "uefi", "modem", "crash", "unzip", "service", "memory")
# A thousand runs: longer than all other unit tests together.
LEFT_OUT = "Schedules.*"
LIBRARY = "libvantord_service.so"
REASONS = ROOT / "docs/coverage.md"
NOTICED, LIVED, SAME, INVALID = "noticed", "lived", "same code", "does not compile"

# --- building and testing one -----------------------------------------------------------------------------------------


def limit_test():
    """Memory for wrong loops has an end. On one processor the simulated threads take turns many times faster."""
    os.sched_setaffinity(0, {random.choice(sorted(os.sched_getaffinity(0)))})
    resource.setrlimit(resource.RLIMIT_AS, (6 << 30, 6 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(command, seconds=600, **options):
    """The exit code; None after `seconds`."""
    try:
        done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL,
                              timeout=seconds, check=False, **options)
        return done.returncode
    except subprocess.TimeoutExpired:
        return None


class Bench:
    """The build that is tried against: its objects, its programs linked to a library that can be exchanged."""

    def __init__(self, build, folder, programs, stories):
        self.build, self.folder, self.stories = build, folder, stories
        self.programs = {name: build / "tests" / f"{name}_tests" for name in programs}
        if stories:
            self.programs["stories"] = build / "vantord-tablet"
        self.commands, self.users = {}, collections.defaultdict(list)
        for entry in json.loads((build / "compile_commands.json").read_text()):
            path = Path(entry["file"])
            if path.is_relative_to(ROOT / "vantord"):
                words = shlex.split(entry["command"])
                self.commands[path.relative_to(ROOT).as_posix()] = words[1:] if words[0].endswith("ccache") else words
        self.read_dependencies()
        self.places = queue.Queue()
        self.seconds = {}
        self.time_out = 60  # seconds by which a test program may be slower, besides five times its usual time
        self.true, self.making = {}, threading.Lock()

    def read_dependencies(self):
        listed = subprocess.run(["ninja", "-C", self.build, "-t", "deps"], capture_output=True, text=True, check=True).stdout
        for record in listed.split("\n\n"):
            for source in self.commands:
                if record.startswith(f"CMakeFiles/vantord_service.dir/{source}.o:"):
                    for line in record.splitlines()[1:]:
                        used = (self.build / line.strip()).resolve()
                        if used.is_relative_to(ROOT / "vantord"):
                            self.users[used.relative_to(ROOT).as_posix()].append(source)

    def set_up(self, jobs):
        """Makes the places in which mutants are tried, and times every program on the true product."""
        for number in range(jobs):
            place = self.folder / f"place{number}"
            (place / "objects").mkdir(parents=True, exist_ok=True)
            self.link_product(place, {})
            for program in dict.fromkeys(self.programs.values()):
                out = place / program.name
                if number == 0:
                    self.link_program(program, place, out)
                else:
                    out.unlink(missing_ok=True)
                    os.link(self.folder / "place0" / program.name, out)
            self.places.put(place)
        place = self.folder / "place0"
        for name in self.programs:
            started = time.monotonic()
            if self.test(place, name, 600) != 0:
                sys.exit(f"mutate: {name}: fails on the true product, nothing can be learnt from it")
            self.seconds[name] = time.monotonic() - started

    def link_product(self, place, changed):
        objects = [str(changed.get(source, self.build / "CMakeFiles/vantord_service.dir" / f"{source}.o")) for source in self.commands]
        memory = self.build / "CMakeFiles/vantord_again.dir/sim/winapi/service_memory.cpp.o"
        for library, more in ((LIBRARY, ["-Wl,-Bsymbolic-functions"]), ("libvantord_again.so", ["-Wl,-Bsymbolic", memory])):
            # With a name of its own it is looked for in the folder of each place, not where the programs were linked.
            name = f"-Wl,-soname,{library}"
            command = ["c++", "-shared", "-fuse-ld=lld", "-Wl,--strip-debug", name, "-o", place / library, *objects, *more, "-lz"]
            if run(command) != 0:
                return False
        return True

    def link_program(self, program, place, out):
        name = program.relative_to(self.build).as_posix()
        listed = subprocess.run(["ninja", "-C", self.build, "-t", "commands", "-s", name], capture_output=True, text=True, check=True)
        words = shlex.split(listed.stdout.split(" && ")[1])
        words[words.index("-o") + 1] = str(out)
        words[words.index("libvantord_service.a")] = str(place / LIBRARY)
        subprocess.run(words, cwd=self.build, check=True)

    def test(self, place, name, seconds):
        environment = dict(os.environ, LD_LIBRARY_PATH=str(place), GTEST_FAIL_FAST="1", GTEST_BRIEF="1")
        arguments = ["story", *map(str, self.stories)] if name == "stories" else [f"--gtest_filter=-{LEFT_OUT}"]
        program = place / self.programs[name].name
        return run([program, *arguments], seconds, env=environment, cwd=place, preexec_fn=limit_test)

    def compile(self, source, overlay, out):
        words = list(self.commands[source])
        words[words.index("-o") + 1] = str(out)
        own = overlay / source
        words[words.index("-c") + 1] = str(own if own.exists() else ROOT / source)
        return run([*words, "-w", "-g0", "-iquote", str(overlay)], cwd=self.build) == 0

    def true_object(self, source):
        """The bytes of the object of a true source, made in the way in which wrong ones are."""
        with self.making:
            if source not in self.true:
                copy = self.folder / "true" / source
                copy.parent.mkdir(parents=True, exist_ok=True)
                copy.write_bytes((ROOT / source).read_bytes())
                self.compile(source, self.folder / "true", copy.with_suffix(".o"))
                copy.unlink()
                self.true[source] = copy.with_suffix(".o").read_bytes()
            return self.true[source]

    def objects(self, place, path):
        """{source: object} of everything that depends on the file at `path`; None when it does not compile."""
        made = {}
        for source in self.users[path]:
            made[source] = place / "objects" / f"{source}.o"
            made[source].parent.mkdir(parents=True, exist_ok=True)
            if not self.compile(source, place / "overlay", made[source]):
                return None
        return made

    def order(self, path):
        own = path.split("/")[1]
        return sorted(self.programs, key=lambda name: (name != own, name == "stories", self.seconds[name]))

    def try_at(self, place, mutant):
        source = (ROOT / mutant.path).read_text(encoding="utf-8")
        changed = place / "overlay" / mutant.path
        changed.parent.mkdir(parents=True, exist_ok=True)
        changed.write_text(source[: mutant.start] + mutant.text + source[mutant.end :], encoding="utf-8")
        wrong = self.objects(place, mutant.path)
        changed.unlink()
        if wrong is None:
            return INVALID, ""
        if all(wrong[source].read_bytes() == self.true_object(source) for source in wrong):
            return SAME, ""
        if not self.link_product(place, wrong):
            return INVALID, ""
        for name in self.order(mutant.path):
            code = self.test(place, name, self.time_out + 5 * self.seconds[name])
            if code != 0:
                return NOTICED, f"{name}, which does not end" if code is None else name
        return LIVED, ""

    def attempt(self, mutant):
        place = self.places.get()
        try:
            result, by = self.try_at(place, mutant)
        finally:
            self.places.put(place)
        record = {"id": mutant.id, "file": mutant.path, "line": mutant.line, "operator": mutant.operator,
                  "was": mutant.was, "text": mutant.text, "result": result, "by": by}
        return record


# --- the run ----------------------------------------------------------------------------------------------------------


def records(files):
    """{id: record}; a later record outweighs an earlier one."""
    found = {}
    for file in files:
        for line in file.read_text(encoding="utf-8").splitlines() if file.exists() else ():
            record = json.loads(line)
            found[record["id"]] = record
    return found


def shown(record):
    one_line = [" ".join(record[key].split()) for key in ("was", "text")]
    return f"{record['file']}:{record['line']}: {record['operator']}: {one_line[0]} -> {one_line[1]}"


def report(found, total):
    """Prints what lived and has no reason, and the counts. A reason stands in docs/coverage.md, behind the line's name."""
    explained = set(re.findall(r"^\| `([0-9a-f]{12})` \|", REASONS.read_text(encoding="utf-8"), flags=re.M))
    counts = collections.Counter(record["result"] for record in found.values())
    lived = [record for record in found.values() if record["result"] == LIVED]
    unexplained = [record for record in lived if record["id"] not in explained]
    for record in sorted(unexplained, key=lambda record: (record["file"], record["line"])):
        print(f"{record['id']} {shown(record)}")
    for name in sorted(explained & {record["id"] for record in found.values() if record["result"] == NOTICED}):
        print(f"{name} has a reason in {REASONS.name} and was noticed")
    tried = counts[NOTICED] + len(unexplained)
    percent = 100 * counts[NOTICED] / tried if tried else 100.0
    print(f"{len(found)} of {total} wrong lines tried: {counts[INVALID]} do not compile, {counts[SAME]} make the same code,"
          f" {len(lived) - len(unexplained)} cannot be told from the true line;"
          f" of the other {tried}, {counts[NOTICED]} were noticed ({percent:.1f} %), {len(unexplained)} lived")


def parse(arguments):
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=Path, default=ROOT / "build/hosted", help="where the product and its tests are built")
    parser.add_argument("--state", type=Path, default=ROOT / "build/mutate/results.jsonl", help="results, read and appended to")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--shard", default="1/1", metavar="I/N", help="only every Nth wrong line, from the Ith on")
    parser.add_argument("--minutes", type=float, help="begin no further wrong line after that time")
    parser.add_argument("--file", action="append", default=[], metavar="TEXT", help="only files whose path holds TEXT")
    parser.add_argument("--again", action="store_true", help="try those anew that lived")
    parser.add_argument("--merge", nargs="+", type=Path, metavar="FILE", help="report on these results, try nothing")
    return parser.parse_args(arguments)


def main(arguments):
    options = parse(arguments)
    paths = sorted(path.relative_to(ROOT).as_posix() for path in (ROOT / "vantord").rglob("*") if path.suffix in (".cpp", ".h"))
    all_of_them = [mutant for path in paths for mutant in mutants_of(path) if not options.file or any(word in path for word in options.file)]
    current = {mutant.id for mutant in all_of_them}
    known = {name: record for name, record in records(options.merge or [options.state]).items() if name in current}
    if not options.merge:
        shard, shards = map(int, options.shard.split("/"))
        done = {name for name, record in known.items() if not (options.again and record["result"] == LIVED)}
        due = sorted((m for m in all_of_them if int(m.id, 16) % shards == shard - 1 and m.id not in done), key=lambda m: m.id)
        if options.again:
            due = [mutant for mutant in due if mutant.id in known]
        bench = Bench(options.build.resolve(), options.state.resolve().parent, PROGRAMS, sorted((ROOT / "tests/stories").glob("*.story")))
        bench.set_up(options.jobs)
        end = time.monotonic() + 60 * options.minutes if options.minutes else None

        def try_one(mutant):
            return None if end and time.monotonic() > end else bench.attempt(mutant)

        with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool, options.state.open("a", encoding="utf-8") as state:
            for record in filter(None, pool.map(try_one, due)):
                state.write(json.dumps(record) + "\n")
                state.flush()
                known[record["id"]] = record
                if record["result"] == LIVED:
                    print(f"lived: {shown(record)}", file=sys.stderr, flush=True)
    report(known, len(all_of_them))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
