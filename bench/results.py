"""Writes the results: results.md and results.svg."""

import datetime
import platform
import re
import statistics
from pathlib import Path

from chart import bars
from contenders import versions

FLOOR = "same pieces"
SERVICE = "vantord"
# Wanted CPU time relative to the floor, and the programs that the service must beat.
WANTED = {"large": 1.05, "stored": 1.10, "small": 1.30, "many": 1.30}
BELOW = ("unzip", "zipfile")


def ratio(samples, name, other):
    """The median over the rounds of the ratio of CPU times."""
    return statistics.median(a / b for a, b in zip(samples[name].cpu, samples[other].cpu))


def table(head, rows):
    aligned = ["---"] + ["---:"] * (len(head) - 1)
    return [f"| {' | '.join(map(str, row))} |" for row in (head, aligned, *rows)] + [""]


def machine():
    processor = "unknown"
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            processor = line.split(":", 1)[1].strip()
            break
    memory = int(re.search(r"MemTotal:\s+(\d+)", Path("/proc/meminfo").read_text())[1]) // 1024
    cores = Path("/proc/cpuinfo").read_text().count("processor\t")
    load = Path("/proc/loadavg").read_text().split()[0]
    return f"{processor}, {cores} cores, {memory:,} MB; Linux {platform.release()}; load average {load} when this was written"


def extraction(data):
    out = ["## Extraction", ""]
    for case in data["cases"]:
        samples = data["samples"][case.name]
        rounds = len(samples[SERVICE].cpu)
        out += [f"### {case.name}: {case.about}", "", f"Medians of {rounds} rounds.", ""]
        rows = []
        for contender in data["contenders"]:
            name = contender.name
            of = samples[name]
            idle = data["idle"][name].median("peak")
            calls = (data["calls"].get(case.name) or {}).get(name)
            rows.append([f"{name} ({contender.about})", f"{of.median('cpu'):.3f}", f"{ratio(samples, name, FLOOR):.2f}",
                         f"{ratio(samples, SERVICE, name):.2f}", f"{of.median('wall'):.3f}",
                         f"{of.median('peak') - idle:,.0f}", f"{sum(calls.values()):,}" if calls else "-"])
        out += table(["", "CPU s", "by the floor", "vantord by it", "wall s", "peak memory over idle, KB", "system calls"], rows)
    return out


def targets(data):
    rows = []
    for case in data["cases"]:
        samples = data["samples"][case.name]
        now = ratio(samples, SERVICE, FLOOR)
        wanted = WANTED[case.name]
        rows.append([f"{case.name}: by the floor", f"at most {wanted:.2f}", f"{now:.3f}", "yes" if now <= wanted else "**no**"])
        for name in BELOW:
            if name in samples:
                now = ratio(samples, SERVICE, name)
                rows.append([f"{case.name}: by {name}", "below 1", f"{now:.3f}", "yes" if now < 1 else "**no**"])
    large = data["samples"]["large"]
    for name, wanted in (("7zz", 1.0), ("bsdtar", 1.2)):
        if name in large:
            now = ratio(large, SERVICE, name)
            # The rounds cannot resolve less than this.
            met = now <= wanted + (0.02 if wanted == 1.0 else 0)
            rows.append([f"large: by {name}", f"at most {wanted:.1f}", f"{now:.3f}", "yes" if met else "**no**"])
    for case in data["cases"]:
        now = data["samples"][case.name]["plain calls"].median("peak") - data["idle"]["plain calls"].median("peak")
        rows.append([f"{case.name}: memory over idle, with plain calls, which keep no list of files", "at most 256 KB",
                     f"{now:,.0f} KB", "yes" if now <= 256 else "**no**"])
        now = data["full_drive"][case.name][SERVICE]
        rows.append([f"{case.name}: memory over idle, the tablet knowing the files before", "at most 256 KB", f"{now:,} KB",
                     "yes" if now <= 256 else "**no**"])
    for name, figures in data["per_entry"].items():
        medians = [statistics.median(values) for values in figures.values()]
        spread = max(medians) / min(medians) - 1
        rows.append([f"cost of an entry over sizes, {name}", "within 15 %", f"{spread:.1%}", "yes" if spread <= 0.15 else "**no**"])
    service = data["service"]
    off, silent = service["messages"]["off"], service["messages"]["silent"]
    rows += [["message, no listener", "below 1,000 ns", f"{silent:.0f} ns", "yes" if silent < 1000 else "**no**"],
             ["message, zone off", "a bit test", f"{off:.2f} ns", "see below"],
             ["parked service, a virtual day", "0 calls", f"{service['parked'][0]}", "yes" if service["parked"][0] == 0 else "**no**"]]
    cpu, virtual, _ = service["radio"]
    rows.append([f"{virtual / 1000:.0f} virtual seconds of radio", "below 20 ms", f"{cpu:.2f} ms", "yes" if cpu < 20 else "**no**"])
    rate = service["runs"][0][3]
    rows.append(["whole runs in a second of one core", "300", f"{rate:.0f}", "yes" if rate >= 300 else "**no**"])
    return ["## What is wanted", "", *table(["", "wanted", "measured", "met"], rows)]


