"""Runs of the shipped Vantord.exe with a real service manager, registry and file system."""

import datetime
import hashlib
import re
import shutil
import subprocess
import sys
import unittest
import zipfile
from dataclasses import replace
from pathlib import Path

import facts
import provision
from sample_test import MODEM, PARAMETERS, SERVICE_KEY, STOP_POWER_PRESHUTDOWN, EverySample, ModemSample, SampleTest
from tablet_folder import DIRECTORY, HIDDEN, READ_ONLY, TabletFolder

sys.path.append(str(Path(__file__).resolve().parent / "package"))
from inf import Inf  # noqa: E402

DRIVE = "c:\\"
MODEM_CORE = facts.ARCHIVE_FOLDER.lower().removeprefix(DRIVE)
IMAGE = "windows\\system32\\" + facts.FIRMWARE_PATH.rpartition("\\")[2]
TOAST_PROGRAM = facts.TOAST_PROGRAM.lower()


class Fresh(SampleTest, EverySample, ModemSample):
    sample = "fresh"
    small = False

    @classmethod
    def prepare(cls, tablet, _):
        text = f'Windows Registry Editor Version 5.00\n\n[{PARAMETERS}]\n"Distribute"=dword:00000001\n'
        (tablet.path / "registry" / "50-distribute.reg").write_text(text)

    def test_setup_installs_what_the_package_lists(self):
        installed = self.runs.installed
        values = {name: installed[SERVICE_KEY][name] for name in ("type", "start", "errorcontrol", "imagepath")}
        text = "C:\\windows\\system32\\Vantord.exe\0".encode("utf-16-le")
        numbers = {name: (4, number.to_bytes(4, "little")) for name, number in (("type", 16), ("start", 2), ("errorcontrol", 1))}
        self.assertEqual(numbers | {"imagepath": values["imagepath"]}, values)
        self.assertEqual(text.lower(), values["imagepath"][1].lower())
        written = Inf((self.world.programs.package / "standalone" / "vantord.inf").read_text()).registry("Vantord_Registry")
        self.assertGreater(len(written), 8)
        for (key, name), (flags, value) in written.items():
            found = installed[SERVICE_KEY + ("\\" + key.lower() if key else "")]
            if flags == 0x10001:
                self.assertEqual((4, int(value).to_bytes(4, "little")), found[name.lower()], name)
            elif value is not None:
                self.assertEqual((1, (value + "\0").encode("utf-16-le")), found[name.lower()], f"{key} {name}")

    def test_the_deployed_files_equal_the_archive(self):
        deployed = 0
        with zipfile.ZipFile(self.runs.tablet.files()[MODEM_CORE + "\\vzw.bin"]) as archive:
            for entry in archive.infolist():
                path = ("windows\\system32\\" + entry.filename.replace("/", "\\")).rstrip("\\").lower()
                file = self.runs.windows.files[path]
                if entry.is_dir():
                    self.assertEqual(DIRECTORY, file.attributes & DIRECTORY, path)
                else:
                    self.assertEqual(hashlib.sha256(archive.read(entry)).hexdigest(), file.digest, path)
                    deployed += 1
        self.assertGreater(deployed, 10)

    def test_the_archives_are_hidden(self):
        files = self.runs.windows.files
        self.assertEqual(HIDDEN | DIRECTORY, files[MODEM_CORE].attributes)
        for name in ("att.bin", "kor.bin", "vzw.bin"):
            self.assertEqual(HIDDEN, files[f"{MODEM_CORE}\\{name}"].attributes, name)

    def test_the_modems_driver_gets_the_paths_of_the_new_images(self):
        values = self.runs.windows.registry[MODEM]
        self.assertEqual(facts.FIRMWARE_PATH + "\0", values["amssfwimagepath"][1].decode("utf-16-le"))
        self.assertEqual(facts.SOFTWARE_PATH + "\0", values["amssswimagepath"][1].decode("utf-16-le"))

    def test_the_request_to_distribute_is_gone(self):
        self.assertIn("distribute", self.runs.tablet.registry()[PARAMETERS])
        self.assertNotIn("distribute", self.runs.windows.registry[PARAMETERS])


