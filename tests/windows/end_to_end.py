"""Lives of the shipped Vantord.exe under a real service manager, registry and file system."""

import datetime
import hashlib
import re
import shutil
import sys
import unittest
import zipfile
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
from tablet_folder import DIRECTORY, HIDDEN

sys.path.append(str(Path(__file__).resolve().parents[1] / "package"))
from inf import Inf  # noqa: E402

SERVICE_KEY = r"hkey_local_machine\system\currentcontrolset\services\vantord"
PARAMETERS = r"hkey_local_machine\system\currentcontrolset\services\vantord\parameters"
MODEM = r"hkey_local_machine\system\currentcontrolset\control\class\{4d36e97d-e325-11ce-bfc1-08002be10318}\0001"
MODEM_CORE = "windows\\system32\\modem_core"
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
    readme: Path  # platform/README.md


class Lives:
    """One life of each sample, led when the first test asks for it."""

    def __init__(self, world, sample, small, called, prepare):
        self.work = world.work / called
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir(parents=True)
        self.tablet = hosted.make_tablet(world.vantord_tablet, self.work / "tablet", sample, small)
        provision.name_the_links(self.tablet)
        shutil.copyfile(world.programs.executable, self.tablet.files()["windows\\system32\\vantord.exe"])
        prepare(self.tablet, world.programs)
        self.differences = [row for row in differences.read(world.readme) if row.holds_for(called)]
        self.hosted = hosted.HostedLife(world.vantord_tablet, self.tablet, self.work)
        with machine.machine(world.wine, world.template, self.work / "prefix") as windows:
            provision.install_service(windows, world.programs)
            self.installed = provision.registry_of(windows, SERVICE_KEY)
            provision.provision(windows, self.tablet, world.programs)
            provision.place_libraries(windows, world.programs)
            self.began = datetime.datetime.now(datetime.UTC)
            here = session.Session(windows, self.tablet, world.programs)
            self.windows = here.live(self.hosted, self.differences)
            self.variables = here.variables(self.hosted.saved.variables().keys() | self.tablet.variables().keys())
            self.ended = datetime.datetime.now(datetime.UTC)


def without_times(files):
    """The folder of a crash is named by the time, which is another one in each world."""
    return {re.sub(r"cpcrash_\d{8}_\d{6}", "cpcrash_*", path): file for path, file in files.items()}


class SampleTest(unittest.TestCase):
    """The tests that every sample gets; a class for one sample names it and adds its own."""

    world = None  # set by the runner
    sample = None
    small = True
    called = None  # the tablet's name in the table of differences, if not the sample's
    _lives = None

    @classmethod
    def prepare(cls, tablet, programs):
        """Changes the tablet before it is used in both worlds."""

    @property
    def lives(self):
        """The sample's lives; whatever went wrong in them is every test's failure."""
        cls = type(self)
        if cls._lives is None:
            try:
                called = cls.called or cls.sample
                cls._lives = machine.lead(
                    called, lambda: Lives(cls.world, cls.sample, cls.small, called, cls.prepare)
                )
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
        self.assertTrue(lives.windows.messages, "nothing was captured")
        complaints = transcript.compare(lives.hosted.messages(), lives.windows.messages, lives.differences)
        if complaints:
            self.fail("\n".join(complaints))

    def test_the_service_manager_shows_the_same_statuses(self):
        self.assertEqual(self.lives.hosted.statuses(), self.lives.windows.statuses)

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


