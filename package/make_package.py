#!/usr/bin/env python3
"""Puts together what goes onto a tablet: make_package.py OUT --program P --symbols S --inf I

OUT is made anew: the program, its symbols, the driver package's INF, the definitions of its trace messages, the values
that the service reads, and the checksums of all of it. The same inputs give the same bytes.
"""

import argparse
import hashlib
import shutil
from pathlib import Path

import trace_messages

ROOT = Path(__file__).resolve().parents[1]


def windows_text(text, wide=False):
    """With the ends of lines that Windows expects; `wide` as its registry editor writes files."""
    text = text.replace("\n", "\r\n")
    return b"\xff\xfe" + text.encode("utf-16-le") if wide else text.encode("ascii")


def contents(inf):
    """{file: bytes} of what is made here."""
    files = {
        "vantord.inf": windows_text(inf.read_text()),
        "vantord-values.reg": windows_text((ROOT / "package/vantord-values.reg").read_text(), wide=True),
        "vantord.ctl": windows_text(f"{trace_messages.control_guid(ROOT)} Vantord\n"),
    }
    for module in trace_messages.modules(ROOT):
        files[f"{module.guid}.tmf"] = windows_text(trace_messages.tmf(module))
    return files


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("out", type=Path)
    parser.add_argument("--program", type=Path, required=True)
    parser.add_argument("--symbols", type=Path, required=True)
    parser.add_argument("--inf", type=Path, required=True)
    options = parser.parse_args()
    files = contents(options.inf)
    for file in (options.program, options.symbols):
        files[file.name] = file.read_bytes()
    # The form that sha256sum -c reads.
    sums = "".join(f"{hashlib.sha256(files[name]).hexdigest()}  {name}\n" for name in sorted(files))
    files["SHA256SUMS"] = sums.encode("ascii")
    shutil.rmtree(options.out, ignore_errors=True)
    options.out.mkdir(parents=True)
    for name, data in files.items():
        (options.out / name).write_bytes(data)


if __name__ == "__main__":
    main()
