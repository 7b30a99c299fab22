#!/usr/bin/env python3
"""kxcms convert on small files of every form, cut off everywhere and with single bytes changed.

Whatever becomes of a file: no signal, no line but the one of a refusal, and exit status 0 only with
the pages, pixels and profile that libtiff, libjpeg and libpng read there and the pipeline makes of
them. `damage_test.py 1` takes every cut and every byte, otherwise every 120th is taken, or as told.

Environment: KXCMS (the command), KXCMS_PLAIN_READER (what libtiff and libpng read), KXPIPELINE.
"""

import atexit
import concurrent.futures
import functools
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import warnings

import numpy
import PIL.Image

import exiftool
import image_forms
import kxp
import profiles
import surroundings
from own_folder import OwnFolder

KXCMS = os.environ["KXCMS"]
READER = os.environ["KXCMS_PLAIN_READER"]
HEIGHT, WIDTH = 10, 9
SCANNER = profiles.scanner(points=3)
STEP = int(sys.argv.pop()) if sys.argv[-1].isdigit() else 120
SRGB = kxp.profile_of("srgb")


def run(*command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=60)


class Reader:
    """A process that reads one file after another."""

    idle = []

    def __init__(self):
        self.said = tempfile.TemporaryFile()
        self.process = subprocess.Popen([READER], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=self.said)
        atexit.register(self.process.communicate)

    @classmethod
    def pages(cls, path):
        """@return as `peer_pages`. A reader whose process ends at a file is used no more."""
        try:
            reader = cls.idle.pop()
        except IndexError:
            reader = cls()
        found = reader.read(path)
        if reader.process.poll() is None:
            cls.idle.append(reader)
        return found

    def read(self, path):
        output, before, pages = self.process.stdout, self.said.seek(0, os.SEEK_END), []
        self.process.stdin.write(path.encode() + b"\n")
        self.process.stdin.flush()
        try:
            while (line := output.readline()) not in (b"read\n", b"failed\n"):
                width, height, count, bits, alpha, associated, profile = map(int, line.split())
                rows = numpy.frombuffer(output.read(width * height * count * bits // 8),
                                        f"u{bits // 8}")
                pages.append((rows.reshape(height, width, count), alpha, associated,
                              output.read(profile)))
        except ValueError:  # the output ends amid a page, or before one
            return f"the reader ended with {self.process.wait(timeout=60)}"
        self.said.seek(before)
        return pages if line == b"read\n" else self.said.read().decode(errors="replace")


def peer_pages(path):
    """@return [(samples, alpha, associated, profile)] of the pages, or why the file cannot be read
    so."""
    if path.endswith(".jpg"):
        try:
            with warnings.catch_warnings():
                warnings.simplefilter("error")
                with PIL.Image.open(path) as image:
                    return [(numpy.asarray(image), 0, 0, image.info.get("icc_profile", b""))]
        except Exception as error:  # Pillow refuses in many ways
            return str(error)
    return Reader.pages(path)


@functools.lru_cache(256)
def converted(samples, shape, kind, profile, alpha, associated):
    """What the pipeline makes of samples; mostly the same ones again."""
    return kxp.convert(numpy.frombuffer(samples, kind).reshape(shape), profile, alpha=alpha or None,
                       associated=associated)


def converted_page(page):
    data, alpha, associated, embedded = page
    return converted(data.tobytes(), data.shape, data.dtype, embedded or SCANNER, alpha, associated)


class Damage(unittest.TestCase):
    FORMS = list(image_forms.forms(HEIGHT, WIDTH))

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="kxcms-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        with open(os.path.join(self.folder, "scan.icc"), "wb") as file:
            file.write(SCANNER)

    def outcome(self, number, data, suffix, undamaged=()):
        """@param undamaged  the pages before the damage
           @return what is wrong with what becomes of the bytes, or whether they were converted."""
        source = os.path.join(self.folder, f"in{number}{suffix}")
        target = os.path.join(self.folder, f"out{number}.tif")
        with open(source, "wb") as file:
            file.write(data)
        done = run(KXCMS, "convert", "--threads", "1", "--compress", "none", "--assume",
                   os.path.join(self.folder, "scan.icc"), source, target)
        try:
            if done.returncode != 0:
                good = done.returncode in (3, 4, 5) and not os.path.exists(target) and \
                    re.fullmatch(rb"kxcms: [^\n]+\n", done.stderr)
                return False if good else f"{done.returncode}: {done.stderr.decode()}"
            return self.judged(source, target, done.stderr.decode(), undamaged)
        finally:
            for path in (source, target):
                if os.path.exists(path):
                    os.remove(path)

    @staticmethod
    def judged(source, target, said, undamaged):
        before, after = peer_pages(source), peer_pages(target)
        if "dropped: a reduced copy" in said:
            # It is the damaged one, which may be more than libtiff can read.
            whole = [converted_page(page) for page in undamaged]
            good = not isinstance(after, str) and all(
                any(numpy.array_equal(page, found) for page in whole) for found, *_ in after)
            return good or f"another page is damaged; {said}"
        if isinstance(before, str):
            return f"converted, though it cannot be read: {before}; {said}"
        if isinstance(after, str):
            return f"the result cannot be read: {after}"
        # Pages that are not taken are told.
        if len(before) != len(after) and "dropped" not in said:
            return f"{len(before)} pages became {len(after)}"
        for i, (page, (found, _, _, profile)) in enumerate(zip(before, after)):
            data = page[0]
            if profile != SRGB:
                return f"page {i}: another profile"
            if data.shape != found.shape or data.dtype != found.dtype:
                return f"page {i}: {data.shape} became {found.shape}"
            if not numpy.array_equal(converted_page(page), found):
                return f"page {i}: other pixels"
        return True

    def sweep(self, form, changes):
        """@param changes  of the bytes of a form: (name, bytes)"""
        path, _ = form.write(self.folder)
        with open(path, "rb") as file:
            whole = file.read()
        undamaged = peer_pages(path)
        self.assertIs(self.outcome("whole", whole, form.suffix), True)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            rows = [(name, pool.submit(self.outcome, name, data, form.suffix, undamaged))
                    for name, data in changes(whole)]
            for name, row in rows:
                with self.subTest(form.name, change=name):
                    self.assertIn(row.result(), (True, False))
            return sum(row.result() is True for _, row in rows)

    def test_cut_off(self):
        def cuts(whole):
            return ((f"cut-{size}", whole[:size]) for size in range(0, len(whole), STEP))
        for form in self.FORMS:
            # What is cut off may be padding.
            self.assertLess(self.sweep(form, cuts), 9)

    def test_changed_bytes(self):
        def changed(whole, at, bits):
            data = bytearray(whole)
            data[at] ^= bits
            return bytes(data)

        for number, form in enumerate(self.FORMS):
            def changes(whole):
                for at in range(number % STEP, len(whole), STEP):
                    bits = (0x01, 0x80, 0xFF)[at % 3]
                    yield f"changed-{at}-{bits}", changed(whole, at, bits)
            self.sweep(form, changes)


class DamagedMetadata(OwnFolder):
    """Whatever byte of the metadata changes: what exiftool reads of the file is what it reads of the
    result, or it is told that something is left out."""

    GROUPS = ("IFD0:", "ExifIFD:", "GPS:", "InteropIFD:", "XMP-dc:", "IPTC:", "Photoshop:")
    maxDiff = None
    # How the pixels lie, and what is of the new colours.
    OTHERS = {"IFD0:" + name for name in (
        "SubfileType", "ImageWidth", "ImageHeight", "BitsPerSample", "Compression",
        "PhotometricInterpretation", "StripOffsets", "SamplesPerPixel", "RowsPerStrip",
        "StripByteCounts", "PlanarConfiguration", "FillOrder", "ExtraSamples", "SampleFormat",
        "YCbCrPositioning", "YCbCrSubSampling", "ReferenceBlackWhite", "Predictor", "TileWidth",
        "TileLength", "TileOffsets", "TileByteCounts")}
    OTHERS |= {"ExifIFD:ColorSpace", "InteropIFD:InteropIndex", "Photoshop:PhotoshopThumbnail"}
    TAGS = ("-EXIF:ImageDescription=a slide", "-EXIF:Orientation#=6", "-ExposureTime=1/60",
            "-EXIF:BrightnessValue=-1.5", "-EXIF:UserComment=a long comment", "-EXIF:ColorSpace#=1",
            "-EXIF:InteropIndex=R98", "-GPSLatitude=48.5", "-GPSLatitudeRef=N", "-XMP-dc:Title=one")

    def tags(self, path):
        said = exiftool.run("-json", "-G1", "-n", "-a", path, check=False)
        found = json.loads(said.decode(errors="replace"))[0] if said else {}
        return {name: value for name, value in found.items()
                if name.startswith(self.GROUPS) and name not in self.OTHERS}

    def test_changed_bytes(self):
        image = PIL.Image.fromarray(image_forms.samples(8, 3, 4, 5))
        converted_files = 0
        for suffix in (".tif", ".jpg", ".png"):
            image.save(self.path("whole" + suffix))
            exiftool.run("-overwrite_original", *self.TAGS, self.path("whole" + suffix))
            with open(self.path("whole" + suffix), "rb") as file:
                whole = file.read()
            for at in range(0, len(whole), max(1, STEP // 4 - 1)):
                data = bytearray(whole)
                data[at] ^= (0x01, 0x80, 0xFF)[at % 3]
                with open(self.path("in" + suffix), "wb") as file:
                    file.write(data)
                done = run(KXCMS, "convert", "--threads", "1", "--profile", "srgb", "--compress",
                           "none", self.path("in" + suffix), self.path("out.tif"))
                with self.subTest(suffix, at=at):
                    self.assertIn(done.returncode, (0, 3, 4, 5))
                    if done.returncode != 0 or b"dropped" in done.stderr:
                        continue
                    converted_files += 1
                    # It may read more of a file whose directory is in order.
                    before = self.tags(self.path("in" + suffix))
                    after = self.tags(self.path("out.tif"))
                    self.assertEqual({name: after.get(name) for name in before}, before)
        self.assertGreater(converted_files, 50)


if __name__ == "__main__":
    surroundings.main()
