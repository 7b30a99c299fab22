#!/usr/bin/env python3
"""Times whole TIFF files through the library and its peers, each as a process of its own.

usage: measure_files.py BUILD FOLDER ROUNDS > files.json

BUILD is the build tree; FOLDER holds scanner.icc, photo-8.tif and photo-16.tif. In each round every
contender runs once, in random order. Peers that are not installed are left out.
"""

import json
import os
import random
import shutil
import statistics
import subprocess
import sys
import time


def contenders(build, profile, bits, source, target):
    """Command lines by name."""
    candidates = {
        "library": [f"{build}/bench/kxcms_bench_file", profile, bits, source, target],
        "command": [f"{build}/tools/kxcms", "convert", "--profile", profile, source, target],
        "cp": ["cp", source, target],
        "tificc": ["tificc", f"-i{profile}", "-t0", f"-w{bits}", source, target],
        "vips": ["vips", "icc_transform", source, target, "srgb", "--input-profile", profile,
                 "--intent", "perceptual", "--depth", bits],
    }
    return {name: line for name, line in candidates.items() if shutil.which(line[0])}


def run(line):
    """Runs a command: seconds from start to end, peak KiB, standard output."""
    start = time.perf_counter()
    with subprocess.Popen(line, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
        output = process.stdout.read().decode()
        errors = process.stderr.read().decode()
        # Waited for here and not by Popen: only wait4 tells what this one process used. A peak
        # begins at this interpreter's size (about 10 MiB), which the child starts out with.
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - start
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{' '.join(line)}\nfailed: {errors or output}")
    return seconds, usage.ru_maxrss, output


def measure(build, folder, bits, rounds):
    source = f"{folder}/photo-{bits}.tif"
    target = f"{folder}/converted-{bits}.tif"
    lines = contenders(build, f"{folder}/scanner.icc", bits, source, target)
    times = {name: [] for name in lines}
    peaks = {name: 0 for name in lines}
    call_times = []
    for _ in range(rounds):
        for name in random.sample(list(lines), len(lines)):
            if os.path.exists(target):
                os.remove(target)
            seconds, peak, output = run(lines[name])
            # A header and perhaps a profile may come or go; pixels may not.
            if os.path.getsize(target) < os.path.getsize(source) - 65536:
                sys.exit(f"{name} wrote no picture")
            times[name].append(seconds)
            peaks[name] = max(peaks[name], peak)
            if name == "library":
                call_times.append(float(output.splitlines()[-1]))
    os.remove(target)
    return {
        "imageKiB": os.path.getsize(source) // 1024,
        "callSeconds": statistics.median(call_times),
        "seconds": {name: statistics.median(values) for name, values in times.items()},
        "peakKiB": peaks,
    }


def main():
    build, folder, rounds = sys.argv[1], sys.argv[2], int(sys.argv[3])
    # What earlier steps wrote must not be on its way to the disk while the first round runs.
    os.sync()
    results = {bits: measure(build, folder, bits, rounds) for bits in ("8", "16")}
    json.dump(results, sys.stdout, indent=1)


if __name__ == "__main__":
    main()
