"""The conformance tests (tests/conformance/) under Wine, all on one machine."""

import os
import shutil
import xml.etree.ElementTree

import hosted
import machine
import provision

PROGRAM = provision.TEST_FOLDER + "\\conformance.exe"
RESULTS = provision.TEST_FOLDER + "\\conformance.xml"
# Set if root runs Wine: root may write read-only files.
ROOT_VARIABLE = "VANTORD_TEST_HOST_IS_ROOT"
SUITE = "Conformance"
SECONDS = 120


def run(world, names, report):
    """Reports each test. `names`: only tests whose full name contains one of them; empty: all."""
    status, output, text = machine.with_retries(SUITE, lambda: run_program(world, names))
    count = report_results(text, report)
    if not text or (status != 0 and not report.failed) or (count == 0 and not names):
        report.add(SUITE, "the program completes", 0.0, "failure", f"the program ended with {status}:\n{output}")


def run_program(world, names):
    """The program's exit code, output and report."""
    work = world.work / "conformance"
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    tablet = hosted.make_tablet(world.vantord_tablet, work / "tablet", "fresh", small=True)
    variables = {ROOT_VARIABLE: "1"} if os.geteuid() == 0 else {}
    wine = machine.Wine(world.wine.wine, world.wine.wineserver, world.wine.variables | variables)
    with machine.machine(wine, world.template, work / "prefix") as windows:
        provision.provision(windows, tablet, world.programs)
        pattern = ":".join(f"*{name}*" for name in names) if names else "*"
        status, output = windows.run_for_status(
            PROGRAM, "--gtest_filter=" + pattern, "--gtest_output=xml:" + RESULTS, seconds=SECONDS
        )
        results = windows.host_path(RESULTS)
        return status, output, results.read_text() if results.exists() else ""


def report_results(text, report):
    """Adds each test of a GoogleTest report and returns their number."""
    count = 0
    for case in xml.etree.ElementTree.fromstring(text).iter("testcase") if text else ():
        name = f"{case.get('classname')}.{case.get('name')}"
        failures = [failure.text for failure in case.iter("failure")]
        skipped = case.find("skipped")
        kind = "failure" if failures else None if skipped is None else "skipped"
        words = "\n".join(failures) if failures else "" if skipped is None else skipped.get("message", "")
        if case.get("status") == "run":
            report.add(SUITE, name, float(case.get("time")), kind, words)
            count += 1
    return count
