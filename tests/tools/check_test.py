#!/usr/bin/env python3
"""kxcms check: what it finds in sound and damaged profiles and images, as lines and as JSON.

Environment: KXCMS (the command), KXCMS_CONVERT_FILE (the library's file conversion).
"""

import json
import os
import random
import re
import resource
import struct
import subprocess
import unittest

import numpy
import PIL.Image
import tifffile

import command_test
import image_forms
import profiles
import surroundings
import tiffs
from command_test import DONE, KXCMS, PROFILE, SANITIZED, UNREADABLE, USAGE, WRITE, WRONG
from image_forms import FORMS, copied, samples, saved, several, written
from tiffs import ASCII, LONG, SHORT, tiff

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
        everything = {"error": INTENTS, "note": INTENTS, "warning": []}
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
             "The following argument was not expected: --frob; --help tells what is"),
        ]:
            with self.subTest(what):
                self.expect(["check", *arguments], USAGE, line)

    def test_nothing_wrong(self):
        self.write("embedded.tif", tiff(profile=SOUND))
        saved(samples(8))(self.path("in.jpg"))
        saved(samples(8))(self.path("in.png"))
        names = ["scan.icc", "in.tif", "in.jpg", "in.png"]
        self.assertEqual(self.check(*names, "embedded.tif"), [])
        for file, kind in zip(self.report(*names), ["profile", "tiff", "jpeg", "png"]):
            self.assertEqual((file["kind"], file["status"], file["findings"]), (kind, "ok", []))

    def test_unreadable_files_do_not_stop_the_others(self):
        os.mkfifo(self.path("pipe"))
        self.write("empty", b"")
        self.write("text", b"These are a hundred and fifty bytes of text or so, which begin like "
                           b"neither of the two kinds of file. " * 3)
        self.write("bad.icc", patched(SOUND, 36, b"xxxx"))
        rows = [("nowhere", "No such file or directory"), (".", "is a directory"),
                ("pipe", "not a regular file"), ("/dev/zero", "not a regular file"),
                ("empty", "empty file"),
                ("text", "neither an ICC profile nor a TIFF, JPEG or PNG file")]
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
    """Errors are damage. What is sound, and libKXCMS or nobody here converts by, is noted."""

    OF_LIBRARY = "for libKXCMS: "

    MATRIX = [(b"wtpt", profiles.WHITE_POINT),
              *((name, b"XYZ " + bytes(4) + struct.pack(">3i", *(round(65536 * v) for v in xyz)))
                for name, xyz in ((b"rXYZ", (.4361, .2225, .0139)), (b"gXYZ", (.3851, .7169, .0971)),
                                  (b"bXYZ", (.1431, .0606, .7141)))),
              *((name, profiles.curve([])) for name in (b"rTRC", b"gTRC", b"bTRC"))]

    @staticmethod
    def lut(**changes):
        return profiles.profile([(b"A2B0", profiles.lut16(**changes))])

    @staticmethod
    def mab(**changes):
        return profiles.profile([(b"A2B0", profiles.lut_a_to_b(**changes))])

    def damaged(self):
        """Damage, told in an error."""
        where = "lookup tag 'A2B0'"
        return [
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
            ("table cut off", profiles.profile([(b"A2B0", profiles.lut16()[:-2])]),
             f"{where} is cut off"),
        ]

    def misread(self):
        """Damage by the strict reader, where libKXCMS has a reason of its own."""
        where = "lookup tag 'A2B0'"
        return [
            ("unknown type", profiles.profile([(b"A2B0", b"mpet" + bytes(100))]),
             f"{where} has the unknown type 'mpet'"),
            ("four inputs", self.lut(inputs=4), f"{where} has 4 inputs and 3 outputs, not 3 and 3"),
            ("four outputs", self.lut(outputs=4),
             f"{where} has 3 inputs and 4 outputs, not 3 and 3"),
            ("one grid point", profiles.profile([(b"A2B0", b"mft2" + bytes(4) + b"\3\3\1\0"
                                                  + bytes(60))]),
             f"{where} has 1 grid points; 2 to 33 can be used"),
            ("4097 entries", self.lut(input_curve=profiles.ramp(4097)),
             f"{where} input curves have 4097 entries; up to 4096 can be used"),
            ("mAB without grid",
             profiles.profile([(b"A2B0", b"mAB " + bytes(4) + b"\3\3\0\0" + b"\0\0\0\x20"
                                + bytes(60))]),
             f"{where} has no colour grid between two sets of curves"),
            ("mAB with a matrix", self.mab(matrix=[65536, 0, 0, 0, 65536, 0, 0, 0, 65536, 9, 0, 0]),
             f"{where} has a matrix, which cannot be used"),
            ("mAB with parametric curves", self.mab(a_kind=b"para"),
             f"{where} has curves of type 'para'; only sampled ones work"),
        ]

    def of_no_use(self):
        """Sound ones that nobody here converts by."""
        return [
            ("CMYK", profiles.profile([(b"A2B0", profiles.lut16())], space=b"CMYK"),
             "describes a device of colour space 'CMYK', not RGB"),
            ("grey", profiles.profile([], space=b"GRAY"),
             "describes a device of colour space 'GRAY', not RGB"),
            ("named colours", profiles.profile([], device_class=b"nmcl"),
             "class 'nmcl' describes no device"),
            ("device link to RGB",
             profiles.profile([(b"A2B0", profiles.lut16())], device_class=b"link", pcs=b"RGB "),
             "the profile is a device link, 'link'; 'scnr', 'mntr', 'prtr' and 'spac' are "
             "supported"),
        ]

    def of_no_use_for_the_library(self):
        """Sound ones that `convert` takes, but libKXCMS does not, or that it would misread."""
        where = "lookup tag 'A2B0'"
        return [
            ("connection space XYZ",
             profiles.profile([(b"A2B0", profiles.lut16())], pcs=b"XYZ "),
             "connection space XYZ; only profiles with connection space Lab can be used"),
            ("manufacturer none",
             profiles.profile([(b"A2B0", profiles.lut16())], manufacturer=b"none"),
             "its manufacturer 'none' marks a test profile that converts nothing"),
            ("matrix and curves",
             profiles.profile(self.MATRIX, device_class=b"mntr", pcs=b"XYZ "),
             "no lookup tag for its class 'mntr'; profiles of matrix and curves cannot be used"),
            ("only A2B1",
             profiles.profile([(b"A2B1", profiles.lut16())]),
             "no lookup tag for its class 'scnr'; profiles of matrix and curves cannot be used"),
            ("8-bit table", profiles.profile([(b"A2B0", b"mft1" + profiles.lut16()[4:])]),
             f"{where} has 8-bit entries (lut8Type); only 16-bit tables can be used"),
            ("34 grid points", self.lut(points=34),
             f"{where} has 34 grid points; 2 to 33 can be used"),
            ("two entries that bend", self.lut(input_curve=[0, 60000]),
             f"{where} has a curve of 2 entries that is not the identity"),
            ("three output entries", self.lut(output_curve=profiles.ramp(3)),
             f"{where} has output curves of 3 entries, too few to be used exactly"),
            ("mAB with 8-bit grid", self.mab(precision=1),
             f"{where} has a grid of 8-bit values; only 16-bit ones work"),
            ("mAB with unequal sides", self.mab(sides=[9, 9, 8]),
             f"{where} has a grid of unequal sides"),
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
        def note(code, text, intents=None):
            return ("note", code, self.OF_LIBRARY + text, intents)
        def contents(text):
            return error("contents", "damaged: " + text)
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
             [warning("version", "its version is 5, not 2 or 4"),
              ("note", "unsupported", "the profile has version 5.4; versions 2 and 4 are supported",
               None)]),
            ("rendering intent 4", patched(SOUND, 64, b"\0\0\0\4"),
             [warning("header-intent", "its header names the unknown rendering intent 4")]),
            ("illuminant D65", patched(SOUND, 68, struct.pack(">3I", 0xF351, 0x10000, 0x116CC)),
             [warning("illuminant", "the illuminant in its header is not D50")]),
            ("D50 rounded otherwise",
             patched(SOUND, 68, struct.pack(">3I", 0xF6D5, 0x10000, 0xD32C)), []),
            ("unknown class", patched(SOUND, 12, b"s\xe9\0r"),
             [warning("class", "its class 's??r' is unknown"),
              ("note", "unsupported", "the profile is of an unknown class, 0x73E90072; 'scnr', "
               "'mntr', 'prtr' and 'spac' are supported", None)]),
            ("a tag outside that nobody reads",
             with_table(profiles.profile([(b"rTRC", profiles.curve([])), (b"A2B0", a2b)]),
                        [(b"rTRC", 0xFFFFFF00, 12)]),
             [error("tag-outside", "damaged: tag 'rTRC' lies outside the file"),
              note("white-point", "no media white point, which the absolute intent needs",
                    ["absolute"])]),
            ("tags on top of one another",
             with_table(SOUND, [(white, lut_at + 8, white_size), (a2b0, lut_at, lut_size)]),
             [error("overlap", "tags 'A2B0' and 'wtpt' overlap"),
              note("white-point", "no media white point, which the absolute intent needs",
                    ["absolute"])]),
            ("a tag in the tag table",
             with_table(SOUND, [(white, 136, white_size), (a2b0, lut_at, lut_size)]),
             [error("overlap", "tag 'wtpt' overlaps the header or the tag table", ["absolute"]),
              contents("the tag 'wtpt' begins at byte 136, within the header and tag table of 156 "
                       "bytes")]),
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
             [warning("duplicate-tag", "tag 'A2B0' stands twice in the tag table"),
              contents("the profile has two tags 'A2B0'")]),
            ("two tags of one name",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b), (b"A2B1", a2b),
                               (b"A2B1", a2b)]),
             [error("duplicate-tag", "tag 'A2B1' stands twice in the tag table",
                    ["relative", "absolute"]),
              contents("the profile has two tags 'A2B1'")]),
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
             [warning("tag-cut-off", "tag 'B2A0' of type 'mft1' needs 109395 bytes and has 48"),
              contents("the tag 'B2A0' has 48 bytes, its tables would end at 109395")]),
            ("a tag without contents",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b), (b"cprt", b"")]),
             [warning("tag-cut-off", "tag 'cprt' of type '????' needs 8 bytes and has 0")]),
            ("an empty lookup tag is no reason to take another one",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b), (b"A2B2", b"")]),
             [note("lookup-type", "lookup tag 'A2B2' has the unknown type '????'",
                   ["saturation"]),
              contents("the tag 'A2B2' is of type 0x00000000, not 'mft1', 'mft2' or 'mAB '")]),
            ("no A2B0",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B1", a2b)]),
             [note("no-lookup-tag", "no lookup tag for its class 'scnr'; profiles of matrix and "
                    "curves cannot be used", ["perceptual", "saturation"])]),
            ("connection space XYZ",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b)], pcs=b"XYZ "),
             [note("connection-space",
                    "connection space XYZ; only profiles with connection space Lab can be used")]),
            ("manufacturer none",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT), (b"A2B0", a2b)],
                              manufacturer=b"none"),
             [note("manufacturer-none",
                    "its manufacturer 'none' marks a test profile that converts nothing")]),
            ("several faults of one lookup tag",
             profiles.profile([(b"wtpt", profiles.WHITE_POINT),
                               (b"A2B0", profiles.lut_a_to_b(
                                   a_kind=b"para", b_curve=profiles.ramp(256), precision=1,
                                   matrix=[1] * 12))]),
             [note("lookup-matrix", f"{self.WHERE} has a matrix, which cannot be used"),
              note("curve-type",
                    f"{self.WHERE} has curves of type 'para'; only sampled ones work"),
              note("curve-even", f"{self.WHERE} has curves of an even number of entries, which "
                    "would be misread"),
              note("grid-width",
                    f"{self.WHERE} has a grid of 8-bit values; only 16-bit ones work"),
              contents("the tag 'A2B0' has a matrix without M curves")]),
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
                # Who has an image converts it, and not by libKXCMS.
                self.assertEqual([(f["part"], f["code"]) for f in file["findings"]],
                                 [("embedded profile", code) for _, code, text, _ in expected
                                  if not text.startswith(self.OF_LIBRARY)])

    def test_more_tags_than_the_library_can_read(self):
        count = 65537
        data = SOUND[:128] + struct.pack(">I", count) + bytes(count * 12)
        self.write("bad.icc", patched(data, 0, struct.pack(">I", len(data))))
        self.expect_findings("bad.icc", [
            ("note", "tag-table", self.OF_LIBRARY + f"has {count} tags; up to 65536 can be read",
             None),
            ("error", "contents", "damaged: the connection space is 'Lab ', but there is no tag "
             "A2B0, A2B1, A2B2, B2A0, B2A1 or B2A2", None)])

    def test_long_lists_end_but_hide_nothing_of_weight(self):
        """Thousands of warnings first, then what libKXCMS cannot use."""
        count = 5000
        lut = b"mft1" + profiles.lut16(points=2)[4:]
        data = profiles.profile([(b"%04x" % i, bytes(12)) for i in range(count)] + [(b"A2B0", lut)])
        table = [(s, offset + 1, 8) for s, offset, _ in tag_table(data)[:-1]]
        self.write("bad.icc", with_table(data, table))
        file, = self.report("bad.icc")
        self.assertLess(len(file["findings"]), 300)
        self.assertEqual([f["code"] for f in file["findings"] if f["severity"] != "warning"],
                         ["lookup-type"])

    def test_every_cut(self):
        for size in range(128, len(SOUND), 61):
            with self.subTest(size=size):
                self.write("bad.icc", SOUND[:size])
                self.assertIn(" error: ", "\n".join(self.check("bad.icc", status=WRONG)))

    def test_damage_and_uses(self):
        for rows, status, prefix in (
            (self.damaged(), WRONG, "error: "),
            (self.misread(), WRONG, "note: " + self.OF_LIBRARY),
            (self.of_no_use(), DONE, "note: "),
            (self.of_no_use_for_the_library(), DONE, "note: " + self.OF_LIBRARY),
        ):
            for what, data, reason in rows:
                with self.subTest(what):
                    self.write("bad.icc", data)
                    done = self.run_command("check", "bad.icc")
                    if b"acsp" not in data and done.returncode == UNREADABLE:
                        continue  # nothing shows that it should be a profile
                    self.assertEqual((done.returncode, done.stderr), (status, b""))
                    lines = done.stdout.decode()
                    self.assertIn(f"bad.icc: {prefix}{reason}", lines)
                    self.assertEqual(" error: " in lines, status == WRONG, lines)

    @surroundings.needs_proc
    def test_convert_takes_what_has_no_error(self):
        """And refuses, with the profile's status, what has one."""
        self.write("white.tif", tiff(samples=[255] * 720))
        rows = [(row, PROFILE) for row in self.damaged() + self.misread() + self.of_no_use()]
        rows += [(row, DONE) for row in self.of_no_use_for_the_library()]
        count = 70000
        names = [struct.pack(">I", 0x61000000 + i) for i in range(count)]
        rows.append((("very many tags", profiles.profile(
            [(b"wtpt", profiles.WHITE_POINT), (b"A2B0", profiles.lut16(points=3))]
            + [(name, b"") for name in names]), None), DONE))
        for (what, data, _), status in rows:
            with self.subTest(what):
                self.write("bad.icc", data)
                done = self.run_command("convert", "--profile", "bad.icc", "white.tif", "out.tif")
                self.assertEqual(done.returncode, status, done.stderr)
                checked = self.run_command("check", "bad.icc").returncode
                self.assertEqual(checked == DONE,
                                 status == DONE or what in [row[0] for row in self.of_no_use()])

    @surroundings.needs_proc
    def test_no_lie(self):
        """Profiles with bytes changed at random: without an error or a note libKXCMS converts by
        them as the strict reader does, if that one takes them."""
        dice = random.Random(20)
        base = profiles.profile([(b"wtpt", profiles.WHITE_POINT),
                                 (b"A2B0", profiles.lut16(points=2, input_curve=profiles.ramp(3),
                                                          output_curve=[0, 65535])),
                                 (b"A2B1", profiles.lut_a_to_b(points=2, a_curve=profiles.ramp(3),
                                                               b_curve=[]))])
        turns = []
        for turn in range(150):
            data = bytearray(base)
            for _ in range(dice.randint(1, 3)):
                data[dice.randrange(len(data))] = dice.choice([0, 1, 255, dice.randrange(256)])
            self.write(f"{turn}.icc", bytes(data))
            turns.append((f"{turn}.icc", dice.randrange(len(INTENTS))))
        done = self.run_command("check", "--json", *(name for name, _ in turns))
        self.assertEqual(done.stderr, b"")
        compared = 0
        for (name, number), file in zip(turns, json.loads(done.stdout)["files"], strict=True):
            with self.subTest(name, intent=INTENTS[number]):
                self.assertEqual(file["file"], name)
                if any(INTENTS[number] in f["intents"] for f in file["findings"]):
                    continue
                done = self.run_command("convert", "--pipeline", "fixed", "--profile", name,
                                        "--intent", INTENTS[number], "in.tif", "out.tif")
                if done.returncode == PROFILE:
                    continue
                self.assertEqual(done.returncode, DONE, done.stderr)
                library = self.library(8, 12, "ref.tif", profile=name, intent=number)
                self.assertEqual(self.pixels().tobytes(), tiffs.Tiff(library).pixels)
                compared += 1
        self.assertGreater(compared, 20)


