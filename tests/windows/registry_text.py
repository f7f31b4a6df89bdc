"""Windows Registry Editor text as data: {key: {value name: (type, bytes)}}, keys and names in lower case.

Deletions remove what an earlier text gave. Anything that neither tablets nor exports of Windows contain is an error.
"""

import re

HIVE = "hkey_local_machine"
VALUE = re.compile(r'(?:@|"((?:[^"\\]|\\.)*)")\s*=\s*(.*)$', re.S)


def decode(data):
    return data.decode("utf-16" if data[:2] in (b"\xff\xfe", b"\xfe\xff") else "utf-8-sig")


def parse(text, registry=None):
    registry = {} if registry is None else registry
    key = None
    for line in _lines(text):
        if line.startswith("["):
            key = _enter(line, registry)
        elif key is not None:
            _take_value(line, registry[key])
    return registry


def _lines(text):
    """Complete entries, continuations joined, without header and comments."""
    pending = ""
    for line in text.splitlines():
        line = pending + line.strip()
        pending = ""
        if not line or line.startswith(";") or line.startswith(("Windows Registry", "REGEDIT")):
            continue
        if line.endswith("\\") and re.search(r'=\s*hex', line):
            pending = line[:-1]
            continue
        yield line


def _enter(line, registry):
    name = line[1:-1].lower()
    if name.startswith("-"):
        gone = name[1:]
        for key in [key for key in registry if key == gone or key.startswith(gone + "\\")]:
            del registry[key]
        return None
    registry.setdefault(name, {})
    return name


def _take_value(line, values):
    match = VALUE.match(line)
    if match is None:
        raise ValueError(f"not a line of a registry text: {line}")
    name = re.sub(r"\\(.)", r"\1", match[1] or "").lower()
    if match[2] == "-":
        values.pop(name, None)
    else:
        values[name] = _data(match[2])


def _data(text):
    if text.startswith('"'):
        return 1, (re.sub(r"\\(.)", r"\1", text[1:-1]) + "\0").encode("utf-16-le")
    kind, _, rest = text.partition(":")
    if kind == "dword":
        return 4, int(rest, 16).to_bytes(4, "little")
    if kind.startswith("hex"):
        number = int(kind[4:-1], 16) if kind != "hex" else 3
        return number, bytes(int(byte, 16) for byte in rest.split(",") if byte)
    raise ValueError(f"not a value of a registry text: {text}")
