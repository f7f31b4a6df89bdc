#!/usr/bin/env python3
"""Tests of a package: test_package.py FOLDER VANTORD_TABLET, with FOLDER as package/make_package.py makes it.

What the service really does comes from runs on the simulated tablet. Exit code 77 if VANTORD_TABLET has not been built.
"""

import hashlib
import json
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from inf import Inf
from trace_file import Definitions

PACKAGE, PROGRAM = None, None  # set by main
SERVICE = r"SYSTEM\CurrentControlSet\Services\Vantord"
NOT_STOPPED = "not stopped within the preshutdown time-out"
# Rows of a map, instances of a class, sessions: any name is possible.
ANY_VALUE = re.compile(r"\\vantord\\parameters\\(?:csc|imageid)$")
ANY_KEY = re.compile(r"(\\\{4d36e97d-[^\\]*\}|\\sessiondata)\\\d+$")
PACKAGES = ("component", "component-trigger", "standalone")
VALUES = ("vantord-values.reg", "vantord-test-machine.reg")
ASCII = ("vantord.ctl", "THIRD-PARTY-NOTICES.txt", "collect-tablet.cmd", "collect-tablet.ps1")
# What is the service's own: the rest belongs to Windows or to the modem's driver.
OWN = re.compile(r"system\\currentcontrolset\\services\\vantord(\\|$)")
COMMENTED = re.compile(r'^;(?=["\[])', re.M)
SAMPLES = ("fresh", "already-deployed", "wifi-only", "crashed-two-sessions", "oobe-then-desktop")


class Life:
    """A run of a sample on the simulated tablet."""

    def __init__(self, folder, sample, change=lambda tablet: None):
        self.tablet = folder / sample
        subprocess.run([PROGRAM, "init", self.tablet, "--sample", sample, "--small"], check=True, capture_output=True)
        change(self.tablet)
        events = folder / "events.jsonl"
        done = subprocess.run([PROGRAM, "run", self.tablet, "--events", events, "--calls", "--force"], capture_output=True,
                              text=True)
        assert done.returncode == 0, done.stderr
        self.events = [json.loads(line) for line in events.read_text().splitlines()]

    def of_kind(self, kind):
        return [event for event in self.events if event["kind"] == kind]


def change_description(**changes):
    def change(tablet):
        path = tablet / "tablet.json"
        path.write_text(json.dumps(json.loads(path.read_text()) | changes))

    return change


def choose_by_image_id(tablet):
    for variable in (tablet / "efi").glob("SALES_CODE*"):
        variable.unlink()
    lines = ("Windows Registry Editor Version 5.00", f"[HKEY_LOCAL_MACHINE\\{SERVICE}]", '"ModemImageID"="KOR"', "")
    (tablet / "registry" / "90-image-id.reg").write_text("\n".join(lines))


def values_asked_for(life):
    """{(key, value)} in lower case. Every reader opens its key itself, right before."""
    opened = {}
    for call in life.of_kind("call"):
        if call["name"] in ("RegCreateKeyExW", "RegOpenKeyExW"):
            opened[call["thread"]] = call["args"].split('"')[1].lower()
        elif call["name"] == "RegQueryValueExW":
            yield generic(opened[call["thread"]], call["args"].split('"')[1].lower())


def generic(key, name):
    key = ANY_KEY.sub(r"\1\\*", key.removeprefix("hkey_local_machine\\"))
    return key, "*" if ANY_VALUE.search(key) else name


class PackageTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def text(self, name, encoding="ascii"):
        return (PACKAGE / name).read_bytes().decode(encoding)

    def inf(self, package="component"):
        return Inf(self.text(f"{package}/vantord.inf"))

    def test_the_checksums_are_those_of_all_its_files(self):
        sums = dict(reversed(line.split("  ")) for line in self.text("SHA256SUMS").splitlines())
        files = {file.relative_to(PACKAGE).as_posix(): hashlib.sha256(file.read_bytes()).hexdigest()
                 for file in PACKAGE.rglob("*") if file.is_file()}
        del files["SHA256SUMS"]
        self.assertEqual(files, sums)

    def test_texts_end_their_lines_as_windows_expects(self):
        names = {name: "utf-16" for name in VALUES} | {f"{name}/vantord.inf": "ascii" for name in PACKAGES}
        for name, encoding in (names | {name: "ascii" for name in ASCII}).items():
            text = self.text(name, encoding)
            self.assertEqual(text.count("\n"), text.count("\r\n"), name)

    def test_each_driver_package_holds_its_program_and_nothing_else(self):
        for name in PACKAGES:
            self.assertEqual({"Vantord.exe", "vantord.inf"}, {file.name for file in (PACKAGE / name).iterdir()})
        self.assertEqual(1, len({(PACKAGE / name / "Vantord.exe").read_bytes() for name in PACKAGES}))

    def install_sections(self, package):
        """The install section of a driver package, its section of services, and the section of the service."""
        inf = self.inf(package)
        (services,) = [name for name in inf.sections if name.endswith(".services") and not name.startswith("defaultuninstall")]
        (service,) = [parts for parts in inf.get(services, "AddService") if parts[0]]
        self.assertEqual("Vantord", service[0])
        return inf, services.removesuffix(".services"), service[2]

    def test_every_driver_package_copies_the_program_to_the_folder_where_the_service_looks_for_its_version(self):
        for package in PACKAGES:
            inf, section, service = self.install_sections(package)
            (files,) = inf.one(section, "CopyFiles")
            self.assertEqual([(None, ["Vantord.exe"])], inf.lines(files))
            self.assertEqual(["11"], inf.one("DestinationDirs", "DefaultDestDir"))
            self.assertEqual([r"%11%\Vantord.exe"], inf.one(service, "ServiceBinary"))

    def test_the_service_is_an_own_process_that_starts_with_the_system_or_with_its_device(self):
        for package, start in (("component", "2"), ("standalone", "2"), ("component-trigger", "3")):
            inf, _, service = self.install_sections(package)
            values = {key: inf.one(service, key) for key in ("ServiceType", "StartType", "AddReg")}
            self.assertEqual({"ServiceType": ["0x10"], "StartType": [start], "AddReg": ["Vantord_Registry"]}, values)

    def test_the_trigger_is_the_class_in_which_the_service_looks_for_its_modem(self):
        inf, _, service = self.install_sections("component-trigger")
        (subtype,) = inf.one(inf.one(service, "AddTrigger")[0], "SubType")
        calls = [e["args"].lower() for e in Life(self.folder, "wifi-only").of_kind("call") if "Device_Interface_List" in e["name"]]
        self.assertTrue(calls)
        self.assertEqual([], [call for call in calls if subtype not in call])

    def test_every_driver_package_writes_the_same_values(self):
        first, *others = [self.inf(package).registry("Vantord_Registry") for package in PACKAGES]
        self.assertGreater(len(first), 8)
        self.assertEqual([first, first], others)

    def test_the_tablet_chooses_by_the_maps_that_it_installs(self):
        written = self.inf().registry("Vantord_Registry")
        self.assertEqual((0x10, None), written[("Parameters", "")])
        for key in ("Parameters\\CSC", "Parameters\\ImageID"):
            rows = {name: value for (where, name), value in written.items() if where == key}
            self.assertEqual({"ATT": (0, "ATT.bin"), "KOR": (0, "KOR.bin"), "VZW": (0, "VZW.bin")}, rows)

    def install(self, tablet):
        """The INF's values replace those that the sample has below the service's key."""
        lines = ["Windows Registry Editor Version 5.00", f"[-HKEY_LOCAL_MACHINE\\{SERVICE}]"]
        for (key, name), (flags, value) in self.inf().registry("Vantord_Registry").items():
            lines.append(f"[HKEY_LOCAL_MACHINE\\{SERVICE}{key and chr(92) + key}]")
            if value is not None:
                lines.append(f'"{name}"=' + (f"dword:{int(value):08x}" if flags == 0x10001 else f'"{value}"'))
        (tablet / "registry" / "90-inf.reg").write_text("\n".join(lines) + "\n")

    def test_a_fresh_tablet_is_deployed_with_the_values_of_the_inf_alone(self):
        life = Life(self.folder, "fresh", self.install)
        texts = [event["text"] for event in life.of_kind("trace")]
        version = self.inf().one("Version", "DriverVer")[1]
        self.assertIn(f"CModemTemplate::ReadMobileBroadBandPackageVer:18 : ReadMobileBroadBandPackageVer = {version}", texts)
        self.assertIn("CImageSelector::DetermineImageByCSC:62 : DetermineModemBinary VZW.bin by CSC VZW", texts)
        self.assertTrue([text for text in texts if "Update QC_AMSS_FW_IMAGE_REG_NAME" in text])

    def stopped_in_time(self, milliseconds):
        """Windows waits long enough for a radio that accepts the last attempt and then sends nothing."""
        life = Life(
            self.folder,
            "already-deployed",
            change_description(
                radio={"failing_attempts": 99, "answers": 0},
                services={"preshutdown_timeout_ms": milliseconds},
                timeline=[{"at_ms": 1000, "event": "preshutdown"}],
            ),
        )
        self.assertIn("STOPPED", [status["state"] for status in life.of_kind("status")])
        return not [event for event in life.of_kind("event") if NOT_STOPPED in event["text"]]

    def test_windows_waits_for_the_slowest_radio(self):
        flags, value = self.inf().registry("Vantord_Registry")[("", "PreshutdownTimeout")]
        self.assertEqual(0x10001, flags)
        self.assertTrue(self.stopped_in_time(int(value)))

    def test_a_shorter_wait_would_not_do(self):
        self.assertFalse(self.stopped_in_time(120000))

    def values_listed(self, name):
        key = None
        for line in COMMENTED.sub("", self.text(name, "utf-16")).splitlines():
            if match := re.match(r"\[(.+)\]$", line):
                key = match[1].lower()
            elif match := re.match(r'"(.+?)"=', line):
                yield generic(key, match[1].lower())

    def test_the_files_of_values_change_nothing_as_they_are(self):
        for name in VALUES:
            lines = self.text(name, "utf-16").splitlines()
            self.assertEqual("Windows Registry Editor Version 5.00", lines[0])
            self.assertEqual([], [line for line in lines[1:] if line and not line.startswith(";")], name)

    def test_the_values_listed_are_those_that_the_service_reads(self):
        own, foreign = (set(self.values_listed(name)) for name in VALUES)
        asked = set()
        for sample in SAMPLES:
            asked.update(values_asked_for(Life(self.folder, sample)))
        by_id = self.folder / "by-id"
        by_id.mkdir()
        asked.update(values_asked_for(Life(by_id, "fresh", choose_by_image_id)))
        self.assertEqual({entry for entry in asked if OWN.match(entry[0])}, own)
        self.assertEqual({entry for entry in asked if not OWN.match(entry[0])}, foreign)

    def test_the_values_can_be_imported_once_they_are_no_comments(self):
        def uncomment(tablet):
            for name in VALUES:
                (tablet / "registry" / f"95-{name}").write_text(COMMENTED.sub("", self.text(name, "utf-16")))

        texts = "\n".join(event["text"] for event in Life(self.folder, "fresh", uncomment).of_kind("trace"))
        for effect in ("Already updated to", "DetermineModemBinary VZW.bin", "dwDiagnosisDumpEnabled set"):
            self.assertIn(effect, texts)

    def test_the_notices_name_every_library_that_the_programs_use(self):
        notices = self.text("THIRD-PARTY-NOTICES.txt")
        loaded = subprocess.run(["readelf", "-d", PROGRAM], check=True, capture_output=True, text=True).stdout
        libraries = re.findall(r"NEEDED.*\[(\w[\w+]*?)\.so", loaded)
        self.assertGreater(len(libraries), 4)
        # A loader of the system may be among them; it is the C library's.
        for name in [*(n for n in libraries if not n.startswith("ld-")), "nlohmann", "CLI11", "utfcpp", "libc++", "mingw-w64"]:
            self.assertRegex(notices, rf"(?<![\w+]){re.escape(name)}(?![\w+])", name)

    def test_every_message_is_decoded_by_its_definition(self):
        definitions = Definitions(PACKAGE)
        seen = set()
        for sample in SAMPLES:
            for event in Life(self.folder, sample).of_kind("trace"):
                guid = event["guid"].strip("{}").lower()
                seen.add(guid)
                data = (event["text"] + "\0").encode("utf-16-le")
                self.assertEqual(event["text"], definitions.decode(guid, 10, data))
        self.assertEqual({guid for guid, _ in definitions.messages}, seen)

    def test_the_control_file_names_the_provider_that_the_service_registers(self):
        guid, name = self.text("vantord.ctl").split()
        calls = [event["args"] for event in Life(self.folder, "wifi-only").of_kind("call") if event["name"] == "RegisterTraceGuidsW"]
        self.assertEqual("Vantord", name)
        self.assertEqual(1, len(calls))
        self.assertIn(guid, calls[0].lower())


if __name__ == "__main__":
    PACKAGE, PROGRAM = map(Path, sys.argv[1:3])
    if not PROGRAM.exists():
        print(f"{PROGRAM} has not been built: ./dev build")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
