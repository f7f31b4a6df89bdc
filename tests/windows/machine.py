"""A Windows machine that tests may use up: Wine in a prefix of its own.

`Machine` is what the session's logic sees; how Wine is started (which commands, which variables) is `Wine`'s affair, so
that the same logic can drive another Wine.
"""

import contextlib
import hashlib
import os
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
from pathlib import Path


class MachineError(Exception):
    """Something that the test needed of the machine did not happen; the text says what."""


POLL_SECONDS = 0.05
INTERRUPT_SECONDS = 30

# What is no hard link to the template: Wine writes these in place.
REGISTRY_FILES = ("system.reg", "user.reg", "userdef.reg")


# The machines that run, so that an interrupted program can take them down: see interrupt().
_running = set()
_interrupted = threading.Event()


def interrupt():
    """Lets no program of a machine go on or begin: whoever waits for one gets a MachineError, and then stops and removes
    the machine. Returns when all have done so."""
    _interrupted.set()
    end = time.monotonic() + INTERRUPT_SECONDS
    while _running and time.monotonic() < end:
        for one in list(_running):
            with contextlib.suppress(MachineError):
                one.kill()
        time.sleep(POLL_SECONDS)


class Wine:
    """How Wine is started. `wine` and `wineserver` are command lines to which arguments are appended. `patience`: how many
    times longer than on this machine's own processor its programs may take."""

    def __init__(self, wine=("wine",), wineserver=("wineserver",), variables=None, patience=1):
        self.patience = patience
        self.wine = list(wine)
        self.wineserver = list(wineserver)
        # Without asking for add-ons, and without menus in the home folder of whoever runs the tests.
        overrides = "mscoree,mshtml=;winemenubuilder.exe=d"
        self.variables = {"WINEARCH": "win64", "WINEDEBUG": "-all", "WINEDLLOVERRIDES": overrides}
        self.variables.update(variables or {})

    def missing(self):
        """The first command that this machine lacks; None when all is there."""
        for command in (self.wine[0], self.wineserver[0]):
            if shutil.which(command) is None:
                return command
        return None

    def environment(self, prefix):
        environment = {key: value for key, value in os.environ.items() if key != "DISPLAY"}
        return environment | self.variables | {"WINEPREFIX": str(prefix)}

    def version(self):
        result = subprocess.run(self.wine + ["--version"], capture_output=True, text=True, timeout=30, check=True)
        return result.stdout.strip()


class Machine:
    """One prefix with its server. start() brings it up, stop() takes it down whatever its programs do."""

    def __init__(self, wine, prefix):
        self.wine = wine
        self.prefix = Path(prefix).resolve()
        self.drive = self.prefix / "drive_c"

    def start(self):
        _running.add(self)
        if _interrupted.is_set():
            raise MachineError("interrupted")
        # Without a server that stays, services end with the last program. Left alone, it ends by itself.
        self._wineserver("-p30")

    def run(self, *command, seconds=60):
        """Runs a Windows program and gives its output; anything but exit code 0 in time is a MachineError."""
        status, output = self.run_for_status(*command, seconds=seconds)
        if status != 0:
            raise MachineError(f"{' '.join(map(str, command))} ended with {status}:\n{output}")
        return output

    def run_for_status(self, *command, seconds=60):
        if _interrupted.is_set():
            raise MachineError("interrupted")
        seconds *= self.wine.patience
        # A file and not a pipe: what the program leaves running would keep a pipe open.
        with tempfile.TemporaryFile() as output:
            process = subprocess.Popen(
                self.wine.wine + [str(word) for word in command],
                env=self.wine.environment(self.prefix),
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=subprocess.STDOUT,
                start_new_session=True,
            )
            try:
                status = process.wait(seconds)
            except subprocess.TimeoutExpired:
                raise MachineError(f"{' '.join(map(str, command))} took longer than {seconds} s") from None
            finally:
                if process.poll() is None:
                    process.kill()
                    process.wait()
            output.seek(0)
            return status, output.read().decode("utf-8", "replace")

    def host_path(self, windows_path):
        """Where a path of drive C: stands on the host. Names that are there are found in any letter case."""
        assert windows_path[:3].lower() == "c:\\", windows_path
        at = self.drive
        for name in filter(None, windows_path[3:].split("\\")):
            at = _any_case(at, name)
        return at

    def stop(self):
        """Nothing of the machine is left afterwards."""
        with contextlib.suppress(MachineError):
            self._wineserver("-k")
        with contextlib.suppress(MachineError):
            self._wineserver("-w")
        self.kill()
        _running.discard(self)

    def processes(self):
        """The ids of all processes on the host that belong to this prefix."""
        mark = b"WINEPREFIX=" + os.fsencode(self.prefix)
        for folder in Path("/proc").iterdir():
            if folder.name.isdigit():
                with contextlib.suppress(OSError):
                    if mark in (folder / "environ").read_bytes().split(b"\0"):
                        yield int(folder.name)

    def memory(self, program):
        """KB that the process which runs a program has in memory, and those of them that it has written to, by what they
        are of: {file name, or "" for what is of no file: (all, written)}. {} when no process runs it."""
        for process in self.processes():
            with contextlib.suppress(OSError):
                command = Path(f"/proc/{process}/cmdline").read_bytes().split(b"\0")[0].decode("utf-8", "replace")
                if command.replace("\\", "/").rsplit("/", 1)[-1].lower() == program.lower():
                    return memory_by_file(Path(f"/proc/{process}/smaps").read_text())
        return {}

    def kill(self):
        for _ in range(100):
            left = list(self.processes())
            if not left:
                return
            for process in left:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(process, signal.SIGKILL)
            time.sleep(POLL_SECONDS)
        raise MachineError(f"these processes of {self.prefix} do not end: {left}")

    def _wineserver(self, argument):
        command = self.wine.wineserver + [argument]
        try:
            subprocess.run(
                command,
                env=self.wine.environment(self.prefix),
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL,
                start_new_session=True,
                timeout=20 * self.wine.patience,
                check=False,
            )
        except subprocess.TimeoutExpired:
            raise MachineError(f"{' '.join(command)} took longer than 20 s") from None


