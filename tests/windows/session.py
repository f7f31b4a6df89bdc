"""One run of the service on a Windows machine: the tablet's timeline is played, and the results are collected."""

import json
import os
import stat
import time
import uuid
from dataclasses import dataclass, field
from pathlib import Path

import facts
import provision
import registry_text
import transcript
from facts import SERVICE
from machine import MachineError
from provision import PARTNER_NOTES, RADIO_NOTES, RECORD, TOAST_NOTE, steer
from tablet_folder import File

REST_SECONDS = 60
END_SECONDS = 90
TOAST_SECONDS = 20
POLL_SECONDS = 0.02

# The service, and one that does nothing, whose memory is Wine's.
MEASURED = ("Vantord.exe", "partner.exe")

TOAST_STARTED = "Success to launch Toast for CPCrash"

# A control that cannot be sent under Wine is described in the registry; the supplied library delivers it for this one.
DESCRIBED_CONTROL = 255
DESCRIPTION_KEY = r"HKEY_LOCAL_MACHINE\SOFTWARE\VantordTest"
POWER_EVENT, PRESHUTDOWN = 13, 15
POWER_TYPES = {"suspend": 4, "resume": 18}
POWER_SETTING_CHANGE = 0x8013
DISPLAY_SETTING = uuid.UUID(facts.DISPLAY_SETTING).bytes_le
DISPLAY_STATES = {"off": 0, "on": 1, "dimmed": 2}

STATES = {1: "STOPPED", 2: "START_PENDING", 3: "STOP_PENDING", 4: "RUNNING", 5: "CONTINUE_PENDING", 6: "PAUSE_PENDING"}


@dataclass
class Outcome:
    """The results of one run of the service."""

    statuses: list = field(default_factory=list)  # (state, controls accepted, exit code, check point), as queried
    messages: list = field(default_factory=list)  # transcript.Message
    files: dict = field(default_factory=dict)  # changes on drive C: {path: File, None if removed}
    registry: dict = field(default_factory=dict)  # the keys that the tablet names, with their sub-keys
    partner: list = field(default_factory=list)  # what the partner service received, as texts
    radio: list = field(default_factory=list)  # what the radio's library received, as texts
    toasts: list = field(default_factory=list)  # how the notification program was started
    arrivals: dict = field(default_factory=dict)  # what the devices received
    memory: dict = field(default_factory=dict)  # of service and partner before a stop, as from Machine.memory


