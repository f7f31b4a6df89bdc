"""Makes a Windows machine equal to a tablet: drive C:, registry, firmware variables, devices, services, sessions."""

import os
import re
import shutil
from pathlib import Path

import facts
import registry_text
import tablet_folder
from facts import PARTNER
from machine import MachineError

TEST_FOLDER = "C:\\vantord-test"
SYSTEM_FOLDER = "C:\\Windows\\System32"
STEER = TEST_FOLDER + "\\steer.exe"
PACKAGE_FOLDER = "C:\\vantord-package"
RECORD = TEST_FOLDER + "\\record.jsonl"
TOAST_NOTE = TEST_FOLDER + "\\toast.json"
PARTNER_NOTES = TEST_FOLDER + "\\partner.jsonl"
RADIO_NOTES = TEST_FOLDER + "\\radio.jsonl"
SESSION = 1  # Wine has no other

DEVICE_KEY = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Enum\ROOT\VANTORDTEST\0000"
MODEM_CLASS_GUID = "{4d36e96d-e325-11ce-bfc1-08002be10318}"
# The links of the test driver's interfaces, which Wine composes; the tablet gets the same.
MODEM_LINK = r"\\?\root#vantordtest#0000#" + facts.MODEM_INTERFACE
USB_LINK = r"\\?\ROOT#VANTORDTEST#0000#" + facts.USB_INTERFACE  # in the letter case of notifications
FIRMWARE_LINK = r"\\?\root#vantordtest#0000#" + facts.FIRMWARE_INTERFACE

# Keys that are removed first: Wine and the package fill them, the tablet decides what is in them.
CLEARED_KEYS = (facts.MODEM_CLASS_KEY, facts.PARAMETERS_KEY)


class Programs:
    """The paths of Vantord.exe as shipped, of its package, and of the test programs."""

    def __init__(self, executable, beside):
        self.executable = Path(executable)
        self.package = self.executable.parent / "package"
        self.beside = Path(beside)


def name_the_links(tablet):
    """Gives the tablet's devices the links that they have under Wine."""
    tablet.change("modem.links", [MODEM_LINK])
    tablet.change("firmware_driver.link", FIRMWARE_LINK)


def steer(machine, *words, seconds=60):
    return machine.run(STEER, *words, seconds=seconds)


def provision(machine, tablet, programs):
    """Everything but the service, which is installed before, so that the tablet's registry overrides the package's."""
    _refuse_what_is_not_provided(tablet)
    _copy_programs(machine, programs)
    _copy_drive(machine, tablet)
    _import(machine, "00-machine.reg", _machine_registry())
    for file in tablet.registry_files():
        _import(machine, file.name, file.read_bytes())
    _start_devices(machine, tablet)
    for session in tablet.get("sessions", [{"id": SESSION}]):
        if session["id"] != SESSION:
            raise MachineError(f"{tablet.path}/tablet.json: sessions: Wine has no other session than {SESSION}")
        place(machine, programs.beside / "bystander.exe", TEST_FOLDER + "\\winlogon.exe")
        steer(machine, "spawn", TEST_FOLDER + "\\winlogon.exe")
    if tablet.get("partner.present", True):
        steer(machine, "create", PARTNER, TEST_FOLDER + "\\partner.exe")


def install_service(machine, programs):
    """Windows setup installs the driver package for machines without the device."""
    for file in programs.package.joinpath("standalone").iterdir():
        place(machine, file, f"{PACKAGE_FOLDER}\\{file.name}")
    place(machine, programs.beside / "steer.exe", STEER)
    steer(machine, "install", _section(machine, "DefaultInstall"), PACKAGE_FOLDER + "\\vantord.inf")


def remove_service(machine):
    """Windows setup removes what it installed."""
    steer(machine, "install", _section(machine, "DefaultUninstall"), PACKAGE_FOLDER + "\\vantord.inf")


def _section(machine, kind):
    """The section's name with the architecture, as Windows setup expects it."""
    text = machine.host_path(PACKAGE_FOLDER + "\\vantord.inf").read_text()
    return re.search(rf"^\[({kind}\.\w+)\]", text, re.M)[1]


