"""A run of the service on the simulated tablet, for comparison."""

import json
import subprocess
from pathlib import Path

import tablet_folder
import transcript

# Texts of events, as vantord-tablet writes them.
STOP_SENT = "stop control sent"


def make_tablet(program, folder, sample, small):
    command = [str(program), "init", str(folder), "--sample", sample] + (["--small"] if small else [])
    subprocess.run(command, check=True, capture_output=True, timeout=60)
    return tablet_folder.TabletFolder(folder)


class HostedRun:
    """One run of `vantord-tablet run` on a copy of the tablet."""

    def __init__(self, program, tablet, work):
        work = Path(work)
        events = work / "events.jsonl"
        saved = work / "saved"
        command = [program, "run", tablet.path, "--quiet", "--calls", "--events", events, "--save", saved]
        subprocess.run([str(word) for word in command], check=True, capture_output=True, timeout=120)
        self.events = [json.loads(line) for line in events.read_text().splitlines()]
        self.saved = tablet_folder.TabletFolder(saved)

    def messages(self):
        return [transcript.Message.of(event) for event in self.events if event["kind"] == "trace"]

    def messages_before(self, at_ms=None):
        """The messages before a virtual time; without one, all until the stop control."""
        messages = []
        for event in self.events:
            if event["kind"] == "event" and event["text"] == STOP_SENT:
                break
            if event["kind"] == "trace" and (at_ms is None or event["time_ms"] < at_ms):
                messages.append(transcript.Message.of(event))
        return messages

    def was_stopped(self):
        return any(event["kind"] == "event" and event["text"] == STOP_SENT for event in self.events)

    def requests(self):
        """The codes of all requests that reached a driver."""
        calls = [event for event in self.events if event["kind"] == "call" and event["name"] == "DeviceIoControl"]
        return [int(call["args"].split(", ")[1], 16) for call in calls]

    def partner(self):
        """What the partner service received, as texts."""
        return self._received("partner service ")

    def radio(self):
        """What the radio's library received, as texts."""
        return self._received("radio layer ")

    def _received(self, who):
        texts = [event["text"] for event in self.events if event["kind"] == "event"]
        return [text.removeprefix(who) for text in texts if text.startswith(who)]

    def statuses(self):
        return [
            (event["state"], event["controls_accepted"], event["exit_code"], event["check_point"])
            for event in self.events
            if event["kind"] == "status"
        ]
