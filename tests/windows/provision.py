"""Makes a Windows machine like a tablet: drive C:, registry, firmware variables, devices, services, who is logged on."""

import os
import re
import shutil
from pathlib import Path

import registry_text
import tablet_folder
from machine import MachineError

TEST_FOLDER = "C:\\vantord-test"
SYSTEM_FOLDER = "C:\\Windows\\System32"
STEER = TEST_FOLDER + "\\steer.exe"
PACKAGE_FOLDER = "C:\\vantord-package"
RECORD = TEST_FOLDER + "\\record.jsonl"
TOAST_NOTE = TEST_FOLDER + "\\toast.json"
PARTNER_NOTES = TEST_FOLDER + "\\partner.jsonl"
RADIO_NOTES = TEST_FOLDER + "\\radio.jsonl"
SERVICE = "Vantord"
PARTNER = "Pelt"
SESSION = 1  # the one in which all programs of Wine run

DEVICE_KEY = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Enum\ROOT\VANTORDTEST\0000"
MODEM_CLASS_GUID = "{4d36e96d-e325-11ce-bfc1-08002be10318}"
# The links that the devices have here. A tablet that is to behave like this machine must name the same.
MODEM_LINK = r"\\?\root#vantordtest#0000#{d49f5c0e-e540-4dbe-bf78-97ed9bd987a4}"
# In letters as notifications have them.
USB_LINK = r"\\?\ROOT#VANTORDTEST#0000#{a5dcbf10-6530-11d2-901f-00c04fb951ed}"
FIRMWARE_LINK = r"\\?\root#vantordtest#0000#{fd9ff848-46d1-4ce7-8940-6df2f1e6eff6}"

# Keys in which a fresh Wine has entries of its own that no tablet has, and the one whose contents are the tablet's affair.
CLEARED_KEYS = (
    r"HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Class\{4d36e97d-e325-11ce-bfc1-08002be10318}",
    r"HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Vantord\Parameters",
)


class Programs:
    """Where the programs are: Vantord.exe as it is shipped, its package, and the folder of those beside it in tests."""

    def __init__(self, executable, beside):
        self.executable = Path(executable)
        self.package = self.executable.parent / "package"
        self.beside = Path(beside)


def name_the_links(tablet):
    """Lets the tablet's devices have the links that they get on a Windows machine."""
    tablet.change("modem.links", [MODEM_LINK])
    tablet.change("firmware_driver.link", FIRMWARE_LINK)


def steer(machine, *words, seconds=60):
    return machine.run(STEER, *words, seconds=seconds)


def provision(machine, tablet, programs):
    """Everything but the service itself, which is installed already: what the tablet says of it is what counts."""
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
    """Its name with the architecture, as it is to be given to Windows setup."""
    text = machine.host_path(PACKAGE_FOLDER + "\\vantord.inf").read_text()
    return re.search(rf"^\[({kind}\.\w+)\]", text, re.M)[1]


def place_libraries(machine, programs):
    """What the service's own process finds in the system's folder: the radio's library, and what Wine lacks."""
    for name in ("cfgmgr32.dll", "kavrilproxy.dll"):
        place(machine, programs.beside / name, f"{SYSTEM_FOLDER}\\{name}")


def registry_of(machine, key):
    """A key with all below it: {key: {value: (type, bytes)}}."""
    file = PACKAGE_FOLDER + "\\export.reg"
    machine.run("reg", "export", key, file, "/y")
    return registry_text.parse(registry_text.decode(machine.host_path(file).read_bytes()))


def place(machine, source, windows_path):
    """A file of its own: what stands there may be shared with the template."""
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
            # Wine takes this attribute from the mode, and the others from the text beside the file.
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
        # The supplied library is for the programs under test alone.
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
