#!/usr/bin/env python3
"""Makes one Markdown table of a run of kxcms_bench and one of measure_files.py.

usage: print_table.py BENCHMARKS.json FILES.json
"""

import collections
import json
import math
import os
import re
import statistics
import sys

PEERS = ["plain", "lcms2", "memcpy"]


class Row:
    """One case: nanoseconds by contender. Rates are shown where `pixels` is given."""

    def __init__(self, name, times, pixels=None, unit="ms", note=""):
        self.name, self.times, self.pixels, self.unit, self.note = name, times, pixels, unit, note

    def shown(self, contender):
        time = self.times.get(contender)
        if time is None:
            return ""
        if self.unit == "Mpixel/s":
            return figure(self.pixels / time * 1e3)
        return figure(time / {"ms": 1e6, "µs": 1e3}[self.unit])

    def ratio(self, ours, peer):
        if ours not in self.times or peer not in self.times or ours == peer:
            return ""
        return figure(self.times[peer] / self.times[ours])


def figure(value):
    """Three significant digits, or two below one."""
    if value >= 100:
        return f"{value:.0f}"
    if value >= 1:
        return f"{value:.1f}" if value >= 10 else f"{value:.2f}"
    decimals = 1 - math.floor(math.log10(value)) if value > 0 else 0
    return f"{value:.{decimals}f}"


def medians(results):
    """{group: {case: {contender: (nanoseconds, pixels)}}} in the order of registration."""
    groups = collections.defaultdict(lambda: collections.defaultdict(dict))
    entries = [e for e in results if e.get("aggregate_name") == "median"]
    for entry in sorted(entries, key=lambda e: e["family_index"]):
        group, case, contender = entry["run_name"].split("/")[:3]
        scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[entry["time_unit"]]
        groups[group][case][contender] = (entry["real_time"] * scale, entry.get("pixels"))
    return groups


def rows_of(groups, best):
    """All rows of kxcms_bench."""
    rows = []
    units = {"buffer": "Mpixel/s", "machine": "ms", "grain": "Mpixel/s", "call": "µs",
             "output": "Mpixel/s", "selection": "ms", "table": "Mpixel/s"}
    titles = {"buffer": "buffer", "machine": "machine", "grain": "grain", "call": "small call",
              "output": "output space", "selection": "profile", "table": "colour table"}
    for group, cases in groups.items():
        for case, contenders in cases.items():
            times = {name: time for name, (time, _) in contenders.items()}
            pixels = next(iter(contenders.values()))[1]
            row = Row(f"{titles[group]}: {case}", times, pixels, units[group])
            if case.endswith(", 2 threads"):
                alone = cases[case.removesuffix(", 2 threads")]
                gains = (f"{name} {figure(alone[name][0] / time)}" for name, time in times.items())
                row.note = ", ".join(gains) + " times one thread"
            if group == "output":
                srgb = cases["8 to 8, photo, to srgb"][best][0]
                row.note = f"{100 * srgb / times[best]:.0f} % of sRGB"
            rows.append(row)
    return rows


def file_rows(files, best):
    """Rows of the files: the peers of lcms2 and memcpy are its command and cp."""
    rows = []
    for bits, result in files.items():
        seconds, peaks = result["seconds"], result["peakKiB"]
        peers = {"lcms2": seconds.get("tificc"), "memcpy": seconds.get("cp")}
        peers = {name: time * 1e9 for name, time in peers.items() if time is not None}

        def peak(name):
            return f"peak {peaks[name] / 1024:.0f} MiB, image {result['imageKiB'] / 1024:.0f} MiB"

        def add(what, time, others, note):
            rows.append(Row(f"TIFF file, {bits} bits: {what}", {best: time * 1e9, **others},
                            note=note))

        add("KX_Icc_ConvertFile", result["callSeconds"], peers,
            f"{figure(result['callSeconds'] / seconds['cp'])} times cp")
        add("process of the library", seconds["library"], peers, peak("library"))
        if "command" in seconds:
            add("kxcms convert", seconds["command"], peers, peak("command"))
        if "vips" in seconds:
            add("KX_Icc_ConvertFile beside vips", result["callSeconds"],
                {"lcms2": seconds["vips"] * 1e9}, f"vips for lcms2; {peak('vips')}")
    return rows


def processor():
    """Name and number of the processors."""
    model = "unknown"
    if os.path.exists("/proc/cpuinfo"):
        with open("/proc/cpuinfo", encoding="utf-8") as file:
            found = re.search(r"^model name\s*:\s*(.*)$", file.read(), re.MULTILINE)
            model = found.group(1) if found else model
    return f"{model}, {len(os.sched_getaffinity(0))} processors"


def print_heading(context, results, files):
    levels = context["levels"].split(",")
    pixels = int(context["width"]) * int(context["length"])
    repetitions = max(e.get("repetitions", 1) for e in results)
    spread = statistics.median(e["real_time"] for e in results if e.get("aggregate_name") == "cv")
    peers = [name for name in ("cp", "tificc", "vips") if name in files["8"]["seconds"]]
    print(f"- CPU: {processor()}; load average at the start {context['load_avg'][0]:.1f}")
    print(f"- Level in use: {levels[-1]} (measured: {', '.join(levels)})")
    print("- Threads: one, unless the case says two; profile selection and files as the library sets"
          " them")
    print(f"- Build: {context['build']}; lcms2 {context['lcms2']}; file peers: {', '.join(peers)}")
    print(f"- Pictures of {pixels / 1e6:.0f} million pixels; medians of {repetitions} interleaved"
          f" repetitions, which typically spread by {100 * spread:.0f} % (standard deviation)")
    print()


def print_table(rows, levels):
    best = levels[-1]
    columns = levels[::-1] + PEERS
    ratios = [(level, "plain") for level in levels[::-1]] + [(best, "lcms2"), (best, "memcpy")]
    header = ["case", "unit", *columns, *(f"{ours} : {peer}" for ours, peer in ratios), "note"]
    print("| " + " | ".join(header) + " |")
    print("|---|---|" + "---:|" * (len(columns) + len(ratios)) + "---|")
    for row in rows:
        cells = [row.name, row.unit, *map(row.shown, columns),
                 *(row.ratio(ours, peer) for ours, peer in ratios), row.note]
        print("| " + " | ".join(cells) + " |")


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        run = json.load(file)
    with open(sys.argv[2], encoding="utf-8") as file:
        files = json.load(file)
    failed = [e["name"] for e in run["benchmarks"] if e.get("error_occurred")]
    if failed:
        sys.exit(f"failed: {', '.join(sorted(set(failed)))}")
    levels = run["context"]["levels"].split(",")
    print_heading(run["context"], run["benchmarks"], files)
    print_table(rows_of(medians(run["benchmarks"]), levels[-1]) + file_rows(files, levels[-1]),
                levels)


if __name__ == "__main__":
    main()
