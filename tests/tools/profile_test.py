#!/usr/bin/env python3
"""kxcms profile: what it makes of files, as other people's readers see them.

Environment: KXCMS (the command), KXPIPELINE (the library whose profiles it makes).
"""

import json
import os
import stat
import struct
import subprocess
import zlib

import numpy
import PIL.Image
import PIL.PngImagePlugin
import tifffile

import exiftool
import kxp
import profiles
import surroundings
import tiff_rules
import tiffs
from image_forms import FORMS, Form, copied, run, samples, saved, several, tagged, written
from own_folder import OwnFolder
from tiffs import ASCII, BYTE, LONG, RATIONAL, SHORT, UNDEFINED, tiff

KXCMS = os.environ["KXCMS"]
OLD = b"what was here before"
DONE, USAGE, UNREADABLE, PROFILE, WRONG, WRITE = 0, 2, 3, 4, 5, 6

RGB = profiles.scanner(points=3)
LUT = (b"A2B0", profiles.lut16(points=3))
GREY = profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"kTRC", profiles.curve([0x01CD]))],
                        space=b"GRAY", pcs=b"XYZ ")
CMYK = profiles.profile([(b"wtpt", profiles.WHITE_POINT), LUT], device_class=b"prtr",
                        space=b"CMYK")
LAB = profiles.profile([(b"wtpt", profiles.WHITE_POINT), LUT], device_class=b"spac",
                       space=b"Lab ")


def other_forms():
    """Forms that are not converted, with the profile that fits."""
    grey8, grey16 = samples(8)[:, :, 0], samples(16)[:, :, 0]
    four8, rgb8 = samples(8, 4), samples(8)
    bits = samples(8)[:, :, 0] > 99
    for name, make, profile, *suffix in (
        ("grey of 8 bits", written(grey8, photometric="minisblack"), GREY),
        ("grey of 16 bits, white 0, LZW",
         copied(written(grey16, photometric="miniswhite"), "-c", "lzw:2"), GREY),
        ("bilevel, Fax", copied(written(bits, photometric="minisblack"), "-c", "g4"), GREY),
        ("CMYK", written(four8, photometric="separated"), CMYK),
        ("CMYK in planes, Deflate", copied(written(numpy.ascontiguousarray(
            numpy.moveaxis(four8, 2, 0)), photometric="separated", planarconfig="separate"),
                                           "-c", "zip"), CMYK),
        ("Lab", written(rgb8, photometric="cielab"), LAB),
        ("floating point", written(rgb8.astype("f4") / 255), RGB),
        ("32 bits", written(rgb8.astype("u4")), RGB),
        ("palette colours", saved_palette(grey8), RGB),
        ("grey JPEG", saved(grey8, quality=90), GREY, ".jpg"),
        ("CMYK JPEG", saved_mode(four8, "CMYK", quality=90), CMYK, ".jpg"),
        ("grey PNG", saved(grey8), GREY, ".png"),
        ("grey PNG of 16 bits", saved(grey16), GREY, ".png"),
        ("bilevel PNG", saved(bits), GREY, ".png"),
        ("palette PNG", saved_palette(grey8), RGB, ".png"),
    ):
        yield Form(name, make, [], *suffix), profile


def saved_mode(data, mode, **options):
    return lambda path: PIL.Image.fromarray(data, mode).save(path, **options)


def saved_palette(data):
    def save(path):
        image = PIL.Image.fromarray(data, "P")
        image.putpalette(bytes(i * k % 256 for i in range(256) for k in (1, 3, 7)))
        image.save(path)
    return save


