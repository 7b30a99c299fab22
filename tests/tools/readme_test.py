#!/usr/bin/env python3
"""The lines of the README that a newcomer pastes, run one by one.

Environment: KXCMS (the command), KXCMS_SAMPLE (what makes the sample, instead of scripts/demo).
"""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import surroundings

ROOT = pathlib.Path(__file__).resolve().parents[2]
BLOCK = re.compile(r"^<!-- kxcms -->\n```sh\n(.*?)^```$", re.MULTILINE | re.DOTALL)


class Readme(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="kxcms-test-")
        self.addCleanup(shutil.rmtree, self.folder)

    def test_lines(self):
        block, = BLOCK.findall((ROOT / "README.md").read_text())
        first, *lines = block.splitlines()
        self.assertEqual(len(lines), 9)
        # Builds, makes the sample and goes where it is: done here already.
        self.assertIn("scripts/demo && ", first)
        subprocess.run([os.environ["KXCMS_SAMPLE"], "make", self.folder], check=True,
                       stdout=subprocess.DEVNULL, timeout=120)
        self.assertEqual(os.path.basename(os.environ["KXCMS"]), "kxcms")
        path = os.path.dirname(os.environ["KXCMS"]) + ":" + os.environ["PATH"]
        for line in lines:
            with self.subTest(line):
                done = subprocess.run(["bash", "-c", line], cwd=self.folder, timeout=120,
                                      env={**os.environ, "PATH": path}, text=True,
                                      stdin=subprocess.DEVNULL, capture_output=True)
                self.assertEqual(done.returncode, 0, done.stderr)
                for word in re.sub(r"\s#.*", "", line).split():
                    if re.fullmatch(r"[a-z-]+(16)?\.(tif|jpg|icc|html)", word):
                        self.assertGreater(os.path.getsize(os.path.join(self.folder, word)), 0)


if __name__ == "__main__":
    surroundings.main()
