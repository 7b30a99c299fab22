"""Times `kxcms convert` over forms in which files come, beside its peers, each as a process of its
own; the conversion alone, in memory; and a tiny file.

Everything is read from and written to memory (tmpfs). In each round every contender of a form runs
once, in random order.
"""

import os
import random
import shutil
import statistics
import subprocess
import sys
import time

import measure_files

THREADS = "2"


def vips(source, target, profile, bits):
    return ["vips", "icc_transform", source, target, "srgb", "--input-profile", profile,
            "--intent", "perceptual", "--depth", bits]


def tificc(source, target, profile, bits):
    return ["tificc", f"-i{profile}", "-t0", f"-w{bits}", source, target]


def convert(build, source, target, profile, *options):
    return [f"{build}/tools/kxcms", "convert", "--threads", THREADS, *options, "--profile", profile,
            source, target]


def forms(build, folder, memory):
    """(name, bits of a sample, contenders by name) of each form; makes the files."""
    profile = f"{folder}/scanner.icc"
    rows = []
    for bits in ("8", "16"):
        source = shutil.copy(f"{folder}/photo-{bits}.tif", f"{memory}/photo-{bits}.tif")
        target = f"{memory}/converted.tif"
        rows.append((f"TIFF, {bits} bits, uncompressed", bits, {
            "precise": convert(build, source, target, profile),
            "fixed": convert(build, source, target, profile, "--pipeline", "fixed"),
            "cp": ["cp", source, target],
            "tificc": tificc(source, target, profile, bits),
            "vips": vips(source, target, profile, bits)}))
    photo = f"{memory}/photo-8.tif"
    for name, form in (("LZW", "lzw"), ("Deflate", "deflate")):
        source, target = f"{memory}/photo-{form}.tif", f"{memory}/converted.tif"
        subprocess.run(["vips", "copy", photo, f"{source}[compression={form},predictor=horizontal]"],
                       stderr=subprocess.DEVNULL, check=True)
        rows.append((f"TIFF, 8 bits, {name}", "8", {
            "precise": convert(build, source, target, profile),
            "vips": vips(source, f"{target}[compression={form},predictor=horizontal]", profile,
                         "8")}))
    source, target = f"{memory}/photo.jpg", f"{memory}/converted.jpg"
    subprocess.run(["vips", "copy", photo, f"{source}[Q=90]"], stderr=subprocess.DEVNULL, check=True)
    rows.append(("JPEG", "8", {
        "precise": convert(build, source, target, profile, "--quality", "90"),
        "vips": vips(source, f"{target}[Q=90]", profile, "8")}))
    return rows


IN_MEMORY = """
import sys, time
import numpy, tifffile, kxcms
pixels = tifffile.imread(sys.argv[1])
result = numpy.zeros_like(pixels)
convert = kxcms.Pipeline(sys.argv[2])
for _ in range(int(sys.argv[3])):
    start = time.perf_counter()
    convert(pixels, out=result, threads=int(sys.argv[4]))
    print(time.perf_counter() - start)
"""


def in_memory(build, folder, bits, rounds):
    """Seconds of the same conversion from array to array, on as many threads."""
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    surroundings = dict(os.environ, PYTHONPATH=f"{root}/bindings/python",
                        KXCMS_LIBRARY=f"{build}/libKXPipeline.so.1")
    done = subprocess.run(["/usr/bin/python3", "-B", "-c", IN_MEMORY, f"{folder}/photo-{bits}.tif",
                           f"{folder}/scanner.icc", str(rounds), THREADS],
                          env=surroundings, stdout=subprocess.PIPE, check=True)
    return statistics.median(map(float, done.stdout.split()))


def tiny(build, folder, memory, rounds):
    """Seconds of a whole process for a picture of 16 x 16 pixels."""
    source, target = f"{memory}/tiny.tif", f"{memory}/tiny-converted.tif"
    subprocess.run(["vips", "crop", f"{folder}/photo-8.tif", source, "100", "100", "16", "16"],
                   stderr=subprocess.DEVNULL, check=True)
    line = convert(build, source, target, f"{folder}/scanner.icc", "--quiet")

    def seconds():
        # What starts it takes as little as can be: a copy of this interpreter would count, too.
        start = time.perf_counter()
        _, status = os.waitpid(os.posix_spawn(line[0], line, os.environ), 0)
        if status != 0:
            sys.exit(f"{' '.join(line)}: failed")
        return time.perf_counter() - start

    return statistics.median(seconds() for _ in range(10 * rounds))


def measure(build, folder, rounds):
    """Seconds by form and contender. `build` is the build tree, `folder` holds scanner.icc,
    photo-8.tif and photo-16.tif. Peers that are not installed are left out."""
    os.sync()
    with measure_files.folder_in_memory(6 * os.path.getsize(f"{folder}/photo-16.tif")) as memory:
        result = {"tiny": tiny(build, folder, memory, rounds), "forms": {}}
        for name, bits, lines in forms(build, folder, memory):
            lines = {key: line for key, line in lines.items() if shutil.which(line[0])}
            times = {key: [] for key in lines}
            for _ in range(rounds):
                for key in random.sample(list(lines), len(lines)):
                    target = next(word for word in reversed(lines[key]) if "converted." in word)
                    target = target.partition("[")[0]
                    if os.path.exists(target):
                        os.remove(target)
                    times[key].append(measure_files.run(lines[key])[0])
            seconds = {key: statistics.median(values) for key, values in times.items()}
            if "cp" in lines:
                seconds["memory"] = in_memory(build, folder, bits, rounds)
            result["forms"][name] = seconds
    return result