def shares(data):
    out = ["## The stand-in's share", "",
           "`plain calls` is the same front end with file calls that are one call of the host each. It makes one for each "
           "byte of a header, where the tablet caches pages, and may therefore be slower.", ""]
    rows = []
    for case in data["cases"]:
        names = sorted(((n, call) for call, n in ((data["calls"].get(case.name) or {}).get(SERVICE) or {}).items()), reverse=True)
        rows.append([case.name, f"{ratio(data['samples'][case.name], SERVICE, 'plain calls'):.2f}",
                     ", ".join(f"{call} {n:,}" for n, call in names[:6])])
    out += table(["", "CPU, tablet's by plain calls", "the tablet's most frequent system calls"], rows)
    sizes = list(next(iter(data["per_entry"].values())))
    rows = [[name, *(f"{statistics.median(figures[size]):.1f}" for size in sizes)]
            for name, figures in data["per_entry"].items()]
    out += ["CPU microseconds for an entry of 100 to 500 bytes, by the number of entries in the archive:", ""]
    return out + table(["", *(f"{size:,}" for size in sizes)], rows)


def messages_and_runs(service):
    cost = service["messages"]
    out = ["## The rest of the service", "", "Nanoseconds of CPU time for one message:", ""]
    out += table(["zone off", "zone on, no listener", "sent to the simulated collector"],
                 [[f"{cost['off']:.2f}", f"{cost['silent']:.0f}", f"{cost['sent']:.0f}"]])
    out += [f"`bench_allocations`: {service['allocations']}.", ""]
    calls, steps, before, after = service["parked"]
    out += [f"A parked service in a virtual day: {calls} calls of the Windows API, {steps} movement of the clock, which is the "
            f"day's end. The hosted service and the tablet around it then use {after:,} KB of memory, {before:,} KB before "
            f"the service started.", ""]
    cpu, virtual, calls = service["radio"]
    out += [f"{virtual / 1000:.0f} virtual seconds of waiting for a silent radio: {cpu:.2f} ms of CPU time, {calls} calls.", "",
            "From power-on to deployment and reset, `fresh`. Virtual time passes only while the service waits, and on this "
            "tablet it never does. CPU time is the hosted build's:", ""]
    out += table(["part", "CPU ms", "virtual ms"], [[name, f"{cpu:.2f}", virtual] for name, cpu, virtual in service["boot"]])
    out += ["Whole runs of the small variant of `fresh` in a sweep, on one core. A run that a "
            "known limitation lets hang takes the 12 ms after which the sweep ends it:", ""]
    out += table(["kind", "runs", "of which hang", "runs in a second of CPU time"],
                 [[kind, f"{runs:,}", hung, f"{rate:.0f}"] for kind, runs, hung, rate in service["runs"]])
    return out


def working_set(footprint):
    """The memory of the resting service under Wine, beside that of a service that does nothing."""
    if not footprint:
        return []

    def row(name, column, chosen):
        return [name, *(f"{sum(sizes[column] for of, sizes in files.items() if chosen(of)):,}" for files in footprint.values())]

    return ["Memory of the resting x64 service under Wine, in KB. The other service does nothing: its memory is Wine's, and "
            "so is most of what the libraries of `Vantord.exe` add.", "",
            *table(["", "`Vantord.exe`", "a service that does nothing"],
                   [row("libraries and other files", 0, lambda of: of != ""),
                    row("of those written to", 1, lambda of: of != ""),
                    row("other: the program, heaps, stacks", 0, lambda of: of == ""),
                    row("all", 0, lambda of: True)])]


def space(service):
    out = working_set(service.get("footprint"))
    for name, (size, sections, parts, sites) in service["programs"].items():
        out += [f"### `Vantord.exe`, {name}: {size:,} bytes", "",
                ", ".join(f"`{section}` {stored:,}" for section, stored in sections.items() if stored) + ".", ""]
        if parts:
            out += ["Zero-initialised data, which is not in the file, is included:", ""]
            out += table(*parts)
        out += ["Messages whose zone is off: load, test, jump. The address of the mask is loaded earlier, once for several "
                "messages if a register is free:", "", "```", *sites, "```", ""]
    return out


def when():
    """What the figures depend on: date, machine, versions."""
    return [datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"), machine(),
            *(f"{name}: {version}" for name, version in versions())]


def write_results(folder, data):
    out = ["# What extraction and the service cost", "",
           "Written by `./dev bench`. [README.md](README.md) explains the method and the figures.", "",
           *(f"- {fact}" for fact in data["when"]), f"- archives and targets on {data['folder']}",
           *(f"- left out, not installed: {name}" for name in data["absent"]), "",
           "![CPU time by the floor's](results.svg)", ""]
    out += targets(data) + extraction(data) + shares(data)
    out += messages_and_runs(data["service"]) + space(data["service"])
    (folder / "results.md").write_text("\n".join(out).rstrip() + "\n")
    groups = [(case.name, {c.name: ratio(data["samples"][case.name], c.name, FLOOR) for c in data["contenders"]})
              for case in data["cases"]]
    chart = bars("CPU time of extraction", "by that of zlib alone in the same pieces; bars are cut at 6", groups,
                 [contender.name for contender in data["contenders"]])
    (folder / "results.svg").write_text(chart)
