"""Which wrong lines there are: mutants_of(PATH) gives each as a Mutant, without writing anything."""

import collections
import hashlib
import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]

Mutant = collections.namedtuple("Mutant", "id path line operator start end text was")


def masked(source):
    """The source with its comments, texts and preprocessor lines blanked out; every position stays."""
    pattern = r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|(?<![0-9a-fA-F])\'(?:\\.|[^\'\\\n])+\'|^[ \t]*#(?:\\\n|[^\n])*'
    return re.sub(pattern, lambda m: re.sub(r"[^\n]", "_" if m[0][0] in "\"'" else " ", m[0]), source, flags=re.S | re.M)


def closing(text, start):
    """The position of the parenthesis that closes the one at `start`."""
    depth = 0
    for at in range(start, len(text)):
        depth += {"(": 1, ")": -1}.get(text[at], 0)
        if depth == 0:
            return at
    return len(text) - 1


def conditions(text):
    """(start, end) of each condition of an if or a loop, without what may stand before it in the parentheses."""
    for head in re.finditer(r"\b(if|while|for)(?: constexpr)? \(", text):
        start = head.end()
        end = closing(text, start - 1)
        parts = text[start:end].split(";")
        if head[1] == "for" and len(parts) == 3:
            start += len(parts[0]) + 1
            end = start + len(parts[1])
        elif head[1] != "for" and len(parts) == 2:
            start += len(parts[0]) + 1
        elif head[1] == "for" or len(parts) != 1:
            continue
        if text[start:end].strip():
            yield start, end


BLOCK = re.compile(r"(\)|\b(else|do|try|const|override|noexcept)|[:;{}]|^)$")
PREFIX = re.compile(r"\s*(?:else\s+)?(?:(?:if|for|while)\s*\(|else\s|do\s)")
EXPRESSION = re.compile(r"(?:delete [\w>.-]+|[\w:.\[\]*>()&-]+(?:\s*[-+|&^]?=\s|\())")


def statements(text):
    """(block, start, end, simple) of each statement that is an expression, or a declaration that calls something.

    `block` numbers the run of statements between two braces. `simple`: nothing is declared by it.
    """
    start, parentheses, initialisers, block = 0, 0, 0, 0
    for at, character in enumerate(text):
        if character in "()":
            parentheses += 1 if character == "(" else -1
        elif parentheses:
            continue
        elif character == "{":
            before = text[start:at].strip()
            named = re.match(r"(inline |extern |typedef )*(namespace|struct|class|enum|union|template)\b", before)
            if initialisers or not (named or BLOCK.search(before)):
                initialisers += 1
            else:
                start, block = at + 1, block + 1
        elif character == "}":
            if initialisers:
                initialisers -= 1
            else:
                start, block = at + 1, block + 1
        elif character == ";" and not initialisers:
            inner = start
            while prefix := PREFIX.match(text, inner, at):
                inner = closing(text, prefix.end() - 1) + 1 if prefix[0].endswith("(") else prefix.end()
            inner += len(text[inner:at]) - len(text[inner:at].lstrip())
            piece = text[inner:at]
            simple = bool(EXPRESSION.match(piece)) and not re.match(r"(return|static_assert)\b", piece)
            declares = re.match(r"(auto|\w[\w:<>*& ]*[ *&])[\w]+( = .*\(|\()", piece) and not re.match(r"return|throw|using", piece)
            if simple or declares:
                yield block, inner, at + 1, simple
            start = at + 1


ASSIGNMENT = re.compile(r"([\w.>-]+) [-+|&^]?= (.*);", re.S)


def independent(first, second):
    """Whether both are assignments without a call, neither of which names the other's variable."""
    pair = [ASSIGNMENT.fullmatch(statement.strip()) for statement in (first, second)]
    if not all(pair) or any(re.search(r"[\w>]\(", re.sub(r"(static_cast<[\w ]+>|sizeof)\(", "", match[2])) for match in pair):
        return False
    return not any(re.search(rf"\b{re.escape(mine[1])}\b", other[0]) for mine, other in (pair, pair[::-1]))


def edits(text):
    """(operator, start, end, replacement) of every wrong line of a masked source; `replacement` may take the words
    {0} and {1} of the true source."""
    inside = list(conditions(text))
    for start, end in inside:
        yield "condition negated", start, end, "!({0})"
        yield "result ignored", start, end, "({0}) && false"
    for found in re.finditer(r" (==|!=|<|<=|>|>=|&&|\|\|) ", text):
        sign = found[1]
        if sign not in ("==", "!=") or not any(start <= found.start() < end for start, end in inside):
            pairs = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&"}
            yield "other comparison", found.start(1), found.end(1), pairs[sign]
    for found in re.finditer(r"(?<![\w.'])(0[xX][0-9a-fA-F]+|\d+)[uUlL]*(?![\w.'])", text):
        yield "constant + 1", found.start(), found.end(), "({0} + 1)"
        if int(found[1], 0) > 0 and not found[1].startswith("0x"):
            yield "constant - 1", found.start(), found.end(), "({0} - 1)"
    # The zone of a message is not among them: the page of messages is held against the sources.
    for found in re.finditer(r"\b(?!ZONE_)[A-Z][A-Z0-9]*(?:_[A-Z0-9]+)+\b(?! *[(*&:]| \w)", text):
        yield "constant + 1", found.start(), found.end(), "({0} + 1)"
    for found in re.finditer(r"\b(true|false|TRUE|FALSE)\b", text):
        other = {"true": "false", "false": "true", "TRUE": "FALSE", "FALSE": "TRUE"}[found[1]]
        yield "other truth", found.start(), found.end(), other
    before = None
    for block, start, end, simple in statements(text):
        if simple:
            yield "statement dropped", start, end, ";"
        follows = before and before[0] == block and not text[before[2] : start].strip()
        if follows and not independent(text[before[1] : before[2]], text[start:end]):
            yield "order of two statements", before[1], end, "{1} {0}", before[2], start
        before = block, start, end


def mutants_of(path, root=ROOT):
    source = (root / path).read_text(encoding="utf-8")
    text = masked(source)
    seen = collections.Counter()
    for operator, start, end, replacement, *split in edits(text):
        was = source[start:end]
        words = (source[start : split[0]], source[split[1] : end]) if split else (was,)
        changed = re.sub(r"\{([01])\}", lambda m: words[int(m[1])], replacement)
        begin, stop = source.rfind("\n", 0, start) + 1, source.find("\n", end)
        key = f"{path}|{source[begin:stop]}|{start - begin}|{operator}|{changed}"
        seen[key] += 1
        name = hashlib.sha256(f"{key}|{seen[key]}".encode()).hexdigest()[:12]
        line = source.count("\n", 0, start) + 1
        yield Mutant(name, path, line, operator, start, end, changed, was)
