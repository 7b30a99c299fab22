#!/usr/bin/env python3
"""kxcms compare: its numbers beside an evaluation of its own, and what it refuses.

Environment: KXCMS (the command), KXCMS_SAMPLE (the sample generator).
"""

import json

import numpy
import PIL.Image
import tifffile

import report_test
import surroundings
from command_test import OLD, PROFILE, UNREADABLE, USAGE, WRITE, WRONG
from image_forms import written
from report_test import ADOBE, SRGB, ciede2000, lab_of_xyz, nearest_rank, needs


class Comparing(report_test.Reporting):
    def setUp(self):
        super().setUp()
        with open(ADOBE, "rb") as file:
            self.adobe = file.read()
        self.device = report_test.GammaProfile(ADOBE)

    def image(self, name, pixels, profile=None):
        embedded = self.adobe if profile is None else profile
        written(pixels, embedded or None)(self.path(name))

    def pages(self, name, *pages, profiles=None, options=None):
        """A TIFF of several images.
        @param profiles  of each; default: that of Adobe RGB
        @param options   of tifffile, for each"""
        with tifffile.TiffWriter(self.path(name)) as file:
            for n, pixels in enumerate(pages):
                profile = profiles[n] if profiles else self.adobe
                tags = [(34675, 7, len(profile), profile, True)] if profile else []
                file.write(pixels, photometric="rgb", metadata=None, extratags=tags,
                           **(options[n] if options else {}))

    def lab(self, pixels):
        largest = numpy.iinfo(pixels.dtype).max
        return lab_of_xyz(self.device.xyz(pixels.reshape(-1, 3) / largest))

    def compare(self, *arguments, status=0):
        done = self.run_command("compare", *arguments, "--json")
        self.assertEqual((done.returncode, done.stderr), (status, b""))
        return json.loads(done.stdout)

    def expect_shares(self, found, difference, tolerance=2e-4):
        """Quantiles are at most 0.1 % above the nearest rank; single precision blurs both."""
        self.assertEqual(found["colors"], len(difference))
        self.assertAlmostEqual(found["mean"], difference.mean(), delta=tolerance)
        self.assertAlmostEqual(found["largest"], difference.max(), delta=tolerance)
        for percent in (50, 90, 95, 99):
            exact = nearest_rank(difference, percent)
            self.assertGreaterEqual(found[f"share{percent}"], exact - tolerance, percent)
            self.assertLessEqual(found[f"share{percent}"], 1.001 * exact + tolerance, percent)


