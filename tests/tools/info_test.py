#!/usr/bin/env python3
"""kxcms info: what it tells of images and profiles, in lines and as JSON.

Expectations come from tifffile and Pillow, from the bytes that the tests make, and from the formulas
of the profiles. Environment: KXCMS (the command), KXPIPELINE (for the profiles of built-in spaces).
"""

import json
import os
import struct
import subprocess
import sys
import unittest

import numpy
import PIL.Image
import tifffile

import command_test
import kxp
import profiles
import surroundings
from command_test import DONE, KXCMS, SANITIZED, UNREADABLE, USAGE, WRITE
from image_forms import FORMS, PROFILE, copied, planes, png16, samples, saved, several, written
from tiffs import SHORT, tiff

INTENTS = ["perceptual", "relative", "saturation", "absolute"]


def text_tag(text):
    """textDescriptionType (ICC.1:2001-04 6.5.17)."""
    data = text.encode("latin-1") + b"\0"
    return b"desc" + bytes(4) + struct.pack(">I", len(data)) + data + bytes(12 + 67)


def xyz_tag(*values):
    return b"XYZ " + bytes(4) + struct.pack(">3i", *(round(65536 * v) for v in values))


class Info(command_test.Command):
    def info(self, *names, status=DONE, errors=""):
        """@return the lines on standard output"""
        done = self.run_command("info", *names)
        self.assertEqual((done.returncode, done.stderr.decode()), (status, errors))
        return done.stdout.decode().splitlines()

    def told(self, *names, status=DONE, errors=""):
        done = self.run_command("info", "--json", *names)
        self.assertEqual((done.returncode, done.stderr.decode()), (status, errors))
        document = json.loads(done.stdout)
        self.assertEqual(list(document), ["files"])
        return document["files"]

    def image(self, name):
        file, = self.told(name)
        self.assertEqual((file["file"], file["status"], file["sizeBytes"]),
                         (name, "ok", os.path.getsize(self.path(name))))
        return file["image"]

    def profile(self, data):
        self.write("a.icc", data)
        file, = self.told("a.icc")
        self.assertEqual((file["kind"], file["status"]), ("profile", "ok"))
        return file["profile"]


