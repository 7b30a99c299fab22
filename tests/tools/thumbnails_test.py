#!/usr/bin/env python3
"""What becomes of thumbnails in kxcms convert, made by hand, Pillow and exiftool and read by the
latter two: a thumbnail is converted as an image of its own would be, or dropped with a word.

Environment: KXCMS (the command).
"""

import io
import json
import os
import shutil
import struct
import subprocess
import tempfile
import unittest

import numpy
import PIL.Image
import tifffile

import exiftool
import profiles
import surroundings
import thumbnails
from thumbnails import (ORDERS, THUMBNAIL, THUMBNAIL_OF_4, exif, of_pixels, of_stream,
                        photoshop_thumbnail, picture, resource, stream, without_jfif)
from tiffs import ASCII, LONG, SHORT, UNDEFINED

KXCMS = os.environ["KXCMS"]
IMAGE = picture(48, 40)
SMALL = picture()

# Of a smooth picture, JPEG at quality 90 loses less than this: on average, and anywhere.
MEAN_LOSS, MOST_LOSS = 1.5, 12


def rgb_stream(data):
    """RGB and not YCbCr, as Adobe's marker says: of other colours, which does not matter."""
    plain = without_jfif(stream(data, subsampling="4:4:4"))
    return plain[:2] + b"\xff\xee\0\x0eAdobe\0\x64\0\0\0\0\0" + plain[2:]


