"""The kit for real machines (kit/, docs/kit.md), under Wine: its answers, and that nothing of it stays."""

import json
import os
import pwd
import re
import shutil
import signal
import subprocess
import time
import unittest
import zipfile
from pathlib import Path

import facts
import hosted
import machine
import provision
import registry_text

FOLDER = "C:\\kit"
RESULTS = "C:\\results"
TEMPORARY = "vantord-check"
PROJECT = Path(__file__).resolve().parents[2]
WORLDS = PROJECT / "tests" / "worlds"
# These depend on whether root runs Wine.
OF_ROOT = {"read-only-as-root", "read-only-and-hidden"}
KEYS = ("HKEY_CURRENT_USER\\Software", "HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services")
# What the tests' own programs write.
OWN_FOLDERS = (RESULTS, provision.TEST_FOLDER)
# Windows' own writing while programs run.
OWN_WRITING = ("\\explorer", "\\thememanager", "\\wine\\", "\\sessions", "\\volatile")
IN_AN_EMULATOR = ("Files.", "Folders.", "PlainQuestions.", "AControlFromInsideAHandler")
BEGIN_SECONDS = 60
END_SECONDS = 60
FORGET_SECONDS = 10
RUN_SECONDS = 150


class Kit(unittest.TestCase):
    world = None  # set by the runner

    def machine(self, name):
        """A machine with the kit on it, as it is packed."""
        made = machine.machine(self.world.wine, self.world.template, self.world.work / name / "prefix")
        windows = made.__enter__()
        self.addCleanup(made.__exit__, None, None, None)
        shutil.copytree(self.world.build / "kit", windows.host_path(FOLDER))
        windows.host_path(RESULTS).mkdir()
        # Services that start with the first program would be a difference otherwise.
        windows.run("reg", "query", "HKEY_CURRENT_USER\\Software")
        return windows

    def make_a_test_device(self, windows):
        """A device with a modem, but neither Vantord nor its firmware, and with what Wine lacks for Vantord."""
        folder = self.world.work / "kit" / "tablet"
        shutil.rmtree(folder, ignore_errors=True)
        tablet = hosted.make_tablet(self.world.vantord_tablet, folder, "fresh", small=True)
        for folder in ("System32/modem_core", "ToastGenerator", "System32/DriverState/Services/QCCDI/Data/ssr_dumps"):
            shutil.rmtree(tablet.path / "C/Windows" / folder, ignore_errors=True)
        (tablet.path / "C/Windows/System32/Vantord.exe").unlink()
        provision.name_the_links(tablet)
        provision.provision(windows, tablet, self.world.programs)
        provision.place_libraries(windows, self.world.programs)
        windows.run("reg", "delete", facts.SERVICE_KEY, "/f")

    def script(self, windows, *words):
        """Exit code and output of run-check.cmd."""
        command = ("cmd", "/c", f"{FOLDER}\\run-check.cmd", *words)
        return machine.with_retries("run-check.cmd", lambda: windows.run_for_status(*command, seconds=RUN_SECONDS),
                                    after=machine.NotStarted)

    def state(self, windows):
        """Files of drive C: and the keys that a program of the kit could have left."""
        files = {
            (str(path.relative_to(windows.drive)), path.lstat().st_size if path.is_file() else None)
            for path in windows.drive.rglob("*")
            if not path.is_symlink() and not any(path.is_relative_to(windows.host_path(own)) for own in OWN_FOLDERS)
        }
        keys = {}
        for number, key in enumerate(KEYS):
            exported = f"{RESULTS}\\{number}.reg"
            windows.run("reg", "export", key, exported, "/y")
            registry_text.parse(registry_text.decode(windows.host_path(exported).read_bytes()), keys)
        return files, {key: values for key, values in keys.items() if not any(own in key for own in OWN_WRITING)}

    def compare_states(self, before, after):
        self.assertEqual(set(), before[0] ^ after[0], "files")
        changed = {key for key in before[1].keys() | after[1].keys() if before[1].get(key) != after[1].get(key)}
        self.assertEqual(set(), changed, "registry")

    def await_state(self, windows, wanted):
        """Compares the state, after the service manager has had time to forget a service whose handles were open."""
        end = time.monotonic() + FORGET_SECONDS * windows.wine.slowdown
        while self.state(windows) != wanted and time.monotonic() < end:
            time.sleep(0.2)
        self.compare_states(wanted, self.state(windows))

    def result(self, windows):
        (file,) = windows.host_path(RESULTS).glob("*.zip")
        return file

    def answers(self, file):
        document = json.loads(zipfile.ZipFile(file).read("result.json"))
        return {answer["question"]: answer["seen"] for answer in document["answers"]}, document

    def no_names_in(self, document):
        """Neither the user nor the computer is named in what was seen."""
        texts = [*document["facts"].values(), *(answer["seen"] for answer in document["answers"])]
        texts += [text for step in document["steps"] for text in step["texts"]] + [line["text"] for line in document["run"]]
        for name in (pwd.getpwuid(os.geteuid()).pw_name, os.uname().nodename, r"C:\\users"):
            self.assertEqual([], [text for text in texts if re.search(rf"\b{name}\b", text, re.I)])

    def check_run(self, lines):
        """What --run recorded of Vantord itself, on a machine without a modem."""
        by_kind = {}
        for line in lines:
            by_kind.setdefault(line["kind"], []).append(line["text"])
        self.assertNotIn("failed", by_kind, by_kind)
        states = [text.split(",")[0] for text in by_kind["status"]]
        self.assertIn("RUNNING", states, lines)
        self.assertEqual("STOPPED", states[-1], lines)
        # Wine delivers no trace.
        self.assertNotIn("trace", by_kind)

    def start(self, windows, words, begins):
        """vantord-check at work with these options, after `begins` is true; its process on this host."""
        environment = windows.wine.environment(windows.prefix)
        command = [*windows.wine.wine, f"{FOLDER}\\vantord-check.exe", "--yes", *words]
        run = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, start_new_session=True)
        self.addCleanup(run.wait)
        self.addCleanup(run.kill)
        end = time.monotonic() + BEGIN_SECONDS * windows.wine.slowdown
        while not begins():
            self.assertLess(time.monotonic(), end, "it does not begin")
            time.sleep(0.05)
        return run, self.parent(windows)

    def start_services(self, windows):
        """With its services installed and a test running."""

        def begins():
            notes = list(windows.drive.rglob(f"{TEMPORARY}/notes.txt"))
            return notes and "AControlAfterAStop" in notes[0].read_text()

        return self.start(windows, ["--service", "--only", "AControlAfterAStop"], begins)

    def start_vantord(self, windows):
        """With Vantord installed."""
        program = windows.host_path(provision.SYSTEM_FOLDER) / "Vantord.exe"
        return self.start(windows, ["--run", "--only", "none"], program.exists)

    def parent(self, windows):
        for process in windows.processes():
            words = Path(f"/proc/{process}/cmdline").read_bytes().split(b"\0")
            if b"--yes" in words and any(b"vantord-check" in word for word in words[:4]):
                return process
        self.fail("vantord-check does not run")

    def test_what_it_asks_is_answered_as_recorded_and_nothing_stays(self):
        """All modes; in an emulator a part of their tests."""
        windows = self.machine("kit")
        self.make_a_test_device(windows)
        before = self.state(windows)
        in_emulator = windows.wine.slowdown > 1
        only = [word for part in IN_AN_EMULATOR for word in ("--only", part)] if in_emulator else []
        status, output = self.script(windows, "--service", "--run", "--yes", "--output", RESULTS, *only)
        self.assertEqual(0, status, output)
        self.compare_states(before, self.state(windows))
        # Kept, for tests/worlds/.
        result = shutil.copy(self.result(windows), self.world.work / "kit")
        seen, document = self.answers(result)
        recorded, _ = self.answers(WORLDS / f"vantord-check-{document['machine']}.zip")
        self.assertEqual({}, {name: (recorded.get(name), answer) for name, answer in seen.items()
                              if name not in OF_ROOT and answer != recorded.get(name)})
        self.assertEqual(recorded.keys(), seen.keys())
        self.no_names_in(document)
        self.check_run(document["run"])

    def test_its_list_does_nothing_and_a_wrong_option_is_refused(self):
        windows = self.machine("kit-list")
        before = self.state(windows)
        status, output = self.script(windows, "--list")
        self.assertEqual(0, status, output)
        self.assertIn("serial-controls: A control that a service's handler sends to another service.", output)
        self.assertIn("files: a path may have 259 characters and a folder 247", output)
        self.assertEqual(2, self.script(windows, "--serviec")[0])
        self.compare_states(before, self.state(windows))

    def test_a_test_that_fails_dies_or_hangs_is_recorded_and_the_next_one_runs(self):
        windows = self.machine("kit-self-test")
        status, output = self.script(windows, "--self-test", "--output", RESULTS)
        self.assertEqual(0, status, output)
        seen, document = self.answers(self.result(windows))
        steps = {step["name"].removeprefix("Self."): step for step in document["steps"]}
        outcomes = {name: step["outcome"] for name, step in steps.items()}
        self.assertEqual({"Fails": "failed", "EndsItsProcess": "died", "DoesNotEnd": "timed out", "GoesOn": "passed"}, outcomes)
        self.assertEqual({"self-test": "a\tb\nc\\"}, seen)
        self.assertEqual(["the process ended with 0x00001234"], steps["EndsItsProcess"]["texts"])
        self.assertIn("<folder> of <user> on <computer>", steps["Fails"]["texts"][0])
        self.no_names_in(document)

    def test_ctrl_c_leaves_nothing(self):
        windows = self.machine("kit-interrupted")
        provision.place_libraries(windows, self.world.programs)
        before = self.state(windows)
        for start in (self.start_services, self.start_vantord):
            run, process = start(windows)
            os.kill(process, signal.SIGINT)
            run.wait(END_SECONDS * windows.wine.slowdown)
            self.await_state(windows, before)

    def test_what_a_killed_one_left_is_removed_by_the_next(self):
        windows = self.machine("kit-killed")
        provision.place_libraries(windows, self.world.programs)
        before = self.state(windows)
        for start in (self.start_services, self.start_vantord):
            run, process = start(windows)
            os.kill(process, signal.SIGKILL)
            run.wait(END_SECONDS * windows.wine.slowdown)
            self.assertTrue(before != self.state(windows), "nothing is left: nothing was killed")
            status, output = self.script(windows, "--clean")
            self.assertEqual(0, status, output)
            self.compare_states(before, self.state(windows))


SUITES = (Kit,)
