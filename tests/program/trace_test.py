#!/usr/bin/env python3
"""What an independent trace viewer makes of `run --trace`: trace_test.py PROGRAM FOLDER

The viewer is speedscope, a page that npm has; it runs in a headless Chromium. FOLDER keeps it, the traces and
screenshots. Exit code 77 where the viewer or a browser cannot be had.
"""

import base64
import functools
import hashlib
import http.server
import json
import shutil
import subprocess
import sys
import tarfile
import threading
import unittest
from pathlib import Path

sys.dont_write_bytecode = True

from browser import Browser, missing  # noqa: E402

PROGRAM, FOLDER = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
VIEWER = "speedscope@1.25.0"
INTEGRITY = (
    "sha512-cpf9HWTZf1ijLXBJrk87Ve/54tnYx6rlf0gUThvn3ook6h63hLXVO"
    "QiMf44PT+XoV503cPfvfiT5gP5vojp6Ag=="
)
PAGE = FOLDER / "viewer"


def fetch():
    """Answers what is missing, or nothing."""
    if (PAGE / "index.html").exists():
        return ""
    if shutil.which("npm") is None:
        return "npm, which fetches the viewer, is not installed"
    done = subprocess.run(["npm", "pack", VIEWER, "--pack-destination", FOLDER, "--silent"],
                          capture_output=True, text=True, check=False, timeout=120)
    if done.returncode != 0:
        return f"npm cannot fetch {VIEWER}: {done.stderr.strip()[-300:]}"
    package = FOLDER / done.stdout.split()[-1]
    found = "sha512-" + base64.b64encode(hashlib.sha512(package.read_bytes()).digest()).decode()
    if found != INTEGRITY:
        raise SystemExit(f"{package}: its integrity is {found}, not the pinned {INTEGRITY}")
    with tarfile.open(package) as tar:
        tar.extractall(FOLDER / "package")  # what it holds is pinned above
    (FOLDER / "package" / "package" / "dist" / "release").rename(PAGE)
    return ""


def make_trace(sample):
    folder = FOLDER / sample
    subprocess.run([PROGRAM, "init", folder, "--sample", sample, "--small"], check=True, stdout=subprocess.DEVNULL)
    trace = PAGE / f"{sample}.json"
    subprocess.run([PROGRAM, "run", folder, "--quiet", "--force", "--trace", trace], check=True, stdout=subprocess.DEVNULL)
    return json.loads(trace.read_text())["traceEvents"]


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


class TraceTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser())
        handler = functools.partial(QuietHandler, directory=PAGE)
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        cls.addClassCleanup(server.server_close)
        cls.addClassCleanup(server.shutdown)
        cls.address = f"http://127.0.0.1:{server.server_port}"

    def open(self, sample):
        """Shows a trace; returns the viewer's title and its message about the trace."""
        self.browser.look(1400)
        self.browser.go("about:blank")
        self.browser.complaints()
        self.browser.go(f"{self.address}/index.html#profileURL={self.address}/{sample}.json&title={sample}")
        self.browser.wait_for("return document.body.innerText.includes('Time Order')")
        said = [line.split(" ", 2)[-1] for line in self.browser.complaints() if "/speedscope-" in line]
        return self.browser.run("return document.body.innerText"), said

    def test_every_thread_and_span_is_taken_without_a_complaint(self):
        for sample in ("fresh", "crashed-modem", "oobe-then-desktop"):
            with self.subTest(sample=sample):
                events = make_trace(sample)
                text, said = self.open(sample)
                tracks = {event["tid"] for event in events if event["ph"] == "X"}
                self.assertIn(f"{sample} (1/{len(tracks)})", text.replace("\n", " "))
                self.assertTrue(any("Trace Event Format" in line for line in said), said)
                self.assertEqual([line for line in said if "ts=" in line or "rror" in line], [])
                self.browser.screenshot(FOLDER / f"{sample}.png")


if __name__ == "__main__":
    lacking = missing()
    if not lacking:
        FOLDER.mkdir(parents=True, exist_ok=True)
        for old in FOLDER.iterdir():
            if old.is_dir() and old != PAGE:
                shutil.rmtree(old)
    reason = f"no browser: install {' and '.join(lacking)}" if lacking else fetch()
    if reason:
        print("skipped:", reason)
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
