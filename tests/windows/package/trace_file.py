"""Decodes a message by the .tmf file of its GUID, as the trace tools of Windows do."""

import re

TYPE = re.compile(r'#typev (\w+) (\d+) "%0(.*)" // ')
ITEM = re.compile(r"(\w+), (\w+) -- (\d+)$")


class Definitions:
    """All .tmf files of a folder."""

    def __init__(self, folder):
        self.messages = {}  # {(GUID, number): (text with %10!s! and so on, {argument: kind})}
        for path in sorted(folder.glob("*.tmf")):
            self._read(path)

    def _read(self, path):
        lines = [line for line in path.read_text().splitlines() if not line.startswith("//")]
        guid = lines.pop(0).split()[0]
        assert guid == path.stem, f"{path.name} defines the messages of {guid}"
        while lines:
            _, number, text = TYPE.match(lines.pop(0)).groups()
            assert lines.pop(0) == "{"
            items = {}
            while (line := lines.pop(0)) != "}":
                _, kind, argument = ITEM.match(line).groups()
                items[int(argument)] = kind
            self.messages[(guid, int(number))] = (text, items)

    def decode(self, guid, number, data):
        """The text of a message whose arguments are `data`, one after the other."""
        text, items = self.messages[(guid, number)]
        values = {}
        for argument in sorted(items):
            assert items[argument] == "ItemWString", items[argument]
            end = next(i for i in range(0, len(data), 2) if data[i : i + 2] == b"\0\0")
            values[argument], data = data[:end].decode("utf-16-le"), data[end + 2 :]
        assert not data, "more data than the definition has arguments"
        return re.sub(r"%(\d+)!s!", lambda match: values[int(match[1])], text)
