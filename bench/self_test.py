#!/usr/bin/env python3
"""Tests of the instruction counts and budgets, without valgrind."""

import sys
import unittest

sys.dont_write_bytecode = True

import budgets  # noqa: E402
from counts import Profile  # noqa: E402

# As callgrind writes it: names once, then by number; positions relative; a call's inclusive cost after "calls=".
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
    def test_each_instruction_is_counted_once_for_its_owner(self):
        groups = Profile(PROFILE).groups()
        self.assertEqual(groups, {"service": 13, "program": 40, "stand-in": 24, "zlib": 400, "runtime": 17})

    def test_inlined_code_belongs_to_the_function(self):
        functions = Profile(PROFILE).functions
        self.assertEqual(functions["service", "ReadField(ZipInputStream&, int)"], 13)
        self.assertEqual(functions["program", "OneMessage(char16_t const*)"], 40)

    def test_starting_and_ending_is_subtracted(self):
        whole = Profile(PROFILE)
        self.assertEqual(sum(whole.minus(whole).groups().values()), 0)


class Budgets(unittest.TestCase):
    RECORDED = {"instructions": 1000, "functions": {"steady": 600, "moved": 400}}

    def test_a_group_within_its_budget_is_not_reported(self):
        self.assertEqual(budgets.faults("service", self.RECORDED, {"instructions": 1029, "functions": {}}), [])

    def test_changed_functions_are_named(self):
        now = {"instructions": 1200, "functions": {"steady": 600, "moved": 550, "new": 50}}
        reported = "\n".join(budgets.faults("service", self.RECORDED, now))
        self.assertIn("moved", reported)
        self.assertIn("new", reported)
        self.assertNotIn("steady", reported)

    def test_the_stand_in_may_grow_by_ten_percent_only(self):
        self.assertEqual(budgets.faults("stand-in", self.RECORDED, {"instructions": 1090, "functions": {}}), [])
        self.assertNotEqual(budgets.faults("stand-in", self.RECORDED, {"instructions": 1110, "functions": {}}), [])

    def test_less_than_the_budget_is_reported_too(self):
        reported = "\n".join(budgets.faults("service", self.RECORDED, {"instructions": 900, "functions": {}}))
        self.assertIn("lower it", reported)


if __name__ == "__main__":
    unittest.main()