class Session:
    def __init__(self, machine, tablet, programs):
        self.machine = machine
        self.tablet = tablet
        self.programs = programs
        self.memory = {}
        self.wait_seconds = REST_SECONDS  # 0 after one time-out: a service that logs something else delays a test once

    def run(self, hosted, differences):
        """One run of the service. `hosted` is its run on the simulated tablet: each event of the timeline waits until the
        service has logged what it had logged there by then, and the stop until it has logged everything."""
        for notes in (RECORD, TOAST_NOTE, PARTNER_NOTES, RADIO_NOTES):
            self.machine.host_path(notes).unlink(missing_ok=True)
        before = _snapshot(self.machine.drive)
        steer(self.machine, "start", SERVICE)
        self.started = time.monotonic()
        printed = self._follow(self._timeline(), hosted, differences)
        return Outcome(
            statuses=self._statuses(printed),
            messages=self._messages(),
            arrivals=_objects(steer(self.machine, "arrivals"))[0],
            partner=[note["partner"] for note in self._notes(PARTNER_NOTES)],
            radio=[note["radio"] for note in self._notes(RADIO_NOTES)],
            toasts=self._toasts(),
            memory=self.memory,
            files=self._files(self._changed_paths(before)),
            registry=self._registry(),
        )

    def variables(self, keys):
        """The existing firmware variables of `keys`: {key: data}."""
        variables = {}
        for key in keys:
            shown = json.loads(self.machine.run_for_status(provision.STEER, "show", key)[1])
            if "variable" in shown:
                variables[key] = bytes.fromhex(shown["variable"])
        return variables

    def _timeline(self):
        """(milliseconds after the start, event), in order."""
        events = [(event["at_ms"], event) for event in self.tablet.get("timeline", [])]
        events += [(event["at_ms"], {"event": "setup", **event}) for event in self.tablet.get("setup", [])]
        if self.tablet.get("modem.arrives_at_ms", 0):
            events.append((self.tablet.get("modem.arrives_at_ms", 0), {"event": "modem arrives"}))
        return sorted(events, key=lambda event: event[0])

    def _follow(self, timeline, hosted, differences):
        """Plays the timeline in real time until the service ends. Returns the statuses that steer.exe printed."""
        for at, event in timeline:
            self._await_messages(hosted.messages_before(at), differences)
            time.sleep(max(0, self.started + at / 1000 - time.monotonic()))
            if event["event"] in ("stop", "preshutdown"):
                return self._end(event["event"])
            self._happen(event)
        if not hosted.was_stopped():
            return self._end("nothing")
        self._await_messages(hosted.messages_before(), differences)
        return self._end("stop")

    def _end(self, how):
        if how == "preshutdown":
            self._describe(PRESHUTDOWN)
        if how == "stop":
            self.memory = {program: self.machine.memory(program) for program in MEASURED}
        verb = "stop" if how == "stop" else "await"
        return steer(self.machine, verb, SERVICE, 1000 * END_SECONDS, seconds=END_SECONDS + 30)

    def _happen(self, event):
        kind = event["event"]
        if kind == "control":
            steer(self.machine, "control", SERVICE, event["control"])
        elif kind == "interrogate":
            steer(self.machine, "control", SERVICE, 4)
        elif kind in POWER_TYPES:
            self._describe(POWER_EVENT, POWER_TYPES[kind])
        elif kind == "power":
            self._describe(POWER_EVENT, event["type"])
        elif kind == "display":
            setting = DISPLAY_SETTING + (4).to_bytes(4, "little") + DISPLAY_STATES[event["state"]].to_bytes(4, "little")
            self._describe(POWER_EVENT, POWER_SETTING_CHANGE, setting)
        elif kind in ("arrival", "removal"):
            if event["link"] != provision.USB_LINK:
                raise MachineError(f"{self.tablet.path}/tablet.json: the only device that can arrive or leave is {provision.USB_LINK}")
            steer(self.machine, "interface", "usb", "on" if kind == "arrival" else "off")
        elif kind == "modem arrives":
            steer(self.machine, "interface", "modem", "on")
        elif kind == "setup":
            key = r"HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Setup\State"
            self.machine.run("reg", "add", key, "/v", "ImageState", "/d", event["image_state"], "/f")
        else:
            raise MachineError(f"{self.tablet.path}/tablet.json: the event {kind} cannot happen on a Windows machine yet")

    def _describe(self, control, event_type=0, data=b""):
        """Delivers a control that cannot be sent under Wine."""
        words = [DESCRIPTION_KEY, "/f", "/v"]
        self.machine.run("reg", "add", *words, "Control", "/t", "REG_DWORD", "/d", control)
        self.machine.run("reg", "add", *words, "EventType", "/t", "REG_DWORD", "/d", event_type)
        self.machine.run("reg", "add", *words, "EventData", "/t", "REG_BINARY", "/d", data.hex())
        steer(self.machine, "control", SERVICE, DESCRIBED_CONTROL)

    def _await_messages(self, expected, differences):
        """Waits until all expected messages are logged. After a time-out the comparison reports what is missing."""
        began, file, looked_at = time.monotonic(), self.machine.host_path(RECORD), None
        while True:
            size = file.stat().st_size if file.exists() else 0
            if size != looked_at and not transcript.inclusion(expected, self._messages(), differences):
                return
            looked_at = size
            if time.monotonic() - began > self.wait_seconds:
                self.wait_seconds = 0
                return
            time.sleep(POLL_SECONDS)

    def _record(self):
        file = self.machine.host_path(RECORD)
        # The last line may be incomplete.
        lines = file.read_text().split("\n")[:-1] if file.exists() else []
        return [json.loads(line) for line in lines]

    def _messages(self):
        return [transcript.Message.of(event) for event in self._record() if event["kind"] == "trace"]

    def _statuses(self, printed):
        """Each status as the service manager showed it right after the report, and the final one."""
        shown = [event for event in self._record() if event["kind"] == "status"] + _objects(printed)[-1:]
        return [
            (STATES[event["state"]], event["controls_accepted"], event["exit_code"], event["check_point"])
            for event in shown
        ]

    def _toasts(self):
        """Waits for the note of the notification program if the service started it."""
        file = self.machine.host_path(TOAST_NOTE)
        end = time.monotonic() + TOAST_SECONDS
        started = any(message.text.endswith(TOAST_STARTED) for message in self._messages())
        while started and not (file.exists() and file.stat().st_size) and time.monotonic() < end:
            time.sleep(POLL_SECONDS)
        return self._notes(TOAST_NOTE)

    def _notes(self, windows_path):
        file = self.machine.host_path(windows_path)
        return _objects(file.read_text()) if file.exists() else []

    def _changed_paths(self, before):
        """Paths relative to drive C: on the host."""
        after = _snapshot(self.machine.drive)
        changed = {path for path in before.keys() | after.keys() if before.get(path) != after.get(path)}
        return [path for path in sorted(changed) if path.parts[0] != "vantord-test"]

    def _files(self, paths):
        """The attributes come from Windows, the contents from the host."""
        listing = provision.TEST_FOLDER + "\\paths.txt"
        names = [str(path).replace("/", "\\") for path in paths]
        text = "".join(f"C:\\{name}\r\n" for name in names)
        self.machine.host_path(listing).write_text(text, encoding="utf-8")
        answers = _objects(steer(self.machine, "attributes", listing))
        return {
            name.lower(): None if answer["attributes"] is None else File.of(self.machine.drive / path, answer["attributes"])
            for path, name, answer in zip(paths, names, answers, strict=True)
        }

    def _registry(self):
        registry = {}
        for number, key in enumerate(_top_keys(self.tablet.registry())):
            exported = f"{provision.TEST_FOLDER}\\export{number}.reg"
            self.machine.run("reg", "export", key, exported, "/y")
            registry_text.parse(registry_text.decode(self.machine.host_path(exported).read_bytes()), registry)
        return registry


def _objects(printed):
    objects = [json.loads(line) for line in printed.splitlines() if line.strip()]
    for one in objects:
        if "failed" in one:
            raise MachineError(f"{one['failed']} failed with error {one['error']}")
    return objects


def _top_keys(keys):
    """The keys that are not below another one."""
    return [key for key in sorted(keys) if not any(key.startswith(other + "\\") for other in keys)]


def _snapshot(drive):
    """Facts that change with a file or folder of drive C:."""
    snapshot = {}
    for folder, folders, files in os.walk(drive, followlinks=False):
        for name in folders + files:
            path = Path(folder, name)
            about = path.lstat()
            is_folder = stat.S_ISDIR(about.st_mode)
            when = None if is_folder else (about.st_size, about.st_mtime_ns, about.st_ino)
            snapshot[path.relative_to(drive)] = (about.st_mode, when, _dos_attributes(path))
    return snapshot


def _dos_attributes(path):
    try:
        return os.getxattr(path, "user.DOSATTRIB", follow_symlinks=False)
    except OSError:
        return None
