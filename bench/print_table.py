#!/usr/bin/env python3
"""Makes one Markdown page of a run of kxcms_bench and one of measure_files.py.

usage: print_table.py [--force] BENCHMARKS.json FILES.json LOAD.json

LOAD.json is that of machine.py. What was measured beside others' work is printed with --force only,
and says so.
"""

import collections
import json
import math
import os
import statistics
import sys

import machine

PEERS = ["plain", "lcms2", "memcpy"]

# By the benchmark's name of a group: the table's, and what its figures are in.
GROUPS = {
    "buffer": ("buffer", "Mpixel/s"),
    "machine": ("machine", "ms"),
    "grain": ("grain", "Mpixel/s"),
    "call": ("small call", "µs"),
    "output": ("output space", "Mpixel/s"),
    "selection": ("profile", "ms"),
    "table": ("colour table", "Mpixel/s"),
    "handle": ("fixed by handle", "Mpixel/s"),
    "handle call": ("fixed by handle, call", "µs"),
    "precise": ("precise", "Mpixel/s"),
    "layout": ("precise, layout", "Mpixel/s"),
    "pixel": ("precise, call", "µs"),
    "creation": ("creation", "ms"),
}


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
    for group, cases in groups.items():
        title, unit = GROUPS[group]
        for case, contenders in cases.items():
            times = {name: time for name, (time, _) in contenders.items()}
            pixels = next(iter(contenders.values()))[1]
            row = Row(f"{title}: {case}", times, pixels, unit)
            if case.endswith(", 2 threads"):
                alone = cases[case.removesuffix(", 2 threads")]
                gains = (f"{name} {figure(alone[name][0] / time)}" for name, time in times.items())
                row.note = ", ".join(gains) + " times one thread"
            if group == "output":
                srgb = cases["8 to 8, photo, to srgb"][best][0]
                row.note = f"{100 * srgb / times[best]:.0f} % of sRGB"
            if group == "handle":
                interface = groups["buffer"][case][best][0]
                row.note = f"{100 * interface / times[best]:.0f} % of libKXCMS"
            if group == "precise":
                peer = times["lcms2"]
                others = (f"{name} {figure(peer / time)}" for name, time in times.items()
                          if name not in (best, "lcms2"))
                row.note = ", ".join(others) + " times lcms2"
            if group == "layout":
                source, what, picture, _ = case.split(", ")
                packed, packed_pixels = groups["precise"][f"{source}, {what}, {picture}"][best]
                share = packed / packed_pixels * pixels / times[best]
                row.note = f"{100 * share:.0f} % of packed RGB"
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


def command_rows(commands, best):
    """Rows of `kxcms convert`, beside cp, tificc and vips."""
    rows = []
    for form, seconds in commands["forms"].items():
        ours = seconds["precise"]
        notes = []
        if "fixed" in seconds:
            notes.append(f"fixed {figure(1e3 * seconds['fixed'])} ms,"
                         f" {figure(seconds['fixed'] / seconds['cp'])} times cp")
        if "memory" in seconds:
            together = seconds["cp"] + seconds["memory"]
            notes.append(f"precise {figure(ours / together)} times cp and the conversion in memory")
        if "vips" in seconds:
            notes.append(f"vips {figure(seconds['vips'] / ours)} times as long")
        peers = {"lcms2": seconds.get("tificc"), "memcpy": seconds.get("cp")}
        rows.append(Row(f"kxcms convert: {form}", {
            best: ours * 1e9, **{name: time * 1e9 for name, time in peers.items() if time}},
            note="; ".join(notes)))
    rows.append(Row("kxcms convert: 16 x 16 pixels, the whole process",
                    {best: commands["tiny"] * 1e9}))
    return rows


def unsteadiness(results):
    """By what additions in registers took longer in the middle than at best; 0 without them."""
    times = [e["real_time"] for e in results
             if e["run_type"] == "iteration" and e["run_name"].startswith("machine/registers alone/")]
    return statistics.median(times) / min(times) - 1 if times else 0.0


def print_heading(context, results, files, conditions):
    levels = context["levels"].split(",")
    pixels = int(context["width"]) * int(context["length"])
    repetitions = max(e.get("repetitions", 1) for e in results)
    spread = statistics.median(e["real_time"] for e in results if e.get("aggregate_name") == "cv")
    peers = [name for name in ("cp", "tificc", "vips") if name in files["bits"]["8"]["seconds"]]
    title = machine.this_processor()[0]
    print(f"# Performance on {title}\n")
    print("Made by `scripts/bench`; [performance.md](../performance.md) tells how to read it.\n")
    print(f"- Processors: {len(os.sched_getaffinity(0))}; {conditions}")
    print(f"- Level in use: {levels[-1]} (measured: {', '.join(levels)})")
    print("- Threads: one, unless the case says two; profile selection and files as the library sets"
          f" them, which comes to {files['threads']} for files")
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
    is_forced = sys.argv[1] == "--force"
    run_path, files_path, load_path = sys.argv[2 if is_forced else 1:]
    with open(run_path, encoding="utf-8") as file:
        run = json.load(file)
    with open(files_path, encoding="utf-8") as file:
        files = json.load(file)
    with open(load_path, encoding="utf-8") as file:
        foreign = json.load(file)["foreignProcessors"]
    failed = [e["name"] for e in run["benchmarks"] if e.get("error_occurred")]
    if failed:
        sys.exit(f"failed: {', '.join(sorted(set(failed)))}")
    unsteady = unsteadiness(run["benchmarks"])
    conditions = (f"meanwhile others took {100 * foreign:.1f} % of one, and additions in registers"
                  f" typically {100 * unsteady:.1f} % longer than at best")
    if reasons := machine.complaints(foreign, unsteady):
        if not is_forced:
            sys.exit(f"The machine was loaded meanwhile: {'; '.join(reasons)}. No table is written;"
                     " measure again, or with --force.")
        conditions += ". **The machine was loaded: the figures do not count**"
    levels = run["context"]["levels"].split(",")
    print_heading(run["context"], run["benchmarks"], files, conditions)
    print_table(rows_of(medians(run["benchmarks"]), levels[-1])
                + file_rows(files["bits"], levels[-1])
                + command_rows(files["commands"], levels[-1]), levels)


if __name__ == "__main__":
    main()
