#!/usr/bin/env python3
"""kxcms report and kxcms probe: their numbers beside Argyll's and an evaluation of its own, the page beside its JSON, its
plots as others draw them, and what it refuses.

Environment: KXCMS (the command), KXCMS_SAMPLE (the sample generator).
"""

import base64
import io
import json
import math
import os
import random
import re
import shutil
import struct
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ElementTree

import numpy
import tifffile

import command_test
import profiles
import surroundings
import tiffs
from command_test import OLD, PROFILE, UNREADABLE, USAGE, WRITE
from image_forms import written

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../peers"))
import made_profiles  # noqa: E402

SAMPLE = os.environ["KXCMS_SAMPLE"]
COLOR = "/usr/share/color/icc"  # icc-profiles-free
ADOBE = f"{COLOR}/compatibleWithAdobeRGB1998.icc"
SRGB = f"{COLOR}/sRGB.icc"
SVG = "{http://www.w3.org/2000/svg}"
XHTML = "{http://www.w3.org/1999/xhtml}"
D50 = numpy.array([0.9642, 1.0, 0.8249])
# IEC 61966-2-1 relative to D50, as the primaries and the Bradford transform give it.
SRGB_PRIMARIES = numpy.array([(0.64, 0.33), (0.30, 0.60), (0.15, 0.06)])
D65 = (0.3127, 0.3290)
BRADFORD = numpy.array([(0.8951, 0.2664, -0.1614), (-0.7502, 1.7135, 0.0367),
                        (0.0389, -0.0685, 1.0296)])


def needs(program):
    return unittest.skipUnless(shutil.which(program), f"{program} is not installed")


# ---- An evaluation of its own: matrix profiles to sRGB ------------------------------------------

def xyz_of_xy(xy):
    x, y = xy
    return numpy.array([x / y, 1, (1 - x - y) / y])


def srgb_to_pcs():
    primaries = numpy.array([xyz_of_xy(xy) for xy in SRGB_PRIMARIES]).T
    white = xyz_of_xy(D65)
    to_xyz = primaries * numpy.linalg.solve(primaries, white)
    scale = (BRADFORD @ D50) / (BRADFORD @ white)
    return numpy.linalg.inv(BRADFORD) @ numpy.diag(scale) @ BRADFORD @ to_xyz


def srgb_encode(linear):
    return numpy.where(linear <= 0.0031308, 12.92 * linear,
                       1.055 * numpy.maximum(linear, 1e-9) ** (1 / 2.4) - 0.055)


def srgb_decode(encoded):
    return numpy.where(encoded <= 0.04045, encoded / 12.92, ((encoded + 0.055) / 1.055) ** 2.4)


def lab_of_xyz(xyz):
    t = xyz / D50
    f = numpy.where(t > 216 / 24389, numpy.cbrt(t), (24389 / 27 * t + 16) / 116)
    return numpy.stack([116 * f[..., 1] - 16, 500 * (f[..., 0] - f[..., 1]),
                        200 * (f[..., 1] - f[..., 2])], axis=-1)


def ciede2000(one, two):
    """CIE 142-2001."""
    mean_c = (numpy.hypot(one[:, 1], one[:, 2]) + numpy.hypot(two[:, 1], two[:, 2])) / 2
    g = 0.5 * (1 - numpy.sqrt(mean_c ** 7 / (mean_c ** 7 + 25.0 ** 7)))
    a1, a2 = (1 + g) * one[:, 1], (1 + g) * two[:, 1]
    c1, c2 = numpy.hypot(a1, one[:, 2]), numpy.hypot(a2, two[:, 2])
    h1, h2 = (numpy.degrees(numpy.arctan2(lab[:, 2], a)) % 360 for lab, a in ((one, a1), (two, a2)))
    grey = c1 * c2 == 0
    turn = numpy.where(grey, 0, (h2 - h1 + 180) % 360 - 180)
    total = numpy.where(grey, h1 + h2, numpy.where(
        numpy.abs(h1 - h2) <= 180, (h1 + h2) / 2,
        numpy.where(h1 + h2 < 360, (h1 + h2 + 360) / 2, (h1 + h2 - 360) / 2)))
    rad = numpy.radians
    t = (1 - 0.17 * numpy.cos(rad(total - 30)) + 0.24 * numpy.cos(rad(2 * total))
         + 0.32 * numpy.cos(rad(3 * total + 6)) - 0.20 * numpy.cos(rad(4 * total - 63)))
    mean_l, c = (one[:, 0] + two[:, 0]) / 2, (c1 + c2) / 2
    s_l = 1 + 0.015 * (mean_l - 50) ** 2 / numpy.sqrt(20 + (mean_l - 50) ** 2)
    s_c, s_h = 1 + 0.045 * c, 1 + 0.015 * c * t
    r_t = (-2 * numpy.sqrt(c ** 7 / (c ** 7 + 25.0 ** 7))
           * numpy.sin(rad(60 * numpy.exp(-((total - 275) / 25) ** 2))))
    l, c, h = ((two[:, 0] - one[:, 0]) / s_l, (c2 - c1) / s_c,
               2 * numpy.sqrt(c1 * c2) * numpy.sin(rad(turn) / 2) / s_h)
    return numpy.sqrt(l * l + c * c + h * h + r_t * c * h)


class GammaProfile:
    """A version 2 profile of one gamma and three colorants."""

    def __init__(self, path):
        with open(path, "rb") as file:
            data = file.read()
        count, = struct.unpack_from(">I", data, 128)
        at = {struct.unpack_from("4s", data, 132 + 12 * n)[0]:
              struct.unpack_from(">I", data, 136 + 12 * n)[0] for n in range(count)}
        self.gamma = struct.unpack_from(">H", data, at[b"rTRC"] + 12)[0] / 256
        self.matrix = numpy.array([struct.unpack_from(">3i", data, at[name] + 8)
                                   for name in (b"rXYZ", b"gXYZ", b"bXYZ")]).T / 65536

    def xyz(self, device):
        return (device ** self.gamma) @ self.matrix.T

    def to_srgb(self, device):
        """@return linear values, before they are clipped"""
        return self.xyz(device) @ numpy.linalg.inv(srgb_to_pcs()).T


def srgb_lab(encoded):
    return lab_of_xyz(srgb_decode(encoded) @ srgb_to_pcs().T)


def device_grid(levels):
    steps = [math.floor(255 * n / (levels - 1) + 0.5) for n in range(levels)]
    return numpy.array([(r, g, b) for r in steps for g in steps for b in steps]) / 255


def nearest_rank(values, percent):
    return sorted(values)[max(math.ceil(percent * len(values) / 100), 1) - 1]


# ---- The command --------------------------------------------------------------------------------

class Reporting(command_test.Command):
    def report(self, *names, options=()):
        """@return the JSON document; the page is page.html"""
        self.expect(["report", *options, *names, "-o", "page.html", "--json", "page.json"], 0)
        return json.loads(self.read("page.json"))

    def profile(self, name, options=()):
        return self.report(name, options=options)["profiles"][0]

    def sample(self):
        subprocess.run([SAMPLE, "make", self.folder], check=True, stdout=subprocess.DEVNULL)
        return "scanner.icc"

    def made(self, name):
        self.write("made.icc", {**made_profiles.scanners(), **made_profiles.screens(),
                                **made_profiles.printers()}[name])
        return "made.icc"

    def page(self):
        return ElementTree.parse(self.path("page.html")).getroot()

    def icclu(self, profile, numbers, intent="p", function="f"):
        text = "".join(" ".join(f"{v:.9f}" for v in row) + "\n" for row in numbers)
        done = subprocess.run(["icclu", "-v0", "-f" + function, "-i" + intent, "-pl", profile],
                              cwd=self.folder, input=text, text=True, capture_output=True,
                              check=True)
        return [[float(v) for v in line.split()] for line in done.stdout.splitlines() if line]

    def expect_near(self, found, expected, tolerance):
        for n, (one, two) in enumerate(zip(found, expected, strict=True)):
            self.assertLessEqual(abs(one - two), tolerance, (n, one, two))