def memory_by_file(maps):
    """{file name: (KB in memory, KB written to)} of what Linux tells of a process's memory in smaps."""
    sizes, file = {}, ""
    for line in maps.splitlines():
        mapping = re.match(r"[0-9a-f]+-[0-9a-f]+ \S+ \S+ \S+ \d+ *(.*)$", line)
        if mapping:
            file = mapping[1].rsplit("/", 1)[-1].lower() if mapping[1].startswith("/") else ""
        size = re.match(r"(Rss|Private_Dirty): +(\d+) kB$", line)
        if size:
            all_, written = sizes.get(file, (0, 0))
            sizes[file] = (all_ + int(size[2]), written) if size[1] == "Rss" else (all_, written + int(size[2]))
    return sizes


def _any_case(folder, name):
    exact = folder / name
    if exact.exists() or not folder.is_dir():
        return exact
    wanted = name.casefold()
    return next((entry for entry in folder.iterdir() if entry.name.casefold() == wanted), exact)


def template(wine, folder):
    """A prefix as Wine makes it, kept in `folder` from one run to the next, for as long as Wine stays the same."""
    key = hashlib.sha256(repr((wine.version(), wine.wine, sorted(wine.variables.items()))).encode()).hexdigest()[:16]
    made = Path(folder) / f"template-{key}"
    if made.exists():
        return made
    unfinished = Machine(wine, Path(folder) / f"unfinished-{key}")
    remove(wine, unfinished.prefix)
    unfinished.prefix.mkdir(parents=True)
    _running.add(unfinished)
    try:
        unfinished.run("wineboot", "-i", seconds=120)
        unfinished._wineserver("-w")
    finally:
        unfinished.stop()
    unfinished.prefix.rename(made)
    return made


def lead(what, use):
    """What `use` gives, which brings up a machine of its own. Wine loses a program now and then: what a MachineError
    ended is tried again, twice at most, on a new machine, and said. What a test finds wrong is never tried again."""
    for tries_left in (2, 1, 0):
        try:
            return use()
        except MachineError as error:
            if _interrupted.is_set() or tries_left == 0:
                raise
            print(f"again            {what}: {str(error).splitlines()[0]}", flush=True)
    raise AssertionError("the last try ends this")


@contextlib.contextmanager
def machine(wine, template_folder, prefix):
    """A machine like the template, running; gone at the end."""
    prefix = Path(prefix)
    remove(wine, prefix)
    prefix.parent.mkdir(parents=True, exist_ok=True)
    clone = Machine(wine, prefix)
    try:
        subprocess.run(["cp", "-al", str(template_folder), str(prefix)], check=True)
        for name in REGISTRY_FILES:
            (prefix / name).unlink()
            shutil.copy2(Path(template_folder) / name, prefix / name)
        clone.start()
        yield clone
    finally:
        clone.stop()
        shutil.rmtree(prefix, ignore_errors=True)


def remove(wine, prefix):
    """Ends and removes what an earlier run, which could not clean up, may have left there."""
    if Path(prefix).exists():
        Machine(wine, prefix).stop()
        shutil.rmtree(prefix)
