#!/usr/bin/env python3
"""The double-precision evaluation beside Argyll and Little CMS, over the RGB profiles of Debian's
packages and profiles made to measure.

Environment: KXCMS_EXACT_LOOKUP and KXCMS_LCMS_LOOKUP, the programs of this folder; icclu is Argyll's.
"""

import glob
import os
import random
import struct
import subprocess
import tempfile
import unittest

import made_profiles

EXACT = os.environ["KXCMS_EXACT_LOOKUP"]
LCMS = os.environ["KXCMS_LCMS_LOOKUP"]

# colord-data, icc-profiles-free, argyll-ref, libgs-common, rawtherapee-data
FOLDERS = ["/usr/share/color/icc", "/usr/share/color/argyll/ref",
           "/usr/share/rawtherapee/iccprofiles"]
SPACES = ["srgb", "srgb-linear", "adobe-rgb", "display-p3", "prophoto", "ecirgb-v2", "rec2020",
          "adobe-18", "apple", "colormatch"]
INTENTS = {"perceptual": "A2B0", "relative": "A2B1", "saturation": "A2B2", "absolute": "A2B1"}


def colours():
    """Corners and their middles, greys, and some of everything."""
    steps = (0, 0.5, 1)
    dice = random.Random(1)
    return ([(r, g, b) for r in steps for g in steps for b in steps]
            + [(n / 20,) * 3 for n in range(21)]
            + [tuple(dice.random() for _ in range(3)) for _ in range(150)])


def lab_colours():
    """Colours of printed matter, and some beyond."""
    dice = random.Random(2)
    return ([(n * 5, 0, 0) for n in range(21)]
            + [(100 * dice.random(), 100 * dice.random() - 50, 100 * dice.random() - 50)
               for _ in range(150)])


def run(arguments, numbers):
    """@return rows of three numbers, or one for differences; None if the program refuses"""
    text = "".join(" ".join(f"{n:.9f}" for n in row) + "\n" for row in numbers)
    done = subprocess.run(arguments, input=text, capture_output=True, text=True)
    if done.returncode != 0:
        return None
    return [[float(n) for n in line.split()] for line in done.stdout.splitlines()]


def exact(profile, numbers, *options):
    return run([EXACT, *options, profile], numbers)


def lcms(profile, numbers, *options):
    return run([LCMS, *options, profile], numbers)


def icclu(profile, numbers, function, intent, pcs):
    return run(["icclu", "-v0", "-f" + function, "-i" + intent[0], "-p" + pcs, profile], numbers)


def differences(rows):
    """@param rows  (what, colours, others)
    @return [(what, CIEDE2000 of them)]"""
    pairs = [a + b for _, first, second in rows for a, b in zip(first, second, strict=True)]
    found = iter(run([EXACT, "--difference"], pairs))
    return [(what, [next(found)[0] for _ in first]) for what, first, _ in rows]


