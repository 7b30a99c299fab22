#!/usr/bin/env python3
"""What is read of images in every form, and what is refused.

Environment: KXCMS_IMAGE_CLIENT, which prints what the command's image source makes of a file.
"""

import json
import os
import re
import resource
import struct
import subprocess
import unittest
import warnings
import zlib

import numpy
import PIL.Image
import PIL.PngImagePlugin

import exiftool
import profiles
import surroundings
import tiffs
from image_forms import FORMS, PROFILE, WIDTH, copied, run, samples, saved, several, written
from own_folder import OwnFolder
from tiffs import ASCII, BYTE, DOUBLE, LONG, RATIONAL, SBYTE, SHORT, UNDEFINED, tiff

CLIENT = os.environ["KXCMS_IMAGE_CLIENT"]
with open(CLIENT, "rb") as client:
    SANITIZED = b"__asan_init" in client.read()


class Images(OwnFolder):
    @staticmethod
    def run_client(*arguments, **options):
        return subprocess.run([CLIENT, *arguments], stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=60, **options)

    def describe(self, path):
        done = self.run_client("describe", path)
        self.assertEqual((done.returncode, done.stderr.decode()), (0, ""))
        return json.loads(done.stdout)

    def rows(self, path, page=0):
        done = self.run_client("rows", path, str(page))
        self.assertEqual((done.returncode, done.stderr.decode()), (0, ""))
        return done.stdout

    def refusal(self, path, page="0"):
        """@return what the reading of a page says instead of giving it."""
        done = self.run_client("rows", path, page)
        self.assertEqual(done.returncode, 1, done.stderr.decode())
        self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr.decode())
        return done.stderr.decode().rstrip()


class Reading(Images):
    def test_every_form(self):
        self.assertGreater(len(FORMS), 80)
        for form in FORMS:
            with self.subTest(form.name):
                path, pages = form.write(self.folder)
                described = self.describe(path)
                self.assertEqual([page["refusal"] for page in described], [""] * len(pages))
                for i, (page, data) in enumerate(zip(described, pages)):
                    self.assertEqual((page["height"], page["width"], 3 + len(page["extras"])),
                                     data.shape)
                    self.assertEqual(page["bits"], 8 * data.itemsize)
                    self.assertEqual(self.rows(path, i), data.tobytes())

    def test_profiles(self):
        rgb = samples(8)
        for what, make, suffix in (
            ("TIFF", written(rgb, iccprofile=PROFILE), ".tif"),
            ("JPEG", saved(rgb, icc_profile=PROFILE), ".jpg"),
            ("PNG", saved(rgb, icc_profile=PROFILE), ".png"),
            ("JPEG, in several markers",
             saved(rgb, icc_profile=profiles.scanner(points=25)), ".jpg"),
        ):
            with self.subTest(what):
                make(self.path("in" + suffix))
                expected = profiles.scanner(points=25) if "several" in what else PROFILE
                page, = self.describe(self.path("in" + suffix))
                self.assertEqual(page["profile"], expected.hex())
        written(rgb)(self.path("none.tif"))
        self.assertIsNone(self.describe(self.path("none.tif"))[0]["profile"])

    def test_kinds_of_pages(self):
        main, small = samples(16), samples(8)[::4, ::4]
        several((main, {"subifds": 1}), (small, {"subfiletype": 1}), (small, {}))(self.path("a"))
        self.assertEqual([(page["parent"], page["subfile_type"], page["width"])
                          for page in self.describe(self.path("a"))],
                         [(None, 0, WIDTH), (0, 1, small.shape[1]), (None, 0, small.shape[1])])

    def test_extra_samples(self):
        for what, extras, numbers in (("alpha", ["unassalpha"], [2]),
                                      ("associated", ["assocalpha"], [1]),
                                      ("infrared", ["unspecified"], [0])):
            with self.subTest(what):
                written(samples(8, 4), extrasamples=extras)(self.path("a"))
                self.assertEqual(self.describe(self.path("a"))[0]["extras"], numbers)

    def test_a_transparent_colour_is_alpha(self):
        rgb = samples(8)
        saved(rgb, transparency=tuple(int(v) for v in rgb[3, 4]))(self.path("a.png"))
        with PIL.Image.open(self.path("a.png")) as image:
            expected = numpy.asarray(image.convert("RGBA"))
        self.assertEqual(self.rows(self.path("a.png")), expected.tobytes())
        self.assertEqual(expected[3, 4, 3], 0)


