#!/usr/bin/env python3
"""Reports each violation of the style rules: style.py [FOLDER]. Exit code 1 if there are any."""

import sys
from pathlib import Path

sys.dont_write_bytecode = True

from rules import RULES  # noqa: E402
from source import load  # noqa: E402


def main(arguments):
    root = Path(arguments[0]) if arguments else Path(__file__).resolve().parents[2]
    sources = load(root)
    if not any(source.is_product for source in sources):
        print(f"style: no product sources in {root}", file=sys.stderr)
        return 1
    offences = [(*offence, rule.__name__) for rule in RULES for offence in rule(sources)]
    for path, line, message, rule in offences:
        print(f"{path}:{line}: {message} [{rule}]")
    print(f"{len(sources)} files, {len(RULES)} rules, {len(offences)} offences")
    return 1 if offences else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
