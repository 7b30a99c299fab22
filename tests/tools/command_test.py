#!/usr/bin/env python3
"""kxcms convert, as a user meets it: arguments, exit status, messages, files.

Environment: KXCMS (the command), KXCMS_CONVERT_FILE (the library's file conversion), KXPIPELINE
(the library that it converts by).
"""

import json
import os
import resource
import select
import signal
import socket
import stat
import struct
import subprocess
import sys
import time
import unittest
import zlib

import numpy
import PIL.Image
import tifffile

import image_forms
import kxp
import profiles
import surroundings
import tiff_rules
import tiffs
from image_forms import FORMS, copied, samples, several, written
from surroundings import needs_proc
from own_folder import OwnFolder
from tiffs import ASCII, BYTE, LONG, SHORT, tiff

KXCMS = os.environ["KXCMS"]
with open(KXCMS, "rb") as command:
    SANITIZED = b"__asan_init" in command.read()
CONVERT_FILE = os.environ["KXCMS_CONVERT_FILE"]
OLD = b"what was here before"

DONE, USAGE, UNREADABLE, PROFILE, WRONG, WRITE = 0, 2, 3, 4, 5, 6
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGXCPU)


class Command(OwnFolder):
    def setUp(self):
        super().setUp()
        self.write("scan.icc", profiles.scanner())
        self.write("in.tif", tiff())

    def run_command(self, *arguments, **options):
        return subprocess.run([KXCMS, *arguments], cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=120, **options)

    def expect(self, arguments, status, line=None, **options):
        """Runs the command; checks status, a silent standard output and the one line."""
        done = self.run_command(*arguments, **options)
        expected = "" if line is None else f"kxcms: {line}\n"
        self.assertEqual((done.returncode, done.stdout.decode(), done.stderr.decode()),
                         (status, "", expected))

    def convert(self, *arguments, source="in.tif", target="out.tif", status=DONE, line=None):
        self.expect(["convert", "--profile", "scan.icc", *arguments, source, target], status, line)

    def library(self, bits, code, target, source="in.tif", profile="scan.icc", intent=0,
                offsets=(0, 0, 0)):
        wide = 1 if bits == 16 else 0
        subprocess.run([CONVERT_FILE, profile, str(intent), str(wide), str(code + wide),
                        *map(str, offsets), source, target],
                       cwd=self.folder, check=True, stdout=subprocess.DEVNULL)
        return self.read(target)

    def rules(self, name="out.tif"):
        """@return what a TIFF file holds that keeps the rules."""
        return tiff_rules.read(self.read(name))

    def pixels(self, name="out.tif"):
        return tifffile.imread(self.path(name))

    def expect_untouched(self, *names):
        """The folder holds these files and nothing else."""
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(names))


