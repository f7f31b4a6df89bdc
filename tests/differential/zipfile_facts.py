#!/usr/bin/env python3
"""Reads an archive with Python's zipfile: zipfile_facts.py ARCHIVE FOLDER

Prints tab-separated values for each entry: cleaned name; write, access and creation time (seconds since 1970, UTC; the
write time if the archive has no other); folder or file. The data of the first entry go to FOLDER/0, and so on.

Names are UTF-8 whatever the flags. Times come from the extended timestamps of the local header, or from the DOS time,
which is local time by TZ. Times and the cleaning of names are an implementation independent of the service's.
"""

import struct
import sys
import time
import zipfile

TIMESTAMPS = 0x5455


def stored_name(info):
    """The bytes of the name, which zipfile has decoded by the flags."""
    return info.orig_filename.encode("utf-8" if info.flag_bits & 0x800 else "cp437")


def cleaned(name):
    while True:
        if len(name) > 1 and name[1] == ":":
            name = name[2:]
        elif name[:1] in ("/", "\\"):
            name = name[1:]
        else:
            found = [name.find(step) for step in ("\\..\\", "\\../", "/../", "/..\\")]
            first = next((at for at in found if at >= 0), None)
            if first is None:
                return name
            name = name[first + 4 :]


def local_extra(file, info):
    file.seek(info.header_offset)
    header = struct.unpack("<4s5H3L2H", file.read(30))
    file.seek(header[9], 1)
    return file.read(header[10])


def timestamps(extra):
    """Write, access and creation time of the first extended timestamp block."""
    while len(extra) >= 4:
        tag, size = struct.unpack("<2H", extra[:4])
        data, extra = extra[4 : 4 + size], extra[4 + size :]
        if tag != TIMESTAMPS or not data:
            continue
        times, at = [], 1
        for bit in range(3):
            there = data[0] >> bit & 1 and len(data) >= at + 4
            times.append(struct.unpack("<l", data[at : at + 4])[0] if there else None)
            at += 4 if there else 0
        return times
    return [None, None, None]


def main(path, folder):
    with zipfile.ZipFile(path) as archive, open(path, "rb") as file:
        for index, info in enumerate(archive.infolist()):
            dos = int(time.mktime((*info.date_time, 0, 0, -1)))
            write, *others = timestamps(local_extra(file, info))
            times = [dos if value is None else value for value in (write, *others)]
            with open(f"{folder}/{index}", "wb") as data:
                data.write(archive.read(info))
            name = cleaned(stored_name(info).decode("utf-8"))
            print(name, *times, "folder" if info.is_dir() else "file", sep="\t")


if __name__ == "__main__":
    sys.stdout.reconfigure(encoding="utf-8", newline="\n")
    main(*sys.argv[1:])