class Case(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="kxcms-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        with open(self.path("scan.icc"), "wb") as file:
            file.write(profiles.scanner(points=3))

    def path(self, name):
        return os.path.join(self.folder, name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def convert(self, source, target, *arguments):
        """@return what was told."""
        done = subprocess.run([KXCMS, "convert", "--profile", "scan.icc", *arguments, source, target],
                              cwd=self.folder, stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stderr.decode() + done.stdout.decode()

    def exiftool(self, name):
        """@return {name with its group: value}"""
        return exiftool.tags(self.path(name))

    def extracted(self, name, tag="ThumbnailImage"):
        """@return the bytes of a thumbnail, by exiftool; empty for none."""
        return exiftool.run("-b", f"-{tag}", self.path(name))

    def block(self, name):
        """@return the block of Exif that an image has."""
        with PIL.Image.open(self.path(name)) as image:
            return image.info["exif"].removeprefix(b"Exif\0\0")

    @staticmethod
    def decoded(data):
        with PIL.Image.open(io.BytesIO(data)) as image:
            assert image.mode == "RGB", image.mode
            return numpy.asarray(image)

    def expect_converted(self, before, after, *arguments):
        """@param before, after  thumbnails as pixels"""
        PIL.Image.fromarray(before).save(self.path("small.png"))
        self.convert("small.png", "small-out.png", *arguments)
        with PIL.Image.open(self.path("small-out.png")) as image:
            expected = numpy.asarray(image).astype(int)
        # Otherwise nothing would tell a converted one from the old one.
        self.assertGreater(numpy.abs(expected - before).mean(), 10)
        self.assertEqual(after.shape, expected.shape)
        difference = numpy.abs(expected - after)
        self.assertLess(difference.mean(), MEAN_LOSS)
        self.assertLessEqual(difference.max(), MOST_LOSS)


class ExifThumbnails(Case):
    """The one behind the first directory of Exif."""

    # What the thumbnail is, and how it is made.
    FORMS = [
        ("4:2:0", of_stream(stream(SMALL, subsampling="4:2:0"))),
        ("4:2:2", of_stream(stream(SMALL, subsampling="4:2:2"))),
        ("4:4:4", of_stream(stream(SMALL, subsampling="4:4:4"))),
        ("without JFIF", of_stream(without_jfif(stream(SMALL)))),
        ("without a word on compression", of_stream(stream(SMALL), compression=None)),
        ("progressive", of_stream(stream(SMALL, progressive=True))),
        ("RGB", of_stream(rgb_stream(SMALL))),
        ("odd sides", of_stream(stream(picture(61, 47)))),
        ("as large as is believed", of_stream(stream(picture(512, 512), quality=80))),
        ("one pixel", of_stream(stream(picture(1, 1), subsampling="4:4:4"))),
        ("bytes behind the stream", of_stream(stream(SMALL) + bytes(7))),
    ]

    def test_streams_of_exif(self):
        for what, thumbnail in self.FORMS:
            for order, mark in ORDERS.items():
                others = [("in.jpg", "out.png"), ("in.png", "out.jpg"), ("in.png", "out.png")]
                for source, target in [("in.jpg", "out.jpg")] + others * (what == "4:2:0"):
                    with self.subTest(what, order=order, source=source, target=target):
                        thumbnails.save(self.path(source), IMAGE, exif(thumbnail, mark))
                        self.assertEqual(self.convert(source, target), "")
                        before, after = self.extracted(source), self.extracted(target)
                        self.expect_converted(self.decoded(before), self.decoded(after))
                        tags = self.exiftool(target)
                        self.assertNotIn("ExifTool:Warning", tags)
                        self.assertEqual(
                            [tags.get("IFD1:" + name) for name in (
                                "Compression", "Orientation", "XResolution", "YResolution",
                                "ResolutionUnit", "ThumbnailLength")],
                            [6, 6, 72, 72, 2, len(after)])
                        self.assertEqual(tags["IFD0:ImageDescription"], "a slide")
                        self.assertEqual(tags["File:ExifByteOrder"], "II" if mark == "<" else "MM")
                        self.expect_same_form(before, after, what)

    def expect_same_form(self, before, after, what):
        with PIL.Image.open(io.BytesIO(before)) as one, PIL.Image.open(io.BytesIO(after)) as other:
            self.assertEqual([component[1:3] for component in other.layer],
                             [component[1:3] for component in one.layer])
            self.assertEqual("jfif" in other.info, "jfif" in one.info)
            self.assertNotIn("progressive", other.info)

    def test_uncompressed_ones_of_exif(self):
        for what, thumbnail in (
            ("one strip", of_pixels(SMALL)),
            ("strips of 50 rows", of_pixels(SMALL, rows=50)),
            ("without RowsPerStrip", of_pixels(SMALL, **{"278": None})),
            ("without a word on planes", of_pixels(SMALL, **{"284": None})),
            ("one pixel", of_pixels(picture(1, 1))),
        ):
            for order, mark in ORDERS.items():
                for source, target in (("in.jpg", "out.jpg"), ("in.png", "out.png")):
                    with self.subTest(what, order=order, source=source, target=target):
                        thumbnails.save(self.path(source), IMAGE, exif(thumbnail, mark))
                        self.assertEqual(self.convert(source, target), "")
                        # exiftool takes such a thumbnail out of JPEG files alone.
                        thumbnails.save(self.path("copy.jpg"), IMAGE, self.block(target))
                        after = tifffile.imread(
                            io.BytesIO(self.extracted("copy.jpg", "ThumbnailTIFF")))
                        before = numpy.frombuffer(thumbnail[1], "u1").reshape(after.shape)
                        self.expect_converted(before, after)
                        tags = self.exiftool(target)
                        self.assertNotIn("ExifTool:Warning", tags)
                        self.assertEqual((tags["IFD1:Compression"], tags["IFD1:Orientation"]), (1, 6))

    def test_of_other_programs(self):
        """exiftool and Pillow put them in, with everything else that Exif may hold."""
        PIL.Image.fromarray(IMAGE).save(self.path("in.jpg"), quality=95)
        with open(self.path("small.jpg"), "wb") as file:
            file.write(stream(SMALL))
        for order in ("II", "MM"):
            with self.subTest(order=order):
                exiftool.run("-overwrite_original", f"-ExifByteOrder={order}",
                             f"-ThumbnailImage<={self.path('small.jpg')}", "-FNumber=5.6",
                             "-GPSLatitude=48.5", "-InteropIndex=R98", "-IFD1:Software=somebody's",
                             "-XMP-dc:Title=one", self.path("in.jpg"))
                self.assertEqual(self.convert("in.jpg", "out.jpg"), "")
                self.expect_converted(self.decoded(stream(SMALL)),
                                      self.decoded(self.extracted("out.jpg")))
                tags = self.exiftool("out.jpg")
                self.assertEqual((tags["ExifIFD:FNumber"], tags["GPS:GPSLatitude"],
                                  tags["IFD1:Software"], tags["XMP-dc:Title"]),
                                 (5.6, 48.5, "somebody's", "one"))

    def test_options(self):
        """The thumbnail is converted as the image is."""
        thumbnails.save(self.path("in.jpg"), IMAGE, exif(of_stream(stream(SMALL))))
        for options in (["--to", "prophoto"], ["--intent", "relative"], ["--pipeline", "fixed"],
                        ["--pipeline", "fixed", "--hue", "90"], ["--tag", "none"]):
            with self.subTest(options=options):
                self.assertNotIn("dropped", self.convert("in.jpg", "out.jpg", *options))
                self.expect_converted(self.decoded(stream(SMALL)),
                                      self.decoded(self.extracted("out.jpg")), *options)

    WIDE = of_stream(stream(picture(513, 8)))
    LARGE = of_stream(stream(picture(8, 513)))
    GOOD = stream(SMALL)

    @staticmethod
    def scan_of(data):
        """Where the entropy-coded bytes begin."""
        at = data.index(b"\xff\xda")
        return at + 2 + struct.unpack_from(">H", data, at + 2)[0]

    def damaged_streams(self):
        good, scan = self.GOOD, self.scan_of(self.GOOD)
        size_at = good.index(b"\xff\xc0") + 5
        huge = good[:size_at] + struct.pack(">2H", 65000, 65000) + good[size_at + 4:]
        sparse = stream(numpy.zeros((512, 512, 3), "u1"), progressive=True, quality=1)
        self.assertLess(len(sparse), 512 * 512 // 64)
        return [
            ("a stream that is cut off", good[:len(good) // 2]),
            ("a stream without its end", good[:-2]),
            ("no stream", b"no JPEG stream at all"),
            ("one byte", b"\xff"),
            ("zeros", bytes(2000)),
            ("changed bytes", good[:scan + 40] + b"\xff\xc4\xff" + good[scan + 43:]),
            ("a side of 65000", huge),
            ("grey", stream(SMALL, "L")),
            ("CMYK", stream(SMALL, "CMYK")),
            ("a picture from next to nothing", sparse),
            ("a PNG file", self.png(SMALL)),
        ]

    @staticmethod
    def png(data):
        file = io.BytesIO()
        PIL.Image.fromarray(data).save(file, "PNG")
        return file.getvalue()

    def test_dropped_ones(self):
        """Whatever a thumbnail holds: the image is converted, and all else is there."""
        good = of_stream(self.GOOD)
        cases = [(what, exif(of_stream(data))) for what, data in self.damaged_streams()]
        cases += [
            ("too wide", exif(self.WIDE)),
            ("too high", exif(self.LARGE)),
            ("outside the block", exif(of_stream(self.GOOD, offset=60000))),
            ("at the end of numbers", exif(of_stream(self.GOOD, offset=0xFFFFFFFF))),
            ("longer than the block", exif(of_stream(self.GOOD, size=len(self.GOOD) + 1))),
            ("without bytes", exif(of_stream(self.GOOD, size=0))),
            ("4 GiB", exif(of_stream(self.GOOD, size=0xFFFFFFFF))),
            ("another compression", exif(of_stream(self.GOOD, compression=5))),
            ("a directory outside the block", exif(good, at=60000)),
            ("a directory at the end of numbers", exif(good, at=0xFFFFFFFF)),
            ("a directory that is the first", exif(good, at=8)),
            ("a directory in the header", exif(good, at=1)),
            ("a directory that is cut off", exif(good)[:-len(self.GOOD) - 60]),
            ("a pointer to nothing", exif(((lambda at: sorted(
                good[0](at) + [(34665, LONG, [60000])])), self.GOOD))),
            ("a pointer to the first directory", exif(((lambda at: sorted(
                good[0](at) + [(34665, LONG, [8])])), self.GOOD))),
            ("a tag that stands twice", exif(((lambda at: good[0](at) + [good[0](at)[-1]]),
                                              self.GOOD))),
            ("YCbCr without compression", exif(of_pixels(SMALL, **{"262": (SHORT, [6])}))),
            ("grey without compression", exif(of_pixels(SMALL, **{"262": (SHORT, [1])}))),
            ("16 bits", exif(of_pixels(SMALL, **{"258": (SHORT, [16, 16, 16])}))),
            ("four samples", exif(of_pixels(SMALL, **{"277": (SHORT, [4])}))),
            ("separate planes", exif(of_pixels(SMALL, **{"284": (SHORT, [2])}))),
            ("no width", exif(of_pixels(SMALL, **{"256": (SHORT, [0])}))),
            ("too wide without compression", exif(of_pixels(picture(513, 8)))),
            ("too few strips", exif(of_pixels(SMALL, rows=50, **{"278": (SHORT, [20])}))),
            ("strips of no rows", exif(of_pixels(SMALL, **{"278": (SHORT, [0])}))),
            ("a strip that is too short", exif(of_pixels(SMALL, **{"279": (LONG, [57599])}))),
            ("a strip outside the block", exif(of_pixels(SMALL, **{"273": (LONG, [60000])}))),
            ("strips over each other", exif(of_pixels(
                picture(512, 128), rows=1, **{"273": (LONG, [8000] * 128)}))[:-180000]),
        ]
        for what, block in cases:
            for suffix in (".jpg", ".png"):
                if len(block) > 60000 and suffix == ".jpg":
                    continue
                with self.subTest(what, suffix=suffix):
                    thumbnails.save(self.path("in" + suffix), IMAGE, block)
                    self.assertEqual(self.convert("in" + suffix, "out" + suffix),
                                     f"kxcms: in{suffix}: dropped: thumbnail\n")
                    tags = self.exiftool("out" + suffix)
                    self.assertFalse([name for name in tags if name.startswith("IFD1:")])
                    self.assertEqual((tags["IFD0:ImageDescription"], tags["IFD0:Orientation"]),
                                     ("a slide", 6))

    def test_changed_bytes(self):
        """Wherever a byte of the thumbnail changes: the image is converted, and what comes with it
        is a picture, or it is told that there is none."""
        block = exif(of_stream(self.GOOD))
        begin = block.index(b"a slide\0") + 8
        fates = set()
        for at in [*range(begin, begin + 90), *range(begin + 90, len(block), 41)]:
            data = bytearray(block)
            data[at] ^= (0x01, 0x80, 0xFF)[at % 3]
            thumbnails.save(self.path("in.jpg"), IMAGE, bytes(data))
            with self.subTest(at=at):
                said = self.convert("in.jpg", "out.jpg")
                after = self.block("out.jpg")
                stream_at = after.find(b"\xff\xd8")
                self.assertEqual("dropped: thumbnail" in said, stream_at < 0)
                if stream_at > 0:
                    self.decoded(after[stream_at:])
                fates.add(stream_at > 0)
        self.assertEqual(fates, {True, False})

    def test_told(self):
        """The line and the record."""
        thumbnails.save(self.path("in.jpg"), IMAGE, exif(self.WIDE))
        self.assertEqual(json.loads(self.convert("in.jpg", "out.jpg", "--json", "--quiet"))["dropped"],
                         ["thumbnail"])
        self.assertEqual(self.convert("in.jpg", "out.jpg", "--quiet"), "")
        thumbnails.save(self.path("in.jpg"), IMAGE, exif(of_stream(self.GOOD)))
        self.assertEqual(json.loads(self.convert("in.jpg", "out.jpg", "--json"))["dropped"], [])

    def test_without_a_place(self):
        """In a TIFF file the next page would stand there."""
        for source in ("in.jpg", "in.png"):
            with self.subTest(source):
                thumbnails.save(self.path(source), IMAGE, exif(of_stream(self.GOOD)))
                self.assertEqual(self.convert(source, "out.tif", "--compress", "none"),
                                 f"kxcms: {source}: dropped: thumbnail\n")
                self.assertEqual(self.exiftool("out.tif")["IFD0:ImageDescription"], "a slide")
                self.assertEqual(self.extracted("out.tif"), b"")

    def test_more_than_a_marker_holds(self):
        """JPEG has 64 KiB for Exif: the thumbnail gives way, and no tag."""
        note = (37500, UNDEFINED, b"maker" * 6000)
        for what, source, thumbnail, target, line in (
            ("250 x 100 pixels from PNG", "in.png", of_pixels(picture(250, 100)), "out.jpg",
             "kxcms: in.png: dropped: thumbnail (too large)\n"),
            ("they stay in PNG", "in.png", of_pixels(picture(250, 100)), "out.png", ""),
            ("fits beside a large tag", "in.jpg", of_pixels(picture(100, 100)), "out.jpg", ""),
            ("does not", "in.png", of_pixels(picture(120, 100)), "out.jpg",
             "kxcms: in.png: dropped: thumbnail (too large)\n"),
        ):
            with self.subTest(what):
                tags = thumbnails.IMAGE_TAGS + [note]
                thumbnails.save(self.path(source), IMAGE, exif(thumbnail, tags=tags))
                self.assertEqual(self.convert(source, target), line)
                after = self.exiftool(target)
                self.assertNotIn("ExifTool:Warning", after)
                self.assertEqual(after["IFD0:ImageDescription"], "a slide")
                self.assertIn(note[2], self.read(target))
                self.assertEqual("IFD1:Compression" in after, line == "")

    def test_further_directories_and_packets(self):
        """What only a strange thumbnail carries goes, and is told."""
        tags, data = of_stream(self.GOOD)
        for what, block, line in (
            ("a third directory", exif((tags, data), following=8), "directories behind the thumbnail"),
            ("a packet", exif(((lambda at: tags(at) + [(700, 1, b"<x/>  ")]), data)),
             "tag 700 of the thumbnail"),
            ("an old white point", exif(((lambda at: sorted(
                tags(at) + [(318, 5, [(1, 3), (1, 3)])])), data)), "WhitePoint"),
        ):
            with self.subTest(what):
                thumbnails.save(self.path("in.jpg"), IMAGE, block)
                self.assertEqual(self.convert("in.jpg", "out.jpg"),
                                 f"kxcms: in.jpg: dropped: {line}\n")
                self.expect_converted(self.decoded(self.GOOD),
                                      self.decoded(self.extracted("out.jpg")))


class PhotoshopThumbnails(Case):
    """Those among Photoshop's resources."""

    SIDES = 160, 120
    BEFORE = resource(1005, b"resolution..", b"a name")
    BEHIND = resource(1034, b"\1")

    def resources(self, number=THUMBNAIL, data=None, **replaced):
        content = photoshop_thumbnail(stream(SMALL) if data is None else data, self.SIDES,
                                      **replaced)
        return self.BEFORE + resource(number, content, b"small") + self.BEHIND

    def after(self, name):
        """@return the resources of a result, in their order: {number: (name, data)}"""
        data = self.read(name)
        at = data.index(b"8BIM")
        found = {}
        while data[at:at + 4] == b"8BIM":
            number, length = struct.unpack_from(">HB", data, at + 4)
            name_end = at + 6 + (length + 2) // 2 * 2
            size, = struct.unpack_from(">I", data, name_end)
            found[number] = (data[at + 7:at + 7 + length], data[name_end + 4:name_end + 4 + size])
            at = name_end + 4 + size + size % 2
        return found

    def test_converted(self):
        for what, data in (("with JFIF", stream(SMALL)),
                           ("4:4:4", stream(SMALL, subsampling="4:4:4")),
                           ("an odd number of bytes", self.of_length(1)),
                           ("an even one", self.of_length(0))):
            for source, target in (("in.tif", "out.tif"), ("in.tif", "out.jpg"),
                                   ("in.jpg", "out.jpg"), ("in.jpg", "out.tif")):
                with self.subTest(what, source=source, target=target):
                    thumbnails.save(self.path(source), IMAGE, resources=self.resources(data=data))
                    options = ["--compress", "none"] if target == "out.tif" else []
                    self.assertEqual(self.convert(source, target, *options), "")
                    found = self.after(target)
                    self.assertEqual(list(found), [1005, THUMBNAIL, 1034])
                    self.assertEqual((found[1005], found[1034]),
                                     ((b"a name", b"resolution.."), (b"", b"\1")))
                    name, content = found[THUMBNAIL]
                    small = content[28:]
                    self.assertEqual(name, b"small")
                    self.assertEqual(content, photoshop_thumbnail(small, self.SIDES))
                    self.assertEqual(self.extracted(target, "PhotoshopThumbnail"), small)
                    self.expect_converted(self.decoded(data), self.decoded(small))

    @staticmethod
    def of_length(remainder):
        """A stream of that many bytes, modulo two."""
        return next(data for data in (stream(SMALL, quality=quality) for quality in range(90, 60, -1))
                    if len(data) % 2 == remainder)

    def test_dropped_ones(self):
        good = stream(SMALL)
        for what, resources in (
            ("of Photoshop 4, cut off", self.resources(THUMBNAIL_OF_4, good[:len(good) // 2])),
            ("raw", self.resources(format=0)),
            ("of another width", self.resources(width=159)),
            ("of another height", self.resources(height=121)),
            ("longer than the resource", self.resources(size=len(good) + 1)),
            ("4 GiB", self.resources(size=0xFFFFFFFF)),
            ("nothing", self.resources(size=0)),
            ("cut off", self.resources(data=good[:len(good) // 2])),
            ("no stream", self.resources(data=bytes(100))),
            ("grey", self.resources(data=stream(SMALL, "L"))),
            ("only a header", self.BEFORE + resource(
                THUMBNAIL, photoshop_thumbnail(b"", self.SIDES)) + self.BEHIND),
            ("half a header", self.BEFORE + resource(THUMBNAIL, bytes(11)) + self.BEHIND),
        ):
            for source in ("in.tif", "in.jpg"):
                with self.subTest(what, source=source):
                    thumbnails.save(self.path(source), IMAGE, resources=resources)
                    self.assertEqual(
                        self.convert(source, "out.tif", "--compress", "none"),
                        f"kxcms: {source}: dropped: Photoshop's thumbnail\n")
                    self.assertEqual(self.after("out.tif"), {1005: (b"a name", b"resolution.."),
                                                             1034: (b"", b"\1")})

    def test_blue_first(self):
        """As Photoshop 4 wrote it: what the stream calls red is blue."""
        thumbnails.save(self.path("in.tif"), IMAGE, resources=self.resources(
            THUMBNAIL_OF_4, stream(SMALL[:, :, ::-1])))
        for target in ("out.tif", "out.jpg"):
            with self.subTest(target):
                self.assertEqual(self.convert("in.tif", target), "")
                self.assertEqual(list(self.after(target)), [1005, THUMBNAIL_OF_4, 1034])
                before, after = (self.decoded(self.extracted(name, "PhotoshopBGRThumbnail"))
                                 for name in ("in.tif", target))
                self.expect_converted(before[:, :, ::-1], after[:, :, ::-1])

    def test_two(self):
        """Readers take the first one."""
        second = resource(THUMBNAIL, photoshop_thumbnail(stream(picture(10, 10)), (10, 10)))
        thumbnails.save(self.path("in.tif"), IMAGE, resources=self.resources() + second)
        self.assertEqual(self.convert("in.tif", "out.tif"),
                         "kxcms: in.tif: dropped: Photoshop's thumbnail\n")
        self.expect_converted(self.decoded(stream(SMALL)), self.decoded(
            self.extracted("out.tif", "PhotoshopThumbnail")))

    def test_copy_of_exif(self):
        """Photoshop keeps a second block of Exif, whose thumbnail is converted too."""
        for thumbnail, line in ((of_stream(stream(SMALL)), ""),
                                (of_stream(stream(SMALL)[:-9]),
                                 "kxcms: in.tif: dropped: thumbnail\n")):
            for order in ORDERS.values():
                with self.subTest(line, order=order):
                    thumbnails.save(self.path("in.tif"), IMAGE,
                                    resources=self.BEFORE + resource(1058, exif(thumbnail, order)))
                    self.assertEqual(self.convert("in.tif", "out.tif"), line)
                    # As a picture's own block, for exiftool.
                    thumbnails.save(self.path("copy.jpg"), IMAGE, self.after("out.tif")[1058][1])
                    tags = self.exiftool("copy.jpg")
                    self.assertNotIn("ExifTool:Warning", tags)
                    self.assertEqual(tags["IFD0:ImageDescription"], "a slide")
                    if line:
                        self.assertEqual(self.extracted("copy.jpg"), b"")
                    else:
                        self.expect_converted(self.decoded(stream(SMALL)),
                                              self.decoded(self.extracted("copy.jpg")))


if __name__ == "__main__":
    surroundings.main()
