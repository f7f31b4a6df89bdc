"""A tablet folder as docs/tablet.md describes it, read to make a Windows machine equal to it."""

import hashlib
import json
import os
from dataclasses import dataclass
from pathlib import Path

import registry_text

READ_ONLY, HIDDEN, SYSTEM, DIRECTORY, ARCHIVE = 0x1, 0x2, 0x4, 0x10, 0x20
# The attributes that both worlds keep. Wine shows the archive bit for every file.
COMPARED = READ_ONLY | HIDDEN | SYSTEM | DIRECTORY


@dataclass(frozen=True)
class File:
    """What both worlds keep of a file or folder."""

    digest: str  # SHA-256 of the content; empty for a folder
    attributes: int  # those of COMPARED

    @staticmethod
    def of(path, attributes):
        digest = "" if path.is_dir() else hashlib.sha256(path.read_bytes()).hexdigest()
        return File(digest, attributes & COMPARED)


class TabletFolder:
    def __init__(self, path):
        self.path = Path(path)
        self.description = json.loads((self.path / "tablet.json").read_text())

    def get(self, dotted, default):
        at = self.description
        for name in dotted.split("."):
            if name not in at:
                return default
            at = at[name]
        return at

    def change(self, dotted, value):
        """Changes a key of tablet.json."""
        *folders, name = dotted.split(".")
        at = self.description
        for folder in folders:
            at = at.setdefault(folder, {})
        at[name] = value
        (self.path / "tablet.json").write_text(json.dumps(self.description, indent=2))

    def registry_files(self):
        files = sorted((self.path / "registry").glob("*.reg"))
        # The changes of earlier runs come last.
        return sorted(files, key=lambda file: file.name == "zz-saved.reg")

    def registry(self):
        registry = {}
        for file in self.registry_files():
            registry_text.parse(registry_text.decode(file.read_bytes()), registry)
        return registry

    def variables(self):
        """Firmware variables: {braced vendor GUID + name: data}."""
        variables = {}
        folder = self.path / "efi"
        for file in sorted(folder.iterdir()) if folder.is_dir() else ():
            name, guid = file.name[:-37], file.name[-36:]
            variables["{%s}%s" % (guid.upper(), name)] = file.read_bytes()[4:]
        return variables

    def files(self):
        """Files and folders of drive C:, in lower case without the drive: {path: host path}."""
        root = self.path / "C"
        return {
            str(file.relative_to(root)).replace("/", "\\").lower(): file
            for file in sorted(root.rglob("*"))
        }


def changed_files(before, after):
    """Changes on drive C: between two tablets: {path: File in `after`, None if removed}."""
    old, new = ({path: File.of(file, attributes(file)) for path, file in one.files().items()} for one in (before, after))
    return {path: new.get(path) for path in old.keys() | new.keys() if old.get(path) != new.get(path)}


def attributes(file):
    """DOS attributes, which the tablet keeps in an extended attribute."""
    try:
        value = int(os.getxattr(file, "user.DOSATTRIB").split(b"\0")[0], 16)
    except OSError:
        value = 0 if file.is_dir() else ARCHIVE
    return value | (DIRECTORY if file.is_dir() else 0)