class Profile(OwnFolder):
    def setUp(self):
        super().setUp()
        self.write("rgb.icc", RGB)

    def run_command(self, *arguments, **options):
        return subprocess.run([KXCMS, "profile", *arguments], cwd=self.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=120, **options)

    def expect(self, arguments, status=DONE, *lines):
        """Runs the command; checks status, a silent standard output and the lines."""
        done = self.run_command(*arguments)
        expected = "".join(f"kxcms: {line}\n" for line in lines)
        self.assertEqual((done.returncode, done.stdout.decode(), done.stderr.decode()),
                         (status, "", expected))

    def tags(self, *names):
        """What exiftool finds in files besides their profiles and names."""
        said = exiftool.run("-json", "-G1", "-n", "-a", "-u", "-U", "-b", *map(self.path, names))
        return [{tag: value for tag, value in found.items()
                 if tag.split(":")[0] not in ("SourceFile", "System", "ExifTool") and
                 not tag.startswith("ICC") and not tag.endswith(":ICC_Profile") and
                 "ProfileName" not in tag} for found in json.loads(said)]

    def expect_same_pixels(self, one, *others):
        """Of every page, as libtiff or Pillow reads them."""
        if one.endswith(".tif"):
            raw, pages = self.raw_pages(one), self.plain_pages(one)
            for other in others:
                self.assertEqual(raw, self.raw_pages(other))
                for a, b in zip(pages, self.plain_pages(other), strict=True):
                    numpy.testing.assert_array_equal(a, b)
            return
        for other in others:
            with PIL.Image.open(self.path(one)) as a, PIL.Image.open(self.path(other)) as b:
                self.assertEqual((a.mode, a.size, a.getpalette()), (b.mode, b.size, b.getpalette()))
                self.assertEqual(a.tobytes(), b.tobytes())

    def plain_pages(self, name):
        """What libtiff's tiffcp reads, as tifffile finds it."""
        done = subprocess.run(["tiffcp", "-c", "none", self.path(name), self.path("plain.tif")],
                              capture_output=True, timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        with tifffile.TiffFile(self.path("plain.tif")) as file:
            return [page.asarray() for page in file.pages]

    def raw_pages(self, name):
        """The coded strips or tiles of every page and SubIFD, as tifffile finds them."""
        data = self.read(name)
        with tifffile.TiffFile(self.path(name)) as file:
            return [[data[at:at + size] for at, size in zip(page.dataoffsets, page.databytecounts)]
                    for top in file.pages for page in (top, *(top.pages or ()))]

    def profiles_of(self, name):
        """The profile of every page, by tifffile or Pillow."""
        if not name.endswith(".tif"):
            with PIL.Image.open(self.path(name)) as image:
                return [image.info.get("icc_profile")]
        with tifffile.TiffFile(self.path(name)) as file:
            return [page.tags[34675].value if 34675 in page.tags else None
                    for top in file.pages for page in (top, *(top.pages or ()))]


class Forms(Profile):
    def check(self, form, profile):
        path, _ = form.write(self.folder)
        source = os.path.basename(path)
        end = os.path.splitext(source)[1]
        self.write("given.icc", profile)
        data = self.read(source)
        self.expect(["embed", "--quiet", source, "given.icc", "with" + end])
        self.assertEqual(self.read(source), data)
        before, after = self.tags(source, "with" + end)
        self.assertEqual(after | self.changed(before), before | self.changed(after))
        self.assertEqual(set(self.profiles_of("with" + end)), {profile})
        self.expect(["extract", "with" + end, "found.icc"])
        self.assertEqual(self.read("found.icc"), profile)

        # In place, and with the same one: nothing changes.
        once = self.read("with" + end)
        self.expect(["embed", "with" + end, "given.icc", "with" + end])
        self.assertEqual(self.read("with" + end), once)

        self.expect(["remove", "with" + end, "without" + end])
        self.expect_same_pixels(source, "with" + end, "without" + end)
        self.assertEqual(set(self.profiles_of("without" + end)), {None})
        self.assertNotIn(profile, self.read("without" + end))
        self.expect(["extract", "without" + end, "none.icc"], PROFILE,
                    f"without{end}: no profile is embedded; profile embed puts one in")
        self.assertFalse(os.path.exists(self.path("none.icc")))

    def changed(self, tags):
        """What differs in any case: the size, and where the directories stand."""
        return {tag: value for tag, value in tags.items()
                if tag.split(":")[1] in ("FileSize", "SubIFD", "Thumbnail") or
                "PNG" in tag and tag.endswith("Gamma")}

    def test_every_form_that_is_converted(self):
        for form in FORMS:
            with self.subTest(form.name):
                self.check(form, RGB)

    def test_every_form_that_is_not(self):
        for form, profile in other_forms():
            with self.subTest(form.name):
                self.check(form, profile)


class Claims(Profile):
    """What contradicts the profile goes, and nothing else."""

    EXIF = {0x9286: b"a comment", 0x927C: b"\0maker's note\0", 0xA500: (22, 10)}
    XMP = (b'<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF '
           b'xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#"><rdf:Description rdf:about="" '
           b'xmlns:photoshop="http://ns.adobe.com/photoshop/1.0/" '
           b'xmlns:dc="http://purl.org/dc/elements/1.1/" photoshop:ICCProfile="Old Space" '
           b'photoshop:City="Jena" dc:format="image/tiff"/></rdf:RDF></x:xmpmeta>')
    BLOCKS = b"".join(b"8BIM" + struct.pack(">HHI", number, 0, len(data)) + data
                      for number, data in ((1039, b"an old profile"), (1005, b"resolution.."),
                                           (1041, b"\1\0"), (1036, b"a thumbnail!")))

    def exif_block(self, order):
        """Exif with ColorSpace sRGB, index R98 and a thumbnail, by Pillow and exiftool."""
        PIL.Image.fromarray(samples(8)).save(self.path("exif.jpg"), quality=90)
        PIL.Image.fromarray(samples(8)[::8, ::8]).save(self.path("thumb.jpg"), quality=60)
        exiftool.run("-overwrite_original", f"-ExifByteOrder={order}", "-ColorSpace#=1",
                     "-InteropIndex=R98", "-Gamma=2.2", "-UserComment=a comment",
                     "-Orientation#=6", "-GPSLatitude=50.9", "-GPSLatitudeRef=N",
                     "-WhitePoint=0.3127 0.329", f"-ThumbnailImage<={self.path('thumb.jpg')}",
                     "-Artist=somebody", self.path("exif.jpg"))

    def differences(self, one, other):
        before, after = self.tags(one, other)
        gone = sorted(tag.split(":")[1] for tag in before.keys() - after.keys())
        new = sorted(tag.split(":")[1] for tag in after.keys() - before.keys())
        other = {tag.split(":")[1]: (before[tag], after[tag]) for tag in before.keys() & after.keys()
                 if before[tag] != after[tag]}
        other.pop("FileSize", None)
        return gone, new, other

    def test_exif(self):
        for order in ("II", "MM"):
            self.exif_block(order)
            with self.subTest("another space", order=order):
                self.expect(["embed", "exif.jpg", "rgb.icc", "out.jpg"], DONE,
                            "exif.jpg: taken out: WhitePoint, Exif's Gamma, Exif's interoperability",
                            "exif.jpg: corrected: Exif's ColorSpace")
                self.assertEqual(self.differences("exif.jpg", "out.jpg"),
                                 (["Gamma", "InteropIndex", "InteropVersion", "WhitePoint"], [],
                                  {"ColorSpace": (1, 65535)}))
                self.expect_same_pixels("exif.jpg", "out.jpg")
            with self.subTest("Adobe RGB", order=order):
                self.expect(["embed", "exif.jpg", "adobe-rgb", "out.jpg"], DONE,
                            "exif.jpg: taken out: WhitePoint, Exif's Gamma",
                            "exif.jpg: corrected: Exif's ColorSpace, Exif's interoperability")
                self.assertEqual(self.differences("exif.jpg", "out.jpg"),
                                 (["Gamma", "WhitePoint"], [],
                                  {"ColorSpace": (1, 65535), "InteropIndex": ("R98", "R03")}))
            with self.subTest("sRGB", order=order):
                self.expect(["embed", "--quiet", "exif.jpg", "srgb", "out.jpg"])
                self.assertEqual(self.differences("exif.jpg", "out.jpg"),
                                 (["Gamma", "WhitePoint"], [], {}))
            with self.subTest("removal leaves it alone", order=order):
                self.expect(["embed", "--quiet", "exif.jpg", "rgb.icc", "with.jpg"])
                self.expect(["remove", "with.jpg", "out.jpg"])
                self.assertEqual(self.differences("with.jpg", "out.jpg"), ([], [], {}))

    def test_exif_in_other_formats(self):
        self.exif_block("MM")
        for source, make in (("in.tif", written(samples(16))), ("in.png", saved(samples(8)))):
            with self.subTest(source):
                make(self.path(source))
                exiftool.run("-overwrite_original", "-TagsFromFile", self.path("exif.jpg"),
                             "-ExifIFD:all", "-GPS:all", "-InteropIFD:all", "-Artist",
                             "-ColorSpace#=1", "-InteropIndex=R98", self.path(source))
                target = "out" + source[-4:]
                done = self.run_command("embed", source, "rgb.icc", target)
                self.assertEqual(done.returncode, DONE, done.stderr)
                self.assertEqual(self.differences(source, target),
                                 (["Gamma", "InteropIndex", "InteropVersion"], [],
                                  {"ColorSpace": (1, 65535)}))
                self.expect_same_pixels(source, target)

    def test_exif_in_a_big_tiff(self):
        """Which exiftool reads but does not write: convert does."""
        self.exif_block("MM")
        subprocess.run([KXCMS, "convert", "--bigtiff", "yes", "--profile", "srgb", "--quiet",
                        "exif.jpg", "in.tif"], cwd=self.folder, check=True, timeout=60)
        self.assertEqual(self.tags("in.tif")[0]["InteropOffset:InteropIndex"], "R98")
        self.expect(["embed", "in.tif", "rgb.icc", "out.tif"], DONE,
                    "in.tif: taken out: Exif's interoperability",
                    "in.tif: corrected: Exif's ColorSpace")
        gone, new, other = self.differences("in.tif", "out.tif")
        self.assertEqual((gone, new, other.pop("ColorSpace")),
                         (["InteropIndex", "InteropVersion"], [], (1, 65535)))
        self.assertEqual(other, {})
        self.expect_same_pixels("in.tif", "out.tif")

    def test_tags_of_tiff(self):
        extra = [(301, SHORT, [0, 40, 80] * 256), (318, RATIONAL, [(31, 100), (33, 100)]),
                 (319, RATIONAL, [(64, 100), (33, 100)] * 3), (342, SHORT, [0, 255] * 3),
                 (700, BYTE, self.XMP), (34377, BYTE, self.BLOCKS), (270, ASCII, b"a slide\0"),
                 (65000, UNDEFINED, b"private"), (65001, 11, [1.5])]
        for order in "<>":
            with self.subTest(order=order):
                self.write("in.tif", tiff(order=order, extra=extra, profile=b"an old one....."))
                self.expect(["embed", "in.tif", "rgb.icc", "out.tif"], DONE,
                            "in.tif: taken out: Photoshop's profile, Photoshop's mark of missing "
                            "profiles, TransferFunction, WhitePoint, PrimaryChromaticities, "
                            "TransferRange, XMP's name of the profile")
                page, = tiff_rules_of(self.read("out.tif"))
                old, = tiff_rules_of(self.read("in.tif"))
                self.assertEqual(old.keys() - page.keys(), {301, 318, 319, 342})
                changed = {tag for tag in page if page[tag] != old[tag]}
                self.assertEqual(changed, {700, 34377, 34675})
                self.assertEqual(page[700][2], self.XMP.replace(b'photoshop:ICCProfile="Old Space"',
                                                                b""))
                blocks = page[34377][2]
                self.assertEqual(blocks.count(b"8BIM"), 2)
                for part in (b"resolution..", b"a thumbnail!"):
                    self.assertIn(part, blocks)
                for part in (b"an old profile", b"an old one....", b"Old Space"):
                    self.assertNotIn(part, self.read("out.tif"))
                # Removal takes Photoshop's copy along, and no more.
                self.expect(["remove", "in.tif", "out.tif"], DONE,
                            "in.tif: taken out: Photoshop's profile")
                page, = tiff_rules_of(self.read("out.tif"))
                self.assertEqual(old.keys() - page.keys(), {34675})
                self.assertEqual({tag for tag in page if page[tag] != old[tag]}, {34377})

    def test_damaged_parts_stay(self):
        self.write("in.tif", tiff(extra=[(34377, BYTE, b"no blocks at all")]))
        self.expect(["embed", "in.tif", "rgb.icc", "out.tif"], DONE,
                    "in.tif: left as it is: Photoshop's blocks (damaged)")
        self.assertIn(b"no blocks at all", self.read("out.tif"))
        PIL.Image.fromarray(samples(8)).save(self.path("in.jpg"), exif=b"Exif\0\0II*\0\xff\xff\0\0")
        self.expect(["embed", "in.jpg", "rgb.icc", "out.jpg"], DONE,
                    "in.jpg: left as it is: Exif (damaged)")
        self.assertIn(b"Exif\0\0II*\0\xff\xff\0\0", self.read("out.jpg"))

    def test_chunks_of_png(self):
        info = PIL.PngImagePlugin.PngInfo()
        info.add(b"cHRM", struct.pack(">8I", *range(30000, 30008)))
        info.add(b"gAMA", struct.pack(">I", 45455))
        info.add(b"sRGB", b"\0")
        info.add_text("Comment", "stays", zip=True)
        info.add_itxt("XML:com.adobe.xmp", self.XMP.decode(), zip=True)
        info.add(b"prVt", b"private", after_idat=True)
        PIL.Image.fromarray(samples(8)).save(self.path("in.png"), pnginfo=info, dpi=(300, 300))
        png, cicp = self.read("in.png"), b"cICP\x09\x10\0\1"  # which Pillow does not write
        self.write("in.png", png[:33] + struct.pack(">I", 4) + cicp
                   + struct.pack(">I", zlib.crc32(cicp)) + png[33:])
        self.expect(["embed", "in.png", "rgb.icc", "out.png"], DONE,
                    "in.png: taken out: cICP, cHRM, gAMA, sRGB, XMP's name of the profile")
        before, after = chunks(self.read("in.png")), chunks(self.read("out.png"))
        self.assertEqual(after[0], before[0])
        self.assertEqual(after[1][0], b"iCCP")
        gone = (b"cHRM", b"gAMA", b"sRGB", b"cICP")
        kept = [chunk for chunk in before[1:] if chunk[0] not in (*gone, b"iTXt")]
        self.assertEqual([chunk for chunk in after[2:] if chunk[0] != b"iTXt"], kept)
        text, = [content for kind, content in after if kind == b"iTXt"]
        self.assertIn(b'photoshop:City="Jena"', text)
        self.assertNotIn(b"Old Space", text)
        # Removal takes one chunk out.
        self.expect(["remove", "out.png", "without.png"])
        self.assertEqual(chunks(self.read("without.png")), after[:1] + after[2:])

    def test_markers_of_jpeg(self):
        """Every byte from the first table on is the same, and so are all other markers."""
        PIL.Image.fromarray(samples(8)).save(self.path("in.jpg"), quality=90, comment=b"a comment",
                                             dpi=(300, 300))
        jpeg = self.read("in.jpg")
        more = (b"\xff\xed" + struct.pack(">H", 16 + len(self.BLOCKS)) + b"Photoshop 3.0\0"
                + self.BLOCKS + b"\xff\xff\xeb\0\6abcd")
        at = 4 + struct.unpack_from(">H", jpeg, 4)[0]
        self.write("in.jpg", jpeg[:at] + more + jpeg[at:] + b"behind the end")
        large = RGB + bytes(-len(RGB) % 4) + bytes(150000)
        large = struct.pack(">I", len(large)) + large[4:]
        self.write("large.icc", large)
        self.expect(["embed", "in.jpg", "large.icc", "out.jpg"], DONE,
                    "in.jpg: taken out: Photoshop's profile, Photoshop's mark of missing profiles")
        out = self.read("out.jpg")
        self.assertEqual(out[-len(jpeg) + at - 14:], jpeg[at:] + b"behind the end")
        self.assertEqual(out[:at], jpeg[:at])
        self.assertIn(b"\xff\xff\xeb\0\6abcd", out)
        self.assertEqual(out.count(b"ICC_PROFILE\0"), 3)
        self.expect(["extract", "out.jpg", "found.icc"])
        self.assertEqual(self.read("found.icc"), large)
        self.expect(["remove", "out.jpg", "without.jpg"])
        self.assertNotIn(b"ICC_PROFILE", self.read("without.jpg"))
        self.expect_same_pixels("in.jpg", "without.jpg")


    def test_several_pictures(self):
        """The others are found where the list says, by exiftool."""
        PIL.Image.fromarray(samples(16).astype("u1")[::2, ::2]).save(self.path("second.jpg"))
        PIL.Image.fromarray(samples(8)).save(self.path("first.jpg"), quality=90, icc_profile=RGB)
        first, second = self.read("first.jpg"), self.read("second.jpg")
        for order, mark in (("<", b"II*\0"), (">", b"MM\0*")):
            for place in ("before the profile", "behind it"):
                at = first.index(b"\xff\xe2") if place.startswith("before") else \
                    first.index(b"\xff\xdb")
                count = 8 + 2 + 3 * 12 + 4 + 32
                size = 2 + 4 + count
                header = at + 2 + 2 + 4
                list_of = struct.pack(order + "3I2H3I2H", 0x030000, len(first) + 2 + size, 0, 0, 0,
                                      0, len(second), len(first) + 2 + size - header, 0, 0)
                block = mark + struct.pack(order + "IH", 8, 3)
                block += struct.pack(order + "HHI", 0xB000, 7, 4) + b"0100"
                block += struct.pack(order + "HHII", 0xB001, 4, 1, 2)
                block += struct.pack(order + "HHII", 0xB002, 7, 32, count - 32)
                block += struct.pack(order + "I", 0) + list_of
                segment = b"\xff\xe2" + struct.pack(">H", size) + b"MPF\0" + block
                self.write("in.jpg", first[:at] + segment + first[at:] + second)
                self.write("large.icc", profiles.scanner(points=9))
                for command in (["embed", "in.jpg", "large.icc", "out.jpg"],
                                ["embed", "in.jpg", "srgb", "out.jpg"],
                                ["remove", "in.jpg", "out.jpg"]):
                    with self.subTest(place, order=order, command=command[0]):
                        self.expect(command)
                        for name in ("in.jpg", "out.jpg"):
                            self.assertEqual(exiftool.run("-b", "-MPImage2", self.path(name)),
                                             second)
                        size = self.tags("out.jpg")[0]["MPImage1:MPImageLength"]
                        self.assertEqual(self.read("out.jpg")[size:], second)
                        self.expect_same_pixels("in.jpg", "out.jpg")


def tiff_rules_of(data):
    """The pages of a TIFF file, whether or not bytes of nobody are between them."""
    return tiff_rules.File(data).pages


def chunks(data):
    """The chunks of a PNG file with what they hold; their check sums are right."""
    found, at = [], 8
    while at < len(data):
        size, = struct.unpack_from(">I", data, at)
        kind, content = data[at + 4:at + 8], data[at + 8:at + 8 + size]
        assert struct.unpack_from(">I", data, at + 8 + size)[0] == zlib.crc32(kind + content)
        found.append((kind, content))
        at += 12 + size
    return found


def embedded(profile):
    """For tifffile."""
    return [] if profile is None else [(34675, 7, len(profile), profile, True)]


class Pages(Profile):
    def test_different_profiles(self):
        """The main page's is extracted; the others are told."""
        other = profiles.scanner(points=4)
        with tifffile.TiffWriter(self.path("in.tif")) as file:
            for data, profile, kind in ((samples(8)[::4, ::4], other, 1), (samples(16), RGB, 0),
                                        (samples(8), other, 0), (samples(8), None, 0)):
                file.write(data, photometric="rgb", metadata=None, subfiletype=kind,
                           extratags=embedded(profile))
        self.expect(["extract", "in.tif", "out.icc"], DONE,
                    "in.tif: page 1 has another profile, which is not extracted",
                    "in.tif: page 3 has another profile, which is not extracted")
        self.assertEqual(self.read("out.icc"), RGB)
        self.write("other.icc", other)
        self.expect(["embed", "in.tif", "other.icc", "out.tif"])
        self.assertEqual(self.profiles_of("out.tif"), [other] * 4)
        self.expect_same_pixels("in.tif", "out.tif")
        self.expect(["remove", "out.tif", "out.tif"])
        self.assertEqual(self.profiles_of("out.tif"), [None] * 4)

    def test_a_main_page_without(self):
        with tifffile.TiffWriter(self.path("in.tif")) as file:
            file.write(samples(8), photometric="rgb", metadata=None)
            file.write(samples(8), photometric="rgb", metadata=None,
                       extratags=embedded(RGB))
        self.expect(["extract", "in.tif", "out.icc"], PROFILE,
                    "in.tif: no profile is embedded in its main page; page 2 has one")

    def test_pages_of_other_colours(self):
        """They stay as they are, with their own profile; a mask has no colours."""
        mask = (samples(8)[:, :, 0] > 99)
        with tifffile.TiffWriter(self.path("in.tif")) as file:
            file.write(samples(8), photometric="rgb", metadata=None)
            file.write(mask, photometric="mask", metadata=None, subfiletype=4)
            file.write(samples(16)[:, :, 0], photometric="minisblack", metadata=None,
                       extratags=embedded(GREY))
        self.expect(["embed", "in.tif", "rgb.icc", "out.tif"], DONE,
                    "in.tif: page 3 stays as it is: it holds grey, and the profile is one of RGB "
                    "colours")
        self.assertEqual(self.profiles_of("out.tif"), [RGB, None, GREY])
        self.expect_same_pixels("in.tif", "out.tif")

    def test_a_larger_a_smaller_and_none(self):
        """However often profiles come and go, the rules of TIFF hold but for bytes of nobody."""
        for form in ("one", "SubIFD", "big"):
            with self.subTest(form):
                rgb = samples(8)
                options = {"bigtiff": form == "big"}
                if form == "SubIFD":
                    several((rgb, {"subifds": 1}), (rgb[::4, ::4], {"subfiletype": 1}),
                            (rgb[::2], {}))(self.path("in.tif"))
                else:
                    written(rgb, **options)(self.path("in.tif"))
                count = len(self.profiles_of("in.tif"))
                self.expect(["embed", "in.tif", "rgb.icc", "out.tif"])
                # The profile of each page, its directory, and what that leaves behind.
                self.assertLess(len(self.read("out.tif")),
                                len(self.read("in.tif")) + count * (len(RGB) + 500))
                for points in (3, 5, 3, 4, 5, 3):
                    profile = profiles.scanner(points=points)
                    self.write("p.icc", profile)
                    self.expect(["embed", "--quiet", "out.tif", "p.icc", "out.tif"])
                    self.assertEqual(self.profiles_of("out.tif"), [profile] * count)
                    self.expect(["remove", "out.tif", "without.tif"])
                    self.assertEqual(self.profiles_of("without.tif"), [None] * count)
                self.expect_same_pixels("in.tif", "out.tif")
                self.expect_same_pixels("in.tif", "without.tif")
                found = tiff_rules.File(self.read("out.tif")).wrong
                self.assertEqual([line for line in found if "of nobody" not in line and
                                  "ends at" not in line], [])

    def test_there_and_back(self):
        """All bytes of a JPEG or PNG file come back, and all tags of a TIFF file."""
        for order in "<>":
            self.write("in.tif", tiff(order=order))
            self.expect(["embed", "in.tif", "rgb.icc", "with.tif"])
            self.expect(["remove", "with.tif", "out.tif"])
            page, = tiff_rules_of(self.read("out.tif"))
            old, = tiff_rules_of(self.read("in.tif"))
            self.assertEqual(dict(page), dict(old))
        for source, make in (("in.jpg", saved(samples(8))), ("in.png", saved(samples(8)))):
            make(self.path(source))
            end = source[-4:]
            self.expect(["embed", source, "rgb.icc", "with" + end])
            self.expect(["remove", "with" + end, "out" + end])
            self.assertEqual(self.read("out" + end), self.read(source))


class Make(Profile):
    def test_spaces(self):
        """The library's bytes."""
        for space in ("srgb", "adobe-rgb", "prophoto-linear", "adobe-18"):
            for options, version in (([], 0), (["--version", "4"], 4), (["--version", "2"], 2)):
                with self.subTest(space, version=version):
                    self.expect(["make", space, "out.icc", *options])
                    self.assertEqual(self.read("out.icc"), kxp.profile_of(space, version))
                    self.assertEqual(self.read("out.icc")[8], version or 4)
        self.expect(["make", "lab", "out.icc"])
        self.assertEqual(self.read("out.icc")[16:20], b"Lab ")


class Refusals(Profile):
    ROWS = [
        ("no command", [], USAGE, "A subcommand is required; --help lists them"),
        ("no image", ["extract"], USAGE,
         "profile extract needs an image and a file for its profile"),
        ("no output", ["embed", "in.tif", "rgb.icc"], USAGE,
         "profile embed needs an image, a profile and an output file"),
        ("no output either", ["remove", "in.tif"], USAGE,
         "profile remove needs an image and an output file"),
        ("nothing to make", ["make", "srgb"], USAGE,
         "profile make needs a space (convert --list shows them) and an output file"),
        ("unknown --exists", ["remove", "--exists", "x", "in.tif", "out.tif"], USAGE,
         "unknown --exists x; known: replace, refuse, skip"),
        ("version 3", ["make", "srgb", "out.icc", "--version", "3"], USAGE,
         "--version must be 2 or 4"),
        ("an empty version", ["make", "srgb", "out.icc", "--version", ""], USAGE,
         "--version: an empty value is no number"),
        ("version 2 of lab", ["make", "lab", "out.icc", "--version", "2"], PROFILE, None),
        ("unknown space", ["make", "adobe", "out.icc"], USAGE,
         "unknown space adobe; convert --list shows them"),
        ("the image as target", ["extract", "in.tif", "in.tif"], USAGE,
         "in.tif is the image; its profile would replace it"),
        ("the profile as target", ["embed", "in.tif", "rgb.icc", "rgb.icc"], USAGE,
         "rgb.icc is the profile; the image would replace it"),
        ("another format", ["embed", "in.tif", "rgb.icc", "out.jpg"], USAGE,
         "out.jpg: its suffix names JPEG, and in.tif is a TIFF file; convert changes formats"),
        ("a missing image", ["extract", "absent.tif", "out.icc"], UNREADABLE,
         "absent.tif: No such file or directory"),
        ("a missing profile", ["embed", "in.tif", "absent.icc", "out.tif"], PROFILE, None),
        ("no image at all", ["remove", "rgb.icc", "out.tif"], UNREADABLE,
         "rgb.icc: not a TIFF, JPEG or PNG file"),
        ("no profile at all", ["embed", "in.tif", "in.tif", "out.tif"], PROFILE,
         "profile in.tif: not an ICC profile"),
        ("a profile cut off", ["embed", "in.tif", "short.icc", "out.tif"], PROFILE,
         "profile short.icc: its size is not what it says"),
        ("a link of devices", ["embed", "in.tif", "link.icc", "out.tif"], PROFILE,
         "profile link.icc: of class link, which describes no image"),
        ("grey on RGB", ["embed", "in.tif", "grey.icc", "out.tif"], PROFILE,
         "in.tif: holds RGB, and the profile is one of GRAY colours"),
        ("RGB on grey", ["embed", "grey.png", "rgb.icc", "out.png"], PROFILE,
         "grey.png: holds grey, and the profile is one of RGB colours"),
        ("RGB on raw data", ["embed", "cfa.tif", "srgb", "out.tif"], PROFILE,
         "cfa.tif: holds colours of kind 32803, and the profile is one of RGB colours"),
        ("none to extract", ["extract", "in.tif", "out.icc"], PROFILE,
         "in.tif: no profile is embedded; profile embed puts one in"),
        ("a list of pictures cut off", ["embed", "mpf.jpg", "srgb", "out.jpg"], UNREADABLE,
         "mpf.jpg: damaged: cut off"),
        ("a compression of nobody", ["embed", "odd.tif", "srgb", "out.tif"], WRONG,
         "odd.tif: compressed by method 34892, which cannot be decoded to compare the pixels"),
        ("pixels in the header", ["embed", "header.tif", "srgb", "out.tif"], WRONG,
         "header.tif: its pixels would change; nothing is written"),
        ("a part of a profile missing", ["extract", "part.jpg", "out.icc"], UNREADABLE,
         "part.jpg: damaged: a part of the profile is missing"),
        ("a directory cut off", ["remove", "cut.tif", "out.tif"], UNREADABLE,
         "cut.tif: damaged: cut off"),
        ("a JPEG cut off", ["remove", "cut.jpg", "out.jpg"], UNREADABLE,
         "cut.jpg: damaged: Premature end of input file"),
        ("a PNG cut off", ["remove", "cut.png", "out.png"], UNREADABLE,
         "cut.png: damaged: cut off"),
        ("an existing target", ["remove", "--exists", "refuse", "in.tif", "old"], WRITE,
         "cannot write old: it exists; --exists replace replaces it"),
        ("a folder as target", ["remove", "in.tif", "folder"], WRITE,
         "cannot write folder: is a directory; name a file in it"),
        ("no such folder", ["make", "srgb", "absent/out.icc"], WRITE,
         "cannot write absent/out.icc: its folder does not exist"),
    ]

    def setUp(self):
        super().setUp()
        self.write("in.tif", tiff())
        self.write("old", OLD)
        os.mkdir(self.path("folder"))
        self.write("grey.icc", GREY)
        self.write("short.icc", RGB[:-4])
        self.write("link.icc", profiles.profile([LUT], device_class=b"link"))
        PIL.Image.fromarray(samples(8)[:, :, 0]).save(self.path("grey.png"))
        self.write("cfa.tif", tiff(replace={262: (SHORT, [32803])}))
        self.write("odd.tif", tiff(replace={259: (SHORT, [34892])}))
        # The strip begins with the header, whose pointer to the directory has to change.
        self.write("header.tif", tiff(replace={273: (LONG, [0])}))
        PIL.Image.fromarray(samples(8)).save(self.path("in.jpg"), icc_profile=RGB)
        jpeg = self.read("in.jpg")
        self.write("mpf.jpg", jpeg[:2] + b"\xff\xe2\0\x0aMPF\0abcd" + jpeg[2:])
        at = jpeg.index(b"ICC_PROFILE\0") + 13
        self.write("part.jpg", jpeg[:at] + b"\2" + jpeg[at + 1:])
        self.write("cut.jpg", jpeg[:-300])
        PIL.Image.fromarray(samples(8)).save(self.path("in.png"), icc_profile=RGB)
        self.write("cut.png", self.read("in.png")[:-20])
        self.write("cut.tif", tiff()[:-30])

    def test_one_line_and_nothing_written(self):
        before = {name: self.read(name) for name in os.listdir(self.folder) if name != "folder"}
        for what, arguments, status, line in self.ROWS:
            with self.subTest(what):
                done = self.run_command(*arguments)
                self.assertEqual((done.returncode, done.stdout), (status, b""), done.stderr)
                text = done.stderr.decode()
                self.assertEqual((text.count("\n"), text[:7]), (1, "kxcms: "))
                if line is not None:
                    self.assertEqual(text, f"kxcms: {line}\n")
                after = {name: self.read(name) for name in os.listdir(self.folder)
                         if name != "folder"}
                self.assertEqual(after, before)

    def test_every_truncation(self):
        """No signal, and no success but with the same pixels; short files of all three formats."""
        tiny = samples(8, height=5, width=7)
        for source, make in (("t.tif", written(tiny, iccprofile=RGB[:200])),
                             ("t.png", saved(tiny, icc_profile=RGB)),
                             ("t.jpg", saved(tiny, quality=50, icc_profile=RGB[:200]))):
            make(self.path(source))
            data = self.read(source)
            for size in range(1, len(data), max(1, len(data) // 60)):
                self.write("cut" + source, data[:size])
                target = "out" + source[1:]
                done = self.run_command("remove", "cut" + source, target)
                with self.subTest(source, size=size):
                    self.assertIn(done.returncode, (DONE, UNREADABLE, WRONG), done.stderr)
                    if done.returncode == DONE:
                        self.expect_same_pixels("cut" + source, target)

    def test_single_bytes(self):
        """A byte changed in the structure: no signal, and no other pixels with success."""
        data = tiff(width=4, length=3, profile=RGB[:200])
        at = struct.unpack_from("<I", data, 4)[0]
        for place in [*range(8), *range(at, at + 2 + 12 * 14 + 4)]:
            for value in {0, 255, data[place] ^ 1} - {data[place]}:
                self.write("bad.tif", data[:place] + bytes([value]) + data[place + 1:])
                done = self.run_command("embed", "--quiet", "bad.tif", "srgb", "out.tif")
                with self.subTest(place=place, value=value):
                    self.assertIn(done.returncode, (DONE, UNREADABLE, PROFILE, WRONG), done.stderr)
                    if done.returncode == DONE:
                        read = subprocess.run(["tiffcmp", self.path("bad.tif"),
                                               self.path("out.tif")], capture_output=True,
                                              timeout=60)
                        self.assertNotIn(b"Scanline", read.stdout)


class Writing(Profile):
    def test_skip(self):
        self.write("in.tif", tiff())
        self.write("out.tif", OLD)
        self.expect(["embed", "--exists", "skip", "in.tif", "srgb", "out.tif"], DONE,
                    "out.tif exists: skipped")
        self.assertEqual(self.read("out.tif"), OLD)

    def test_nothing_to_remove(self):
        """A copy, and a word."""
        self.write("in.tif", tiff())
        self.expect(["remove", "in.tif", "out.tif"], DONE, "in.tif: no profile is embedded")
        self.assertEqual(self.read("out.tif"), self.read("in.tif"))

    def test_in_place_through_a_link(self):
        self.write("in.tif", tiff())
        os.chmod(self.path("in.tif"), 0o640)
        os.symlink("in.tif", self.path("link.tif"))
        self.expect(["embed", "--durable", "link.tif", "rgb.icc", "link.tif"])
        self.assertTrue(os.path.islink(self.path("link.tif")))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("in.tif")).st_mode), 0o640)
        self.assertEqual(self.profiles_of("in.tif"), [RGB])

    def test_record(self):
        self.write("in.tif", tiff(extra=[(318, RATIONAL, [(31, 100), (33, 100)])]))
        done = self.run_command("embed", "--json", "--quiet", "in.tif", "rgb.icc", "out.tif")
        self.assertEqual((done.returncode, done.stderr), (DONE, b""))
        self.assertEqual(json.loads(done.stdout), {
            "input": "in.tif", "output": "out.tif", "status": "embedded", "format": "TIFF",
            "profile_bytes": len(RGB), "notes": [], "removed": ["WhitePoint"], "corrected": [],
            "kept": []})


if __name__ == "__main__":
    surroundings.main()
