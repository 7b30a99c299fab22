#!/usr/bin/env python3
"""Names of processors, and tables that are not written because the machine was loaded."""

import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

BENCH = Path(__file__).resolve().parents[2] / "bench"
sys.path.insert(0, str(BENCH))

import machine  # noqa: E402  (found by the line above)


def x86(name, family, model):
    return (f"processor\t: 0\nvendor_id\t: SomeVendor\ncpu family\t: {family}\nmodel\t\t: {model}\n"
            f"model name\t: {name}\nstepping\t: 1\n\nprocessor\t: 1\nmodel\t\t: 99\n")


class Names(unittest.TestCase):
    def test_processors(self):
        rows = [
            (x86("AMD EPYC", 25, 17), "amd-epyc-zen4"),
            (x86("AMD EPYC", 25, 1), "amd-epyc-zen3"),
            (x86("AMD EPYC", 26, 2), "amd-epyc-zen5"),
            (x86("AMD EPYC 7763 64-Core Processor", 25, 1), "amd-epyc-7763-zen3"),
            (x86("AMD EPYC", 23, 49), "amd-epyc-family23-model49"),
            (x86("Intel(R) Xeon(R) Processor @ 2.60GHz", 6, 143), "intel-xeon-family6-model143"),
            (x86("Intel(R) Core(TM) i7-8700 CPU @ 3.20GHz", 6, 158),
             "intel-core-i7-8700-family6-model158"),
            ("processor\t: 0\nCPU implementer\t: 0x41\nCPU part\t: 0xd0c\n",
             "aarch64-0x41-0xd0c"),
            ("", "aarch64"),
        ]
        for cpuinfo, expected in rows:
            with self.subTest(expected):
                self.assertEqual(machine.describe(cpuinfo, "aarch64")[1], expected)

    def test_title_says_what_the_name_is_made_of(self):
        self.assertEqual(machine.describe(x86("AMD EPYC", 25, 17), "x86_64")[0],
                         "AMD EPYC (family 25, model 17, Zen 4)")
        self.assertEqual(machine.describe(x86("Some CPU", 6, 5), "x86_64")[0],
                         "Some CPU (family 6, model 5)")


class Load(unittest.TestCase):
    def test_idle_time_alone_is_not_work(self):
        ticks = os.sysconf("SC_CLK_TCK")
        # user, nice, system, idle, iowait, irq, softirq, steal, guest, guest_nice
        stat = " ".join(str(n * ticks) for n in (1, 2, 4, 1000, 2000, 8, 16, 32, 64, 128))
        self.assertEqual(machine.busy_seconds("cpu  " + stat), 63)

    def test_complaints(self):
        rows = [((0.0, 0.0), 0), ((0.05, 0.05), 0), ((0.06, 0.0), 1), ((0.0, 0.06), 1),
                ((2.0, 0.5), 2)]
        for (foreign, unsteady), count in rows:
            self.assertEqual(len(machine.complaints(foreign, unsteady)), count, (foreign, unsteady))


class Tables(unittest.TestCase):
    def print_table(self, foreign, slowest, *options):
        """Runs print_table.py over one case and additions in registers."""
        def runs(name, times):
            shared = {"name": name, "run_name": name, "family_index": 0, "time_unit": "ns",
                      "pixels": 1000, "repetitions": len(times)}
            return [{**shared, "run_type": "iteration", "real_time": time} for time in times] + [
                {**shared, "run_type": "aggregate", "aggregate_name": "median",
                 "real_time": sorted(times)[len(times) // 2]},
                {**shared, "run_type": "aggregate", "aggregate_name": "cv", "real_time": 0.01}]

        benchmarks = {
            "context": {"levels": "avx2", "width": "10", "length": "10", "build": "b",
                        "lcms2": "2"},
            "benchmarks": runs("buffer/8 to 8/avx2", [100, 100, 100])
            + runs("buffer/8 to 8/plain", [300, 300, 300])
            + runs("machine/registers alone/plain", [100, slowest, slowest])}
        files = {"threads": 2, "bits": {
            bits: {"imageKiB": 1024, "callSeconds": 3, "seconds": {"library": 4, "cp": 2},
                   "peakKiB": {"library": 2048}} for bits in ("8", "16")},
                 "commands": {"tiny": 0.005, "forms": {
                     "TIFF": {"precise": 0.2, "fixed": 0.15, "cp": 0.1, "memory": 0.06,
                              "tificc": 1, "vips": 0.5},
                     "JPEG": {"precise": 0.4, "vips": 0.5}}}}
        with tempfile.TemporaryDirectory() as folder:
            paths = []
            for name, content in (("b", benchmarks), ("f", files),
                                  ("l", {"foreignProcessors": foreign})):
                paths.append(f"{folder}/{name}.json")
                Path(paths[-1]).write_text(json.dumps(content), encoding="utf-8")
            return subprocess.run([sys.executable, "-B", BENCH / "print_table.py", *options, *paths],
                                  text=True, capture_output=True, check=False)

    def test_on_a_quiet_machine(self):
        printed = self.print_table(0.01, 101)
        self.assertEqual((printed.returncode, printed.stderr), (0, ""))
        self.assertIn("| buffer: 8 to 8 | Mpixel/s | 10000 | 3333 |  |  | 3.00 |  |  |  |",
                      printed.stdout)
        self.assertIn("1.50 times cp", printed.stdout)
        rows = [line for line in printed.stdout.splitlines() if "| kxcms convert: " in line]
        for row, expected in zip(rows, (
                "TIFF | ms | 200 |  | 1000 | 100 |  | 5.00 | 0.50 | fixed 150 ms, 1.50 times cp;"
                " precise 1.25 times cp and the conversion in memory; vips 2.50 times as long |",
                "JPEG | ms | 400 |  |  |  |  |  |  | vips 1.25 times as long |",
                "16 x 16 pixels, the whole process | ms | 5.00 |  |  |  |  |  |  |  |"), strict=True):
            self.assertEqual(row, "| kxcms convert: " + expected)
        self.assertNotIn("loaded", printed.stdout)

    def test_on_a_loaded_machine(self):
        for foreign, slowest, reason in ((0.5, 100, "others took 50 % of a processor"),
                                         (0.0, 120, "took 20 % longer")):
            refused = self.print_table(foreign, slowest)
            self.assertEqual((refused.returncode, refused.stdout), (1, ""))
            self.assertIn(reason, refused.stderr)
            self.assertIn("--force", refused.stderr)
            forced = self.print_table(foreign, slowest, "--force")
            self.assertEqual(forced.returncode, 0)
            self.assertIn("the figures do not count", forced.stdout)


if __name__ == "__main__":
    unittest.main()