def place_libraries(machine, programs):
    """Puts the DLLs of the service's process into the system folder: the radio's, and what Wine lacks."""
    for name in ("cfgmgr32.dll", "kavrilproxy.dll"):
        place(machine, programs.beside / name, f"{SYSTEM_FOLDER}\\{name}")


def registry_of(machine, key):
    """A key with its sub-keys: {key: {value: (type, bytes)}}."""
    file = PACKAGE_FOLDER + "\\export.reg"
    machine.run("reg", "export", key, file, "/y")
    return registry_text.parse(registry_text.decode(machine.host_path(file).read_bytes()))


def place(machine, source, windows_path):
    """Copies a file. A file already there may be a hard link to the template: it is removed, not overwritten."""
    target = machine.host_path(windows_path)
    if target.exists():
        target.unlink()
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(source, target)


def _refuse_what_is_not_provided(tablet):
    for key, provided in (
        ("registry.denied", []),
        ("registry.read_only", []),
        ("partner.state", "stopped"),
        ("firmware_driver.request_error", 0),
        ("trace.collect", True),
    ):
        if tablet.get(key, provided) != provided:
            raise MachineError(f"{tablet.path}/tablet.json: {key} cannot be provided on a Windows machine yet")


def _copy_programs(machine, programs):
    for file in sorted(programs.beside.glob("*.*")):
        if file.suffix in (".exe", ".sys", ".dll"):
            place(machine, file, f"{TEST_FOLDER}\\{file.name}")


def _copy_drive(machine, tablet):
    for source in tablet.files().values():
        path = "C:\\" + str(source.relative_to(tablet.path / "C")).replace("/", "\\")
        target = machine.host_path(path)
        kept = tablet_folder.attributes(source)
        if source.is_dir():
            target.mkdir(exist_ok=True)
        else:
            place(machine, source, path)
            shutil.copystat(source, target)
            # Wine takes this attribute from the mode, the others from an extended attribute.
            target.chmod(0o444 if kept & tablet_folder.READ_ONLY else 0o644)
        hidden_or_system = kept & (tablet_folder.HIDDEN | tablet_folder.SYSTEM)
        if hidden_or_system:
            os.setxattr(target, "user.DOSATTRIB", b"0x%x" % hidden_or_system)


def _machine_registry():
    overrides = r"HKEY_CURRENT_USER\Software\Wine"
    lines = ["Windows Registry Editor Version 5.00", ""]
    for key in CLEARED_KEYS:
        lines += [f"[-{key}]", ""]
    lines += [
        f"[{DEVICE_KEY}]",
        '"Service"="VantordTestDriver"',
        f'"ClassGUID"="{MODEM_CLASS_GUID}"',
        "",
        # Only the programs under test load the supplied library.
        f"[{overrides}\\DllOverrides]",
        '"cfgmgr32"="builtin"',
        "",
        *(
            line
            for program in ("Vantord.exe", "conformance.exe")
            for line in (f"[{overrides}\\AppDefaults\\{program}\\DllOverrides]", '"cfgmgr32"="native"', "")
        ),
    ]
    return "\r\n".join(lines).encode("utf-8")


def _import(machine, name, data):
    file = machine.host_path(f"{TEST_FOLDER}\\{name}")
    file.write_bytes(data)
    machine.run("reg", "import", f"{TEST_FOLDER}\\{name}")


def _start_devices(machine, tablet):
    words = ["driver", TEST_FOLDER + "\\testdrv.sys"]
    if tablet.get("modem.present", True) and not tablet.get("modem.arrives_at_ms", 0):
        words += ["--", "interface", "modem", "on"]
    if tablet.get("firmware_driver.present", True):
        words += ["--", "interface", "safi", "on"]
    if tablet.get("firmware_driver.status", 0):
        count = tablet.get("firmware_driver.status_count", "always")
        words += ["--", "trouble", tablet.get("firmware_driver.status", 0), count]
    if not tablet.get("amss.present", tablet.get("modem.present", True)):
        words += ["--", "interface", "statistics", "off"]
    for key, data in tablet.variables().items():
        words += ["--", "variable", key, data.hex()]
    steer(machine, *words)
