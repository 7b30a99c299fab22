#!/usr/bin/env python3
"""The kxcms command, as a user meets it: arguments, exit status, messages, files.

Environment: KXCMS (the command), KXCMS_CONVERT_FILE (the library's file conversion).
"""

import os
import select
import shutil
import signal
import stat
import struct
import subprocess
import tempfile
import time
import unittest

import profiles
import surroundings
import tiffs
from surroundings import needs_proc
from tiffs import BYTE, DOUBLE, FLOAT, LONG, SBYTE, SHORT, UNDEFINED, tiff

KXCMS = os.environ["KXCMS"]
CONVERT_FILE = os.environ["KXCMS_CONVERT_FILE"]
OLD = b"what was here before"

DONE, USAGE, UNREADABLE, PROFILE, WRONG, WRITE = 0, 2, 3, 4, 5, 6


class Command(unittest.TestCase):
    """Every test has a folder of its own, which is the working directory of what it runs."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="kxcms-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.write("scan.icc", profiles.scanner())
        self.write("in.tif", tiff())

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

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

    def expect_untouched(self, *names):
        """The folder holds these files and nothing else."""
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(names))


class Usage(Command):
    ROWS = [
        ("no subcommand", [], "A subcommand is required"),
        ("unknown subcommand", ["frobnicate"],
         "A subcommand is required"),
        ("no files", ["convert"], "convert needs an input and an output file"),
        ("one file", ["convert", "in.tif"], "convert needs an input and an output file"),
        ("three files", ["convert", "in.tif", "out.tif", "x"],
         "The following argument was not expected: x"),
        ("unknown option", ["convert", "--frob", "in.tif", "out.tif"],
         "The following argument was not expected: --frob"),
        ("unknown intent", ["convert", "--intent", "vivid", "in.tif", "out.tif"],
         "unknown intent vivid; known: perceptual, relative, saturation, absolute"),
        ("unknown space", ["convert", "--to", "prophoto", "in.tif", "out.tif"],
         "unknown output space prophoto; convert --list shows them"),
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
         "Could not convert: --lightness = much"),
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
        self.assertEqual(names, [name for name, _ in SPACES])

    def test_full_standard_output(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([KXCMS, "convert", "--list"], stdout=full,
                                  stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((done.returncode, done.stderr),
                         (WRITE, b"kxcms: cannot write to standard output\n"))


SPACES = [
    ("srgb", 12), ("srgb-220", 8), ("srgb-linear", 10), ("srgb-kodak-photo", 34),
    ("srgb-kodak-mix", 36), ("srgb-kodak-text", 38), ("adobe-18", 22), ("adobe-rgb-linear", 20),
    ("apple", 26), ("apple-linear", 24), ("colormatch", 30), ("colormatch-linear", 28),
]


@needs_proc
class Conversion(Command):
    def test_every_space_gives_the_file_of_the_library(self):
        for space, code in SPACES:
            with self.subTest(space):
                self.convert("--to", space)
                self.assertEqual(self.read("out.tif"), self.library(8, code, "ref.tif"))

    def test_every_space_in_16_bits_gives_the_image_of_the_library(self):
        """Without the library's empty profile tag, which other programs take for an error."""
        self.write("in.tif", tiff(bits=16))
        for space, code in SPACES:
            with self.subTest(space):
                self.convert("--to", space)
                ours = tiffs.Tiff(self.read("out.tif"))
                library = tiffs.Tiff(self.library(16, code, "ref.tif"))
                self.assertEqual(ours.pixels, library.pixels)
                self.assertEqual(library.tags.pop(34675), b"")
                for tags in (ours.tags, library.tags):
                    del tags[273]  # the pixels stand 12 bytes further up
                self.assertEqual(ours.tags, library.tags)

    def test_intents(self):
        def shade(light):
            return lambda r, g, b: profiles.lab16(light * r, 20 * g, 20 * b)
        warm = b"XYZ " + bytes(4) + struct.pack(">3I", 0xE000, 0xF000, 0xA000)
        self.write("scan.icc", profiles.profile([
            (b"wtpt", warm), (b"A2B0", profiles.lut16(lab=shade(90))),
            (b"A2B1", profiles.lut16(lab=shade(60))), (b"A2B2", profiles.lut16(lab=shade(30)))]))
        results = set()
        for number, intent in enumerate(["perceptual", "relative", "saturation", "absolute"]):
            with self.subTest(intent):
                self.convert("--intent", intent)
                self.assertEqual(self.read("out.tif"),
                                 self.library(8, 12, "ref.tif", intent=number))
                results.add(self.read("out.tif"))
        self.assertEqual(len(results), 4)

    def test_offsets(self):
        plain = self.library(8, 12, "ref.tif")
        for what, arguments, offsets in [
            ("lightness", ["--lightness", "-10"], (-10, 0, 0)),
            ("chroma", ["--chroma", "12.5"], (0, 12.5, 0)),
            ("hue and chroma", ["--chroma=20", "--hue=-30"], (0, 20, -30)),
            ("less than one unit", ["--lightness", "0.75"], (0.75, 0, 0)),
        ]:
            with self.subTest(what):
                self.convert(*arguments)
                self.assertEqual(self.read("out.tif"),
                                 self.library(8, 12, "ref.tif", offsets=offsets))
                self.assertNotEqual(self.read("out.tif"), plain)

    def test_colours_that_are_known(self):
        """A device whose red channel is L*; the sRGB grey of L* 50 is 119."""
        grid = profiles.scanner(points=17, lab=lambda r, g, b: profiles.lab16(100 * r, 0, 0))
        self.write("scan.icc", grid)
        samples = [0, 9, 99, 128, 4, 1, 255, 7, 7]
        self.write("in.tif", tiff(width=3, length=1, samples=samples))
        self.convert()
        black, grey, white = struct.iter_unpack("3B", tiffs.Tiff(self.read("out.tif")).pixels)
        self.assertEqual(black, (0, 0, 0))
        self.assertEqual(white, (255, 255, 255))
        for value in grey:
            self.assertAlmostEqual(value, 119, delta=1)

    def test_embedded_profile(self):
        self.write("in.tif", tiff(profile=profiles.scanner()))
        self.expect(["convert", "in.tif", "out.tif"], DONE)
        out = tiffs.Tiff(self.read("out.tif"))
        self.assertNotIn(34675, out.tags, "the profile no longer describes the pixels")
        self.assertEqual(self.read("out.tif"), self.library(8, 12, "ref.tif"))

    def test_named_profile_goes_before_the_embedded_one(self):
        self.write("in.tif", tiff(profile=b"rubbish"))
        self.convert()

    def test_profile_from_a_pipe(self):
        reader, writer = os.pipe()
        with os.fdopen(writer, "wb") as pipe:
            pipe.write(profiles.scanner(points=2)[:65536])
        done = self.run_command("convert", "--profile", f"/dev/fd/{reader}", "in.tif", "out.tif",
                                pass_fds=[reader])
        os.close(reader)
        self.assertEqual((done.returncode, done.stderr), (DONE, b""))

    def test_other_lookup_tags(self):
        for what, tags in [
            ("mAB", [(b"A2B0", profiles.lut_a_to_b())]),
            ("mAB with empty curves",
             [(b"A2B0", profiles.lut_a_to_b(a_curve=[], b_curve=[]))]),
            ("mAB with the identity matrix",
             [(b"A2B0", profiles.lut_a_to_b(
                 matrix=[65536, 0, 0, 0, 65536, 0, 0, 0, 65536, 0, 0, 0]))]),
            ("33 grid points", [(b"A2B0", profiles.lut16(points=33))]),
            ("2 grid points", [(b"A2B0", profiles.lut16(points=2))]),
            ("two-entry curves", [(b"A2B0", profiles.lut16(input_curve=[0, 65535],
                                                           output_curve=[0, 65535]))]),
            ("4096-entry curves", [(b"A2B0", profiles.lut16(input_curve=profiles.ramp(4096),
                                                            output_curve=profiles.ramp(4096)))]),
        ]:
            with self.subTest(what):
                self.write("scan.icc", profiles.profile(tags))
                self.convert()
                self.assertEqual(self.read("out.tif"), self.library(8, 12, "ref.tif"))

    def test_threads_do_not_matter(self):
        self.write("in.tif", tiff(width=211, length=97))
        results = set()
        for threads in ("1", "2", "3", "8", "0"):
            self.convert("--threads", threads)
            results.add(self.read("out.tif"))
        self.assertEqual(len(results), 1)


