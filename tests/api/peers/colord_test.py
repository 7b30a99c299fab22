#!/usr/bin/env python3
"""Profiles to tag with, of either version, as colord's cd-iccdump reads them.

Environment: that of tagging_test.py, and KXCMS_CD_ICCDUMP.
"""

import os
import re
import unittest

# setUpModule writes the profiles.
from tagging_test import each, is_rgb, paths, run, setUpModule

CD_ICCDUMP = os.environ["KXCMS_CD_ICCDUMP"]


class Colord(unittest.TestCase):
    def read(self, path):
        """What it prints, without a complaint."""
        done = run(CD_ICCDUMP, path)
        text = done.stdout.decode() + done.stderr.decode()
        self.assertIsNone(re.search("error|warning|fail|invalid|unknown type", text, re.I), text)
        return text

    def test_header_and_tags(self):
        for name, version, profile in each():
            with self.subTest(name, version=version):
                text = self.read(paths[name, version])
                self.assertIn(f"Version\t= {version}.{4 if version == 2 else 3}", text)
                self.assertIn(f"Size\t\t= {len(profile.data)} bytes", text)
                self.assertEqual(re.findall(r"^tag \d+:\n  sig\t'(....)'", text, re.M),
                                 list(profile.tags))
                if version == 4:
                    self.assertIn(f"Profile ID\t= {profile.data[84:100].hex()}", text)

    def test_colorants_are_right(self):
        for name, version, profile in each(is_rgb):
            with self.subTest(name, version=version):
                text = self.read(paths[name, version])
                for tag in ("rXYZ", "gXYZ", "bXYZ"):
                    shown = re.search(rf"sig\t'{tag}'.*?X:(\S+) Y:(\S+) Z:(\S+)", text, re.S).groups()
                    for number, word in zip(shown, profile.words(tag), strict=True):
                        self.assertAlmostEqual(float(number), word / 65536, delta=6e-7)


if __name__ == "__main__":
    unittest.main()