class Metadata(Images):
    """Tags arrive byte for byte, whatever they are."""

    TAGS = [
        (270, ASCII, b"a slide\0"), (271, ASCII, b"Maker\0"), (274, SHORT, [6]),
        (306, ASCII, b"2003:02:01 10:11:12\0"), (700, BYTE, b"<x:xmpmeta/>"),
        (33723, UNDEFINED, b"\x1c\x02\x05\0\1A"), (34377, BYTE, b"8BIM\x03\xed\0\0\0\0\0\0"),
        (33550, DOUBLE, [1.5, 2.5, 0.0]), (60000, tiffs.SBYTE, [-1, -2]),
        (60001, tiffs.FLOAT, [1.5]), (60002, UNDEFINED, b"0231"), (60003, SHORT, [1, 2, 3]),
        (60004, LONG, [70000]), (60005, RATIONAL, [(1, 3), (2, 7)]),
    ]

    def test_tags(self):
        for order in "<>":
            with self.subTest(order=order):
                self.write("in.tif", tiff(extra=self.TAGS, order=order))
                page, = self.describe(self.path("in.tif"))
                for number, kind, values in self.TAGS:
                    content = tiffs.encode(kind, values, order)
                    self.assertEqual(page["tags"][str(number)],
                                     [kind, tiffs.count_of(kind, content), content.hex()])
                for number in (256, 257, 258, 259, 262, 273, 277, 278, 279, 284):
                    self.assertNotIn(str(number), page["tags"])
                self.assertEqual(page["dropped"], [])

    def test_directories_of_exif(self):
        """As exiftool writes them."""
        for suffix in (".tif", ".jpg", ".png"):
            with self.subTest(suffix):
                path = self.path("in" + suffix)
                PIL.Image.fromarray(samples(8)).save(path)
                exiftool.run("-overwrite_original", "-EXIF:ImageDescription=a slide",
                             "-ExposureTime=1/60", "-EXIF:DateTimeOriginal=2003:02:01 10:11:12",
                             "-EXIF:InteropIndex=R98", "-GPSLatitude=48.5", "-GPSLatitudeRef=N",
                             path)
                tags = self.describe(path)[0]["tags"]
                order = {"II": "<", "MM": ">"}[self.exif_order(path)]
                self.assertEqual(tags["270"], [ASCII, 8, b"a slide\0".hex()])
                self.assertEqual(tags["34665"]["36867"],
                                 [ASCII, 20, b"2003:02:01 10:11:12\0".hex()])
                self.assertEqual(tags["34665"]["33434"],
                                 [RATIONAL, 1, struct.pack(order + "2I", 1, 60).hex()])
                self.assertEqual(tags["34665"]["40965"]["1"], [ASCII, 4, b"R98\0".hex()])
                self.assertEqual(tags["34853"]["2"],
                                 [RATIONAL, 3, struct.pack(order + "6I", 48, 1, 30, 1, 0, 1).hex()])

    @staticmethod
    def exif_order(path):
        return exiftool.run("-s3", "-n", "-ExifByteOrder", path).decode().strip() \
            if not path.endswith(".tif") else open(path, "rb").read(2).decode()

    def test_other_formats_have_places_of_their_own(self):
        rgb = samples(8)
        xmp = b"<x:xmpmeta xmlns:x='adobe:ns:meta/'/>"
        saved(rgb, comment="a comment", dpi=(300, 300), quality=90)(self.path("in.jpg"))
        jpeg = open(self.path("in.jpg"), "rb").read()
        blocks = b"8BIM\x03\xed\0\0\0\0\0\2hi"
        iptc = b"\x1c\x02\x05\0\1A"
        for number, content in ((13, b"Photoshop 3.0\0" + blocks + b"8BIM\x04\x04\0\0\0\0\0\6" + iptc),
                                (1, b"http://ns.adobe.com/xap/1.0/\0" + xmp),
                                (5, b"unknown")):
            jpeg = jpeg[:2] + struct.pack(">BBH", 0xFF, 0xE0 + number, len(content) + 2) \
                + content + jpeg[2:]
        page, = self.describe(self.write("in.jpg", jpeg))
        self.assertEqual(page["tags"]["700"], [BYTE, len(xmp), xmp.hex()])
        self.assertEqual(page["tags"]["34377"], [BYTE, len(blocks), blocks.hex()])
        self.assertEqual(page["tags"]["33723"], [UNDEFINED, len(iptc), iptc.hex()])
        self.assertEqual(page["tags"]["282"], [RATIONAL, 1, struct.pack("<2I", 300, 1).hex()])
        self.assertEqual(page["tags"]["296"][2], struct.pack("<H", 2).hex())
        self.assertEqual(page["comments"], [["", "a comment"]])
        self.assertEqual(page["dropped"], ["application data APP5"])

        info = PIL.PngImagePlugin.PngInfo()
        info.add_itxt("XML:com.adobe.xmp", xmp.decode())
        info.add_text("Title", "a slide")
        saved(rgb, pnginfo=info, dpi=(254, 254))(self.path("in.png"))
        png = open(self.path("in.png"), "rb").read()
        late = b"tEXtAuthor\0somebody"
        png = png[:-12] + struct.pack(">I", len(late) - 4) + late \
            + struct.pack(">I", zlib.crc32(late)) + png[-12:]
        page, = self.describe(self.write("in.png", png))
        self.assertEqual(page["tags"]["700"], [BYTE, len(xmp), xmp.hex()])
        self.assertEqual(page["tags"]["282"][2], struct.pack("<2I", 10000, 100).hex())
        self.assertEqual(page["tags"]["296"][2], struct.pack("<H", 3).hex())
        self.assertEqual(page["comments"], [["Title", "a slide"], ["Author", "somebody"]])
        self.assertEqual(self.rows(self.path("in.png")), rgb.tobytes())


