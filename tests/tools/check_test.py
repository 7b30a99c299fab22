#!/usr/bin/env python3
"""kxcms check: what it finds in sound and damaged profiles and TIFF files, as lines and as JSON.

Environment: KXCMS (the command), KXCMS_CONVERT_FILE (the library's file conversion).
"""

import json
import os
import random
import re
import struct
import subprocess
import unittest

import command_test
import profiles
import surroundings
import tiffs
from command_test import DONE, PROFILE, UNREADABLE, USAGE, WRITE, WRONG
from tiffs import LONG, SHORT, tiff

INTENTS = ["perceptual", "relative", "saturation", "absolute"]
SOUND = profiles.scanner(points=3)


def patched(data, at, new):
    return data[:at] + new + data[at + len(new):]


def with_table(data, entries):
    """A profile whose tag table lists other (signature, offset, size)."""
    table = b"".join(s + struct.pack(">2I", offset, size) for s, offset, size in entries)
    return patched(data, 132, table)


def tag_table(data):
    count, = struct.unpack_from(">I", data, 128)
    return [struct.unpack_from(">4s2I", data, 132 + 12 * i) for i in range(count)]


class Checking(command_test.Command):
    def check(self, *names, status=DONE):
        """@return the lines on standard output"""
        done = self.run_command("check", *names)
        self.assertEqual((done.returncode, done.stderr.decode()), (status, ""), done.stdout)
        return done.stdout.decode().splitlines()

    def report(self, *names, status=DONE):
        done = self.run_command("check", "--json", *names)
        self.assertEqual((done.returncode, done.stderr.decode()), (status, ""), done.stdout)
        document = json.loads(done.stdout)
        self.assertEqual(list(document), ["files"])
        return document["files"]

    def expect_findings(self, name, expected):
        """@param expected  (severity, code, text, intents or None: all for errors)"""
        errors = any(severity == "error" for severity, *_ in expected)
        status = WRONG if errors else DONE
        file, = self.report(name, status=status)
        self.assertEqual(file["status"], "error" if errors else "ok")
        everything = {"error": INTENTS, "warning": []}
        found = [(f["severity"], f["code"], f["text"],
                  None if f["intents"] == everything[f["severity"]] else f["intents"])
                 for f in file["findings"]]
        self.assertEqual(found, expected)
        lines = [f"{name}: {severity}: {text}" + (f" [{', '.join(intents)}]" if intents else "")
                 for severity, _, text, intents in expected]
        self.assertEqual(self.check(name, status=status), lines)
        return file


class Usage(Checking):
    def test_refused(self):
        for what, arguments, line in [
            ("no file", [], "check needs at least one file"),
            ("unknown option", ["--frob", "in.tif"],
             "The following argument was not expected: --frob"),
        ]:
            with self.subTest(what):
                self.expect(["check", *arguments], USAGE, line)

    def test_nothing_wrong(self):
        self.write("embedded.tif", tiff(profile=SOUND))
        self.assertEqual(self.check("scan.icc", "in.tif", "embedded.tif"), [])
        for file, kind in zip(self.report("scan.icc", "in.tif"), ["profile", "tiff"]):
            self.assertEqual((file["kind"], file["status"], file["findings"]), (kind, "ok", []))

    def test_unreadable_files_do_not_stop_the_others(self):
        os.mkfifo(self.path("pipe"))
        self.write("empty", b"")
        self.write("text", b"These are a hundred and fifty bytes of text or so, which begin like "
                           b"neither of the two kinds of file. " * 3)
        self.write("bad.icc", patched(SOUND, 36, b"xxxx"))
        rows = [("nowhere", "No such file or directory"), (".", "is a directory"),
                ("pipe", "not a regular file"), ("/dev/zero", "not a regular file"),
                ("empty", "empty file"), ("text", "neither an ICC profile nor a TIFF file")]
        names = [name for name, _ in rows]
        done = self.run_command("check", *names, "bad.icc")
        self.assertEqual(done.returncode, UNREADABLE)
        self.assertEqual(done.stderr.decode(), "".join(f"kxcms: {n}: {r}\n" for n, r in rows))
        self.assertEqual(done.stdout.decode(),
                         "bad.icc: error: not an ICC profile: no 'acsp' in its header\n")
        files = self.report(*names, "bad.icc", status=UNREADABLE)
        self.assertEqual([(f["file"], f["kind"], f["status"], f.get("reason"))
                          for f in files[:-1]],
                         [(n, "unknown", "unreadable", f"{n}: {r}") for n, r in rows])
        self.assertEqual((files[-1]["status"], "reason" in files[-1]), ("error", False))

    def test_any_name(self):
        name = b"a\n\xff.icc"
        self.write(os.fsdecode(name), patched(SOUND, 36, b"xxxx"))
        done = self.run_command("check", name)
        self.assertEqual(done.stdout,
                         b"a?\xff.icc: error: not an ICC profile: no 'acsp' in its header\n")
        file, = self.report(name, status=WRONG)
        self.assertEqual(file["file"], "a\n\ufffd.icc")

    def test_full_standard_output(self):
        for options in ([], ["--json"]):
            self.write("bad.icc", patched(SOUND, 36, b"xxxx"))
            with open("/dev/full", "wb") as full, self.subTest(options):
                done = subprocess.run([os.environ["KXCMS"], "check", *options,
                                       self.path("bad.icc")],
                                      stdout=full, stderr=subprocess.PIPE, timeout=60)
                self.assertEqual((done.returncode, done.stderr),
                                 (WRITE, b"kxcms: cannot write to standard output\n"))


