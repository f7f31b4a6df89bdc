#!/usr/bin/env python3
"""Makes the folder that is carried to a real Windows: make_kit.py OUT --check PROGRAM --package FOLDER

OUT is replaced. FOLDER is what make_package.py made: the service with its driver packages goes along. The same inputs give
the same bytes.
"""

import argparse
import hashlib
import shutil
from pathlib import Path

from make_package import ROOT, windows_text

NOTICES = "THIRD-PARTY-NOTICES.txt"


def contents(check, package):
    """{file: bytes}"""
    files = {f.name: windows_text(f.read_text()) for f in (ROOT / "package/kit").iterdir()}
    files[check.name] = check.read_bytes()
    files["kit-result.schema.json"] = (ROOT / "docs/schemas/kit-result.schema.json").read_bytes()
    files[NOTICES] = (package / NOTICES).read_bytes()
    for file in sorted(package.glob("*/*")):
        files[f"vantord/{file.relative_to(package).as_posix()}"] = file.read_bytes()
    return files


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("out", type=Path)
    parser.add_argument("--check", type=Path, required=True)
    parser.add_argument("--package", type=Path, required=True)
    options = parser.parse_args()
    files = contents(options.check, options.package)
    # The form that sha256sum -c reads.
    sums = "".join(f"{hashlib.sha256(files[name]).hexdigest()}  {name}\n" for name in sorted(files))
    files["SHA256SUMS"] = sums.encode("ascii")
    shutil.rmtree(options.out, ignore_errors=True)
    for name, data in files.items():
        (options.out / name).parent.mkdir(parents=True, exist_ok=True)
        (options.out / name).write_bytes(data)


if __name__ == "__main__":
    main()
