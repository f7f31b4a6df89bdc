"""The runs of a sample on the tablet and under Wine, and the tests that every sample gets."""

import datetime
import re
import shutil
import unittest
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

import differences
import facts
import hosted
import machine
import provision
import session
import tablet_folder
import transcript

SERVICE_KEY = facts.SERVICE_KEY.lower()
PARAMETERS = facts.PARAMETERS_KEY.lower()
MODEM = facts.MODEM_CLASS_KEY.lower() + "\\0001"
STOP_POWER_PRESHUTDOWN = 0x141


@dataclass(frozen=True)
class World:
    """The programs and folders that the tests use."""

    wine: machine.Wine
    template: Path
    work: Path  # a folder for these tests only
    build: Path  # of Vantord.exe
    programs: provision.Programs
    vantord_tablet: Path
    readme: Path  # sim/winapi/README.md


class Runs:
    """The runs of one sample. Attributes without a number belong to the last run."""

    def __init__(self, world, suite):
        sample, called = suite.sample, suite.called or suite.sample
        self.work = world.work / called
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir(parents=True)
        self.tablet = hosted.make_tablet(world.vantord_tablet, self.work / "tablet", sample, suite.small)
        provision.name_the_links(self.tablet)
        shutil.copyfile(world.programs.executable, self.tablet.files()["windows\\system32\\vantord.exe"])
        suite.prepare(self.tablet, world.programs)
        self.differences = [row for row in differences.read(world.readme) if row.applies_to(called)]
        with machine.machine(world.wine, world.template, self.work / "prefix") as windows:
            provision.install_service(windows, world.programs)
            self.installed = provision.registry_of(windows, SERVICE_KEY)
            provision.provision(windows, self.tablet, world.programs)
            provision.place_libraries(windows, world.programs)
            self.each = []  # (run on the tablet, run under Wine) of every start
            for start in range(suite.starts):
                if start:
                    self._continue_with(self.hosted.saved)
                self._run(world, windows, self.work / f"start-{start}")
            self.left = suite.afterwards(windows)

    def _continue_with(self, tablet):
        """Windows was not restarted: the partner service still runs."""
        self.tablet = tablet
        self.tablet.change("partner.state", "running")

    def _run(self, world, windows, work):
        work.mkdir()
        self.hosted = hosted.HostedRun(world.vantord_tablet, self.tablet, work)
        self.began = datetime.datetime.now(datetime.UTC)
        here = session.Session(windows, self.tablet, world.programs)
        self.windows = here.run(self.hosted, self.differences)
        self.variables = here.variables(self.hosted.saved.variables().keys() | self.tablet.variables().keys())
        self.ended = datetime.datetime.now(datetime.UTC)
        self.each.append((self.hosted, self.windows))


def without_times(files):
    """A crash folder is named by the time, which differs between the worlds."""
    return {re.sub(r"cpcrash_\d{8}_\d{6}", "cpcrash_*", path): file for path, file in files.items()}


class SampleTest(unittest.TestCase):
    """Base of the tests of one sample."""

    world = None  # set by the runner
    sample = None
    small = True
    starts = 1  # starts of the service, one after another
    called = None  # the tablet's name in the table of differences, if not the sample's
    _runs = None

    @classmethod
    def prepare(cls, tablet, programs):
        """Changes the tablet before it is used in both worlds."""

    @classmethod
    def afterwards(cls, windows):
        """Uses the machine after the last run; the result is `runs.left`."""

    @property
    def runs(self):
        """The sample's runs, made for the first test that needs them; their error fails every test."""
        cls = type(self)
        if cls._runs is None:
            try:
                cls._runs = machine.with_retries(cls.called or cls.sample, lambda: Runs(cls.world, cls))
            except Exception as error:  # noqa: BLE001 - raised in each test of the class
                cls._runs = error
        if isinstance(cls._runs, Exception):
            raise cls._runs
        return cls._runs

    def changed_on_tablet(self):
        return tablet_folder.changed_files(self.runs.tablet, self.runs.hosted.saved)


class EverySample:
    """True for every tablet. A mix-in."""

    def test_the_service_logs_the_same_in_both_worlds(self):
        for start, (on_tablet, on_windows) in enumerate(self.runs.each, 1):
            self.assertTrue(on_windows.messages, "no message was captured")
            complaints = transcript.compare(on_tablet.messages(), on_windows.messages, self.runs.differences)
            if complaints:
                self.fail("\n".join((f"start {start}:", *complaints)))

    def test_the_service_manager_shows_the_same_statuses(self):
        for on_tablet, on_windows in self.runs.each:
            self.assertEqual(on_tablet.statuses(), on_windows.statuses)

    def test_the_partner_service_gets_the_same_controls(self):
        for on_tablet, on_windows in self.runs.each:
            self.assertEqual(on_tablet.partner(), on_windows.partner)

    def test_the_radio_gets_the_same_commands(self):
        for on_tablet, on_windows in self.runs.each:
            self.assertEqual(on_tablet.radio(), on_windows.radio)

    def test_the_same_files_change_in_the_same_way(self):
        on_tablet, on_windows = map(without_times, (self.changed_on_tablet(), self.runs.windows.files))
        paths = sorted(on_tablet.keys() | on_windows.keys())
        unlike = [path for path in paths if on_tablet.get(path) != on_windows.get(path)]
        if unlike:
            self.fail("\n".join(f"{path}: tablet {on_tablet.get(path)}, Wine {on_windows.get(path)}" for path in unlike))

    def test_the_registry_ends_the_same(self):
        on_tablet, on_windows = self.runs.hosted.saved.registry(), self.runs.windows.registry
        for key, values in on_tablet.items():
            for name, data in values.items():
                self.assertEqual(data, on_windows.get(key, {}).get(name), f"{key}: {name}")
        for key in on_windows:
            if key.startswith((PARAMETERS, MODEM)):
                self.assertEqual(on_tablet[key].keys(), on_windows[key].keys(), key)

    def test_the_drivers_get_the_same_requests(self):
        self.assertEqual(Counter(self.runs.hosted.requests()), Counter(self.runs.windows.arrivals["requests"]))

    def test_the_firmware_variables_end_the_same(self):
        self.assertEqual(self.runs.hosted.saved.variables(), self.runs.variables)


class ModemSample:
    """True for every tablet with a modem whose service is stopped. A mix-in."""

    def test_the_service_runs_and_stops_cleanly(self):
        self.assertEqual(
            [
                ("START_PENDING", 0, 0, 1),
                ("RUNNING", STOP_POWER_PRESHUTDOWN, 0, 0),
                ("STOP_PENDING", STOP_POWER_PRESHUTDOWN, 0, 2),
                ("STOPPED", 0, 0, 0),
            ],
            self.runs.windows.statuses,
        )