def halves(rows):
    return rows[:len(rows) // 2], rows[len(rows) // 2:]


class Profile:
    """What the tests need to know of a profile to ask everybody the same."""

    def __init__(self, path):
        self.path = path
        self.name = os.path.basename(path)
        with open(path, "rb") as file:
            data = file.read()
        self.version = data[8]
        self.device_class, self.space, self.pcs = (data[n:n + 4].decode() for n in (12, 16, 20))
        count, = struct.unpack_from(">I", data, 128)
        self.tags = {}
        for n in range(count):
            name, offset = struct.unpack_from(">4sI", data, 132 + 12 * n)
            self.tags[name.decode("latin-1")] = data[offset:offset + 4].decode()

    def is_device(self):
        return self.space == "RGB " and self.device_class in ("scnr", "mntr", "prtr", "spac")

    def is_formula(self):
        """Whether its curves have no tables, which Little CMS rounds to 16 bits."""
        return not any(tag[:3] in ("A2B", "B2A") for tag in self.tags) and \
            self.tags["rTRC"] == "para"


made = {}
installed = []


def setUpModule():
    folder = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(folder.cleanup)
    for group in (made_profiles.scanners, made_profiles.screens, made_profiles.printers,
                  made_profiles.black_points):
        for name, data in group().items():
            path = os.path.join(folder.name, name + ".icc")
            with open(path, "wb") as file:
                file.write(data)
            made[name] = Profile(path)
    paths = [path for folder in FOLDERS
             for path in sorted(glob.glob(folder + "/**/*.ic[cm]", recursive=True))]
    installed.extend(profile for profile in map(Profile, paths) if profile.is_device())


class Comparison(unittest.TestCase):
    def expect_close(self, actual, expected, tolerance):
        self.assertIsNotNone(actual)
        self.assertIsNotNone(expected)
        self.assertEqual(len(actual), len(expected))
        for row, peer in zip(actual, expected):
            for a, b in zip(row, peer):
                # Cameras' blues are far outside of what can be seen.
                self.assertLessEqual(abs(a - b), tolerance * max(1, abs(b) / 100), (row, peer))


class Material(unittest.TestCase):
    def test_is_there(self):
        self.assertGreaterEqual(len(installed), 90)
        self.assertEqual(len(made), 42)


class Argyll(Comparison):
    """icclu reads version 2, and states where it agrees and where it is asked something else:

    - It falls back on A2B0 for classes scnr and mntr only.
    - Its absolute intent scales XYZ by the media white for lookup tags; for matrix and curves it
      adapts by the Bradford transform.
    - Its D50 is that of s15Fixed16 numbers, so that its Lab of XYZ is up to 0.0005 apart.
    - It interpolates Lab inputs in cubes.
    """

    def asked(self, profile):
        for intent, tag in INTENTS.items():
            if profile.device_class == "prtr" and tag not in profile.tags:
                continue
            if intent == "absolute" and ("rXYZ" in profile.tags or "wtpt" not in profile.tags):
                continue
            yield intent

    def test_forward(self):
        compared = 0
        numbers = colours()
        for profile in installed + list(made.values()):
            if profile.version != 2 or profile.device_class == "spac":
                continue
            for intent in self.asked(profile):
                with self.subTest(profile.name, intent=intent):
                    lab = exact(profile.path, numbers, "--intent", intent)
                    peer = icclu(profile.path, numbers, "f", intent, "l")
                    self.expect_close(lab, peer, 0.001 if profile.pcs == "Lab " else 0.003)
                    xyz = exact(profile.path, numbers, "--intent", intent, "--to", "xyz")
                    peer = icclu(profile.path, numbers, "f", intent, "x")
                    # Six decimals, and media whites in s15Fixed16 numbers.
                    self.expect_close(xyz, peer, 1e-5)
                    compared += 1
        self.assertGreater(compared, 200)

    def test_backward(self):
        rows = []
        numbers = lab_colours()
        # lutAToBType with level B curves: device values are encoded Lab.
        source = os.path.join(os.path.dirname(made["mab-b"].path), "lab.icc")
        with open(source, "wb") as file:
            file.write(made_profiles.profile([("A2B0", made_profiles.a_to_b())], 4, b"spac"))
        encoded = [(row[0] / 100, (row[1] + 128) / 255, (row[2] + 128) / 255) for row in numbers]
        for profile in installed + list(made.values()):
            if profile.version != 2 or profile.device_class == "spac":
                continue
            is_matrix = "rXYZ" in profile.tags
            for intent, tag in INTENTS.items():
                if intent == "absolute" or not (is_matrix or tag.replace("A2B", "B2A")
                                                in profile.tags):
                    continue
                with self.subTest(profile.name, intent=intent):
                    device = exact(source, encoded, "--intent", intent, "--to", profile.path)
                    peer = icclu(profile.path, numbers, "b", intent, "l")
                    peer = [[min(max(n, 0), 1) for n in row] for row in peer]
                    # As colours: in the dark, and where a curve is flat, device values mean little.
                    self.assertEqual(len(device), len(peer))
                    rows.append(((profile.name, intent), *halves(exact(profile.path,
                                                                       device + peer))))
        for (name, intent), found in differences(rows):
            with self.subTest(name, intent=intent):
                # The six decimals of the peer show in the wide spaces of cameras.
                self.assertLessEqual(max(found), 0.02)
                self.assertLessEqual(sum(found) / len(found), 0.002)
        self.assertGreater(len(rows), 100)


class LittleCms(Comparison):
    """Relative, as Little CMS compensates the black of version 4 perceptual tables unasked. It
    rounds curves with tables to 16 bits, which the dark colours of PCS XYZ do not bear well."""

    def bound(self, *profiles):
        if all(profile.is_formula() for profile in profiles):
            return 0.0005
        return 0.2 if any(profile.pcs == "XYZ " for profile in profiles) else 0.02

    def compare(self, source, destination, *options):
        """@return what comes out here and there, as colours: by the forward direction of where it
        goes. Device values of Little CMS may go beyond their range."""
        numbers = colours()
        ours = exact(source, numbers, "--intent", "relative", "--to", destination, *options)
        theirs = lcms(source, numbers, "--to", destination, *options)
        self.assertIsNotNone(ours)
        self.assertIsNotNone(theirs)
        self.assertEqual(len(ours), len(theirs))
        if destination == "lab":
            return ours, theirs
        both = ours + [[min(max(n, 0), 1) for n in row] for row in theirs]
        return halves(lcms(destination, both) if destination in SPACES
                      else exact(destination, both, "--intent", "relative"))

    def test_sources(self):
        rows = []
        for profile in installed + list(made.values()):
            with self.subTest(profile.name):
                rows.append((profile, *self.compare(profile.path, "lab")))
        for profile, found in differences(rows):
            with self.subTest(profile.name):
                self.assertLessEqual(max(found), self.bound(profile))

    # Sources whose relative black lies above L* 20, or at 0: well away from the destinations', as
    # Little CMS leaves out a compensation that would change little.
    SOURCES = ["lut16-lab-3-intents", "lut16-xyz", "mab-a-clut-m-matrix-b",
               "mab-a-clut-m-matrix-b-xyz", "screen-v2-gamma", "screen-v4-para-3"]

    def destinations(self):
        names = [name for name in made if name.startswith(("screen-", "print-", "black-"))]
        return [made[name].path for name in names] + SPACES

    def found(self, destinations, *options):
        """@return [((source, destination), differences)]"""
        rows = []
        for name in self.SOURCES:
            for destination in destinations:
                with self.subTest(name, destination=os.path.basename(destination)):
                    rows.append(((name, os.path.basename(destination)),
                                 *self.compare(made[name].path, destination, *options)))
        return differences(rows)

    def test_destinations(self):
        for (name, destination), found in self.found(self.destinations()):
            with self.subTest(name, destination=destination):
                # The inverse of a curve is a table of 4096 entries there.
                self.assertLessEqual(max(found), 0.1)
                self.assertLessEqual(sum(found) / len(found), 0.01)

    def test_black_point_compensation(self):
        everything = []
        for (name, destination), found in self.found(self.destinations() + ["lab"], "--bpc"):
            with self.subTest(name, destination=destination):
                self.assertLessEqual(max(found), 0.2)
                self.assertLessEqual(sum(found) / len(found), 0.01)
                everything += found
        self.assertLessEqual(sum(everything) / len(everything), 0.005)


if __name__ == "__main__":
    unittest.main()