class Images(Comparing):
    def pair(self, kind, height=150, width=211):
        """Two images that differ a little everywhere, and much at one place."""
        dice = numpy.random.default_rng(16)
        largest = numpy.iinfo(kind).max
        first = dice.integers(largest // 8, largest - largest // 8, (height, width, 3), kind)
        away = dice.integers(0, largest // 32, (height, width, 3), kind)
        second = first + away
        second[97, 31] = largest - first[97, 31]
        second[97, 31, 0] = 0
        return first, second

    def test_numbers(self):
        for kind in (numpy.uint8, numpy.uint16):
            with self.subTest(kind):
                first, second = self.pair(kind)
                self.image("a.tif", first)
                self.image("b.tif", second)
                found = self.compare("a.tif", "b.tif")
                one, two = self.lab(first), self.lab(second)
                difference = ciede2000(one, two)
                self.assertEqual((found["kind"], found["intent"], found["width"], found["height"]),
                                 ("images", "relative", 211, 150))
                self.expect_shares(found, difference)
                x, y = found["largestAt"]
                self.assertEqual(y * 211 + x, difference.argmax())
                self.expect_near(found["labOfFirst"], one[difference.argmax()], 1e-4)
                self.expect_near(found["labOfSecond"], two[difference.argmax()], 1e-4)

    def test_each_through_its_own_profile(self):
        """The same colours in two spaces are the same; the same numbers are not."""
        first = self.pair(numpy.uint16)[0]
        self.image("a.tif", first)
        self.expect(["convert", "--quiet", "--to", "prophoto", "--intent", "relative", "a.tif",
                     "b.tif"], 0)
        self.assertLess(self.compare("a.tif", "b.tif")["largest"], 0.02)
        self.image("c.tif", tifffile.imread(self.path("b.tif")))
        self.assertGreater(self.compare("a.tif", "c.tif")["largest"], 5)

    def test_pages(self):
        """All pixels of all pages count, whatever the sizes of these."""
        first, second = self.pair(numpy.uint8)
        small = numpy.full((30, 40, 3), 128, numpy.uint8)
        away = small.copy()
        away[7, 9] = 140
        one = numpy.concatenate([self.lab(small), self.lab(first)])
        for what, others, page in (("in the second page", (small, second), 2),
                                   ("in the first page", (away, first), 1)):
            with self.subTest(what):
                self.pages("a.tif", small, first)
                self.pages("b.tif", *others)
                found = self.compare("a.tif", "b.tif")
                two = numpy.concatenate([self.lab(pixels) for pixels in others])
                difference = ciede2000(one, two)
                self.expect_shares(found, difference)
                at = difference.argmax() - (1200 if page == 2 else 0)
                width = others[page - 1].shape[1]
                self.assertEqual((found["pages"], found["largestPage"], found["largestAt"]),
                                 (2, page, [at % width, at // width]))
                self.expect_near(found["labOfFirst"], one[difference.argmax()], 1e-4)
                lines = self.run_command("compare", "a.tif", "b.tif").stdout.decode().splitlines()
                self.assertEqual(lines[0], "32850 pixels, 2 pages, relative, CIEDE2000:")
                self.assertIn("at pixel {}, {} of page {}: Lab".format(*found["largestAt"], page),
                              lines[6])

    def test_each_page_through_its_own_profile(self):
        first, second = self.pair(numpy.uint16)
        self.pages("a.tif", first, second)
        self.expect(["convert", "--quiet", "--to", "prophoto", "--intent", "relative", "a.tif",
                     "b.tif"], 0)
        pixels = tifffile.imread(self.path("b.tif"), key=1)
        with tifffile.TiffFile(self.path("b.tif")) as file:
            profile = file.pages[1].tags[34675].value
        self.pages("c.tif", first, pixels, profiles=[self.adobe, profile])
        self.assertLess(self.compare("a.tif", "c.tif")["largest"], 0.02)

    def test_copies_are_left_out(self):
        """A reduced copy is no page, wherever it stands."""
        first, second = self.pair(numpy.uint8)
        self.image("b.tif", second)
        expected = self.compare("b.tif", "b.tif")
        for order in ((0, 1), (1, 0)):
            self.pages("a.tif", *(first[::4, ::4] if kind else second for kind in order),
                       options=[{"subfiletype": kind} for kind in order])
            found = self.compare("a.tif", "b.tif")
            self.assertEqual(found, {**expected, "first": "a.tif"})

    def test_alpha(self):
        """Alpha has a number of its own; colours are those before they are multiplied by it."""
        dice = numpy.random.default_rng(3)
        color = dice.integers(0, 256, (40, 50, 3), numpy.uint8)
        alpha = dice.integers(1, 255, (40, 50, 1), numpy.uint8)
        more = alpha.copy()
        more[12, 30] = alpha[12, 30] + 1 if alpha[12, 30] < 200 else alpha[12, 30] - 1
        opaque = numpy.full_like(alpha, 255)
        whole = numpy.concatenate([color, alpha], axis=2)
        self.pages("whole.tif", whole, options=[{"extrasamples": ["unassalpha"]}])
        self.pages("other.tif", numpy.concatenate([color, more], axis=2),
                   options=[{"extrasamples": ["unassalpha"]}])
        self.pages("wide.tif", whole.astype(numpy.uint16) * 257, options=[{"extrasamples": ["unassalpha"]}])
        self.image("none.tif", color)
        self.pages("opaque.tif", numpy.concatenate([color, opaque], axis=2),
                   options=[{"extrasamples": ["unassalpha"]}])
        self.pages("unnamed.tif", whole, options=[{"extrasamples": ["unspecified"]}])
        self.pages("plain.tif", numpy.concatenate([color, more], axis=2),
                   options=[{"extrasamples": ["unspecified"]}])
        lowest = (255 - alpha.min()) / 255
        for one, two, expected in (
            ("whole.tif", "whole.tif", 0), ("whole.tif", "other.tif", 1 / 255),
            ("whole.tif", "wide.tif", 0), ("whole.tif", "none.tif", lowest),
            ("none.tif", "whole.tif", lowest), ("none.tif", "opaque.tif", 0),
            ("none.tif", "none.tif", None), ("unnamed.tif", "plain.tif", None),
        ):
            with self.subTest(one + ", " + two):
                found = self.compare(one, two, "--limit", "0.001")
                self.assertLessEqual(found["largest"], 2e-4)
                lines = self.run_command("compare", one, two).stdout.decode().splitlines()
                if expected is None:
                    self.assertNotIn("alphaLargest", found)
                    self.assertEqual(len(lines), 7)
                else:
                    self.assertAlmostEqual(found["alphaLargest"], expected, delta=1e-6)
                    self.assertEqual(lines[7:],
                                     [f"alpha, largest difference of 1: {expected:.4f}"])
        wide = whole.astype(numpy.float64) * 257
        wide[..., :3] = numpy.floor(wide[..., :3] * wide[..., 3:] / 65535 + 0.5)
        self.pages("multiplied.tif", wide.astype(numpy.uint16), options=[{"extrasamples": ["assocalpha"]}])
        found = self.compare("whole.tif", "multiplied.tif")
        self.assertEqual(found["alphaLargest"], 0)
        # Sixteen bits times the smallest alpha leave eight.
        self.assertLess(found["largest"], 1)

    def test_equal(self):
        first = self.pair(numpy.uint8)[0]
        self.image("a.tif", first)
        found = self.compare("a.tif", "a.tif", "--limit", "0")
        self.assertEqual((found["largest"], found["share99"], found["mean"]), (0, 0, 0))
        self.assertTrue(found["isWithinLimit"])

    def test_formats_and_depths(self):
        """16 bits that are 257 times 8 bits are the same colours, but for single precision; the
        file's format changes nothing."""
        pixels = self.pair(numpy.uint8)[0]
        self.image("a.tif", pixels)
        self.image("b.tif", pixels.astype(numpy.uint16) * 257)
        PIL.Image.fromarray(pixels).save(self.path("c.png"), icc_profile=self.adobe)
        for other, most in (("b.tif", 2e-4), ("c.png", 0)):
            self.assertLessEqual(self.compare("a.tif", other)["largest"], most, other)

    def test_assumed_profile(self):
        first, second = self.pair(numpy.uint8)
        self.image("a.tif", first)
        self.image("b.tif", second, b"")
        self.expect(["compare", "a.tif", "b.tif"], PROFILE,
                    "b.tif: no profile is embedded; name one with --assume")
        found = self.compare("a.tif", "b.tif", "--assume", ADOBE)
        self.expect_shares(found, ciede2000(self.lab(first), self.lab(second)))

    def test_limit(self):
        first, second = self.pair(numpy.uint8)
        self.image("a.tif", first)
        self.image("b.tif", second)
        largest = self.compare("a.tif", "b.tif")["largest"]
        for limit, status in ((largest + 0.001, 0), (largest - 0.001, WRONG), (0, WRONG)):
            with self.subTest(limit):
                found = self.compare("a.tif", "b.tif", "--limit", str(limit), status=status)
                self.assertEqual(found["isWithinLimit"], status == 0)

    def test_difference_image(self):
        """25 levels for one unit of CIEDE2000."""
        first, second = self.pair(numpy.uint8)
        self.image("a.tif", first)
        self.image("b.tif", second)
        level = 25 * ciede2000(self.lab(first), self.lab(second)).reshape(first.shape[:2])
        for name, read in (("d.tif", tifffile.imread),
                           ("d.png", lambda path: numpy.array(PIL.Image.open(path)))):
            with self.subTest(name):
                self.compare("a.tif", "b.tif", "--difference", name)
                picture = read(self.path(name)).astype(float)
                for channel in range(3):
                    away = numpy.abs(picture[..., channel] - numpy.minimum(level, 255))
                    self.assertLessEqual(away.max(), 0.51)
        self.assertEqual(self.compare("a.tif", "b.tif")["largest"],
                         self.compare("a.tif", "b.tif", "--difference", "d.png")["largest"])
        self.pages("a.tif", second[:20], first)
        self.pages("b.tif", second[:20], second)
        self.compare("a.tif", "b.tif", "--difference", "d.tif")
        self.assertEqual(tifffile.imread(self.path("d.tif"), key=0).max(), 0)
        away = numpy.abs(tifffile.imread(self.path("d.tif"), key=1)[..., 0].astype(float) -
                         numpy.minimum(level, 255))
        self.assertLessEqual(away.max(), 0.51)

    def test_lines(self):
        first, second = self.pair(numpy.uint8)
        self.image("a.tif", first)
        self.image("b.tif", second)
        done = self.run_command("compare", "a.tif", "b.tif")
        found = self.compare("a.tif", "b.tif")
        lines = done.stdout.decode().splitlines()
        self.assertEqual(lines[0], "31650 pixels, 211 x 150, relative, CIEDE2000:")
        for line, key in zip(lines[1:], ("mean", "share50", "share90", "share95", "share99")):
            self.assertAlmostEqual(float(line.split()[-1]), found[key], delta=5.1e-5)
        self.assertIn("at pixel {}, {}: Lab".format(*found["largestAt"]), lines[6])


class Profiles(Comparing):
    @needs("icclu")
    def test_numbers(self):
        name, other = self.sample(), self.made("lut16-lab-3-intents")
        grid = report_test.device_grid(24)
        for intent in ("relative", "perceptual", "absolute"):
            with self.subTest(intent):
                found = self.compare(name, other, "--intent", intent)
                one = numpy.array(self.icclu(name, grid.tolist(), intent[0]))
                two = numpy.array(self.icclu(other, grid.tolist(), intent[0]))
                difference = ciede2000(one, two)
                self.assertEqual(found["kind"], "profiles")
                self.expect_shares(found, difference, 0.01)
                self.assertEqual(found["largestAt"],
                                 (255 * grid[difference.argmax()]).round().tolist())

    def test_equal(self):
        self.assertEqual(self.compare(SRGB, SRGB, "--limit", "0")["largest"], 0)


class Refusals(Comparing):
    def test_refused(self):
        pixels = numpy.full((3, 4, 3), 100, numpy.uint8)
        self.image("a.tif", pixels)
        self.image("b.tif", pixels[:, :3])
        self.pages("two.tif", pixels, pixels[:2])
        self.pages("even.tif", pixels, pixels)
        self.pages("bare.tif", pixels, pixels, profiles=[self.adobe, None])
        self.write("difference.png", OLD)
        self.write("bad.tif", self.read("a.tif")[:60])
        self.write("bad.icc", self.read("scan.icc")[:5000])
        self.write("text", b"hello, there is no image in here, and no profile")
        size = "images of different sizes cannot be compared: a.tif has 4 x 3 pixels, b.tif 3 x 3"
        writing = ["compare", "--difference", "difference.png"]
        for what, arguments, status, line in (
            ("one file", ["compare", "a.tif"], USAGE,
             "compare needs two files: two images, or two ICC profiles"),
            ("three files", ["compare", "a.tif", "a.tif", "a.tif"], USAGE,
             "compare needs two files: two images, or two ICC profiles"),
            ("sizes", [*writing, "a.tif", "b.tif"], WRONG, size),
            ("sizes of a page", [*writing, "two.tif", "even.tif"], WRONG,
             "images of different sizes cannot be compared: two.tif has 4 x 2 pixels on page 2, "
             "even.tif 4 x 3"),
            ("pages", [*writing, "two.tif", "a.tif"], WRONG,
             "images of different sizes cannot be compared: two.tif has 2 pages, a.tif 1 page"),
            ("a page without a profile", [*writing, "even.tif", "bare.tif"], PROFILE,
             "bare.tif: no profile is embedded; name one with --assume"),
            ("pages as PNG", [*writing, "even.tif", "even.tif"], USAGE,
             "--difference difference.png: several pages, and PNG holds one; TIFF holds all"),
            ("two kinds", ["compare", "a.tif", "scan.icc"], USAGE,
             "an image and a profile cannot be compared; profile extract takes that of an image "
             "out"),
            ("no file", ["compare", "a.tif", "none.tif"], UNREADABLE,
             "none.tif: No such file or directory"),
            ("no image", [*writing, "text", "a.tif"], UNREADABLE,
             "text: not a TIFF, JPEG or PNG file"),
            ("limit", ["compare", "a.tif", "a.tif", "--limit", "-1"], USAGE,
             "--limit must be 0 or more"),
            ("no limit", ["compare", "a.tif", "a.tif", "--limit", "nan"], USAGE,
             "--limit must be 0 or more"),
            ("intent", ["compare", "a.tif", "a.tif", "--intent", "best"], USAGE,
             "unknown intent best; known: perceptual, relative, saturation, absolute"),
            ("format", ["compare", "a.tif", "a.tif", "--difference", "d.jpg"], USAGE,
             "--difference d.jpg: its suffix is not .png, .tif or .tiff"),
            ("over what is compared", ["compare", "a.tif", "b.tif", "--difference", "./a.tif"],
             USAGE, "./a.tif is read; a difference would replace it"),
            ("nowhere", ["compare", "a.tif", "a.tif", "--difference", "none/d.png"], WRITE,
             "cannot write none/d.png: its folder does not exist"),
            ("difference of profiles", [*writing, "scan.icc", "scan.icc"], USAGE,
             "--assume and --difference concern images"),
        ):
            with self.subTest(what):
                self.expect(arguments, status, line)
                self.assertEqual(self.read("difference.png"), OLD)
        for bad, status in (("bad.tif", UNREADABLE), ("bad.icc", PROFILE)):
            sound = "a.tif" if bad == "bad.tif" else "scan.icc"
            for pair in ((bad, sound), (sound, bad)):
                with self.subTest(pair):
                    done = self.run_command("compare", *pair)
                    self.assertEqual((done.returncode, done.stdout), (status, b""))
                    self.assertRegex(done.stderr.decode(), rf"\Akxcms: (profile )?{bad}: [^\n]+\n\Z")


if __name__ == "__main__":
    surroundings.main()
