"""The project's files; C++ sources split into code, comments and literals."""

import os
import re
from functools import cached_property
from pathlib import Path

PRODUCT = "vantord"
PASSED_OVER = (".git", "build", "dist", "__pycache__", ".cache")

# Order matters: a number takes its digit separators, an identifier its letters, before a quote can begin a literal.
_TOKEN = re.compile(
    r"""(?P<comment>//(?:[^\n\\]|\\.|\\\n)*|/\*.*?\*/)
      | (?P<raw>(?:\b(?:u8|[uUL]))?\bR"(?P<mark>[^()\\\s]{0,16})\(.*?\)(?P=mark)")
      | (?P<literal>(?:\b(?:u8|[uUL]))?(?:"(?:[^"\\\n]|\\.)*"|'(?:[^'\\\n]|\\.)+'))
      | \b\d(?:[\w.]|'(?=\w))*
      | \b\w+(?!["'\w])
    """,
    re.S | re.X,
)


# A deliberate behaviour in a comment: what happens, what a reader would expect, the tests.
DELIBERATE = re.compile(
    r"^\s*Deliberate:\s(.+?\.)\s+Expected:\s(.+?\.)\s+^\s*Test:\s((?:[\w.-]+)(?:,\s+[\w.-]+)*)\s*$", re.S | re.M
)


def _blank(text):
    """Spaces of the same length, on the same lines."""
    return re.sub(r"[^\n]", " ", text)


def _blank_literal(text):
    """Keeps prefix and quotes, which show the kind of literal."""
    first = re.search(r"[\"']", text).start()
    return text[: first + 1] + _blank(text[first + 1 : -1]) + text[-1]


def line_of(text, position):
    return text.count("\n", 0, position) + 1


class Source:
    """One text file. `path` is relative to the project, with slashes."""

    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.folder = path.split("/", 1)[0]

    @property
    def is_cpp(self):
        return self.path.endswith((".cpp", ".h"))

    @property
    def is_product(self):
        return self.is_cpp and self.folder == PRODUCT

    @cached_property
    def without_comments(self):
        return _TOKEN.sub(lambda m: _blank(m[0]) if m["comment"] else m[0], self.text)

    @cached_property
    def code(self):
        """The text without comments and without the content of literals."""

        def strip(match):
            if match["comment"]:
                return _blank(match[0])
            if match["raw"] or match["literal"]:
                return _blank_literal(match[0])
            return match[0]

        return _TOKEN.sub(strip, self.text)

    @cached_property
    def directives(self):
        """(line, text) of each preprocessor directive, continuation lines joined."""
        found = []
        for match in re.finditer(r"^[ \t]*#(?:[^\n\\]|\\.|\\\n)*", self.without_comments, re.M):
            found.append((line_of(self.text, match.start()), match[0].replace("\\\n", " ").strip()))
        return found

    @cached_property
    def includes(self):
        """(line, name, True if quoted) of each include."""
        found = []
        for line, text in self.directives:
            match = re.match(r'#\s*include(?:_next)?\s*([<"])([^>"]+)[>"]', text)
            if match:
                found.append((line, match[2], match[1] == '"'))
        return found

    @cached_property
    def comments(self):
        """(line, text) of each comment; consecutive lines of // are one."""
        blocks = []
        last_line = None
        for match in _TOKEN.finditer(self.text):
            if not match["comment"]:
                continue
            line = line_of(self.text, match.start())
            text = re.sub(r"^\s*(?:///?<?|/?\*+)|\*/$", "", match[0], flags=re.M)
            if blocks and last_line == line - 1:
                blocks[-1] = (blocks[-1][0], blocks[-1][1] + "\n" + text)
            else:
                blocks.append((line, text))
            last_line = line + match[0].count("\n")
        return blocks


def load(root):
    """Every text file of the project, sorted by path."""
    sources = []
    for folder, subfolders, names in os.walk(root):
        subfolders[:] = sorted(name for name in subfolders if name not in PASSED_OVER)
        for name in sorted(names):
            file = Path(folder) / name
            if name == ".git" or file.is_symlink() or not file.is_file():
                continue
            data = file.read_bytes()
            if b"\0" not in data:
                sources.append(Source(file.relative_to(root).as_posix(), data.decode("utf-8", errors="replace")))
    return sources
