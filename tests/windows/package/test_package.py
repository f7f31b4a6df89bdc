#!/usr/bin/env python3
"""Whether a package does what it is for: test_package.py FOLDER VANTORD_TABLET, FOLDER as package/make_package.py makes it.

What the service really does comes from runs on the simulated tablet. Exit code 77 when VANTORD_TABLET has not been built.
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
# Rows of a map, instances of a class, sessions: any name may stand there.
ANY_VALUE = re.compile(r"\\vantord\\parameters\\(?:csc|imageid)$")
ANY_KEY = re.compile(r"(\\\{4d36e97d-[^\\]*\}|\\sessiondata)\\\d+$")
SAMPLES = ("fresh", "already-deployed", "wifi-only", "crashed-two-sessions", "oobe-then-desktop")


class Life:
    """One run of a sample on the simulated tablet."""

    def __init__(self, folder, sample, change=lambda tablet: None):
        self.tablet = folder / sample
        subprocess.run([PROGRAM, "init", self.tablet, "--sample", sample, "--small"], check=True, capture_output=True)
        change(self.tablet)
        events = folder / "events.jsonl"
        done = subprocess.run([PROGRAM, "run", self.tablet, "--events", events, "--calls"], capture_output=True, text=True)
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
    """{(key, value)} in small letters. Every reader opens its key itself, right before."""
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

    def inf(self):
        return Inf(self.text("vantord.inf"))

    def test_the_checksums_are_those_of_all_its_files(self):
        sums = dict(reversed(line.split("  ")) for line in self.text("SHA256SUMS").splitlines())
        files = {file.name: hashlib.sha256(file.read_bytes()).hexdigest() for file in PACKAGE.iterdir()}
        del files["SHA256SUMS"]
        self.assertEqual(files, sums)

    def test_texts_end_their_lines_as_windows_expects(self):
        for name, encoding in (("vantord.inf", "ascii"), ("vantord.ctl", "ascii"), ("vantord-values.reg", "utf-16")):
            text = self.text(name, encoding)
            self.assertEqual(text.count("\n"), text.count("\r\n"), name)

    def test_both_machines_install_the_service_with_and_without_a_device(self):
        inf = self.inf()
        self.assertEqual(["11"], inf.one("DestinationDirs", "Vantord_Files"))
        self.assertEqual([(None, ["Vantord.exe"])], inf.sections["vantord_files"])
        (models,) = [parts for _, parts in inf.sections["manufacturer"]]
        for machine in ("NTarm64", "NTamd64"):
            self.assertIn(machine, models)
            ((_, (section, _)),) = inf.sections[f"{models[0]}.{machine}".lower()]
            for install in (section, "DefaultInstall"):
                self.assertEqual(["Vantord_Files"], inf.one(f"{install}.{machine}", "CopyFiles"))
                self.assertIn(["Vantord", "", "Vantord_Service"], inf.get(f"{install}.{machine}.Services", "AddService"))
            self.assertEqual("Vantord", inf.one(f"DefaultUninstall.{machine}.Services", "DelService")[0])

    def test_the_service_is_an_own_process_that_starts_with_the_system(self):
        inf = self.inf()
        values = {key: inf.one("Vantord_Service", key) for key in ("ServiceType", "StartType", "ServiceBinary", "AddReg")}
        self.assertEqual(
            {"ServiceType": ["0x10"], "StartType": ["2"], "ServiceBinary": [r"%11%\Vantord.exe"], "AddReg": ["Vantord_Registry"]},
            values,
        )

    def test_the_tablet_chooses_by_the_maps_that_it_installs(self):
        written = self.inf().registry("Vantord_Registry")
        self.assertEqual((0x10, None), written[("Parameters", "")])
        for key in ("Parameters\\CSC", "Parameters\\ImageID"):
            rows = {name: value for (where, name), value in written.items() if where == key}
            self.assertEqual({"ATT": (0, "ATT.bin"), "KOR": (0, "KOR.bin"), "VZW": (0, "VZW.bin")}, rows)

    def install(self, tablet):
        """What the INF writes, in the place of what the sample has below the service's key."""
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
        """Whether Windows waits long enough for a radio that answers its last attempt and then falls silent."""
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

    def test_the_sample_values_are_those_that_the_service_reads(self):
        text = self.text("vantord-values.reg", "utf-16")
        listed, key = set(), None
        for line in text.splitlines():
            if match := re.match(r"\[(.+)\]$", line):
                key = match[1].lower()
            elif match := re.match(r';?"(.+?)"=', line):
                listed.add(generic(key, match[1].lower()))
        asked = set()
        for sample in SAMPLES:
            asked.update(values_asked_for(Life(self.folder, sample)))
        by_id = self.folder / "by-id"
        by_id.mkdir()
        asked.update(values_asked_for(Life(by_id, "fresh", choose_by_image_id)))
        self.assertEqual(set(), asked - listed, "read by the service, but not in vantord-values.reg")
        self.assertEqual(set(), listed - asked, "in vantord-values.reg, but never read")

    def test_the_sample_values_can_be_imported(self):
        text = re.sub(r'^;(?=")', "", self.text("vantord-values.reg", "utf-16"), flags=re.M)
        life = Life(self.folder, "fresh", lambda tablet: (tablet / "registry" / "95-values.reg").write_text(text))
        texts = "\n".join(event["text"] for event in life.of_kind("trace"))
        for effect in ("Already updated to", "DetermineModemBinary VZW.bin", "dwDiagnosisDumpEnabled set"):
            self.assertIn(effect, texts)

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