class Refusals(Images):
    def forms(self):
        grey, float32 = samples(8)[:, :, 0], samples(8).astype("f4")
        yield "grey", written(grey, photometric="minisblack"), "holds grey, not RGB"
        yield "white is zero", written(grey, photometric="miniswhite"), "holds grey, not RGB"
        yield "palette", saved(grey.astype("u1"), colormap=None), "holds grey, not RGB"
        yield ("CMYK", written(samples(8, 4), photometric="separated"),
               "holds CMYK or other inks, not RGB")
        yield "Lab", written(samples(8), photometric="cielab"), "holds Lab, not RGB"
        yield "float", written(float32), "32 bits per sample; only 8 and 16 work"
        yield ("half float", written(samples(8).astype("f2")),
               "its samples are not unsigned integers (SampleFormat)")
        yield ("signed", written(samples(16).astype("i2")),
               "its samples are not unsigned integers (SampleFormat)")
        yield "32 bits", written(samples(8).astype("u4")), \
            "32 bits per sample; only 8 and 16 work"
        yield "bilevel", lambda path: PIL.Image.fromarray(grey > 99).save(path), \
            "holds grey, not RGB"
        yield "palette of Pillow", \
            lambda path: PIL.Image.fromarray(grey).convert("P", palette=1).quantize().save(path), \
            "holds palette colours, not RGB"
        yield "YCbCr without JPEG", lambda path: PIL.Image.fromarray(samples(8)).convert(
            "YCbCr").save(path), "holds YCbCr, not RGB"
        yield "fax", lambda path: PIL.Image.fromarray(grey > 99).save(
            path, compression="group4"), "holds grey, not RGB"
        yield "unequal depths", lambda path: self.write(
            os.path.basename(path), tiff(replace={258: (SHORT, [8, 8, 16])})), \
            "samples of different depths"
        yield "old JPEG", lambda path: self.write(
            os.path.basename(path), tiff(replace={259: (SHORT, [6])})), \
            "compressed by method 6, which cannot be read"

    def test_forms_are_told_by_name(self):
        for what, make, reason in self.forms():
            with self.subTest(what):
                make(self.path("in.tif"))
                self.assertEqual(self.describe(self.path("in.tif"))[0]["refusal"], reason)
        for what, mode, suffix, reason in (
            ("grey JPEG", "L", ".jpg", "holds grey, not RGB"),
            ("CMYK JPEG", "CMYK", ".jpg", "holds CMYK, not RGB"),
            ("grey PNG", "L", ".png", "holds grey, not RGB"),
            ("palette PNG", "P", ".png", "holds palette colours, not RGB"),
            ("bilevel PNG", "1", ".png", "holds grey, not RGB"),
        ):
            with self.subTest(what):
                path = self.path("in" + suffix)
                PIL.Image.fromarray(samples(8)).convert(mode).save(path)
                self.assertEqual(self.describe(path)[0]["refusal"], reason)

    def test_other_pages_are_read_all_the_same(self):
        rgb = samples(8)
        several((rgb, {}), (rgb[:, :, 0], {"photometric": "minisblack"}))(self.path("in.tif"))
        self.assertEqual([page["refusal"] for page in self.describe(self.path("in.tif"))],
                         ["", "holds grey, not RGB"])

    DAMAGE = [
        ("empty", b"", "not a TIFF, JPEG or PNG file"),
        ("text", b"This is not an image.", "not a TIFF, JPEG or PNG file"),
        ("header alone", b"II*\0\x08\0\0\0", "damaged: cut off"),
        ("no directory", b"II*\0\0\0\0\0", "damaged: no image"),
        ("directory outside", b"II*\0\xff\xff\xff\xff", "damaged: cut off"),
        ("no tags", b"II*\0\x08\0\0\0\0\0\0\0\0\0", "damaged: an image without tags"),
        ("cut in the data of a tag", tiff()[:-1],
         "damaged: the data of tag 283 lie outside the file"),
        ("a tag twice", tiff().replace(struct.pack("<H", 283), struct.pack("<H", 282)),
         "damaged: tag 282 stands twice"),
        ("rows of an unknown type", tiff().replace(
            struct.pack("<2HI", 278, LONG, 1), struct.pack("<2HI", 278, 89, 1)),
         "damaged: tag 278 is of an unknown type"),
        ("no width", tiff(without=[256]), "damaged: no ImageWidth"),
        ("width 0", tiff(replace={256: (LONG, [0])}), "damaged: no pixels"),
        ("width a text", tiff(replace={256: (ASCII, b"20\0")}),
         "damaged: tag 256 is not a number"),
        ("two widths", tiff(replace={256: (SHORT, [20, 20])}),
         "damaged: tag 256 is not a single number"),
        ("planar configuration 3", tiff(replace={284: (SHORT, [3])}),
         "damaged: planar configuration 3"),
        ("no strips", tiff(without=[273]), "damaged: no strips"),
        ("a profile of signed bytes",
         tiff(extra=[(34675, SBYTE, numpy.frombuffer(profiles.scanner(points=2), "i1"))]),
         "damaged: tag 34675 has type 6"),
        ("a SubIFD by 16 bits", tiff(extra=[(330, SHORT, [8])]), "damaged: tag 330 has type 3"),
        ("strips and tiles", tiff(extra=[(324, LONG, [8]), (325, LONG, [720])]),
         "damaged: both strips and tiles"),
        ("tiles and strips", tiff(extra=[(322, SHORT, [32]), (323, SHORT, [16]), (324, LONG, [8]),
                                         (325, LONG, [1536])], padding=816, without=[273]),
         "damaged: both strips and tiles"),
        ("no StripByteCounts", tiff(without=[279]), "damaged: no strips"),
        ("a strip missing", tiff(rows=5, replace={273: (LONG, [8, 308]), 279: (LONG, [300, 300])}),
         "damaged: 2 strips where 3 make the image"),
        ("a strip outside", tiff(replace={273: (LONG, [0xFFFFFF00])}),
         "damaged: strip 1 of 1 is cut off"),
        ("a strip too short", tiff(rows=6, replace={279: (LONG, [360, 359])}),
         "damaged: strip 2 of 2 is cut off"),
        ("no rows per strip", tiff(replace={278: (LONG, [0])}), "damaged: no rows per strip"),
        ("Exif outside", tiff(extra=[(34665, LONG, [0xFFFF])]), "damaged: cut off"),
        ("Exif in itself", tiff(extra=[(34665, LONG, [8 + 720])]),
         "damaged: its directories go round in a circle"),
    ]

    def test_damage(self):
        for what, data, reason in self.DAMAGE:
            with self.subTest(what):
                self.assertEqual(self.refusal(self.write("in", data)), f"unreadable: {reason}")

    def test_directories_in_a_circle(self):
        data = bytearray(tiff())
        at, = struct.unpack_from("<I", data, 4)
        count, = struct.unpack_from("<H", data, at)
        struct.pack_into("<I", data, at + 2 + 12 * count, at)
        self.assertEqual(self.refusal(self.write("in", data)),
                         "unreadable: damaged: its directories go round in a circle")

    @unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
    def test_a_claim_without_bytes_takes_neither_memory_nor_time(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (200 << 20, 200 << 20))
            resource.setrlimit(resource.RLIMIT_CPU, (10, 10))
        huge = {256: (LONG, [0x7FFFFFFF]), 257: (LONG, [0x7FFFFFFF]),
                278: (LONG, [0x7FFFFFFF])}
        for what, data, reason in (
            ("2^31 by 2^31 in Zstandard", tiff(replace={**huge, 259: (SHORT, [50000])}),
             "unreadable: damaged: it claims more pixels than the file can hold"),
            ("the same uncompressed", tiff(replace=huge),
             "unreadable: damaged: strip 1 of 1 is cut off"),
            ("one tile as large",
             tiff(without=[273, 278, 279],
                  extra=[(322, LONG, [0x7FFFFFF0]), (323, LONG, [0x7FFFFFF0]), (324, LONG, [8]),
                         (325, LONG, [9])],
                  replace={256: (LONG, [1000]), 257: (LONG, [1000]), 259: (SHORT, [8])}),
             "unsupported: reading it would take memory out of proportion to the file"),
            ("a value of 4 GiB", tiff(extra=[(60000, BYTE, b"x" * 9)]).replace(
                struct.pack("<2HI", 60000, 1, 9), struct.pack("<2HI", 60000, 1, 0xFFFFFFFF)),
             "unreadable: damaged: the data of tag 60000 lie outside the file"),
            ("a PNG of 2^31 by 2^31", self.png(0x7FFFFFFF, 0x7FFFFFFF),
             "unreadable: damaged: it claims more pixels than the file can hold"),
            ("texts of a PNG that expand to 3 GB", self.png(1, 1, bytes(4), 50 * [
                (b"zTXt", b"Title\0\0" + zlib.compress(bytes(60_000_000)))]),
             "unreadable: damaged: zTXt: truncated"),
        ):
            with self.subTest(what):
                path = self.write("in", data)
                done = self.run_client("rows", path, "0", preexec_fn=limit)
                self.assertEqual((done.returncode, done.stderr.decode().rstrip()), (1, reason))

    @unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
    def test_a_dictionary_larger_than_its_strips(self):
        """LZMA takes its memory before it decodes; 64 MiB is the encoder's largest preset."""
        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (200 << 20, 200 << 20))
        rgb = samples(8)
        copied(written(rgb), "-c", "lzma")(self.path("in.tif"))
        data = open(self.path("in.tif"), "rb").read()
        start = data.index(b"\xfd7zXZ") + 12  # of the first block's header
        size = (data[start] + 1) * 4
        header = data[start:start + size - 4]
        at = header.index(b"\x21\x01") + 2
        for bits, mib, is_read in ((28, 64, True), (29, 96, False), (36, 1024, False),
                                   (40, 4095, False)):
            with self.subTest(mib=mib):
                changed = header[:at] + bytes([bits]) + header[at + 1:]
                self.write("large.tif", data[:start] + changed
                           + struct.pack("<I", zlib.crc32(changed)) + data[start + size:])
                done = self.run_client("rows", self.path("large.tif"), "0", preexec_fn=limit)
                if is_read:
                    self.assertEqual((done.returncode, done.stdout), (0, rgb.tobytes()))
                    continue
                self.assertEqual((done.returncode, done.stderr.decode()), (
                    1, f"unsupported: its compression (LZMA) asks for a dictionary of {mib} MiB, "
                       "more than its strips have use for\n"))

    def test_a_last_strip_as_long_as_the_others(self):
        """Some writers fill it up; other lengths are damage."""
        width, height, rows = 20, 12, 8
        rgb = samples(8, height=2 * rows, width=width)
        for lines, is_read in ((rows, True), (height - rows, True), (height - rows - 1, False),
                               (height - rows + 1, False)):
            with self.subTest(lines=lines):
                strips = [zlib.compress(rgb[:rows].tobytes()),
                          zlib.compress(rgb[rows:rows + lines].tobytes())]
                body = b"".join(strips)
                tags = [(256, LONG, [width]), (257, LONG, [height]), (258, SHORT, [8, 8, 8]),
                        (259, SHORT, [8]), (262, SHORT, [2]), (273, LONG, [8, 8 + len(strips[0])]),
                        (277, SHORT, [3]), (278, LONG, [rows]), (279, LONG, list(map(len, strips)))]
                at = 8 + len(body) + len(body) % 2
                path = self.write("in.tif", b"II*\0" + struct.pack("<I", at) + body
                                  + bytes(len(body) % 2) + tiffs.directory(tags, at))
                if is_read:
                    self.assertEqual(self.rows(path), rgb[:height].tobytes())
                else:
                    self.assertRegex(self.refusal(path), "^unreadable: damaged: ")

    def test_the_check_sum_of_deflate(self):
        """libtiff does not come to it when it reads rows."""
        rgb = samples(8)
        for what, options in (("strips", ("-r", "8")), ("one strip", ("-r", "100")),
                              ("tiles", ("-t", "-w", "16", "-l", "16")),
                              ("reversed bits", ("-r", "8", "-f", "lsb2msb"))):
            with self.subTest(what):
                copied(written(rgb), "-c", "zip", *options)(self.path("in.tif"))
                self.assertEqual(self.rows(self.path("in.tif")), rgb.tobytes())
                data = bytearray(open(self.path("in.tif"), "rb").read())
                described = subprocess.run(["tiffdump", self.path("in.tif")], check=True,
                                           capture_output=True, text=True).stdout
                offset, size = (int(re.search(rf"{name}.*?<(\d+)", described).group(1))
                                for name in (r"(?:Strip|Tile)Offsets",
                                             r"(?:Strip|Tile)ByteCounts"))
                data[offset + size - 1] ^= 0x10
                self.assertEqual(
                    self.refusal(self.write("changed.tif", data)),
                    "unreadable: damaged: its pixels, or the check sum of Deflate behind them, "
                    "have changed")

    def test_the_size_of_webp(self):
        """libtiff would leave as it was what a smaller picture does not fill."""
        width, height, tile_width, tile_length = 256, 257, 322, 323
        for what, options, tag, number in (
                ("a wider image", ("-r", "16"), width, 60),
                ("a wider image, bits reversed", ("-r", "16", "-f", "lsb2msb"), width, 60),
                ("a narrower image", ("-r", "16"), width, 5),
                ("a longer image", ("-r", "100"), height, 40),
                ("wider tiles", ("-t", "-w", "16", "-l", "16"), tile_width, 32),
                ("longer tiles", ("-t", "-w", "16", "-l", "16"), tile_length, 32)):
            with self.subTest(what):
                path = self.path("in.tif")
                copied(written(samples(8, height=16, width=16)), "-c", "webp", *options)(path)
                self.assertEqual(len(self.rows(path)), 3 * 16 * 16)
                run("tiffset", "-s", str(tag), str(number), path)
                self.assertEqual(self.refusal(path), "unreadable: damaged: its WebP data are of "
                                 "another size than their strip or tile")

    @unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
    def test_more_pages_than_anybody_has(self):
        """Directories of one tag, each a page of 18 bytes: refused before they take memory."""
        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (200 << 20, 200 << 20))
            resource.setrlimit(resource.RLIMIT_CPU, (20, 20))
        count, data = 500_000, b"II*\0" + struct.pack("<I", 8)
        chain = b"".join(struct.pack("<HHHIII", 1, 262, SHORT, 1, 1, 8 + 18 * (i + 1))
                         for i in range(count))
        done = self.run_client("rows", self.write("chain.tif", data + chain + bytes(18)), "0",
                               preexec_fn=limit)
        self.assertEqual((done.returncode, done.stderr.decode()),
                         (1, "unsupported: more than 65535 pages\n"))

    @staticmethod
    def png(width, height, body=b"", more=()):
        def chunk(kind, content):
            return struct.pack(">I", len(content)) + kind + content \
                + struct.pack(">I", zlib.crc32(kind + content))
        return b"\x89PNG\r\n\x1a\n" \
            + chunk(b"IHDR", struct.pack(">2I5B", width, height, 8, 2, 0, 0, 0)) \
            + b"".join(chunk(*one) for one in more) + chunk(b"IDAT", zlib.compress(body)) + chunk(b"IEND", b"")

    def test_short_pixels_of_a_png(self):
        self.assertRegex(self.refusal(self.write("in", self.png(9, 9, bytes(100)))),
                         "^unreadable: damaged: ")

    def test_every_cut_is_refused(self):
        """Compressed strips are cut with their counts kept: nothing is made up for what is gone."""
        small = samples(8, height=12, width=11)
        for what, make, suffix in (
            ("LZW", copied(written(small), "-c", "lzw"), ".tif"),
            ("Deflate", written(small, compression="zlib"), ".tif"),
            ("JPEG in a TIFF", copied(written(small), "-c", "jpeg"), ".tif"),
            ("tiles", written(small, tile=(16, 16)), ".tif"),
            ("JPEG", saved(small), ".jpg"),
            ("progressive JPEG", saved(small, progressive=True), ".jpg"),
            ("PNG", saved(small), ".png"),
        ):
            make(self.path("whole" + suffix))
            whole = open(self.path("whole" + suffix), "rb").read()
            for size in range(0, len(whole), max(1, len(whole) // 60)):
                with self.subTest(what, size=size):
                    self.assertRegex(self.refusal(self.write("cut", whole[:size])),
                                     "^unreadable: ")

    def test_a_changed_byte_is_refused_or_read_as_libtiff_reads_it(self):
        """Never a signal, never pixels that Pillow (libtiff, libjpeg, libpng) does not read."""
        small = samples(8, height=9, width=10)
        for what, make, suffix in (
            ("LZW", copied(written(small), "-c", "lzw"), ".tif"),
            ("Deflate", copied(written(small), "-c", "zip"), ".tif"),
            ("PackBits", copied(written(small), "-c", "packbits"), ".tif"),
            ("JPEG", saved(small), ".jpg"),
            ("PNG", saved(small), ".png"),
        ):
            make(self.path("whole" + suffix))
            whole = open(self.path("whole" + suffix), "rb").read()
            for at in range(0, len(whole), max(1, len(whole) // 150)):
                with self.subTest(what, at=at):
                    changed = bytearray(whole)
                    changed[at] ^= 0x5A
                    path = self.write("changed" + suffix, changed)
                    done = self.run_client("rows", path, "0")
                    self.assertIn(done.returncode, (0, 1), done.stderr)
                    if done.returncode == 0:
                        self.assertEqual(done.stdout, self.by_pillow(path))

    @staticmethod
    def by_pillow(path):
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            with PIL.Image.open(path) as image:
                return numpy.asarray(image).tobytes()


if __name__ == "__main__":
    surroundings.main()