class Numbers(Reporting):
    """Beside Argyll and the evaluation above."""

    @needs("icclu")
    def test_neutral_axis(self):
        greys = [[n / 255] * 3 for n in range(256)]
        for path, tolerance in ((SRGB, 0.003), (ADOBE, 0.003), (self.sample(), 0.001)):
            with self.subTest(path):
                axis = self.profile(path)["neutral"]
                expected = self.icclu(path, greys)
                for found, lab in zip(axis["lab"], expected, strict=True):
                    self.expect_near(found, lab, tolerance)
                self.expect_near(axis["white"], expected[255], tolerance)
                self.expect_near(axis["black"], expected[0], tolerance)
                chroma = [math.hypot(a, b) for _, a, b in expected]
                self.assertAlmostEqual(axis["largestChroma"], max(chroma), delta=2 * tolerance)
                falls = sum(b[0] < a[0] for a, b in zip(expected, expected[1:]))
                self.assertEqual(axis["lightnessReversals"], falls)

    @needs("iccgamut")
    def test_gamut_volume(self):
        for path, detail in ((SRGB, 10), (ADOBE, 10), (self.sample(), 8)):
            with self.subTest(path):
                gamut = self.profile(path)["gamut"]
                shutil.copy(self.path(path), self.path("copy.icc"))
                done = subprocess.run(["iccgamut", "-v", "-ff", "-ir", "-pl", f"-d{detail}", "copy.icc"],
                                      cwd=self.folder, text=True, capture_output=True, check=True)
                volume = float(re.search(r"volume of gamut is ([0-9.]+)", done.stdout)[1])
                self.assertAlmostEqual(gamut["volume"] / volume, 1, delta=0.02)

    def test_gamut_of_a_known_solid(self):
        # L* over a*, b* in a box: device values are Lab, scaled; the edges are 100, 128 and 64.
        def lab(r, g, b):
            return profiles.lab16(100 * r, 128 * g - 64, 64 * b - 32)
        self.write("box.icc", profiles.scanner(points=9, lab=lab))
        found = self.profile("box.icc")
        self.assertAlmostEqual(found["gamut"]["volume"], 100 * 128 * 64, delta=100)
        self.expect_near(found["gamut"]["areas"], [128 * 64] * 3, 2)
        # The half plane leaves the box where the nearer side is.
        reach = [min(64 / abs(math.cos(h)) if abs(math.cos(h)) > 1e-9 else 1e9,
                     32 / abs(math.sin(h)) if abs(math.sin(h)) > 1e-9 else 1e9)
                 for h in (math.radians(60 * n) for n in range(6))]
        self.expect_near(found["gamut"]["largestChroma"], reach, 0.02)

    def test_accuracy_tone_and_share(self):
        """PRECISE at 8 bits is the rounded exact result, but for ties."""
        profile = GammaProfile(ADOBE)
        found = self.profile(ADOBE)
        device = device_grid(24)
        exact = srgb_encode(numpy.clip(profile.to_srgb(device), 0, 1))
        rounded = numpy.floor(255 * exact + 0.5) / 255
        difference = ciede2000(srgb_lab(exact), srgb_lab(rounded))
        row = found["precise"]["bits8"]
        self.assertEqual(found["colors"], len(device))
        self.assertAlmostEqual(row["mean"], difference.mean(), delta=1e-4)
        for percent in (90, 95, 99):
            self.assertAlmostEqual(row[f"share{percent}"], nearest_rank(difference, percent),
                                   delta=1e-3)
        self.assertAlmostEqual(row["largest"], difference.max(), delta=1e-3)
        self.assertLess(found["precise"]["bits16"]["largest"], 0.01)

        greys = numpy.repeat(numpy.arange(256)[:, None] / 255, 3, axis=1)
        lightness = lab_of_xyz(profile.xyz(greys))[:, 0]
        encoded = srgb_encode(numpy.clip(profile.to_srgb(greys), 0, 1))
        error = srgb_lab(numpy.floor(255 * encoded + 0.5) / 255)[:, 0] - lightness
        tone = found["precise"]["tone"]
        self.expect_near(tone["error"], error, 1e-3)
        self.assertAlmostEqual(tone["largest"], abs(error).max(), delta=1e-3)
        for level, worst in zip((5, 10, 20, 50, 95), tone["worst"], strict=True):
            near = numpy.abs(lightness - level) <= 2.5
            self.assertAlmostEqual(abs(worst), abs(error[near]).max(), delta=1e-3)

        # By volume: random device values, weighted by the Jacobian of Lab, of which many are drawn.
        draws = numpy.random.default_rng(7).random((200000, 3)) * 0.998 + 0.001
        step = 1e-4
        columns = [(lab_of_xyz(profile.xyz(draws + step * unit))
                    - lab_of_xyz(profile.xyz(draws - step * unit))) for unit in numpy.eye(3)]
        weight = numpy.abs(numpy.linalg.det(numpy.stack(columns, axis=-1)))
        linear = profile.to_srgb(draws)
        inside = ((linear >= 0) & (linear <= 1)).all(axis=1)
        share = weight[inside].sum() / weight.sum()
        self.assertAlmostEqual(found["shareInside"], share, delta=0.01)

    def test_curves(self):
        stepped = [min(n * 300, 65535) for n in range(256)]
        stepped[100] = stepped[99] - 50  # the one entry that turns back
        for what, curve, turns, step, at in (
            ("a ramp", profiles.ramp(256), None, 257, 0),
            ("a table that turns", stepped, 99, stepped[101] - stepped[100], 100),
        ):
            with self.subTest(what):
                self.write("curve.icc", profiles.scanner(input_curve=curve))
                for curve_found in self.profile("curve.icc")["inputCurves"]["curves"]:
                    self.assertEqual(curve_found["entries"], 256)
                    self.assertEqual(curve_found["monotonic"], turns is None)
                    self.assertEqual(curve_found["turnsAt"],
                                     None if turns is None else round(turns / 255, 6))
                    self.assertAlmostEqual(curve_found["largestStep"], step / 65535, delta=1e-6)
                    self.assertAlmostEqual(curve_found["largestStepAt"], at / 255, delta=1e-6)

    def test_grid(self):
        """A grid with one node pulled away: its distances, and the cells that it folds."""
        points, pulled = 5, (2, 1, 3)

        def lab(r, g, b):
            place = tuple(round(v * (points - 1)) for v in (r, g, b))
            away = 40 if place == pulled else 0
            return profiles.lab16(100 * r - away, 100 * g - 50, 100 * b - 50)

        def exact(place):
            lightness, a, b = lab(*(n / (points - 1) for n in place))
            return numpy.array([lightness / 652.8, a / 256 - 128, b / 256 - 128])

        self.write("grid.icc", profiles.scanner(points=points, lab=lab))
        grid = self.profile("grid.icc")["grid"]
        places = [(x, y, z) for x in range(points) for y in range(points) for z in range(points)]
        spacing, second, turns = {}, {}, {}
        for place in places:
            edges = []
            for axis in numpy.eye(3, dtype=int):
                up, down = tuple(place + axis), tuple(place - axis)
                if max(up) >= points:
                    continue
                edges.append(exact(up) - exact(place))
                spacing.setdefault(place, []).append(numpy.linalg.norm(edges[-1]))
                if min(down) >= 0:
                    bend = exact(up) - 2 * exact(place) + exact(down)
                    second[place] = max(second.get(place, 0), numpy.linalg.norm(bend))
            if len(edges) == 3:
                turns[place] = numpy.sign(numpy.linalg.det(numpy.array(edges)))
        every = [v for values in spacing.values() for v in values]
        folds = sorted(place for place, turn in turns.items() if turn < 0)
        self.assertGreater(len(folds), 0)
        self.assertEqual(grid["points"], [points] * 3)
        self.assertEqual(grid["cells"], len(turns))
        self.assertAlmostEqual(grid["meanSpacing"], sum(every) / len(every), delta=1e-3)
        self.assertAlmostEqual(grid["largestSpacing"], max(every), delta=1e-3)
        self.assertAlmostEqual(grid["largestSecondDifference"], max(second.values()), delta=1e-3)
        self.assertEqual(grid["largestSecondDifferenceAt"], list(pulled))
        self.assertEqual(grid["folds"], len(folds))
        self.assertEqual(tuple(grid["firstFoldAt"]), folds[0])

    @needs("icclu")
    def test_intents(self):
        name = self.made("lut16-lab-3-intents")
        device = device_grid(24).tolist()
        labs = {intent: numpy.array(self.icclu(name, device, intent[0]))
                for intent in ("perceptual", "relative", "saturation", "absolute")}
        pairs = self.profile(name)["intents"]
        self.assertEqual(len(pairs), 6)
        for pair in pairs:
            with self.subTest(pair["first"] + ", " + pair["second"]):
                difference = ciede2000(labs[pair["first"]], labs[pair["second"]])
                self.assertAlmostEqual(pair["mean"], difference.mean(), delta=0.001)
                self.assertAlmostEqual(pair["largest"], difference.max(), delta=0.01)
                self.assertGreater(pair["largest"], 0.1)

    @needs("icclu")
    def test_round_trip(self):
        """Tables from Lab in which the inputs only add up: icclu interpolates these in cubes."""
        for made in ("print-lut16", "print-lut8"):
            with self.subTest(made):
                name = self.made(made)
                trip = self.profile(name)["roundTrip"]
                self.assertEqual((trip["forward"], trip["back"]), ("A2B1", "B2A1"))
                there = self.icclu(name, device_grid(24).tolist(), "r")
                back = self.icclu(name, there, "r", "b")
                again = self.icclu(name, back, "r")
                difference = ciede2000(numpy.array(there), numpy.array(again))
                found = trip["difference"]
                self.assertAlmostEqual(found["mean"], difference.mean(), delta=0.001)
                self.assertAlmostEqual(found["share95"], nearest_rank(difference, 95), delta=0.005)
                self.assertAlmostEqual(found["largest"], difference.max(), delta=0.01)
        self.assertIsNone(self.profile(self.sample())["roundTrip"])

    def test_guidelines(self):
        """The bands as a published comparison of the guidelines gives them; what keeps within."""
        below, within = True, False
        expected = [
            ("FADGI 2023", "4 stars", 1.5, 2, 4, None, below),
            ("FADGI 2023", "3 stars", 3, 3.5, 7, None, below),
            ("FADGI 2023", "2 stars", 4.5, 5, 10, None, below),
            ("FADGI 2023", "1 star", 6, 6.5, 13, None, below),
            ("ISO 19264-1:2021", "level A", 2, 4, None, 10, within),
            ("ISO 19264-1:2021", "level B", 3, 5, None, 15, within),
            ("ISO 19264-1:2021", "level C", 4, 5, None, 15, within),
            ("Metamorfoze 2.0 draft", "strict", 2, 3, None, 7, within),
            ("Metamorfoze 2.0 draft", "light", 2, 4, None, 14, within),
        ]
        document = self.report(self.sample())
        self.assertEqual([tuple(level.values()) for level in document["guidelines"]], expected)
        answers = set()
        for pipeline in ("precise", "fixed"):
            found = document["profiles"][0][pipeline]
            color = found["bits8"]
            allowed = []
            for _, _, tone, mean, share90, largest, is_below in expected:
                def keeps(value, limit, strictly=is_below):
                    return limit is None or value < limit or (value == limit and not strictly)
                allowed.append({"tone": keeps(found["tone"]["largest"], tone),
                                "color": keeps(color["mean"], mean)
                                and keeps(color["share90"], share90)
                                and keeps(color["largest"], largest)})
            self.assertEqual(found["allowedBy"], allowed)
            answers.update(level["tone"] for level in allowed)
        self.assertEqual(answers, {True, False})


