"""Prints results as they arrive and writes a JUnit report."""

import contextlib
import threading
import time
import traceback
from xml.sax.saxutils import escape, quoteattr


class Report:
    def __init__(self):
        self._lock = threading.Lock()
        self._cases = []  # (suite, name, seconds, kind of failure or None, text)

    @contextlib.contextmanager
    def test(self, suite, name):
        """Runs a test's body; an exception is its failure."""
        started = time.monotonic()
        try:
            yield
        except Exception as error:  # noqa: BLE001 - a test may fail with anything
            expected = isinstance(error, AssertionError)
            text = str(error) if expected else "".join(traceback.format_exception(error))
            self.add(suite, name, time.monotonic() - started, "failure", text)
        else:
            self.add(suite, name, time.monotonic() - started, None, "")

    def skip(self, suite, name, reason):
        self.add(suite, name, 0.0, "skipped", reason)

    def add(self, suite, name, seconds, kind, text):
        words = {None: "passed ", "failure": "FAILED ", "skipped": "skipped"}
        with self._lock:
            self._cases.append((suite, name, seconds, kind, text))
            print(f"{words[kind]} {seconds:6.1f} s  {suite}: {name}" + (f"\n{text}" if text else ""), flush=True)

    @property
    def count(self):
        return len(self._cases)

    @property
    def failed(self):
        return self._number("failure")

    def _number(self, kind):
        return sum(1 for case in self._cases if case[3] == kind)

    def summary(self):
        skipped = self._number("skipped")
        passed = self.count - self.failed - skipped
        return f"{passed} passed, {self.failed} failed, {skipped} skipped"

    def write(self, path):
        lines = [
            '<?xml version="1.0" encoding="UTF-8"?>',
            f'<testsuite name="windows" tests="{self.count}" failures="{self.failed}" disabled="0" '
            f'skipped="{self._number("skipped")}">',
        ]
        for suite, name, seconds, kind, text in self._cases:
            lines.append(f"<testcase classname={quoteattr(suite)} name={quoteattr(name)} time=\"{seconds:.3f}\">")
            if kind == "failure":
                lines.append(f"<failure>{escape(text)}</failure>")
            elif kind == "skipped":
                lines.append(f"<skipped message={quoteattr(text)}/>")
            lines.append("</testcase>")
        lines.append("</testsuite>")
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("\n".join(lines) + "\n", encoding="utf-8")
