#!/usr/bin/env python3
"""Forty-four forms in which scanners and archives hand over images, through kxcms convert.

Every row is a file with all that such files have at once: its pixels, its profile, what it says of
itself, and what is wrong with it. Files are made by tifffile, Pillow, libtiff's tools and exiftool;
results are read by libtiff (plain_reader), by the checker of TIFF's rules, and by exiftool.

Environment: KXCMS (the command), KXCMS_PLAIN_READER, KXPIPELINE.
"""

import collections
import os
import subprocess

import numpy

import damage_test
import exiftool
import image_forms
import kxp
import profiles
import surroundings
import tiff_rules
from image_forms import planes, run, samples, several, written
from own_folder import OwnFolder

KXCMS = os.environ["KXCMS"]
DONE, UNREADABLE, PROFILE, WRONG = 0, 3, 4, 5

PROFILES = {
    "lut16": profiles.scanner(points=9),
    "lut8-like grid of 2": profiles.scanner(points=2),
    "mAB": profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", profiles.lut_a_to_b())]),
    "matrix": kxp.profile_of("adobe-rgb"),
    "curves": kxp.profile_of("ecirgb-v2"),
    "of 400 tags": profiles.profile(
        [(b"wtpt", profiles.WHITE_POINT), (b"A2B0", profiles.lut16(points=3))]
        + [(b"t%03d" % i, b"text" + bytes(8)) for i in range(400)]),
    "grey": profiles.profile([], space=b"GRAY"),
    "cut off": profiles.scanner(points=3)[:600],
}

# What files say of themselves: arguments of exiftool, which reads the same from the result.
METADATA = {
    "none": {},
    "text": {"IFD0:ImageDescription": "a slide", "IFD0:Artist": "somebody",
             "IFD0:ModifyDate": "2003:02:01 10:11:12", "IFD0:Copyright": "(c) somebody"},
    "exif": {"ExifIFD:ExposureTime": 0.0125, "ExifIFD:UserComment": "longer than four bytes",
             "ExifIFD:BrightnessValue": -1.5, "GPS:GPSLatitude": 48.5, "GPS:GPSLatitudeRef": "N",
             "IFD0:Model": "Model 5000 ED"},
    "xmp": {"XMP-dc:Title": "a title", "XMP-photoshop:City": "Here", "IPTC:City": "There",
            "Photoshop:CopyrightFlag": 1},
}
UNITS = {"none": 1, "inch": 2, "centimetre": 3}
COLUMNS = ("what bits order container compression tiling planes pages subifds extras profile "
           "metadata orientation unit damage")
Row = collections.namedtuple("Row", COLUMNS)


