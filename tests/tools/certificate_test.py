#!/usr/bin/env python3
"""kxcms certificate: its numbers beside an evaluation of its own, checking one again, and what it
refuses.

Environment: KXCMS (the command), KXCMS_SAMPLE (the sample generator), KXPIPELINE (the library).
"""

import copy
import hashlib
import json
import os
import subprocess
import unittest

import numpy

import kxp
import report_test
import surroundings
from command_test import KXCMS, OLD, PROFILE, UNREADABLE, USAGE, WRITE, WRONG
from report_test import ADOBE, ciede2000, srgb_encode, srgb_lab


class Certifying(report_test.Reporting):
    def certify(self, profile, *options):
        """@return the JSON document; the text is cert.txt"""
        self.expect(["certificate", profile, *options, "-o", "cert.txt", "--json", "cert.json"], 0)
        return json.loads(self.read("cert.json"))

    def verify(self, *arguments, status=0):
        done = self.run_command("certificate", "--verify", *arguments)
        self.assertEqual((done.returncode, done.stderr), (status, b""))
        return done.stdout.decode().splitlines()


class Numbers(Certifying):
    @unittest.skipIf(surroundings.is_instrumented(KXCMS), "sixteen million colours take minutes there")
    def test_all_colors(self):
        """Of a profile of one gamma: the whole cube, evaluated with numpy."""
        profile = report_test.GammaProfile(ADOBE)
        with open(ADOBE, "rb") as file:
            source_profile = file.read()
        # Longer than other tests may take: a build without optimisation takes a minute.
        subprocess.run([KXCMS, "certificate", ADOBE, "--json", "cert.json"], cwd=self.folder,
                       check=True, timeout=500)
        found = json.loads(self.read("cert.json"))["results"]
        levels = numpy.arange(256, dtype=numpy.uint8)
        plane = numpy.stack(numpy.meshgrid(levels, levels, indexing="ij"), axis=-1).reshape(-1, 2)
        counts = {8: numpy.zeros(4, int), 16: numpy.zeros(4, int)}
        sums, largest = {8: 0.0, 16: 0.0}, {8: 0.0, 16: 0.0}
        inverse = numpy.linalg.inv(report_test.srgb_to_pcs())
        looked = range(0, 256, 5)  # of red; the others are like them
        for red in looked:
            colors = numpy.concatenate([numpy.full((65536, 1), red, numpy.uint8), plane], axis=1)
            encoded = srgb_encode(numpy.clip(profile.xyz(colors / 255) @ inverse.T, 0, 1))
            lab = srgb_lab(encoded)
            for bits, kind in ((8, numpy.uint8), (16, numpy.uint16)):
                most = numpy.iinfo(kind).max
                source = colors.astype(kind) * (most // 255)
                result = kxp.convert(source.reshape(256, 256, 3), source_profile).reshape(-1, 3)
                off = numpy.abs(result.astype(int) - numpy.floor(most * encoded + 0.5).astype(int))
                counts[bits] += numpy.bincount(numpy.minimum(off, 3).ravel(), minlength=4)
                difference = ciede2000(lab, srgb_lab(result / most))
                sums[bits] += difference.sum()
                largest[bits] = max(largest[bits], difference.max())
        share = len(looked) / 256
        for bits in (8, 16):
            depth = found[f"bits{bits}"]
            told = [depth[key] for key in ("equal", "off1", "off2", "offMore")]
            self.assertEqual(sum(told), 3 * 2 ** 24)
            self.assertEqual(told[3], 0)
            for one, two in zip(told, counts[bits]):
                self.assertAlmostEqual(one * share / (3 * 2 ** 24), two / (3 * 2 ** 24), delta=2e-3)
            color = depth["ciede2000"]
            self.assertAlmostEqual(color["mean"], sums[bits] / (65536 * len(looked)),
                                   delta=0.02 * color["mean"])
            self.assertGreaterEqual(color["largest"], largest[bits] - 1e-3)
            self.assertLessEqual(color["share50"], color["share90"])
            self.assertLessEqual(color["share99"], color["largest"])
            # Where it is said to be the largest, it is as large.
            at = numpy.array([color["largestAt"]]) // 257
            encoded = srgb_encode(numpy.clip(profile.xyz(at / 255) @ inverse.T, 0, 1))
            kind = numpy.uint8 if bits == 8 else numpy.uint16
            source = at.astype(kind) * (1 if bits == 8 else 257)
            result = kxp.convert(source.reshape(1, 1, 3), source_profile).reshape(-1, 3)
            there = ciede2000(srgb_lab(encoded), srgb_lab(result / numpy.iinfo(kind).max))[0]
            self.assertAlmostEqual(color["largest"], there, delta=1e-3)

    def test_sample(self):
        """A sample has 16 bits alone; PRECISE keeps its bounds, FIXED does not."""
        name = self.sample()
        for pipeline in ("precise", "fixed"):
            found = self.certify(name, "--sample", "100000", "--pipeline", pipeline)
            self.assertEqual((found["sample"], found["pipeline"]), (100000, pipeline))
            self.assertNotIn("bits8", found["results"])
            depth = found["results"]["bits16"]
            self.assertEqual(sum(depth[key] for key in ("equal", "off1", "off2", "offMore")),
                             300000)
            if pipeline == "precise":
                self.assertLessEqual(depth["largestLevels"], 2)
                self.assertLess(depth["ciede2000"]["largest"], 0.02)
            else:
                self.assertGreater(depth["largestLevels"], 100)
                self.assertGreater(depth["ciede2000"]["largest"], 0.5)

    def test_what_is_named(self):
        name = self.sample()
        found = self.certify(name, "--sample", "1000", "--to", ADOBE, "--intent", "relative",
                             "--black-point-compensation")
        library = os.path.realpath(os.environ["KXPIPELINE"])
        with open(library, "rb") as file:
            self.assertEqual(found["library"]["sha256"], hashlib.sha256(file.read()).hexdigest())
        with open(ADOBE, "rb") as file:
            self.assertEqual(found["destination"],
                             {"file": ADOBE, "sha256": hashlib.sha256(file.read()).hexdigest()})
        self.assertEqual(found["profile"]["sha256"],
                         hashlib.sha256(self.read(name)).hexdigest())
        self.assertTrue(found["blackPointCompensation"])
        self.assertEqual((found["results"]["sourceTag"], found["results"]["targetTag"]),
                         ("A2B0", "matrix"))
        text = self.read("cert.txt").decode()
        for told in (found["library"]["sha256"], found["library"]["level"], "relative",
                     "with black point compensation", found["profile"]["sha256"]):
            self.assertIn(told, text)

    def test_levels_give_the_same_numbers(self):
        name = self.sample()
        results = []
        for level in ("scalar", "portable", "avx2"):
            done = self.run_command("certificate", name, "--sample", "50000", "--json", "level.json",
                                    env={**os.environ, "KXCMS_LEVEL": level})
            self.assertEqual((done.returncode, done.stderr), (0, b""))
            results.append(json.loads(self.read("level.json"))["results"])
        self.assertEqual(results[0], results[1])
        self.assertEqual(results[0], results[2])

    def test_text_tells_the_numbers(self):
        found = self.certify(self.sample(), "--sample", "5000")["results"]["bits16"]
        text = self.read("cert.txt").decode()
        for key in ("equal", "largestLevels"):
            self.assertRegex(text, rf"\b{found[key]}\n")
        for key in ("mean", "share50", "share90", "share95", "share99", "largest"):
            self.assertIn(f"{found['ciede2000'][key]:.6f}", text)
        done = self.run_command("certificate", self.path("scanner.icc"), "--sample", "5000")
        lines = done.stdout.decode().splitlines()
        self.assertEqual(lines[4:], text.splitlines()[4:])


class Verifying(Certifying):
    def setUp(self):
        super().setUp()
        self.name = self.sample()
        self.certificate = self.certify(self.name, "--sample", "20000")

    def changed(self, *keys, to):
        document = copy.deepcopy(self.certificate)
        place = document
        for key in keys[:-1]:
            place = place[key]
        place[keys[-1]] = to
        self.write("changed.json", json.dumps(document).encode())

    def test_holds(self):
        self.assertEqual(self.verify("cert.json"),
                         ["holds: scanner.icc is converted as cert.json says"])
        os.rename(self.path("scanner.icc"), self.path("moved.icc"))
        self.assertEqual(self.verify("cert.json", "moved.icc"),
                         ["holds: moved.icc is converted as cert.json says"])

    def test_other_library(self):
        self.changed("library", "sha256", to="0" * 64)
        lines = self.verify("changed.json")
        self.assertEqual(lines[0], "holds: scanner.icc is converted as changed.json says")
        self.assertRegex(lines[1], 'note: library sha256: "0{64}" in the certificate, "[0-9a-f]{64}"')

    def test_does_not_hold(self):
        largest = self.certificate["results"]["bits16"]["ciede2000"]["largest"]
        self.changed("results", "bits16", "ciede2000", "largest", to=largest / 2)
        self.assertRegex(self.verify("changed.json", status=WRONG)[0],
                         "does not hold: results bits16 ciede2000 largest: .* in the certificate, ")
        self.changed("results", "bits16", "equal", to=1)
        self.assertRegex(self.verify("changed.json", status=WRONG)[0],
                         "does not hold: results bits16 equal: 1 in the certificate, [0-9]+")
        self.assertEqual(self.verify("cert.json", "scan.icc", status=WRONG),
                         ["does not hold: scan.icc is another profile than the one that was "
                          "certified"])

    def test_damaged(self):
        for what, content in (
            ("nothing", b"x"), ("no JSON", b"hello"), ("another document", b"{}"),
            ("a list", b"[]"), ("deep", b"[" * 100000),
            ("another kind", json.dumps({**self.certificate, "kind": "letter"}).encode()),
            ("no intent", json.dumps({**self.certificate, "intent": "best"}).encode()),
            ("no number", json.dumps({**self.certificate, "sample": "many"}).encode()),
            ("too many", json.dumps({**self.certificate, "sample": 1 << 40}).encode()),
            ("no library", json.dumps({**self.certificate, "library": 7}).encode()),
            ("no destination", json.dumps({**self.certificate, "destination": []}).encode()),
            ("bytes", b"\xff\xfe" + json.dumps(self.certificate).encode()),
        ):
            with self.subTest(what):
                self.write("bad.json", content)
                done = self.run_command("certificate", "--verify", "bad.json")
                self.assertEqual((done.returncode, done.stdout), (UNREADABLE, b""))
                self.assertRegex(done.stderr.decode(), r"\Akxcms: bad\.json: [^\n]+\n\Z")


class Refusals(Certifying):
    def test_refused(self):
        self.write("cert.txt", OLD)
        self.write("cert.json", OLD)
        self.write("bad.icc", self.read("scan.icc")[:5000])
        output = ["-o", "cert.txt", "--json", "cert.json"]
        for what, arguments, status, line in (
            ("no profile", output, USAGE, "certificate needs a profile"),
            ("unknown intent", ["scan.icc", *output, "--intent", "best"], USAGE,
             "unknown intent best; known: perceptual, relative, saturation, absolute"),
            ("unknown pipeline", ["scan.icc", *output, "--pipeline", "fast"], USAGE,
             "unknown pipeline fast; known: precise, fixed"),
            ("black points", ["scan.icc", *output, "--black-point-compensation"], USAGE,
             "--black-point-compensation goes with --intent relative and --pipeline precise"),
            ("no sample", ["scan.icc", *output, "--sample", ""], USAGE,
             "--sample: an empty value is no number"),
            ("sample", ["scan.icc", *output, "--sample", "-4"], USAGE,
             "--sample must be 1 to 1073741824"),
            ("one file for both", ["scan.icc", "-o", "cert.txt", "--json", "./cert.txt"], USAGE,
             "-o and --json name the same file"),
            ("over the profile", ["scan.icc", "-o", "./scan.icc"], USAGE,
             "./scan.icc is read; a certificate would replace it"),
            ("check and write", ["--verify", "cert.json", "-o", "x.txt"], USAGE,
             "--verify writes nothing; -o and --json do not go with it"),
            ("missing", ["none.icc", *output], PROFILE,
             "profile none.icc: No such file or directory"),
            ("nowhere", ["scan.icc", "--sample", "10", "-o", "none/cert.txt"], WRITE,
             "cannot write none/cert.txt: its folder does not exist"),
        ):
            with self.subTest(what):
                self.expect(["certificate", *arguments], status, line)
                self.assertEqual((self.read("cert.txt"), self.read("cert.json")), (OLD, OLD))
        for arguments in (["bad.icc"], ["scan.icc", "--to", "bad.icc"]):
            with self.subTest(arguments):
                done = self.run_command("certificate", *arguments, *output)
                self.assertEqual((done.returncode, done.stdout), (PROFILE, b""))
                self.assertRegex(done.stderr.decode(), r"\Akxcms: profile bad\.icc: [^\n]+\n\Z")
                self.assertEqual((self.read("cert.txt"), self.read("cert.json")), (OLD, OLD))


if __name__ == "__main__":
    surroundings.main()
