#!/usr/bin/env python3
"""Runs Vantord.exe and its tests under Wine: run.py --build FOLDER --hosted FOLDER [--report FILE] [NAME...]

Runs the tests whose names contain a NAME. No process of Wine remains, even after Ctrl-C. Exit code 0 if no test failed;
what cannot run here is skipped with the reason.
"""

import argparse
import contextlib
import fcntl
import signal
import sys
import traceback
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

sys.dont_write_bytecode = True

import conformance  # noqa: E402
import end_to_end  # noqa: E402
import endings  # noqa: E402
import kit  # noqa: E402
import machine  # noqa: E402
import provision  # noqa: E402
import sample_test  # noqa: E402
import stack_guard  # noqa: E402
from report import Report  # noqa: E402

SUITES = (*endings.SUITES, *stack_guard.SUITES, *kit.SUITES, *end_to_end.SUITES)
PROJECT = Path(__file__).resolve().parents[2]


def parse(arguments):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=Path, required=True, help="the build folder of Vantord.exe")
    parser.add_argument("--hosted", type=Path, required=True, help="the build folder of vantord-tablet")
    parser.add_argument("--report", type=Path, help="a JUnit report to write")
    parser.add_argument("--work", type=Path, help="the folder of this run's machines; default: in --build")
    parser.add_argument("--jobs", type=int, default=2, help="machines at a time")
    parser.add_argument("--wine", default="wine", help="the command that runs a Windows program")
    parser.add_argument("--wineserver", default="wineserver")
    parser.add_argument("--slowdown", type=int, default=1, help="multiplies every time-out, for an emulator")
    parser.add_argument("names", nargs="*", help="only tests whose name contains one of these")
    return parser.parse_args(arguments)


def tests_of(suite, names):
    for name in (name for name in dir(suite) if name.startswith("test_")):
        test = suite(name)
        if not names or any(wanted in f"{suite.__name__}.{name}" for wanted in names):
            yield test, name


def run_suite(suite, names, report):
    for test, name in tests_of(suite, names):
        with report.test(suite.__name__, name.removeprefix("test_").replace("_", " ")):
            try:
                getattr(test, name)()
            finally:
                test.doCleanups()


def run_conformance(world, names, report):
    try:
        conformance.run(world, names, report)
    except Exception as error:  # noqa: BLE001 - reported as a failed test
        text = "".join(traceback.format_exception(error))
        report.add(conformance.SUITE, "the program completes", 0.0, "failure", text)


def conformance_names(names):
    """Parts of GoogleTest names; empty: all. "ConformanceFiles." becomes "Files."."""
    parts = [name.removeprefix(conformance.SUITE) for name in names if name.startswith(conformance.SUITE)]
    return parts if all(parts) else []


def wants_conformance(names):
    return not names or any(name.startswith(conformance.SUITE) for name in names)


def main(arguments):
    options = parse(arguments)
    report = Report()
    wine = machine.Wine(options.wine.split(), options.wineserver.split(), slowdown=options.slowdown)
    missing = wine.missing()
    suites = [suite for suite in SUITES if any(tests_of(suite, options.names))]
    if missing:
        for suite in suites:
            for _, name in tests_of(suite, options.names):
                report.skip(suite.__name__, name.removeprefix("test_").replace("_", " "), f"{missing} is not installed")
        if wants_conformance(options.names):
            report.skip(conformance.SUITE, "all of them", f"{missing} is not installed")
    else:
        with sole_user((options.work or options.build / "wine").resolve()):
            run_all(options, wine, suites, report)
    if options.report:
        report.write(options.report)
    print(report.summary())
    return 1 if report.failed or not report.count else 0


@contextlib.contextmanager
def sole_user(folder):
    """Locks the folder: two runs would end each other's machines."""
    folder.mkdir(parents=True, exist_ok=True)
    with open(folder / "lock", "w") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            sys.exit(f"run.py: {folder}: another run uses this folder; wait for it or name another --work")
        yield


def need(path, how):
    if not path.exists():
        sys.exit(f"run.py: {path}: does not exist; {how}")
    return path.resolve()


def make_world(options, wine):
    templates = options.build.resolve() / "wine"
    return sample_test.World(
        wine=wine,
        template=machine.template(wine, templates),
        work=(options.work or templates).resolve(),
        build=options.build.resolve(),
        programs=provision.Programs(
            need(options.build / "Vantord.exe", "./dev windows builds it"),
            need(options.build / "beside", "./dev windows builds it"),
        ),
        vantord_tablet=need(options.hosted / "vantord-tablet", "./dev build builds it"),
        readme=PROJECT / "sim" / "winapi" / "README.md",
    )


def run_all(options, wine, suites, report):
    pool = ThreadPoolExecutor(options.jobs)
    try:
        world = make_world(options, wine)
        for suite in suites:
            suite.world = world
        work = [pool.submit(run_suite, suite, options.names, report) for suite in suites]
        if wants_conformance(options.names):
            work.append(pool.submit(run_conformance, world, conformance_names(options.names), report))
        for done in work:
            done.result()
    finally:
        # After Ctrl-C the other threads still run until their machines are removed.
        pool.shutdown(wait=False, cancel_futures=True)
        machine.interrupt()
        pool.shutdown(wait=True)


def end_on_signal(number, _):
    raise KeyboardInterrupt(signal.Signals(number).name)


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, end_on_signal)
    signal.signal(signal.SIGHUP, end_on_signal)
    try:
        sys.exit(main(sys.argv[1:]))
    except KeyboardInterrupt:
        traceback.print_exc(limit=0)
        sys.exit(130)