def rows():
    """The columns of COLUMNS; damage names what is refused, or is None."""
    table = """
scan of a slide scanner   |16|<|classic|none    |strips 1 |chunky  |1|0|none    |lut16 |exif|1|inch|
the same of a Macintosh   |16|>|classic|none    |strips 1 |chunky  |1|0|none    |lut16 |exif|1|inch|
film scan with infrared   |16|<|classic|none    |strips 8 |chunky  |1|0|infrared|lut16 |text|1|inch|
infrared in planes        |16|<|classic|none    |strips 47|separate|1|0|infrared|lut16 |text|1|inch|
infrared, compressed      |16|<|classic|lzw:2   |strips 8 |chunky  |1|0|infrared|lut16 |none|1|inch|
infrared, compressed, tall|16|<|classic|zip:2   |strips 47|separate|1|0|infrared|lut16 |none|1|inch|
preview of a scan         | 8|<|classic|none    |strips 47|chunky  |1|0|none    |none  |text|1|inch|
book scanner, LZW         | 8|<|classic|lzw     |strips 8 |chunky  |1|0|none    |matrix|text|1|inch|
book scanner, predictor   | 8|<|classic|lzw:2   |strips 8 |chunky  |1|0|none    |matrix|xmp |1|inch|
book scanner, turned left | 8|<|classic|none    |strips 8 |chunky  |1|0|none    |matrix|text|8|inch|
book scanner, turned right| 8|<|classic|none    |strips 8 |chunky  |1|0|none    |matrix|text|6|inch|
upside down, mirrored     |16|>|classic|none    |strips 8 |chunky  |1|0|none    |curves|none|4|inch|
large format, BigTIFF     |16|<|big    |none    |strips 8 |chunky  |1|0|none    |lut16 |none|1|centimetre|
large format, tiled       |16|<|big    |none    |tiles    |chunky  |1|0|none    |lut16 |none|1|centimetre|
BigTIFF of the other order|16|>|big    |none    |strips 1 |chunky  |1|0|none    |mAB   |none|1|inch|
BigTIFF, Deflate          | 8|<|big    |zip:2   |strips 8 |chunky  |1|0|none    |mAB   |none|1|inch|
pyramid                   | 8|<|classic|none    |tiles    |chunky  |3|0|none    |matrix|text|1|inch|
pyramid of SubIFDs        | 8|<|classic|none    |tiles    |chunky  |1|2|none    |matrix|none|1|inch|
pyramid, 16 bits, big     |16|<|big    |none    |tiles    |chunky  |1|2|none    |matrix|none|1|inch|
document of several pages | 8|<|classic|none    |strips 8 |chunky  |4|0|none    |matrix|none|1|inch|
several pages, LZW        | 8|<|classic|lzw:2   |strips 8 |chunky  |4|0|none    |curves|none|1|inch|
master, archived, Deflate |16|<|classic|zip     |strips 8 |chunky  |1|0|none    |curves|xmp |1|inch|
master, Deflate, planes   | 8|<|classic|zip:2   |strips 8 |separate|1|0|none    |curves|none|1|inch|
master, PackBits          | 8|>|classic|packbits|strips 1 |chunky  |1|0|none    |lut16 |text|1|inch|
master, Zstandard         |16|<|classic|zstd:2  |strips 8 |chunky  |1|0|none    |lut16 |exif|1|inch|
master, LZMA              |16|<|classic|lzma    |strips 8 |chunky  |1|0|none    |lut16 |text|1|inch|
map, LERC                 | 8|<|classic|lerc:0  |strips 8 |chunky  |1|0|none    |matrix|none|1|none|
map, WebP                 | 8|<|classic|webp    |strips 47|chunky  |1|0|none    |matrix|none|1|none|
camera JPEG in a TIFF     | 8|<|classic|jpeg:90 |strips 16|chunky  |1|0|none    |matrix|exif|1|inch|
camera JPEG in tiles      | 8|>|classic|jpeg:90 |tiles    |chunky  |1|0|none    |matrix|exif|1|inch|
cut-out                   | 8|<|classic|none    |strips 8 |chunky  |1|0|alpha   |matrix|text|1|inch|
cut-out of 16 bits, LZW   |16|<|classic|lzw:2   |strips 8 |chunky  |1|0|alpha   |matrix|none|1|inch|
cut-out, premultiplied    |16|<|classic|none    |tiles    |chunky  |1|0|premultiplied|matrix|none|1|inch|
many tags in the profile  | 8|<|classic|none    |strips 8 |chunky  |1|0|none    |of 400 tags|none|1|inch|
smallest grid             |16|<|classic|none    |strips 8 |chunky  |1|0|none    |lut8-like grid of 2|none|1|inch|
no resolution             |16|<|classic|none    |strips 8 |chunky  |1|0|none    |lut16 |none|1|none|
pixels of fax order       | 8|<|classic|lsb2msb |strips 8 |chunky  |1|0|none    |lut16 |none|1|inch|
LZW of fax order, planes  |16|>|classic|lzw:2   |strips 8 |separate|1|0|none    |lut16 |none|1|inch|
grey profile              |16|<|classic|none    |strips 8 |chunky  |1|0|none    |grey  |none|1|inch|profile
profile cut off           |16|<|classic|none    |strips 8 |chunky  |1|0|none    |cut off|none|1|inch|profile
cut off while copied      |16|<|classic|none    |strips 8 |chunky  |1|0|none    |lut16 |none|1|inch|cut
cut off, compressed       | 8|<|classic|zip     |strips 8 |chunky  |1|0|none    |lut16 |none|1|inch|cut
a byte changed            | 8|<|classic|zip     |strips 8 |chunky  |1|0|none    |lut16 |none|1|inch|changed
a page of grey            | 8|<|classic|none    |strips 8 |chunky  |2|0|none    |matrix|none|1|inch|grey
"""
    for line in table.strip().splitlines():
        fields = [field.strip() for field in line.split("|")]
        row = Row(*fields)
        yield row._replace(bits=int(row.bits), pages=int(row.pages), subifds=int(row.subifds),
                           orientation=int(row.orientation), damage=row.damage or None)


