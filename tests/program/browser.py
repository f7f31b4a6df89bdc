"""A headless Chromium, driven through chromedriver over HTTP: no more of WebDriver than these tests need."""

import base64
import json
import shutil
import subprocess
import tempfile
import urllib.request

NEEDED = {"chromium": "chromium", "chromedriver": "chromium-driver"}
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
# A browser that looks for nothing outside.
FLAGS = (
    "--headless=new --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking "
    "--disable-component-update --disable-sync --disable-dev-shm-usage --hide-scrollbars"
).split()


def missing():
    """The Debian packages without which there is no browser here."""
    return sorted(package for program, package in NEEDED.items() if shutil.which(program) is None)


class Browser:
    """One window. `with Browser() as browser: ...` ends both programs."""

    def __enter__(self):
        self.profile = tempfile.TemporaryDirectory(prefix="vantord-browser-", ignore_cleanup_errors=True)
        # Port 0: chromedriver takes a free one and says which.
        self.driver = subprocess.Popen(
            ["chromedriver", "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
        )
        try:
            self.address = self._address()
            self.session = ""
            chrome = {"binary": shutil.which("chromium"), "args": [*FLAGS, f"--user-data-dir={self.profile.name}"]}
            wanted = {"goog:chromeOptions": chrome, "goog:loggingPrefs": {"browser": "ALL"}}
            opened = self._ask("POST", "/session", {"capabilities": {"alwaysMatch": wanted}})
            self.session = f"/session/{opened['sessionId']}"
        except BaseException:
            self._end()
            raise
        return self

    def __exit__(self, *_):
        try:
            self._ask("DELETE", "")
        finally:
            self._end()

    def _end(self):
        self.driver.terminate()
        self.driver.wait(timeout=20)
        self.driver.stdout.close()
        self.profile.cleanup()

    def _address(self):
        for line in self.driver.stdout:
            if "started successfully on port" in line:
                return f"http://127.0.0.1:{line.rstrip().rstrip('.').split()[-1]}"
        raise RuntimeError("chromedriver ended before it listened")

    def _ask(self, method, path, body=None):
        data = None if body is None and method != "POST" else json.dumps(body or {}).encode()
        request = urllib.request.Request(self.address + self.session + path if self.session else self.address + path,
                                         data=data, method=method, headers={"Content-Type": "application/json"})
        # Straight to the driver, whatever proxy the environment names.
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with opener.open(request, timeout=60) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def cdp(self, command, **parameters):
        return self._ask("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def look(self, width, height=900, dark=False):
        """The window's size in CSS pixels, and what the user prefers."""
        self.cdp("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
        self.cdp("Emulation.setEmulatedMedia", features=[scheme])

    def open(self, file):
        self.go(file.resolve().as_uri())

    def go(self, address):
        self._ask("POST", "/url", {"url": address})

    def wait_for(self, script):
        """Waits until the body of a function returns true; the driver gives up after a while."""
        self._ask("POST", "/execute/async", {"args": [], "script": f"""
            const done = arguments[arguments.length - 1];
            const look = () => (() => {{ {script} }})() ? done(true) : requestAnimationFrame(look);
            look();"""})

    def run(self, script, *arguments):
        """Answers what the body of a function returns."""
        return self._ask("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def find(self, selector):
        return self._ask("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]

    def click(self, selector):
        self._ask("POST", f"/element/{self.find(selector)}/click")

    def click_at(self, x, y):
        for kind in ("mousePressed", "mouseReleased"):
            self.cdp("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", clickCount=1)

    def type(self, selector, text):
        element = self.find(selector)
        self._ask("POST", f"/element/{element}/clear")
        if text:
            self._ask("POST", f"/element/{element}/value", {"text": text})

    def press(self, *keys):
        """Presses keys where the focus is; names as WebDriver has them, by code point."""
        actions = [{"type": kind, "value": key} for key in keys for kind in ("keyDown", "keyUp")]
        self._ask("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def complaints(self):
        """What the page or the browser has written on the console."""
        return [entry["message"] for entry in self._ask("POST", "/se/log", {"type": "browser"})]

    def screenshot(self, file, whole_page=True):
        picture = self.cdp("Page.captureScreenshot", format="png", captureBeyondViewport=whole_page)
        file.write_bytes(base64.b64decode(picture["data"]))
