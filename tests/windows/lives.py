"""A sample's life in two worlds, and what every sample is tested for."""

import datetime
import re
import shutil
import unittest
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

import differences
import hosted
import machine
import provision
import session
import tablet_folder
import transcript

SERVICE_KEY = r"hkey_local_machine\system\currentcontrolset\services\vantord"
PARAMETERS = r"hkey_local_machine\system\currentcontrolset\services\vantord\parameters"
MODEM = r"hkey_local_machine\system\currentcontrolset\control\class\{4d36e97d-e325-11ce-bfc1-08002be10318}\0001"
STOP_POWER_PRESHUTDOWN = 0x141


@dataclass(frozen=True)
class World:
    """What the tests work with."""

    wine: machine.Wine
    template: Path
    work: Path  # a folder of the tests' own
    build: Path  # where Vantord.exe was built
    programs: provision.Programs
    vantord_tablet: Path
    readme: Path  # sim/winapi/README.md


class Runs:
    """The lives of one sample, led when the first test asks for them. Without another word the last one is meant."""

    def __init__(self, world, suite):
        sample, called = suite.sample, suite.called or suite.sample
        self.work = world.work / called
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir(parents=True)
        self.tablet = hosted.make_tablet(world.vantord_tablet, self.work / "tablet", sample, suite.small)
        provision.name_the_links(self.tablet)
        shutil.copyfile(world.programs.executable, self.tablet.files()["windows\\system32\\vantord.exe"])
        suite.prepare(self.tablet, world.programs)
        self.differences = [row for row in differences.read(world.readme) if row.holds_for(called)]
        with machine.machine(world.wine, world.template, self.work / "prefix") as windows:
            provision.install_service(windows, world.programs)
            self.installed = provision.registry_of(windows, SERVICE_KEY)
            provision.provision(windows, self.tablet, world.programs)
            provision.place_libraries(windows, world.programs)
            self.each = []  # (life on the tablet, life under Wine) of every start
            for start in range(suite.starts):
                if start:
                    self._go_on_with(self.hosted.saved)
                self._live(world, windows, self.work / f"start-{start}")
            self.left = suite.afterwards(windows)

    def _go_on_with(self, tablet):
        """Windows was not started anew, so that the partner service still runs."""
        self.tablet = tablet
        self.tablet.change("partner.state", "running")

    def _live(self, world, windows, work):
        work.mkdir()
        self.hosted = hosted.HostedLife(world.vantord_tablet, self.tablet, work)
        self.began = datetime.datetime.now(datetime.UTC)
        here = session.Session(windows, self.tablet, world.programs)
        self.windows = here.live(self.hosted, self.differences)
        self.variables = here.variables(self.hosted.saved.variables().keys() | self.tablet.variables().keys())
        self.ended = datetime.datetime.now(datetime.UTC)
        self.each.append((self.hosted, self.windows))


def without_times(files):
    """The folder of a crash is named by the time, which is another one in each world."""
    return {re.sub(r"cpcrash_\d{8}_\d{6}", "cpcrash_*", path): file for path, file in files.items()}


class SampleTest(unittest.TestCase):
    """The tests that every sample gets; a class for one sample names it and adds its own."""

    world = None  # set by the runner
    sample = None
    small = True
    starts = 1  # how often the service is started, one after another
    called = None  # the tablet's name in the table of differences, if not the sample's
    _lives = None

    @classmethod
    def prepare(cls, tablet, programs):
        """Changes the tablet before it is used in both worlds."""

    @classmethod
    def afterwards(cls, windows):
        """Happens to the machine when its lives are over; what it gives is in `lives.left`."""

    @property
    def lives(self):
        """The sample's lives; whatever went wrong in them is every test's failure."""
        cls = type(self)
        if cls._lives is None:
            try:
                cls._lives = machine.lead(cls.called or cls.sample, lambda: Runs(cls.world, cls))
            except Exception as error:  # noqa: BLE001 - told by each test of the class
                cls._lives = error
        if isinstance(cls._lives, Exception):
            raise cls._lives
        return cls._lives

    def changed_on_tablet(self):
        return tablet_folder.changed_files(self.lives.tablet, self.lives.hosted.saved)


class EverySample:
    """Holds for every tablet. Not a test by itself."""

    def test_the_service_says_the_same_in_both_worlds(self):
        lives = self.lives
        for start, (on_tablet, on_windows) in enumerate(lives.each, 1):
            self.assertTrue(on_windows.messages, "nothing was captured")
            complaints = transcript.compare(on_tablet.messages(), on_windows.messages, lives.differences)
            if complaints:
                self.fail("\n".join((f"start {start}:", *complaints)))

    def test_the_service_manager_shows_the_same_statuses(self):
        for on_tablet, on_windows in self.lives.each:
            self.assertEqual(on_tablet.statuses(), on_windows.statuses)

    def test_the_partner_service_is_told_the_same(self):
        for on_tablet, on_windows in self.lives.each:
            self.assertEqual(on_tablet.partner(), on_windows.partner)

    def test_the_radio_is_told_the_same(self):
        for on_tablet, on_windows in self.lives.each:
            self.assertEqual(on_tablet.radio(), on_windows.radio)

    def test_the_same_files_change_in_the_same_way(self):
        on_tablet, on_windows = map(without_times, (self.changed_on_tablet(), self.lives.windows.files))
        paths = sorted(on_tablet.keys() | on_windows.keys())
        unlike = [path for path in paths if on_tablet.get(path) != on_windows.get(path)]
        if unlike:
            self.fail("\n".join(f"{path}: tablet {on_tablet.get(path)}, Wine {on_windows.get(path)}" for path in unlike))

    def test_the_registry_ends_the_same(self):
        on_tablet, on_windows = self.lives.hosted.saved.registry(), self.lives.windows.registry
        for key, values in on_tablet.items():
            for name, data in values.items():
                self.assertEqual(data, on_windows.get(key, {}).get(name), f"{key}: {name}")
        for key in on_windows:
            if key.startswith((PARAMETERS, MODEM)):
                self.assertEqual(on_tablet[key].keys(), on_windows[key].keys(), key)

    def test_the_drivers_get_the_same_requests(self):
        self.assertEqual(Counter(self.lives.hosted.requests()), Counter(self.lives.windows.arrivals["requests"]))

    def test_the_firmware_variables_end_the_same(self):
        self.assertEqual(self.lives.hosted.saved.variables(), self.lives.variables)


class ModemSample:
    """Holds for every tablet with a modem that is stopped by the service manager. Not a test by itself."""

    def test_the_service_runs_and_stops_cleanly(self):
        self.assertEqual(
            [
                ("START_PENDING", 0, 0, 1),
                ("RUNNING", STOP_POWER_PRESHUTDOWN, 0, 0),
                ("STOP_PENDING", STOP_POWER_PRESHUTDOWN, 0, 2),
                ("STOPPED", 0, 0, 0),
            ],
            self.lives.windows.statuses,
        )
