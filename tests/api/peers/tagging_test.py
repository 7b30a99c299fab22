#!/usr/bin/env python3
"""Profiles to tag with: byte by byte as ICC.1 wants them, beside the profiles of Debian's packages,
as Argyll and Little CMS read them, and as the description of converted pixels.

Environment: KXCMS_TAGGING and KXCMS_LCMS_LOOKUP, programs of the tests; KXCMS_ICCDUMP of Argyll,
KXCMS_TRANSICC of Little CMS.
"""

import hashlib
import os
import random
import re
import struct
import subprocess
import tempfile
import unittest

TAGGING = os.environ["KXCMS_TAGGING"]
LCMS = os.environ["KXCMS_LCMS_LOOKUP"]
ICCDUMP = os.environ["KXCMS_ICCDUMP"]
TRANSICC = os.environ["KXCMS_TRANSICC"]

D50_WORDS = (0xF6D6, 0x10000, 0xD32D)
D65, D50 = (0.3127, 0.3290), (0.3457, 0.3585)

# The encodings of the publications, decoded.
ALPHA, BETA = 1.09929682680944, 0.018053968510807


def srgb(v):
    return v / 12.92 if v <= 0.04045 else ((v + 0.055) / 1.055) ** 2.4


def romm(v):
    return v / 16 if v < 1 / 32 else v ** 1.8


def lstar(v):
    return v * 2700 / 24389 if v <= 0.08 else ((v + 0.16) / 1.16) ** 3


def rec2020(v):
    return v / 4.5 if v < 4.5 * BETA else ((v + ALPHA - 1) / ALPHA) ** (1 / 0.45)


def gamma(exponent):
    return lambda v: v ** exponent


def linear(v):
    return v


# Of each space: its white, its curve, and what a package has of it: a profile with these colorants,
# within so many units of s15Fixed16. The D65 of colord's profiles is not (0.3127, 0.3290), but
# daylight of 6504 K by formula: of its Apple RGB, only the colours can be alike.
ARGYLL, COLORD = "/usr/share/color/argyll/ref/", "/usr/share/color/icc/colord/"
SPACES = {
    "srgb": (D65, srgb, ARGYLL + "sRGB.icm", 2),
    "adobe-rgb": (D65, gamma(563 / 256), "/usr/share/color/icc/compatibleWithAdobeRGB1998.icc", 2),
    "display-p3": (D65, srgb, ARGYLL + "DisplayP3.icm", 2),
    "prophoto": (D50, romm, COLORD + "ProPhotoRGB.icc", 2),
    "ecirgb-v2": (D50, lstar, COLORD + "ECI-RGBv2.icc", 2),
    "rec2020": (D65, rec2020, ARGYLL + "Rec2020.icm", 2),
    "adobe-18": (D65, gamma(1.8), "/usr/share/color/icc/compatibleWithAdobeRGB1998.icc", 2),
    "apple": (D65, gamma(1.8), COLORD + "AppleRGB.icc", 14),
    "colormatch": (D50, gamma(1.8), COLORD + "ColorMatchRGB.icc", 2),
}
for name in list(SPACES):
    if name != "adobe-18":
        white, _, peer, units = SPACES[name]
        SPACES[name + "-linear"] = (white, linear, peer, units)
RENDERED = ["srgb-kodak-photo", "srgb-kodak-mix", "srgb-kodak-text"]
for name in ["srgb-220"] + RENDERED:
    SPACES[name] = SPACES["srgb"]
MEASURES = ["lab", "xyz"]
ALL = [(name, version) for name in SPACES for version in (2, 4)] + [(name, 4) for name in MEASURES]