class Destinations(Reporting):
    def test_a_profile_beside_the_space_that_it_describes(self):
        """Adobe RGB (1998) as a profile and as a built-in space differ by the rounding of the
        profile's colorants."""
        name = self.sample()
        built_in = self.profile(name, ("--to", "adobe-rgb"))
        profile = self.profile(name, ("--to", ADOBE))
        self.assertEqual(profile["destination"], "compatibleWithAdobeRGB1998.icc")
        # The one counts linear values beyond their ends, the other the surface in Lab.
        self.assertAlmostEqual(profile["shareInside"], built_in["shareInside"], delta=0.005)
        for key in ("gamut", "destinationGamut"):
            self.assertAlmostEqual(profile[key]["volume"] / built_in[key]["volume"], 1, delta=0.002)
        for bits in ("bits8", "bits16"):
            self.assertAlmostEqual(profile["precise"][bits]["mean"],
                                   built_in["precise"][bits]["mean"], delta=0.005)
        self.expect_near(profile["precise"]["tone"]["error"], built_in["precise"]["tone"]["error"],
                         0.3)
        self.assertIn("refused", profile["fixed"])

    @needs("icclu")
    def test_lookup_tags(self):
        """Greys by way of B2A0, and back by A2B1."""
        self.write("screen.icc", self.read(self.made("print-lut16")))
        found = self.profile(self.sample(), ("--to", "screen.icc"))
        greys = self.icclu("scanner.icc", [[n / 255] * 3 for n in range(256)])
        device = self.icclu("screen.icc", greys, "p", "b")
        rounded = [[math.floor(255 * v + 0.5) / 255 for v in row] for row in device]
        lightness = [lab[0] for lab in self.icclu("screen.icc", rounded, "r")]
        expected = [after - before[0] for after, before in zip(lightness, greys)]
        self.assertGreater(max(map(abs, expected)), 1)
        # A tie of the rounding may fall to either side.
        errors = found["precise"]["tone"]["error"]
        away = [abs(one - two) for one, two in zip(errors, expected, strict=True)]
        self.assertLess(sorted(away)[250], 0.02)
        self.assertLess(max(away), 0.5)
        self.assertLess(found["precise"]["bits16"]["largest"], 0.02)


def chart(patches, kind="LAB", scale=100, header="CTI3", names=True):
    """@param patches  (device in [0, 1], Lab or XYZ of 100)"""
    colors = {"LAB": "LAB_L LAB_A LAB_B", "XYZ": "XYZ_X XYZ_Y XYZ_Z"}[kind]
    lines = [header, "", 'DESCRIPTOR "a chart # of ours"', 'ORIGINATOR "a test"',
             'DEVICE_CLASS "INPUT"', f'COLOR_REP "{kind}_RGB"', 'KEYWORD "SAMPLE_LOC"',
             "# BEGIN_DATA is not here", f"NUMBER_OF_FIELDS {8 if names else 7}",
             "BEGIN_DATA_FORMAT", f"SAMPLE_ID {'SAMPLE_LOC ' if names else ''}RGB_R RGB_G RGB_B "
             f"{colors}", "END_DATA_FORMAT", f"NUMBER_OF_SETS {len(patches)}", "BEGIN_DATA"]
    for n, (device, color) in enumerate(patches):
        place = f'"B {n}" ' if names else ""
        lines.append(f"{n + 1} {place}" + " ".join(f"{scale * v:.5f}" for v in device) + " "
                     + " ".join(f"{v:.5f}" for v in color))
    return "\n".join([*lines, "END_DATA", ""]).encode()


