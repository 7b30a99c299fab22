"""Times whole TIFF files through the library and its peers, each as a process of its own.

Files are read and written in memory (tmpfs), where no disk takes part. In each round every contender
runs once, in random order. Peers that are not installed are left out.
"""

import os
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time


def contenders(build, profile, bits, source, target):
    """Command lines by name."""
    candidates = {
        "library": [f"{build}/bench/kxcms_bench_file", profile, bits, source, target],
        "command": [f"{build}/tools/kxcms", "convert", "--pipeline", "fixed", "--profile", profile, source,
                    target],
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


def memory_folders():
    """Where a tmpfs is mounted."""
    with open("/proc/mounts", encoding="utf-8") as file:
        mounts = [line.split()[1:3] for line in file]
    return [path for path, kind in mounts if kind == "tmpfs"]


def folder_in_memory(size):
    """A new folder on the tmpfs with the most room, which must be enough for `size` bytes."""
    def room(path):
        if not os.access(path, os.W_OK):
            return 0
        status = os.statvfs(path)
        return status.f_bavail * status.f_frsize

    best = max(memory_folders(), key=room, default=None)
    if best is None or room(best) < size:
        sys.exit(f"Files are measured in memory: no tmpfs (such as /dev/shm) has room for"
                 f" {size >> 20} MiB.")
    return tempfile.TemporaryDirectory(prefix="kxcms-bench-", dir=best)


def library_threads():
    """Threads that GNU's OpenMP runtime gives to the library's team of up to eight: one less for
    each process that ran on average in the last fifteen minutes (rounded, but 0.9 counts)."""
    processors = min(8, len(os.sched_getaffinity(0)))
    return max(1, processors - int(os.getloadavg()[2] + 0.1))


def measure_depth(build, folder, memory, bits, rounds):
    source = shutil.copy(f"{folder}/photo-{bits}.tif", memory)
    target = f"{memory}/converted-{bits}.tif"
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
    size = os.path.getsize(source)
    os.remove(source)
    os.remove(target)
    return {
        "imageKiB": size // 1024,
        "callSeconds": statistics.median(call_times),
        "seconds": {name: statistics.median(values) for name, values in times.items()},
        "peakKiB": peaks,
    }


def measure(build, folder, rounds):
    """Times, peaks and the conditions. `build` is the build tree, `folder` holds scanner.icc,
    photo-8.tif and photo-16.tif."""
    # What earlier steps wrote must not be on its way to the disk while the first round runs.
    os.sync()
    threads = library_threads()
    # Source, target and what a peer adds to it.
    with folder_in_memory(2 * os.path.getsize(f"{folder}/photo-16.tif") + (8 << 20)) as memory:
        results = {bits: measure_depth(build, folder, memory, bits, rounds) for bits in ("8", "16")}
    return {"threads": threads, "bits": results}