ROWS = list(rows())


class ArchiveForms(OwnFolder):
    def exiftool(self, name):
        return exiftool.tags(self.path(name))

    def make(self, row):
        """Writes in.tif."""
        extras = {"none": [], "infrared": ["unspecified"], "alpha": ["unassalpha"],
                  "premultiplied": ["assocalpha"]}[row.extras]
        main = samples(row.bits, 3 + len(extras))
        separate = row.planes == "separate"
        options = {"planarconfig": "separate" if separate else "contig", "extrasamples": extras,
                   "resolution": (600, 599), "resolutionunit": UNITS[row.unit],
                   "extratags": [(274, 3, 1, row.orientation, True)]}
        if row.tiling == "tiles":
            options["tile"] = (16, 32)
        else:
            options["rowsperstrip"] = int(row.tiling.split()[1])
        if row.profile != "none":
            profile = PROFILES[row.profile]
            options["extratags"].append((34675, 7, len(profile), profile, True))
        data = planes(main) if separate else main
        pages = [(data, {**options, **({"subifds": row.subifds} if row.subifds else {})})]
        for number in range(row.subifds or row.pages - 1):
            small = row.subifds or "pyramid" in row.what
            page = main[::2 << number, ::2 << number] if small else main[::-1]
            if row.damage == "grey":
                page = page[:, :, 0]
            pages.append((page, {**options, **({"subfiletype": 1} if small else {}),
                                 **({"photometric": "minisblack"} if row.damage == "grey" else {})}))
        several(*pages, byteorder=row.order, bigtiff=row.container == "big")(self.path("in.tif"))
        if row.compression != "none":
            self.compress(row)
        if METADATA[row.metadata]:
            exiftool.run("-overwrite_original", "-n",
                         *(f"-{name}={value}" for name, value in METADATA[row.metadata].items()),
                         self.path("in.tif"))
        self.damage(row)

    def compress(self, row):
        """By tiffcp, which keeps order, profile and orientation."""
        os.rename(self.path("in.tif"), self.path("plain.tif"))
        options = ["-f", "lsb2msb"] if row.compression == "lsb2msb" else ["-c", row.compression]
        if "fax" in row.what:
            options += ["-f", "lsb2msb"]
        options += ["-B" if row.order == ">" else "-L", "-p",
                    "separate" if row.planes == "separate" else "contig"]
        options += ["-t", "-w", "32", "-l", "16"] if row.tiling == "tiles" else \
            ["-r", row.tiling.split()[1]]
        if row.container == "big":
            options.append("-8")
        run("tiffcp", *options, self.path("plain.tif"), self.path("in.tif"))
        os.remove(self.path("plain.tif"))

    def damage(self, row):
        with open(self.path("in.tif"), "rb") as file:
            data = bytearray(file.read())
        if row.damage == "cut":
            data = data[:-100]
        if row.damage == "changed":
            data[500] ^= 4  # amid the first strip
        with open(self.path("in.tif"), "wb") as file:
            file.write(data)

    def convert(self, *arguments):
        return subprocess.run([KXCMS, "convert", *arguments, "in.tif", "out.tif"], cwd=self.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=60)

    def test_every_row(self):
        self.assertEqual(len(ROWS), 44)
        for row in ROWS:
            with self.subTest(row.what):
                for name in os.listdir(self.folder):
                    os.remove(self.path(name))
                self.make(row)
                if row.damage:
                    self.check_refusal(row)
                else:
                    self.check_result(row)

    def check_refusal(self, row):
        status, said = {
            "profile": (PROFILE, "profile embedded in in.tif: "),
            "cut": (UNREADABLE, "in.tif: damaged: "),
            "changed": (UNREADABLE, "in.tif: damaged: "),
            "grey": (WRONG, "in.tif: page 2: holds grey, not RGB; --pages first takes the first\n"),
        }[row.damage]
        done = self.convert()
        self.assertEqual(done.returncode, status, done.stderr)
        self.assertTrue(done.stderr.decode().startswith(f"kxcms: {said}"), done.stderr)
        self.assertEqual(os.listdir(self.folder), ["in.tif"])

    def check_result(self, row):
        arguments = []
        if row.profile == "none":
            done = self.convert()
            self.assertEqual((done.returncode, done.stderr.decode()), (
                PROFILE, "kxcms: in.tif: no profile is embedded; name one with --profile or "
                "--assume\n"))
            arguments = ["--assume", "prophoto"]
        profile = PROFILES.get(row.profile) or kxp.profile_of("prophoto")
        done = self.convert(*arguments)
        lossy = any(name in row.compression for name in ("jpeg", "webp", "lerc"))
        self.assertEqual((done.returncode, done.stderr.decode()), (
            DONE, "kxcms: in.tif is compressed with loss; out.tif is not compressed\n" * lossy))
        before = damage_test.peer_pages(self.path("in.tif"))
        after = damage_test.peer_pages(self.path("out.tif"))
        self.assertEqual([len(pages) for pages in (before, after)],
                         [row.subifds + row.pages] * 2)
        for (data, alpha, associated, _), (found, *kind, tag) in zip(before, after):
            self.assertEqual(kind, [alpha, associated])
            self.assertEqual(tag, kxp.profile_of("srgb"))
            numpy.testing.assert_array_equal(
                found, kxp.convert(data, profile, alpha=alpha or None, associated=associated))
        self.check_structure(row, lossy)
        self.check_metadata(row)

    def check_structure(self, row, lossy):
        with open(self.path("out.tif"), "rb") as file:
            result = tiff_rules.read(file.read())
        # Nothing so small has to be a BigTIFF.
        self.assertEqual((result.order, result.big), (row.order, False))
        self.assertEqual(len(result.pages), row.pages)
        page = result.pages[0]
        self.assertEqual(len(page.pages), row.subifds)
        numbers = {"lzw": 5, "zip": 8, "packbits": 32773, "zstd": 50000, "lzma": 34925}
        self.assertEqual(page.number(259),
                         1 if lossy else numbers.get(row.compression.split(":")[0], 1))
        self.assertEqual(322 in page, row.tiling == "tiles")
        if row.tiling != "tiles":
            self.assertEqual(page.number(278), int(row.tiling.split()[1]))
        self.assertEqual((page.number(274), page.number(296)),
                         (row.orientation, UNITS[row.unit]))
        self.assertEqual(page.values(282), ((600, 1),))

    def check_metadata(self, row):
        found = self.exiftool("out.tif")
        self.assertNotIn("ExifTool:Warning", found)
        for name, value in METADATA[row.metadata].items():
            self.assertEqual(found.get(name), value, name)


if __name__ == "__main__":
    surroundings.main()