class Profiles(Checking):
    """Errors are what libKXCMS, which tells of nothing, would get wrong."""

    MATRIX = [(b"wtpt", profiles.WHITE_POINT), (b"rXYZ", profiles.WHITE_POINT),
              (b"rTRC", profiles.curve([]))]

    @staticmethod
    def lut(**changes):
        return profiles.profile([(b"A2B0", profiles.lut16(**changes))])

    @staticmethod
    def mab(**changes):
        return profiles.profile([(b"A2B0", profiles.lut_a_to_b(**changes))])

    def unusable(self):
        where = "lookup tag 'A2B0'"
        return [
            ("empty", b"", "not an ICC profile: it has 0 bytes, fewer than a header"),
            ("text", b"not a profile" * 20, "not an ICC profile: no 'acsp' in its header"),
            ("header alone", SOUND[:128],
             "not an ICC profile: it has 128 bytes, fewer than a header"),
            ("no acsp", SOUND[:36] + b"xxxx" + SOUND[40:],
             "not an ICC profile: no 'acsp' in its header"),
            ("cut in half", SOUND[:1000],
             f"damaged: it should have {len(SOUND)} bytes and has 1000"),
            ("size 0", bytes(4) + SOUND[4:], "damaged: its size field is 0"),
            ("a million tags", SOUND[:128] + b"\0\x0f\0\0" + SOUND[132:],
             "damaged: tag table cut off"),
            ("tag outside", SOUND[:136] + b"\xff\xff\xff\xff" + SOUND[140:],
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

    WHERE = "lookup tag 'A2B0'"

    def rows(self):
        (white, white_at, white_size), (a2b0, lut_at, lut_size) = tag_table(SOUND)
        size = len(SOUND)
        a2b = profiles.lut16(points=3)
        broken_curve = b"curv" + bytes(4) + struct.pack(">I", 1000) + bytes(20)
        def error(code, text, intents=None):
            return ("error", code, text, intents)
        def warning(code, text):
            return ("warning", code, text, None)
        return [
            ("size field too large", patched(SOUND, 0, struct.pack(">I", size + 4)),
             [error("size-field", f"damaged: it should have {size + 4} bytes and has {size}")]),
            ("size field too small for its tags", patched(SOUND, 0, struct.pack(">I", size - 4)),
             [warning("size-field", "4 bytes follow behind the end that its size field gives"),
              error("tag-outside", "damaged: tag 'A2B0' lies outside the file"),
              error("lookup-cut-off", f"{self.WHERE} is cut off")]),
            ("bytes behind the end", SOUND + bytes(8),
             [warning("size-field", "8 bytes follow behind the end that its size field gives")]),
            ("no signature", patched(SOUND, 36, b"ACSP"),
             [error("no-signature", "not an ICC profile: no 'acsp' in its header")]),
            ("no signature and a wrong size", patched(patched(SOUND, 36, b"ACSP"), 0, bytes(4)),
             [error("no-signature", "not an ICC profile: no 'acsp' in its header"),
              error("size-field", "damaged: its size field is 0")]),
            ("version 5", patched(SOUND, 8, b"\5"),
             [warning("version", "its version is 5, not 2 or 4")]),
            ("rendering intent 4", patched(SOUND, 64, b"\0\0\0\4"),
             [warning("header-intent", "its header names the unknown rendering intent 4")]),
            ("illuminant D65", patched(SOUND, 68, struct.pack(">3I", 0xF351, 0x10000, 0x116CC)),
             [warning("illuminant", "the illuminant in its header is not D50")]),
            ("D50 rounded otherwise",
             patched(SOUND, 68, struct.pack(">3I", 0xF6D5, 0x10000, 0xD32C)), []),
            ("unknown class", patched(SOUND, 12, b"s\xe9\0r"),
             [warning("class", "its class 's??r' is unknown")]),
            ("a tag outside that nobody reads",
             with_table(profiles.profile([(b"rTRC", profiles.curve([])), (b"A2B0", a2b)]),
                        [(b"rTRC", 0xFFFFFF00, 12)]),
             [error("tag-outside", "damaged: tag 'rTRC' lies outside the file"),
              error("white-point", "no media white point, which the absolute intent needs",
                    ["absolute"])]),
            ("tags on top of one another",
             with_table(SOUND, [(white, lut_at + 8, white_size), (a2b0, lut_at, lut_size)]),
             [error("overlap", "tags 'A2B0' and 'wtpt' overlap"),
              error("white-point", "no media white point, which the absolute intent needs",
                    ["absolute"])]),
            ("a tag in the tag table",
             with_table(SOUND, [(white, 136, white_size), (a2b0, lut_at, lut_size)]),
             [error("overlap", "tag 'wtpt' overlaps the header or the tag table", ["absolute"])]),
            ("two tags on the same bytes",
             with_table(profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b),
                                          (b"A2B1", b"")]),
                        [(b"wtpt", 168, 20), (b"A2B0", 188, len(a2b)), (b"A2B1", 188, len(a2b))]),
             []),
            ("unused tags on top of one another",
             with_table(profiles.profile([(b"A2B0", a2b), (b"wtpt", profiles.WHITE_POINT),
                                          (b"cprt", b"text" + bytes(20)),
                                          (b"desc", b"desc" + bytes(20))]),
                        [(b"A2B0", 180, len(a2b)), (b"wtpt", 3468, 20), (b"cprt", 3488, 24),
                         (b"desc", 3496, 24)]),
             [warning("overlap", "tags 'cprt' and 'desc' overlap")]),
            ("the same tag twice, once and for all",
             with_table(profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b),
                                          (b"A2B0", b"")]),
                        [(b"wtpt", 168, 20), (b"A2B0", 188, len(a2b)), (b"A2B0", 188, len(a2b))]),
             [warning("duplicate-tag", "tag 'A2B0' stands twice in the tag table")]),
            ("two tags of one name",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b), (b"A2B1", a2b),
                               (b"A2B1", a2b)]),
             [error("duplicate-tag", "tag 'A2B1' stands twice in the tag table",
                    ["relative", "absolute"])]),
            ("a tag at an odd place",
             with_table(SOUND[:lut_at] + b"\0" + SOUND[lut_at:-1],
                        [(white, white_at, white_size), (a2b0, lut_at + 1, lut_size - 1)]),
             [warning("alignment", "tag 'A2B0' does not begin at a multiple of four bytes"),
              error("lookup-cut-off", f"{self.WHERE} is cut off")]),
            ("a curve that is shorter than it says",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b),
                               (b"rTRC", broken_curve)]),
             [warning("tag-cut-off", "tag 'rTRC' of type 'curv' needs 2012 bytes and has 32")]),
            ("a parametric curve without its parameters",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b),
                               (b"gTRC", b"para" + bytes(4) + b"\0\4\0\0" + bytes(8))]),
             [warning("tag-cut-off", "tag 'gTRC' of type 'para' needs 40 bytes and has 20")]),
            ("a B2A grid past its tag",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b),
                               (b"B2A0", b"mft1" + bytes(4) + b"\3\3\x21\0" + bytes(36))]),
             # 48 bytes, two times three tables of 256 and 33 x 33 x 33 nodes of 3
             [warning("tag-cut-off", "tag 'B2A0' of type 'mft1' needs 109395 bytes and has 48")]),
            ("a tag without contents",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b), (b"cprt", b"")]),
             [warning("tag-cut-off", "tag 'cprt' of type '????' needs 8 bytes and has 0")]),
            ("an empty lookup tag is no reason to take another one",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b), (b"A2B2", b"")]),
             [error("lookup-type", "lookup tag 'A2B2' has the unknown type '????'",
                    ["saturation"])]),
            ("no A2B0",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B1", a2b)]),
             [error("no-lookup-tag", "no lookup tag for its class 'scnr'; profiles of matrix and "
                    "curves cannot be used", ["perceptual", "saturation"])]),
            ("connection space XYZ",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b)], pcs=b"XYZ "),
             [error("connection-space",
                    "connection space XYZ; only profiles with connection space Lab can be used")]),
            ("manufacturer none",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b)],
                              manufacturer=b"none"),
             [error("manufacturer-none",
                    "its manufacturer 'none' marks a test profile that converts nothing")]),
            ("several faults of one lookup tag",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT),
                               (b"A2B0", profiles.lut_a_to_b(
                                   a_kind=b"para", b_curve=profiles.ramp(256), precision=1,
                                   matrix=[1] * 12))]),
             [error("lookup-matrix", f"{self.WHERE} has a matrix, which cannot be used"),
              error("curve-type",
                    f"{self.WHERE} has curves of type 'para'; only sampled ones work"),
              error("curve-even", f"{self.WHERE} has curves of an even number of entries, which "
                    "would be misread"),
              error("grid-width",
                    f"{self.WHERE} has a grid of 8-bit values; only 16-bit ones work")]),
            ("an element in the header of its tag",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT),
                               (b"A2B0", patched(profiles.lut_a_to_b(), 24, b"\0\0\0\x08"))]),
             [error("lookup-elements", f"{self.WHERE} has an element inside its own header")]),
        ]

    def test_findings(self):
        for what, data, expected in self.rows():
            with self.subTest(what):
                self.write("bad.icc", data)
                self.assertEqual(self.expect_findings("bad.icc", expected)["kind"], "profile")
                self.write("bad.tif", tiff(profile=data))
                file = self.report("bad.tif", status=WRONG if any(
                    severity == "error" for severity, *_ in expected) else DONE)[0]
                self.assertEqual([(f["part"], f["code"]) for f in file["findings"]],
                                 [("embedded profile", code) for _, code, *_ in expected])

    def test_more_tags_than_can_be_read(self):
        count = 65537
        data = SOUND[:128] + struct.pack(">I", count) + bytes(count * 12)
        self.write("bad.icc", patched(data, 0, struct.pack(">I", len(data))))
        self.expect_findings("bad.icc", [
            ("error", "tag-table", f"has {count} tags; up to 65536 can be read", None)])

    def test_long_lists_end_but_hide_no_error(self):
        """Thousands of warnings first, then what makes the profile unusable."""
        count = 5000
        lut = b"mft1" + profiles.lut16(points=2)[4:]
        data = profiles.profile([(b"%04x" % i, bytes(12)) for i in range(count)] + [(b"A2B0", lut)])
        table = [(s, offset + 1, 8) for s, offset, _ in tag_table(data)[:-1]]
        self.write("bad.icc", with_table(data, table))
        file, = self.report("bad.icc", status=WRONG)
        self.assertLess(len(file["findings"]), 300)
        self.assertEqual([f["code"] for f in file["findings"] if f["severity"] == "error"],
                         ["lookup-type"])

    def test_every_cut(self):
        for size in range(128, len(SOUND), 61):
            with self.subTest(size=size):
                self.write("bad.icc", SOUND[:size])
                self.assertIn(" error: ", "\n".join(self.check("bad.icc", status=WRONG)))

    def test_unusable_ones(self):
        for what, data, reason in self.unusable():
            if not data:
                continue
            with self.subTest(what):
                self.write("bad.icc", data)
                done = self.run_command("check", "bad.icc")
                if reason.startswith("not an ICC profile") and b"acsp" not in data:
                    self.assertIn(done.returncode, (WRONG, UNREADABLE))
                else:
                    self.assertEqual(done.returncode, WRONG)
                    self.assertIn(f"bad.icc: error: {reason}", done.stdout.decode())

    @surroundings.needs_proc
    def test_no_lie(self):
        """Profiles with bytes changed at random: without an error libKXCMS converts by them as the
        strict reader does, if that one takes them."""
        dice = random.Random(20)
        base = profiles.profile([(b"wtpt", profiles.WHITE_POINT),
                                 (b"A2B0", profiles.lut16(points=2, input_curve=profiles.ramp(3),
                                                          output_curve=[0, 65535])),
                                 (b"A2B1", profiles.lut_a_to_b(points=2, a_curve=profiles.ramp(3),
                                                               b_curve=[]))])
        compared = 0
        for turn in range(150):
            data = bytearray(base)
            for _ in range(dice.randint(1, 3)):
                data[dice.randrange(len(data))] = dice.choice([0, 1, 255, dice.randrange(256)])
            self.write("bad.icc", bytes(data))
            number = dice.randrange(len(INTENTS))
            with self.subTest(turn=turn, intent=INTENTS[number]):
                done = self.run_command("check", "--json", "bad.icc")
                self.assertEqual(done.stderr, b"")
                file, = json.loads(done.stdout)["files"]
                if any(f["severity"] == "error" and INTENTS[number] in f["intents"]
                       for f in file["findings"]):
                    continue
                done = self.run_command("convert", "--pipeline", "fixed", "--profile", "bad.icc",
                                        "--intent", INTENTS[number], "in.tif", "out.tif")
                if done.returncode == PROFILE:
                    continue
                self.assertEqual(done.returncode, DONE, done.stderr)
                library = self.library(8, 12, "ref.tif", profile="bad.icc", intent=number)
                self.assertEqual(self.pixels().tobytes(), tiffs.Tiff(library).pixels)
                compared += 1
        self.assertGreater(compared, 20)


