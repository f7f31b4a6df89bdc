"""Runs of the shipped Vantord.exe under a real service manager, registry and file system."""

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

import provision
from lives import MODEM, PARAMETERS, SERVICE_KEY, STOP_POWER_PRESHUTDOWN, EverySample, ModemSample, SampleTest
from tablet_folder import DIRECTORY, HIDDEN, READ_ONLY

sys.path.append(str(Path(__file__).resolve().parent / "package"))
from inf import Inf  # noqa: E402

MODEM_CORE = "windows\\system32\\modem_core"


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

    @classmethod
    def afterwards(cls, windows):
        """Removes the package, now that the service has stopped."""
        before = set(windows.drive.rglob("*"))
        provision.remove_service(windows)
        status, _ = windows.run_for_status("reg", "query", SERVICE_KEY.replace("hkey_local_machine", "HKLM"))
        return status, {path.name for path in before - set(windows.drive.rglob("*"))}

    def test_no_file_changes(self):
        self.assertEqual({}, self.lives.windows.files)

    def test_set_up_removes_what_it_installed_and_nothing_else(self):
        status_of_key, removed_files = self.lives.left
        self.assertIn(SERVICE_KEY, self.lives.installed)
        self.assertEqual((1, {"Vantord.exe"}), (status_of_key, removed_files))


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

    def test_the_partner_service_is_started_and_told_of_the_suspend(self):
        partner = self.lives.windows.partner
        self.assertEqual(["is started", "receives control 134"], partner[:2])

    def test_the_radio_is_told_to_go_down_and_answers(self):
        self.assertIn("receives the command with value 1", self.lives.windows.radio)
        self.assertIn("RCB: (+)", [message.text for message in self.lives.windows.messages])

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

    def test_the_firmware_variable_names_the_archive(self):
        (variable,) = [data for key, data in self.lives.variables.items() if "ModemImageID" in key]
        self.assertEqual(b"KOR", variable)
        said = {message.text for message in self.lives.windows.messages}
        self.assertIn("CImageSelector::GetUEFIModemID:164 : UEFI Modem Image ID = KOR!!!", said)
        with zipfile.ZipFile(self.lives.tablet.files()[MODEM_CORE + "\\kor.bin"]) as archive:
            image = archive.read("qcdsp1v2850.mbn")
        deployed = self.lives.windows.files["windows\\system32\\qcdsp1v2850.mbn"]
        self.assertEqual(hashlib.sha256(image).hexdigest(), deployed.digest)


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


class LateModem(SampleTest, EverySample, ModemSample):
    sample = "late-modem"

    def test_the_service_looks_for_the_modem_until_it_arrives(self):
        texts = [message.text for message in self.lives.windows.messages]
        looks = sum(text.endswith("Failed to open DeviceInterfaceFunc, error - 3") for text in texts)
        self.assertGreaterEqual(looks, 8)
        self.assertLess(looks, 40)


class Oobe(SampleTest, EverySample, ModemSample):
    """Set-up does not end: the service looks every 5 seconds whether it has, until it is stopped."""

    sample = "oobe"

    @classmethod
    def prepare(cls, tablet, _):
        tablet.change("timeline", [{"at_ms": 7000, "event": "stop"}])

    def test_no_reset_arrives(self):
        self.assertEqual("", self.lives.windows.arrivals["reset"])


class OobeFactory(Oobe):
    sample = "oobe-factory"


class NoFirmwareDriver(SampleTest, EverySample, ModemSample):
    sample = "no-firmware-driver"


class FirmwareIoErrors(SampleTest, EverySample, ModemSample):
    sample = "firmware-io-errors"


class FirmwareIoErrorsForEver(SampleTest, EverySample, ModemSample):
    sample = "firmware-io-errors-for-ever"


class ReadOnlyLeftovers(SampleTest, EverySample, ModemSample):
    sample = "read-only-leftovers"

    def test_the_same_files_change_in_the_same_way(self):
        """Windows, as the tablet, makes a replaced file read-only when the archive says so. Wine does not."""
        before, expected = self.lives.tablet.files(), self.changed_on_tablet()
        for path in expected.keys() & before.keys():
            if not expected[path].attributes & DIRECTORY:
                expected[path] = replace(expected[path], attributes=expected[path].attributes & ~READ_ONLY)
        self.assertNotEqual(self.changed_on_tablet(), expected)
        self.assertEqual(expected, self.lives.windows.files)

    def test_what_stood_in_the_way_is_replaced(self):
        before = self.lives.tablet.files()
        replaced = [
            path
            for path, file in self.lives.windows.files.items()
            if path in before and not file.attributes & DIRECTORY
            and hashlib.sha256(before[path].read_bytes()).hexdigest() != file.digest
        ]
        self.assertEqual(4, len(replaced), replaced)


class TwoSessions(SampleTest, EverySample, ModemSample):
    """Wine has one session, number 1: whom the logon screen has selected must be the one who is logged on there."""

    sample = "crashed-two-sessions"

    @classmethod
    def prepare(cls, tablet, programs):
        tablet.change("sessions", [{"id": provision.SESSION, "user": "kim"}])
        file = tablet.path / "registry" / "30-crash.reg"
        file.write_text(re.sub(r"(?<=SessionData\\)[12]", lambda number: "21"[int(number[0]) - 1], file.read_text()))
        shutil.copyfile(programs.beside / "toast.exe", tablet.files()["windows\\toastgenerator\\toastgenerator.exe"])

    def test_the_selected_one_of_two_users_is_told(self):
        said = "\n".join(message.text for message in self.lives.windows.messages)
        self.assertIn("SRegistrySubKeys Index(2) = 2", said)
        self.assertEqual([1], [toast["session"] for toast in self.lives.windows.toasts])


class TwoStarts(SampleTest, EverySample, ModemSample):
    """What the first start deploys the second one finds deployed."""

    sample = "fresh"
    called = "two-starts"
    starts = 2

    def test_the_second_start_changes_no_file(self):
        self.assertEqual({}, self.lives.windows.files)

    def test_each_start_tells_the_radio_to_go_down(self):
        told = [on_windows.radio for _, on_windows in self.lives.each]
        one = ["connected at attempt 1", "receives the command with value 1", "released"]
        self.assertEqual([one, one], told)


class CorruptArchive(SampleTest, EverySample, ModemSample):
    sample = "corrupt-archive"


class MissingArchive(SampleTest, EverySample, ModemSample):
    sample = "missing-archive"


class AllSamples(unittest.TestCase):
    world = None  # set by the runner

    def test_each_sample_of_the_tablet_has_a_life_here(self):
        listed = subprocess.run([self.world.vantord_tablet, "init", "--list"], check=True, capture_output=True, text=True)
        samples = {line.split()[0] for line in listed.stdout.splitlines()}
        self.assertEqual(samples, {suite.sample for suite in SUITES if issubclass(suite, SampleTest)})


# The longest ones first.
SUITES = (
    *(WifiOnly, OobeThenDesktop, NobodyLoggedOn, Controls, Fresh, CrashedModem, NoAmssDriver, AlreadyDeployed),
    *(FirmwareIoErrorsForEver, LateModem, Oobe, OobeFactory, TwoStarts, FirmwareIoErrors, NoFirmwareDriver),
    *(Korean, ByImageId, ByFirmwareId, DefaultImage, Redistribute, FactoryAudit, CorruptArchive, MissingArchive),
    *(ReadOnlyLeftovers, TwoSessions, AllSamples),
)
