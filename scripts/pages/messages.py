#!/usr/bin/env python3
"""Keeps docs/messages.md, the list of every message of the service, equal to the sources.

messages.py          says whether the page is up to date; exit code 1 when it is not
messages.py --write  writes the page anew
messages.py --json   prints the list as one JSON document
"""

import json
import re
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.append(str(Path(__file__).resolve().parents[1] / "style"))

import generated  # noqa: E402
from calls import arguments, literal  # noqa: E402

ROOT = Path(__file__).resolve().parents[2]
PRODUCT = ROOT / "vantord"
FOLDERS = ["service", "modem", "radio", "uefi", "device", "crash", "unzip", "common"]
PAGE = ROOT / "docs" / "messages.md"
MEANINGS = Path(__file__).with_suffix(".txt")

# The routine that sends a message decides under which GUID it is sent.
ROUTINES = {"DebugPrint": "service", "DebugPrintZone": "service", "HelperDebugPrint": "helper"}
ZONES = {"ZONE_FUNCTION": 0x1, "ZONE_ERROR": 0x2, "ZONE_INFO": 0x8, "ZONE_MODEM_INFO": 0x4000, "ZONE_DETAIL": 0x40000}

# Where the routines and the entry and exit lines are defined.
LOG_ITSELF = {"diagnostic_log.cpp"}

HEAD = """# Messages

Every message that the service can send, in the order of the sources. Each begins with the function's name, a colon and
the message's number: `CVantord::OnStart:62 : VantorService OnStart [...]`. The number is the message's own and never
changes; search this page, or the sources, for a piece of the text. `%S` and `%s` stand for texts, `%d` and `%u` for
numbers, `%X` for hexadecimal ones.

**Zone** is the bit of `ulZoneMask` that lets a message through, as read from the registry at each start
([registry-and-firmware.md](registry-and-firmware.md)); without it the mask is 0x4000F, and ZONE_MODEM_INFO is off.
"always" goes out whatever the mask is. **Module** is the message GUID, `service` or `helper`; `debugger` texts go to
a debugger instead (OutputDebugString, as they are, two 8-bit characters in each 16-bit one) and name no function.

| zone | bit | for |
|---|---|---|
| ZONE_FUNCTION | 0x1 | entry and exit of functions |
| ZONE_ERROR | 0x2 | failures |
| ZONE_INFO | 0x8 | starts, stops, status reports |
| ZONE_MODEM_INFO | 0x4000 | the modem object's start-up |
| ZONE_DETAIL | 0x40000 | successes in detail, contents of events |

The last column says what a message means, its likely cause and what to do; where the last two are missing, the message
is normal. "usual" after a zone: the message is in the error zone and is no failure. Numbers in messages are Windows'
errors unless it says otherwise.

This page is made by `scripts/pages/messages.py --write` from the sources and `scripts/pages/messages.txt`; a test fails
when it is out of date, and when a message has no meaning.
"""


def without_comments(text):
    def keep(found):
        return found.group(0) if found.group(0)[0] in "\"'" else re.sub(r"[^\n]", " ", found.group(0))

    return re.sub(r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'|//[^\n]*|/\*.*?\*/', keep, text, flags=re.S)


def scope_messages(name, place):
    return [dict(place, module="service", zone="ZONE_FUNCTION", function=name, number=None, text=f"{name}: {sign}")
            for sign in ("(+)", "(-)")]


def call_message(routine, parts, constants, place):
    """The message of one call; None for declarations and for the scope's own calls, whose name is a variable."""
    zone = parts.pop(0) if routine == "DebugPrintZone" else "always"
    text = literal(parts[0])
    if text is None or len(parts) < 2:
        return None
    function = literal(parts[1]) or constants.get(parts[1])
    if function is None:
        return None
    number = None
    if text.startswith("%S:%d"):
        number = int(constants.get(parts[2], parts[2]))
    body = re.sub(r"^%S(:%d)?\s?:\s?", "", text)
    return dict(place, module=ROUTINES[routine], zone=zone, function=function, number=number, text=body)


def enclosing_function(text, at):
    """The name of the function whose body holds the place: the last definition that begins a line."""
    heads = re.findall(r"^[A-Za-z_][^;={}\n]*?([\w:~]+)\([^;{}]*\)[^;{}]*\{", text[:at], flags=re.M)
    return heads[-1] if heads else ""


def debugger_message(text, call, place):
    """A text for the debugger; None for the routine's own declaration and definition."""
    body = literal(arguments(text, call.end() - 1)[0])
    if body is None:
        return None
    return dict(place, module="debugger", zone="always", function=enclosing_function(text, call.start()), number=None,
                text=body)


