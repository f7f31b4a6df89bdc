#!/usr/bin/env python3
"""Whether the measuring itself tells apart what it is there to tell apart."""

import sys
import unittest

sys.dont_write_bytecode = True

import budgets  # noqa: E402
from counts import Profile  # noqa: E402

# As callgrind writes it: names once, then by number; positions relative; a call's inclusive cost behind "calls=".
PROFILE = """\
events: Ir

ob=(1) /build/bench/bench_extract
fl=(1) /build/../../vantord/unzip/zip_stream.cpp
fn=(1) ReadField(ZipInputStream&, int)
20 5
fi=(2) /usr/include/c++/12/bits/char_traits.h
+3 7
fe=(1)
cob=(2) /usr/lib/libz.so.1.2.13
cfi=(3) ???
cfn=(2) inflate
calls=2 10
* 900
-1 1

fl=(4) /usr/include/c++/12/bits/atomic_base.h
fn=(3) OneMessage(char16_t const*)
488 10
fi=(5) /build/../../bench/messages.cpp
32 30

fl=(6) /build/../../sim/tablet/kernel/faults.cpp
fn=(4) tablet::Faults::Ask
9 11

fl=(2)
fn=(5) std::vector<int>::push_back(int&&)
9 13

ob=(2)
fl=(3)
fn=(2)
10 400
ob=(3) /usr/lib/libc.so.6
fn=(6) malloc
10 17
"""


class Counts(unittest.TestCase):
    def test_each_instruction_is_counted_once_and_for_whoever_spent_it(self):
        groups = Profile(PROFILE).groups()
        self.assertEqual(groups, {"service": 13, "program": 40, "stand-in": 24, "zlib": 400, "runtime": 17})

    def test_what_was_taken_in_from_a_header_is_its_functions(self):
        functions = Profile(PROFILE).functions
        self.assertEqual(functions["service", "ReadField(ZipInputStream&, int)"], 13)
        self.assertEqual(functions["program", "OneMessage(char16_t const*)"], 40)

    def test_starting_and_ending_is_taken_off(self):
        whole = Profile(PROFILE)
        self.assertEqual(sum(whole.minus(whole).groups().values()), 0)


class Budgets(unittest.TestCase):
    RECORDED = {"instructions": 1000, "functions": {"steady": 600, "moved": 400}}

    def test_a_group_within_its_budget_says_nothing_more(self):
        self.assertEqual(budgets.faults("service", self.RECORDED, {"instructions": 1029, "functions": {}}), [])

    def test_what_moved_is_named(self):
        now = {"instructions": 1200, "functions": {"steady": 600, "moved": 550, "new": 50}}
        told = "\n".join(budgets.faults("service", self.RECORDED, now))
        self.assertIn("moved", told)
        self.assertIn("new", told)
        self.assertNotIn("steady", told)

    def test_the_stand_in_may_drift_and_not_leap(self):
        self.assertEqual(budgets.faults("stand-in", self.RECORDED, {"instructions": 1090, "functions": {}}), [])
        self.assertNotEqual(budgets.faults("stand-in", self.RECORDED, {"instructions": 1110, "functions": {}}), [])

    def test_less_is_to_be_recorded_too(self):
        told = "\n".join(budgets.faults("service", self.RECORDED, {"instructions": 900, "functions": {}}))
        self.assertIn("lower the budget", told)


if __name__ == "__main__":
    unittest.main()