class Usage(Command):
    ROWS = [
        ("no subcommand", [], "A subcommand is required; --help lists them"),
        ("unknown subcommand", ["frobnicate"], "unknown command frobnicate; --help lists them"),
        ("an option in place of one", ["--quiet"], "A subcommand is required; --help lists them"),
        ("unknown subcommand of profile", ["profile", "put"],
         "unknown command put; --help lists them"),
        ("no files", ["convert"],
         "convert needs an input and an output file: kxcms convert IN OUT"),
        ("one file", ["convert", "in.tif"],
         "convert needs an input and an output file: kxcms convert IN OUT"),
        ("three files", ["convert", "in.tif", "out.tif", "x"],
         "The following argument was not expected: x; --help tells what is"),
        ("unknown option", ["convert", "--frob", "in.tif", "out.tif"],
         "The following argument was not expected: --frob; --help tells what is"),
        ("unknown intent", ["convert", "--intent", "vivid", "in.tif", "out.tif"],
         "unknown intent vivid; known: perceptual, relative, saturation, absolute"),
        ("unknown space", ["convert", "--profile", "scan.icc", "--to", "sgrb", "in.tif", "out.tif"],
         "unknown output space sgrb; convert --list shows them, and a file of this name there is "
         "not"),
        ("what was a space", ["convert", "--to", "adobe", "in.tif", "out.tif"],
         "unknown output space adobe; adobe-rgb is Adobe RGB (1998), and adobe-18 has its primaries "
         "with gamma 1.8"),
        ("a space for measuring", ["convert", "--to", "lab", "in.tif", "out.tif"],
         "unknown output space lab; convert --list shows them, and a file of this name there is "
         "not"),
        ("a suffix of no format", ["convert", "in.tif", "out.gif"],
         "out.gif: its suffix names no format (.tif, .tiff, .jpg, .jpeg, .png); --format does"),
        ("unknown format", ["convert", "--format", "gif", "in.tif", "out.tif"],
         "unknown format gif; known: tiff, jpeg, png"),
        ("unknown compression", ["convert", "--compress", "zip", "in.tif", "out.tif"],
         "unknown compression zip; known: same, none, lzw, deflate, zstd"),
        ("compression of a JPEG", ["convert", "--compress", "lzw", "in.tif", "out.jpg"],
         "--compress concerns TIFF files alone"),
        ("a large PNG", ["convert", "--bigtiff", "yes", "in.tif", "out.png"],
         "--bigtiff concerns TIFF files alone"),
        ("quality of a TIFF", ["convert", "--quality", "90", "in.tif", "out.tif"],
         "--quality concerns JPEG files alone"),
        ("quality 0", ["convert", "--quality", "0", "in.tif", "out.jpg"],
         "--quality must be 1 to 100"),
        ("12 bits", ["convert", "--depth", "12", "in.tif", "out.tif"], "--depth must be 8 or 16"),
        ("standard output of no format", ["convert", "in.tif", "-"],
         "standard output needs --format: tiff, jpeg or png"),
        ("a record and an image on standard output",
         ["convert", "--json", "--format", "tiff", "in.tif", "-"],
         "--json and the image cannot both go to standard output; name a file for the image"),
        ("a durable standard output", ["convert", "--durable", "--format", "tiff", "in.tif", "-"],
         "--durable concerns files alone"),
        ("a deep JPEG", ["convert", "--depth", "16", "in.tif", "out.jpg"],
         "JPEG holds 8 bits a sample; --depth 16 goes with TIFF and PNG"),
        ("offsets without --pipeline fixed", ["convert", "--hue", "3", "in.tif", "out.tif"],
         "--lightness, --chroma and --hue are offsets of --pipeline fixed"),
        ("black point compensation of another intent",
         ["convert", "--black-point-compensation", "in.tif", "out.tif"],
         "--black-point-compensation goes with --intent relative and --pipeline precise"),
        ("an empty number", ["convert", "--lightness", "", "in.tif", "out.tif"],
         "--lightness: an empty value is no number"),
        ("an empty number of threads", ["selftest", "--threads", ""],
         "--threads: an empty value is no number"),
        ("lightness too large", ["convert", "--lightness", "100.5", "in.tif", "out.tif"],
         "--lightness must be -100 to 100"),
        ("chroma too small", ["convert", "--chroma", "-101", "in.tif", "out.tif"],
         "--chroma must be -100 to 100"),
        ("hue too large", ["convert", "--hue", "361", "in.tif", "out.tif"],
         "--hue must be -360 to 360"),
        ("hue not a number", ["convert", "--hue", "nan", "in.tif", "out.tif"],
         "--hue must be -360 to 360"),
        ("lightness infinite", ["convert", "--lightness", "inf", "in.tif", "out.tif"],
         "--lightness must be -100 to 100"),
        ("lightness a word", ["convert", "--lightness", "much", "in.tif", "out.tif"],
         "Could not convert: --lightness = much; it takes a number"),
        ("threads negative", ["convert", "--threads", "-1", "in.tif", "out.tif"],
         "--threads must be 1 to 1024, or 0 for all"),
        ("option without value", ["convert", "in.tif", "out.tif", "--profile"],
         "--profile: 1 required TEXT missing"),
    ]

    def test_refused(self):
        for what, arguments, line in self.ROWS:
            with self.subTest(what):
                self.expect(arguments, USAGE, line)
                self.expect_untouched("in.tif", "scan.icc")

    def test_information_on_standard_output(self):
        for what, arguments, pattern in [
            ("version", ["--version"], r"kxcms \d+\.\d+\.\d+\n"),
            ("help", ["--help"], r"(?s).*convert.*Exit status: 0 done.*"),
            ("help of convert", ["convert", "--help"], r"(?s).*--profile.*--lightness.*"),
        ]:
            with self.subTest(what):
                done = self.run_command(*arguments)
                self.assertEqual((done.returncode, done.stderr), (DONE, b""))
                self.assertRegex(done.stdout.decode(), pattern)

    def test_list(self):
        done = self.run_command("convert", "--list")
        self.assertEqual((done.returncode, done.stderr), (DONE, b""))
        names = [line.split()[0] for line in done.stdout.decode().splitlines()]
        self.assertEqual(names, [name for name in kxp.spaces() if name not in ("lab", "xyz")])

    def test_full_standard_output(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([KXCMS, "convert", "--list"], stdout=full,
                                  stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((done.returncode, done.stderr),
                         (WRITE, b"kxcms: cannot write to standard output\n"))


# Outputs of the fixed pipeline: the name, and the library's code for 8 bits.
FIXED_SPACES = [
    ("srgb", 12), ("srgb-220", 8), ("srgb-linear", 10), ("srgb-kodak-photo", 34),
    ("srgb-kodak-mix", 36), ("srgb-kodak-text", 38), ("adobe-18", 22), ("adobe-rgb-linear", 20),
    ("apple", 26), ("apple-linear", 24), ("colormatch", 30), ("colormatch-linear", 28),
]
SCANNER = profiles.scanner()


class Conversion(Command):
    def test_every_space_as_by_the_library(self):
        """Precise results are those of libKXPipeline, and carry the profile of the space."""
        for bits in (8, 16):
            data = samples(bits)
            written(data)(self.path("in.tif"))
            for space in kxp.spaces():
                if space in ("lab", "xyz") or "kodak" in space:
                    continue
                with self.subTest(space, bits=bits):
                    self.convert("--to", space)
                    numpy.testing.assert_array_equal(self.pixels(),
                                                     kxp.convert(data, SCANNER, space))
                    page, = self.rules().pages
                    self.assertEqual(page[34675][2], kxp.profile_of(space))

    @needs_proc
    def test_fixed_bits_are_those_of_libkxcms(self):
        for bits in (8, 16):
            self.write("in.tif", tiff(bits=bits))
            for space, code in FIXED_SPACES:
                with self.subTest(space, bits=bits):
                    self.convert("--pipeline", "fixed", "--to", space)
                    library = tiffs.Tiff(self.library(bits, code, "ref.tif")).pixels
                    self.assertEqual(self.pixels().tobytes(), library)

    @needs_proc
    def test_offsets_of_the_fixed_pipeline(self):
        plain = tiffs.Tiff(self.library(8, 12, "ref.tif")).pixels
        for what, arguments, offsets in [
            ("lightness", ["--lightness", "-10"], (-10, 0, 0)),
            ("chroma", ["--chroma", "12.5"], (0, 12.5, 0)),
            ("hue and chroma", ["--chroma=20", "--hue=-30"], (0, 20, -30)),
            ("less than one unit", ["--lightness", "0.75"], (0.75, 0, 0)),
        ]:
            with self.subTest(what):
                self.convert("--pipeline", "fixed", *arguments)
                library = tiffs.Tiff(self.library(8, 12, "ref.tif", offsets=offsets)).pixels
                self.assertEqual(self.pixels().tobytes(), library)
                self.assertNotEqual(library, plain)

    def test_a_tone_curve_that_renders_is_of_the_fixed_pipeline(self):
        done = self.run_command("convert", "--profile", "scan.icc", "--to", "srgb-kodak-mix",
                                "in.tif", "out.tif")
        self.assertEqual(done.returncode, PROFILE)
        self.assertIn(b"srgb-kodak-mix", done.stderr)

    def test_intents(self):
        def shade(light):
            return lambda r, g, b: profiles.lab16(light * r, 20 * g, 20 * b)
        warm = b"XYZ " + bytes(4) + struct.pack(">3I", 0xE000, 0xF000, 0xA000)
        scanner = profiles.profile([
            (b"wtpt", warm), (b"A2B0", profiles.lut16(lab=shade(90))),
            (b"A2B1", profiles.lut16(lab=shade(60))), (b"A2B2", profiles.lut16(lab=shade(30)))])
        self.write("scan.icc", scanner)
        data = self.pixels("in.tif")
        results = set()
        for number, intent in enumerate(["perceptual", "relative", "saturation", "absolute"]):
            with self.subTest(intent):
                self.convert("--intent", intent)
                numpy.testing.assert_array_equal(self.pixels(),
                                                 kxp.convert(data, scanner, intent=number))
                results.add(self.pixels().tobytes())
        self.assertEqual(len(results), 4)
        self.convert("--intent", "relative", "--black-point-compensation")
        numpy.testing.assert_array_equal(
            self.pixels(), kxp.convert(data, scanner, intent=kxp.RELATIVE,
                                       flags=kxp.BLACK_POINT_COMPENSATION))

    def test_the_fallback_of_an_intent_is_told(self):
        line = "profile scan.icc has no tag for the intent relative; its A2B0 is used"
        self.convert("--intent", "relative", line=line)
        self.convert("--intent", "relative", "--quiet")

    def test_colours_that_are_known(self):
        """A device whose red channel is L*; the sRGB grey of L* 50 is 119."""
        grid = profiles.scanner(points=17, lab=lambda r, g, b: profiles.lab16(100 * r, 0, 0))
        self.write("scan.icc", grid)
        self.write("in.tif", tiff(width=3, length=1, samples=[0, 9, 99, 128, 4, 1, 255, 7, 7]))
        self.convert()
        black, grey, white = self.pixels()[0]
        self.assertEqual(tuple(black), (0, 0, 0))
        self.assertEqual(tuple(white), (255, 255, 255))
        for value in grey:
            self.assertAlmostEqual(int(value), 119, delta=1)

    def test_which_profile(self):
        """The named one goes before the embedded one, and that before the assumed one."""
        other = profiles.scanner(lab=lambda r, g, b: profiles.lab16(50 * r, 0, 0))
        self.write("other.icc", other)
        data = samples(8)
        by_scanner, by_other = kxp.convert(data, SCANNER), kxp.convert(data, other)
        for what, embedded, arguments, expected in [
            ("embedded", SCANNER, [], by_scanner),
            ("named", None, ["--profile", "other.icc"], by_other),
            ("named, embedded", SCANNER, ["--profile", "other.icc"], by_other),
            ("assumed", None, ["--assume", "other.icc"], by_other),
            ("assumed, embedded", SCANNER, ["--assume", "other.icc"], by_scanner),
            ("an assumed space", None, ["--assume", "prophoto"],
             kxp.convert(data, kxp.profile_of("prophoto"))),
            ("named before rubbish", b"rubbish", ["--profile", "other.icc"], by_other),
        ]:
            with self.subTest(what):
                written(data, iccprofile=embedded)(self.path("in.tif"))
                self.expect(["convert", *arguments, "in.tif", "out.tif"], DONE)
                numpy.testing.assert_array_equal(self.pixels(), expected)

    def test_a_png_that_says_it_is_srgb(self):
        """By its chunk, which a named profile goes before; an assumed one is for those that say
        nothing, and gamma alone says nothing."""
        data = samples(8)
        image_forms.saved(data)(self.path("in.png"))
        plain = self.read("in.png")

        def png(kind, content):
            chunk = kind + content
            return plain[:33] + struct.pack(">I", len(content)) + chunk \
                + struct.pack(">I", zlib.crc32(chunk)) + plain[33:]
        told = "kxcms: in.png has no profile and says that it is sRGB, which it is taken for\n"
        by_srgb = kxp.convert(data, kxp.profile_of("srgb"), "prophoto")
        by_scanner = kxp.convert(data, SCANNER, "prophoto")
        gamma = png(b"gAMA", struct.pack(">I", 45455))
        for what, image, arguments, expected, line in (
            ("sRGB", png(b"sRGB", b"\0"), [], by_srgb, told),
            ("sRGB, assumed", png(b"sRGB", b"\0"), ["--assume", "scan.icc"], by_srgb, told),
            ("sRGB, named", png(b"sRGB", b"\0"), ["--profile", "scan.icc"], by_scanner, ""),
            ("gamma, assumed", gamma, ["--assume", "scan.icc"], by_scanner,
             "kxcms: in.png: dropped: chunk gAMA\n"),
        ):
            with self.subTest(what):
                self.write("in.png", image)
                done = self.run_command("convert", "--to", "prophoto", *arguments, "in.png",
                                        "out.tif")
                self.assertEqual((done.returncode, done.stderr.decode()), (DONE, line))
                numpy.testing.assert_array_equal(self.pixels(), expected)
        self.write("in.png", gamma)
        self.expect(["convert", "in.png", "out.tif"], PROFILE,
                    "in.png: no profile is embedded; name one with --profile or --assume")

    def test_profile_from_a_pipe(self):
        reader, writer = os.pipe()
        with os.fdopen(writer, "wb") as pipe:
            pipe.write(profiles.scanner(points=2)[:65536])
        done = self.run_command("convert", "--profile", f"/dev/fd/{reader}", "in.tif", "out.tif",
                                pass_fds=[reader])
        os.close(reader)
        self.assertEqual((done.returncode, done.stderr), (DONE, b""))

    def test_to_a_profile(self):
        """Into the file of a space and back: the pixels of before, and the file embedded."""
        space = kxp.profile_of("adobe-rgb")
        self.write("adobe.icc", space)
        data = samples(16)
        written(data, iccprofile=kxp.profile_of("srgb"))(self.path("in.tif"))
        self.expect(["convert", "--to", "adobe.icc", "in.tif", "out.tif"], DONE)
        numpy.testing.assert_array_equal(self.pixels(),
                                         kxp.convert(data, kxp.profile_of("srgb"), space))
        page, = self.rules().pages
        self.assertEqual(page[34675][2], space)

    def test_a_profile_that_is_no_destination(self):
        done = self.run_command("convert", "--profile", "scan.icc", "--to", "scan.icc", "in.tif",
                                "out.tif")
        self.assertEqual(done.returncode, PROFILE)
        self.assertRegex(done.stderr.decode(), r"\Akxcms: profile scan\.icc to scan\.icc: [^\n]+\n\Z")

    def test_other_kinds_of_profiles(self):
        data = self.pixels("in.tif")
        for what, profile in [
            ("mAB", profiles.profile([(b"A2B0", profiles.lut_a_to_b())])),
            ("33 grid points", profiles.profile([(b"A2B0", profiles.lut16(points=33))])),
            ("two-entry curves that bend",
             profiles.profile([(b"A2B0", profiles.lut16(input_curve=[0, 60000]))])),
            ("matrix and curves", kxp.profile_of("prophoto")),
        ]:
            with self.subTest(what):
                self.write("scan.icc", profile)
                self.convert()
                numpy.testing.assert_array_equal(self.pixels(), kxp.convert(data, profile))

    def test_threads_do_not_matter(self):
        """Several pieces of rows, cut where strips and tiles begin, or not."""
        wide = {"height": 701, "width": 907}
        for what, bits, arguments, options in (
            ("strips", 8, [], "-c none -r 7"),
            ("one strip", 16, [], "-c none -r 701"),
            ("LZW", 8, [], "-c lzw -r 5"),
            ("LZW, one strip", 8, [], "-c lzw:2 -r 701"),
            ("Deflate, big-endian", 16, [], "-B -c zip:2 -r 64"),
            ("Deflate, a row a strip", 8, [], "-c zip -r 1"),
            ("Deflate, tiles", 16, [], "-c zip -t -w 48 -l 64"),
            ("Deflate, less depth", 16, ["--depth", "8"], "-c zip:2 -r 100"),
            ("Zstandard", 8, [], "-c zstd -r 20"),
        ):
            with self.subTest(what):
                data = samples(bits, **wide)
                copied(written(data), *options.split())(self.path("in.tif"))
                results = set()
                for threads in ("1", "2", "3", "8", "0"):
                    self.convert("--threads", threads, *arguments)
                    results.add(self.read("out.tif"))
                self.assertEqual(len(results), 1)
                self.rules()
                image_forms.run("tiffcp", "-c", "none", self.path("out.tif"), self.path("plain.tif"))
                expected = kxp.convert(data, profiles.scanner(), depth=8 if arguments else bits)
                numpy.testing.assert_array_equal(self.pixels("plain.tif"), expected)


class Forms(Command):
    """Every form gives what libKXPipeline makes of the samples that other programs read there."""

    def test_every_form(self):
        alphas = {"alpha": 3, "associated alpha": 3, "infrared": None, "infrared and alpha": 4}
        for form in FORMS:
            path, pages = form.write(self.folder)
            source = os.path.basename(path)
            kind = form.name.split(", ")[1] if ", " in form.name else ""
            for compression in ("none", "same"):
                with self.subTest(form.name, compression=compression):
                    done = self.run_command("convert", "--profile", "scan.icc", "--compress",
                                            compression, source, "out.tif")
                    said = done.stderr.decode()
                    lossy = compression == "same" and any(
                        name in form.name for name in ("JPEG", "WebP", "LERC"))
                    self.assertEqual((done.returncode, said), (
                        DONE, f"kxcms: {source} is compressed with loss; out.tif is not "
                              "compressed\n" * lossy))
                    self.rules()
                    with tifffile.TiffFile(self.path("out.tif")) as file:
                        found = [page for top in file.pages for page in (top, *(top.pages or ()))]
                        self.assertEqual(len(found), len(pages))
                        for page, data in zip(found, pages):
                            expected = kxp.convert(
                                data, SCANNER, alpha=alphas.get(kind, 3) if data.shape[2] > 3
                                else None, associated=kind == "associated alpha")
                            numpy.testing.assert_array_equal(self.decoded(page), expected)

    def decoded(self, page):
        """tifffile decodes but Deflate alone; libtiff's tiffcp the others."""
        if page.compression in (1, 8):
            return page.asarray()
        image_forms.run("tiffcp", "-c", "none", self.path("out.tif"), self.path("plain.tif"))
        return self.pixels("plain.tif")

    ROWS = [
        ("two strips in SHORT arrays, which fit into the entry",
         {"rows": 6, "strip_type": SHORT, "count_type": SHORT}),
        ("three strips in SHORT arrays",
         {"rows": 5, "strip_type": SHORT, "count_type": SHORT}),
        ("one strip in SHORT numbers", {"strip_type": SHORT, "count_type": SHORT}),
        ("separate planes without RowsPerStrip", {"separate": True, "without": [278]}),
        ("separate planes, RowsPerStrip without end",
         {"separate": True, "replace": {278: (LONG, [0xFFFFFFFF])}}),
        ("without RowsPerStrip", {"without": [278]}),
        ("RowsPerStrip without end", {"replace": {278: (LONG, [0xFFFFFFFF])}}),
        ("RowsPerStrip larger than the image", {"replace": {278: (SHORT, [4000])}}),
        ("without PlanarConfiguration", {"without": [284]}),
        ("without Compression", {"without": [259]}),
        ("dimensions in SHORT", {"replace": {256: (SHORT, [20]), 257: (SHORT, [12])}}),
        ("last strip padded", {"rows": 5, "padding": 40}),
        ("only strip padded", {"padding": 40}),
        ("no resolution", {"without": [282, 283, 296]}),
        ("300 tags", {"extra": [(60000 + i, SHORT, [i]) for i in range(287)]}),
    ]

    def test_odd_directories(self):
        for bits in (8, 16):
            self.write("in.tif", tiff(bits=bits))
            expected = kxp.convert(self.pixels("in.tif"), SCANNER)
            for what, form in self.ROWS:
                with self.subTest(what, bits=bits):
                    self.write("form.tif", tiff(bits=bits, **form))
                    self.convert(source="form.tif")
                    numpy.testing.assert_array_equal(self.pixels(), expected)
                    self.rules()

    def test_depth(self):
        infrared = samples(16, 4)
        written(infrared, extrasamples=["unspecified"])(self.path("in.tif"))
        self.convert("--depth", "8")
        self.assertEqual(self.pixels().dtype, numpy.uint8)
        numpy.testing.assert_array_equal(self.pixels()[:, :, :3],
                                         kxp.convert(infrared[:, :, :3], SCANNER, depth=8))
        numpy.testing.assert_array_equal(self.pixels()[:, :, 3],
                                         numpy.rint(infrared[:, :, 3] / 257))
        alpha = samples(8, 4)
        written(alpha, extrasamples=["unassalpha"])(self.path("in.tif"))
        self.convert("--depth", "16")
        numpy.testing.assert_array_equal(self.pixels(),
                                         kxp.convert(alpha, SCANNER, depth=16, alpha=3))

    def test_formats(self):
        data = samples(8)
        written(data)(self.path("in.tif"))
        expected = kxp.convert(data, SCANNER)
        for target, arguments in (("out.png", []), ("out.PNG", []),
                                  ("out", ["--format", "png"])):
            with self.subTest(target):
                self.convert(*arguments, target=target)
                with PIL.Image.open(self.path(target)) as image:
                    numpy.testing.assert_array_equal(numpy.asarray(image), expected)
                    self.assertEqual(image.info["icc_profile"], kxp.profile_of("srgb"))
        sizes = []
        for quality in ("30", "95"):
            self.convert("--quality", quality, target="out.jpg")
            with PIL.Image.open(self.path("out.jpg")) as image:
                self.assertEqual(image.info["icc_profile"], kxp.profile_of("srgb"))
                error = numpy.asarray(image).astype(int) - expected
            sizes.append((len(self.read("out.jpg")), -abs(error).mean()))
        self.assertLess(sizes[0], sizes[1])
        self.assertLess(sizes[0][1], sizes[1][1])
        written(samples(16))(self.path("in.tif"))
        self.convert(target="out.jpg", status=WRONG,
                     line="in.tif: 16 bits a sample, and JPEG holds 8; --depth 8 takes that loss")
        self.convert("--depth", "8", target="out.jpg")

    def test_compression(self):
        written(samples(8))(self.path("in.tif"))
        for name, number in (("none", 1), ("lzw", 5), ("deflate", 8), ("zstd", 50000),
                             ("same", 1)):
            with self.subTest(name):
                self.convert("--compress", name)
                self.assertEqual(self.rules().pages[0].number(259), number)
        for name, big in (("yes", True), ("no", False), ("auto", False)):
            with self.subTest(bigtiff=name):
                self.convert("--bigtiff", name)
                self.assertEqual(self.rules().big, big)
        # A file of zeros that takes no room.
        tifffile.memmap(self.path("large.tif"), shape=(22000, 65536, 3), dtype="u1", bigtiff=True,
                        photometric="rgb", metadata=None, software=None)
        os.remove(self.path("out.tif"))
        self.convert("--bigtiff", "no", source="large.tif", status=WRITE,
                     line="cannot write out.tif: the result is larger than the 4 GiB of a TIFF file "
                          "that is no BigTIFF; --bigtiff yes makes one")
        self.assertFalse(os.path.exists(self.path("out.tif")))

    def test_tag(self):
        self.write("other.icc", kxp.profile_of("prophoto"))
        for tag, expected in (("auto", kxp.profile_of("srgb")), ("none", None),
                              ("other.icc", kxp.profile_of("prophoto")),
                              ("rec2020", kxp.profile_of("rec2020"))):
            with self.subTest(tag):
                self.convert("--tag", tag)
                self.assertEqual(self.rules().pages[0].get(34675, (0, 0, None))[2], expected)
        self.write("rubbish.icc", b"rubbish")
        self.convert("--tag", "missing.icc", status=PROFILE,
                     line="profile missing.icc: no such file, and no built-in space, which convert "
                          "--list shows")

    def test_what_becomes_of_tags(self):
        note = (60000, BYTE, bytes(range(256)) * 300)
        for bits in (8, 16):
            self.write("in.tif", tiff(bits=bits, extra=[
                note, (270, ASCII, b"a slide\0"), (274, SHORT, [6]),
                (318, tiffs.RATIONAL, [(1, 3), (1, 3)])]))
            self.convert(line="in.tif: dropped: WhitePoint")
            page, = self.rules().pages
            self.assertEqual((page[270][2], page.number(274), page[60000][2]),
                             (b"a slide\0", 6, note[2]))
            self.assertNotIn(318, page)
            self.convert("--quiet")


class Pages(Command):
    def setUp(self):
        super().setUp()
        self.main, self.small = samples(16), samples(8)[::4, ::4]

    def widths(self):
        return [(page.number(256), [sub.number(256) for sub in page.pages])
                for page in self.rules().pages]

    def test_all_and_first(self):
        full, small = self.main.shape[1], self.small.shape[1]
        several((self.main, {"subifds": 1}), (self.small, {"subfiletype": 1}),
                (self.small, {}), (self.main, {}))(self.path("in.tif"))
        self.convert()
        self.assertEqual(self.widths(), [(full, [small]), (small, []), (full, [])])
        self.convert("--pages", "first", line="in.tif: dropped: 2 further pages")
        self.assertEqual(self.widths(), [(full, [small])])
        self.convert(target="out.png", status=WRONG,
                     line="in.tif: several pages, and PNG holds one; --pages first takes the first")
        self.convert("--pages", "first", target="out.png",
                     line="in.tif: dropped: 2 further pages, a reduced copy")

    def test_a_main_image_in_a_subifd_is_not_lost(self):
        several((self.small, {"subifds": 1, "subfiletype": 1}), (self.main, {}))(
            self.path("in.tif"))
        self.convert()
        self.assertEqual(self.widths(), [(self.small.shape[1], [self.main.shape[1]])])
        self.convert(target="out.png", line="in.tif: dropped: a reduced copy")
        with PIL.Image.open(self.path("out.png")) as image:
            self.assertEqual(image.size[0], self.main.shape[1])

    def test_pages_that_cannot_be_taken(self):
        grey = self.small[:, :, 0]
        several((self.main, {}), (grey, {"photometric": "minisblack"}))(self.path("in.tif"))
        self.convert(status=WRONG, line="in.tif: page 2: holds grey, not RGB; --pages first takes "
                                        "the first")
        self.convert("--pages", "first", line="in.tif: dropped: 1 further pages")
        several((self.main, {}), (grey, {"photometric": "minisblack", "subfiletype": 1}))(
            self.path("in.tif"))
        self.convert(line="in.tif: dropped: a reduced copy (holds grey, not RGB)")
        self.assertEqual(self.widths(), [(self.main.shape[1], [])])
        several((grey, {"photometric": "minisblack", "subfiletype": 1, "subifds": 1}),
                (self.main, {}))(self.path("in.tif"))
        self.convert(line="in.tif: dropped: a reduced copy (holds grey, not RGB)")
        self.assertEqual(self.widths(), [(self.main.shape[1], [])])

    def test_each_page_by_its_own_profile(self):
        other = profiles.scanner(lab=lambda r, g, b: profiles.lab16(50 * r, 0, 0))

        def tag(profile):
            return {"extratags": [(34675, 7, len(profile), profile, True)]}
        several((self.main, tag(SCANNER)), (self.main, tag(other)),
                (self.small, {"subfiletype": 1}))(self.path("in.tif"))
        self.expect(["convert", "in.tif", "out.tif"], DONE)
        with tifffile.TiffFile(self.path("out.tif")) as file:
            for page, data, profile in zip(file.pages, (self.main, self.main, self.small),
                                           (SCANNER, other, SCANNER)):
                numpy.testing.assert_array_equal(page.asarray(), kxp.convert(data, profile))


class Streams(Command):
    """Pipes as input and output, and what is left of them: nothing."""

    ARGUMENTS = ["convert", "--profile", "scan.icc"]

    def setUp(self):
        super().setUp()
        # More than a pipe holds.
        self.write("in.tif", tiff(width=300, length=200, rows=16))
        self.convert(target="expected.tif")
        self.names = ("expected.tif", "in.tif", "out.tif", "scan.icc")

    def piped(self, *arguments, data=None, **options):
        options.setdefault("input", self.read("in.tif") if data is None else data)
        return subprocess.run([KXCMS, *self.ARGUMENTS, *arguments], cwd=self.folder,
                              capture_output=True, timeout=120, **options)

    def test_from_a_pipe(self):
        for name in ("-", "/dev/stdin"):
            with self.subTest(name):
                done = self.piped(name, "out.tif")
                self.assertEqual((done.returncode, done.stdout, done.stderr), (DONE, b"", b""))
                self.assertEqual(self.read("out.tif"), self.read("expected.tif"))
                self.expect_untouched(*self.names)
                os.remove(self.path("out.tif"))

    def test_from_a_pipe_with_a_name(self):
        """Its writer may come later."""
        os.mkfifo(self.path("pipe"))
        running = subprocess.Popen([KXCMS, *self.ARGUMENTS, "pipe", "out.tif"], cwd=self.folder,
                                   stderr=subprocess.PIPE)
        time.sleep(0.1)
        self.assertIsNone(running.poll())
        self.write("pipe", self.read("in.tif"))
        self.assertEqual((running.communicate(timeout=60)[1], running.returncode), (b"", DONE))
        self.assertEqual(self.read("out.tif"), self.read("expected.tif"))
        self.expect_untouched("pipe", *self.names)

    def test_from_a_socket(self):
        ours, theirs = socket.socketpair()
        running = subprocess.Popen([KXCMS, *self.ARGUMENTS, "-", "out.tif"], cwd=self.folder,
                                   stdin=theirs, stderr=subprocess.PIPE)
        theirs.close()
        ours.sendall(self.read("in.tif"))
        ours.close()
        self.assertEqual((running.communicate(timeout=60)[1], running.returncode), (b"", DONE))
        self.assertEqual(self.read("out.tif"), self.read("expected.tif"))

    def test_from_a_file_as_standard_input(self):
        """From where the caller has read it up to."""
        for skipped in (b"", b"what another program has read"):
            with self.subTest(skipped=skipped):
                self.write("in", skipped + self.read("in.tif"))
                with open(self.path("in"), "rb") as file:
                    os.lseek(file.fileno(), len(skipped), os.SEEK_SET)
                    done = self.piped("-", "out.tif", input=None, stdin=file)
                self.assertEqual((done.returncode, done.stderr), (DONE, b""))
                self.assertEqual(self.read("out.tif"), self.read("expected.tif"))

    def test_to_standard_output(self):
        for what, arguments in (("TIFF", ["--format", "tiff"]), ("quiet", ["--format", "tiff",
                                                                           "--quiet"])):
            with self.subTest(what):
                done = self.piped(*arguments, "-", "-")
                self.assertEqual((done.returncode, done.stderr), (DONE, b""))
                self.assertEqual(done.stdout, self.read("expected.tif"))
        for form in ("png", "jpeg"):
            with self.subTest(form):
                self.convert("--format", form, target="file")
                self.assertEqual(self.piped("--format", form, "in.tif", "-").stdout,
                                 self.read("file"))

    def test_what_exists_is_not_asked_of_standard_output(self):
        self.write("-", OLD)
        done = self.piped("--exists", "refuse", "--format", "tiff", "in.tif", "-")
        self.assertEqual((done.returncode, done.stdout), (DONE, self.read("expected.tif")))
        self.assertEqual(self.read("-"), OLD)

    def test_standard_output_that_fails(self):
        reader, writer = os.pipe()
        os.close(reader)
        for what, output, reason in (("a reader that has gone", writer, "Broken pipe"),
                                     ("a full device", os.open("/dev/full", os.O_WRONLY),
                                      "No space left on device")):
            with self.subTest(what):
                done = subprocess.run([KXCMS, *self.ARGUMENTS, "--format", "tiff", "in.tif", "-"],
                                      cwd=self.folder, stdin=subprocess.DEVNULL, stdout=output,
                                      stderr=subprocess.PIPE, timeout=60)
                self.assertEqual((done.returncode, done.stderr.decode()),
                                 (WRITE, f"kxcms: cannot write -: {reason}\n"))
            os.close(output)
        _, terminal = surroundings.open_terminal()
        done = subprocess.run([KXCMS, *self.ARGUMENTS, "--format", "tiff", "in.tif", "-"],
                              cwd=self.folder, stdin=subprocess.DEVNULL, stdout=terminal,
                              stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((done.returncode, done.stderr.decode()), (
            USAGE, "kxcms: standard output is a terminal; an image goes to a file or pipe\n"))

    def test_refused_pipes(self):
        image = self.read("in.tif")
        for what, data, status, line in (
            ("nothing", b"", UNREADABLE, "-: empty file"),
            ("text", b"This is no image.", UNREADABLE, "-: not a TIFF, JPEG or PNG file"),
            ("cut off", image[:-1], UNREADABLE,
             "-: damaged: the data of tag 283 lie outside the file"),
        ):
            with self.subTest(what):
                done = self.piped("-", "out.tif", data=data)
                self.assertEqual((done.returncode, done.stderr.decode()),
                                 (status, f"kxcms: {line}\n"))
                self.expect_untouched("expected.tif", "in.tif", "scan.icc")
        done = self.piped("-", "nowhere/out.tif")
        self.assertEqual((done.returncode, done.stderr.decode()), (
            WRITE, "kxcms: cannot write a copy of - in nowhere: No such file or directory\n"))

    def test_an_endless_pipe_of_something_else(self):
        endless = subprocess.Popen(["yes"], stdout=subprocess.PIPE)
        done = self.piped("-", "out.tif", input=None, stdin=endless.stdout)
        endless.stdout.close()
        endless.wait(timeout=60)
        self.assertEqual((done.returncode, done.stderr.decode()), (
            UNREADABLE, "kxcms: -: not a TIFF, JPEG or PNG file\n"))

    def test_a_full_disk_while_copying(self):
        surroundings.require_file_size_limits()
        done = self.piped("-", "out.tif", preexec_fn=lambda: surroundings.limit_file_size(50_000))
        self.assertEqual((done.returncode, done.stderr.decode()), (
            WRITE, "kxcms: cannot write a copy of - in .: File too large\n"))
        self.expect_untouched("expected.tif", "in.tif", "scan.icc")

    def test_killed_while_waiting(self):
        for number in SIGNALS:
            with self.subTest(number):
                running = subprocess.Popen([KXCMS, *self.ARGUMENTS, "-", "out.tif"],
                                           cwd=self.folder, stdin=subprocess.PIPE)
                running.stdin.write(self.read("in.tif")[:50_000])
                running.stdin.flush()
                time.sleep(0.1)
                running.send_signal(number)
                self.assertEqual(running.wait(timeout=60), -number)
                running.stdin.close()
                self.expect_untouched("expected.tif", "in.tif", "scan.icc")


class Found(Command):
    """What hostile and real files have been found to do to a converter."""

    MAIN, SMALL = samples(8), samples(8)[::4, ::4]

    def change(self, name, change):
        """Changes the bytes of a TIFF file, little-endian: `change(data, {tag: entry's place})`."""
        data = bytearray(self.read(name))
        at, = struct.unpack_from("<I", data, 4)
        count, = struct.unpack_from("<H", data, at)
        entries = range(at + 2, at + 2 + 12 * count, 12)
        change(data, {struct.unpack_from("<H", data, entry)[0]: entry for entry in entries})
        self.write(name, data)

    def test_a_main_image_that_is_raw(self):
        """As in a DNG file: the first directory has but its small copy."""
        several((self.SMALL, {"subifds": 1, "subfiletype": 1}),
                (samples(16)[:, :, 0], {"photometric": 32803}))(self.path("in.tif"))
        self.convert(status=WRONG, line="in.tif: page 2: holds the raw data of a camera, not RGB")

    def test_second_pages_of_doubtful_kinds(self):
        def kind(tag, number, count, value):
            def change(data, entries):
                at, = struct.unpack_from("<I", data, 4)
                first, = struct.unpack_from("<H", data, at)
                second, = struct.unpack_from("<I", data, at + 2 + 12 * first)
                # NewSubfileType comes first.
                struct.pack_into("<2HII", data, second + 2, tag, number, count, value)
            return change
        for what, change, status, line in (
            ("an unused bit", kind(254, LONG, 1, 8), DONE, None),
            ("as SHORT", kind(254, SHORT, 1, 0), DONE, None),
            ("a text", kind(254, ASCII, 1, 0), UNREADABLE,
             "in.tif: damaged: tag 254 is not a number"),
            ("two values", kind(254, SHORT, 2, 1), UNREADABLE,
             "in.tif: damaged: tag 254 is not a single number"),
            ("the same tag twice", kind(256, LONG, 1, 61), UNREADABLE,
             "in.tif: damaged: tag 256 stands twice"),
            ("by TIFF 5.0, reduced", kind(255, SHORT, 1, 2), DONE, None),
        ):
            with self.subTest(what):
                several((self.MAIN, {}), (self.MAIN, {"subfiletype": 1}))(self.path("in.tif"))
                self.change("in.tif", change)
                self.convert(status=status, line=line)
                if status == DONE:
                    pages = self.rules().pages
                    self.assertEqual([page.number(256) for page in pages], [61, 61])
                    numpy.testing.assert_array_equal(tifffile.imread(self.path("out.tif"), key=1),
                                                     kxp.convert(self.MAIN, SCANNER))
                    os.remove(self.path("out.tif"))

    def test_values_that_are_out_of_range(self):
        """They stay what they are, and are not cut to something else."""
        self.write("in.tif", tiff(extra=[(274, LONG, [65542]), (296, SHORT, [9])]))
        self.convert()
        page, = self.rules().pages
        self.assertEqual((page[274][:2], page.number(274), page.number(296)), ((LONG, 1), 65542, 9))

    def test_pointers_to_nothing(self):
        self.write("in.tif", tiff(extra=[(400, LONG, [8]), (513, LONG, [8]), (514, LONG, [99])]))
        self.convert(line="in.tif: dropped: GlobalParameters, thumbnail")
        page, = self.rules().pages
        self.assertFalse({400, 513, 514} & set(page))

    def test_profiles_of_many_tags(self):
        tags = [(b"wtpt", profiles.WHITE_POINT), (b"A2B0", profiles.lut16(points=3))]
        tags += [(b"t%03d" % i, b"text" + bytes(8)) for i in range(900)]
        self.write("scan.icc", profiles.profile(tags))
        self.convert()
        numpy.testing.assert_array_equal(
            self.pixels(), kxp.convert(self.pixels("in.tif"), self.read("scan.icc")))


class Records(Command):
    def test_json(self):
        self.write("in.tif", tiff(extra=[(318, tiffs.RATIONAL, [(1, 3), (1, 3)])]))
        done = self.run_command("convert", "--profile", "scan.icc", "--json", "--quiet", "in.tif",
                                "out.tif")
        self.assertEqual((done.returncode, done.stderr), (DONE, b""))
        record = json.loads(done.stdout)
        self.assertEqual(
            {key: record[key] for key in ("input", "output", "status", "format", "to", "intent",
                                          "pipeline", "dropped", "notes")},
            {"input": "in.tif", "output": "out.tif", "status": "converted", "format": "TIFF",
             "to": "srgb", "intent": "perceptual", "pipeline": "precise",
             "dropped": ["WhitePoint"], "notes": []})
        self.assertEqual(record["pages"],
                         [{"page": 1, "width": 20, "height": 12, "bits": 8, "samples": 3}])

    def test_existing_targets(self):
        self.write("out.tif", OLD)
        self.convert("--exists", "refuse", status=WRITE,
                     line="cannot write out.tif: it exists; --exists replace replaces it")
        self.convert("--exists", "skip", line="out.tif exists: skipped")
        self.convert("--exists", "skip", "--quiet")
        self.assertEqual(self.read("out.tif"), OLD)
        done = self.run_command("convert", "--exists", "skip", "--json", "--quiet", "in.tif",
                                "out.tif")
        self.assertEqual(json.loads(done.stdout)["status"], "skipped")
        self.convert("--exists", "replace", "--durable")
        self.assertNotEqual(self.read("out.tif"), OLD)
        for way in ("refuse", "skip"):
            self.convert("--exists", way, target=f"{way}.tif")


class RefusedImages(Command):
    ROWS = [
        ("unknown compression", tiff(replace={259: (SHORT, [50002])}), WRONG,
         "compressed by method 50002, which cannot be read"),
        ("grey", tiff(replace={262: (SHORT, [1])}), WRONG, "holds grey, not RGB"),
        ("palette", tiff(replace={262: (SHORT, [3])}), WRONG, "holds palette colours, not RGB"),
        ("inks", tiff(replace={262: (SHORT, [5])}), WRONG, "holds CMYK or other inks, not RGB"),
        ("YCbCr", tiff(replace={262: (SHORT, [6])}), WRONG, "holds YCbCr, not RGB"),
        ("Lab", tiff(replace={262: (SHORT, [8])}), WRONG, "holds Lab, not RGB"),
        ("one sample", tiff(replace={277: (SHORT, [1])}), WRONG,
         "1 samples per pixel; 3 to 64 work"),
        ("no SamplesPerPixel", tiff(without=[277]), WRONG, "1 samples per pixel; 3 to 64 work"),
        ("four samples with three depths", tiff(replace={277: (SHORT, [4])}), UNREADABLE,
         "damaged: 3 depths of 4 samples"),
        ("an extra sample among three", tiff(extra=[(338, SHORT, [1])]), WRONG,
         "3 samples per pixel, not all of them colours"),
        ("4 bits", tiff(replace={258: (SHORT, [4, 4, 4])}), WRONG,
         "4 bits per sample; only 8 and 16 work"),
        ("32 bits", tiff(replace={258: (SHORT, [32, 32, 32])}), WRONG,
         "32 bits per sample; only 8 and 16 work"),
        ("no depth", tiff(without=[258]), WRONG, "1 bit per sample; only 8 and 16 work"),
        ("unequal depths", tiff(replace={258: (SHORT, [8, 8, 16])}), WRONG,
         "samples of different depths"),
        ("signed samples", tiff(extra=[(339, SHORT, [2, 2, 2])]), WRONG,
         "its samples are not unsigned integers (SampleFormat)"),
        ("float samples", tiff(bits=16, extra=[(339, SHORT, [3, 3, 3])]), WRONG,
         "its samples are not unsigned integers (SampleFormat)"),
        ("more pixels than the file holds",
         tiff(replace={256: (LONG, [50000]), 257: (LONG, [50000])}), UNREADABLE,
         "damaged: 1 strips where 4167 make the image"),
        ("empty file", b"", UNREADABLE, "empty file"),
        ("seven bytes", b"II*\0\x08\0\0", UNREADABLE, "damaged: cut off"),
        ("text", b"This is not a TIFF file.", UNREADABLE, "not a TIFF, JPEG or PNG file"),
        ("header alone", b"II*\0\x08\0\0\0", UNREADABLE, "damaged: cut off"),
        ("directory outside", b"II*\0\xff\xff\xff\xff", UNREADABLE, "damaged: cut off"),
        ("no tags", b"II*\0\x08\0\0\0\0\0\0\0\0\0", UNREADABLE,
         "damaged: an image without tags"),
        ("cut in the directory", tiff()[:-60], UNREADABLE, "damaged: cut off"),
        ("cut in the data of a tag", tiff()[:-1], UNREADABLE,
         "damaged: the data of tag 283 lie outside the file"),
        ("planar configuration 3", tiff(replace={284: (SHORT, [3])}), UNREADABLE,
         "damaged: planar configuration 3"),
        ("a strip outside", tiff(replace={273: (LONG, [0xFFFFFF00])}), UNREADABLE,
         "damaged: strip 1 of 1 is cut off"),
    ]

    def test_refused(self):
        for what, data, status, reason in self.ROWS:
            with self.subTest(what):
                self.write("in.tif", data)
                self.write("out.tif", OLD)
                self.convert(status=status, line=f"in.tif: {reason}")
                self.assertEqual(self.read("out.tif"), OLD)
                self.expect_untouched("in.tif", "out.tif", "scan.icc")

    def test_directories_in_a_circle(self):
        data = bytearray(tiff(extra=[(254, LONG, [1])]))
        at, = struct.unpack_from("<I", data, 4)
        count, = struct.unpack_from("<H", data, at)
        struct.pack_into("<I", data, at + 2 + 12 * count, at)
        self.write("in.tif", data)
        self.convert(status=UNREADABLE,
                     line="in.tif: damaged: its directories go round in a circle")

    def test_every_cut(self):
        """Whatever is cut off the end, the answer is a refusal."""
        for bits, form in [(8, {}), (16, {"rows": 5}), (8, {"separate": True, "rows": 5})]:
            whole = tiff(width=5, length=12, bits=bits, **form)
            step = max(1, len(whole) // 40)
            for size in list(range(0, len(whole), step)) + [len(whole) - 1]:
                with self.subTest(bits=bits, form=form, size=size):
                    self.write("in.tif", whole[:size])
                    done = self.run_command("convert", "--profile", "scan.icc", "in.tif", "out.tif")
                    self.assertEqual((done.returncode, done.stdout), (UNREADABLE, b""))
                    self.assertRegex(done.stderr.decode(), r"\Akxcms: in\.tif: [^\n]+\n\Z")
                    self.expect_untouched("in.tif", "scan.icc")

    def test_files_that_are_no_files(self):
        os.mkdir(self.path("folder"))
        for what, name, reason in [
            ("missing", "nowhere.tif", "No such file or directory"),
            ("directory", "folder", "is a directory; batch --from takes one"),
            ("device", "/dev/zero", "neither a file nor a pipe"),
            ("standard input that is a device", "-", "neither a file nor a pipe"),
        ]:
            with self.subTest(what):
                self.convert(source=name, status=UNREADABLE, line=f"{name}: {reason}")

    def test_names_give_the_terminal_no_orders(self):
        for what, name, shown in [
            ("line break", "a\nb.tif", "a?b.tif"),
            ("escape", "a\x1b[31mb.tif", "a?[31mb.tif"),
            ("control sequence of eight bits", "a\x9b31mb.tif", "a??31mb.tif"),
            ("no control characters", "\xe4\u2190.tif", "\xe4\u2190.tif"),
        ]:
            with self.subTest(what):
                self.convert(source=name, status=UNREADABLE,
                             line=f"{shown}: No such file or directory")


class RefusedProfiles(Command):
    SOUND = profiles.scanner(points=3)

    def rows(self):
        return [
            ("empty", b""),
            ("text", b"not a profile" * 20),
            ("header alone", self.SOUND[:128]),
            ("no acsp", self.SOUND[:36] + b"xxxx" + self.SOUND[40:]),
            ("cut in half", self.SOUND[:1000]),
            ("a million tags", self.SOUND[:128] + b"\0\x0f\0\0" + self.SOUND[132:]),
            ("CMYK", profiles.profile([(b"A2B0", profiles.lut16())], space=b"CMYK")),
            ("grey", profiles.profile([], space=b"GRAY")),
            ("a device link",
             profiles.profile([(b"A2B0", profiles.lut16())], device_class=b"link", pcs=b"RGB ")),
            ("named colours", profiles.profile([], device_class=b"nmcl")),
            ("no tag that converts", profiles.profile([(b"wtpt", profiles.WHITE_POINT)])),
            ("unknown type", profiles.profile([(b"A2B0", b"mpet" + bytes(100))])),
            ("four inputs", profiles.profile([(b"A2B0", profiles.lut16(inputs=4))])),
            ("table cut off", profiles.profile([(b"A2B0", profiles.lut16()[:-2])])),
        ]

    def test_refused(self):
        """What is wrong says the library; the line names the profile."""
        self.write("out.tif", OLD)
        for what, data in self.rows():
            with self.subTest(what):
                self.write("scan.icc", data)
                done = self.run_command("convert", "--profile", "scan.icc", "in.tif", "out.tif")
                self.assertEqual((done.returncode, done.stdout), (PROFILE, b""))
                self.assertRegex(done.stderr.decode(),
                                 r"\Akxcms: profile scan\.icc(| to srgb): [^\n]{10,}[^.\n]\n\Z")
                self.assertEqual(self.read("out.tif"), OLD)
                self.expect_untouched("in.tif", "out.tif", "scan.icc")

    def test_no_profile(self):
        for what, arguments, line in [
            ("none named, none embedded", [],
             "in.tif: no profile is embedded; name one with --profile or --assume"),
            ("missing", ["--profile", "no.icc"],
             "profile no.icc: no such file, and no built-in space, which convert --list shows"),
            ("directory", ["--profile", "."], "profile .: Is a directory"),
        ]:
            with self.subTest(what):
                self.expect(["convert", *arguments, "in.tif", "out.tif"], PROFILE, line)

    def test_damaged_embedded_profile(self):
        self.write("in.tif", tiff(profile=self.SOUND[:500]))
        done = self.run_command("convert", "in.tif", "out.tif")
        self.assertEqual(done.returncode, PROFILE)
        self.assertRegex(done.stderr.decode(),
                         r"\Akxcms: profile embedded in in\.tif: [^\n]+\n\Z")

    def test_every_cut(self):
        for size in range(0, len(self.SOUND), 97):
            with self.subTest(size=size):
                self.write("scan.icc", self.SOUND[:size])
                done = self.run_command("convert", "--profile", "scan.icc", "in.tif", "out.tif")
                self.assertEqual((done.returncode, done.stdout), (PROFILE, b""))
                self.expect_untouched("in.tif", "scan.icc")


@unittest.skipIf(SANITIZED, "SKIP: sanitizers need /proc themselves")
class WithoutProc(Command):
    """convert needs no /proc; the library opens a profile by its path, and the copy that the
    self-test makes has one there alone."""

    def run_without(self, *arguments):
        hidden = []
        if surroundings.HAS_PROC:
            hidden = [*surroundings.mount_namespace(), "sh", "-c",
                      'mount -t tmpfs none /proc && exec "$@"', "-"]
        return subprocess.run([*hidden, KXCMS, *arguments], cwd=self.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=120)

    def test_convert(self):
        self.convert(target="expected.tif")
        done = self.run_without("convert", "--profile", "scan.icc", "in.tif", "out.tif")
        self.assertEqual((done.returncode, done.stderr), (DONE, b""))
        self.assertEqual(self.read("out.tif"), self.read("expected.tif"))
        self.expect_untouched("expected.tif", "in.tif", "out.tif", "scan.icc")

    def test_selftest_tells_the_reason(self):
        done = self.run_without("selftest")
        self.assertEqual(done.returncode, WRITE)
        self.assertRegex(done.stderr.decode(),
                         r"\Akxcms: no private copy of the profile can be made: "
                         r"/proc/self/fd/\d+: No such file or directory\n\Z")


@unittest.skipIf(SANITIZED, "sanitizers take memory, stack and descriptors of their own")
class ScarceMeans(Command):
    """What the machine does not give is nobody's fault, and never the profile's."""

    def run_limited(self, kind, limits, arguments=()):
        """@return {status: line}"""
        outcomes = {}
        for limit in limits:
            def restrict(limit=limit):
                resource.setrlimit(kind, (limit, limit))
            done = self.run_command("convert", "--profile", "scan.icc", "--threads", "3",
                                    *arguments, "in.tif", "out.tif", preexec_fn=restrict)
            # The loader speaks before the command can.
            if done.returncode != 127:
                outcomes[done.returncode] = done.stderr.decode()
        return outcomes

    def setUp(self):
        super().setUp()
        self.write("in.tif", tiff(width=1000, length=300))

    NO_RUNTIME = "\nlibgomp: Out of memory allocating"

    def test_stacks(self):
        self.convert(target="expected.tif")
        for kib in (32, 64, 100, 1000):
            for pipeline in ("precise", "fixed"):
                with self.subTest(kib=kib, pipeline=pipeline):
                    self.assertEqual(self.run_limited(resource.RLIMIT_STACK, [kib << 10],
                                                      ["--pipeline", pipeline]), {DONE: ""})
            self.convert()
            self.assertEqual(self.read("out.tif"), self.read("expected.tif"))

    def test_descriptors(self):
        outcomes = self.run_limited(resource.RLIMIT_NOFILE, range(3, 12))
        self.assertEqual(outcomes, {
            DONE: "",
            UNREADABLE: "kxcms: profile scan.icc cannot be read now: Too many open files\n"})

    def test_memory(self):
        outcomes = self.run_limited(resource.RLIMIT_AS, range(20 << 20, 120 << 20, 1 << 20))
        # Where the OpenMP runtime cannot even start, it ends the process before the command begins.
        self.assertRegex(outcomes.pop(1, self.NO_RUNTIME), f"^{self.NO_RUNTIME}")
        self.assertLessEqual(set(outcomes), {DONE, UNREADABLE, WRITE})
        self.assertEqual(outcomes[DONE], "")
        self.assertEqual(outcomes[UNREADABLE], "kxcms: not enough memory for this file\n")

    def test_threads_that_cannot_be_started(self):
        """No room for their stacks: the calling thread does it all."""
        self.convert(target="expected.tif")
        outcomes = {}
        for size in range(60 << 20, 8 << 20, -(1 << 20)):
            def restrict(most=size):
                resource.setrlimit(resource.RLIMIT_AS, (most, most))
            done = self.run_command("convert", "--profile", "scan.icc", "--threads", "64",
                                    "in.tif", "out.tif", preexec_fn=restrict)
            outcomes[done.returncode] = done.stderr
            if done.returncode == DONE:
                self.assertEqual(self.read("out.tif"), self.read("expected.tif"))
        self.assertRegex(outcomes.pop(1, self.NO_RUNTIME.encode()), f"^{self.NO_RUNTIME}".encode())
        self.assertLessEqual(set(outcomes), {DONE, UNREADABLE, 127})
        self.assertEqual(outcomes[DONE], b"")

    def test_an_endless_profile_takes_no_memory(self):
        done = self.run_command(
            "convert", "--profile", "/dev/zero", "in.tif", "out.tif",
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (100 << 20, 100 << 20)))
        self.assertEqual(done.returncode, PROFILE)
        self.assertRegex(done.stderr.decode(), r"\Akxcms: profile /dev/zero: [^\n]+\n\Z")
        self.assertNotIn("memory", done.stderr.decode())


@unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
class PeakMemory(Command):
    """An image of 108 MB goes through 64 MiB and what the decoder holds at once: a row of tiles or a
    strip, of each plane where they are separate."""

    WIDTH, HEIGHT, MIB = 5000, 3600, 1 << 20
    # A process counts what its parent had when it was started: a small one stands between.
    MEASURE = ("import resource, subprocess, sys; done = subprocess.run(sys.argv[1:]); "
               "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss); "
               "sys.exit(done.returncode)")

    def peak(self, source, target, *arguments):
        """@return bytes that were resident at once."""
        done = subprocess.run(
            [sys.executable, "-c", self.MEASURE, KXCMS, "convert", "--profile", "scan.icc",
             "--quiet", *arguments, source, target],
            cwd=self.folder, stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
        self.assertEqual((done.returncode, done.stderr), (DONE, b""))
        return int(done.stdout) * 1024

    def test_forms(self):
        row = numpy.arange(self.WIDTH * 3, dtype="u2").reshape(1, self.WIDTH, 3)
        data = row + numpy.arange(self.HEIGHT, dtype="u2").reshape(self.HEIGHT, 1, 1)
        row_bytes = self.WIDTH * 6
        chunky, separate = written(data, rowsperstrip=self.HEIGHT), \
            written(image_forms.planes(data), planarconfig="separate", rowsperstrip=self.HEIGHT)
        for what, make, held in (
            ("one strip", chunky, 0),
            ("planes, one strip each", separate, 0),
            ("tiles", written(data, tile=(256, 256)), 256 * row_bytes),
            ("planes in tiles", written(image_forms.planes(data), planarconfig="separate",
                                        tile=(256, 256)), 256 * row_bytes),
            ("LZW", image_forms.copied(chunky, "-c", "lzw:2", "-r", "64"), 64 * row_bytes),
            ("Deflate, one strip", image_forms.copied(chunky, "-c", "zip:2", "-r", "4000"), None),
            ("Zstandard in tiles", image_forms.copied(
                chunky, "-c", "zstd:2", "-t", "-w", "256", "-l", "256"), 256 * row_bytes),
        ):
            make(self.path("in.tif"))
            if held is None:  # the strip as it stands in the file
                held = os.path.getsize(self.path("in.tif"))
            targets = [("out.tif", ["--compress", "none"])]
            if what == "planes, one strip each":
                targets += [("lzw.tif", ["--compress", "lzw"]), ("out.jpg", ["--depth", "8"]),
                            ("out.png", ["--depth", "8"])]
            for target, arguments in targets:
                with self.subTest(what, target=target):
                    self.assertLess(self.peak("in.tif", target, *arguments), 64 * self.MIB + held)
                    if target == "out.tif":
                        self.assertGreater(os.path.getsize(self.path(target)), data.nbytes)

    def test_other_formats(self):
        data = numpy.zeros((self.HEIGHT, self.WIDTH, 3), "u1") + \
            numpy.arange(self.WIDTH, dtype="u1").reshape(1, self.WIDTH, 1)
        for name, options, held in (
            ("in.png", {"compress_level": 1}, 0),
            ("in.jpg", {}, 0),
            # All coefficients of all components, of 16 bits each.
            ("progressive.jpg", {"progressive": True, "subsampling": 0}, 2 * data.size),
        ):
            with self.subTest(name):
                image_forms.saved(data, **options)(self.path(name))
                self.assertLess(self.peak(name, "out.tif"), 64 * self.MIB + held)


class Writing(Command):
    @needs_proc
    def test_refused_targets(self):
        os.mkdir(self.path("folder.tif"))
        os.mkfifo(self.path("pipe.tif"))
        os.symlink("loop.tif", self.path("loop.tif"))
        for what, target, reason in [
            ("a loop of links", "loop.tif", "Too many levels of symbolic links"),
            ("a directory", "folder.tif", "is a directory; name a file in it"),
            ("in no folder", "nowhere/out.tif", "its folder does not exist"),
            ("in a file", "in.tif/out.tif", "Not a directory"),
            ("a pipe", "pipe.tif", "is not a regular file"),
            ("where nobody can write", "/proc/out.tif", "No such file or directory"),
        ]:
            with self.subTest(what):
                self.convert(target=target, status=WRITE, line=f"cannot write {target}: {reason}")
                self.expect_untouched("folder.tif", "in.tif", "loop.tif", "pipe.tif", "scan.icc")
        self.convert("--format", "tiff", target="/dev/null", status=WRITE,
                     line="cannot write /dev/null: is not a regular file")
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))
        self.write("gone", OLD)
        deleted = os.open(self.path("gone"), os.O_RDWR)
        os.remove(self.path("gone"))
        for file in (os.memfd_create("gone"), deleted):
            done = self.run_command("convert", "--profile", "scan.icc", "--format", "tiff", "in.tif",
                                    f"/dev/fd/{file}", pass_fds=[file])
            os.close(file)
            self.assertEqual((done.returncode, done.stderr.decode()), (
                WRITE, f"kxcms: cannot write /dev/fd/{file}: it has no name in a folder\n"))
        self.expect_untouched("folder.tif", "in.tif", "loop.tif", "pipe.tif", "scan.icc")

    def test_unwritable_folder(self):
        surroundings.require_permissions()
        os.mkdir(self.path("folder"))
        self.write("folder/locked.tif", OLD)
        os.chmod(self.path("folder/locked.tif"), 0o444)
        os.chmod(self.path("folder"), 0o555)
        self.addCleanup(os.chmod, self.path("folder"), 0o755)
        for target in ("folder/out.tif", "folder/locked.tif"):
            with self.subTest(target):
                self.expect(["convert", "--profile", "scan.icc", "in.tif", target], WRITE,
                            f"cannot write {target}: Permission denied",
                            preexec_fn=surroundings.obey_permissions)
        self.assertEqual(self.read("folder/locked.tif"), OLD)

    @needs_proc
    def test_full_disk(self):
        """A file size limit stands for it: both make a write fall short."""
        surroundings.require_file_size_limits()
        self.write("in.tif", tiff(width=300, length=200, bits=16))
        self.convert(target="whole.tif")
        size = len(self.read("whole.tif"))
        os.remove(self.path("whole.tif"))
        for limit in (60_000, 200_000, 359_999, size - 1):
            for before in (None, OLD):
                with self.subTest(limit=limit, before=before):
                    names = ["in.tif", "scan.icc"]
                    if before:
                        self.write("out.tif", before)
                        names.append("out.tif")
                    self.expect(["convert", "--profile", "scan.icc", "in.tif", "out.tif"], WRITE,
                                "cannot write out.tif: File too large",
                                preexec_fn=lambda most=limit: surroundings.limit_file_size(most))
                    if before:
                        self.assertEqual(self.read("out.tif"), before)
                        os.remove(self.path("out.tif"))
                        names.remove("out.tif")
                    self.expect_untouched("in.tif", "scan.icc")
        self.expect(["convert", "--profile", "scan.icc", "in.tif", "out.tif"], DONE,
                    preexec_fn=lambda: surroundings.limit_file_size(size))

    @needs_proc
    def test_input_is_output(self):
        self.convert(target="expected.tif")
        original = self.read("in.tif")
        for what, target in [("same path", "in.tif"), ("another path", "./in.tif"),
                             ("symbolic link", "link.tif"), ("hard link", "hard.tif")]:
            with self.subTest(what):
                self.write("in.tif", original)
                if what == "symbolic link":
                    os.symlink("in.tif", self.path(target))
                if what == "hard link":
                    os.link(self.path("in.tif"), self.path(target))
                self.convert(target=target)
                self.assertEqual(self.read(target), self.read("expected.tif"))
        self.assertTrue(os.path.islink(self.path("link.tif")))

    @needs_proc
    def test_links_are_followed(self):
        os.mkdir(self.path("far"))
        os.symlink("far/chain.tif", self.path("link.tif"))
        os.symlink("target.tif", self.path("far/chain.tif"))
        self.convert(target="link.tif")
        self.assertTrue(os.path.islink(self.path("link.tif")))
        self.assertTrue(os.path.islink(self.path("far/chain.tif")))
        self.assertFalse(os.path.islink(self.path("far/target.tif")))

    @needs_proc
    def test_permissions(self):
        def mode(name):
            return stat.S_IMODE(os.stat(self.path(name)).st_mode)
        self.expect(["convert", "--profile", "scan.icc", "in.tif", "new.tif"], DONE,
                    preexec_fn=lambda: os.umask(0o027))
        self.assertEqual(mode("new.tif"), 0o640)
        self.write("old.tif", OLD)
        os.chmod(self.path("old.tif"), 0o604)
        self.convert(target="old.tif")
        self.assertEqual(mode("old.tif"), 0o604)

    def test_a_group_that_may_be_kept(self):
        """Whoever cannot give a file back to its owner can give it to a group of his own."""
        groups = [group for group in os.getgroups() if group != os.getegid()]
        if os.geteuid() != 0 and not groups:
            self.skipTest("there is no other group")
        group = groups[0] if groups else 12345
        self.write("out.tif", OLD)
        os.chown(self.path("out.tif"), -1, group)
        os.chmod(self.path("out.tif"), 0o664)
        self.convert()
        status = os.stat(self.path("out.tif"))
        self.assertEqual((status.st_gid, stat.S_IMODE(status.st_mode)), (group, 0o664))
        if os.geteuid() != 0:
            return
        # Another's file, in a folder that is everybody's: its group is one of this process.
        self.write("out.tif", OLD)
        os.chown(self.path("out.tif"), 4242, group)
        os.chmod(self.path("out.tif"), 0o666)
        os.chmod(self.folder, 0o777)

        def another():
            os.setgroups([group])
            os.setgid(4343)
            os.setuid(4343)
        done = self.run_command("convert", "--profile", "scan.icc", "in.tif", "out.tif",
                                preexec_fn=another)
        if b"Permission denied" in done.stderr:
            self.skipTest("the command may not be run by another user")
        self.assertEqual((done.returncode, done.stderr), (DONE, b""))
        status = os.stat(self.path("out.tif"))
        self.assertEqual((status.st_uid, status.st_gid, stat.S_IMODE(status.st_mode)),
                         (4343, group, 0o666))

    def test_extended_attributes(self):
        self.write("out.tif", OLD)
        try:
            os.setxattr(self.path("out.tif"), "user.origin", b"a box of slides")
        except OSError as error:
            self.skipTest(f"no extended attributes: {error}")
        self.convert()
        self.assertEqual(os.getxattr(self.path("out.tif"), "user.origin"), b"a box of slides")
        self.assertNotEqual(self.read("out.tif"), OLD)

    def test_hard_links_keep_what_they_had(self):
        self.write("out.tif", OLD)
        os.link(self.path("out.tif"), self.path("other.tif"))
        self.convert()
        self.assertEqual(self.read("other.tif"), OLD)
        self.assertNotEqual(self.read("out.tif"), OLD)

    @needs_proc
    def test_a_kill_leaves_the_old_file_or_the_new_one(self):
        self.write("in.tif", tiff(width=3000, length=1000, samples=[7, 100, 200] * 3_000_000))
        self.convert(target="new.tif")
        new = self.read("new.tif")
        start = time.monotonic()
        self.convert(target="new.tif")
        whole = time.monotonic() - start
        kills = 0
        for number in (signal.SIGKILL, *SIGNALS):
            for part in range(1, 9):
                self.write("out.tif", OLD)
                running = subprocess.Popen(
                    [KXCMS, "convert", "--profile", "scan.icc", "in.tif", "out.tif"],
                    cwd=self.folder, stderr=subprocess.PIPE,
                    # A sanitizer that is killed while it looks for leaks has a line to say.
                    env=dict(os.environ, ASAN_OPTIONS="detect_leaks=0"))
                time.sleep(whole * part / 8)
                running.send_signal(number)
                _, stderr = running.communicate(timeout=120)
                with self.subTest(signal=number, part=part):
                    self.assertIn(running.returncode, (DONE, -number))
                    killed = running.returncode != DONE
                    kills += killed
                    self.assertIn(self.read("out.tif"), (OLD, new) if killed else (new,))
                    self.assertEqual(stderr, b"")
                    if number != signal.SIGKILL:
                        self.expect_untouched("in.tif", "new.tif", "out.tif", "scan.icc")
                    for name in os.listdir(self.folder):
                        if name.startswith(".kxcms-"):
                            os.remove(self.path(name))
        self.assertGreater(kills, 5, "the kills came too late to say anything")

    @needs_proc
    def test_no_progress_without_a_terminal_and_some_with_one(self):
        written(numpy.full((3000, 5000, 3), (7, 100, 200), "u1"))(self.path("in.tif"))
        self.convert()
        controller, terminal = surroundings.open_terminal()
        # Stopped most of the time until it shows something, the command surely takes long.
        running = subprocess.Popen(
            [KXCMS, "convert", "--threads", "1", "--profile", "scan.icc", "in.tif", "out.tif"],
            cwd=self.folder, stderr=terminal)
        os.close(terminal)
        while running.poll() is None and not select.select([controller], [], [], 0)[0]:
            running.send_signal(signal.SIGSTOP)
            time.sleep(0.25)
            running.send_signal(signal.SIGCONT)
            time.sleep(0.001)
        self.assertEqual(running.wait(timeout=120), DONE)
        shown = ""
        try:
            while part := os.read(controller, 65536).decode():
                shown += part
        except OSError:  # how a terminal says that its other end is closed
            pass
        os.close(controller)
        self.assertRegex(shown, r"\A(\rconverting +\d+ %)+\r\x1b\[K\Z")


if __name__ == "__main__":
    surroundings.main()
