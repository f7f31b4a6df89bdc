"""The life of the service on the simulated tablet, for comparison."""

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


class HostedLife:
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
        """What the service says before a virtual time; without one, until it has come to rest and is stopped."""
        messages = []
        for event in self.events:
            if event["kind"] == "event" and event["text"] == STOP_SENT:
                break
            if event["kind"] == "trace" and (at_ms is None or event["time_ms"] < at_ms):
                messages.append(transcript.Message.of(event))
        return messages

    def was_told_to_stop(self):
        return any(event["kind"] == "event" and event["text"] == STOP_SENT for event in self.events)

    def requests(self):
        """The codes of all requests to drivers that got as far as one."""
        calls = [event for event in self.events if event["kind"] == "call" and event["name"] == "DeviceIoControl"]
        return [int(call["args"].split(", ")[1], 16) for call in calls]

    def partner(self):
        """What the partner service was told, as texts."""
        return self._told("partner service ")

    def radio(self):
        """What the radio's library was told, as texts."""
        return self._told("radio layer ")

    def _told(self, who):
        texts = [event["text"] for event in self.events if event["kind"] == "event"]
        return [text.removeprefix(who) for text in texts if text.startswith(who)]

    def statuses(self):
        return [
            (event["state"], event["controls_accepted"], event["exit_code"], event["check_point"])
            for event in self.events
            if event["kind"] == "status"
        ]
