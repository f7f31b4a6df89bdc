"""Finds the functions of a C++ source by its braces."""

import re

_DIRECTIVE = re.compile(r"^[ \t]*#(?:[^\n\\]|\\.|\\\n)*", re.M)
_TYPE = re.compile(r"(?:template\s*<[^{]*>\s*)?(?:class|struct|union|enum|namespace|inline namespace)\b")
_MEMBER_INITIALIZER = re.compile(r"\)\s*(?:noexcept\s*)?:(?!:).*[\w>]$", re.S)


def functions(code):
    """(first line, last line, head) of each function's body. `code` has no comments and blank literals."""
    code = _DIRECTIVE.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), code)
    found = []
    scopes = []  # of each open brace: kind, first line, the head before it
    head = ""
    line = 1
    for character in code:
        if character == "\n":
            line += 1
        if character == "{":
            scopes.append((_kind(head.strip(), scopes), line, head))
            head = ""
        elif character == "}":
            kind, first, before = scopes.pop() if scopes else ("inside", line, "")
            if kind == "function":
                found.append((first, line, " ".join(before.split())))
            # An initializer belongs to the head that it stands in; anything else ends it.
            head = before + "{}" if kind == "initializer" else ""
        elif character == ";" and _balanced(head):
            head = ""
        else:
            head += character
    return found


def _balanced(head):
    return head.count("(") == head.count(")")


def _kind(head, scopes):
    """What an opening brace begins: a scope that may hold functions, a function, an initializer in the middle of a
    declaration, or something inside of one of the last two."""
    if scopes and scopes[-1][0] != "scope":
        return "inside"
    head = re.sub(r"^(?:\s*(?:public|protected|private)\s*:)+\s*", "", head)
    if re.match(r'extern\s*"[^"]*"$', head) or (_TYPE.match(head) and not head.endswith(("=", ")"))):
        return "scope"
    if not _balanced(head) or head.endswith("=") or _MEMBER_INITIALIZER.search(head):
        return "initializer"
    return "function" if "(" in head else "initializer"