@needs_proc
class Forms(Command):
    """The same pixels in every form that is accepted give the same converted pixels."""

    ROWS = [
        ("several strips", {"rows": 5}),
        ("strips of one row", {"rows": 1}),
        ("two strips in SHORT arrays, which fit into the entry",
         {"rows": 6, "strip_type": SHORT, "count_type": SHORT}),
        ("three strips in SHORT arrays",
         {"rows": 5, "strip_type": SHORT, "count_type": SHORT}),
        ("one strip in SHORT numbers", {"strip_type": SHORT, "count_type": SHORT}),
        ("separate planes", {"separate": True}),
        ("separate planes in several strips", {"separate": True, "rows": 5}),
        ("separate planes in strips of one row", {"separate": True, "rows": 1}),
        ("separate planes in SHORT arrays",
         {"separate": True, "rows": 5, "strip_type": SHORT, "count_type": SHORT}),
        ("separate planes without RowsPerStrip", {"separate": True, "without": [278]}),
        ("separate planes, RowsPerStrip without end",
         {"separate": True, "replace": {278: (LONG, [0xFFFFFFFF])}}),
        ("without RowsPerStrip", {"without": [278]}),
        ("RowsPerStrip without end", {"replace": {278: (LONG, [0xFFFFFFFF])}}),
        ("RowsPerStrip larger than the image", {"replace": {278: (SHORT, [4000])}}),
        ("without PlanarConfiguration", {"without": [284]}),
        ("dimensions in SHORT", {"replace": {256: (SHORT, [20]), 257: (SHORT, [12])}}),
        ("depth given once", {"replace": {258: (SHORT, None)}}),
        ("last strip padded", {"rows": 5, "padding": 40}),
        ("only strip padded", {"padding": 40}),
        ("no resolution", {"without": [282, 283, 296]}),
        ("a reduced copy behind it", {"pages": 2, "extra": [(254, LONG, [1])]}),
        ("39 tags", {"extra": [(60000 + i, SHORT, [i]) for i in range(26)]}),
    ]

    def test_accepted(self):
        for bits in (8, 16):
            self.write("in.tif", tiff(bits=bits))
            self.convert()
            expected = tiffs.Tiff(self.read("out.tif")).pixels
            for what, form in self.ROWS:
                with self.subTest(what, bits=bits):
                    form = dict(form)
                    if form.get("replace", {}).get(258):
                        form["replace"] = {258: (SHORT, [bits])}
                    self.write("form.tif", tiff(bits=bits, **form))
                    self.convert(source="form.tif")
                    out = tiffs.Tiff(self.read("out.tif"))
                    self.assertEqual(out.pixels, expected)
                    self.assertEqual(out.tags[284] if 284 in out.tags else (1,), (1,))

    def test_strip_byte_counts_are_exact(self):
        """Above 65535 bytes too, where gathering strips leaves a SHORT."""
        self.write("in.tif", tiff(width=200, length=150, rows=10))
        self.convert()
        self.assertEqual(tiffs.Tiff(self.read("out.tif")).tags[279], (90000,))

    def test_far_pixels_with_a_short_offset(self):
        note = (60000, BYTE, bytes(range(256)) * 300)
        self.write("in.tif", tiff(strip_type=SHORT, extra=[note]))
        self.convert()
        out = tiffs.Tiff(self.read("out.tif"))
        self.assertEqual(bytes(out.tags[60000]), note[2])
        self.convert(source="out.tif", target="again.tif")

    def test_what_becomes_of_tags(self):
        """A tag that cannot stay true is left out; the pixels stay where they belong."""
        self.write("in.tif", tiff())
        self.convert()
        expected = tiffs.Tiff(self.read("out.tif")).pixels
        for what, tag, kind, values, kept in [
            ("a description", 270, BYTE, b"a scan of a slide", True),
            ("unknown, undefined, long", 60000, UNDEFINED, bytes(range(9)), True),
            ("unknown, undefined, 4 bytes", 60000, UNDEFINED, b"0231", False),
            ("unknown, signed bytes", 60000, SBYTE, [-1, -2], False),
            ("unknown, float", 60000, FLOAT, [1.5], False),
            ("unknown, doubles", 60000, DOUBLE, [1.5, 2.5, 3.5], False),
            ("pointer to other directories", 330, LONG, [8], False),
            ("pointer to a GPS directory", 34853, LONG, [8], False),
            ("white point of the old colours", 318, tiffs.RATIONAL, [(1, 3), (1, 3)], False),
            ("orientation", 274, SHORT, [6], True),
        ]:
            with self.subTest(what):
                self.write("in.tif", tiff(extra=[(tag, kind, values)]))
                self.convert()
                out = tiffs.Tiff(self.read("out.tif"))
                self.assertEqual(out.pixels, expected)
                self.assertEqual(tag in out.tags, kept)

    def test_exif_block(self):
        pointer = (34665, LONG, [0])
        at = len(tiff(extra=[pointer]))
        own = tiffs.directory([(36864, UNDEFINED, b"0231"), (40961, SHORT, [1])], at)
        far = tiffs.directory([(33434, tiffs.RATIONAL, [(1, 60)])], at)
        for what, block, kept in [("all in the block", own, True),
                                  ("with data elsewhere", far, False)]:
            with self.subTest(what):
                self.write("in.tif", tiff(extra=[(34665, LONG, [at])]) + block)
                self.convert()
                data = self.read("out.tif")
                out = tiffs.Tiff(data)
                self.assertEqual(34665 in out.tags, kept)
                if kept:
                    moved, = out.tags[34665]
                    self.assertEqual(data[moved:moved + len(block)], block)

    def test_orientation_of_a_16_bit_result(self):
        self.write("in.tif", tiff(bits=16, extra=[(274, SHORT, [6])]))
        self.convert()
        self.assertEqual(tiffs.Tiff(self.read("out.tif")).tags[274], (6,))


