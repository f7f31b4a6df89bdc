"""Facts of the service, read from its sources so that no test retypes them."""

import re
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
_SOURCES = "\n".join(
    file.read_text(encoding="utf-8") for file in sorted((PROJECT / "vantord").rglob("*")) if file.suffix in (".h", ".cpp")
)


def _constant(name, value):
    """The groups of the pattern `value` in the definition of a constant, which must be the same everywhere."""
    found = set(re.findall(rf"\b{name}(?:\[[^\]]*\])?\s*=\s*{value}", _SOURCES))
    if len(found) != 1:
        raise LookupError(f"vantord/: {len(found)} definitions of {name}, expected 1; is it renamed?")
    return found.pop()


def _text(name):
    return re.sub(r"\\(.)", r"\1", _constant(name, r'TEXT\("((?:[^"\\]|\\.)*)"\)'))


def _guid(name):
    """Braced, in lower case."""
    numbers = re.findall(r"0x([0-9A-Fa-f]+)", _constant(name, r"\{([^;]*)\};"))
    a, b, c, *rest = (number.lower().zfill(length) for number, length in zip(numbers, (8, 4, 4) + 8 * (2,), strict=True))
    return f"{{{a}-{b}-{c}-{''.join(rest[:2])}-{''.join(rest[2:])}}}"


HKLM = "HKEY_LOCAL_MACHINE\\"
SERVICE = _text("kServiceName")
PARTNER = _text("kPartnerName")
SERVICE_KEY = HKLM + _text("kServiceKey")
PARAMETERS_KEY = HKLM + _text("kParametersKey")
MODEM_CLASS_KEY = HKLM + _text("kModemClassKey")
FIRMWARE_PATH = _text("kFirmwarePath")
SOFTWARE_PATH = _text("kSoftwarePath")
ARCHIVE_FOLDER = _text("kModemFolder")
DUMP_FOLDER = _text("kDumpFolder")
TOAST_PROGRAM = _text("kToastProgram")
TOAST_COMMAND_LINE = _text("kToastCommandLine")
MODEM_INTERFACE = _guid("kModemControlInterfaceClass")
FIRMWARE_INTERFACE = _guid("kSafiInterfaceClass")
USB_INTERFACE = _guid("kUsbDeviceClass")
DISPLAY_SETTING = _guid("kConsoleDisplayState")