def of_file(path, root=ROOT):
    text = without_comments(path.read_text(encoding="utf-8"))
    constants = dict(re.findall(r'\b(k\w+)\s*(?:\[\])?\s*=\s*"((?:\\.|[^"\\])*)"', text))
    constants.update(re.findall(r"\b(?:constexpr|const)\b[^;=]*?\b(k\w+)\s*=\s*(\d+)", text))
    found = []
    calls = r"\b(DebugPrintZone|HelperDebugPrint|DebugPrint|FunctionScope const scope|WriteDebugger)\s*\("
    for call in re.finditer(calls, text):
        place = {"file": str(path.relative_to(root)), "line": text.count("\n", 0, call.start()) + 1}
        parts = arguments(text, call.end() - 1)
        if call.group(1) == "WriteDebugger":
            found += filter(None, [debugger_message(text, call, place)])
            continue
        if call.group(1).startswith("FunctionScope"):
            found += scope_messages(literal(parts[0]), place)
            continue
        message = call_message(call.group(1), parts, constants, place)
        asked = re.search(r"IsZoneOn\((\w+)\)\)\s*\{?\s*$", text[: call.start()])
        if message and asked:
            message["zone"] = asked.group(1)
        if message:
            found.append(message)
        elif path.name not in LOG_ITSELF:
            raise ValueError(f"{place['file']}:{place['line']}: a message whose text or function is no literal")
    return found


def messages():
    files = [path for folder in FOLDERS for path in sorted((PRODUCT / folder).rglob("*.cpp"))]
    return [message for path in files for message in of_file(path)]


def shown(text):
    text = text.replace("\\r", "").replace("\\n", "").replace("\\\"", '"').replace("\\\\", "\\").replace("|", "\\|")
    return f"`{text}`" if text.strip() else "(empty)"


def meanings():
    """(function, number) of each line of MEANINGS: whether it is usual, and its parts."""
    found = {}
    for line in MEANINGS.read_text(encoding="utf-8").splitlines():
        if not line or line.startswith("#"):
            continue
        name, *parts = (part.strip() for part in line.split(" | "))
        function, number = name.rsplit(" ", 1)
        usual = parts[0].startswith("usual ")
        parts[0] = parts[0].removeprefix("usual ")
        if len(parts) not in (1, 3) or any(sign in line for sign in "[]"):
            raise ValueError(f"{MEANINGS.name}: {line}: a meaning, or a meaning, a cause and an action")
        if (function, number) in found:
            raise ValueError(f"{MEANINGS.name}: {name} is there twice")
        found[function, number] = usual, parts
    return found


def sentence(text):
    return text[0].upper() + text[1:].replace(";", ",") + "."


def explained(message, known, used):
    """The message's zone and its meaning as the page shows them."""
    if message["text"].endswith(": (+)") or message["text"].endswith(": (-)"):
        return message["zone"], "Entry." if message["text"].endswith("(+)") else "Exit."
    key = message["function"], "-" if message["number"] is None else str(message["number"])
    if key not in known:
        raise ValueError(f"{MEANINGS.name}: {' '.join(key)} has no meaning")
    used.add(key)
    usual, parts = known[key]
    text = sentence(parts[0])
    if len(parts) == 3:
        text += f" Cause: {sentence(parts[1])} Do: {sentence(parts[2])}"
    return message["zone"] + (" (usual)" if usual else ""), text


def page():
    parts, folder = [HEAD], None
    known, used = meanings(), set()
    for message in messages():
        here = message["file"].split("/")[0]
        if here != folder:
            folder = here
            parts.append(f"\n## {folder}/\n\n| function | number | zone | module | text | meaning |\n"
                         "|---|---|---|---|---|---|\n")
        number = "" if message["number"] is None else message["number"]
        zone, meaning = explained(message, known, used)
        parts.append(f"| `{message['function']}` | {number} | {zone} | {message['module']} | "
                     f"{shown(message['text'])} | {meaning} |\n")
    if known.keys() - used:
        raise ValueError(f"{MEANINGS.name}: no such message: {sorted(known.keys() - used)[0]}")
    return "".join(parts)


def main(arguments_given):
    if arguments_given == ["--json"]:
        print(json.dumps({"schema": 1, "messages": messages()}, indent=1))
        return 0
    return generated.keep(PAGE, page(), arguments_given, "messages.py", f"{len(messages())} messages")


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
