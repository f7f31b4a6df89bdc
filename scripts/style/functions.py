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
            # An initializer belongs to the head around it; anything else ends the head.
            head = before + "{}" if kind == "initializer" else ""
        elif character == ";" and _balanced(head):
            head = ""
        else:
            head += character
    return found


def _balanced(head):
    return head.count("(") == head.count(")")


def _kind(head, scopes):
    """The kind of an opening brace: "scope" (may contain functions), "function", "initializer" (within a declaration), or
    "inside" one of the last two."""
    if scopes and scopes[-1][0] != "scope":
        return "inside"
    head = re.sub(r"^(?:\s*(?:public|protected|private)\s*:)+\s*", "", head)
    if re.match(r'extern\s*"[^"]*"$', head) or (_TYPE.match(head) and not head.endswith(("=", ")"))):
        return "scope"
    if not _balanced(head) or head.endswith("=") or _MEMBER_INITIALIZER.search(head):
        return "initializer"
    return "function" if "(" in head else "initializer"
