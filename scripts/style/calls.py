"""The arguments of calls in C++ text."""

import re


def arguments(text, at):
    """The arguments of the call whose parenthesis opens at `at`."""
    parts, depth, part, i = [], 0, "", at
    while i < len(text):
        c = text[i]
        if c == '"':
            end = re.compile(r'"(?:\\.|[^"\\])*"').match(text, i).end()
            part += text[i:end]
            i = end
            continue
        if c in "([{":
            depth += 1
        elif c in ")]}":
            depth -= 1
        if depth == 0:
            return parts + [part.strip()]
        if c == "," and depth == 1:
            parts.append(part.strip())
            part = ""
        elif not (c == "(" and depth == 1):
            part += c
        i += 1
    raise ValueError("a call without an end")


def literal(argument):
    found = re.fullmatch(r'(?:TEXT\()?\s*"((?:\\.|[^"\\])*)"\s*\)?', argument)
    return found.group(1) if found else None