class Images(Checking):
    """Only damage is an error: what `convert` reads, in whatever form, is sound."""

    def folder_of(self, name):
        os.mkdir(self.path(name))
        return self.path(name)

    def test_every_form_is_sound(self):
        names = []
        for i, form in enumerate(FORMS):
            path, _ = form.write(self.folder_of(str(i)))
            names.append(os.path.relpath(path, self.folder))
        self.assertEqual(self.check(*names), [])
        for form, file in zip(FORMS, self.report(*names)):
            with self.subTest(form.name):
                kind = {".tif": "tiff", ".jpg": "jpeg", ".png": "png"}[form.suffix]
                self.assertEqual((file["kind"], file["status"], file["findings"]), (kind, "ok", []))

    def of_no_use(self):
        rgb, grey = samples(8), samples(8)[:, :, 0]
        for mode, suffix, reason in (("L", ".jpg", "grey"), ("CMYK", ".jpg", "CMYK"),
                                     ("L", ".png", "grey"), ("P", ".png", "palette colours"),
                                     ("1", ".png", "grey"), ("1", ".tif", "grey"),
                                     ("P", ".tif", "palette colours")):
            yield (f"{mode} as {suffix}", suffix,
                   PIL.Image.fromarray(rgb).convert(mode).save, f"holds {reason}, not RGB")
        for what, data, options, reason in (
            ("grey", grey, {"photometric": "minisblack"}, "holds grey, not RGB"),
            ("inks", samples(8, 4), {"photometric": "separated"},
             "holds CMYK or other inks, not RGB"),
            ("Lab", rgb, {"photometric": "cielab"}, "holds Lab, not RGB"),
            ("float", rgb.astype("f4"), {}, "32 bits per sample; only 8 and 16 work"),
            ("signed", samples(16).astype("i2"), {},
             "its samples are not unsigned integers (SampleFormat)"),
        ):
            yield what, ".tif", written(data, **options), reason

    def test_forms_that_are_not_converted(self):
        for what, suffix, make, reason in self.of_no_use():
            with self.subTest(what):
                make(self.path("in" + suffix))
                name, text = "in" + suffix, f"{reason}; its pixels are not looked at"
                self.assertEqual(self.check(name), [f"{name}: note: {text}"])
                file, = self.report(name)
                self.assertEqual((file["status"], file["findings"]), ("ok", [
                    {"severity": "note", "part": "image", "code": "unsupported",
                     "intents": INTENTS, "text": text}]))
        rgb = samples(8)
        several((rgb, {}), (rgb[:, :, 0], {"photometric": "minisblack"}))(self.path("in.tif"))
        self.assertEqual(self.check("in.tif"), ["in.tif: note: page 2: holds grey, not RGB; its "
                                                "pixels are not looked at"])

    def test_what_is_not_converted_can_be_cut_off_too(self):
        written(samples(8)[:, :, 0], photometric="minisblack", rowsperstrip=9)(self.path("a.tif"))
        self.write("a.tif", self.read("a.tif")[:-1])
        self.assertEqual(self.check("a.tif", status=WRONG), [
            "a.tif: note: holds grey, not RGB; its pixels are not looked at",
            "a.tif: error: damaged: a strip or tile is cut off"])

    DAMAGE = [
        ("seven bytes", b"II*\0\x08\0\0", "cut-off", "cut off"),
        ("header alone", b"II*\0\x08\0\0\0", "cut-off", "cut off"),
        ("a JPEG's first bytes", b"\xff\xd8\xff\xe0" + bytes(60), "undecodable", None),
        ("a PNG's first bytes", b"\x89PNG\r\n\x1a\n", "cut-off", "cut off"),
        ("directory outside", b"II*\0\xff\xff\xff\xff", "cut-off", "cut off"),
        ("no tags", b"II*\0\x08\0\0\0\0\0\0\0\0\0", "no-tags", "an image without tags"),
        ("cut in the directory", tiff()[:-60], "cut-off", "cut off"),
        ("cut in the data of a tag", tiff()[:-1], "tag-outside",
         "the data of tag 283 lie outside the file"),
        ("a tag twice", tiff().replace(struct.pack("<H", 283), struct.pack("<H", 282)),
         "duplicate-tag", "tag 282 stands twice"),
        ("no width", tiff(without=[256]), "tag-missing", "no ImageWidth"),
        ("width 0", tiff(replace={256: (LONG, [0])}), "no-pixels", "no pixels"),
        ("width a text", tiff(replace={256: (ASCII, b"20\0")}), "tag-form",
         "tag 256 is not a number"),
        ("two widths", tiff(replace={256: (SHORT, [20, 20])}), "tag-form",
         "tag 256 is not a single number"),
        ("planar configuration 3", tiff(replace={284: (SHORT, [3])}), "planar",
         "planar configuration 3"),
        ("no strips", tiff(without=[273]), "strips", "no strips"),
        ("no StripByteCounts", tiff(without=[279]), "strips", "no strips"),
        ("a strip missing", tiff(rows=5, replace={273: (LONG, [8, 308]), 279: (LONG, [300, 300])}),
         "strips", "2 strips where 3 make the image"),
        ("a strip outside", tiff(replace={273: (LONG, [0xFFFFFF00])}), "strip-cut-off",
         "strip 1 of 1 is cut off"),
        ("a strip too short", tiff(rows=6, replace={279: (LONG, [360, 359])}), "strip-cut-off",
         "strip 2 of 2 is cut off"),
        ("zero rows per strip", tiff(replace={278: (LONG, [0])}), "strips", "no rows per strip"),
        ("LZW that is none", tiff(replace={259: (SHORT, [5])}), "undecodable", None),
        ("Exif outside", tiff(extra=[(34665, LONG, [0xFFFF])]), "cut-off", "cut off"),
        ("Exif in itself", tiff(extra=[(34665, LONG, [8 + 720])]), "directory-circle",
         "its directories go round in a circle"),
        ("Exif without a place", tiff(extra=[(34665, ASCII, b"x\0")]), "tag-form",
         "tag 34665 does not point at a directory"),
    ]

    def test_damage(self):
        for what, data, code, text in self.DAMAGE:
            with self.subTest(what):
                self.write("bad", data)
                file, = self.report("bad", status=WRONG)
                finding, = file["findings"]
                self.assertEqual((file["status"], finding["severity"], finding["code"]),
                                 ("error", "error", code))
                self.assertTrue(finding["text"].startswith("damaged: "), finding)
                if text is not None:
                    self.assertEqual(finding["text"], f"damaged: {text}")
                self.assertEqual(self.check("bad", status=WRONG),
                                 [f"bad: error: {finding['text']}"])

    def test_an_empty_file_is_nothing(self):
        self.write("bad.tif", b"")
        self.expect(["check", "bad.tif"], UNREADABLE, "bad.tif: empty file")

    def test_a_page_is_named(self):
        """Damage to one page keeps no other from being read."""
        rgb = samples(8)
        several((rgb, {"compression": "zlib"}), (rgb, {"compression": "zlib"}),
                (rgb, {"compression": "zlib"}))(self.path("in.tif"))
        data = bytearray(self.read("in.tif"))
        with tifffile.TiffFile(self.path("in.tif")) as file:
            for page in (0, 2):
                at = file.pages[page].dataoffsets[0]
                data[at:at + 4] = b"\xff\xff\xff\xff"
        self.write("bad.tif", data)
        findings = self.report("bad.tif", status=WRONG)[0]["findings"]
        self.assertEqual([(f["severity"], f["code"], f["text"][:16]) for f in findings],
                         [("error", "undecodable", "page 1: damaged:"),
                          ("error", "undecodable", "page 3: damaged:")])

    SMALL = samples(8, height=12, width=11)
    CUT_FORMS = [
        ("strips", written(SMALL, rowsperstrip=5), ".tif"),
        ("big-endian BigTIFF", written(SMALL, bigtiff=True, byteorder=">"), ".tif"),
        ("planes", written(image_forms.planes(SMALL), planarconfig="separate"), ".tif"),
        ("LZW", copied(written(SMALL), "-c", "lzw"), ".tif"),
        ("Deflate", copied(written(SMALL), "-c", "zip:2"), ".tif"),
        ("tiles", written(SMALL, tile=(16, 16)), ".tif"),
        ("two pages", several((SMALL, {}), (SMALL, {})), ".tif"),
        ("JPEG in a TIFF", copied(written(SMALL), "-c", "jpeg"), ".tif"),
        ("JPEG", saved(SMALL), ".jpg"),
        ("progressive JPEG", saved(SMALL, progressive=True), ".jpg"),
        ("PNG", saved(SMALL), ".png"),
        ("PNG with a profile", saved(SMALL, icc_profile=profiles.scanner(points=2)), ".png"),
    ]

    def test_every_cut(self):
        """A file that was cut has an error, or all its pixels by libtiff, libjpeg and libpng."""
        for what, make, suffix in self.CUT_FORMS:
            folder = self.folder_of(what)
            make(self.path("whole" + suffix))
            whole = self.read("whole" + suffix)
            self.assertEqual(self.check("whole" + suffix), [])
            names = []
            for size in range(9, len(whole), max(1, len(whole) // 1000)):
                names.append(f"{what}/{size}{suffix}")
                self.write(names[-1], whole[:size])
            done = self.run_command("check", "--json", *names)
            self.assertIn(done.returncode, (WRONG, UNREADABLE), done.stderr)
            for name, file in zip(names, json.loads(done.stdout)["files"]):
                if file["status"] == "ok":
                    with self.subTest(name):
                        self.assertEqual(self.pages_by_libtiff(os.path.join(self.folder, name)),
                                         self.pages_by_libtiff(self.path("whole" + suffix)))
            self.assertIn("error", [file["status"] for file in json.loads(done.stdout)["files"]],
                          folder)

    @staticmethod
    def pages_by_libtiff(path):
        with PIL.Image.open(path) as image:
            pages = []
            for page in range(getattr(image, "n_frames", 1)):
                image.seek(page)
                pages.append(numpy.asarray(image).tobytes())
            return pages

    def test_check_and_convert_agree(self):
        """On files with a byte changed: what has an error is refused as damaged, what has none is
        converted."""
        for what, make, suffix in self.CUT_FORMS:
            make(self.path("whole" + suffix))
            whole = self.read("whole" + suffix)
            self.folder_of(what)
            names = []
            for at in range(0, len(whole), max(1, len(whole) // 40)):
                names.append(f"{what}/{at}{suffix}")
                changed = bytearray(whole)
                changed[at] ^= 0x5A
                self.write(names[-1], changed)
            done = self.run_command("check", "--json", *names)
            for name, file in zip(names, json.loads(done.stdout)["files"]):
                with self.subTest(name):
                    done = self.run_command("convert", "--profile", "scan.icc", "--quiet", name,
                                            "out.tif")
                    findings = file["findings"]
                    damage = [f for f in findings if f["severity"] == "error"
                              and f["part"] == "image"]
                    notes = [f for f in findings if f["severity"] == "note"
                             and f["part"] == "image"]
                    expected = {UNREADABLE} if file["status"] == "unreadable" or damage else \
                        {DONE, WRONG} if notes else {DONE}
                    # A damaged page may stand behind one of a form that is not converted.
                    if damage and notes:
                        expected = {UNREADABLE, WRONG}
                    self.assertIn(done.returncode, expected, (done.stderr, findings))

    @unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
    def test_little_memory_is_no_damage(self):
        """Whatever the limit: the file is sound, or there is not enough memory to say so."""
        noise = numpy.random.default_rng(7).integers(0, 256, (2500, 2500, 3), "u1")
        # For decoders whose memory does not depend on what is compressed.
        blocks = numpy.kron(noise[::50, ::50], numpy.ones((50, 50, 1), "u1"))
        written(noise, compression="zlib", rowsperstrip=2500)(self.path("deflate.tif"))
        copied(written(noise), "-c", "lzw", "-r", "2500")(self.path("lzw.tif"))
        saved(blocks)(self.path("blocks.png"))
        saved(blocks, progressive=True)(self.path("progressive.jpg"))
        names = ["deflate.tif", "lzw.tif", "blocks.png", "progressive.jpg"]
        told = set()
        # At every step where the files begin to find room, and at some beyond.
        for megabytes in (*range(20, 100, 8), 120, 200, 380):
            limit = megabytes << 20
            def limited():
                resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
            if self.run_command("--version", preexec_fn=limited).returncode != DONE:
                continue  # not enough to start the program
            for name in names:
                with self.subTest(name, megabytes=megabytes):
                    done = self.run_command("check", name, preexec_fn=limited)
                    self.assertEqual(done.stdout, b"")
                    line = f"kxcms: {name}: not enough memory for this file\n"
                    self.assertIn((done.returncode, done.stderr.decode()),
                                  {(DONE, ""), (UNREADABLE, line)})
                    told.add(done.returncode)
        self.assertEqual(told, {DONE, UNREADABLE})

    @unittest.skipIf(SANITIZED, "sanitizers take descriptors of their own")
    def test_few_descriptors_are_no_damage(self):
        """One beside the standard ones, which the libraries need as well when they are loaded."""
        def limited():
            resource.setrlimit(resource.RLIMIT_NOFILE, (4, 4))
        self.write("embedded.tif", tiff(profile=SOUND))
        done = self.run_command("check", "scan.icc", "embedded.tif", preexec_fn=limited)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (DONE, b"", b""))

    def test_tags_out_of_order(self):
        data = tiff()
        at, = struct.unpack_from("<I", data, 4)
        first, second = data[at + 2:at + 14], data[at + 14:at + 26]
        self.write("a.tif", patched(patched(data, at + 2, second), at + 14, first))
        self.expect_findings("a.tif", [("warning", "tag-order", "its tags are not in order", None)])

    def test_everything_is_listed(self):
        """Damage to pixels, and to the profile that is embedded beside them."""
        self.write("bad.tif", tiff(replace={259: (SHORT, [5])}, profile=SOUND[:200]))
        findings = self.report("bad.tif", status=WRONG)[0]["findings"]
        self.assertEqual([(f["part"], f["code"]) for f in findings],
                         [("image", "undecodable"), ("embedded profile", "size-field"),
                          ("embedded profile", "tag-outside"),
                          ("embedded profile", "lookup-cut-off")])
        lines = self.check("bad.tif", status=WRONG)
        self.assertEqual(lines[1], "bad.tif: error: embedded profile: damaged: it should have "
                         f"{len(SOUND)} bytes and has 200")


class ManualPage(unittest.TestCase):
    """Codes are for programs to rely on: all that there are, are told."""

    def test_codes(self):
        root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
        codes = set()
        for name in ("ProfileCheck.cpp", "ImageCheck.cpp"):
            with open(os.path.join(root, "tools", name), encoding="utf-8") as source:
                codes |= set(re.findall(
                    r'(?:Error|Warn|Judge|Note|Limit|LookupLimit)\(\s*"([a-z0-9-]+)"'
                    r'|Severity::\w+,\s*"([a-z0-9-]+)"|", "([a-z0-9-]+)"\},|return "([a-z-]+)";',
                    source.read()))
        codes = {a or b or c or d for a, b, c, d in codes}
        self.assertGreater(len(codes), 40)
        with open(os.path.join(root, "man", "kxcms-check.1.scd"), encoding="utf-8") as page:
            told = set(re.findall(r"\*([a-z0-9-]+)\*", page.read()))
        self.assertEqual(codes - told, set())


if __name__ == "__main__":
    surroundings.main()
