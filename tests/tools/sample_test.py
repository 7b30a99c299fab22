#!/usr/bin/env python3
"""The sample scan comes back as the colours that it was made of.

Environment: KXCMS (the command), KXCMS_SAMPLE (maker and judge of the sample).
"""

import os
import re
import subprocess
import tempfile
import unittest

import surroundings

KXCMS = os.environ["KXCMS"]
SAMPLE = os.environ["KXCMS_SAMPLE"]


@surroundings.needs_proc
class Sample(unittest.TestCase):
    def test_differences(self):
        """The pipeline's grid has 256 linear levels, which are coarse in the dark: single pixels
        may be several units off, the mean may not."""
        with tempfile.TemporaryDirectory(prefix="kxcms-sample-") as folder:
            run = lambda *arguments: subprocess.run(
                arguments, cwd=folder, check=True, capture_output=True, text=True).stdout
            run(SAMPLE, "make", ".")
            for bits, largest_mean, largest in [(8, 0.8, 7), (16, 0.6, 6)]:
                with self.subTest(bits=bits):
                    run(SAMPLE, "convert", ".", str(bits), "library.tif")
                    run(KXCMS, "convert", "--pipeline", "fixed", f"scan-{bits}.tif", "command.tif")
                    lines = {run(SAMPLE, "compare", f"{by}.tif") for by in ("library", "command")}
                    self.assertEqual(len(lines), 1, "library and command differ")
                    line = lines.pop()
                    print(f"{bits} bits: {line}", end="")
                    figures = re.search(r"within sRGB .* mean ([\d.]+), max ([\d.]+)", line)
                    self.assertLess(float(figures[1]), largest_mean)
                    self.assertLess(float(figures[2]), largest)
                    run(KXCMS, "convert", f"scan-{bits}.tif", "precise.tif")
                    line = run(SAMPLE, "compare", "precise.tif")
                    print(f"{bits} bits, precise: {line}", end="")
                    precise = re.search(r"within sRGB .* mean ([\d.]+), max ([\d.]+)", line)
                    self.assertLess(float(precise[1]), float(figures[1]))
                    self.assertLess(float(precise[2]), float(figures[2]))


if __name__ == "__main__":
    surroundings.main()