class Usage(Info):
    def test_refused(self):
        for what, arguments, line in (
            ("no file", [], "info needs at least one file"),
            ("unknown option", ["--frob", "in.tif"],
             "The following argument was not expected: --frob; --help tells what is"),
        ):
            with self.subTest(what):
                self.expect(["info", *arguments], USAGE, line)

    def test_unreadable_files_do_not_stop_the_others(self):
        os.mkfifo(self.path("pipe"))
        self.write("empty", b"")
        self.write("text", b"These bytes begin like no kind of file that is known here. " * 4)
        self.write("cut.tif", tiff()[:-1])
        self.write("cut.icc", PROFILE[:1000])
        rows = [("nowhere", "unknown", "No such file or directory"),
                (".", "unknown", "is a directory"), ("pipe", "unknown", "not a regular file"),
                ("empty", "unknown", "empty file"),
                ("text", "unknown", "neither an ICC profile nor a TIFF, JPEG or PNG file"),
                ("cut.tif", "tiff", "damaged: the data of tag 283 lie outside the file"),
                ("cut.icc", "profile",
                 f"damaged: it should have {len(PROFILE)} bytes and has 1000")]
        names = [name for name, *_ in rows]
        errors = "".join(f"kxcms: {name}: {reason}\n" for name, _, reason in rows)
        lines = self.info(*names, "in.tif", "scan.icc", status=UNREADABLE, errors=errors)
        self.assertEqual([line for line in lines if not line.startswith(" ")],
                         [f"in.tif: {os.path.getsize(self.path('in.tif'))} bytes",
                          "scan.icc: 7.5 KiB"])
        files = self.told(*names, "in.tif", status=UNREADABLE, errors=errors)
        self.assertEqual([(f["file"], f["kind"], f["status"], f["reason"]) for f in files[:-1]],
                         [(n, kind, "unreadable", f"{n}: {r}") for n, kind, r in rows])
        self.assertEqual((files[-1]["status"], "reason" in files[-1]), ("ok", False))

    def test_names_give_a_terminal_no_orders(self):
        name = b"a\n\x1b[31m\xc2\x9b\xff.icc"
        self.write(os.fsdecode(name), profiles.profile(
            [(b"desc", text_tag("red\x1b[31m\n")), (b"\x1b[3m", b""),
             (b"A2B0", profiles.lut16(points=2))]))
        done = self.run_command("info", name)
        self.assertEqual(done.returncode, DONE)
        self.assertTrue(done.stdout.startswith(b"a??[31m??\xff.icc: "), done.stdout)
        self.assertIn(b"  description: red?[31m?\n", done.stdout)
        self.assertIn(b"    ?[3m ", done.stdout)
        for line in done.stdout.splitlines():
            self.assertNotRegex(line, rb"[\x00-\x1f\x7f]")
        self.assertEqual(json.loads(self.run_command("info", "--json", name).stdout)
                         ["files"][0]["file"], "a\n\x1b[31m\x9b\ufffd.icc")

    def test_full_standard_output(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([KXCMS, "info", self.path("in.tif")], stdout=full,
                                  stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((done.returncode, done.stderr),
                         (WRITE, b"kxcms: cannot write to standard output\n"))


class Images(Info):
    COMPRESSIONS = {1: "none", 5: "LZW", 7: "JPEG", 8: "Deflate", 32773: "PackBits",
                    32946: "Deflate", 34887: "LERC", 34925: "LZMA", 50000: "Zstandard",
                    50001: "WebP"}
    EXTRAS = {0: "unspecified", 1: "associated alpha", 2: "alpha"}

    def test_every_form_as_others_read_it(self):
        for form in FORMS:
            with self.subTest(form.name):
                path, pages = form.write(self.folder)
                image = self.image(os.path.basename(path))
                self.assertEqual([(page["height"], page["width"], page["samples"], page["bits"])
                                  for page in image["pages"]],
                                 [(*data.shape, 8 * data.itemsize) for data in pages])
                self.assertTrue(image["convert"]["isPossible"])
                for page in image["pages"]:
                    self.assertEqual((page["colors"], page["isConverted"], page["reason"]),
                                     ("YCbCr" if "as YCbCr" in form.name or "JPEG in tiles"
                                      == form.name else "RGB", True, None))
                if form.suffix == ".tif":
                    self.expect_as_tifffile(path, image)
                else:
                    self.assertEqual(image["format"], {".jpg": "JPEG", ".png": "PNG"}[form.suffix])
                embedded = "profile" in form.name
                self.assertEqual([page["profile"] for page in image["pages"]],
                                 [1 if embedded else None] * len(pages))
                self.assertEqual(len(image["profiles"]), int(embedded))

    def expect_as_tifffile(self, path, image):
        with tifffile.TiffFile(path) as file:
            self.assertEqual((image["format"], image["byteOrder"], image["isBigTiff"]),
                             ("TIFF", {"<": "little-endian", ">": "big-endian"}[file.byteorder],
                              file.is_bigtiff))
            expected = []
            for page in file.pages:
                page = page.aspage()
                expected.append((None, page))
                parent = len(expected)
                expected += [(parent, sub.aspage()) for sub in page.pages or []]
            self.assertEqual([page["parent"] for page in image["pages"]],
                             [parent for parent, _ in expected])
            for told, (_, page) in zip(image["pages"], expected):
                layout = told["layout"]
                self.assertEqual(
                    (told["subfileType"], told["compression"], told["predictor"],
                     told["extraSamples"], told["orientation"], layout["count"],
                     layout["hasSeparatePlanes"], told["areBitsReversed"]),
                    (page.subfiletype, self.COMPRESSIONS[page.compression], page.predictor,
                     [self.EXTRAS[extra] for extra in page.extrasamples],
                     page.tags.valueof(274, 1), len(page.dataoffsets),
                     page.planarconfig == 2, page.fillorder == 2))
                if page.is_tiled:
                    self.assertEqual((layout["kind"], layout["width"], layout["length"]),
                                     ("tiles", page.tilewidth, page.tilelength))
                else:
                    self.assertEqual((layout["kind"], layout["rows"]),
                                     ("strips", min(page.rowsperstrip, page.imagelength)))
                unit = {1: "none", 2: "inch", 3: "centimetre"}[page.tags.valueof(296, 2)]
                x, y = (page.tags.valueof(tag) for tag in (282, 283))
                self.assertEqual(told["resolution"], x and y and {
                    "x": x[0] / x[1], "y": y[0] / y[1], "unit": unit})

    def test_profiles_of_forms_that_are_refused(self):
        cmyk = profiles.profile([(b"A2B0", profiles.lut16(points=25))], space=b"CMYK")
        image = PIL.Image.fromarray(samples(8)).convert("CMYK")
        for suffix in (".jpg", ".tif"):
            image.save(self.path("in" + suffix), icc_profile=cmyk)
            told = self.image("in" + suffix)
            self.assertEqual((told["pages"][0]["profile"], told["profiles"][0]["sizeBytes"],
                              told["profiles"][0]["colorSpace"]), (1, len(cmyk), "CMYK"))
        grey = profiles.profile([(b"kTRC", profiles.curve(profiles.ramp(256)))],
                                space=b"GRAY")
        for profile, words in ((grey, "a profile"), (None, "no profile")):
            PIL.Image.fromarray(samples(8)[:, :, 0]).save(self.path("in.png"), icc_profile=profile)
            page, = self.image("in.png")["pages"]
            self.assertEqual((page["hasProfile"], page["profile"]), (profile is not None, None))
            self.assertTrue(self.info("in.png")[3].endswith(f", {words}"))

    def test_very_many_pages_and_tags(self):
        """Ten thousand are told, the others counted."""
        count, data = 10003, b"II*\0" + struct.pack("<I", 8)
        for page in range(count):
            following = 0 if page + 1 == count else len(data) + 30
            data += struct.pack("<H2HI2H2HI2HI", 2, 259, SHORT, 1, 1, 0, 262, SHORT, 1, 1, 0,
                                following)
        self.write("in.tif", data)
        image = self.image("in.tif")
        self.assertEqual((image["pageCount"], len(image["pages"])), (count, 10000))
        self.assertIn("  and 3 further pages", self.info("in.tif"))
        self.write("in.icc", profiles.profile(
            [(b"A2B0", profiles.lut16(points=2))]
            + [(struct.pack(">I", 0x61000000 + i), b"") for i in range(count - 1)]))
        profile = self.told("in.icc")[0]["profile"]
        self.assertEqual((profile["tagCount"], len(profile["tags"])), (count, 10000))
        self.assertEqual(self.info("in.icc")[-1], "    and 3 further tags")

    def test_very_many_profiles(self):
        """The tags of sixteen are told, those of the others counted."""
        several(*((samples(8), {"extratags": [(34675, 7, len(data), data, True)]})
                  for data in (profiles.profile([(b"desc", text_tag(f"Number {i}")),
                                                 (b"A2B0", profiles.lut16(points=2))])
                               for i in range(18))))(self.path("in.tif"))
        told = self.image("in.tif")["profiles"]
        self.assertEqual([profile["description"] for profile in told],
                         [f"Number {i}" for i in range(18)])
        self.assertEqual([(profile["tagCount"], len(profile["tags"])) for profile in told],
                         [(2, 2)] * 16 + [(2, 0)] * 2)
        self.assertEqual(self.info("in.tif")[-1], "      and 2 further tags")

    def test_resolution_and_orientation_of_other_formats(self):
        exif = PIL.Image.Exif()
        exif[274] = 6
        for suffix in (".jpg", ".png"):
            saved(samples(8), dpi=(254, 254), exif=exif.tobytes())(self.path("in" + suffix))
            page, = self.image("in" + suffix)["pages"]
            self.assertEqual(page["orientation"], 6)
            resolution = page["resolution"]
            per_inch = resolution["x"] * {"inch": 1, "centimetre": 2.54}[resolution["unit"]]
            self.assertAlmostEqual(per_inch, 254)

    def test_forms_that_are_refused(self):
        """They are described all the same."""
        grey = samples(8)[:, :, 0]
        for what, suffix, make, expected in (
            ("grey", ".tif", written(grey, photometric="minisblack"),
             (8, "unsigned", 1, "grey", [], "holds grey, not RGB")),
            ("inks", ".tif", written(samples(8, 4), photometric="separated"),
             (8, "unsigned", 4, "CMYK or other inks", [], "holds CMYK or other inks, not RGB")),
            ("inks and more", ".tif", written(samples(8, 5), photometric="separated"),
             (8, "unsigned", 5, "CMYK or other inks", ["unspecified"],
              "holds CMYK or other inks, not RGB")),
            ("float", ".tif", written(samples(8).astype("f4")),
             (32, "float", 3, "RGB", [], "32 bits per sample; only 8 and 16 work")),
            ("unequal depths", ".tif", lambda path: self.write(
                "in.tif", tiff(replace={258: (SHORT, [5, 6, 5])})),
             ([5, 6, 5], "unsigned", 3, "RGB", [], "samples of different depths")),
            ("palette", ".png", PIL.Image.fromarray(samples(8)).convert("P").save,
             (8, "unsigned", 1, "palette", [], "holds palette colours, not RGB")),
            ("bilevel", ".png", PIL.Image.fromarray(grey).convert("1").save,
             (1, "unsigned", 1, "grey", [], "holds grey, not RGB")),
            ("grey and alpha", ".png", PIL.Image.fromarray(samples(8)).convert("LA").save,
             (8, "unsigned", 2, "grey", ["alpha"], "holds grey, not RGB")),
            ("CMYK", ".jpg", PIL.Image.fromarray(samples(8)).convert("CMYK").save,
             (8, "unsigned", 4, "CMYK", [], "holds CMYK, not RGB")),
        ):
            with self.subTest(what):
                make(self.path("in" + suffix))
                image = self.image("in" + suffix)
                page, = image["pages"]
                self.assertEqual((page["bits"], page["sampleFormat"], page["samples"],
                                  page["colors"], page["extraSamples"], page["reason"]), expected)
                self.assertFalse(page["isConverted"])
                self.assertEqual(image["convert"], {"isPossible": False, "reason": expected[-1]})
                done = self.run_command("convert", "--profile", "scan.icc", "in" + suffix,
                                        "out.tif")
                self.assertEqual(done.stderr.decode(), f"kxcms: in{suffix}: {expected[-1]}\n")

    def test_whether_convert_takes_it(self):
        """As `convert` itself says, which names no profile."""
        rgb, grey = samples(8), samples(8)[:, :, 0]
        cmyk = profiles.profile([(b"A2B0", profiles.lut16(points=2))], space=b"CMYK")
        for what, make, reason, need in (
            ("a profile", written(rgb, iccprofile=PROFILE), None, None),
            ("no profile", written(rgb), None,
             "no profile is embedded; --profile or --assume names one"),
            ("a profile of inks", written(rgb, iccprofile=cmyk), None,
             "the embedded profile cannot be used (the colour space of the profile is 'CMYK'; "
             "'RGB ' is supported); --profile names another"),
            ("half a profile", written(rgb, iccprofile=PROFILE[:1000]), None,
             f"the embedded profile cannot be used (damaged: it should have {len(PROFILE)} bytes "
             "and has 1000); --profile names another"),
            ("a second page without", several((rgb, {"extratags": [
                (34675, 7, len(PROFILE), PROFILE, True)]}), (rgb, {})), None,
             "page 2: no profile is embedded; --profile or --assume names one"),
            ("a reduced copy without", several((rgb, {"extratags": [
                (34675, 7, len(PROFILE), PROFILE, True)]}), (rgb[::4, ::4], {"subfiletype": 1})),
             None, None),
            ("a second page that is grey", several((rgb, {}), (grey, {"photometric": "minisblack"})),
             "page 2: holds grey, not RGB", None),
            ("a reduced copy that is grey", several((rgb, {"extratags": [
                (34675, 7, len(PROFILE), PROFILE, True)]}),
                (grey, {"photometric": "minisblack", "subfiletype": 1})), None, None),
        ):
            with self.subTest(what):
                make(self.path("in.tif"))
                convert = self.image("in.tif")["convert"]
                done = self.run_command("convert", "in.tif", "out.tif")
                self.assertEqual(convert["isPossible"], reason is None)
                self.assertEqual(convert["reason"] if reason else convert["needsProfile"],
                                 reason or need)
                self.assertEqual(done.returncode == DONE, reason is None and need is None,
                                 done.stderr)

    def test_lines(self):
        several((samples(16, 4), {"extrasamples": ["unspecified"], "rowsperstrip": 10,
                                  "resolution": (600, 600), "resolutionunit": 2,
                                  "extratags": [(34675, 7, len(PROFILE), PROFILE, True)]}),
                (samples(8)[::4, ::4], {"subfiletype": 1, "tile": (16, 16)}),
                bigtiff=True, byteorder=">")(self.path("a.tif"))
        lines = self.info("a.tif")
        self.assertEqual(lines[1:6], [
            "  BigTIFF, big-endian",
            "  page 1: 61 x 47, 16 bits, 4 samples: RGB, unspecified; compression none, 5 strips "
            "of 10 rows",
            "    orientation 1, resolution 600.00 x 600.00 per inch, profile 1",
            "  page 2, reduced copy: 16 x 12, 8 bits, 3 samples: RGB; compression none, 1 tile of "
            "16 x 16",
            "    orientation 1, resolution 1.00 x 1.00, no profile"])
        memory = self.image("a.tif")["convert"]["memoryBytes"]
        self.assertEqual(lines[6:8], [
            f"  convert: takes it, in {memory / 2**20:.1f} MiB of memory at most", "  profile 1:"])

    def test_what_needs_the_whole_image(self):
        rgb = samples(8)
        for what, suffix, make, reason in (
            ("progressive", ".jpg", saved(rgb, progressive=True), "progressive JPEG"),
            ("baseline", ".jpg", saved(rgb), None),
            ("interlaced", ".png", png16(samples(16), "[interlace]"), "interlaced PNG"),
            ("not interlaced", ".png", saved(rgb), None),
            ("WebP", ".tif", copied(written(rgb), "-c", "webp", "-r", "100"), "one strip of WebP"),
            ("LERC", ".tif", copied(written(rgb), "-c", "lerc:0", "-r", "100"), "one strip of LERC"),
            ("LERC in strips", ".tif", copied(written(rgb), "-c", "lerc:0", "-r", "16"), None),
            ("LZW", ".tif", copied(written(rgb), "-c", "lzw", "-r", "100"), None),
        ):
            with self.subTest(what):
                make(self.path("in" + suffix))
                convert = self.image("in" + suffix)["convert"]
                self.assertEqual(convert["wholeImageBecause"], reason)
                line, = [line for line in self.info("in" + suffix) if "takes it" in line]
                self.assertEqual(f"; the whole image at once ({reason})" in line,
                                 reason is not None)


@unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
class Memory(Info):
    """What it says of memory is what `convert` then takes at most, and no multiple of it."""

    HEIGHT, WIDTH = 2400, 3200  # 23 MB at 8 bits: much beside the program itself

    # A process of its own: what is measured of a child counts from that of its parent on.
    MEASURE = ("import os, resource, sys\n"
               "child = os.posix_spawn(sys.argv[1], sys.argv[1:], os.environ)\n"
               "print(os.waitpid(child, 0)[1],"
               " resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024)")

    def peak(self, *arguments):
        done = subprocess.run([sys.executable, "-I", "-S", "-c", self.MEASURE, KXCMS, *arguments],
                              cwd=self.folder, check=True, capture_output=True, text=True,
                              timeout=120)
        status, peak = map(int, done.stdout.split())
        self.assertEqual((status, done.stderr), (0, ""))
        return peak

    def forms(self):
        rows, rng = str(self.HEIGHT), numpy.random.default_rng(3)
        noise = rng.integers(0, 256, (self.HEIGHT, self.WIDTH, 3), "u1")
        # Blocks of one colour, for encoders that take their time over noise and no memory for it.
        blocks = numpy.kron(noise[::80, ::80], numpy.ones((80, 80, 1), "u1"))
        plain, separate = written(noise), written(planes(noise), planarconfig="separate")
        yield "one strip", ".tif", written(noise, rowsperstrip=self.HEIGHT)
        yield "16 bits", ".tif", written(noise.astype("u2") * 257)
        yield "planes", ".tif", separate
        yield "LZW, one strip", ".tif", copied(plain, "-c", "lzw:2", "-r", rows)
        yield "LZW, one strip a plane", ".tif", \
            copied(separate, "-c", "lzw", "-p", "separate", "-r", rows)
        yield "tiles", ".tif", written(noise, tile=(512, 512))
        yield "one tile", ".tif", copied(plain, "-c", "lzw", "-t", "-w", "3200", "-l", "2400")
        yield "Zstandard, one strip", ".tif", copied(plain, "-c", "zstd", "-r", rows)
        yield "LZMA, one strip", ".tif", copied(written(blocks), "-c", "lzma", "-r", rows)
        yield "WebP, one strip", ".tif", copied(written(blocks), "-c", "webp", "-r", rows)
        yield "LERC, one strip", ".tif", copied(plain, "-c", "lerc:0", "-r", rows)
        yield "LERC in tiles", ".tif", copied(plain, "-c", "lerc:0:s2", "-t", "-w", "1024", "-l",
                                              "1024")
        yield "JPEG in a TIFF", ".tif", copied(plain, "-c", "jpeg:90", "-r", rows)
        yield "JPEG", ".jpg", saved(noise)
        yield "progressive", ".jpg", saved(blocks, progressive=True)
        yield "progressive, all colours", ".jpg", saved(blocks, progressive=True, subsampling=0)
        yield "PNG", ".png", saved(blocks, compress_level=1)
        yield "interlaced", ".png", png16(blocks.astype("u2") * 257, "[interlace,compression=1]")
        yield "long rows", ".tif", written(numpy.zeros((12, 640000, 3), "u1"))

    # What the program takes for any image, and what of it are pieces of rows.
    PROGRAM, PIECES = 64 << 20, 16 << 20

    def measure(self, suffix, make):
        """@return what is told, and what is taken"""
        name = "in" + suffix
        make(self.path(name))
        return self.image(name)["convert"]["memoryBytes"], self.peak(
            "convert", "--quiet", "--profile", "scan.icc", name, "out" + suffix)

    def test_it_is_a_bound(self):
        """On the whole, and of what an image takes beyond the smallest."""
        smallest_told, smallest = self.measure(".tif", written(samples(8)))
        self.assertLess(abs(smallest_told - self.PROGRAM), 1 << 20)
        self.assertLess(smallest, self.PROGRAM)
        for what, suffix, make in self.forms():
            with self.subTest(what):
                told, peak = self.measure(suffix, make)
                self.assertLessEqual(peak, told)
                self.assertLessEqual(peak - smallest, told - self.PROGRAM + self.PIECES)
                self.assertLess(told, 3 * peak + self.PROGRAM)


class Profiles(Info):
    def test_a_scanner(self):
        content = [(b"desc", text_tag("A scanner")), (b"wtpt", xyz_tag(.9, .95, .8)),
                   (b"bkpt", xyz_tag(.01, .0125, .005)),
                   (b"A2B0", profiles.lut16(points=5, input_curve=profiles.ramp(100),
                                            output_curve=profiles.ramp(33))),
                   (b"A2B1", profiles.lut_a_to_b(points=3, a_curve=profiles.ramp(17),
                                                 b_curve=[]))]
        data = profiles.profile(content)
        told = self.profile(data)
        self.assertEqual(
            [told[key] for key in ("sizeBytes", "version", "class", "className", "colorSpace",
                                   "connectionSpace", "description", "isUsable", "reason")],
            [len(data), "2.4.0", "scnr", "input device", "RGB ", "Lab ", "A scanner", True, None])
        at, table = 132 + 12 * len(content), []
        for name, value in content:
            table.append({"signature": name.decode(), "type": value[:4].decode(), "offset": at,
                          "sizeBytes": len(value)})
            at += len(value) + -len(value) % 4
        self.assertEqual(told["tags"], table)
        for key, expected in (("white", (.9, .95, .8)), ("black", (.01, .0125, .005))):
            for value, wanted in zip(told[key], expected):
                self.assertAlmostEqual(value, wanted, delta=1 / 65536)
        self.assertFalse(told["isWhiteAssumed"])
        first = {"tag": "A2B0", "gridPoints": [5] * 3, "inputEntries": [100] * 3,
                 "outputEntries": [33] * 3}
        second = {"tag": "A2B1", "gridPoints": [3] * 3, "inputEntries": [17] * 3,
                  "outputEntries": [0] * 3}
        self.assertEqual(told["source"], {"isPossible": True, "reason": None, "intents": {
            "perceptual": {**first, "isFallback": False},
            "relative": {**second, "isFallback": False},
            "saturation": {**first, "isFallback": True},
            "absolute": {**second, "isFallback": False}}})
        self.assertFalse(told["destination"]["isPossible"])
        # Both tables make L* = 100 x of a grey x; one tells more than 8 bits of it.
        self.assertEqual([grey["device"] for grey in told["neutralAxis"]], [0, .25, .5, .75, 1])
        for grey in told["neutralAxis"]:
            for value, expected in zip(grey["lab"], (100 * grey["device"], 0, 0)):
                self.assertAlmostEqual(value, expected, delta=.5)

    def test_a_built_in_space(self):
        told = self.profile(kxp.profile_of("srgb"))
        self.assertEqual((told["class"], told["connectionSpace"], told["black"]),
                         ("mntr", "XYZ ", None))
        for intent in INTENTS:
            self.assertEqual(told["source"]["intents"][intent],
                             {"tag": "matrix", "isFallback": False, "gridPoints": [0] * 3,
                              "inputEntries": [0] * 3, "outputEntries": [0] * 3})
            self.assertEqual(told["destination"]["intents"][intent],
                             {"tag": "matrix", "isFallback": False})
        for grey in told["neutralAxis"]:
            v = grey["device"]
            y = v / 12.92 if v <= .04045 else ((v + .055) / 1.055) ** 2.4  # IEC 61966-2-1
            lightness = 116 * y ** (1 / 3) - 16 if y > (6 / 29) ** 3 else y * (29 / 3) ** 3
            for value, expected in zip(grey["lab"], (lightness, 0, 0)):
                self.assertAlmostEqual(value, expected, delta=.01)

    def test_no_white_is_told(self):
        told = self.profile(profiles.profile([(b"A2B0", profiles.lut16(points=2))]))
        self.assertTrue(told["isWhiteAssumed"])
        self.assertEqual(told["white"], [.9642, 1, .8249])
        self.assertIn("  white: XYZ 0.9642, 1.0000, 0.8249 (D50, none is stated)",
                      self.info("a.icc"))

    def test_what_cannot_be_used(self):
        """A sound one is told of; a damaged one is not."""
        lut = [(b"desc", text_tag("Of no use")), (b"A2B0", profiles.lut16(points=2))]
        for what, data, reason in (
            ("inks", profiles.profile(lut, space=b"CMYK"),
             "the colour space of the profile is 'CMYK'; 'RGB ' is supported"),
            ("grey", profiles.profile(lut, space=b"GRAY"),
             "the colour space of the profile is 'GRAY'; 'RGB ' is supported"),
            ("device link", profiles.profile(lut, device_class=b"link", pcs=b"RGB "),
             "the profile is a device link, 'link'; 'scnr', 'mntr', 'prtr' and 'spac' are "
             "supported"),
            ("version 5", profiles.profile(lut)[:8] + b"\5" + profiles.profile(lut)[9:],
             "the profile has version 5.4; versions 2 and 4 are supported"),
        ):
            with self.subTest(what):
                told = self.profile(data)
                self.assertEqual((told["isUsable"], told["reason"], told["description"],
                                  [tag["signature"] for tag in told["tags"]]),
                                 (False, reason, "Of no use", ["desc", "A2B0"]))
                self.assertIn(f"  cannot be used: {reason}", self.info("a.icc"))
                self.expect(["convert", "--profile", "a.icc", "in.tif", "out.tif"],
                            command_test.PROFILE, f"profile a.icc: {reason}")
        for what, data, reason in (
            ("cut off", PROFILE[:1000], f"damaged: it should have {len(PROFILE)} bytes and has 1000"),
            ("a table cut off", profiles.profile([(b"A2B0", profiles.lut16()[:-2])]),
             "lookup tag 'A2B0' is cut off"),
            ("inks, cut off", profiles.profile(lut, space=b"CMYK")[:200],
             "damaged: it should have"),
        ):
            with self.subTest(what):
                self.write("a.icc", data)
                done = self.run_command("info", "a.icc")
                self.assertEqual((done.returncode, done.stdout), (UNREADABLE, b""))
                self.assertTrue(done.stderr.decode().startswith(f"kxcms: a.icc: {reason}"))

    def test_lines_tell_nothing_that_json_does_not(self):
        self.write("a.icc", profiles.profile(
            [(b"desc", text_tag("A scanner")), (b"bkpt", xyz_tag(.01, .02, .03)),
             (b"A2B0", profiles.lut16(points=4))]))
        told, = self.told("a.icc")

        def leaves(value):
            if isinstance(value, dict):
                for key, inner in value.items():
                    yield key
                    yield from leaves(inner)
            elif isinstance(value, list):
                for inner in value:
                    yield from leaves(inner)
            elif isinstance(value, (int, float)) and not isinstance(value, bool):
                yield from (f"{value:.0f}", f"{value:.2f}", f"{value:.4f}", f"{100 * value:.0f}",
                            f"{value / 1024:.1f}", f"{value:.2f}".replace("-0.00", "0.00"))
            elif isinstance(value, str):
                yield from value.split()
        known = set(leaves(told))
        for line in self.info("a.icc"):
            for word in line.replace(",", " ").replace(":", " ").split():
                if any(c.isdigit() for c in word) and word != "(D50":
                    self.assertIn(word, known, line)


if __name__ == "__main__":
    surroundings.main()
