"""The service's trace messages, as the trace tools of Windows want them: one .tmf file for each message GUID.

The service formats each message itself and sends the finished text, so that one definition for each GUID decodes all of
them. Which GUIDs there are, and under which number, is read from the sources; a message sent in another way is an error.
"""

import re
from dataclasses import dataclass

LOG = "vantord/common/diagnostic_log.cpp"
GUID = re.compile(
    r"constexpr GUID (k\w+Messages) = \{0x([0-9A-F]{8}), 0x([0-9A-F]{4}), 0x([0-9A-F]{4}),\s*"
    r"\{((?:0x[0-9A-F]{2}(?:, )?){8})\}\};",
    re.I,
)
NUMBER = re.compile(r"constexpr USHORT kMessageNumber = (\d+);")
SENDER = re.compile(r"^void (\w+)\(const WCHAR\* format, \.\.\.\) \{.*?Send\((k\w+Messages),.*?^\}", re.M | re.S)
CONTROL = re.compile(r"kTraceControlGuid = \{\s*0x([0-9A-F]{8}), 0x([0-9A-F]{4}), 0x([0-9A-F]{4}), \{([^}]*)\}", re.I)


@dataclass(frozen=True)
class Module:
    """One message GUID: what the messages of a part of the service are sent under."""

    guid: str  # in small letters, without braces
    number: int
    sender: str  # the function that sends them


class DriftError(Exception):
    """The sources no longer look as this script expects; the text says where."""


def _guid(first, second, third, rest):
    rest = [number.strip()[2:] for number in rest.split(",")]
    return f"{first}-{second}-{third}-{''.join(rest[:2])}-{''.join(rest[2:])}".lower()


def control_guid(root):
    """The GUID under which a trace session enables the service's messages."""
    match = CONTROL.search((root / "vantord/common/trace_provider.h").read_text())
    if not match:
        raise DriftError("vantord/common/trace_provider.h: no kTraceControlGuid")
    return _guid(*match.groups())


def modules(root):
    """All message GUIDs of the service."""
    text = (root / LOG).read_text()
    guids = {match[1]: _guid(*match.groups()[1:]) for match in GUID.finditer(text)}
    number = NUMBER.search(text)
    senders = {match[2]: match[1] for match in SENDER.finditer(text)}
    if not guids or not number or senders.keys() != guids.keys() or text.count("::TraceMessage(") != 1:
        raise DriftError(f"{LOG}: sends its messages in a way that package/trace_messages.py does not know")
    for path in sorted(root.glob("*/**/*.cpp")):
        folder = path.relative_to(root).parts[0]
        if folder in ("common", "device", "unzip", "crash", "modem", "service") and path != root / LOG:
            if "TraceMessage(" in path.read_text():
                raise DriftError(f"{path.relative_to(root)}: sends a trace message past {LOG}")
    return [Module(guids[name], int(number[1]), senders[name]) for name in guids]


def tmf(module):
    """The definition. Arguments are counted from 10 on, so that the text, the only one, is %10."""
    source = LOG.rpartition("/")[2]
    return (
        "// PDB:  Vantord.pdb\n"
        f"{module.guid} Vantord // SRC={source} MJ= MN=\n"
        f'#typev {source.replace(".", "_")}{module.number} {module.number} "%0%10!s!" //   FUNC={module.sender}\n'
        "{\n"
        "text, ItemWString -- 10\n"
        "}\n"
    )