class Profile:
    """An ICC profile's bytes, in the words of ICC.1:2010 clause 7 and 10."""

    def __init__(self, data):
        self.data = data
        self.tags = {}
        count, = struct.unpack_from(">I", data, 128)
        for n in range(count):
            name, offset, size = struct.unpack_from(">4sII", data, 132 + 12 * n)
            assert name.decode() not in self.tags
            self.tags[name.decode()] = (offset, size)

    def tag(self, name):
        offset, size = self.tags[name]
        return self.data[offset:offset + size]

    def words(self, name):
        """s15Fixed16 numbers times 65536 of an XYZ or sf32 tag."""
        tag = self.tag(name)
        return struct.unpack_from(f">{(len(tag) - 8) // 4}i", tag, 8)

    def text(self, name):
        tag = self.tag(name)
        if tag[:4] == b"text":
            return tag[8:-1].decode("ascii")
        if tag[:4] == b"desc":
            size, = struct.unpack_from(">I", tag, 8)
            assert len(tag) == 90 + size and not any(tag[11 + size:])
            return tag[12:11 + size].decode("ascii")
        assert tag[:4] == b"mluc"
        count, record, language, size, offset = struct.unpack_from(">II4sII", tag, 8)
        assert (count, record, language, offset) == (1, 12, b"enUS", 28) and len(tag) == 28 + size
        return tag[28:].decode("utf-16-be")

    def curve(self, name):
        """As a function."""
        tag = self.tag(name)
        if tag[:4] == b"para":
            kind, = struct.unpack_from(">H", tag, 8)
            p = [n / 65536 for n in struct.unpack_from(f">{(len(tag) - 12) // 4}i", tag, 12)]
            if kind == 0:
                return gamma(*p)
            g, a, b, c, d = p
            assert kind == 3
            return lambda v: (a * v + b) ** g if v >= d else c * v
        assert tag[:4] == b"curv"
        count, = struct.unpack_from(">I", tag, 8)
        assert len(tag) == 12 + 2 * count
        values = struct.unpack_from(f">{count}H", tag, 12)
        if count == 0:
            return linear
        if count == 1:
            return gamma(values[0] / 256)

        def interpolated(v):
            at = v * (count - 1)
            n = min(int(at), count - 2)
            return (values[n] + (at - n) * (values[n + 1] - values[n])) / 65535
        return interpolated


def run(*arguments, text=None):
    return subprocess.run(arguments, input=text, capture_output=True, check=True)


def rows(numbers):
    return "".join(" ".join(f"{n:.9f}" for n in row) + "\n" for row in numbers).encode()


def numbers(text):
    return [[float(n) for n in line.split()] for line in text.decode().splitlines()]


written = {}
paths = {}


def setUpModule():
    folder = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(folder.cleanup)
    for name, version in ALL:
        data = run(TAGGING, "write", name, str(version)).stdout
        written[name, version] = Profile(data)
        paths[name, version] = os.path.join(folder.name, f"{name}-{version}.icc")
        with open(paths[name, version], "wb") as file:
            file.write(data)


def each(only=lambda name, version: True):
    return [(*key, profile) for key, profile in written.items() if only(*key)]


def is_rgb(name, version):
    return name in SPACES


class Structure(unittest.TestCase):
    def test_every_space_is_here(self):
        self.assertEqual(sorted(run(TAGGING, "spaces").stdout.decode().split()),
                         sorted(list(SPACES) + MEASURES))

    def test_header(self):
        for name, version, profile in each():
            with self.subTest(name, version=version):
                of_measure = {"lab": b"Lab ", "xyz": b"XYZ "}
                self.assertEqual(struct.unpack_from(">I", profile.data)[0], len(profile.data))
                self.assertEqual(profile.data[8:12], {2: b"\2\x40\0\0", 4: b"\4\x30\0\0"}[version])
                self.assertEqual(profile.data[12:16], b"spac" if name in MEASURES else b"mntr")
                self.assertEqual(profile.data[16:20], of_measure.get(name, b"RGB "))
                self.assertEqual(profile.data[20:24], of_measure.get(name, b"XYZ "))
                self.assertEqual(struct.unpack_from(">6H", profile.data, 24), (2026, 1, 1, 0, 0, 0))
                self.assertEqual(profile.data[36:40], b"acsp")
                # Flags, maker, model, attributes, intent; the creator; what is reserved.
                self.assertFalse(any(profile.data[4:8] + profile.data[44:68] + profile.data[80:84]
                                     + profile.data[100:128]))
                self.assertEqual(struct.unpack_from(">3I", profile.data, 68), D50_WORDS)

    def test_id(self):
        for name, version, profile in each():
            with self.subTest(name, version=version):
                data = bytearray(profile.data)
                for start, end in ((44, 48), (64, 68), (84, 100)):
                    data[start:end] = bytes(end - start)
                expected = hashlib.md5(data).digest() if version == 4 else bytes(16)
                self.assertEqual(profile.data[84:100], expected)

    def test_layout(self):
        for name, version, profile in each():
            with self.subTest(name, version=version):
                pieces = sorted(set(profile.tags.values()))
                end = 132 + 12 * len(profile.tags)
                for offset, size in pieces:
                    self.assertEqual(offset, end)
                    end = (offset + size + 3) // 4 * 4
                    self.assertFalse(any(profile.data[offset + size:end]))
                    self.assertFalse(any(profile.data[offset + 4:offset + 8]))
                self.assertEqual(end, len(profile.data))

    def test_tags(self):
        for name, version, profile in each():
            with self.subTest(name, version=version):
                types = {tag: profile.tag(tag)[:4].decode() for tag in profile.tags}
                text = {2: {"desc": "desc", "cprt": "text"}, 4: {"desc": "mluc", "cprt": "mluc"}}
                expected = {**text[version], "wtpt": "XYZ "}
                if name in MEASURES:
                    expected.update({"A2B0": "mAB ", "B2A0": "mBA "})
                else:
                    is_level = name.endswith("-linear")
                    curve = "curv" if version == 2 or is_level else "para"
                    expected.update({"chad": "sf32", **{c + "XYZ": "XYZ " for c in "rgb"},
                                     **{c + "TRC": curve for c in "rgb"}})
                    self.assertEqual(len({profile.tags[c + "TRC"] for c in "rgb"}), 1)
                self.assertEqual(types, expected)

    def test_texts(self):
        known = set()
        for name, version, profile in each(lambda name, _: name not in RENDERED + ["srgb-220"]):
            with self.subTest(name, version=version):
                self.assertEqual(profile.text("cprt"), "No copyright, use freely")
                description = profile.text("desc")
                self.assertGreater(len(description), 5)
                known.add(description)
        self.assertEqual(len(known), len(SPACES) - 4 + len(MEASURES))