class WifiOnly(SampleTest, EverySample):
    sample = "wifi-only"

    def test_the_service_stops_by_itself_with_success(self):
        self.assertEqual([("START_PENDING", 0, 0, 1), ("STOPPED", 0, 0, 0)], self.runs.windows.statuses)

    def test_nothing_changes(self):
        self.assertEqual({}, self.runs.windows.files)


class AlreadyDeployed(SampleTest, EverySample, ModemSample):
    sample = "already-deployed"

    @classmethod
    def afterwards(cls, windows):
        """Removes the package after the service has stopped."""
        before = set(windows.drive.rglob("*"))
        provision.remove_service(windows)
        status, _ = windows.run_for_status("reg", "query", SERVICE_KEY.replace("hkey_local_machine", "HKLM"))
        return status, {path.name for path in before - set(windows.drive.rglob("*"))}

    def test_no_file_changes(self):
        self.assertEqual({}, self.runs.windows.files)

    def test_setup_removes_what_it_installed_and_nothing_else(self):
        status_of_key, removed_files = self.runs.left
        self.assertIn(SERVICE_KEY, self.runs.installed)
        self.assertEqual((1, {"Vantord.exe"}), (status_of_key, removed_files))


class CrashedModem(SampleTest, EverySample, ModemSample):
    sample = "crashed-modem"
    dumps = facts.DUMP_FOLDER.lower().removeprefix(DRIVE)
    logs = "users\\public\\documents\\retaillog"

    @classmethod
    def prepare(cls, tablet, programs):
        shutil.copyfile(programs.beside / "toast.exe", tablet.files()[TOAST_PROGRAM.removeprefix(DRIVE)])

    def test_the_dumps_are_moved_into_a_folder_named_by_the_time_in_utc(self):
        files = self.runs.windows.files
        (folder,) = {path.split("\\")[4] for path in files if path.startswith(self.logs + "\\")}
        time = datetime.datetime.strptime(folder, "cpcrash_%Y%m%d_%H%M%S").replace(tzinfo=datetime.UTC)
        self.assertLessEqual(self.runs.began, time + datetime.timedelta(seconds=1))
        self.assertLessEqual(time, self.runs.ended)
        before = self.runs.tablet.files()
        for name in ("modem.dmp", "reason.txt"):
            self.assertIsNone(files[f"{self.dumps}\\{name}"], name)
            digest = hashlib.sha256(before[f"{self.dumps}\\{name}"].read_bytes()).hexdigest()
            self.assertEqual(digest, files[f"{self.logs}\\{folder}\\{name}"].digest, name)

    def test_the_user_is_notified_once_in_the_session_of_winlogon(self):
        self.assertEqual(1, len(self.runs.windows.toasts))
        toast = self.runs.windows.toasts[0]
        self.assertEqual(TOAST_PROGRAM, toast["program"].lower())
        self.assertEqual((facts.TOAST_COMMAND_LINE, 1), (toast["command_line"], toast["session"]))


class OobeThenDesktop(SampleTest, EverySample, ModemSample):
    sample = "oobe-then-desktop"

    def test_the_modem_gets_one_complete_reset_request(self):
        arrivals = self.runs.windows.arrivals
        self.assertEqual(1, arrivals["requests"].count(0x9CA30C00))
        self.assertEqual(bytes(1040) + b"\x01\x00", bytes.fromhex(arrivals["reset"]))


class NobodyLoggedOn(SampleTest, EverySample, ModemSample):
    sample = "crashed-nobody-logged-on"

    @classmethod
    def afterwards(cls, windows):
        """Collects what is on the machine, and imports that."""
        script = (Path(__file__).resolve().parents[2] / "package/collect-tablet.cmd").read_text()
        (windows.drive / "collect-tablet.cmd").write_bytes(script.replace("\n", "\r\n").encode("ascii"))
        windows.run("reg", "add", r"HKLM\SYSTEM\Select", "/v", "Current", "/t", "REG_DWORD", "/d", "1", "/f")
        windows.run("cmd", "/c", r"C:\collect-tablet.cmd", r"C:\collected")
        imported = cls.world.work / cls.sample / "imported"
        subprocess.run([cls.world.vantord_tablet, "import", windows.drive / "collected", imported], check=True,
                       capture_output=True)
        return TabletFolder(imported)

    def test_what_is_collected_there_becomes_the_same_tablet(self):
        collected, there = self.runs.left.registry(), self.runs.windows.registry
        keys = [key for key in there if key.startswith((SERVICE_KEY, MODEM))]
        self.assertGreater(len(keys), 3)
        for key in keys:
            self.assertEqual(there[key], collected[key.replace("currentcontrolset", "controlset001")], key)
        files, before = self.runs.left.files(), self.runs.tablet.files()
        for name in ("att.bin", "kor.bin", "vzw.bin"):
            path = f"{MODEM_CORE}\\{name}"
            self.assertEqual(before[path].read_bytes(), files[path].read_bytes(), name)

    def test_the_dumps_are_moved_without_a_notification(self):
        moved = [path for path in self.runs.windows.files if path.endswith("\\modem.dmp")]
        self.assertEqual(2, len(moved), "its old place and its new one")
        self.assertEqual([], self.runs.windows.toasts)