class Charts(Reporting):
    def patches(self, spread, greys=True):
        """Random colours, and greys if asked for, as icclu sees them, and some error."""
        dice = random.Random(33)
        devices = [[dice.uniform(0.05, 0.95) for _ in range(3)] for _ in range(80)]
        devices += [[n / 10] * 3 for n in range(11)] if greys else []
        labs = self.icclu("scanner.icc", devices, "a")
        return [(device, [v + dice.gauss(0, spread) for v in lab])
                for device, lab in zip(devices, labs)]

    def found(self, patches, *options, status=0, **form):
        self.write("chart.ti3", chart(patches, **form))
        done = self.run_command("report", "scanner.icc", "--chart", "chart.ti3", *options, "-o",
                                "page.html", "--json", "page.json")
        found = json.loads(self.read("page.json"))["profiles"][0]["charts"][0]
        line = f"scanner.icc, chart chart.ti3: {found['stars']} of {options[-1]} stars\n" if status \
            else ""
        self.assertEqual((done.returncode, done.stderr, done.stdout.decode()), (status, b"", line))
        return found

    @needs("profcheck")
    def test_as_profcheck(self):
        self.sample()
        for spread in (0.5, 3):
            with self.subTest(spread):
                found = self.found(self.patches(spread))
                done = subprocess.run(["profcheck", "-v2", "-k", "chart.ti3", "scanner.icc"],
                                      cwd=self.folder, text=True, capture_output=True, check=True)
                largest, mean = (float(v) for v in re.search(
                    r"max\. = ([0-9.]+), avg\. = ([0-9.]+)", done.stdout).groups())
                self.assertAlmostEqual(found["difference"]["mean"], mean, delta=0.001)
                self.assertAlmostEqual(found["difference"]["largest"], largest, delta=0.002)
                single = {int(n): float(v) for v, n in re.findall(
                    r"^\[([0-9.]+)\] ([0-9]+) @", done.stdout, re.MULTILINE)}
                self.assertEqual(len(single), 91)
                for patch in found["patches"]:
                    number = int(patch["name"].split()[1]) + 1
                    self.assertAlmostEqual(patch["difference"], single[number], delta=0.003)

    @needs("icclu")
    def test_sorted_with_stars(self):
        self.sample()
        for spread, stars in ((0.5, 4), (3, 3), (4.5, 2), (20, 0)):
            with self.subTest(spread):
                patches = self.patches(spread, greys=False)
                found = self.found(patches)
                differences = [patch["difference"] for patch in found["patches"]]
                self.assertEqual(differences, sorted(differences, reverse=True))
                mean, share90 = found["difference"]["mean"], found["difference"]["share90"]
                self.assertAlmostEqual(mean, sum(differences) / 80, delta=1e-5)
                self.assertAlmostEqual(share90, nearest_rank(differences, 90), delta=1e-6)
                bands = ((4, 2, 4), (3, 3.5, 7), (2, 5, 10), (1, 6.5, 13))
                expected = max((n for n, most, most90 in bands if mean < most and share90 < most90),
                               default=0)
                self.assertEqual((found["colorStars"], expected), (stars, stars))

    @needs("icclu")
    def test_tone_of_greys(self):
        self.sample()
        exact = self.patches(0)
        greys = [n for n, (_, lab) in enumerate(exact) if math.hypot(*lab[1:]) < 3]
        self.assertGreater(len(greys), 3)
        for away, tone_stars in ((1.4, 4), (2.9, 3), (4.4, 2), (5.9, 1), (6.1, 0)):
            patches = [(device, list(lab)) for device, lab in exact]
            patches[greys[1]][1][0] -= away
            found = self.found(patches)
            self.assertAlmostEqual(found["tone"], away, delta=0.01)
            self.assertEqual((found["greys"], found["colorStars"]), (len(greys), 4))
            self.assertEqual((found["toneStars"], found["stars"]), (tone_stars, tone_stars))

    @needs("icclu")
    def test_fail_below(self):
        self.sample()
        patches = self.patches(3, greys=False)
        for least, status in ((1, 0), (3, 0), (4, 5)):
            with self.subTest(least):
                for name in ("page.html", "page.json"):
                    if os.path.exists(self.path(name)):
                        os.remove(self.path(name))
                self.assertEqual(self.found(patches, "--fail-below", str(least), status=status)
                                 ["stars"], 3)
                self.page()

    @needs("icclu")
    def test_forms(self):
        """XYZ, RGB up to 255, without names, with Windows' ends of lines."""
        self.sample()
        patches = self.patches(1)
        expected = self.found(patches)["difference"]["mean"]
        self.assertAlmostEqual(self.found(patches, scale=255)["difference"]["mean"], expected,
                               delta=1e-4)
        self.assertEqual(self.found(patches, names=False)["patches"][0]["name"].isdigit(), True)

        def xyz(lab):
            fy = (lab[0] + 16) / 116
            f = numpy.array([fy + lab[1] / 500, fy, fy - lab[2] / 200])
            return 100 * D50 * numpy.where(f > 6 / 29, f ** 3, 3 * (6 / 29) ** 2 * (f - 4 / 29))
        found = self.found([(device, xyz(lab)) for device, lab in patches], kind="XYZ")
        self.assertAlmostEqual(found["difference"]["mean"], expected, delta=1e-3)
        self.write("chart.ti3", chart(patches).replace(b"\n", b"\r\n"))
        self.expect(["report", "scanner.icc", "--chart", "chart.ti3", "-o", "page.html", "--json",
                     "page.json"], 0)
        found = json.loads(self.read("page.json"))["profiles"][0]["charts"][0]
        self.assertAlmostEqual(found["difference"]["mean"], expected, delta=1e-6)

    def test_names_are_no_markup(self):
        name = "<script>alert(1)</script>&amp;.ti3".replace("/", "")
        content = chart([([0.1, 0.2, 0.3], [20, 1, 2])])
        self.write(name, content.replace(b'"B 0"', b'"<b>&\x01\xff\'"'))
        self.expect(["report", "scan.icc", "--chart", name, "-o", "page.html"], 0)
        page = self.page()
        self.assertIsNone(page.find(f".//{XHTML}script"))
        self.assertIsNone(page.find(f".//{XHTML}b"))
        texts = ["".join(element.itertext()) for element in page.iter(XHTML + "bdi")]
        self.assertIn(name, texts)
        self.assertIn("<b>&\ufffd\ufffd'", texts)

    def test_damage(self):
        """Whatever the bytes are, there is a page, or one line."""
        dice = random.Random(8)
        sound = chart([([n / 9, n / 10, n / 11], [10 * n, n, -n]) for n in range(9)])
        words = sound.split()
        for n in range(60):
            content = bytearray(sound)
            for _ in range(dice.randint(1, 3)):
                at = dice.randrange(len(content))
                content[at:at + dice.choice((0, 1, 1, 40))] = dice.choice(
                    (b"", b'"', b"#", b"\0", b"\xff", b" ", b"1e999", dice.choice(words)))
            self.write("bad.ti3", content)
            with self.subTest(n):
                done = self.run_command("report", "scan.icc", "--chart", "bad.ti3", "-o", "out.html")
                self.assertIn(done.returncode, (0, UNREADABLE), done.stderr)
                self.assertEqual(done.stderr.count(b"\n"), 1 if done.returncode else 0)
                if done.returncode == 0:
                    ElementTree.parse(self.path("out.html"))

    def test_refused(self):
        self.write("page.html", OLD)
        sound = chart([([0.1, 0.2, 0.3], [20, 1, 2]), ([0.5, 0.5, 0.5], [50, 0, 0])])
        for what, content, line in (
            ("no chart", b"hello", "not a CGATS file"),
            ("no data", sound[:sound.index(b"BEGIN_DATA\n")], "not a CGATS file"),
            ("cut off", sound[:-12], "damaged: its data do not end"),
            ("another kind", sound.replace(b"RGB_R", b"CMYK_C"),
             "it has no table of RGB with Lab or XYZ"),
            ("no patches", chart([]), "it has no patches"),
            ("too few values", sound.replace(b"20.00000 ", b""),
             "damaged: values are missing or left over"),
            ("no number", sound.replace(b"20.00000", b"2x.00000"), "patch 1: 2x.00000 is no number"),
            ("infinite", sound.replace(b"20.00000", b"inf"), "patch 1: inf is no number"),
            ("out of range", sound.replace(b"30.00000", b"300.0"),
             "patch 1: RGB is not within 0 to 255"),
            ("below 0", sound.replace(b"30.00000", b"-0.1"), "patch 1: RGB is not within 0 to 255"),
            ("too many", chart([([0.1] * 3, [20, 1, 2])] * 20001), "more than 20000 patches"),
        ):
            with self.subTest(what):
                self.write("bad.ti3", content)
                self.expect(["report", "scan.icc", "--chart", "bad.ti3", "-o", "page.html"],
                            UNREADABLE, f"bad.ti3: {line}")
                self.assertEqual(self.read("page.html"), OLD)
        with open(self.path("huge.ti3"), "wb") as file:
            file.truncate((64 << 20) + 1)
        self.expect(["report", "scan.icc", "--chart", "huge.ti3", "-o", "page.html"], UNREADABLE,
                    "huge.ti3: too large")
        for arguments, line in (
            (["--fail-below", "3"], "--fail-below needs --chart, which the stars are of"),
            (["--chart", "bad.ti3", "--fail-below", "5"], "--fail-below must be 1 to 4"),
            (["--chart", "bad.ti3", "--fail-below", ""],
             "--fail-below: an empty value is no number"),
            (["--chart", "page.html"], "page.html is read; a report would replace it"),
        ):
            self.expect(["report", "scan.icc", *arguments, "-o", "page.html"], USAGE, line)