class Colours(unittest.TestCase):
    def test_colorants_add_up_to_white(self):
        for name, version, profile in each(is_rgb):
            with self.subTest(name, version=version):
                colorants = [profile.words(c + "XYZ") for c in "rgb"]
                self.assertEqual(tuple(map(sum, zip(*colorants))), D50_WORDS)

    def test_colorants_are_those_of_others(self):
        for name, version, profile in each(is_rgb):
            with self.subTest(name, version=version):
                _, _, path, units = SPACES[name]
                with open(path, "rb") as file:
                    peer = Profile(file.read())
                for tag in ("rXYZ", "gXYZ", "bXYZ"):
                    for word, other in zip(profile.words(tag), peer.words(tag), strict=True):
                        self.assertLessEqual(abs(word - other), units, tag)

    def test_whites(self):
        for name, version, profile in each():
            with self.subTest(name, version=version):
                white = profile.words("wtpt")
                if version == 4 or SPACES[name][0] == D50:
                    self.assertEqual(white, D50_WORDS)
                else:
                    x, y = D65
                    xyz = (x / y, 1, (1 - x - y) / y)
                    self.assertEqual(white, tuple(round(65536 * n) for n in xyz))

    def test_adaptation(self):
        """That of D65 in a profile of rawtherapee-data, and the identity for D50."""
        with open("/usr/share/rawtherapee/iccprofiles/output/RTv4_sRGB.icc", "rb") as file:
            of_d65 = Profile(file.read()).words("chad")
        identity = tuple(65536 * (n % 4 == 0) for n in range(9))
        for name, version, profile in each(is_rgb):
            with self.subTest(name, version=version):
                expected = of_d65 if SPACES[name][0] == D65 else identity
                for word, other in zip(profile.words("chad"), expected, strict=True):
                    self.assertLessEqual(abs(word - other), 1)

    def test_curves(self):
        """Entries are rounded to 16 bits, parameters to s15Fixed16."""
        for name, version, profile in each(is_rgb):
            with self.subTest(name, version=version):
                formula, curve = SPACES[name][1], profile.curve("rTRC")
                is_exact = formula is linear or name == "adobe-rgb"
                bound = 0 if is_exact else {2: 0.501 / 65535, 4: 0.3 / 65535}[version]
                worst = max(abs(curve(n / 50000) - formula(n / 50000)) for n in range(50001))
                self.assertLessEqual(worst, bound)