class Images(Checking):
    """Errors are what the library's own file conversion cannot take."""

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

    def test_what_the_library_cannot_take(self):
        for what, data, _, reason in self.ROWS:
            with self.subTest(what):
                self.write("bad.tif", data)
                done = self.run_command("check", "bad.tif")
                if data[:4] in (b"II*\0", b"MM\0*", b"II+\0", b"MM\0+"):
                    self.assertEqual((done.returncode, done.stderr), (WRONG, b""))
                    self.assertEqual(done.stdout.decode().splitlines()[0],
                                     f"bad.tif: error: {reason}")
                else:
                    self.assertEqual((done.returncode, done.stdout), (UNREADABLE, b""))

    def test_everything_is_listed(self):
        self.write("bad.tif", tiff(
            replace={259: (SHORT, [5]), 262: (SHORT, [6]), 279: (LONG, [360, 359])}, rows=6,
            extra=[(266, SHORT, [2]), (339, SHORT, [2, 2, 2])], pages=2, profile=SOUND[:200]))
        (_, lut_at, lut_size), = [tag for tag in tag_table(SOUND) if tag[0] == b"A2B0"]
        self.assertGreater(200, lut_at)  # the cut goes through the lookup tag
        expected = [
            ("image", "several-images",
             "more than one image; only single images can be converted"),
            ("image", "compressed", "compressed (LZW); only uncompressed images work"),
            ("image", "fill-order", "reversed bit order (FillOrder 2)"),
            ("image", "photometric", "holds YCbCr, not RGB"),
            ("image", "sample-format", "its samples are not unsigned integers (SampleFormat)"),
            ("image", "strip-cut-off", "damaged: strip 2 of 2 is cut off"),
            ("embedded profile", "size-field",
             f"damaged: it should have {len(SOUND)} bytes and has 200"),
            ("embedded profile", "tag-outside", "damaged: tag 'A2B0' lies outside the file"),
            ("embedded profile", "lookup-channels", None),
        ]
        file, = self.report("bad.tif", status=WRONG)
        self.assertEqual(file["kind"], "tiff")
        found = [(f["part"], f["code"], f["text"]) for f in file["findings"]]
        self.assertEqual(found[:-1], expected[:-1])
        lines = self.check("bad.tif", status=WRONG)
        self.assertEqual(lines[5], "bad.tif: error: damaged: strip 2 of 2 is cut off")
        self.assertEqual(lines[6], "bad.tif: error: embedded profile: " + expected[6][2])

    @surroundings.needs_proc
    def test_tags(self):
        def swapped(data):
            at, = struct.unpack_from("<I", data, 4)
            first, second = data[at + 2:at + 14], data[at + 14:at + 26]
            return patched(patched(data, at + 2, second), at + 14, first)

        def doubled(data):
            at, = struct.unpack_from("<I", data, 4)
            return patched(data, at + 14, data[at + 2:at + 14])

        self.write("a.tif", swapped(tiff()))
        self.expect_findings("a.tif", [("warning", "tag-order", "its tags are not in order", None)])
        self.write("b.tif", doubled(tiff()))
        self.expect_findings("b.tif", [
            ("error", "duplicate-tag", "damaged: tag 256 stands twice", None),
            ("error", "tag-missing", "damaged: no ImageLength", None)])


class ManualPage(unittest.TestCase):
    """Codes are for programs to rely on: all that there are, are told."""

    def test_codes(self):
        root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
        codes = set()
        for name in ("ProfileCheck.cpp", "TiffCheck.cpp"):
            with open(os.path.join(root, "tools", name), encoding="utf-8") as source:
                codes |= set(re.findall(
                    r'(?:Error|Warn|Judge|Damaged|Unsupported|LookupError)\(\s*"([a-z0-9-]+)"'
                    r'|Severity::\w+, "([a-z0-9-]+)"', source.read()))
        codes = {a or b for a, b in codes}
        self.assertGreater(len(codes), 40)
        with open(os.path.join(root, "man", "kxcms.1.scd"), encoding="utf-8") as page:
            told = set(re.findall(r"\*([a-z0-9-]+)\*", page.read()))
        self.assertEqual(codes - told, set())


if __name__ == "__main__":
    surroundings.main()
