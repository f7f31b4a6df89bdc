#!/usr/bin/env python3
"""The pages of `run --report` and `explain --report` as its readers meet it, in a headless Chromium: report_test.py PROGRAM FOLDER

FOLDER is made anew; it keeps the tablets, the pages and screenshots of them. Exit code 77 where there is no browser.
"""

import base64
import json
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

sys.dont_write_bytecode = True

from browser import Browser, missing  # noqa: E402

PROGRAM, FOLDER = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
TAB, ENTER, RIGHT, HOME, END = "\ue004", "\ue007", "\ue014", "\ue011", "\ue010"
NASTY = "</script ></script><script>document.title='broken'</script><!--<b>&amp;"

# Of all elements with a text of their own: the least contrast between it and what is behind it.
LEAST_CONTRAST = """
const channel = (c) => (c /= 255) <= 0.03928 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4;
const parse = (color) => color.match(/[0-9.]+/g).map(Number);
const light = ([r, g, b]) => 0.2126 * channel(r) + 0.7152 * channel(g) + 0.0722 * channel(b);
const behind = (element) => {
  for (let e = element; e; e = e.parentElement) {
    const color = parse(getComputedStyle(e).backgroundColor);
    if (color.length === 3 || color[3] === 1) return color;
  }
  return [255, 255, 255];
};
let least = [99, ''];
for (const element of document.body.querySelectorAll('*')) {
  const own = [...element.childNodes].some((node) => node.nodeType === 3 && node.data.trim());
  if (!own || element.closest('script, svg, noscript') || element.getClientRects().length === 0) continue;
  const a = light(parse(getComputedStyle(element).color));
  const b = light(behind(element));
  const contrast = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
  if (contrast < least[0]) least = [contrast, element.textContent.slice(0, 60)];
}
return least;
"""


def tablet(name, sample, change=None):
    folder = FOLDER / name
    subprocess.run([PROGRAM, "init", folder, "--sample", sample, "--small"], check=True, stdout=subprocess.DEVNULL)
    if change:
        change(folder)
    page = FOLDER / f"{name}.html"
    subprocess.run([PROGRAM, "run", folder, "--quiet", "--report", page], check=True, stdout=subprocess.DEVNULL)
    return page


def make_nasty(folder):
    description = json.loads((folder / "tablet.json").read_text())
    description["name"] = NASTY
    (folder / "tablet.json").write_text(json.dumps(description))
    (folder / "registry" / "zy-nasty.reg").write_text(
        "Windows Registry Editor Version 5.00\n\n"
        "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantord\\Parameters\\CSC]\n"
        '"VZW"="</script>"\n'
    )


def trace(name, sample):
    events, page = FOLDER / f"{name}.jsonl", FOLDER / f"{name}.html"
    subprocess.run([PROGRAM, "run", FOLDER / sample, "--quiet", "--events", events], check=True, stdout=subprocess.DEVNULL)
    subprocess.run([PROGRAM, "explain", events, "--quiet", "--report", page], check=False, stdout=subprocess.DEVNULL)
    return page


def check_page():
    """A check of a tablet that fails in several ways, beside one that is well."""
    for name in ("checked", "well"):
        subprocess.run([PROGRAM, "init", FOLDER / name, "--small"], check=True, stdout=subprocess.DEVNULL)
    make_nasty(FOLDER / "checked")
    archives = FOLDER / "checked" / "C/Windows/System32/modem_core"
    (archives / "KOR.bin").write_bytes(b"no archive")
    (archives / "A rather long name of an archive to which nothing at all leads.bin").write_bytes(b"unused")
    page = FOLDER / "check.html"
    done = subprocess.run([PROGRAM, "check", FOLDER / "checked", FOLDER / "well", "--report", page], check=False,
                          stdout=subprocess.DEVNULL)
    assert done.returncode == 5, done
    return page


class ReportTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.pages = {name: tablet(name, name) for name in ("fresh", "wifi-only", "crashed-modem")}
        cls.pages["nasty"] = tablet("nasty", "fresh", make_nasty)
        cls.pages["corrupt-archive"] = tablet("corrupt-archive", "corrupt-archive")
        cls.pages["trace"] = trace("trace", "corrupt-archive")
        cls.check = check_page()
        cls.browser = cls.enterClassContext(Browser())

    def setUp(self):
        self.browser.look(1280)

    def open(self, name="fresh"):
        self.browser.open(self.pages[name])
        self.assertEqual(self.browser.run("return document.documentElement.dataset.drawn"), "yes")

    def texts(self, selector):
        return self.browser.run("return [...document.querySelectorAll(arguments[0])].map((e) => e.textContent)", selector)

    def assert_fits(self, screenshot):
        """The page is as wide as the window, and all of it can be read; a picture of it is kept."""
        self.assertLessEqual(self.browser.run("return document.scrollingElement.scrollWidth - window.innerWidth"), 0)
        contrast, text = self.browser.run(LEAST_CONTRAST)
        self.assertGreaterEqual(contrast, 4.5, text)
        self.browser.screenshot(FOLDER / screenshot)

    def data(self):
        return self.browser.run("return JSON.parse(document.getElementById('run').textContent)")

    def test_it_needs_no_network(self):
        text = self.pages["fresh"].read_text()
        markup = re.sub(r'<script type="application/json".*?</script>', "", text, flags=re.S)
        self.assertEqual(re.findall(r"(?:src|href)=\"(?!#)[^\"]*|url\((?!#)|@import|\bfetch\(|XMLHttpRequest|\bimport\b", markup), [])
        for name in self.pages:
            self.open(name)
            self.assertEqual(self.browser.run("return performance.getEntriesByType('resource').map((e) => e.name)"), [])
            self.assertEqual(self.browser.complaints(), [])

    def test_the_answer_and_what_has_changed_can_be_read(self):
        self.open()
        answer = self.texts("#answer")[0]
        self.assertRegex(answer, r"^VZW\.bin, because .*VZW")
        decided = self.texts("#sources tr.decided td")
        self.assertEqual(decided[0], "Map of sales codes")
        self.assertIn("VZW.bin", decided[1])
        self.assertIn("Parameters\\CSC", decided[2])
        self.assertTrue(any(row.startswith("AmssFwImagePath") for row in self.texts("#lookups tbody tr")))
        self.assertTrue(any("qcdsp1v2850.mbn" in row for row in self.texts("#registry tbody tr")))
        self.assertTrue(any("qcdsp1v2850.mbn" in row for row in self.texts("#files tbody tr")))
        self.assertTrue(any("VZW.bin" in row and "A → HA" in row for row in self.texts("#files tbody tr")))
        self.assertIn("No variable has changed.", self.texts("#firmware")[0])

    def test_without_a_deployment_it_says_why_and_what_would_be_chosen(self):
        self.open("wifi-only")
        self.assertRegex(self.texts("#answer")[0], r"^None: the service ended before .*It would be c:.*VZW\.bin, because ")

    def test_the_picture_has_each_thread_the_states_waits_and_controls(self):
        self.open()
        lanes = self.texts("#picture .lane")
        self.assertEqual(lanes[0], "service status")
        threads = {"thread: " + name for name in self.data()["tracks"][1:]}
        self.assertEqual({lane.partition(",")[0] for lane in lanes[1:]}, threads)
        self.assertIn("thread: worker, CVantord::ServiceWorkerThread", lanes)
        self.assertIn("thread: thread, ExecuteSilentResetQCThread", lanes)
        for text in ("START_PENDING", "RUNNING", "STOP_PENDING", "waits: Sleep", "stop control sent"):
            self.assertIn(text, self.texts("#picture svg text"))
        self.assertEqual(len(self.texts("#picture rect.wait")), sum(s["kind"] == "wait" for s in self.data()["spans"]))

    def test_messages_are_found_by_zone_and_text(self):
        self.open()
        steps = [step for step in self.data()["steps"] if step["kind"] != "call"]
        plain = [step for step in steps if step.get("zone") != "ZONE_FUNCTION" and not step.get("usual")]
        self.assertEqual(len(self.texts("#list li")), len(plain))
        self.browser.type("#text", "determinemodembinary")
        self.assertEqual(len(self.texts("#list li")), 1)
        self.assertIn("by CSC VZW", self.texts("#list li")[0])
        self.assertEqual(self.texts("#count")[0], f"1 of {len(steps)} shown")
        self.browser.click("#zones input[value=ZONE_DETAIL]")
        self.assertEqual(self.texts("#list li"), [])
        self.browser.click("#zones input[value=ZONE_DETAIL]")
        self.browser.type("#text", "")
        self.browser.click("#zones input[value=ZONE_FUNCTION]")
        self.browser.click("#zones input[value=usual]")
        self.assertEqual(len(self.texts("#list li")), len(steps))

    def test_it_can_be_used_with_the_keyboard_alone(self):
        self.open()
        self.browser.run("document.getElementById('zoom-in').focus()")
        self.browser.press(TAB)
        self.assertEqual(self.browser.run("return document.activeElement.id"), "picture")
        self.browser.press(HOME)
        first = self.texts("#here")[0]
        self.assertIn('service "Vantord" is started', first)
        self.browser.press(RIGHT, RIGHT)
        self.assertIn("VantorService OnStart", self.texts("#here")[0])
        self.browser.press(ENTER)
        self.assertIn("VantorService OnStart", self.browser.run("return document.activeElement.textContent"))
        self.browser.run("document.getElementById('zoom-fit').focus()")
        self.browser.press(TAB)
        self.browser.press(ENTER)
        picture = "const p = document.getElementById('picture'); return p.scrollWidth / p.clientWidth"
        self.assertAlmostEqual(self.browser.run(picture), 2, delta=0.05)

    def test_a_click_in_the_picture_tells_what_is_there(self):
        self.open("wifi-only")
        self.browser.click("#by-time")
        self.assertIn("20 s", self.texts("#picture .axis"))
        middle = self.browser.run(
            "const lane = [...document.querySelectorAll('#picture .lane')].find((e) => e.textContent.startsWith('thread: service'));"
            "lane.scrollIntoView({block: 'center'});"
            "const svg = document.querySelector('#picture svg').getBoundingClientRect();"
            "return [svg.left + svg.width / 2, lane.getBoundingClientRect().bottom + 10]"
        )
        self.browser.click_at(*middle)
        self.assertRegex(self.texts("#here")[0], r"^(?:9\.500|10\.000) s . thread service . status START_PENDING")

    def test_a_failed_deployment_looks_failed_and_leads_to_the_first_failure(self):
        self.open("corrupt-archive")
        self.assertRegex(self.browser.run("return document.title"), r": the deployment failed$")
        self.assertEqual(self.texts("#outcome.bad"), ["The deployment failed."])
        self.assertTrue(any(text.startswith("failed") for text in self.texts("#facts dd.bad")))
        self.browser.click("#first")
        self.assertIn("Unzipping status 5000000", self.browser.run("return document.activeElement.textContent"))
        self.open("fresh")
        self.assertEqual(self.texts("#outcome.good"), ["The firmware was deployed."])
        self.assertEqual(self.texts("#facts dd.bad"), [])
        self.assertTrue(self.browser.run("return document.getElementById('first').hidden"))
        self.open("nasty")
        self.browser.click("#first")
        self.assertIn("error", self.browser.run("return document.activeElement.className"))

    def test_the_page_of_a_trace_shows_what_a_trace_has(self):
        self.open("trace")
        self.assertRegex(self.texts("#outcome.bad")[0], r"^\d of \d+ entries of .*VZW\.bin failed")
        self.assertEqual(self.texts("#kicker"), ["A trace of Vantord: Start 1"])
        self.assertRegex(self.texts("#answer")[0], r"^VZW\.bin, because .*VZW")
        self.assertIn("Took: extraction", self.texts("#facts dt"))
        for hidden in ("changes", "to-changes", "sources"):
            self.assertTrue(self.browser.run("return document.getElementById(arguments[0]).hidden", hidden), hidden)
        self.assertNotIn("virtual", self.browser.run("return document.body.innerText"))
        self.browser.click("#first")
        self.assertIn("Unzipping status 5000000", self.browser.run("return document.activeElement.textContent"))

    def test_each_message_leads_to_its_meaning(self):
        self.open()
        self.browser.click("#list a.who")
        name, shown = self.browser.run(
            "const name = decodeURIComponent(location.hash.slice(1)); const it = document.getElementById(name);"
            "return [name, it !== null && it.getClientRects().length > 0 && it.nextSibling.textContent.length > 10]"
        )
        self.assertTrue(shown, name)

    def test_it_is_short_on_a_phone_and_on_paper(self):
        for name in self.pages:
            with self.subTest(page=name):
                self.browser.look(375, 700)
                self.open(name)
                self.assertLess(self.browser.run("return document.documentElement.scrollHeight"), 4000)
                self.browser.look(1280)
                self.open(name)
                paper = base64.b64decode(self.browser.cdp("Page.printToPDF", preferCSSPageSize=True)["data"])
                self.assertLessEqual(len(re.findall(rb"/Type\s*/Page\b", paper)), 4)

    def test_texts_of_the_tablet_break_nothing(self):
        self.open("nasty")
        self.assertEqual(self.texts("h1")[0], NASTY)
        self.assertEqual(self.browser.run("return document.title"), NASTY + ": the deployment failed")
        self.assertTrue(any("ModemBinary(</script>)" in text for text in self.texts("#list li")))
        self.assertEqual(self.browser.complaints(), [])

    def test_it_fits_wide_and_narrow_windows_in_light_and_dark(self):
        grounds = set()
        for name in self.pages:
            for width, dark in ((1280, False), (1280, True), (400, False), (400, True)):
                with self.subTest(page=name, width=width, dark=dark):
                    self.browser.look(width, dark=dark)
                    self.open(name)
                    self.assert_fits(f"{name}-{width}-{'dark' if dark else 'light'}.png")
                    grounds.add(self.browser.run("return getComputedStyle(document.body).backgroundColor"))
        self.assertEqual(len(grounds), 2)

    def test_the_page_of_a_check_unfolds_and_fits(self):
        for width, dark in ((1280, False), (1280, True), (375, False), (375, True)):
            with self.subTest(width=width, dark=dark):
                self.browser.look(width, dark=dark)
                self.browser.open(self.check)
                self.assertEqual(self.browser.complaints(), [])
                self.assertEqual(self.browser.run("return document.querySelectorAll('section').length"), 2)
                start = "return document.querySelector('.case .bad').closest('details').querySelector('pre')"
                self.assertFalse(self.browser.run(f"{start}.checkVisibility()"))
                self.browser.click("details:has(.bad) summary")
                self.assertTrue(self.browser.run(f"{start}.checkVisibility()"))
                self.assertIn("START_PENDING", self.browser.run(f"{start}.textContent"))
                self.assert_fits(f"check-{width}-{'dark' if dark else 'light'}.png")


if __name__ == "__main__":
    if missing():
        print("skipped: this machine has no browser to test with; install", " and ".join(missing()))
        sys.exit(77)
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir(parents=True)
    unittest.main(argv=sys.argv[:1], verbosity=2)