class NoAmssDriver(SampleTest, EverySample, ModemSample):
    sample = "no-amss-driver"

    def test_no_reset_arrives(self):
        self.assertEqual(0, self.runs.windows.arrivals["statistics_opened"])
        self.assertEqual("", self.runs.windows.arrivals["reset"])


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

    def test_the_partner_service_is_started_and_gets_the_suspend_control(self):
        partner = self.runs.windows.partner
        self.assertEqual(["is started", "receives control 134"], partner[:2])

    def test_the_radio_gets_the_shutdown_command_and_completes_it(self):
        self.assertIn("receives the command with value 1", self.runs.windows.radio)
        self.assertIn("RCB: (+)", [message.text for message in self.runs.windows.messages])

    def test_the_service_ends_on_a_preshutdown_notice(self):
        self.assertEqual(
            [("STOP_PENDING", STOP_POWER_PRESHUTDOWN, 0, 2), ("STOPPED", 0, 0, 0)], self.runs.windows.statuses[-2:]
        )


class ByFirmwareId(SampleTest, EverySample, ModemSample):
    sample = "by-firmware-id"

    def test_the_firmware_variable_names_the_archive(self):
        (variable,) = [data for key, data in self.runs.variables.items() if "ModemImageID" in key]
        self.assertEqual(b"KOR", variable)
        texts = {message.text for message in self.runs.windows.messages}
        self.assertIn("CImageSelector::GetUEFIModemID:164 : UEFI Modem Image ID = KOR!!!", texts)
        with zipfile.ZipFile(self.runs.tablet.files()[MODEM_CORE + "\\kor.bin"]) as archive:
            image = archive.read(IMAGE.rpartition("\\")[2])
        deployed = self.runs.windows.files[IMAGE]
        self.assertEqual(hashlib.sha256(image).hexdigest(), deployed.digest)


class Redistribute(SampleTest, EverySample, ModemSample):
    sample = "redistribute"

    def test_the_same_files_change_in_the_same_way(self):
        """On the tablet a file that is rewritten with the same content counts as unchanged."""
        changed, before = self.changed_on_tablet(), self.runs.tablet.files()
        self.assertIn(IMAGE, self.runs.windows.files)
        for path, file in self.runs.windows.files.items():
            if path in changed:
                self.assertEqual(changed[path], file, path)
            else:
                self.assertEqual(hashlib.sha256(before[path].read_bytes()).hexdigest(), file.digest, path)

    def test_the_request_to_distribute_is_gone(self):
        self.assertNotIn("distribute", self.runs.windows.registry[PARAMETERS])


class FactoryAudit(SampleTest, EverySample, ModemSample):
    sample = "factory-audit"

    def test_the_image_id_is_written_back_as_ten_bytes(self):
        (written,) = [data for key, data in self.runs.variables.items() if "ModemImageID" in str(key)]
        self.assertEqual(10, len(written))


class LateModem(SampleTest, EverySample, ModemSample):
    sample = "late-modem"

    def test_the_service_looks_for_the_modem_until_it_arrives(self):
        texts = [message.text for message in self.runs.windows.messages]
        looks = sum(text.endswith("Failed to open DeviceInterfaceFunc, error - 3") for text in texts)
        self.assertGreaterEqual(looks, 8)
        self.assertLess(looks, 40)