class Images(Reporting):
    """An image of Adobe RGB (1998), of which half is outside of sRGB."""

    def setUp(self):
        super().setUp()
        self.height, self.width = 203, 317
        self.profile_numbers = GammaProfile(ADOBE)

    def pixels(self, kind):
        largest = numpy.iinfo(kind).max
        dice = numpy.random.default_rng(24)
        pixels = dice.integers(0, largest, (self.height, self.width, 3), kind, endpoint=True)
        pixels[:, 200:] = 3 * (pixels[:, 200:] // 5)
        return pixels

    def test_numbers(self):
        for kind, bits in ((numpy.uint8, 8), (numpy.uint16, 16)):
            with self.subTest(kind):
                pixels = self.pixels(kind)
                largest = numpy.iinfo(kind).max
                written(pixels)(self.path("image.tif"))
                found, = self.profile(ADOBE, ("--image", "image.tif"))["images"]
                self.assertEqual((found["width"], found["height"], found["bits"]),
                                 (self.width, self.height, bits))
                linear = self.profile_numbers.to_srgb(pixels.reshape(-1, 3) / largest)
                encoded = srgb_encode(numpy.clip(linear, 0, 1))
                after = numpy.floor(largest * encoded + 0.5).astype(int)
                low, high = linear < -1e-4, linear > 1 + 1e-4
                self.assertAlmostEqual(found["outOfGamut"], (low | high).any(axis=1).mean(),
                                       delta=1e-3)
                for n, channel in enumerate(found["channels"]):
                    before = pixels[..., n].ravel()
                    self.assertEqual(channel["before"],
                                     numpy.bincount(before >> (bits - 8), minlength=256).tolist())
                    expected = numpy.bincount(after[:, n] >> (bits - 8), minlength=256)
                    moved = numpy.abs(expected - channel["after"]).sum() / 2
                    self.assertLess(moved, 0.002 * len(before))  # ties of the rounding
                    self.assertEqual(channel["levelsBefore"], len(set(before)))
                    self.assertAlmostEqual(channel["levelsAfter"] / len(set(after[:, n])), 1,
                                           delta=0.01)
                    self.assertAlmostEqual(channel["clippedLow"], low[:, n].mean(), delta=1e-3)
                    self.assertAlmostEqual(channel["clippedHigh"], high[:, n].mean(), delta=1e-3)
                self.assertEqual(len(found["swatches"]), 24)
                for swatch in found["swatches"]:
                    x, y = swatch["at"]
                    self.assertEqual(swatch["before"], pixels[y, x].tolist())
                    self.expect_near(swatch["after"], after[y * self.width + x], 1)
                rows = sorted({y for _, y in (s["at"] for s in found["swatches"])})
                self.assertEqual(rows, [self.height * n // 8 for n in (1, 3, 5, 7)])

    def test_destination_profile(self):
        """What a built-in space clips, the profile of the same space has outside of its gamut."""
        written(self.pixels(numpy.uint8))(self.path("image.tif"))
        wide = f"{COLOR}/ProPhotoRGB.icc"
        name = wide if os.path.exists(wide) else self.sample()
        built_in, = self.profile(name, ("--to", "adobe-rgb", "--image", "image.tif"))["images"]
        profile, = self.profile(name, ("--to", ADOBE, "--image", "image.tif"))["images"]
        self.assertGreater(built_in["outOfGamut"], 0.05)
        self.assertAlmostEqual(profile["outOfGamut"], built_in["outOfGamut"], delta=0.02)
        for one, two in zip(profile["channels"], built_in["channels"]):
            for key in ("clippedLow", "clippedHigh"):
                self.assertAlmostEqual(one[key], two[key], delta=0.02)

    def test_pictures(self):
        """Thumbnails hold pixels of the image and of its result; red tells what is outside."""
        from PIL import Image
        pixels = self.pixels(numpy.uint8)
        pixels[:, :100] = (0, 255, 0)  # far outside of sRGB
        pixels[:, 250:] = 128
        written(pixels)(self.path("image.tif"))
        found, = self.profile(ADOBE, ("--image", "image.tif"))["images"]
        sources = [image.get("src") for image in self.page().iter(XHTML + "img")]
        self.assertEqual(len(sources), 3)
        start = "data:image/png;base64,"
        pictures = []
        for source in sources:
            self.assertTrue(source.startswith(start))
            data = base64.b64decode(source[len(start):], validate=True)
            pictures.append(numpy.array(Image.open(io.BytesIO(data)).convert("RGB")))
        before, after, outside = pictures
        self.assertEqual(before.shape, (102, 160, 3))
        for y in (0, 50, 101):
            for x in (0, 77, 159):
                place = ((2 * y + 1) * self.height // 204, (2 * x + 1) * self.width // 320)
                self.assertEqual(before[y, x].tolist(), pixels[place].tolist())
        grey = srgb_encode(self.profile_numbers.to_srgb(numpy.full(3, 128 / 255)))
        self.expect_near(after[50, 150].tolist(), 255 * grey, 1)
        self.assertEqual(outside[50, 20].tolist(), [208, 0, 32])
        self.assertEqual(outside[50, 150].tolist(), [200, 200, 200])

    def test_size(self):
        """A page grows by less than 300 KB for an image that nothing compresses."""
        self.report(ADOBE)
        alone = len(self.read("page.html"))
        dice = numpy.random.default_rng(1)
        written(dice.integers(0, 65536, (400, 400, 3), numpy.uint16))(self.path("image.tif"))
        options = ("--image", "image.tif")
        self.report(ADOBE, options=options)
        page = self.read("page.html")
        self.assertLess(len(page) - alone, 300000)
        self.assertLess(alone, 2000000)
        self.report(ADOBE, options=options)
        self.assertEqual(self.read("page.html"), page)

    def test_pages(self):
        """The first page is shown, and the report says so; a reduced copy is none."""
        dice = numpy.random.default_rng(7)
        first, second = (dice.integers(0, 256, (60, 80, 3), numpy.uint8) for _ in range(2))
        written(first)(self.path("image.tif"))
        alone, = self.profile(ADOBE, ("--image", "image.tif"))["images"]
        self.assertEqual(alone["pages"], 1)
        self.assertNotIn("pages in the file", self.read("page.html").decode())
        with tifffile.TiffWriter(self.path("image.tif")) as file:
            file.write(first[::2, ::2], photometric="rgb", metadata=None, subfiletype=1)
            file.write(first, photometric="rgb", metadata=None)
            file.write(second, photometric="rgb", metadata=None)
        found, = self.profile(ADOBE, ("--image", "image.tif"))["images"]
        self.assertEqual(found, {**alone, "pages": 2})
        told, = [text for text in ("".join(p.itertext()) for p in self.page().iter(XHTML + "p"))
                 if "pages in the file" in text]
        self.assertEqual(told, "This is the first of 2 pages in the file; nothing is told of the "
                               "others.")

    def test_small(self):
        for height, width in ((1, 1), (1, 500), (700, 2)):
            with self.subTest(height=height, width=width):
                written(numpy.full((height, width, 3), 77, numpy.uint8))(self.path("image.tif"))
                found, = self.profile(ADOBE, ("--image", "image.tif"))["images"]
                self.assertEqual([c["before"][77] for c in found["channels"]], [height * width] * 3)
                self.assertEqual({tuple(s["before"]) for s in found["swatches"]}, {(77, 77, 77)})

    def test_refused(self):
        self.write("page.html", OLD)
        self.write("bad.tif", self.read("in.tif")[:100])
        for name in ("bad.tif", "scan.icc", "none.tif"):
            with self.subTest(name):
                done = self.run_command("report", ADOBE, "--image", name, "-o", "page.html")
                self.assertEqual((done.returncode, done.stdout), (UNREADABLE, b""))
                self.assertRegex(done.stderr.decode(), rf"\Akxcms: {name}: [^\n]+\n\Z")
                self.assertEqual(self.read("page.html"), OLD)


class Compared(Reporting):
    @needs("icclu")
    def test_numbers(self):
        name, other = self.sample(), self.made("lut16-lab-3-intents")
        found = self.profile(name, ("--compare", other, "--intent", "relative"))["compared"]
        grid = device_grid(24)
        labs = [numpy.array(self.icclu(which, grid.tolist(), "r")) for which in (name, other)]
        difference = ciede2000(*labs)
        self.assertEqual(found["name"], other)
        self.assertAlmostEqual(found["difference"]["mean"], difference.mean(), delta=0.001)
        self.assertAlmostEqual(found["difference"]["share90"], nearest_rank(difference, 90),
                               delta=0.002)
        worst = difference.argmax()
        self.assertEqual(found["difference"]["largestAt"], (255 * grid[worst]).round().tolist())
        self.expect_near(found["labOfFirst"], labs[0][worst], 0.001)
        self.expect_near(found["labOfSecond"], labs[1][worst], 0.001)
        self.assertIsNone(self.profile(name)["compared"])

    def test_refused(self):
        done = self.run_command("report", ADOBE, "--compare", "none.icc", "-o", "page.html")
        self.assertEqual((done.returncode, done.stdout, done.stderr.decode()),
                         (PROFILE, b"", "kxcms: profile none.icc: No such file or directory\n"))


class Page(Reporting):
    def test_numbers_are_those_of_the_json(self):
        self.write("chart.ti3", chart([([n / 60, n / 70, n / 80], [n, n / 2, 3]) for n in range(60)]))
        written(numpy.random.default_rng(2).integers(0, 256, (20, 30, 3), numpy.uint8))(
            self.path("image.tif"))
        more = ("--chart", "chart.ti3", "--image", "image.tif", "--compare", ADOBE)
        for name, options in ((self.sample(), more), (SRGB, ()),
                              (self.made("lut16-lab-3-intents"), ("--to", ADOBE))):
            with self.subTest(name):
                document = self.report(name, options=options)
                seen = 0
                for data in self.page().iter(XHTML + "data"):
                    number = document
                    for key in data.get("data-at").split("/")[1:]:
                        number = number[int(key) if isinstance(number, list) else key]
                    self.assertEqual(json.loads(data.get("value")), number, data.attrib)
                    if number is None:
                        self.assertEqual(data.text, "\u2013")
                    else:
                        decimals = len(data.text.partition(".")[2])
                        shown = number * float(data.get("data-scale", 1))
                        self.assertLessEqual(abs(float(data.text) - shown),
                                             0.5 * 10 ** -decimals + 1e-9, data.attrib)
                    seen += 1
                self.assertGreater(seen, 100)
                self.expect_patches(document, [60] if "--chart" in options else [])

    def expect_patches(self, document, counts):
        """The tables of patches are the first so many of the lists that they name, rounded."""
        tables = [table for table in self.page().iter(XHTML + "table")
                  if table.get("class") == "patches"]
        self.assertEqual(len(tables), len(counts))
        for table, count in zip(tables, counts):
            patches = document
            for key in table.get("data-at").split("/")[1:]:
                patches = patches[int(key) if isinstance(patches, list) else key]
            rows = [["".join(cell.itertext()) for cell in row.iter(XHTML + "td")]
                    for row in table.iter(XHTML + "tr")][1:]
            self.assertEqual(len(rows), count)
            for row, patch in zip(rows, patches):
                self.assertEqual(row[0], patch["name"])
                for text, numbers, scale in ((row[1], patch["device"], 100),
                                             (row[2], patch["measured"], 1),
                                             (row[3], patch["lab"], 1)):
                    self.expect_near([float(n) for n in text.split(", ")],
                                     [scale * n for n in numbers], 0.0501)
                self.assertAlmostEqual(float(row[4]), patch["difference"], delta=0.00501)
            differences = [patch["difference"] for patch in patches]
            self.assertEqual(differences, sorted(differences, reverse=True))

    def test_large_charts(self):
        """All patches of thousands are listed; of more, those with the largest differences, and
        the page says so. It stays below two megabytes."""
        for counts, listed in (([3900], [3900]), ([5000], [4000]), ([2500, 300], [2000, 300])):
            with self.subTest(counts):
                names = []
                for n, count in enumerate(counts):
                    names += ["--chart", f"{n}.ti3"]
                    dice = numpy.random.default_rng(n)
                    self.write(f"{n}.ti3", chart([(device, [100 * device[1], 0, 0])
                                                  for device in dice.random((count, 3)).tolist()]))
                document = self.report(ADOBE, options=names)
                self.expect_patches(document, listed)
                self.assertEqual([c["count"] for c in document["profiles"][0]["charts"]], counts)
                page = self.read("page.html").decode()
                self.assertLess(len(page), 2000000)
                for count, rows in zip(counts, listed):
                    told = f"These are the {rows} patches with the largest differences, "
                    self.assertEqual(told in page, count != rows)

    def test_no_other_numbers(self):
        """What has digits and is not a number of the document is a name."""
        self.report(self.sample())
        names = re.compile(r"(FADGI 2023|ISO 19264-1:2021|Metamorfoze 2\.0 draft|[1-4] stars?|"
                           r"(PRECISE|FIXED), (8|16) bits|.*tag A2B0.*|2\.4\.0, scnr, Lab|)")
        for cell in self.page().iter(XHTML + "td"):
            text = (cell.text or "").strip()
            if re.search("[0-9]", text):
                self.assertRegex(text, f"^{names.pattern}$")

    def test_stands_alone(self):
        self.report(self.sample(), SRGB)
        page = self.read("page.html").decode()
        for never in ("<script", "href", "src=", "url(", "@import", "<link", "onload"):
            self.assertNotIn(never, page.lower())
        for present in ("prefers-color-scheme: dark", "@media print", 'charset="utf-8"'):
            self.assertIn(present, page)
        self.assertLess(len(page), 2 << 20)
        self.assertEqual(len(self.page().findall(f".//{XHTML}h2")), 2)

    def test_same_bytes(self):
        self.sample()
        self.report("scanner.icc", options=["--intent", "relative"])
        first = self.read("page.html"), self.read("page.json")
        os.mkdir(self.path("elsewhere"))
        shutil.copy(self.path("scanner.icc"), self.path("elsewhere"))
        for environment in ({"KXCMS_LEVEL": "scalar"}, {"LC_ALL": "de_DE.UTF-8", "TZ": "Asia/Tokyo"}):
            with self.subTest(environment):
                self.expect(["report", "elsewhere/scanner.icc", "--intent", "relative", "-o",
                             "page.html", "--json", "page.json"], 0,
                            env={**os.environ, **environment})
                self.assertEqual((self.read("page.html"), self.read("page.json")), first)

    def test_texts_of_a_profile_stay_texts(self):
        text = b"<script>alert(1)</script> & \"\x01\x0b'\xff"
        content = b"desc" + bytes(4) + struct.pack(">I", len(text) + 1) + text + bytes(79)
        self.write("<i>&.icc", made_profiles.profile(
            [("desc", content), ("wtpt", made_profiles.xyz_tag(D50)),
             ("A2B0", profiles.lut16())]))
        found = self.profile("<i>&.icc")
        self.assertTrue(found["description"].startswith("<script>alert(1)</script> & \""))
        self.assertNotIn("\x01", found["description"])
        self.assertIsNone(self.page().find(f".//{XHTML}script"))
        self.assertEqual("".join(self.page().find(f".//{XHTML}h2").itertext()).strip(), "<i>&.icc")


class Pictures(Reporting):
    """What pictures of the plots must show, whoever draws them."""

    RED, BLUE, GREY = (0xd4, 0x3a, 0x3a), (0x44, 0x74, 0xe0), (0x80,) * 3
    VIOLET, DARK = (0xa0, 0x4c, 0xc0), (0x33,) * 3

    def stated_points(self, profile, found):
        """@return {plot: [(x, y, colour)]}: where lines pass through, of greys by icclu"""
        greys = self.icclu(profile, [[n / 255] * 3 for n in range(256)])
        curves = found["inputCurves"]["curves"]
        points = {
            "neutral-lightness": [(n, greys[n][0], self.GREY) for n in (60, 128, 200)],
            "neutral-tint": [(n, greys[n][1], self.RED) for n in (60, 128, 200)]
            + [(n, greys[n][2], self.BLUE) for n in (60, 128, 200)],
            "input-curves": [(64 / 128, curves[2]["samples"][64], self.BLUE)],
            "accuracy": [(math.log10(found["precise"]["bits8"]["shares"][50]), 50, self.VIOLET)],
            # The lightest colour of a hue is the device's white.
            "gamut-hue": [(0, 100, self.VIOLET)],
            "grid": [(math.log10(found["grid"]["spacingShares"][2][50]), 50, self.BLUE)],
        }
        if found["compared"]:
            shares = found["compared"]["difference"]["shares"]
            points["compared"] = [(math.log10(shares[n]), n, self.VIOLET) for n in (30, 70)]
        for chart in found["charts"]:
            points["chart"] = [(100 * (n + 0.5) / chart["count"], chart["patches"][n]["difference"],
                                self.VIOLET) for n in (0, 20, 60)]
        for image in found["images"]:
            for plot, counts in (("histogram-before", image["channels"][2]["before"]),
                                 ("histogram-after", image["channels"][2]["after"])):
                levels = [n for n in range(10, 245, 30) if counts[n]]
                self.assertGreater(len(levels), 3)
                points[plot] = [(n, math.log10(counts[n] / image["width"] / image["height"]),
                                 self.BLUE) for n in levels]
        return points

    def expect_color(self, picture, at, color, near=2):
        """Some pixel around a place has the colour, about."""
        x, y = (round(v) for v in at)
        around = [picture.getpixel((i, j)) for i in range(x - near, x + near + 1)
                  for j in range(y - near, y + near + 1)
                  if 0 <= i < picture.width and 0 <= j < picture.height]
        distance = min(max(abs(a - b) for a, b in zip(pixel, color)) for pixel in around)
        self.assertLessEqual(distance, 60, (at, color))


class Plots(Pictures):
    """As librsvg draws them."""

    def plots(self):
        """{name: list of SVG elements}"""
        found = {}
        for svg in self.page().iter(SVG + "svg"):
            if (svg.get("class") or "").startswith("plot "):
                found.setdefault(svg.get("class").split()[1], []).append(svg)
        return found

    @needs("xmllint")
    def test_well_formed(self):
        self.report(self.sample(), SRGB)
        done = subprocess.run(["xmllint", "--noout", "--nonet", "page.html"], cwd=self.folder,
                              capture_output=True)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        for name, svgs in self.plots().items():
            for svg in svgs:
                done = subprocess.run(["xmllint", "--noout", "--nonet", "-"], capture_output=True,
                                      input=ElementTree.tostring(svg))
                self.assertEqual((done.returncode, done.stderr), (0, b""), name)

    def draw(self, svg, scale=2):
        """@return the picture, and a function from values on the axes to its pixels"""
        from PIL import Image
        done = subprocess.run(["rsvg-convert", "-b", "white", "-z", str(scale)],
                              input=ElementTree.tostring(svg), capture_output=True, check=True)
        picture = Image.open(io.BytesIO(done.stdout)).convert("RGB")

        def pixel(x, y):
            ends = [[float(v) for v in svg.get(key).split()] for key in ("data-x", "data-y")]
            return tuple(scale * (p0 + (p1 - p0) * (value - low) / (high - low))
                         for value, (low, high, p0, p1) in zip((x, y), ends))
        return picture, pixel, ends_of(svg)

    @needs("rsvg-convert")
    def test_axes_and_curves(self):
        self.sample()
        self.write("chart.ti3", chart([([n / 90, n * n / 8100, (90 - n) / 90], [n, 40 - n, n - 30])
                                       for n in range(90)]))
        found = self.profile("scanner.icc", ("--image", "scan-8.tif", "--chart", "chart.ti3",
                                             "--compare", ADOBE))
        plots = self.plots()
        self.assertEqual({name: len(svgs) for name, svgs in plots.items()},
                         {"input-curves": 1, "output-curves": 1, "neutral-lightness": 1,
                          "neutral-tint": 1, "tone": 1, "gamut-lightness": 3, "gamut-hue": 6,
                          "grid": 1, "accuracy": 1, "intents": 1, "compared": 1, "chart": 1,
                          "chart-accuracy": 1, "histogram-before": 1, "histogram-after": 1})
        for name, svgs in plots.items():
            for svg in svgs:
                with self.subTest(name):
                    picture, pixel, ((left, right), (bottom, top)) = self.draw(svg)
                    self.assertGreater(picture.width, 600)
                    for x, y in ((left, (bottom + top) / 2), ((left + right) / 2, bottom)):
                        self.expect_color(picture, pixel(x, y), self.DARK)
        points = self.stated_points("scanner.icc", found)
        for name, places in points.items():
            picture, pixel, _ = self.draw(plots[name][0])
            for x, y, color in places:
                with self.subTest(name, x=x):
                    self.expect_color(picture, pixel(x, y), color)


def ends_of(svg):
    return tuple(tuple(float(v) for v in svg.get(key).split()[:2]) for key in ("data-x", "data-y"))


class Probe(Reporting):
    COLORS = ((200, 100, 50.5), (0, 0, 0), (255, 255, 255), (12, 240, 3), (77.25, 77.25, 77.25))

    def probe(self, name, color, *options):
        done = self.run_command("probe", name, *map(str, color), *options)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout.decode()

    def document(self, name, color):
        return json.loads(self.probe(name, color, "--json"))

    def test_matrix_profile(self):
        profile = GammaProfile(ADOBE)
        for color in self.COLORS:
            with self.subTest(color):
                device = numpy.array(color) / 255
                found = self.document(ADOBE, color)
                self.expect_near(found["device"], device, 1e-8)
                intent = found["intents"][0]
                self.assertEqual((intent["intent"], intent["tag"]), ("perceptual", "matrix"))
                encoded = srgb_encode(numpy.clip(profile.to_srgb(device), 0, 1))
                self.expect_near(intent["exact"]["lab"], lab_of_xyz(profile.xyz(device)), 1e-4)
                self.expect_near(intent["exact"]["encoded"], encoded, 1e-5)
                self.expect_near(intent["precise"]["encoded"], encoded, 3e-5)
                stages = {stage["name"]: stage for stage in intent["stages"]}
                linear = profile.to_srgb(device)
                self.expect_near(stages["linear"]["values"], linear, 1e-5)
                self.assertIn("manufacturer is 'none'", intent["fixed"]["refused"])

    @needs("icclu")
    def test_every_intent(self):
        name = self.made("lut16-lab-3-intents")
        for color in self.COLORS:
            device = [v / 255 for v in color]
            for intent in self.document(name, color)["intents"]:
                with self.subTest(color, intent=intent["intent"]):
                    expected, = self.icclu(name, [device], intent["intent"][0])
                    self.expect_near(intent["exact"]["lab"], expected, 0.001)
                    self.assertFalse(intent["isFallback"])
                    for pipeline in ("precise", "fixed"):
                        pair = [srgb_lab(numpy.array([intent[key]["encoded"]]))
                                for key in ("exact", pipeline)]
                        self.assertAlmostEqual(intent[pipeline]["difference"],
                                               ciede2000(*pair)[0], delta=1e-4)
                    self.assertLess(intent["precise"]["difference"], 0.005)

    def test_fixed_is_the_fixed_interface(self):
        """FIXED gives what the library's file conversion writes, to the bit."""
        color = (200, 100, 50)
        self.write("one.tif", tiffs.tiff(1, 1, 16, samples=[257 * v for v in color]))
        srgb = 12  # KX_COLOR_SRGB
        result = tiffs.Tiff(self.library(16, srgb, "result.tif", source="one.tif")).pixels
        found = self.document("scan.icc", color)["intents"][0]["fixed"]["encoded"]
        self.assertEqual([round(65535 * v) for v in found], list(struct.unpack("<3H", result)))

    def test_difference_of_both(self):
        for intent in self.document(self.sample(), (200, 100, 50))["intents"]:
            pair = [srgb_lab(numpy.array([intent[key]["encoded"]])) for key in ("precise", "fixed")]
            self.assertAlmostEqual(intent["betweenBoth"], ciede2000(*pair)[0], delta=1e-4)
        self.assertIsNone(self.document(ADOBE, (1, 2, 3))["intents"][0]["betweenBoth"])

    def test_pixel(self):
        """What a pixel holds, by the profile that is named, or the one that is embedded."""
        for kind in (numpy.uint8, numpy.uint16):
            pixels = numpy.random.default_rng(3).integers(0, 256, (700, 500, 3), numpy.uint8)
            pixels = pixels.astype(kind) * (numpy.iinfo(kind).max // 255)
            written(pixels, self.read("scan.icc"))(self.path("image.tif"))
            for x, y in ((0, 0), (499, 0), (37, 611), (499, 699)):
                with self.subTest(kind, x=x, y=y):
                    color = [int(v) * 255 / numpy.iinfo(kind).max for v in pixels[y, x]]
                    for named, profile in (([], "scan.icc"), ([ADOBE], ADOBE)):
                        done = self.run_command("probe", *named, "--image", "image.tif", "--at",
                                                f"{x},{y}", "--json")
                        self.assertEqual((done.returncode, done.stderr), (0, b""))
                        self.assertEqual(json.loads(done.stdout), self.document(profile, color))

    def test_standard_input(self):
        text = "".join(" ".join(map(str, color)) + "\n" for color in self.COLORS)
        done = subprocess.run([command_test.KXCMS, "probe", "scan.icc", "-", "--json"],
                              cwd=self.folder, input="\n" + text, text=True, capture_output=True)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        for line, color in zip(done.stdout.splitlines(), self.COLORS, strict=True):
            self.assertEqual(json.loads(line), self.document("scan.icc", color))
        lines = subprocess.run([command_test.KXCMS, "probe", "scan.icc", "-"], cwd=self.folder,
                               input=text, text=True, capture_output=True).stdout
        self.assertEqual(lines, "".join(" ".join(map(str, color)) + "\n"
                                        + self.probe("scan.icc", color) for color in self.COLORS))
        for bad in ("1 2\n", "1 2 3 4\n", "1 2 x\n", "1 2 256\n"):
            done = subprocess.run([command_test.KXCMS, "probe", "scan.icc", "-"], cwd=self.folder,
                                  input="1 2 3\n" + bad, text=True, capture_output=True)
            self.assertEqual((done.returncode, done.stderr),
                             (UNREADABLE, "kxcms: standard input, line 2: not three device values, "
                                          "0 to 255\n"))

    def test_destination_profile(self):
        """Its own built-in space gives nearly the same."""
        one = json.loads(self.probe(self.sample(), (90, 120, 60), "--to", ADOBE, "--json"))
        two = json.loads(self.probe("scanner.icc", (90, 120, 60), "--to", "adobe-rgb", "--json"))
        for first, second in zip(one["intents"][:3], two["intents"][:3]):
            self.expect_near(first["exact"]["encoded"], second["exact"]["encoded"], 0.001)
            self.assertLess(first["precise"]["difference"], 0.005)

    def test_lines(self):
        """The same numbers, with six decimals."""
        color = self.COLORS[0]
        name = self.sample()
        lines = self.probe(name, color).splitlines()
        intents = self.document(name, color)["intents"]
        heads = [line for line in lines if not line.startswith(" ")]
        self.assertEqual(heads, ["perceptual: A2B0, to srgb"] + [
            f"{intent}: A2B0, for want of the tag of this intent, to srgb"
            for intent in ("relative", "saturation", "absolute")])
        expected = [stage["values"] for stage in intents[0]["stages"]]
        expected += [intents[0]["exact"]["lab"], intents[0]["exact"]["encoded"]]
        shown = [[float(v) for v in re.findall(r"-?[0-9]+\.[0-9]{6}", line)]
                 for line in lines[1:1 + len(expected)]]
        for numbers, values in zip(shown, expected, strict=True):
            self.expect_near(numbers, values, 5.1e-7)

    def test_refused(self):
        usage = "probe needs a profile and three device values, 0 to 255"
        self.write("bad.icc", self.read("scan.icc")[:5000])
        for what, arguments, status, line in (
            ("nothing", [], USAGE, usage),
            ("too much", ["scan.icc", "1", "2", "256"], USAGE, usage),
            ("too little", ["scan.icc", "1", "2", "-1"], USAGE, usage),
            ("no number", ["scan.icc", "1", "2", "nan"], USAGE, usage),
            ("no profile", ["none.icc", "1", "2", "3"], PROFILE,
             "profile none.icc: No such file or directory"),
            ("no place", ["scan.icc", "--image", "in.tif"], USAGE, "--image and --at go together"),
            ("no image", ["scan.icc", "--at", "1,2"], USAGE, "--image and --at go together"),
            ("both", ["scan.icc", "1", "2", "3", "--image", "in.tif", "--at", "1,2"], USAGE,
             "probe takes device values, or --image and --at"),
            ("outside", ["scan.icc", "--image", "in.tif", "--at", "20,2"], USAGE,
             "--at 20,2 lies outside of in.tif, 20 x 12 pixels"),
            ("no numbers", ["scan.icc", "--image", "in.tif", "--at", "2"], USAGE,
             "--at must be X,Y, the column and the row from 0 on"),
            ("below 0", ["scan.icc", "--image", "in.tif", "--at", "2,-1"], USAGE,
             "--at must be X,Y, the column and the row from 0 on"),
            ("none embedded", ["--image", "in.tif", "--at", "2,1"], PROFILE,
             "in.tif: no profile is embedded; name one before --image"),
            ("missing image", ["scan.icc", "--image", "none.tif", "--at", "2,1"], UNREADABLE,
             "none.tif: No such file or directory"),
        ):
            with self.subTest(what):
                self.expect(["probe", *arguments], status, line)
        done = self.run_command("probe", "bad.icc", "1", "2", "3")
        self.assertEqual((done.returncode, done.stdout), (PROFILE, b""))
        self.assertRegex(done.stderr.decode(), r"\Akxcms: profile bad\.icc: [^\n]+\n\Z")


class Refusals(Reporting):
    def setUp(self):
        super().setUp()
        self.write("page.html", OLD)
        self.write("page.json", OLD)
        self.files = sorted(os.listdir(self.folder))

    def refused(self, arguments, status, line):
        self.expect(["report", *arguments], status, line)
        self.assertEqual((self.read("page.html"), self.read("page.json")), (OLD, OLD))

    def test_usage(self):
        for what, arguments, line in (
            ("no profile", ["-o", "page.html"], "report needs at least one profile"),
            ("no page", ["scan.icc"], "report needs -o and a file to write"),
            ("unknown intent", ["scan.icc", "-o", "page.html", "--intent", "best"],
             "unknown intent best; known: perceptual, relative, saturation, absolute"),
            ("one file for both", ["scan.icc", "-o", "page.html", "--json", "./page.html"],
             "-o and --json name the same file"),
            ("over the profile", ["scan.icc", "-o", "./scan.icc"],
             "./scan.icc is read; a report would replace it"),
            ("unknown option", ["scan.icc", "--frob"],
             "The following argument was not expected: --frob; --help tells what is"),
        ):
            with self.subTest(what):
                self.refused(arguments, USAGE, line)
        done = self.run_command("report", "scan.icc", "--to", "adobe", "-o", "page.html")
        self.assertEqual(done.returncode, USAGE)
        self.assertRegex(done.stderr.decode(), r"\Akxcms: unknown space adobe; known: srgb, .*\n\Z")

    def test_profiles(self):
        sound = self.read("scan.icc")
        for what, content in (("empty", b""), ("no profile", b"hello"), ("cut off", sound[:5000]),
                              ("another space", sound[:16] + b"CMYK" + sound[20:]),
                              ("no signature", sound[:36] + bytes(4) + sound[40:])):
            with self.subTest(what):
                self.write("bad.icc", content)
                done = self.run_command("report", "scan.icc", "bad.icc", "-o", "page.html", "--json",
                                        "page.json")
                self.assertEqual((done.returncode, done.stdout), (PROFILE, b""))
                self.assertRegex(done.stderr.decode(), r"\Akxcms: profile bad\.icc: [^\n]+\n\Z")
                self.assertEqual((self.read("page.html"), self.read("page.json")), (OLD, OLD))
        self.refused(["none.icc", "-o", "page.html"], PROFILE,
                     "profile none.icc: No such file or directory")

    def test_output(self):
        for arguments, line in (
            (["scan.icc", "-o", "none/page.html"],
             "cannot write none/page.html: its folder does not exist"),
            (["scan.icc", "-o", "page.html", "--json", "none/page.json"],
             "cannot write none/page.json: its folder does not exist"),
            (["scan.icc", "-o", "/dev/null"], "cannot write /dev/null: is not a regular file"),
        ):
            with self.subTest(arguments):
                self.refused(arguments, WRITE, line)

    def test_damage(self):
        """Whatever the bytes are, there is a page, or one line."""
        dice = random.Random(5)
        made = made_profiles.scanners()
        for n in range(40):
            name = dice.choice(sorted(made))
            content = bytearray(made[name])
            for _ in range(dice.randint(1, 4)):
                at = dice.randrange(min(len(content), dice.choice((400, len(content)))))
                content[at] = dice.choice((0, 1, 0x7F, 0x80, 0xFF, dice.randrange(256)))
            self.write("bad.icc", content)
            with self.subTest(name, n=n):
                done = self.run_command("report", "bad.icc", "-o", "out.html")
                self.assertIn(done.returncode, (0, PROFILE), done.stderr)
                if done.returncode == 0:
                    ElementTree.parse(self.path("out.html"))
                else:
                    self.assertEqual(done.stderr.count(b"\n"), 1)


if __name__ == "__main__":
    surroundings.main()
