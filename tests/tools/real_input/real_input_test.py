#!/usr/bin/env python3
"""Material that nobody here made: a photograph, profiles by Argyll and by Little CMS, files by
libtiff; the same conversion by Little CMS; and other programs as readers of our files.

docs/real-input.md explains the figures. Environment: KXCMS (the command), KXCMS_CONVERT_FILE (the
library's file conversion).
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import numpy
import tifffile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
import surroundings  # noqa: E402

KXCMS = os.environ["KXCMS"]
CONVERT_FILE = os.environ["KXCMS_CONVERT_FILE"]
PHOTOGRAPH = "/usr/share/matplotlib/mpl-data/sample_data/grace_hopper.jpg"
DEVICE = "/usr/share/color/argyll/ref/ClayRGB1998.icm"

# Every form: which base file it is made of, and the rows per strip.
WIDTH, LENGTH = 701, 822
FORMS = {
    "single strip": ("chunky", LENGTH),
    "single strip without end": ("chunky", 100000),
    "several strips": ("chunky", 50),
    "separate planes": ("separate", LENGTH),
    "separate planes without end": ("separate", 100000),
    "separate planes in several strips": ("separate", 50),
}
INTENTS = {"perceptual": 0, "relative": 1, "absolute": 3}

folder = None


def run(*arguments, **options):
    """Runs a program in the folder of this test; fails with what it said."""
    done = subprocess.run(arguments, cwd=folder, capture_output=True, timeout=600, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(arguments)}: status {done.returncode}\n"
                             f"{done.stderr.decode(errors='replace')}")
    return done


def path(name):
    return os.path.join(folder, name)


def make_photograph():
    """The picture enlarged, 8 and 16 bits; scaling fills the values in between."""
    run("sh", "-c", f"jpegtopnm {PHOTOGRAPH} > photo.ppm")
    for bits, top in ((8, 255), (16, 65535)):
        run("sh", "-c", f"pamdepth {top} photo.ppm | pamscale 1.37 | "
                        f"pamtotiff -truecolor -none > chunky-{bits}.tif")
        # tiffcp takes planes apart only at 8 bits.
        planes = numpy.moveaxis(tifffile.imread(path(f"chunky-{bits}.tif")), 2, 0)
        tifffile.imwrite(path(f"separate-{bits}.tif"), planes, photometric="rgb",
                         planarconfig="separate", byteorder="<", metadata=None)
        for form, (base, rows) in FORMS.items():
            run("tiffcp", "-c", "none", "-r", str(rows), f"{base}-{bits}.tif", f"{form}-{bits}.tif")
        run("tiffcp", "-c", "none", "-p", "separate", "chunky-8.tif", "separate by tiffcp-8.tif")


def make_argyll_profile():
    """A scanner that answers like an RGB device with a gamma of 2.2 and wide primaries."""
    run("targen", "-d3", "-f400", "argyll")
    run("fakeread", DEVICE, "argyll")
    with open(path("argyll.ti3")) as file:
        measurements = file.read()
    for field, value in (("DEVICE_CLASS", "INPUT"), ("COLOR_REP", "XYZ_RGB")):
        measurements, found = re.subn(f'^{field} ".*"$', f'{field} "{value}"', measurements,
                                      flags=re.MULTILINE)
        assert found == 1, f"no {field} in Argyll's measurements"
    with open(path("argyll.ti3"), "w") as file:
        file.write(measurements)
    # Without tables from Lab, which take long to find and which nobody reads of a scanner.
    run("colprof", "-al", "-bn", "argyll")
    os.replace(path("argyll.icm" if os.path.exists(path("argyll.icm")) else "argyll.icc"),
               path("argyll-lut.icc"))


def setUpModule():
    global folder
    if not surroundings.HAS_PROC:
        raise unittest.SkipTest(surroundings.NO_PROC)
    folder = tempfile.mkdtemp(prefix="kxcms-real-")
    unittest.addModuleCleanup(shutil.rmtree, folder)
    make_photograph()
    make_argyll_profile()
    run("linkicc", "-x", "-r2.1", "-n", "33", "-o", "lcms-lut.icc", "*sRGB", "*Lab")


def convert(profile, intent, source, target, pipeline="fixed"):
    run(KXCMS, "convert", "--pipeline", pipeline, "--profile", profile, "--intent", intent, source,
        target)


def library_convert(profile, bits, source, target):
    wide = 1 if bits == 16 else 0
    run(CONVERT_FILE, profile, "0", str(wide), str(12 + wide), "0", "0", "0", source, target)


def peer(profile, bits, intent):
    """@return the name of what Little CMS makes of the picture."""
    name = f"{profile}-{bits}-{intent}.tif"
    if not os.path.exists(path(name)):
        run("tificc", "-i", profile, "-o", "*sRGB", "-t", str(INTENTS[intent]), "-c", "0", "-w",
            str(bits), f"single strip-{bits}.tif", name)
    return name


def levels(name):
    """Samples in levels of 8 bits."""
    image = tifffile.imread(path(name))
    return image.astype(float) / (257 if image.dtype == numpy.uint16 else 1)


def decode_srgb(encoded):
    n = encoded / 255
    return numpy.where(n <= 0.04045, n / 12.92, ((n + 0.055) / 1.055) ** 2.4)


def encode_srgb(linear):
    return 255 * numpy.where(linear <= 0.0031308, linear * 12.92,
                             1.055 * linear ** (1 / 2.4) - 0.055)


def with_known_losses(encoded):
    """What a faithful result becomes in 16 bits on the way through the grid: nodes lose the
    fraction of a linear level, half a level on the average, and level 255 stands at 65280."""
    linear_levels = numpy.clip(decode_srgb(encoded) * 255 - 0.5, 0, None)
    return encode_srgb(linear_levels * 256 / 65535)


def middle(image):
    """The pixels whose three samples all lie in the mid-range."""
    return ((image >= 40) & (image <= 230)).all(axis=2)


class Agreement(unittest.TestCase):
    """Limits: over mid-range pixels a mean of 0.5 levels of 8 bits, and 2 for 99 of 100 samples."""

    def figures(self, what, ours, theirs, chosen):
        """Prints and returns mean and 99th percentile over the chosen pixels."""
        self.assertGreater(chosen.sum(), 50_000, "too few pixels to say anything")
        difference = numpy.abs(ours - theirs)[chosen]
        mean, percentile = difference.mean(), numpy.percentile(difference, 99)
        print(f"{what:48} mean {mean:.2f}, 99 % {percentile:.2f}, max {difference.max():.1f}")
        return mean, percentile

    def agree(self, what, ours, theirs, chosen):
        mean, percentile = self.figures(what, ours, theirs, chosen)
        self.assertLessEqual(mean, 0.5)
        self.assertLessEqual(percentile, 2)

    def test_little_cms_gives_the_same_colours(self):
        for profile in ("argyll-lut.icc", "lcms-lut.icc"):
            for bits in (8, 16):
                for intent in INTENTS:
                    what = f"{profile} {bits} bits {intent}"
                    with self.subTest(what):
                        convert(profile, intent, f"single strip-{bits}.tif", "ours.tif")
                        ours = levels("ours.tif")
                        theirs = levels(peer(profile, bits, intent))
                        everything = numpy.full(theirs.shape[:2], True)
                        self.figures(what + ", all", ours, theirs, everything)
                        if bits == 8:
                            self.agree(what + ", mid-range", ours, theirs, middle(theirs))
                        else:
                            self.figures(what + ", mid-range", ours, theirs, middle(theirs))
                            self.agree(what + ", losses known", ours, with_known_losses(theirs),
                                       middle(theirs))

    def test_precise_results_are_those_of_little_cms(self):
        """Single samples differ by rounding: a level at 8 bits, a tenth of one at 16."""
        for profile in ("argyll-lut.icc", "lcms-lut.icc"):
            for bits in (8, 16):
                for intent in INTENTS:
                    what = f"{profile} {bits} bits {intent}, precise"
                    with self.subTest(what):
                        convert(profile, intent, f"single strip-{bits}.tif", "ours.tif",
                                pipeline="precise")
                        ours = levels("ours.tif")
                        theirs = levels(peer(profile, bits, intent))
                        mean, percentile = self.figures(what, ours, theirs, middle(theirs))
                        self.assertLessEqual(mean, 0.01)
                        self.assertLessEqual(percentile, 0.05)

    def test_srgb_comes_back_as_it_was(self):
        """Through a profile that says the device is sRGB."""
        convert("lcms-lut.icc", "relative", "single strip-8.tif", "ours.tif")
        ours, source = levels("ours.tif"), levels("single strip-8.tif")
        self.agree("sRGB to sRGB, 8 bits, mid-range", ours, source, middle(source))


class Forms(unittest.TestCase):
    def test_every_form_gives_the_same_pixels(self):
        for bits in (8, 16):
            convert("argyll-lut.icc", "perceptual", f"single strip-{bits}.tif", "ours.tif")
            expected = tifffile.imread(path("ours.tif"))
            self.assertEqual(expected.shape, (LENGTH, WIDTH, 3))
            for form in FORMS:
                with self.subTest(form, bits=bits):
                    convert("argyll-lut.icc", "perceptual", f"{form}-{bits}.tif", "form.tif")
                    numpy.testing.assert_array_equal(tifffile.imread(path("form.tif")), expected)
            if bits == 8:
                convert("argyll-lut.icc", "perceptual", "separate by tiffcp-8.tif", "form.tif")
                numpy.testing.assert_array_equal(tifffile.imread(path("form.tif")), expected)


class Readers(unittest.TestCase):
    """Other programs read our files without complaint; new images of the library have unsorted tags,
    and libtiff says so."""

    UNSORTED = ("TIFFReadDirectoryCheckOrder: Warning, Invalid TIFF directory; "
                "tags are not sorted in ascending order.")

    def check(self, name, known=None, ours=False):
        """@param known  the one complaint that is expected of libtiff, or None
        @param ours  whether the command wrote the file"""
        for reader in (["tiffinfo", "-d", name], ["tiffcp", name, "copy.tif"],
                       ["tificc", name, "other.tif"]):
            done = subprocess.run(reader, cwd=folder, capture_output=True, timeout=60)
            complaints = {line for line in done.stderr.decode().splitlines()
                          if line and (ours or line != self.UNSORTED)
                          and not line.startswith(("Little CMS", "Copyright"))}
            with self.subTest(reader[0]):
                if known is None:
                    self.assertEqual((done.returncode, complaints), (0, set()))
                else:
                    self.assertTrue(all(known in line for line in complaints), complaints)
        numpy.testing.assert_array_equal(tifffile.imread(path("copy.tif")),
                                         tifffile.imread(path(name)))

    def test_files_of_the_command(self):
        for bits in (8, 16):
            for form in FORMS:
                with self.subTest(form, bits=bits):
                    convert("argyll-lut.icc", "perceptual", f"{form}-{bits}.tif", "ours.tif")
                    self.check("ours.tif", ours=True)

    def test_files_of_the_library(self):
        """Its layout is fixed: a new image has an empty profile tag, and the byte count of strips
        that were gathered is a SHORT. Readers complain and find the pixels all the same."""
        empty_profile = 'Null count for "ICC Profile"'
        short_count = 'Bogus "StripByteCounts" field, ignoring and calculating from imagelength'
        for form, bits, known in [
            ("single strip", 8, None),
            ("several strips", 8, short_count),
            ("separate planes", 8, short_count),
            ("single strip", 16, empty_profile),
            ("several strips", 16, empty_profile),
            ("separate planes", 16, empty_profile),
        ]:
            with self.subTest(form, bits=bits):
                library_convert("argyll-lut.icc", bits, f"{form}-{bits}.tif", "library.tif")
                convert("argyll-lut.icc", "perceptual", f"{form}-{bits}.tif", "command.tif")
                self.check("library.tif", known)
                numpy.testing.assert_array_equal(tifffile.imread(path("library.tif")),
                                                 tifffile.imread(path("command.tif")))


if __name__ == "__main__":
    surroundings.main()
