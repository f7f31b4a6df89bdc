"""No process of Wine remains, however a test run ends."""

import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

import machine

PROGRAM = Path(__file__).resolve().parent / "run.py"
UP_SECONDS = 60
DOWN_SECONDS = 40


class Endings(unittest.TestCase):
    world = None  # set by the runner

    def start_a_run(self, name):
        """A run of run.py with a running service, and its machine."""
        work = self.world.work / name
        used = machine.Machine(self.world.wine, work / "wifi-only" / "prefix")
        machine.remove(self.world.wine, used.prefix)
        words = ["--build", self.world.build, "--hosted", self.world.vantord_tablet.parent, "--work", work]
        words += ["--wine", " ".join(self.world.wine.wine), "--wineserver", " ".join(self.world.wine.wineserver)]
        run = subprocess.Popen(
            [sys.executable, str(PROGRAM), *map(str, words), "WifiOnly"],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            start_new_session=True,
        )
        self.addCleanup(self.end, run, used)
        end = time.monotonic() + UP_SECONDS
        record = used.drive / "vantord-test" / "record.jsonl"
        while not (record.exists() and record.stat().st_size) and time.monotonic() < end:
            time.sleep(0.05)
        self.assertIsNone(run.poll(), "the run ended early")
        self.assertGreater(len(list(used.processes())), 3, "the service does not run")
        return run, used

    def end(self, run, used):
        run.kill()
        run.wait()
        machine.remove(self.world.wine, used.prefix)

    def test_ctrl_c_leaves_no_process_and_no_prefix(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            run, used = self.start_a_run(f"ended-by-{number.name.lower()}")
            run.send_signal(number)
            self.assertEqual(130, run.wait(DOWN_SECONDS))
            self.assertEqual([], list(used.processes()))
            self.assertFalse(used.prefix.exists())

    def test_the_next_run_removes_what_a_killed_one_left(self):
        run, used = self.start_a_run("killed")
        run.kill()
        run.wait()
        self.assertNotEqual([], list(used.processes()), "nothing was left")
        with machine.machine(self.world.wine, self.world.template, used.prefix) as again:
            self.assertFalse((again.drive / "vantord-test").exists())
        self.assertEqual([], list(used.processes()))

    def test_a_test_that_fails_leaves_no_process(self):
        prefix = self.world.work / "failing" / "prefix"
        with self.assertRaisesRegex(machine.MachineError, "ended with 1"):
            with machine.machine(self.world.wine, self.world.template, prefix) as failing:
                self.assertTrue(list(failing.processes()))
                failing.run("cmd", "/c", "exit 1")
        self.assertEqual([], list(failing.processes()))
        self.assertFalse(prefix.exists())

    def test_a_program_that_does_not_end_is_killed(self):
        prefix = self.world.work / "hanging" / "prefix"
        with self.assertRaisesRegex(machine.MachineError, "took longer than 2 s"):
            with machine.machine(self.world.wine, self.world.template, prefix) as hanging:
                hanging.run("cmd", "/c", "ping -n 60 127.0.0.1 >nul & exit 0", seconds=2)
        self.assertEqual([], list(hanging.processes()))


SUITES = (Endings,)