class Fresh(SampleTest, EverySample, ModemSample):
    sample = "fresh"
    small = False

    @classmethod
    def prepare(cls, tablet, _):
        text = f'Windows Registry Editor Version 5.00\n\n[{PARAMETERS}]\n"Distribute"=dword:00000001\n'
        (tablet.path / "registry" / "50-distribute.reg").write_text(text)

    def test_set_up_installs_what_the_package_says(self):
        installed = self.lives.installed
        values = {name: installed[SERVICE_KEY][name] for name in ("type", "start", "errorcontrol", "imagepath")}
        text = "C:\\windows\\system32\\Vantord.exe\0".encode("utf-16-le")
        numbers = {name: (4, number.to_bytes(4, "little")) for name, number in (("type", 16), ("start", 2), ("errorcontrol", 1))}
        self.assertEqual(numbers | {"imagepath": values["imagepath"]}, values)
        self.assertEqual(text.lower(), values["imagepath"][1].lower())
        written = Inf((self.world.programs.package / "vantord.inf").read_text()).registry("Vantord_Registry")
        self.assertGreater(len(written), 8)
        for (key, name), (flags, value) in written.items():
            found = installed[SERVICE_KEY + ("\\" + key.lower() if key else "")]
            if flags == 0x10001:
                self.assertEqual((4, int(value).to_bytes(4, "little")), found[name.lower()], name)
            elif value is not None:
                self.assertEqual((1, (value + "\0").encode("utf-16-le")), found[name.lower()], f"{key} {name}")

    def test_the_deployed_files_equal_the_archive(self):
        deployed = 0
        with zipfile.ZipFile(self.lives.tablet.files()[MODEM_CORE + "\\vzw.bin"]) as archive:
            for entry in archive.infolist():
                path = ("windows\\system32\\" + entry.filename.replace("/", "\\")).rstrip("\\").lower()
                file = self.lives.windows.files[path]
                if entry.is_dir():
                    self.assertEqual(DIRECTORY, file.attributes & DIRECTORY, path)
                else:
                    self.assertEqual(hashlib.sha256(archive.read(entry)).hexdigest(), file.digest, path)
                    deployed += 1
        self.assertGreater(deployed, 10)

    def test_the_archives_are_hidden(self):
        files = self.lives.windows.files
        self.assertEqual(HIDDEN | DIRECTORY, files[MODEM_CORE].attributes)
        for name in ("att.bin", "kor.bin", "vzw.bin"):
            self.assertEqual(HIDDEN, files[f"{MODEM_CORE}\\{name}"].attributes, name)

    def test_the_modems_driver_is_pointed_at_the_new_images(self):
        values = self.lives.windows.registry[MODEM]
        self.assertEqual("\\SystemRoot\\System32\\qcdsp1v2850.mbn\0", values["amssfwimagepath"][1].decode("utf-16-le"))
        self.assertEqual("\\SystemRoot\\System32\\qcdsp2850.mbn\0", values["amssswimagepath"][1].decode("utf-16-le"))

    def test_the_request_to_distribute_is_gone(self):
        self.assertIn("distribute", self.lives.tablet.registry()[PARAMETERS])
        self.assertNotIn("distribute", self.lives.windows.registry[PARAMETERS])


class WifiOnly(SampleTest, EverySample):
    sample = "wifi-only"

    def test_the_service_stops_by_itself_with_success(self):
        self.assertEqual([("START_PENDING", 0, 0, 1), ("STOPPED", 0, 0, 0)], self.lives.windows.statuses)

    def test_nothing_changes(self):
        self.assertEqual({}, self.lives.windows.files)


class AlreadyDeployed(SampleTest, EverySample, ModemSample):
    sample = "already-deployed"

    def test_no_file_changes(self):
        self.assertEqual({}, self.lives.windows.files)


class CrashedModem(SampleTest, EverySample, ModemSample):
    sample = "crashed-modem"
    dumps = "windows\\system32\\driverstate\\services\\qccdi\\data\\ssr_dumps"
    logs = "users\\public\\documents\\retaillog"

    @classmethod
    def prepare(cls, tablet, programs):
        shutil.copyfile(programs.beside / "toast.exe", tablet.files()["windows\\toastgenerator\\toastgenerator.exe"])

    def test_the_dumps_are_moved_into_a_folder_named_by_the_time_in_utc(self):
        files = self.lives.windows.files
        (folder,) = {path.split("\\")[4] for path in files if path.startswith(self.logs + "\\")}
        time = datetime.datetime.strptime(folder, "cpcrash_%Y%m%d_%H%M%S").replace(tzinfo=datetime.UTC)
        self.assertLessEqual(self.lives.began, time + datetime.timedelta(seconds=1))
        self.assertLessEqual(time, self.lives.ended)
        before = self.lives.tablet.files()
        for name in ("modem.dmp", "reason.txt"):
            self.assertIsNone(files[f"{self.dumps}\\{name}"], name)
            digest = hashlib.sha256(before[f"{self.dumps}\\{name}"].read_bytes()).hexdigest()
            self.assertEqual(digest, files[f"{self.logs}\\{folder}\\{name}"].digest, name)

    def test_the_user_is_told_once_in_the_session_of_winlogon(self):
        program = "C:\\Windows\\ToastGenerator\\ToastGenerator.exe"
        self.assertEqual(1, len(self.lives.windows.toasts))
        toast = self.lives.windows.toasts[0]
        self.assertEqual(program.lower(), toast["program"].lower())
        self.assertEqual((" CPCrash", 1), (toast["command_line"], toast["session"]))


