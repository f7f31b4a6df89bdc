#!/usr/bin/env python3
"""One table of what several shards of one sweep found: merge_sweeps.py FILE..., documents of `vantord-tablet sweep --json`

Exit code 5 when a promise broke in one of them, 3 when a file is not such a document.
"""

import json
import sys
from collections import Counter


def read(path):
    try:
        with open(path, encoding="utf-8") as file:
            document = json.load(file)
        if "error" in document:
            raise ValueError(f"this sweep failed: {document['error']['problem']}")
        return document["tried"], document["promises"], document["findings"]
    except (OSError, ValueError, KeyError) as error:
        print(f"{path}: {error}; give the output of vantord-tablet sweep --json", file=sys.stderr)
        sys.exit(3)


def main(paths):
    if not paths:
        print(__doc__.splitlines()[0], file=sys.stderr)
        return 2
    tried, broken, findings = Counter(), {}, []
    for some_tried, promises, some_findings in map(read, paths):
        tried.update(some_tried)
        for promise in promises:
            broken[promise["name"]] = broken.get(promise["name"], 0) + promise["broken"]
        findings += some_findings
    print("| tried | runs |\n|---|---:|")
    for kind, count in tried.items():
        print(f"| {kind} | {count:,} |")
    print("\n| promise | broken by |\n|---|---:|")
    for name, count in broken.items():
        print(f"| {name} | {count:,} |")
    for finding in findings:
        print(f"\n{finding['promise']}: {finding['detail']}\n  {finding['repeat']}")
    return 5 if any(broken.values()) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