class Oobe(SampleTest, EverySample, ModemSample):
    """Setup does not end: the service checks every 5 seconds until it is stopped."""

    sample = "oobe"

    @classmethod
    def prepare(cls, tablet, _):
        tablet.change("timeline", [{"at_ms": 7000, "event": "stop"}])

    def test_no_reset_arrives(self):
        self.assertEqual("", self.runs.windows.arrivals["reset"])


class OobeFactory(Oobe):
    sample = "oobe-factory"


class ReadOnlyLeftovers(SampleTest, EverySample, ModemSample):
    sample = "read-only-leftovers"

    def test_the_same_files_change_in_the_same_way(self):
        """Windows and the tablet make a replaced file read-only if the archive says so. Wine does not."""
        before, expected = self.runs.tablet.files(), self.changed_on_tablet()
        for path in expected.keys() & before.keys():
            if not expected[path].attributes & DIRECTORY:
                expected[path] = replace(expected[path], attributes=expected[path].attributes & ~READ_ONLY)
        self.assertNotEqual(self.changed_on_tablet(), expected)
        self.assertEqual(expected, self.runs.windows.files)

    def test_the_read_only_leftovers_are_replaced(self):
        before = self.runs.tablet.files()
        replaced = [
            path
            for path, file in self.runs.windows.files.items()
            if path in before and not file.attributes & DIRECTORY
            and hashlib.sha256(before[path].read_bytes()).hexdigest() != file.digest
        ]
        self.assertEqual(4, len(replaced), replaced)


class TwoSessions(SampleTest, EverySample, ModemSample):
    """Wine has one session, number 1: the selected user must be the one logged on there."""

    sample = "crashed-two-sessions"

    @classmethod
    def prepare(cls, tablet, programs):
        tablet.change("sessions", [{"id": provision.SESSION, "user": "kim"}])
        file = tablet.path / "registry" / "30-crash.reg"
        file.write_text(re.sub(r"(?<=SessionData\\)[12]", lambda number: "21"[int(number[0]) - 1], file.read_text()))
        shutil.copyfile(programs.beside / "toast.exe", tablet.files()[TOAST_PROGRAM.removeprefix(DRIVE)])

    def test_the_selected_one_of_two_users_is_notified(self):
        texts = "\n".join(message.text for message in self.runs.windows.messages)
        self.assertIn("SRegistrySubKeys Index(2) = 2", texts)
        self.assertEqual([1], [toast["session"] for toast in self.runs.windows.toasts])


class TwoStarts(SampleTest, EverySample, ModemSample):
    """The second start finds the firmware deployed."""

    sample = "fresh"
    called = "two-starts"
    starts = 2

    def test_the_second_start_changes_no_file(self):
        self.assertEqual({}, self.runs.windows.files)

    def test_each_run_shuts_the_radio_down(self):
        received = [on_windows.radio for _, on_windows in self.runs.each]
        one = ["connected at attempt 1", "receives the command with value 1", "released"]
        self.assertEqual([one, one], received)


class AllSamples(unittest.TestCase):
    world = None  # set by the runner

    def test_each_sample_has_a_run_here(self):
        listed = subprocess.run([self.world.vantord_tablet, "init", "--list"], check=True, capture_output=True, text=True)
        samples = {line.split()[0] for line in listed.stdout.splitlines()}
        self.assertEqual(samples, {suite.sample for suite in SUITES if issubclass(suite, SampleTest)})


def plain(sample):
    """A class of the common tests only; "by-image-id" becomes ByImageId."""
    name = "".join(part.capitalize() for part in sample.split("-"))
    return type(name, (SampleTest, EverySample, ModemSample), {"sample": sample})


# The longest ones first.
SUITES = (
    *(WifiOnly, OobeThenDesktop, NobodyLoggedOn, Controls, Fresh, CrashedModem, NoAmssDriver, AlreadyDeployed),
    *map(plain, ("firmware-io-errors-for-ever", "firmware-io-errors", "no-firmware-driver")),
    *(LateModem, Oobe, OobeFactory, TwoStarts, ByFirmwareId, Redistribute, FactoryAudit, ReadOnlyLeftovers, TwoSessions),
    *map(plain, ("korean", "by-image-id", "default-image", "corrupt-archive", "missing-archive")),
    AllSamples,
)