class RefusedImages(Command):
    LZW = {259: (SHORT, [5])}

    ROWS = [
        ("big-endian", tiff(order=">"), WRONG,
         "big-endian TIFF (MM); only little-endian files (II) work"),
        ("BigTIFF", tiff(magic=b"II+\0"), WRONG, "BigTIFF; only classic TIFF files work"),
        ("big-endian BigTIFF", tiff(magic=b"MM\0+"), WRONG,
         "BigTIFF; only classic TIFF files work"),
        ("LZW", tiff(replace=LZW), WRONG,
         "compressed (LZW); only uncompressed images work"),
        ("unknown compression", tiff(replace={259: (SHORT, [50000])}), WRONG,
         "compressed (method 50000); only uncompressed images work"),
        ("tiles", tiff(extra=[(322, SHORT, [16]), (323, SHORT, [16]), (324, LONG, [8])]), WRONG,
         "tiled; only images in strips work"),
        ("reversed bits", tiff(extra=[(266, SHORT, [2])]), WRONG,
         "reversed bit order (FillOrder 2)"),
        ("grey", tiff(replace={262: (SHORT, [1])}), WRONG, "holds grey, not RGB"),
        ("palette", tiff(replace={262: (SHORT, [3])}), WRONG, "holds palette colours, not RGB"),
        ("inks", tiff(replace={262: (SHORT, [5])}), WRONG, "holds CMYK or other inks, not RGB"),
        ("YCbCr", tiff(replace={262: (SHORT, [6])}), WRONG, "holds YCbCr, not RGB"),
        ("Lab", tiff(replace={262: (SHORT, [8])}), WRONG, "holds Lab, not RGB"),
        ("one sample", tiff(replace={277: (SHORT, [1])}), WRONG,
         "1 samples per pixel; only 3 work"),
        ("four samples", tiff(replace={277: (SHORT, [4])}), WRONG,
         "4 samples per pixel; only 3 work"),
        ("no SamplesPerPixel", tiff(without=[277]), WRONG, "1 samples per pixel; only 3 work"),
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
        ("two pages", tiff(pages=2), WRONG,
         "more than one image; only single images can be converted"),
        ("40 tags", tiff(extra=[(60000 + i, SHORT, [i]) for i in range(27)]), WRONG,
         "40 tags; up to 39 can be read"),
        ("more pixels than 2 GiB",
         tiff(replace={256: (LONG, [50000]), 257: (LONG, [50000])}), WRONG,
         "more than 2 GiB of pixels"),
        ("a strip longer than its rows",
         tiff(rows=6, replace={279: (LONG, [361, 360])}), WRONG,
         "strip 1 holds more than its rows"),
        ("empty file", b"", UNREADABLE, "empty file"),
        ("seven bytes", b"II*\0\x08\0\0", UNREADABLE, "not a TIFF file"),
        ("text", b"This is not a TIFF file.", UNREADABLE, "not a TIFF file"),
        ("JPEG", b"\xff\xd8\xff\xe0" + bytes(60), UNREADABLE, "not a TIFF file"),
        ("header alone", b"II*\0\x08\0\0\0", UNREADABLE, "damaged: cut off"),
        ("directory outside", b"II*\0\xff\xff\xff\xff", UNREADABLE, "damaged: cut off"),
        ("no tags", b"II*\0\x08\0\0\0\0\0\0\0\0\0", UNREADABLE,
         "damaged: an image without tags"),
        ("cut in the directory", tiff()[:-60], UNREADABLE, "damaged: cut off"),
        ("cut in the data of a tag", tiff()[:-1], UNREADABLE,
         "damaged: the data of tag 283 lie outside the file"),
        ("no Compression", tiff(without=[259]), UNREADABLE, "damaged: no Compression"),
        ("no width", tiff(without=[256]), UNREADABLE, "damaged: no ImageWidth"),
        ("width 0", tiff(replace={256: (LONG, [0])}), UNREADABLE, "damaged: no pixels"),
        ("width a text", tiff(replace={256: (tiffs.ASCII, b"20\0")}), UNREADABLE,
         "damaged: tag 256 is not a number"),
        ("two widths", tiff(replace={256: (SHORT, [20, 20])}), UNREADABLE,
         "damaged: tag 256 is not a single number"),
        ("planar configuration 3", tiff(replace={284: (SHORT, [3])}), UNREADABLE,
         "damaged: planar configuration 3"),
        ("no strips", tiff(without=[273]), UNREADABLE, "damaged: no strips"),
        ("no StripByteCounts", tiff(without=[279]), UNREADABLE, "damaged: no strips"),
        ("a strip missing", tiff(rows=5, replace={273: (LONG, [8, 308]), 279: (LONG, [300, 300])}),
         UNREADABLE, "damaged: 2 strips where 3 make the image"),
        ("a strip outside", tiff(replace={273: (LONG, [0xFFFFFF00])}), UNREADABLE,
         "damaged: strip 1 of 1 is cut off"),
        ("a strip too short", tiff(rows=6, replace={279: (LONG, [360, 359])}), UNREADABLE,
         "damaged: strip 2 of 2 is cut off"),
        ("zero rows per strip", tiff(replace={278: (LONG, [0])}), UNREADABLE,
         "damaged: no rows per strip"),
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
        os.mkfifo(self.path("pipe"))
        for what, name, reason in [
            ("missing", "nowhere.tif", "No such file or directory"),
            ("directory", "folder", "is a directory"),
            ("pipe", "pipe", "not a regular file"),
            ("device", "/dev/zero", "not a regular file"),
            ("line break in the name", "a\nb.tif", None),
        ]:
            with self.subTest(what):
                line = f"{name}: {reason}" if reason else "a?b.tif: No such file or directory"
                self.convert(source=name, status=UNREADABLE, line=line)


class RefusedProfiles(Command):
    SOUND = profiles.scanner(points=3)
    MATRIX = [(b"wtpt", profiles.WHITE_POINT), (b"rXYZ", profiles.WHITE_POINT),
              (b"rTRC", profiles.curve([]))]

    @staticmethod
    def lut(**changes):
        return profiles.profile([(b"A2B0", profiles.lut16(**changes))])

    @staticmethod
    def mab(**changes):
        return profiles.profile([(b"A2B0", profiles.lut_a_to_b(**changes))])

    def rows(self):
        where = "lookup tag 'A2B0'"
        return [
            ("empty", b"", "not an ICC profile: it has 0 bytes, fewer than a header"),
            ("text", b"not a profile" * 20, "not an ICC profile: no 'acsp' in its header"),
            ("header alone", self.SOUND[:128],
             "not an ICC profile: it has 128 bytes, fewer than a header"),
            ("no acsp", self.SOUND[:36] + b"xxxx" + self.SOUND[40:],
             "not an ICC profile: no 'acsp' in its header"),
            ("cut in half", self.SOUND[:1000],
             f"damaged: it should have {len(self.SOUND)} bytes and has 1000"),
            ("size 0", bytes(4) + self.SOUND[4:], "damaged: its size field is 0"),
            ("a million tags", self.SOUND[:128] + b"\0\x0f\0\0" + self.SOUND[132:],
             "damaged: tag table cut off"),
            ("tag outside", self.SOUND[:136] + b"\xff\xff\xff\xff" + self.SOUND[140:],
             "damaged: tag 'wtpt' lies outside the file"),
            ("CMYK", profiles.profile([(b"A2B0", profiles.lut16())], space=b"CMYK"),
             "describes a device of colour space 'CMYK', not RGB"),
            ("grey", profiles.profile([], space=b"GRAY"),
             "describes a device of colour space 'GRAY', not RGB"),
            ("connection space XYZ",
             profiles.profile([(b"A2B0", profiles.lut16())], pcs=b"XYZ "),
             "connection space XYZ; only profiles with connection space Lab can be used"),
            ("device link to RGB",
             profiles.profile([(b"A2B0", profiles.lut16())], device_class=b"link", pcs=b"RGB "),
             "connection space 'RGB ' is not Lab"),
            ("named colours", profiles.profile([], device_class=b"nmcl"),
             "class 'nmcl' describes no device"),
            ("manufacturer none",
             profiles.profile([(b"A2B0", profiles.lut16())], manufacturer=b"none"),
             "its manufacturer 'none' marks a test profile that converts nothing"),
            ("matrix and curves", profiles.profile(self.MATRIX, device_class=b"mntr"),
             "no lookup tag for its class 'mntr'; profiles of matrix and curves cannot be used"),
            ("only A2B1",
             profiles.profile([(b"A2B1", profiles.lut16())]),
             "no lookup tag for its class 'scnr'; profiles of matrix and curves cannot be used"),
            ("8-bit table", profiles.profile([(b"A2B0", b"mft1" + profiles.lut16()[4:])]),
             f"{where} has 8-bit entries (lut8Type); only 16-bit tables can be used"),
            ("unknown type", profiles.profile([(b"A2B0", b"mpet" + bytes(100))]),
             f"{where} has the unknown type 'mpet'"),
            ("four inputs", self.lut(inputs=4), f"{where} has 4 inputs and 3 outputs, not 3 and 3"),
            ("four outputs", self.lut(outputs=4),
             f"{where} has 3 inputs and 4 outputs, not 3 and 3"),
            ("one grid point", profiles.profile([(b"A2B0", b"mft2" + bytes(4) + b"\3\3\1\0"
                                                  + bytes(60))]),
             f"{where} has 1 grid points; 2 to 33 can be used"),
            ("34 grid points", self.lut(points=34),
             f"{where} has 34 grid points; 2 to 33 can be used"),
            ("table cut off", profiles.profile([(b"A2B0", profiles.lut16()[:-2])]),
             f"{where} is cut off"),
            ("4097 entries", self.lut(input_curve=profiles.ramp(4097)),
             f"{where} input curves have 4097 entries; up to 4096 can be used"),
            ("two entries that bend", self.lut(input_curve=[0, 60000]),
             f"{where} has a curve of 2 entries that is not the identity"),
            ("three output entries", self.lut(output_curve=profiles.ramp(3)),
             f"{where} has output curves of 3 entries, too few to be used exactly"),
            ("mAB without grid",
             profiles.profile([(b"A2B0", b"mAB " + bytes(4) + b"\3\3\0\0" + b"\0\0\0\x20"
                                + bytes(60))]),
             f"{where} has no colour grid between two sets of curves"),
            ("mAB with 8-bit grid", self.mab(precision=1),
             f"{where} has a grid of 8-bit values; only 16-bit ones work"),
            ("mAB with unequal sides", self.mab(sides=[9, 9, 8]),
             f"{where} has a grid of unequal sides"),
            ("mAB with a matrix", self.mab(matrix=[65536, 0, 0, 0, 65536, 0, 0, 0, 65536, 9, 0, 0]),
             f"{where} has a matrix, which cannot be used"),
            ("mAB with parametric curves", self.mab(a_kind=b"para"),
             f"{where} has curves of type 'para'; only sampled ones work"),
            ("mAB with curves that are misread", self.mab(a_curve=profiles.ramp(256)),
             f"{where} has curves of an even number of entries, which would be misread"),
            ("mAB with a gamma", self.mab(a_curve=[0x0233]),
             f"{where} has a curve of 1 entries that is not the identity"),
        ]

    def test_refused(self):
        for what, data, reason in self.rows():
            with self.subTest(what):
                self.write("scan.icc", data)
                self.convert(status=PROFILE, line=f"profile scan.icc: {reason}")
                self.expect_untouched("in.tif", "scan.icc")

    @needs_proc
    def test_absolute_needs_the_white_point(self):
        line = "profile scan.icc: no media white point, which the absolute intent needs"
        for what, tags in [
            ("none", []),
            ("cut off", [(b"wtpt", profiles.WHITE_POINT[:16])]),
            ("zero", [(b"wtpt", b"XYZ " + bytes(16))]),
            ("negative", [(b"wtpt", b"XYZ " + bytes(4) + b"\xff" * 12)]),
        ]:
            with self.subTest(what):
                self.write("scan.icc", profiles.profile([*tags, (b"A2B0", profiles.lut16())]))
                self.convert("--intent", "absolute", status=PROFILE, line=line)
                self.convert("--intent", "relative")

    @needs_proc
    def test_the_tag_of_the_intent_counts(self):
        self.write("scan.icc", profiles.profile(
            [(b"A2B0", profiles.lut16()), (b"A2B1", b"mft1" + bytes(80))]))
        self.convert("--intent", "perceptual")
        self.convert("--intent", "relative", status=PROFILE,
                     line="profile scan.icc: lookup tag 'A2B1' has 8-bit entries (lut8Type); "
                          "only 16-bit tables can be used")

    def test_no_profile(self):
        for what, arguments, line in [
            ("none named, none embedded", [],
             "in.tif: no profile is embedded; name one with --profile"),
            ("missing", ["--profile", "no.icc"], "profile no.icc: No such file or directory"),
            ("directory", ["--profile", "."], "profile .: Is a directory"),
            ("endless", ["--profile", "/dev/zero"], "profile /dev/zero: too large for a profile"),
        ]:
            with self.subTest(what):
                self.expect(["convert", *arguments, "in.tif", "out.tif"], PROFILE, line)

    def test_damaged_embedded_profile(self):
        self.write("in.tif", tiff(profile=self.SOUND[:500]))
        self.expect(["convert", "in.tif", "out.tif"], PROFILE,
                    f"profile embedded in in.tif: damaged: it should have {len(self.SOUND)} bytes "
                    "and has 500")

    def test_every_cut(self):
        for size in range(0, len(self.SOUND), 97):
            with self.subTest(size=size):
                self.write("scan.icc", self.SOUND[:size])
                done = self.run_command("convert", "--profile", "scan.icc", "in.tif", "out.tif")
                self.assertEqual((done.returncode, done.stdout), (PROFILE, b""))
                self.expect_untouched("in.tif", "scan.icc")


class WithoutProc(Command):
    """The library opens a profile by its path, and the command's copy has one in /proc alone."""

    def test_the_reason_is_told(self):
        hidden = []
        if surroundings.HAS_PROC:
            hidden = [*surroundings.mount_namespace(), "sh", "-c",
                      'mount -t tmpfs none /proc && exec "$@"', "-"]
        for what, arguments in [
            ("convert", ["convert", "--profile", "scan.icc", "in.tif", "out.tif"]),
            ("selftest", ["selftest"]),
        ]:
            with self.subTest(what):
                done = subprocess.run([*hidden, KXCMS, *arguments], cwd=self.folder,
                                      stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
                self.assertEqual(done.returncode, WRITE)
                self.assertRegex(done.stderr.decode(),
                                 r"\Akxcms: no private copy of the profile can be made: "
                                 r"/proc/self/fd/\d+: No such file or directory\n\Z")
                self.expect_untouched("in.tif", "scan.icc")


class Writing(Command):
    @needs_proc
    def test_refused_targets(self):
        os.mkdir(self.path("folder"))
        os.mkfifo(self.path("pipe"))
        for what, target, reason in [
            ("a directory", "folder", "is a directory"),
            ("in no folder", "nowhere/out.tif", "No such file or directory"),
            ("in a file", "in.tif/out.tif", "Not a directory"),
            ("a pipe", "pipe", "is not a regular file"),
            ("a device", "/dev/null", "is not a regular file"),
            ("where nobody can write", "/proc/out.tif", "No such file or directory"),
        ]:
            with self.subTest(what):
                self.convert(target=target, status=WRITE, line=f"cannot write {target}: {reason}")
                self.expect_untouched("folder", "in.tif", "pipe", "scan.icc")
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))

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
        for limit in (60_000, 200_000, 359_999, 360_203):
            for before in (None, OLD):
                with self.subTest(limit=limit, before=before):
                    names = ["in.tif", "scan.icc"]
                    if before:
                        self.write("out.tif", before)
                        names.append("out.tif")
                    self.expect(["convert", "--profile", "scan.icc", "in.tif", "out.tif"], WRITE,
                                "cannot write out.tif: File too large",
                                preexec_fn=lambda size=limit: surroundings.limit_file_size(size))
                    if before:
                        self.assertEqual(self.read("out.tif"), before)
                        os.remove(self.path("out.tif"))
                        names.remove("out.tif")
                    self.expect_untouched("in.tif", "scan.icc")
        self.expect(["convert", "--profile", "scan.icc", "in.tif", "out.tif"], DONE,
                    preexec_fn=lambda: surroundings.limit_file_size(360_204))

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

    @needs_proc
    def test_a_kill_leaves_the_old_file_or_the_new_one(self):
        self.write("in.tif", tiff(width=3000, length=1000, samples=[7, 100, 200] * 3_000_000))
        self.convert(target="new.tif")
        new = self.read("new.tif")
        start = time.monotonic()
        self.convert(target="new.tif")
        whole = time.monotonic() - start
        kills = 0
        for number in (signal.SIGKILL, signal.SIGTERM, signal.SIGINT):
            for part in range(1, 13):
                self.write("out.tif", OLD)
                running = subprocess.Popen(
                    [KXCMS, "convert", "--profile", "scan.icc", "in.tif", "out.tif"],
                    cwd=self.folder, stderr=subprocess.PIPE)
                time.sleep(whole * part / 12)
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
        self.write("in.tif", tiff(width=5000, length=3000, samples=[7, 100, 200] * 15_000_000))
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
