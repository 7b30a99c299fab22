#!/usr/bin/env python3
"""What becomes of metadata in kxcms convert, written and read by exiftool.

Environment: KXCMS (the command).
"""

import os
import subprocess

import exiftool
import image_forms
import profiles
import surroundings
from own_folder import OwnFolder

KXCMS = os.environ["KXCMS"]

# Where a tag stands, what it says, and what it says in TIFF, JPEG, TIFF made of that JPEG, and PNG:
# the same everywhere, or what is named (None: nothing, which is told).
SAME = object()
NOT_IN_PNG = (SAME, SAME, SAME, None)
TAGS = [
    ("IFD0:DocumentName", "a document", SAME),
    ("IFD0:ImageDescription", "a slide of 1978", SAME),
    ("IFD0:Make", "Maker", SAME),
    ("IFD0:Model", "Model 5000 ED", SAME),
    ("IFD0:Orientation", 6, SAME),
    ("IFD0:PageName", "page one", SAME),
    ("IFD0:XPosition", 1.25, SAME),
    ("IFD0:YPosition", 2.5, SAME),
    ("IFD0:XResolution", 600.5, SAME),
    ("IFD0:YResolution", 599.5, SAME),
    ("IFD0:ResolutionUnit", 3, SAME),
    ("IFD0:Software", "Scanner 4.0", SAME),
    ("IFD0:ModifyDate", "2003:02:01 10:11:12", SAME),
    ("IFD0:Artist", "somebody", SAME),
    ("IFD0:HostComputer", "a host", SAME),
    ("IFD0:Rating", 3, SAME),
    ("IFD0:RatingPercent", 60, SAME),
    ("IFD0:Copyright", "(c) somebody", SAME),
    ("IFD0:XPTitle", "ein Titel: äöü", SAME),
    ("IFD0:XPKeywords", "slide;scan", SAME),
    ("ExifIFD:ExposureTime", 0.0125, SAME),
    ("ExifIFD:FNumber", 5.6, SAME),
    ("ExifIFD:ExposureProgram", 2, SAME),
    ("ExifIFD:ISO", 400, SAME),
    ("ExifIFD:DateTimeOriginal", "1978:07:08 09:10:11", SAME),
    ("ExifIFD:CreateDate", "2003:02:01 10:11:12", SAME),
    ("ExifIFD:OffsetTimeOriginal", "+02:00", SAME),
    ("ExifIFD:SubSecTimeOriginal", 125, SAME),
    ("ExifIFD:BrightnessValue", -1.5, SAME),
    ("ExifIFD:ExposureCompensation", -0.5, SAME),
    ("ExifIFD:Flash", 16, SAME),
    ("ExifIFD:FocalLength", 60, SAME),
    ("ExifIFD:UserComment", "a comment longer than four bytes", SAME),
    ("ExifIFD:LensModel", "60 mm f/2.8", SAME),
    ("ExifIFD:SerialNumber", "S 12345", SAME),
    ("ExifIFD:ImageUniqueID", "0123456789abcdef0123456789abcdef", SAME),
    ("ExifIFD:FileSource", 1, SAME),
    ("ExifIFD:SceneType", 1, SAME),
    ("ExifIFD:ColorSpace", 65535, (1, 1, 1, 1)),
    ("ExifIFD:Gamma", 2.2, (None, None, None, None)),
    ("InteropIFD:InteropIndex", "R03", ("R98", "R98", "R98", "R98")),
    ("GPS:GPSLatitudeRef", "N", SAME),
    ("GPS:GPSLatitude", 48.5, SAME),
    ("GPS:GPSLongitudeRef", "E", SAME),
    ("GPS:GPSLongitude", 9.25, SAME),
    ("GPS:GPSAltitude", 251.5, SAME),
    ("GPS:GPSDateStamp", "1978:07:08", SAME),
    ("GPS:GPSMapDatum", "WGS-84", SAME),
    ("XMP-dc:Title", "a title", SAME),
    ("XMP-dc:Description", "ein Text: äöü", SAME),
    ("XMP-xmp:Rating", 3, SAME),
    ("XMP-photoshop:City", "Here", SAME),
    ("XMP-photoshop:ICCProfileName", "the scanner's", (None, None, None, None)),
    ("IPTC:City", "There", NOT_IN_PNG),
    ("IPTC:Keywords", "slide", NOT_IN_PNG),
    ("IPTC:Caption-Abstract", "a caption", NOT_IN_PNG),
    ("Photoshop:CopyrightFlag", 1, NOT_IN_PNG),
    ("Photoshop:URL", "http://localhost/", NOT_IN_PNG),
]


class Metadata(OwnFolder):
    def setUp(self):
        super().setUp()
        with open(self.path("scan.icc"), "wb") as file:
            file.write(profiles.scanner(points=3))

    def exiftool(self, name):
        """@return {name with its group: value}"""
        return exiftool.tags(self.path(name))

    def convert(self, source, target, *arguments):
        """@return what was told."""
        done = subprocess.run([KXCMS, "convert", "--profile", "scan.icc", *arguments, source, target],
                              cwd=self.folder, stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=60)
        self.assertEqual((done.returncode, done.stdout), (0, b""), done.stderr)
        return done.stderr.decode()

    def write(self, bits):
        image_forms.written(image_forms.samples(bits))(self.path("in.tif"))
        exiftool.run("-overwrite_original", "-n", "-charset", "utf8",
                     *(f"-{name}={value}" for name, value, _ in TAGS), self.path("in.tif"))
        before = self.exiftool("in.tif")
        for name, value, _ in TAGS:
            self.assertEqual(before.get(name), value, "exiftool did not write it")

    def test_every_tag(self):
        self.assertGreater(len(TAGS), 35)
        for bits in (8, 16):
            self.write(bits)
            depth = ["--depth", "8"]
            said = {"out.tif": self.convert("in.tif", "out.tif"),
                    "out.jpg": self.convert("in.tif", "out.jpg", *depth)}
            said["back.tif"] = said["out.jpg"] + self.convert("out.jpg", "back.tif", *depth)
            said["out.png"] = self.convert("in.tif", "out.png")
            for place, target in enumerate(("out.tif", "out.jpg", "back.tif", "out.png")):
                after = self.exiftool(target)
                self.assertNotIn("ExifTool:Warning", after, target)
                for name, value, fate in TAGS:
                    with self.subTest(name, target=target, bits=bits):
                        expected = value if fate is SAME or fate[place] is SAME else fate[place]
                        self.assertEqual(after.get(name), expected)
                for lost in ("Exif's Gamma", "XMP's name of the profile"):
                    self.assertIn(lost, said[target])
                self.assertEqual("IPTC and Photoshop's blocks" in said[target],
                                 target == "out.png")

    def test_other_colours(self):
        """What speaks of colours is that of the output."""
        self.write(8)
        for space, color_space, index in (("adobe-rgb", 65535, "R03"), ("prophoto", 65535, None),
                                          ("srgb", 1, "R98")):
            for tag in ("auto", "none"):
                with self.subTest(space, tag=tag):
                    self.convert("in.tif", "out.tif", "--to", space, "--tag", tag)
                    after = self.exiftool("out.tif")
                    self.assertEqual((after["ExifIFD:ColorSpace"],
                                      after.get("InteropIFD:InteropIndex")), (color_space, index))
        self.convert("in.tif", "out.tif", "--to", "srgb", "--tag", "prophoto")
        self.assertEqual(self.exiftool("out.tif")["ExifIFD:ColorSpace"], 65535)


if __name__ == "__main__":
    surroundings.main()
