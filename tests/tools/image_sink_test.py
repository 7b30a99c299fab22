#!/usr/bin/env python3
"""What is written of images: pixels, structure and metadata, as other people's readers see them.

Environment: KXCMS_IMAGE_CLIENT, which copies a file through the command's source and sink.
"""

import hashlib
import json
import os
import resource
import struct
import subprocess
import unittest
import zlib

import numpy
import PIL.Image
import PIL.PngImagePlugin
import tifffile

import exiftool
import profiles
import surroundings
import tiff_rules
import tiffs
from image_forms import (FORMS, HEIGHT, PROFILE, WIDTH, copied, run, samples, saved, several,
                         tagged, written)
from own_folder import OwnFolder
from tiffs import ASCII, BYTE, DOUBLE, FLOAT, LONG, RATIONAL, SBYTE, SHORT, UNDEFINED, tiff

CLIENT = os.environ["KXCMS_IMAGE_CLIENT"]
with open(CLIENT, "rb") as client:
    SANITIZED = b"__asan_init" in client.read()
TIFF, JPEG, PNG = 0, 1, 2
OTHERS, SRGB, ADOBE = 0, 1, 2
NONE, LZW, DEFLATE, PACKBITS, LZMA, ZSTD = 1, 5, 8, 32773, 34925, 50000


class Images(OwnFolder):
    def run_copy(self, source, target, form=TIFF, compression=NONE, colors=SRGB, big=0,
                 quality=95, **options):
        return subprocess.run(
            [CLIENT, "copy", self.path(source), self.path(target),
             *map(str, (form, compression, colors, big, quality))],
            stdin=subprocess.DEVNULL, capture_output=True, timeout=120, **options)

    def copy(self, source, target, *arguments, **options):
        """@return names of what was dropped."""
        done = self.run_copy(source, target, *arguments, **options)
        self.assertEqual((done.returncode, done.stderr.decode()), (0, ""))
        return json.loads(done.stdout)

    def rules(self, name):
        return tiff_rules.read(self.read(name))

    def rows(self, name, page=0):
        return subprocess.run([CLIENT, "rows", self.path(name), str(page)], check=True,
                              capture_output=True, timeout=60).stdout

    def exiftool(self, name):
        """@return {name with its group: value}"""
        return exiftool.tags(self.path(name))


class Rules(unittest.TestCase):
    """The checker finds what it is there for."""

    GOOD = tiff(profile=b"odd")

    def test_good_ones(self):
        for order in "<>":
            with self.subTest(order=order):
                tiff_rules.read(tiff(order=order, extra=[(270, ASCII, b"a slide\0")]))

    def test_broken_ones(self):
        data = self.GOOD
        at, = struct.unpack_from("<I", data, 4)

        def changed(place, code, *values):
            new = bytearray(data)
            struct.pack_into("<" + code, new, place, *values)
            return bytes(new)
        entries = {struct.unpack_from("<H", data, at + 2 + 12 * i)[0]: at + 2 + 12 * i
                   for i in range(struct.unpack_from("<H", data, at)[0])}
        resolution, = struct.unpack_from("<I", data, entries[282] + 8)
        for what, broken, reason in (
            ("out of order", changed(entries[282], "H", 284), "tag 283 behind tag 284"),
            ("an odd value", changed(entries[282] + 8, "I", resolution + 1), "odd position"),
            ("an overlap", changed(entries[283] + 8, "I", resolution), "overlaps"),
            ("a wrong count", changed(entries[258] + 4, "I", 2), "2 depths of 3 samples"),
            ("a strip too short", changed(entries[279] + 8, "I", 700), "piece 0 of 700 bytes"),
            ("a value outside", changed(entries[282] + 8, "I", 1 << 20), "outside the file"),
            ("an odd directory", data[:4] + struct.pack("<I", at + 1) + data[8:at] + b"\0"
             + data[at:], "directory at the odd position"),
            ("bytes of nobody", data + b"1234", "ends at"),
            ("a circle", changed(at + 2 + 12 * len(entries), "I", at), "twice"),
        ):
            with self.subTest(what):
                with self.assertRaisesRegex(tiff_rules.Broken, reason):
                    tiff_rules.read(broken)


