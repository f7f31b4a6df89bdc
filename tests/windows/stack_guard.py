"""What happens to a program, built as the service is, that writes past a buffer on its stack."""

import unittest

import machine
import provision

# The lowest byte of STATUS_STACK_BUFFER_OVERRUN (0xC0000409): Wine passes no more of an exit code on.
STACK_BUFFER_OVERRUN = 0x09


class StackGuard(unittest.TestCase):
    world = None  # set by the runner

    def overrun(self, windows, number):
        status, text = windows.run_for_status(provision.TEST_FOLDER + "\\overrun.exe", str(number))
        return status, text.split()[0]

    def test_a_write_past_a_buffer_ends_the_process_and_the_guard_is_another_one_each_time(self):
        with machine.machine(self.world.wine, self.world.template, self.world.work / "stack-guard" / "prefix") as windows:
            provision.place(windows, self.world.programs.beside / "overrun.exe", provision.TEST_FOLDER + "\\overrun.exe")
            (first, guard), (second, another) = self.overrun(windows, 16), self.overrun(windows, 16)
            self.assertEqual((0, 0), (first, second))
            self.assertNotEqual(guard, another)
            # The lowest byte ends a string that overflows.
            self.assertEqual(["00", "00"], [guard[-2:], another[-2:]])
            self.assertEqual(STACK_BUFFER_OVERRUN, self.overrun(windows, 96)[0])


SUITES = (StackGuard,)
