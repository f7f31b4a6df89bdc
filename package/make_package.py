#!/usr/bin/env python3
"""Makes the folder that goes onto a tablet: make_package.py OUT --program P --symbols S --infs FOLDER

OUT is replaced. Each INF of FOLDER becomes a driver package, a folder of its own with the INF and the program. Beside
them are the symbols, the definitions of the trace messages, the values that the service reads, the notices of others'
code, and the checksums of all files. The same inputs give the same bytes.
"""

import argparse
import hashlib
import shutil
from pathlib import Path

import trace_messages

ROOT = Path(__file__).resolve().parents[1]


def windows_text(text, wide=False):
    """The text with the line ends of Windows; `wide`: in UTF-16, as its registry editor writes files."""
    text = text.replace("\n", "\r\n")
    return b"\xff\xfe" + text.encode("utf-16-le") if wide else text.encode("ascii")


def contents():
    """{file: bytes} of the files that are no part of a driver package."""
    files = {
        **{f.name: windows_text(f.read_text(), wide=True) for f in (ROOT / "package").glob("*.reg")},
        **{f.name: windows_text(f.read_text()) for f in (ROOT / "package").glob("collect-tablet.*")},
        "THIRD-PARTY-NOTICES.txt": windows_text((ROOT / "package/THIRD-PARTY-NOTICES.txt").read_text()),
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
    parser.add_argument("--infs", type=Path, required=True)
    options = parser.parse_args()
    files = contents()
    files[options.symbols.name] = options.symbols.read_bytes()
    for inf in options.infs.glob("*.inf"):
        files[f"{inf.stem}/vantord.inf"] = windows_text(inf.read_text())
        files[f"{inf.stem}/{options.program.name}"] = options.program.read_bytes()
    # The form that sha256sum -c reads.
    sums = "".join(f"{hashlib.sha256(files[name]).hexdigest()}  {name}\n" for name in sorted(files))
    files["SHA256SUMS"] = sums.encode("ascii")
    shutil.rmtree(options.out, ignore_errors=True)
    options.out.mkdir(parents=True)
    for name, data in files.items():
        (options.out / name).parent.mkdir(exist_ok=True)
        (options.out / name).write_bytes(data)


if __name__ == "__main__":
    main()