class Pixels(Images):
    def test_every_form_as_tiff(self):
        """tifffile finds the same samples in the copy, and the rules hold."""
        for form in FORMS:
            with self.subTest(form.name):
                path, pages = form.write(self.folder)
                self.copy(os.path.basename(path), "out.tif")
                self.rules("out.tif")
                with tifffile.TiffFile(self.path("out.tif")) as file:
                    found = [page.asarray() for top in file.pages
                             for page in (top, *(top.pages or ()))]
                self.assertEqual(len(found), len(pages))
                for data, expected in zip(found, pages):
                    numpy.testing.assert_array_equal(data, expected)

    def test_every_compression(self):
        """Read back by libtiff's tiffcp, and from there by tifffile."""
        for bits in (8, 16):
            for samples_ in (3, 4):
                data = samples(bits, samples_)
                extras = {} if samples_ == 3 else {"extrasamples": ["unspecified"]}
                for what, options in (("strips", {"rowsperstrip": 7}),
                                      ("tiles", {"tile": (16, 32)}),
                                      ("one strip", {"rowsperstrip": HEIGHT}),
                                      ("big-endian", {"byteorder": ">", "rowsperstrip": 9}),
                                      ("big-endian tiles", {"byteorder": ">", "tile": (16, 16)})):
                    written(data, **options, **extras)(self.path("in.tif"))
                    for compression in (NONE, LZW, DEFLATE, PACKBITS, LZMA, ZSTD):
                        for big in (0, 1):
                            with self.subTest(what, bits=bits, compression=compression, big=big):
                                self.copy("in.tif", "out.tif", compression=compression, big=big)
                                file = self.rules("out.tif")
                                self.assertEqual(file.big, bool(big))
                                page, = file.pages
                                self.assertEqual(page.number(259), compression)
                                self.assertEqual(322 in page, "tile" in options)
                                if "rowsperstrip" in options:
                                    self.assertEqual(page.number(278), options["rowsperstrip"])
                                run("tiffcp", "-c", "none", self.path("out.tif"),
                                    self.path("plain.tif"))
                                numpy.testing.assert_array_equal(
                                    tifffile.imread(self.path("plain.tif")), data)

    def test_between_formats(self):
        for bits, count in ((8, 3), (8, 4), (16, 3), (16, 4)):
            data = samples(bits, count)
            extras = {} if count == 3 else {"extrasamples": ["unassalpha"]}
            written(data, **extras)(self.path("in.tif"))
            with self.subTest("PNG", bits=bits, count=count):
                self.assertEqual(self.copy("in.tif", "out.png", PNG), [])
                self.copy("out.png", "back.tif", TIFF)
                numpy.testing.assert_array_equal(tifffile.imread(self.path("back.tif")), data)
                if bits == 8:
                    with PIL.Image.open(self.path("out.png")) as image:
                        numpy.testing.assert_array_equal(numpy.asarray(image), data)
        written(samples(8))(self.path("in.tif"))
        self.assertEqual(self.copy("in.tif", "out.jpg", JPEG, quality=100), [])
        with PIL.Image.open(self.path("out.jpg")) as image:
            error = numpy.asarray(image).astype(int) - samples(8)
        self.assertLess(abs(error).max(), 12, "quality 100 without subsampling")
        written(samples(8, 4), extrasamples=["unassalpha"])(self.path("in.tif"))
        self.assertEqual(self.copy("in.tif", "out.jpg", JPEG), ["alpha and other extra samples"])

    def test_what_a_format_cannot_hold_is_refused(self):
        written(samples(16))(self.path("in.tif"))
        done = self.run_copy("in.tif", "out.jpg", JPEG)
        self.assertEqual((done.returncode, done.stderr.decode()),
                         (1, "unwritable: JPEG holds 8 bits a sample, not 16\n"))

    def test_a_full_disk_is_told(self):
        surroundings.require_file_size_limits()
        written(samples(8, height=300, width=300))(self.path("in.tif"))

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (50_000, 50_000))
            import signal
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        for form, compression in ((TIFF, NONE), (TIFF, LZW), (JPEG, NONE), (PNG, NONE)):
            with self.subTest(form=form, compression=compression):
                done = self.run_copy("in.tif", "out", form, compression, preexec_fn=limit)
                self.assertEqual((done.returncode, done.stderr.decode()),
                                 (1, "unwritable: File too large\n"))

    @unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
    def test_memory_does_not_grow_with_the_image(self):
        """180 MB of pixels in one strip go through 100 MB of memory, in and out."""
        data = numpy.zeros((10_000, 3000, 3), "u2")
        written(data, rowsperstrip=10_000)(self.path("in.tif"))

        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (100 << 20, 100 << 20))
        for compression in (NONE, LZW, ZSTD):
            with self.subTest(compression=compression):
                done = self.run_copy("in.tif", "out.tif", TIFF, compression, preexec_fn=limit)
                self.assertEqual((done.returncode, done.stderr.decode()), (0, ""))


