#!/usr/bin/env python3
"""Whether mutate.py finds the wrong lines that it should, and knows what became of a few: mutate_self_test.py BUILD"""

import sys
import tempfile
from pathlib import Path

import mutants
import mutate

SAMPLE = """// if (a == 1) Comment(2);
namespace {
constexpr int kLimit = 0x20;
void Walk(int a) {
  if (HANDLE const h = Open(a); h != nullptr) Close(h);  // 3
  while (a < kLimit) Step("4;", ++a);
  First();
  Second(FILE_BEGIN);
  DebugPrintZone(ZONE_ERROR, a);
  to.x = static_cast<int>((from.x));
  to.y = from.y;
  to.z = to.y;
}
}
"""
EXPECTED = [
    (3, "constant + 1", "(0x20 + 1)"),
    (5, "condition negated", "!( h != nullptr)"),
    (5, "result ignored", "( h != nullptr) && false"),
    (5, "statement dropped", ";"),
    (6, "condition negated", "!(a < kLimit)"),
    (6, "order of two statements", 'First(); Step("4;", ++a);'),
    (6, "other comparison", "<="),
    (6, "result ignored", "(a < kLimit) && false"),
    (6, "statement dropped", ";"),
    (7, "order of two statements", "Second(FILE_BEGIN); First();"),
    (7, "statement dropped", ";"),
    (8, "constant + 1", "(FILE_BEGIN + 1)"),
    (8, "order of two statements", "DebugPrintZone(ZONE_ERROR, a); Second(FILE_BEGIN);"),
    (8, "statement dropped", ";"),
    (9, "statement dropped", ";"),
    (9, "order of two statements", "to.x = static_cast<int>((from.x)); DebugPrintZone(ZONE_ERROR, a);"),
    (10, "statement dropped", ";"),
    (11, "statement dropped", ";"),
    (11, "order of two statements", "to.z = to.y; to.y = from.y;"),
    (12, "statement dropped", ";"),
]

FILE = "vantord/common/wide_format.cpp"
# (true, wrong, what becomes of it), of the function that copies a text.
PLANTED = [
    ("i + 1 < capacity", "i < capacity", mutate.NOTICED),
    ("text[i] != 0; ++i)", "text[i] != 0;)", mutate.NOTICED),
    ("std::size_t i = 0;", "std::size_t i = 0u;", mutate.SAME),
    ("std::size_t i = 0;", "std::size_t volatile i = 0;", mutate.LIVED),
    ("std::size_t i = 0;", "std::size_t i = none;", mutate.INVALID),
]


def wrong_generation():
    with tempfile.TemporaryDirectory() as folder:
        (Path(folder) / "sample.cpp").write_text(SAMPLE, encoding="utf-8")
        found = [(m.line, m.operator, m.text) for m in mutants.mutants_of("sample.cpp", Path(folder))]
    for row in sorted(set(EXPECTED) - set(found)):
        yield f"a wrong line is not found: {row}"
    for row in sorted(set(found) - set(EXPECTED)):
        yield f"a wrong line is too many: {row}"


def wrong_verdicts(build):
    source = (mutate.ROOT / FILE).read_text(encoding="utf-8")
    bench = mutate.Bench(build, build / "mutate-self-test", ["common"], [])
    bench.time_out = 2
    bench.set_up(2)
    bench.places.get()  # the programs were linked in the first place: in the second they must not use the product of the first
    for number, (true, wrong, expected) in enumerate(PLANTED):
        at = source.index(true, source.index("void CopyWide("))
        record = bench.attempt(mutants.Mutant(str(number), FILE, 1, "planted", at, at + len(true), wrong, true))
        if record["result"] != expected:
            yield f"{wrong}: {record['result']}, not {expected}"
    if (mutate.ROOT / FILE).read_text(encoding="utf-8") != source:
        yield f"{FILE}: the checkout was written to"


def main(build):
    complaints = [*wrong_generation(), *wrong_verdicts(Path(build).resolve())]
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
