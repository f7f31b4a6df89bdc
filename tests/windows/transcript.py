"""Compares the messages of the service in two worlds, in order within each thread.

Threads have no names on Windows. A thread there belongs to the thread of the simulated tablet with the same first message;
threads with the same first message (callbacks) are joined in the order of their start. Messages of different threads have
no order.
"""

import difflib
from collections import Counter
from dataclasses import dataclass


@dataclass(frozen=True)
class Message:
    thread: object  # its name on the simulated tablet, its number on Windows
    text: str  # the whole message: function, line, text
    guid: str  # of the module

    @staticmethod
    def of(event):
        return Message(event["thread"], event["text"], event["guid"].upper())


@dataclass(frozen=True)
class Compared:
    """A message as it is compared: its own text, or that of a listed difference."""

    words: str
    guid: str

    def __str__(self):
        return self.words


def compare(tablet, windows, differences):
    """Texts that describe each unexplained difference, and each listed difference that did not occur."""
    used = Counter()
    hosted = _by_thread(_explain(tablet, differences, "tablet", used))
    other = _by_thread(_explain(windows, differences, "wine", used))
    complaints = []
    matched = _match_threads(hosted, other, complaints)
    for name, logged in hosted.items():
        complaints += _compare_thread(name, logged, matched.get(name, []))
    for difference in differences:
        if not difference.occurred(used):
            complaints.append(f"listed difference did not occur: {difference}")
    return complaints


def inclusion(expected, logged, differences):
    """The number of expected messages that no thread has logged yet."""
    wanted = Counter(one for _, one in _explain(expected, differences, "tablet", Counter()))
    heard = Counter(one for _, one in _explain(logged, differences, "wine", Counter()))
    return sum((wanted - heard).values())


def _explain(messages, differences, world, used):
    """(thread, Compared) of each message that both worlds must have."""
    for message in messages:
        for difference in differences:
            words = difference.explain(message.text, world)
            if words is not None:
                used[difference, world, message.text] += 1
                if not difference.is_of_one_world:
                    yield message.thread, Compared(words, message.guid)
                break
        else:
            yield message.thread, Compared(message.text, message.guid)


def _by_thread(pairs):
    threads = {}
    for thread, logged in pairs:
        threads.setdefault(thread, []).append(logged)
    return threads


def _match_threads(hosted, other, complaints):
    """{name of the tablet's thread: messages of its threads on Windows}"""
    beginnings = {logged[0]: name for name, logged in hosted.items()}
    matched = {}
    for number, logged in other.items():
        name = beginnings.get(logged[0])
        if name is None:
            complaints.append(f"only Wine has this thread: {'; '.join(map(str, logged))}")
        else:
            matched.setdefault(name, []).extend(logged)
    return matched


def _compare_thread(name, hosted, other):
    matcher = difflib.SequenceMatcher(None, hosted, other, autojunk=False)
    for kind, first, last, other_first, other_last in matcher.get_opcodes():
        if kind == "equal":
            continue
        for logged in hosted[first:last]:
            yield f"thread {name}: only the tablet logs (of {logged.guid}): {logged}"
        for logged in other[other_first:other_last]:
            yield f"thread {name}: only Wine logs (of {logged.guid}): {logged}"
