"""The explained differences: a table of sim/winapi/README.md that the tests read.

The texts of a row are whole messages in which `*` matches anything, `{digits}` a number, and `{same}` text that must be
the same in both worlds; `-` means that this world has no such message, `?` under Wine that it may be missing there. A row
applies to the tablets it names, or to `all`, and must occur there.
"""

import re
from dataclasses import dataclass
from pathlib import Path

HEADING = "## One transcript, two worlds"
COLUMNS = ("tablets", "on the tablet", "under Wine", "as Windows documents it", "reason")


@dataclass(frozen=True)
class Difference:
    tablets: str
    tablet: str
    wine: str
    documented: str
    reason: str

    @property
    def is_of_one_world(self):
        return "-" in (self.tablet, self.wine) or self.may_be_missing

    @property
    def may_be_missing(self):
        return self.wine == "?"

    def applies_to(self, tablet):
        return self.tablets == "all" or tablet in [name.strip() for name in self.tablets.split(",")]

    def explain(self, text, world):
        """The text to compare in place of a message that this row explains; None for any other message."""
        pattern = self.tablet if world == "tablet" or self.may_be_missing else self.wine
        match = None if pattern == "-" else re.fullmatch(_regex(pattern), text.rstrip("\n"), re.S)
        return None if match is None else " | ".join((str(self), *match.groups()))

    def occurred(self, used):
        """True if the worlds differed as this row says. `used` counts (row, world, text)."""
        texts = {world: {text for row, of, text in used if row is self and of == world} for world in ("tablet", "wine")}
        return texts["tablet"] != texts["wine"] or (self.may_be_missing and bool(texts["tablet"]))

    def __str__(self):
        return f"tablet: {self.tablet} / Wine: {self.wine}"


PIECES = {"*": ".*", "{digits}": r"\d+", "{same}": "(.*)"}


def _regex(pattern):
    pieces = re.split(r"(\*|\{digits\}|\{same\})", pattern)
    return "".join(PIECES.get(piece) or re.escape(piece) for piece in pieces)


def read(readme):
    """All rows of the table. ValueError if it is missing or has other columns."""
    text = Path(readme).read_text()
    _, found, section = text.partition(HEADING + "\n")
    if not found:
        raise ValueError(f'{readme}: no section "{HEADING}"')
    section = section.split("\n## ")[0]
    rows = [_cells(line) for line in section.splitlines() if line.startswith("|")]
    if not rows or tuple(rows[0]) != COLUMNS:
        raise ValueError(f'{readme}: the table of "{HEADING}" must have the columns {", ".join(COLUMNS)}')
    return [_difference(readme, row) for row in rows[2:]]


def _cells(line):
    return [cell.replace("\\|", "|").strip() for cell in re.split(r"(?<!\\)\|", line.strip())[1:-1]]


def _difference(readme, row):
    if len(row) != len(COLUMNS) or not all(row):
        raise ValueError(f"{readme}: a row needs {len(COLUMNS)} cells: {row}")
    tablets, tablet, wine, documented, reason = row
    return Difference(tablets, tablet.strip("`"), wine.strip("`"), documented, reason)
