#!/usr/bin/env python3
"""Makes a Windows volume, or an image of one, from a tablet: windows_image.py TABLET VOLUME [IMAGE.wim|IMAGE.esd]

VOLUME becomes drive C: of a Windows that is not running: the tablet's drive, with its registry as the hive files SYSTEM and
SOFTWARE. IMAGE becomes an image file of it. For trying imports without a Windows; needs hivexregedit, and for images
wimlib-imagex.
"""

import hashlib
import os
import re
import shutil
import struct
import subprocess
import sys
from pathlib import Path

NONE = 0xFFFFFFFF
CONFIG = "Windows/System32/config"


def _cell(body):
    """A used cell: its size is negative, a multiple of 8 and counts itself."""
    size = (4 + len(body) + 7) & ~7
    return struct.pack("<i", -size) + body.ljust(size - 4, b"\0")


def seal(base):
    """The first 508 bytes of a hive file with their checksum behind them."""
    total = 0
    for (number,) in struct.iter_unpack("<I", base[:508]):
        total ^= number
    return base[:508] + struct.pack("<I", {0: 1, NONE: NONE - 1}.get(total, total))


def empty_hive(sequences=(1, 1)):
    """A hive file with a root key and nothing else."""
    root, root_at = b"ROOT", 0x20
    security_at = root_at + len(_cell(bytes(76) + root))
    key = struct.pack("<2sHQ15I2H", b"nk", 0x2C, 0, 0, NONE, 0, 0, NONE, NONE, 0, NONE, security_at, NONE, 0, 0, 0, 0, 0,
                      len(root), 0) + root
    descriptor = struct.pack("<BBH4I", 1, 0, 0x8000, 0, 0, 0, 0)
    security = struct.pack("<2sH4I", b"sk", 0, security_at, security_at, 1, len(descriptor)) + descriptor
    cells = _cell(key) + _cell(security)
    page = struct.pack("<4sIIQQI", b"hbin", 0, 4096, 0, 0, 0) + cells + struct.pack("<i", 4096 - 32 - len(cells))
    base = struct.pack("<4sIIQ7I", b"regf", *sequences, 0, 1, 5, 0, 1, root_at, 4096, 1)
    return seal(base.ljust(508, b"\0")).ljust(4096, b"\0") + page.ljust(4096, b"\0")


def _sections(tablet):
    """Lines of the tablet's registry files, under the line of their key with the number of its control set."""
    sections = []
    for file in sorted(Path(tablet, "registry").glob("*.reg")):
        for line in file.read_text(encoding="utf-8").splitlines():
            if line.startswith("["):
                line = re.sub(r"\\CurrentControlSet\b", r"\\ControlSet001", line, flags=re.I)
                sections.append((line[1:-1], []))
            elif sections and line and not line.startswith(";") and not line.startswith("Windows Registry"):
                sections[-1][1].append(line)
    return sections


def merge(hive_file, hive, text):
    """Puts registry text into a hive file. Every key needs a line of its own, those above it too."""
    subprocess.run(["hivexregedit", "--merge", "--prefix", f"HKEY_LOCAL_MACHINE\\{hive}", str(hive_file)],
                   input=text.encode("utf-8"), check=True, env={**os.environ, "PERL_UNICODE": "SDI"},
                   stdout=subprocess.DEVNULL)


def hive_text(sections, hive):
    lines, seen = ["Windows Registry Editor Version 5.00", ""], set()
    for key, values in sections:
        names = key.lstrip("-").split("\\")
        if len(names) < 2 or names[1].upper() != hive:
            continue
        for depth in range(3, len(names)):
            above = "\\".join(names[:depth])
            if above.lower() not in seen:
                lines += [f"[{above}]", ""]
                seen.add(above.lower())
        lines += [f"[{key}]", *values, ""]
        seen.add(key.lower())
    return "\n".join(lines) + "\n"


def make_volume(tablet, volume):
    shutil.copytree(Path(tablet, "C"), volume)
    folder = Path(volume, CONFIG)
    folder.mkdir(parents=True, exist_ok=True)
    sections = _sections(tablet)
    sections.append(("HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001\\Services\\Pelt", ['"Start"=dword:00000003']))
    sections.append(("HKEY_LOCAL_MACHINE\\SYSTEM\\Select", ['"Current"=dword:00000001', '"Default"=dword:00000001']))
    for hive in ("SYSTEM", "SOFTWARE"):
        (folder / hive).write_bytes(empty_hive())
        merge(folder / hive, hive, hive_text(sections, hive))


def wimlib(*words):
    subprocess.run(["wimlib-imagex", *map(str, words)], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


def set_attributes(wim, wanted):
    """Sets DOS attributes, {path: number}, in an uncompressed file of one image: captures on Linux know none."""
    data = bytearray(Path(wim).read_bytes())

    def number(form, at, of=data):
        return struct.unpack_from(form, of, at)[0]

    size, blobs = number("<Q", 48) & (1 << 56) - 1, number("<Q", 56)
    (entry,) = [at for at in range(blobs, blobs + size, 50) if data[at + 7] & 2]
    size, place = number("<Q", entry) & (1 << 56) - 1, number("<Q", entry + 8)
    meta = data[place:place + size]

    def walk(at, folder):
        while number("<Q", at, meta) > 8:
            length = number("<H", at + 100, meta)
            path = folder + meta[at + 102:at + 102 + length].decode("utf-16-le")
            if path in wanted:
                struct.pack_into("<I", meta, at + 8, wanted.pop(path))
            if number("<Q", at + 16, meta):
                walk(number("<Q", at + 16, meta), path + "/" if path else "")
            streams = number("<H", at + 96, meta)
            at += (number("<Q", at, meta) + 7) & ~7
            for _ in range(streams):
                at += (number("<Q", at, meta) + 7) & ~7

    walk((max(number("<I", 0, meta), 8) + 7) & ~7, "")  # the root follows the security descriptors
    if wanted:
        raise ValueError(f"not in the image: {sorted(wanted)}")
    data[place:place + size] = meta
    data[entry + 30:entry + 50] = hashlib.sha1(meta).digest()
    Path(wim).write_bytes(data)


def make_image(volume, image, name="Windows", attributes=None):
    """An image file of a volume: compressed as its name ends."""
    plain = Path(f"{image}.plain")
    wimlib("capture", volume, plain, name, "--compress=none")
    files = [file for file in Path(volume).rglob("*") if file.is_file()]
    set_attributes(plain, {str(file.relative_to(volume)): 0x20 for file in files} | (attributes or {}))
    solid = ["--compress=LZMS", "--solid"] if str(image).endswith(".esd") else ["--compress=LZX"]
    wimlib("export", plain, 1, image, name, *solid)
    plain.unlink()


def main(tablet, volume, image=None):
    make_volume(tablet, volume)
    if image:
        make_image(volume, image)


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    main(*sys.argv[1:])
