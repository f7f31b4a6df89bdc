"""Compares what the service said in two worlds: message by message, in order within each thread.

Threads have no names on Windows. A thread there belongs to the thread of the simulated tablet that begins with the same
message; several that begin alike (callbacks on threads of their own) are taken together, in the order of their
beginning. Messages of different threads have no order.
"""

import difflib
from collections import Counter
from dataclasses import dataclass


@dataclass(frozen=True)
class Message:
    thread: object  # its name on the simulated tablet, its number on Windows
    text: str  # function, line and words, as they were traced
    guid: str  # of the module that speaks

    @staticmethod
    def of(event):
        return Message(event["thread"], event["text"], event["guid"].upper())


@dataclass(frozen=True)
class Said:
    """A message as it is compared: either in its own words, or as one that a known difference explains."""

    words: str
    guid: str

    def __str__(self):
        return self.words


def compare(tablet, windows, differences):
    """Complaints, as texts, about all that the differences do not explain, and about those that did not occur."""
    used = Counter()
    hosted = _by_thread(_explain(tablet, differences, "tablet", used))
    other = _by_thread(_explain(windows, differences, "wine", used))
    complaints = []
    matched = _match_threads(hosted, other, complaints)
    for name, said in hosted.items():
        complaints += _compare_thread(name, said, matched.get(name, []))
    for difference in differences:
        if not difference.occurred(used):
            complaints.append(f"listed, but there is no such difference: {difference}")
    return complaints


def inclusion(expected, said, differences):
    """How many of the expected messages have not been said yet, whoever says them."""
    wanted = Counter(one for _, one in _explain(expected, differences, "tablet", Counter()))
    heard = Counter(one for _, one in _explain(said, differences, "wine", Counter()))
    return sum((wanted - heard).values())


def _explain(messages, differences, world, used):
    """(thread, what is compared) of each message that counts in both worlds."""
    for message in messages:
        for difference in differences:
            words = difference.explain(message.text, world)
            if words is not None:
                used[difference, world, message.text] += 1
                if not difference.is_of_one_world:
                    yield message.thread, Said(words, message.guid)
                break
        else:
            yield message.thread, Said(message.text, message.guid)


def _by_thread(pairs):
    threads = {}
    for thread, said in pairs:
        threads.setdefault(thread, []).append(said)
    return threads


def _match_threads(hosted, other, complaints):
    """{name of the tablet's thread: what its threads on Windows said}"""
    beginnings = {said[0]: name for name, said in hosted.items()}
    matched = {}
    for number, said in other.items():
        name = beginnings.get(said[0])
        if name is None:
            complaints.append(f"a thread that the tablet does not have says: {'; '.join(map(str, said))}")
        else:
            matched.setdefault(name, []).extend(said)
    return matched


def _compare_thread(name, hosted, other):
    matcher = difflib.SequenceMatcher(None, hosted, other, autojunk=False)
    for kind, first, last, other_first, other_last in matcher.get_opcodes():
        if kind == "equal":
            continue
        for said in hosted[first:last]:
            yield f"thread {name}: only the tablet says (of {said.guid}): {said}"
        for said in other[other_first:other_last]:
            yield f"thread {name}: only Wine says (of {said.guid}): {said}"
