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
    """What it finds beside what `convert` refuses (see command_test.py)."""

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

    @surroundings.needs_proc
    def test_convert_refuses_with_the_first_error_of_its_intent(self):
        for what, data, expected in self.rows():
            self.write("bad.icc", data)
            for intent in INTENTS:
                with self.subTest(what, intent=intent):
                    reasons = [text for severity, _, text, intents in expected
                               if severity == "error" and intent in (intents or INTENTS)]
                    self.expect(["convert", "--profile", "bad.icc", "--intent", intent, "in.tif",
                                 "out.tif"], PROFILE if reasons else DONE,
                                f"profile bad.icc: {reasons[0]}" if reasons else None)

    def test_what_convert_refuses_is_an_error(self):
        cases = command_test.RefusedProfiles("test_refused")
        for what, data, reason in cases.rows():
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
        self.expect(["convert", "--profile", "bad.icc", "in.tif", "out.tif"], PROFILE,
                    "profile bad.icc: " + file["findings"][-1]["text"])

    def test_every_cut(self):
        for size in range(128, len(SOUND), 61):
            with self.subTest(size=size):
                self.write("bad.icc", SOUND[:size])
                self.assertIn(" error: ", "\n".join(self.check("bad.icc", status=WRONG)))

    @surroundings.needs_proc
    def test_no_lie_in_either_form(self):
        """Profiles with bytes changed at random: `check` and `convert` always agree."""
        dice = random.Random(20)
        base = profiles.profile([(b"wtpt", profiles.WHITE_POINT),
                                 (b"A2B0", profiles.lut16(points=2, input_curve=profiles.ramp(3),
                                                          output_curve=[0, 65535])),
                                 (b"A2B1", profiles.lut_a_to_b(points=2, a_curve=profiles.ramp(3),
                                                               b_curve=[]))])
        refused = 0
        for turn in range(150):
            data = bytearray(base)
            for _ in range(dice.randint(1, 3)):
                data[dice.randrange(len(data))] = dice.choice([0, 1, 255, dice.randrange(256)])
            self.write("bad.icc", bytes(data))
            intent = dice.choice(INTENTS)
            with self.subTest(turn=turn, intent=intent):
                done = self.run_command("check", "--json", "bad.icc")
                self.assertEqual(done.stderr, b"")
                file, = json.loads(done.stdout)["files"]
                reasons = [f["text"] for f in file["findings"]
                           if f["severity"] == "error" and intent in f["intents"]]
                self.expect(["convert", "--profile", "bad.icc", "--intent", intent, "in.tif",
                             "out.tif"], PROFILE if reasons else DONE,
                            f"profile bad.icc: {reasons[0]}" if reasons else None)
                refused += bool(reasons)
        self.assertGreater(refused, 20)
        self.assertLess(refused, 149)


class Images(Checking):
    def test_what_convert_refuses_is_an_error(self):
        for what, data, _, reason in command_test.RefusedImages.ROWS:
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
        self.convert(source="a.tif")
        self.write("b.tif", doubled(tiff()))
        self.expect_findings("b.tif", [
            ("error", "duplicate-tag", "damaged: tag 256 stands twice", None),
            ("error", "tag-missing", "damaged: no ImageLength", None)])
        self.convert(source="b.tif", status=UNREADABLE,
                     line="b.tif: damaged: tag 256 stands twice")


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
