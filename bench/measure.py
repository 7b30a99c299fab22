#!/usr/bin/env python3
"""Measures everything: buffers by kxcms_bench, whole files, and what others took meanwhile.

usage: measure.py BUILD FOLDER [--quick]

BUILD is the build tree. FOLDER gets buffers.json, files.json and load.json, and holds profiles,
pictures and copies of the libraries meanwhile.
"""

import glob
import json
import os
import subprocess
import sys

import machine
import measure_commands
import measure_files


def kxcms_bench(build, folder, *options):
    """Runs the benchmark; its lines go to run.log and are shown when it fails."""
    with open(f"{folder}/run.log", "w+", encoding="utf-8") as log:
        line = [f"{build}/bench/kxcms_bench", folder, *options]
        if subprocess.run(line, stdout=log, stderr=subprocess.STDOUT, check=False).returncode != 0:
            log.seek(0)
            sys.exit("".join(log.readlines()[-20:]))


def measure(build, folder, quick):
    repetitions, rounds = (3, 2) if quick else (11, 9)
    options = ["--quick"] if quick else []
    # Files come first: OpenMP gives the library fewer threads the busier the machine was lately.
    # To list the cases is to make the pictures.
    kxcms_bench(build, folder, *options, "--benchmark_list_tests=true")
    files = measure_files.measure(build, folder, rounds)
    files["commands"] = measure_commands.measure(build, folder, rounds)
    with open(f"{folder}/files.json", "w", encoding="utf-8") as file:
        json.dump(files, file, indent=1)
    kxcms_bench(build, folder, *options, "--benchmark_enable_random_interleaving=true",
                f"--benchmark_repetitions={repetitions}",
                f"--benchmark_out={folder}/buffers.json", "--benchmark_out_format=json")


def main():
    build, folder, *rest = sys.argv[1:]
    foreign = machine.foreign_processors(lambda: measure(build, folder, rest == ["--quick"]))
    with open(f"{folder}/load.json", "w", encoding="utf-8") as file:
        json.dump({"foreignProcessors": foreign}, file)
    for pattern in ("photo-*.tif", "libKX*-*.so"):
        for path in glob.glob(f"{folder}/{pattern}"):
            os.remove(path)


if __name__ == "__main__":
    main()