class OobeThenDesktop(SampleTest, EverySample, ModemSample):
    sample = "oobe-then-desktop"

    def test_the_modem_is_reset_once_by_the_whole_request(self):
        arrivals = self.lives.windows.arrivals
        self.assertEqual(1, arrivals["requests"].count(0x9CA30C00))
        self.assertEqual(bytes(1040) + b"\x01\x00", bytes.fromhex(arrivals["reset"]))


class NobodyLoggedOn(SampleTest, EverySample, ModemSample):
    sample = "crashed-nobody-logged-on"

    def test_the_dumps_are_moved_and_nobody_is_told(self):
        moved = [path for path in self.lives.windows.files if path.endswith("\\modem.dmp")]
        self.assertEqual(2, len(moved), "its old place and its new one")
        self.assertEqual([], self.lives.windows.toasts)


class NoAmssDriver(SampleTest, EverySample, ModemSample):
    sample = "no-amss-driver"

    def test_no_reset_arrives(self):
        self.assertEqual(0, self.lives.windows.arrivals["statistics_opened"])
        self.assertEqual("", self.lives.windows.arrivals["reset"])


class Controls(SampleTest, EverySample):
    sample = "already-deployed"
    called = "controls"

    @classmethod
    def prepare(cls, tablet, _):
        events = [
            {"event": "display", "state": "off"},
            {"event": "suspend"},
            {"event": "resume"},
            {"event": "power", "type": 10},
            {"event": "display", "state": "dimmed"},
            {"event": "display", "state": "on"},
            {"event": "arrival", "link": provision.USB_LINK},
            {"event": "removal", "link": provision.USB_LINK},
            *({"event": "control", "control": number} for number in (130, 131, 132, 133, 134, 200)),
            {"event": "interrogate"},
            {"event": "preshutdown"},
        ]
        tablet.change("timeline", [{"at_ms": 3000 + 100 * i, **event} for i, event in enumerate(events)])

    def test_the_service_ends_on_a_preshutdown_notice(self):
        self.assertEqual(
            [("STOP_PENDING", STOP_POWER_PRESHUTDOWN, 0, 2), ("STOPPED", 0, 0, 0)], self.lives.windows.statuses[-2:]
        )


class Korean(SampleTest, EverySample, ModemSample):
    sample = "korean"


class ByImageId(SampleTest, EverySample, ModemSample):
    sample = "by-image-id"


class ByFirmwareId(SampleTest, EverySample, ModemSample):
    sample = "by-firmware-id"


class DefaultImage(SampleTest, EverySample, ModemSample):
    sample = "default-image"


class Redistribute(SampleTest, EverySample, ModemSample):
    sample = "redistribute"

    def test_the_same_files_change_in_the_same_way(self):
        """On the tablet a file counts as unchanged that is written once more as it was."""
        changed, before = self.changed_on_tablet(), self.lives.tablet.files()
        self.assertIn("windows\\system32\\qcdsp1v2850.mbn", self.lives.windows.files)
        for path, file in self.lives.windows.files.items():
            if path in changed:
                self.assertEqual(changed[path], file, path)
            else:
                self.assertEqual(hashlib.sha256(before[path].read_bytes()).hexdigest(), file.digest, path)

    def test_the_request_to_distribute_is_gone(self):
        self.assertNotIn("distribute", self.lives.windows.registry[PARAMETERS])


class FactoryAudit(SampleTest, EverySample, ModemSample):
    sample = "factory-audit"

    def test_the_image_id_is_written_back_as_ten_bytes(self):
        (written,) = [data for key, data in self.lives.variables.items() if "ModemImageID" in str(key)]
        self.assertEqual(10, len(written))


class CorruptArchive(SampleTest, EverySample, ModemSample):
    sample = "corrupt-archive"


class MissingArchive(SampleTest, EverySample, ModemSample):
    sample = "missing-archive"


# The longest ones first.
SUITES = (
    *(WifiOnly, OobeThenDesktop, NobodyLoggedOn, Controls, Fresh, CrashedModem, NoAmssDriver, AlreadyDeployed),
    *(Korean, ByImageId, ByFirmwareId, DefaultImage, Redistribute, FactoryAudit, CorruptArchive, MissingArchive),
)
