#!/usr/bin/env python3
"""Writes archives with Python's zipfile: zipfile_write.py ARCHIVE FOLDER stored|deflated|odd-names"""

import os
import sys
import zipfile

ODD_NAMES = ("C:\\x\\drive.bin", "/etc/rooted", "a/../cleaned", "a\\..\\b/../twice", "a/..\\c\\../mixed", "::y", "sub/..b")


def files_below(folder):
    for at, folders, names in os.walk(folder):
        folders.sort()
        for name in sorted(folders) + sorted(names):
            yield os.path.relpath(os.path.join(at, name), folder)


def main(path, folder, kind):
    method = zipfile.ZIP_STORED if kind == "stored" else zipfile.ZIP_DEFLATED
    with zipfile.ZipFile(path, "w", method) as archive:
        for name in files_below(folder):
            archive.write(os.path.join(folder, name), name)
        for name in ODD_NAMES if kind == "odd-names" else ():
            info = zipfile.ZipInfo(name, (2018, 8, 16, 13, 25, 36))
            info.external_attr = 0o100644 << 16
            archive.writestr(info, f"the data of {name}")


if __name__ == "__main__":
    main(*sys.argv[1:])