class Tags(Images):
    # (tag, type, value): kept as it is, whatever the order and the depth
    KEPT = [
        (269, ASCII, b"document\0"), (270, ASCII, b"a slide, 1978\0"), (271, ASCII, b"Maker\0"),
        (272, ASCII, b"Model 5000 ED\0"), (274, SHORT, [6]), (282, RATIONAL, [(6000, 10)]),
        (283, RATIONAL, [(5999, 10)]), (285, ASCII, b"page one\0"), (286, RATIONAL, [(1, 3)]),
        (287, RATIONAL, [(2, 3)]), (296, SHORT, [3]), (297, SHORT, [2, 7]),
        (305, ASCII, b"Scanner 4.0\0"), (306, ASCII, b"2003:02:01 10:11:12\0"),
        (315, ASCII, b"somebody\0"), (316, ASCII, b"a host\0"), (700, BYTE, b"<x:xmpmeta/>"),
        (18246, SHORT, [3]), (18249, SHORT, [60]), (32781, ASCII, b"an id\0"),
        (33432, ASCII, b"(c) somebody\0"), (33550, DOUBLE, [1.5, 2.5, 0.0]),
        (33723, UNDEFINED, b"\x1c\x02\x05\0\1A"), (33922, DOUBLE, [0.0, 0, 0, 4e5, 5e6, 0]),
        (34264, DOUBLE, [float(i) for i in range(16)]),
        (34377, BYTE, b"8BIM\x03\xed\0\0\0\0\0\2hi"),
        (34735, SHORT, [1, 1, 0, 1, 1024, 0, 1, 1]), (34736, DOUBLE, [6378137.0, 298.25]),
        (34737, ASCII, b"WGS 84|\0"), (40091, BYTE, "title".encode("utf-16-le")),
        (42113, ASCII, b"-9999\0"), (50341, UNDEFINED, b"PrintIM\x000300\0\0"),
        (60000, SBYTE, [-1, -2]), (60001, FLOAT, [1.5]), (60002, UNDEFINED, b"0231"),
        (60003, SHORT, [1, 2, 3]), (60004, LONG, [70000]), (60005, RATIONAL, [(1, 3), (2, 7)]),
        (60006, BYTE, bytes(range(256))), (60007, DOUBLE, [1.25]), (60008, FLOAT, [1.5, 2.5]),
        (60009, UNDEFINED, b"12345"), (60010, BYTE, b"1"), (60011, ASCII, b"\0"),
    ]

    def test_kept(self):
        self.assertGreater(len(self.KEPT), 35)
        for bits in (8, 16):
            for order in "<>":
                for big in (0, 1):
                    self.write("in.tif", tiff(bits=bits, order=order, extra=self.KEPT))
                    self.assertEqual(self.copy("in.tif", "out.tif", big=big), [])
                    page, = self.rules("out.tif").pages
                    for number, kind, values in self.KEPT:
                        with self.subTest(number, bits=bits, order=order, big=big):
                            content = tiffs.encode(kind, values, order)
                            self.assertEqual(page[number], (kind, tiffs.count_of(kind, content),
                                                            content))

    def test_large_blocks_of_exif_in_png(self):
        """libpng reads and writes them byte by byte, which must not reach the system: 8 MiB take a
        tenth of a second, and system calls for each byte more than eight."""
        text = b"x" * (8 << 20) + b"\0"
        self.write("in.tif", tiff(extra=[(270, ASCII, text)]))
        limit = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_CPU, (4, 4))}
        self.assertEqual(self.copy("in.tif", "middle.png", PNG, **limit), [])
        self.assertEqual(self.copy("middle.png", "out.png", PNG, **limit), [])
        self.assertIn(text, self.read("out.png"))

    def test_iptc_in_two_places(self):
        """In TIFF it may stand in its own tag and among Photoshop's blocks; JPEG has the latter."""
        own = b"\x1c\x02\x5a\0\4Here"
        for what, there, lost in (("the same", own, []), ("without the zeros", own + bytes(3), []),
                                  ("another", own[:-1] + b"d",
                                   ["the second IPTC of Photoshop's blocks"])):
            with self.subTest(what):
                block = b"8BIM" + struct.pack(">HHI", 1028, 0, len(there)) + there
                self.write("in.tif", tiff(extra=[
                    (33723, UNDEFINED, own + bytes(3)),
                    (34377, BYTE, block + bytes(len(block) % 2))]))
                self.assertEqual(self.copy("in.tif", "out.jpg", JPEG), lost)
                self.assertEqual(self.exiftool("out.jpg")["IPTC:City"], "Here")

    def test_tags_as_large_as_a_marker(self):
        """A block of Exif that just fits, and one that does not, by one byte after the other."""
        fates = set()
        for size in range(65480, 65520):
            self.write("in.tif", tiff(extra=[(270, ASCII, b"x" * (size - 1) + b"\0")],
                                      without=(282, 283, 296)))
            said = self.copy("in.tif", "out.jpg", JPEG)
            self.assertIn(said, ([], ["tag 270 (too large)"]))
            self.assertEqual(b"x" * (size - 1) in self.read("out.jpg"), not said)
            fates.add(bool(said))
        self.assertEqual(fates, {True, False})

    def test_kept_through_other_formats(self):
        """TIFF to JPEG or PNG and back; PNG has no place for IPTC and Photoshop's blocks."""
        for bits, form, lost in ((8, JPEG, ()), (8, PNG, (33723, 34377)),
                                 (16, PNG, (33723, 34377))):
            for order in "<>":
                self.write("in.tif", tiff(bits=bits, order=order, extra=self.KEPT))
                self.assertEqual(self.copy("in.tif", "middle", form),
                                 ["IPTC and Photoshop's blocks"] if lost else [])
                self.assertEqual(self.copy("middle", "out.tif"), [])
                page, = self.rules("out.tif").pages
                self.assertEqual(page.order, order)
                for number, kind, values in self.KEPT:
                    with self.subTest(number, bits=bits, order=order, form=form):
                        content = tiffs.encode(kind, values, order)
                        self.assertEqual(page.get(number), None if number in lost else (
                            kind, tiffs.count_of(kind, content), content))

    XMP = ("<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf="
           "'http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about=''"
           " xmlns:{p}='http://ns.adobe.com/photoshop/1.0/'{attribute}>{element}"
           "<{p}:City>Here</{p}:City></rdf:Description></rdf:RDF></x:xmpmeta>")

    def test_what_speaks_of_the_old_colours_goes(self):
        block = b"8BIM" + struct.pack(">HHI", 1005, 0, 2) + b"hi"

        def with_block(number):
            return b"8BIM" + struct.pack(">HHI", number, 0, 3) + b"old\0"
        plain = self.XMP.format(p="photoshop", attribute="", element="")
        named = self.XMP.format(p="photoshop", attribute=" photoshop:ICCProfile='old one'",
                                element="")
        element = self.XMP.format(p="ps", attribute="",
                                  element="<ps:ICCProfile>old one</ps:ICCProfile>")
        for what, tag, kind, values, left, said in (
            ("white point", 318, RATIONAL, [(1, 3), (1, 3)], None, ["WhitePoint"]),
            ("primaries", 319, RATIONAL, [(1, 3)] * 6, None, ["PrimaryChromaticities"]),
            ("transfer function", 301, SHORT, [0] * 256, None, ["TransferFunction"]),
            ("layers", 37724, UNDEFINED, b"Adobe Photoshop Document Data Block\0", None,
             ["Photoshop's layers"]),
            ("a thumbnail", 513, LONG, [8], None, ["thumbnail"]),
            ("global parameters", 400, LONG, [8], None, ["GlobalParameters"]),
            ("Photoshop's profile", 34377, BYTE, with_block(1039) + block, block,
             ["Photoshop's profile"]),
            ("Photoshop's thumbnails", 34377, BYTE,
             with_block(1033) + block + with_block(1036), block, ["Photoshop's thumbnail"] * 2),
            ("only the profile", 34377, BYTE, with_block(1039), None, ["Photoshop's profile"]),
            ("damaged blocks", 34377, BYTE, b"8BIM\x04\x0f\0\0\xff\xff\xff\xff", None,
             ["Photoshop's blocks (damaged)"]),
            ("the profile's name in XMP", 700, BYTE, named.encode(),
             plain.replace("1.0/'", "1.0/' ").encode(), ["XMP's name of the profile"]),
            ("the same as an element", 700, BYTE, element.encode(),
             self.XMP.format(p="ps", attribute="", element="").encode(),
             ["XMP's name of the profile"]),
        ):
            for bits in (8, 16):
                with self.subTest(what, bits=bits):
                    self.write("in.tif", tiff(bits=bits, extra=[(tag, kind, values)]))
                    self.assertEqual(self.copy("in.tif", "out.tif"), said)
                    page, = self.rules("out.tif").pages
                    self.assertEqual(page.get(tag, (0, 0, None))[2], left)

    def exif_file(self, suffix):
        path = self.path("in" + suffix)
        PIL.Image.fromarray(samples(8)).save(path)
        exiftool.run("-overwrite_original", "-EXIF:ImageDescription=a slide",
                     "-EXIF:Orientation#=6", "-ExposureTime=1/60", "-ISO=400",
                     "-EXIF:DateTimeOriginal=2003:02:01 10:11:12",
                     "-EXIF:UserComment=a long comment", "-EXIF:ColorSpace#=1",
                     "-EXIF:InteropIndex=R98", "-EXIF:Gamma=2.2", "-EXIF:LensModel=60 mm",
                     "-GPSLatitude=48.5", "-GPSLatitudeRef=N", "-GPSLongitude=9.25",
                     "-GPSLongitudeRef=E", "-XMP:Title=a title",
                     "-IPTC:City=Here" if suffix != ".png" else "-XMP:City=Here", path)
        return path

    SAME = ("IFD0:ImageDescription", "IFD0:Orientation", "ExifIFD:ExposureTime", "ExifIFD:ISO",
            "ExifIFD:DateTimeOriginal", "ExifIFD:UserComment", "ExifIFD:LensModel",
            "GPS:GPSLatitude", "GPS:GPSLatitudeRef", "GPS:GPSLongitude", "XMP-dc:Title")

    def test_exif_as_exiftool_reads_it(self):
        """From every format to every format, with its directories and their offsets."""
        for source in (".tif", ".jpg", ".png"):
            before = self.exiftool(os.path.basename(self.exif_file(source)))
            for target, form in ((".tif", TIFF), (".jpg", JPEG), (".png", PNG)):
                for colors, space, index in ((SRGB, 1, "R98"), (ADOBE, 65535, "R03"),
                                             (OTHERS, 65535, None)):
                    with self.subTest(source + target, colors=colors):
                        said = self.copy("in" + source, "out" + target, form, colors=colors)
                        after = self.exiftool("out" + target)
                        for name in self.SAME:
                            self.assertEqual(after.get(name), before[name], name)
                        self.assertEqual(after["ExifIFD:ColorSpace"], space)
                        self.assertEqual(after.get("InteropIFD:InteropIndex"), index)
                        self.assertNotIn("ExifIFD:Gamma", after)
                        self.assertIn("Exif's Gamma", said)
                        self.assertEqual("Exif's interoperability" in said, index is None)
                        if ".png" not in (source, target):
                            self.assertEqual(after.get("IPTC:City"), "Here")
                        elif source != ".png":
                            self.assertIn("IPTC and Photoshop's blocks", said)
                        self.assertNotIn("ExifTool:Warning", after)
                        if target == ".tif":
                            self.rules("out.tif")

    def test_resolution_between_formats(self):
        for source in (".tif", ".jpg", ".png"):
            PIL.Image.fromarray(samples(8)).save(self.path("in" + source), dpi=(300, 300))
            for target, form in ((".tif", TIFF), (".jpg", JPEG), (".png", PNG)):
                with self.subTest(source + target):
                    self.copy("in" + source, "out" + target, form)
                    with PIL.Image.open(self.path("out" + target)) as image:
                        for value in image.info["dpi"]:
                            self.assertAlmostEqual(float(value), 300, delta=0.6)

    def test_profiles(self):
        for profile in (PROFILE, profiles.scanner(points=25)):
            written(samples(8), iccprofile=profile)(self.path("in.tif"))
            for target, form in ((".tif", TIFF), (".jpg", JPEG), (".png", PNG)):
                with self.subTest(target, size=len(profile)):
                    self.assertEqual(self.copy("in.tif", "out" + target, form), [])
                    with PIL.Image.open(self.path("out" + target)) as image:
                        self.assertEqual(image.info["icc_profile"], profile)

    def test_comments(self):
        saved(samples(8), comment="a comment", quality=90)(self.path("in.jpg"))
        self.assertEqual(self.copy("in.jpg", "out.jpg", JPEG), [])
        with PIL.Image.open(self.path("out.jpg")) as image:
            self.assertEqual(image.info["comment"], b"a comment")
        self.assertEqual(self.copy("in.jpg", "out.tif"), [])
        self.assertEqual(self.exiftool("out.tif")["IFD0:ImageDescription"], "a comment")
        exiftool.run("-overwrite_original", "-EXIF:ImageDescription=another", self.path("in.jpg"))
        self.assertEqual(self.copy("in.jpg", "out.tif"), ["comment"])
        self.assertEqual(self.exiftool("out.tif")["IFD0:ImageDescription"], "another")
        info = PIL.PngImagePlugin.PngInfo()
        info.add_text("Title", "a slide")
        info.add_itxt("Author", "Søren")
        info.add_text("Copyright", "(c) Søren")  # Latin-1
        saved(samples(8), pnginfo=info)(self.path("in.png"))
        self.assertEqual(self.copy("in.png", "out.png", PNG), [])
        with PIL.Image.open(self.path("out.png")) as image:
            self.assertEqual(image.text, {"Title": "a slide", "Author": "Søren",
                                          "Copyright": "(c) Søren"})
        for target, form in (("out.tif", TIFF), ("out.jpg", JPEG)):
            with self.subTest(target):
                self.assertEqual(self.copy("in.png", target, form), ["text Title"])
                found = self.exiftool(target)
                self.assertEqual((found["IFD0:Artist"], found["IFD0:Copyright"]),
                                 ("Søren", "(c) Søren"))

    @staticmethod
    def markers(jpeg):
        """[(number, content)] up to the pixels."""
        found, at = [], 2
        while jpeg[at + 1] != 0xDA:
            size, = struct.unpack_from(">H", jpeg, at + 2)
            found.append((jpeg[at + 1], jpeg[at + 4:at + 2 + size]))
            at += 2 + size
        return found

    def test_xmp_of_several_markers(self):
        """Larger than one marker of JPEG; exiftool reads it from every format."""
        text = "".join(f"word{i} " for i in range(30_000))
        PIL.Image.fromarray(samples(8)).save(self.path("in.tif"))
        self.write("text", text.encode())
        exiftool.run("-overwrite_original", f"-XMP-dc:Description<={self.path('text')}",
                     "-XMP-dc:Title=short", self.path("in.tif"))
        self.assertEqual(self.copy("in.tif", "divided.jpg", JPEG), [])
        heads = [content for number, content in self.markers(self.read("divided.jpg"))
                 if number == 0xE1 and content.startswith(b"http://ns.adobe.com/xmp/extension/\0")]
        self.assertGreater(len(heads), 2)
        rest = b"".join(content[75:] for content in heads)
        digest = hashlib.md5(rest).hexdigest().upper().encode()
        for content in heads:
            self.assertEqual((content[35:67], content[67:71]),
                             (digest, struct.pack(">I", len(rest))))
        for source, target, form in (("divided.jpg", "again.jpg", JPEG),
                                     ("divided.jpg", "joined.tif", TIFF),
                                     ("divided.jpg", "joined.png", PNG)):
            with self.subTest(target):
                self.assertEqual(self.copy(source, target, form), [])
                for name in (source, target):
                    found = self.exiftool(name)
                    self.assertEqual((found["XMP-dc:Description"].strip(), found["XMP-dc:Title"]),
                                     (text.strip(), "short"))
                    self.assertNotIn("ExifTool:Warning", found)

    def test_xmp_whose_rest_is_missing(self):
        packet = self.XMP.format(p="photoshop", attribute="", element="").encode()
        rest = b"http://ns.adobe.com/xmp/extension/\0" + b"0" * 32
        for what, parts in (
            ("of another packet", [rest + struct.pack(">2I", 4, 0) + b"text"]),
            ("shorter than its head", [rest[:-2]]),
            ("of no text at all", [rest]),
        ):
            with self.subTest(what):
                saved(samples(8))(self.path("in.jpg"))
                jpeg = self.read("in.jpg")
                for content in (b"http://ns.adobe.com/xap/1.0/\0" + packet, *parts):
                    jpeg = jpeg[:2] + struct.pack(">3H", 0xFFE1, len(content) + 2, 0)[:4] + content \
                        + jpeg[2:]
                self.write("in.jpg", jpeg)
                self.assertEqual(self.copy("in.jpg", "out.tif"), ["a further part of XMP"])
                self.assertEqual(self.exiftool("out.tif")["XMP-photoshop:City"], "Here")

    def test_copies_that_photoshop_keeps(self):
        """Its second Exif block and XMP packet speak of the new colours too."""
        self.exif_file(".tif")
        exiftool.run("-overwrite_original", "-o", self.path("exif.jpg"), "-TagsFromFile",
                     self.exif_file(".jpg"), "-EXIF:all", "-GPS:all", self.exif_file(".jpg"))
        exif = next(content[6:] for number, content in self.markers(self.read("exif.jpg"))
                    if number == 0xE1 and content.startswith(b"Exif\0\0"))
        xmp = self.XMP.format(p="photoshop", attribute=" photoshop:ICCProfile='old one'",
                              element="").encode()

        def block(number, content):
            return b"8BIM" + struct.pack(">HHI", number, 0, len(content)) + content \
                + bytes(len(content) % 2)
        for what, blocks, said in (
            ("both", block(1058, exif) + block(1060, xmp),
             {"XMP's name of the profile", "Exif's Gamma", "Exif's interoperability"}),
            ("a damaged one", block(1058, exif[:40]), {"Photoshop's copy of Exif (damaged)"}),
        ):
            with self.subTest(what):
                self.write("in.tif", tiff(extra=[(34377, BYTE, blocks)]))
                self.assertEqual(set(self.copy("in.tif", "out.tif", colors=OTHERS)), said)
                content = self.rules("out.tif").pages[0].get(34377, (0, 0, b""))[2]
                self.assertNotIn(b"old one", content)
                self.assertNotIn(b"R98", content)
        self.write("in.tif", tiff(extra=[(34377, BYTE, block(1058, exif))]))
        self.copy("in.tif", "out.tif", colors=OTHERS)
        found = exiftool.run("-s3", "-n", "-ColorSpace", self.path("out.tif"))
        self.assertEqual(found.strip(), b"65535")

    def test_directories_that_would_be_empty_go(self):
        """An Exif directory of nothing but the gamma of the old colours."""
        at = 8 + 720
        inner = struct.pack("<H2HII", 1, 42240, RATIONAL, 1, 8) + bytes(4)
        data = tiff(extra=[(34665, LONG, [at])])
        first, = struct.unpack_from("<I", data, 4)
        data = bytearray(data + inner)
        count, = struct.unpack_from("<H", data, first)
        for i in range(count):
            if struct.unpack_from("<H", data, first + 2 + 12 * i)[0] == 34665:
                struct.pack_into("<I", data, first + 10 + 12 * i, len(data) - len(inner))
        self.write("in.tif", bytes(data))
        for target, form in (("out.tif", TIFF), ("out.jpg", JPEG), ("out.png", PNG)):
            with self.subTest(target):
                self.assertEqual(self.copy("in.tif", target, form), ["Exif's Gamma"])
        self.assertNotIn(34665, self.rules("out.tif").pages[0])

    def test_what_stands_behind_the_image(self):
        for suffix in (".jpg", ".png"):
            with self.subTest(suffix):
                saved(samples(8))(self.path("in" + suffix))
                self.write("in" + suffix, self.read("in" + suffix) + b"another image")
                self.assertEqual(self.copy("in" + suffix, "out.tif"), ["bytes behind the image"])

    def test_chunks_that_are_of_the_old_colours(self):
        saved(samples(8))(self.path("in.png"))
        png = self.read("in.png")

        def chunk(kind, content):
            return struct.pack(">I", len(content)) + kind + content \
                + struct.pack(">I", zlib.crc32(kind + content))
        gamma, background = chunk(b"gAMA", struct.pack(">I", 50_000)), chunk(b"bKGD", bytes(6))
        self.write("in.png", png[:33] + gamma + background + png[33:])
        self.assertEqual(self.copy("in.png", "out.tif"), ["chunk gAMA", "chunk bKGD"])

    def test_texts_that_hold_an_old_profile(self):
        """As a widespread program writes them; libpng knows them as texts only."""
        info = PIL.PngImagePlugin.PngInfo()
        for kind in ("icc", "exif", "iptc"):
            info.add_text(f"Raw profile type {kind}", f"\n{kind}\n       2\n4142\n", zip=True)
        saved(samples(8), pnginfo=info)(self.path("in.png"))
        self.assertEqual(self.copy("in.png", "out.png", PNG),
                         ["text Raw profile type icc", "text Raw profile type exif"])
        with PIL.Image.open(self.path("out.png")) as image:
            self.assertEqual(list(image.text), ["Raw profile type iptc"])

    def test_a_thousand_kinds_of_chunks(self):
        saved(samples(8))(self.path("in.png"))
        png, more = self.read("in.png"), b""
        for number in range(1000):
            kind = b"a" + bytes(97 + number // 26 ** i % 26 for i in range(2)) + b"a"
            kind = kind[:2] + kind[2:3].upper() + kind[3:]
            more += 2 * (struct.pack(">I", 0) + kind + struct.pack(">I", zlib.crc32(kind)))
        self.write("in.png", png[:33] + more + png[33:])
        dropped = self.copy("in.png", "out.tif")
        self.assertEqual((len(dropped), len(set(dropped)), dropped[-1]), (51, 51, "further chunks"))

    def test_large_tags_give_way_in_jpeg(self):
        self.write("in.tif", tiff(extra=[(270, ASCII, b"a slide\0"), (60000, BYTE, bytes(70_000)),
                                         (60001, BYTE, bytes(60_000))]))
        self.assertEqual(self.copy("in.tif", "out.jpg", JPEG), ["tag 60000 (too large)"])
        self.assertEqual(self.exiftool("out.jpg")["IFD0:ImageDescription"], "a slide")

    def test_tags_without_a_value_go(self):
        self.write("in.tif", tiff(extra=[(60000, ASCII, b"")]))
        self.assertEqual(self.copy("in.tif", "out.tif"), ["tag 60000 (empty)"])
        self.assertNotIn(60000, self.rules("out.tif").pages[0])

    def test_numbers_of_64_bits_where_they_fit(self):
        data = samples(8)
        extra = [(60000, 16, 2, [1, 2], True), (60001, 16, 1, [1 << 40], True)]
        tifffile.imwrite(self.path("in.tif"), data, bigtiff=True, photometric="rgb",
                         metadata=None, software=None, extratags=extra)
        self.assertEqual(self.copy("in.tif", "out.tif", big=1), [])
        page, = self.rules("out.tif").pages
        self.assertEqual((page[60000][0], page.values(60000)), (16, (1, 2)))
        self.assertEqual(self.copy("in.tif", "out.tif"), ["tag 60001 (of 64 bits)"])
        page, = self.rules("out.tif").pages
        self.assertEqual((page[60000][0], page.values(60000)), (LONG, (1, 2)))


class Pages(Images):
    def test_pages_and_subifds_stay_where_they_were(self):
        main, small = samples(16), samples(8)[::4, ::4]
        several((main, {"subifds": 2}), (small, {"subfiletype": 1}), (small, {}), (main, {}),
                (small, {"subifds": 1}), (main, {}))(self.path("in.tif"))
        for big in (0, 1):
            with self.subTest(big=big):
                self.copy("in.tif", "out.tif", compression=LZW, big=big)
                shapes = [((page.number(256), page.number(254, 0)),
                           [(sub.number(256), sub.number(254, 0)) for sub in page.pages])
                          for page in self.rules("out.tif").pages]
                width = small.shape[1]
                self.assertEqual(shapes, [((WIDTH, 0), [(width, 1), (width, 0)]),
                                          ((WIDTH, 0), []), ((width, 0), [(WIDTH, 0)])])


if __name__ == "__main__":
    surroundings.main()
