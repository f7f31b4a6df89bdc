"""The contenders: the service, the floors and other programs, how each is called, and its version."""

import re
import shutil
import subprocess
import sys
import zlib
from dataclasses import dataclass
from pathlib import Path
from typing import Callable


def _output(*command):
    try:
        done = subprocess.run(command, capture_output=True, text=True, check=False)
    except OSError:
        return ""
    return done.stdout + done.stderr


def _package_version(package):
    return _output("dpkg-query", "-W", "-f", "${Version}", package).strip() or "unknown"


@dataclass
class Contender:
    """`command(archive, target)` extracts `archive` into the empty folder `target`."""

    name: str
    about: str
    command: Callable[[Path, Path], list]
    needs: str = ""  # a program that must be installed
    drive: bool = False  # works on a tablet folder: `target` holds drive C: with the archive in it

    def is_there(self):
        return not self.needs or shutil.which(self.needs) is not None


def contenders(build):
    """The service first, then what it is compared with."""
    tools = Path(build) / "bench"

    def extract(program):
        return lambda archive, target: [tools / program, target, "a.zip"]

    def floor(kind):
        return lambda archive, target: [tools / "bench_floor", kind, archive, target]

    return [
        Contender("vantord", "the service's front end on the simulated tablet", extract("bench_extract"), drive=True),
        Contender("plain calls", "the same with plain file calls", extract("bench_extract_plain"), drive=True),
        Contender("same pieces", "floor: zlib alone, 16 KiB pieces", floor("pieces")),
        Contender("whole buffer", "limit: libdeflate, an entry at once", floor("whole")),
        Contender("unzip", "Info-ZIP", lambda a, t: ["unzip", "-q", "-o", a, "-d", t], "unzip"),
        Contender("bsdtar", "libarchive", lambda a, t: ["bsdtar", "-xf", a, "-C", t], "bsdtar"),
        Contender("7zz", "7-Zip", lambda a, t: ["7zz", "x", "-y", "-bso0", "-bsp0", f"-o{t}", a], "7zz"),
        Contender("zipfile", "Python", lambda a, t: [sys.executable, "-m", "zipfile", "-e", a, t]),
    ]


def versions():
    """(name, version) of everything that the figures depend on."""
    unzip = re.search(r"UnZip ([\d.]+)", _output("unzip", "-v"))
    seven = re.search(r"7-Zip[^\d]*([\d.]+)", _output("7zz"))
    bsdtar = re.search(r"bsdtar ([\d.]+)", _output("bsdtar", "--version"))
    return [
        ("compiler", _output("c++", "--version").splitlines()[0]),
        ("zlib", zlib.ZLIB_RUNTIME_VERSION),
        ("libdeflate", _package_version("libdeflate-dev")),
        ("Info-ZIP unzip", unzip[1] if unzip else "not installed"),
        ("bsdtar", bsdtar[1] if bsdtar else "not installed"),
        ("7zz", seven[1] if seven else "not installed"),
        ("Python", sys.version.split()[0]),
        ("valgrind", _output("valgrind", "--version").strip() or "not installed"),
    ]