class Peers(unittest.TestCase):
    def test_iccdump(self):
        """It reads no version 4 at all."""
        for name, version, profile in each(lambda name, version: version == 2):
            with self.subTest(name, version=version):
                text = run(ICCDUMP, "-v3", paths[name, version]).stdout.decode()
                complaint = re.search("error|warning|unknown|unrecog|invalid", text, re.I)
                self.assertIsNone(complaint, text)
                self.assertEqual(len(re.findall("^tag ", text, re.M)), len(profile.tags))

    def test_transicc(self):
        for name, version, profile in each():
            with self.subTest(name, version=version):
                done = run(TRANSICC, "-v0", "-n", "-t1", "-i", paths[name, version], "-o", "*Lab",
                           text=b"100 100 100\n")
                self.assertNotIn("error", (done.stdout + done.stderr).decode().lower())
                self.assertEqual(len(done.stdout.split()[-3:]), 3)

    def test_measures_change_nothing(self):
        """Sixteen bits, four decimals."""
        asked = [("lab", "*Lab", (50, 20, -30)), ("lab", "*Lab", (90, -100, 99)),
                 ("xyz", "*XYZ", (0.5, 0.25, 0.75)), ("xyz", "*XYZ", (1, 1, 1))]
        for name, built_in, color in asked:
            for source, destination in ((paths[name, 4], built_in), (built_in, paths[name, 4])):
                with self.subTest(name, color=color, source=source):
                    done = run(TRANSICC, "-n", "-v0", "-t1", "-i", source, "-o", destination,
                               text=rows([color]))
                    result = numbers(done.stdout.strip().splitlines()[-1])[0]
                    for n, expected in zip(result, color, strict=True):
                        self.assertAlmostEqual(n, expected, delta=4e-4 if name == "xyz" else 2e-3)


# ---- Tagged pictures ----------------------------------------------------------------------------

# sRGB to XYZ of D50: IEC 61966-2-1 and the linear Bradford transform, as published in six decimals.
SRGB_D50 = ((0.436035, 0.385116, 0.143051), (0.222488, 0.716903, 0.060608),
            (0.013920, 0.097067, 0.713913))
WHITE = (0.9642, 1.0, 0.8249)


def lab(pixel):
    xyz = [sum(m * srgb(v) for m, v in zip(row, pixel)) for row in SRGB_D50]
    fx, fy, fz = (t ** (1 / 3) if t > 216 / 24389 else t * 24389 / 27 / 116 + 4 / 29
                  for t in (v / w for v, w in zip(xyz, WHITE)))
    return [116 * fy - 16, 500 * (fx - fy), 200 * (fy - fz)]


def picture():
    """Within every space: greys, and colours half as strong as sRGB's, not quite black."""
    dice = random.Random(3)
    pixels = [(n / 20,) * 3 for n in range(21)]
    for _ in range(200):
        color = [dice.random() for _ in range(3)]
        grey = sum(color) / 3
        pixels.append(tuple(max(0.02, (v + grey) / 2) for v in color))
    return pixels


class TaggedPictures(unittest.TestCase):
    def test_are_the_picture(self):
        """Converted by the library, read by Little CMS through the profile: unoptimised, in floating
        point, relative."""
        # The largest distance in CIE Lab. In version 4 that of numbers rounded to s15Fixed16, and
        # of 16-bit samples without a curve where it is dark. In version 2 that of curves rounded to
        # 16 bits, by us and by Little CMS again. Of 8-bit samples that of half a level; without a
        # curve they are no picture.
        bounds = {(2, "32"): 0.04, (2, "16"): 0.04, (2, "8"): 1.2,
                  (4, "32"): 0.006, (4, "16"): 0.022, (4, "8"): 1.2}
        pixels = picture()
        expected = [lab(pixel) for pixel in pixels]
        for name, version, profile in each(lambda name, _: name in SPACES and name not in RENDERED):
            for bits in ("32", "16") if name.endswith("-linear") else ("32", "16", "8"):
                with self.subTest(name, version=version, bits=bits):
                    samples = run(TAGGING, "convert", name, bits, text=rows(pixels)).stdout
                    found = numbers(run(LCMS, paths[name, version], text=samples).stdout)
                    worst = max(sum((a - b) ** 2 for a, b in zip(one, other, strict=True)) ** 0.5
                                for one, other in zip(found, expected, strict=True))
                    self.assertLessEqual(worst, bounds[version, bits])


if __name__ == "__main__":
    unittest.main()
