"""A disposable Windows machine: Wine with a prefix of its own.

`Wine` knows the commands and variables that start it, `Machine` one prefix; another Wine needs another `Wine` only.
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
    """The machine failed, not the service; the text says how."""


class NotStarted(MachineError):
    """A program did not begin."""


POLL_SECONDS = 0.05
INTERRUPT_SECONDS = 30

# What Wine says itself when it could not begin a program.
NOT_STARTED = "Application could not be started"

# Copied, not hard-linked from the template: Wine writes these in place.
REGISTRY_FILES = ("system.reg", "user.reg", "userdef.reg")


# The running machines, for interrupt().
_running = set()
_interrupted = threading.Event()


def interrupt():
    """Kills the programs of all machines and lets none start. Waiting threads get a MachineError and remove their machine;
    returns when all have."""
    _interrupted.set()
    end = time.monotonic() + INTERRUPT_SECONDS
    while _running and time.monotonic() < end:
        for one in list(_running):
            with contextlib.suppress(MachineError):
                one.kill()
        time.sleep(POLL_SECONDS)


class Wine:
    """How Wine is started. `wine` and `wineserver` are command lines. `slowdown` multiplies every time-out, for an
    emulator."""

    def __init__(self, wine=("wine",), wineserver=("wineserver",), variables=None, slowdown=1):
        self.slowdown = slowdown
        self.wine = list(wine)
        self.wineserver = list(wineserver)
        # No questions about add-ons, no menus in the home folder.
        overrides = "mscoree,mshtml=;winemenubuilder.exe=d"
        self.variables = {"WINEARCH": "win64", "WINEDEBUG": "-all", "WINEDLLOVERRIDES": overrides}
        self.variables.update(variables or {})

    def missing(self):
        """The first command that is not installed, or None."""
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
    """One prefix with its server."""

    def __init__(self, wine, prefix):
        self.wine = wine
        self.prefix = Path(prefix).resolve()
        self.drive = self.prefix / "drive_c"

    def start(self):
        _running.add(self)
        if _interrupted.is_set():
            raise MachineError("interrupted")
        # Keeps the services when the last program has ended; the server exits 30 s after that.
        self._wineserver("-p30")

    def run(self, *command, seconds=60):
        """Runs a Windows program and returns its output. MachineError on a time-out or an exit code other than 0."""
        status, output = self.run_for_status(*command, seconds=seconds)
        if status != 0:
            raise MachineError(f"{' '.join(map(str, command))} ended with {status}:\n{output}")
        return output

    def run_for_status(self, *command, seconds=60):
        """Its exit code, too. MachineError on a time-out, NotStarted if Wine did not begin it."""
        if _interrupted.is_set():
            raise MachineError("interrupted")
        seconds *= self.wine.slowdown
        # A file, not a pipe: processes that the program leaves running would keep a pipe open.
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
            text = output.read().decode("utf-8", "replace")
        if NOT_STARTED in text:
            raise NotStarted(f"{' '.join(map(str, command))} was not started: {text}")
        return status, text

    def host_path(self, windows_path):
        """The host path of a path of drive C:. Existing names are found in any letter case."""
        assert windows_path[:3].lower() == "c:\\", windows_path
        at = self.drive
        for name in filter(None, windows_path[3:].split("\\")):
            at = _any_case(at, name)
        return at

    def stop(self):
        """Ends all processes of the machine."""
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
        """KB of memory of the process that runs a program, by mapped file ("" for none): {file: (all, written to)}. {} if
        no process runs it."""
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
        raise MachineError(f"processes of {self.prefix} do not end: {left}")

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
                timeout=20 * self.wine.slowdown,
                check=False,
            )
        except subprocess.TimeoutExpired:
            raise MachineError(f"{' '.join(command)} took longer than 20 s") from None


def memory_by_file(maps):
    """{file name: (KB in memory, KB written to)} from the text of /proc/PID/smaps."""
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
    """A fresh prefix, kept in `folder` until Wine changes."""
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


def with_retries(what, use, after=MachineError):
    """The result of `use`, which starts a machine. Wine sometimes loses a program: after a MachineError, or another kind
    of it, it is tried again, at most twice, and the retry is printed. A failed test is not tried again."""
    for tries_left in (2, 1, 0):
        try:
            return use()
        except after as error:
            if _interrupted.is_set() or tries_left == 0:
                raise
            print(f"again            {what}: {str(error).splitlines()[0]}", flush=True)
    raise AssertionError("the last try ends this")


@contextlib.contextmanager
def machine(wine, template_folder, prefix):
    """A running copy of the template, removed at the end."""
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
    """Ends and removes what an interrupted run left."""
    if Path(prefix).exists():
        Machine(wine, prefix).stop()
        shutil.rmtree(prefix)
