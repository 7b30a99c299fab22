#!/usr/bin/env python3
"""kxcms batch, verify and journal, as an operator meets them: results, records, going on.

Environment: KXCMS (the command), KXCMS_FAULTS (the library that kills at a call).
"""

import hashlib
import json
import os
import random
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

import jsonschema
import numpy
import PIL.Image
import tifffile

import profiles
import surroundings
import tiff_rules
from tiffs import ASCII, tiff

KXCMS = os.environ["KXCMS"]
FAULTS = os.environ.get("KXCMS_FAULTS", "")
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

DONE, USAGE, UNREADABLE, PROFILE, WRONG, WRITE, SOME_FAILED, STOPPED = 0, 2, 3, 4, 5, 6, 7, 8
OLD = b"what was here before"

with open(os.path.join(ROOT, "docs", "journal.schema.json"), encoding="utf-8") as schema:
    VALIDATOR = jsonschema.Draft202012Validator(json.load(schema))


def sha256(data):
    return hashlib.sha256(data).hexdigest()


class Batch(unittest.TestCase):
    """Every test has a folder of its own, which is the working directory of what it runs."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="kxcms-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.write("scan.icc", profiles.scanner(points=5))

    def path(self, name):
        return os.path.join(os.fsencode(self.folder), os.fsencode(name))

    def name(self, name):
        """The same for those who take text alone."""
        return os.fsdecode(self.path(name))

    def write(self, name, data):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "wb") as file:
            file.write(data)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def scans(self, count=5, **form):
        """in/0.tif, in/sub/1.tif, in/2.tif and so on, each of another width."""
        names = [f"{'sub/' if i % 2 else ''}{i}.tif" for i in range(count)]
        for i, name in enumerate(names):
            self.write("in/" + name, tiff(width=9 + i, length=5, **form))
        return names

    def run_command(self, *arguments, **options):
        options = {"stdin": subprocess.DEVNULL, **options}
        if "input" in options:
            del options["stdin"]
        return subprocess.run([KXCMS, *arguments], cwd=self.folder, capture_output=True,
                              timeout=120, **options)

    COMMON = ["batch", "--from", "in", "--to-dir", "out", "--journal", "j.jsonl", "--profile",
              "scan.icc", "--quiet"]

    def batch(self, *more, status=DONE, common=None, **options):
        done = self.run_command(*(self.COMMON if common is None else common), *more, **options)
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def files(self, folder="out"):
        """What is in a folder: {path: contents}."""
        found = {}
        top = self.path(folder)
        for where, _, names in os.walk(top):
            for name in names:
                path = os.path.join(where, name)
                with open(path, "rb") as file:
                    found[os.path.relpath(path, top).decode(errors="surrogateescape")] = file.read()
        return found

    def lines(self, journal="j.jsonl"):
        """All lines of a journal, each held against the schema."""
        text = self.read(journal)
        self.assertTrue(text == b"" or text.endswith(b"\n"))
        lines = [json.loads(line) for line in text.splitlines()]
        for line in lines:
            VALIDATOR.validate(line)
        return lines

    def results(self, journal="j.jsonl"):
        return [line for line in self.lines(journal) if line["type"] == "result"]

    def last(self, journal="j.jsonl"):
        """{file: status}, as the last line of each says."""
        return {line["file"]: line["status"] for line in self.results(journal)}

    def wait_for(self, condition):
        for _ in range(600):
            if condition():
                return
            time.sleep(0.05)
        self.fail("nothing happened for half a minute")

    def records(self, journal="j.jsonl"):
        """The set of results without what differs between any two runs."""
        found = set()
        for line in self.results(journal):
            del line["seconds"], line["output"]["mtime"]
            found.add(json.dumps(line, sort_keys=True))
        return found


class Usage(Batch):
    ROWS = [
        ("nothing to convert", ["--to-dir", "out"], "batch needs --from or --list"),
        ("nowhere to write", ["--from", "in"], "batch needs --to-dir"),
        ("-0 of no list", ["--from", "in", "--to-dir", "out", "-0"], "-0 goes with --list"),
        ("two profiles", ["--from", "in", "--to-dir", "out", "--profile", "scan.icc",
                          "--profile-map", "map.tsv"],
         "--profile and --profile-map exclude each other"),
        ("jobs", ["--from", "in", "--to-dir", "out", "--jobs", "-1"],
         "--jobs must be 1 to 1024, or 0 for all processors"),
        ("no failures", ["--from", "in", "--to-dir", "out", "--max-failures", "0"],
         "--max-failures must be 1 or more"),
        ("unknown hash", ["--from", "in", "--to-dir", "out", "--hash", "md5"],
         "unknown --hash md5; known: none, output, all"),
        ("unknown progress", ["--from", "in", "--to-dir", "out", "--progress", "loud"],
         "unknown --progress loud; known: auto, plain, json"),
        ("unknown intent", ["--from", "in", "--to-dir", "out", "--intent", "vivid"],
         "unknown intent vivid; known: perceptual, relative, saturation, absolute"),
        *[(f"shard {shard!r}", ["--from", "in", "--to-dir", "out", "--shard", shard],
           "--shard must be I/N with I from 0 to N - 1")
          for shard in ("1", "2/2", "-1/2", "0/0", "0/2x", "/", "0/+2", "0/ 2", "0/1000001")],
        *[(f"size {size!r}", ["--from", "in", "--to-dir", "out", "--min-free", size],
           "--min-free must be a number of bytes, or one with K, M, G or T behind it")
          for size in ("x", "1Q", "-1", "1KK")],
        ("verify of nothing", ["verify"], "verify needs at least one journal"),
        ("journal of nothing", ["journal"], "journal needs at least one file"),
        ("a share", ["verify", "--reconvert", "2", "j"],
         "--reconvert must be 0 to 1, or 0 % to 100 %"),
        ("form of a journal", ["journal", "--as", "csv", "j"],
         "unknown --as csv; known: summary, tsv, sha256sum"),
    ]

    def test_refused(self):
        os.mkdir(self.path("in"))
        for what, arguments, line in self.ROWS:
            if arguments[0].startswith("-"):
                arguments = ["batch", *arguments]
            with self.subTest(what):
                done = self.run_command(*arguments)
                self.assertEqual((done.returncode, done.stdout, done.stderr.decode()),
                                 (USAGE, b"", f"kxcms: {line}\n"))
                self.assertEqual(sorted(os.listdir(self.folder)), ["in", "scan.icc"])

    def test_what_would_fail_for_every_file(self):
        self.scans(1)
        self.write("no.icc", b"no profile")
        self.write("map.tsv", b"*.tif scan.icc\n")
        rows = [
            ("no folder", ["--from", "nowhere"], UNREADABLE,
             "nowhere: No such file or directory"),
            ("a file as folder", ["--from", "scan.icc"], UNREADABLE,
             "scan.icc: is no folder; --list takes a file of names"),
            ("no profile", ["--from", "in", "--profile", "no.icc"], PROFILE, None),
            ("no space", ["--from", "in", "--to", "adobe"], USAGE, None),
            ("results among the images", ["--from", "in", "--to-dir", "./in"], USAGE,
             "--to-dir is --from: results would be taken for images; name another folder"),
            ("no list", ["--list", "nowhere"], UNREADABLE, "nowhere: No such file or directory"),
            ("no table", ["--from", "in", "--profile-map", "map.tsv"], USAGE,
             "map.tsv: line 1 is no pattern, tabulator and profile"),
        ]
        for what, arguments, status, line in rows:
            with self.subTest(what):
                if "--to-dir" not in arguments:
                    arguments = [*arguments, "--to-dir", "out"]
                done = self.run_command("batch", *arguments)
                self.assertEqual((done.returncode, done.stdout), (status, b""))
                self.assertRegex(done.stderr.decode(), r"\Akxcms: [^\n]+\n\Z")
                if line:
                    self.assertEqual(done.stderr.decode(), f"kxcms: {line}\n")
                self.assertFalse(os.path.exists(self.path("out")))


class Results(Batch):
    def test_as_by_convert(self):
        names = self.scans(4)
        self.write("in/deep.tif", tiff(bits=16, rows=3))
        for what, arguments, suffix in [
            ("plain", [], None),
            ("options", ["--to", "adobe-rgb", "--intent", "relative", "--compress", "lzw"], None),
            ("fixed", ["--pipeline", "fixed", "--hue", "3"], None),
            ("png", ["--format", "png"], ".png"),
            ("jpeg", ["--format", "jpeg", "--depth", "8", "--quality", "80"], ".jpg"),
        ]:
            with self.subTest(what):
                shutil.rmtree(self.path("out"), ignore_errors=True)
                self.batch(*arguments, "--exists", "replace")
                found = self.files()
                self.assertEqual(len(found), 5)
                for name in [*names, "deep.tif"]:
                    target = name if suffix is None else name[:-4] + suffix
                    self.run_command("convert", "--quiet", "--profile", "scan.icc", *arguments,
                                     "in/" + name, "one" + target[-4:])
                    self.assertTrue(self.read("one" + target[-4:]) == found[target], name)

    def test_records_are_true(self):
        self.write("in/8.tif", tiff(width=30, length=20))
        self.write("in/16.tif", tiff(width=30, length=20, bits=16, order=">"))
        self.write("in/two.tif", tiff(pages=2, profile=profiles.scanner(points=3)))
        PIL.Image.fromarray(numpy.full((4, 4, 3), 255, "u1")).save(self.name("in/8.png"))
        self.batch("--to", "adobe-rgb")
        header, = [line for line in self.lines() if line["type"] == "header"]
        self.assertEqual(header["settings"]["profile"]["sha256"], sha256(self.read("scan.icc")))
        self.assertEqual(header["run"]["directory"], os.path.realpath(self.folder))
        self.assertEqual(len(self.results()), 4)
        for line in self.results():
            with self.subTest(line["file"]):
                self.assertEqual((line["status"], line["exit"], line["reason"]), ("done", 0, None))
                for side, folder in (("input", "in"), ("output", "out")):
                    path = os.path.join(folder, line["file"])
                    data = self.read(path)
                    self.assertEqual(line[side]["path"],
                                     os.path.join(os.path.realpath(self.folder), path))
                    self.assertEqual(line[side]["size"], len(data))
                    self.assertEqual(line[side]["sha256"], sha256(data))
                    self.assertEqual(line[side]["mtime"], os.stat(self.path(path)).st_mtime_ns)
                name = self.name("out/" + line["file"])
                if line["file"].endswith(".png"):
                    pages = [numpy.asarray(PIL.Image.open(name))]
                    icc = PIL.Image.open(name).info["icc_profile"]
                else:
                    with tifffile.TiffFile(name) as file:
                        pages = [page.asarray() for page in file.pages]
                    icc = tiff_rules.read(self.read("out/" + line["file"])).pages[0][34675][2]
                digest = b"".join(page.astype(page.dtype.newbyteorder("<")).tobytes()
                                  for page in pages)
                self.assertEqual(line["output"]["pixel_sha256"], sha256(digest))
                self.assertEqual(line["output"]["icc_sha256"], sha256(icc))
                self.assertEqual([(p["page"], p["width"], p["height"], p["bits"])
                                  for p in line["pages"]],
                                 [(i + 1, p.shape[1], p.shape[0], p.dtype.itemsize * 8)
                                  for i, p in enumerate(pages)])
                full = numpy.iinfo(pages[0].dtype).max
                samples = numpy.concatenate([page.reshape(-1, 3) for page in pages])
                clipped = ((samples == 0) | (samples == full)).mean(axis=0)
                numpy.testing.assert_allclose(line["clipped"], clipped, atol=5e-7)
                self.assertEqual(line["profile"], {
                    "source": "profile", "sha256": sha256(self.read("scan.icc")),
                    "description": "", "tag": "A2B0", "fallback": False})
        self.assertEqual([line["clipped"] for line in self.results() if "png" in line["file"]],
                         [[1.0, 1.0, 1.0]])

    def test_profiles_of_files(self):
        other = profiles.scanner(points=3)
        self.write("other.icc", other)
        self.write("in/a/plain.tif", tiff())
        self.write("in/a/embedded.tif", tiff(profile=profiles.scanner(points=4)))
        self.write("in/b/plain.tif", tiff(extra=[(271, ASCII, b"Maker \0"), (272, ASCII, b"X 1\0")]))
        self.write("map.tsv", b"# which has which\n\ndevice:Maker/X*\tscan.icc\na/p*\tother.icc\n")
        common = ["batch", "--from", "in", "--to-dir", "out", "--journal", "j.jsonl", "--quiet"]
        self.batch("--profile-map", "map.tsv", common=common)
        found = {line["file"]: (line["profile"]["source"], line["profile"]["sha256"])
                 for line in self.results()}
        self.assertEqual(found, {
            "a/plain.tif": ("map", sha256(other)),
            "a/embedded.tif": ("embedded", sha256(profiles.scanner(points=4))),
            "b/plain.tif": ("map", sha256(self.read("scan.icc")))})

    def test_hashes(self):
        for word, has in [("none", []), ("output", ["output"]),
                          ("all", ["input", "output", "pixel"])]:
            with self.subTest(word):
                self.scans(1)
                self.batch("--hash", word, "--journal", word, common=[
                    *self.COMMON[:5], *self.COMMON[7:], "--exists", "replace"])
                line, = self.results(word)
                self.assertEqual([line["input"]["sha256"] is not None,
                                  line["output"]["sha256"] is not None,
                                  line["output"]["pixel_sha256"] is not None],
                                 [name in has for name in ("input", "output", "pixel")])

    def test_one_bad_file_does_not_stop_the_others(self):
        names = self.scans(4)
        self.write("in/bad.tif", b"II*\0 and nothing else")
        PIL.Image.new("L", (3, 3)).save(self.name("in/grey.png"))
        os.symlink("nowhere.tif", self.path("in/link.tif"))
        done = self.batch(status=SOME_FAILED)
        self.assertEqual(sorted(self.files()), sorted(names))
        self.assertEqual({line["file"]: (line["status"], line["exit"], line["reason"]["code"])
                          for line in self.results() if line["reason"]},
                         {"bad.tif": ("failed", UNREADABLE, "unreadable"),
                          "grey.png": ("refused", WRONG, "unsupported"),
                          "link.tif": ("failed", UNREADABLE, "unreadable")})
        self.assertEqual(len(done.stderr.splitlines()), 3)

    def test_quarantine(self):
        self.scans(1)
        bad = b"II*\0 and nothing else"
        self.write("in/deep/bad.tif", bad)
        self.batch("--quarantine", "q", status=SOME_FAILED)
        self.assertEqual(sorted(self.files("q")), ["deep/bad.tif", "deep/bad.tif.json"])
        self.assertTrue(os.path.samefile(self.path("in/deep/bad.tif"),
                                         self.path("q/deep/bad.tif")))
        record = json.loads(self.read("q/deep/bad.tif.json"))
        self.assertIn(record, self.results())
        self.assertEqual(self.read("in/deep/bad.tif"), bad)
        self.write("in/deep/fixed", tiff())
        os.replace(self.path("in/deep/fixed"), self.path("in/deep/bad.tif"))
        self.batch("--quarantine", "q")
        self.assertEqual(self.files("q"), {})

    def test_quarantine_on_another_file_system(self):
        if os.stat("/dev/shm").st_dev == os.stat(self.folder).st_dev:
            self.skipTest("there is no second file system")
        other = tempfile.mkdtemp(prefix="kxcms-test-", dir="/dev/shm")
        self.addCleanup(shutil.rmtree, other)
        self.write("in/bad.tif", OLD)
        self.batch("--quarantine", other, status=SOME_FAILED)
        with open(os.path.join(other, "bad.tif"), "rb") as copy:
            self.assertEqual(copy.read(), OLD)

    def test_dry_run(self):
        self.scans(2)
        self.write("in/bad.tif", OLD)
        done = self.batch("--dry-run", status=SOME_FAILED)
        self.assertEqual(done.stderr.count(b"bad.tif"), 1)
        self.assertEqual(sorted(os.listdir(self.folder)), ["in", "scan.icc"])

    def test_selftest(self):
        """The header says what was checked, whatever the level and the pipeline."""
        self.scans(1)
        rows = [([], "passed, quick"), (["--pipeline", "fixed"], "passed, quick"),
                (["--selftest"], "passed")]
        for level in ("scalar", "portable", "avx2", "avx512"):
            for options, expected in rows[:2] if level != "scalar" else rows:
                with self.subTest(level=level, options=options):
                    self.batch(*options, env={**os.environ, "KXCMS_LEVEL": level})
                    self.assertEqual(self.lines()[0]["selftest"], expected)
                    os.remove(self.path("j.jsonl"))
                    shutil.rmtree(self.path("out"))

    def test_max_failures(self):
        for i in range(50):
            self.write(f"in/{i}.tif", OLD)
        done = self.batch("--max-failures", "3", "--jobs", "1", status=STOPPED)
        self.assertEqual(len(self.results()), 3)
        self.assertIn(b"as many files have failed as may; the same command goes on", done.stderr)
        # The last ones of all: nothing was left out.
        self.batch("--max-failures", "50", "--jobs", "1", status=SOME_FAILED)

    def test_min_free(self):
        self.scans(2)
        self.batch("--min-free", "999T", status=STOPPED)
        self.assertEqual(self.files(), {})
        self.batch("--min-free", "1K")
        self.assertEqual(len(self.files()), 2)

    def test_progress(self):
        self.scans(3)
        self.write("in/bad.tif", OLD)
        common = self.COMMON[:-1]
        done = self.batch("--progress", "json", common=common, status=SOME_FAILED)
        numbers = json.loads(done.stdout.splitlines()[-1])
        self.assertEqual([numbers[key] for key in ("total", "done", "failed", "done_before")],
                         [4, 3, 1, 0])
        done = self.batch("--progress", "plain", common=common, status=SOME_FAILED)
        self.assertRegex(done.stderr.decode().splitlines()[-1],
                         r"^kxcms: 4 of 4 files: 0 done, 3 done before, 1 failed, [\d.]+ a second$")


class Names(Batch):
    LIST = ["batch", "--to-dir", "out", "--journal", "j.jsonl", "--profile", "scan.icc", "--quiet"]
    HOSTILE = [b"new\nline.tif", b"not utf-8 \xff\xfe.tif", "umlaut \u00e4.tif".encode(),
               b"-dash.tif", b"quote\".tif", b"back\\slash.tif", b" blank .tif", b"tab\t.tif"]

    def test_list_with_zero_bytes(self):
        for name in self.HOSTILE:
            self.write(b"in/" + name, tiff())
        listed = b"\0".join(self.HOSTILE) + b"\0"
        self.batch("--from", "in", "--list", "-", "-0", common=self.LIST, input=listed)
        self.assertEqual({name.encode(errors="surrogateescape") for name in self.files()},
                         set(self.HOSTILE))
        found = set()
        for line in self.results():
            for record, key in ((line, "file"), (line["input"], "path"), (line["output"], "path")):
                name = bytes.fromhex(record[key + "_hex"]) if key + "_hex" in record \
                    else record[key].encode()
                self.assertEqual(record[key], name.decode(errors="replace"))
                found.add(os.path.basename(name))
            self.assertEqual("file_hex" in line, "not utf-8" in line["file"])
        self.assertEqual(found, set(self.HOSTILE))
        # And all is found again.
        before = self.read("j.jsonl")
        self.batch("--from", "in", "--list", "-", "-0", common=self.LIST, input=listed)
        self.assertEqual(len(self.read("j.jsonl").splitlines()), len(before.splitlines()) + 1)

    def test_list_of_lines(self):
        self.scans(4)
        here = os.path.realpath(self.folder)
        self.write("list", f"in/0.tif\n\n./in/sub/../sub/1.tif\n{here}/in/2.tif\nin/sub/3.tif"
                   .encode())
        self.batch("--list", "list", common=self.LIST)
        self.assertEqual(sorted(self.files()),
                         ["in/0.tif", "in/2.tif", "in/sub/1.tif", "in/sub/3.tif"])

    ROWS = [
        ("above the folder", b"../x.tif", "name"),
        ("a folder", b"in/", "name"),
        ("nothing there", b"in/none.tif", "unreadable"),
        ("a suffix of no format", b"in/x.raw", "usage"),
        ("too long", b"in/" + b"n" * 300 + b".tif", "unreadable"),
    ]

    def test_names_that_cannot_be(self):
        self.scans(1)
        for what, name, code in self.ROWS:
            with self.subTest(what):
                self.write("list", name + b"\nin/0.tif\n")
                before = len(self.results()) if os.path.exists(self.path("j.jsonl")) else 0
                self.batch("--list", "list", common=self.LIST, status=SOME_FAILED)
                line, = [line for line in self.results()[before:] if line["reason"]]
                self.assertEqual(line["reason"]["code"], code)
                self.assertEqual(list(self.files()), ["in/0.tif"])

    def test_two_inputs_with_one_output(self):
        self.write("in/a.tif", tiff())
        PIL.Image.new("RGB", (3, 3)).save(self.name("in/a.png"))
        self.batch("--from", "in", "--format", "jpeg", "--jobs", "4", "--exists", "replace",
                   common=self.LIST, status=SOME_FAILED)
        self.assertEqual(sorted((line["status"], (line["reason"] or {}).get("code"))
                                for line in self.results()),
                         [("done", None), ("refused", "same-target")])

    def test_a_file_named_twice(self):
        self.scans(1)
        self.write("list", b"0.tif\n./0.tif\n")
        self.batch("--from", "in", "--list", "list", common=self.LIST, status=SOME_FAILED)
        self.assertEqual(sorted(line["status"] for line in self.results()), ["done", "refused"])
        self.assertEqual(self.run_command("verify", "j.jsonl").stdout, b"1 good\n")
        self.assertEqual(self.run_command("journal", "--failed", "j.jsonl").stdout, b"")

    def test_an_input_is_never_its_own_output(self):
        self.scans(2)
        before = self.files("in")
        os.mkdir(self.path("out"))
        os.link(self.path("in/0.tif"), self.path("out/0.tif"))
        self.write("list", b"0.tif\nsub/1.tif\n")
        self.batch("--from", "in", "--list", "list", "--to-dir", "./in/../in", "--exists", "replace",
                   "--journal", "k.jsonl", common=["batch", "--profile", "scan.icc", "--quiet"],
                   status=SOME_FAILED)
        self.batch("--exists", "replace", status=SOME_FAILED)
        self.assertEqual(self.last("k.jsonl"), {"0.tif": "refused", "sub/1.tif": "refused"})
        self.assertEqual({line["reason"]["code"] for line in self.results("k.jsonl")},
                         {"same-file"})
        self.assertEqual(self.last(), {"0.tif": "refused", "sub/1.tif": "done"})
        self.assertEqual(self.files("in"), before)

    def test_results_below_the_inputs(self):
        self.scans(2)
        common = ["batch", "--from", "in", "--to-dir", "in/out", "--journal", "j.jsonl",
                  "--profile", "scan.icc", "--quiet"]
        self.batch(common=common)
        self.batch(common=common)
        self.assertEqual(sorted(self.files("in/out")), ["0.tif", "sub/1.tif"])

    def test_links(self):
        self.scans(2)
        os.symlink("0.tif", self.path("in/link.tif"))
        os.symlink(".", self.path("in/loop.tif"))
        os.symlink(".", self.path("in/loop"))
        self.batch()
        self.assertEqual(sorted(self.files()), ["0.tif", "link.tif", "sub/1.tif"])


def fnv1a64(data):
    value = 0xCBF29CE484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001B3 % (1 << 64)
    return value


class Shards(Batch):
    # From the authors' own list of test vectors.
    VECTORS = [(b"", 0xCBF29CE484222325), (b"a", 0xAF63DC4C8601EC8C),
               (b"foobar", 0x85944171F73967E8)]

    def test_vectors(self):
        for data, value in self.VECTORS:
            self.assertEqual(fnv1a64(data), value)

    def test_disjoint_and_complete(self):
        names = self.scans(20)
        count, all_files = 3, {}
        for shard in range(count):
            with self.subTest(shard=shard):
                self.batch("--shard", f"{shard}/{count}", "--to-dir", f"out{shard}", common=[
                    "batch", "--from", "in", "--profile", "scan.icc", "--quiet"])
                found = self.files(f"out{shard}")
                journal = f"kxcms-journal-{shard}-of-{count}.jsonl"
                self.assertIn(journal, found)
                del found[journal]
                self.assertEqual(set(found),
                                 {n for n in names if fnv1a64(n.encode()) % count == shard})
                all_files.update(found)
        self.batch()
        self.assertEqual(all_files, self.files())

    def test_two_at_once(self):
        self.scans(40)
        common = ["batch", "--from", "in", "--to-dir", "out", "--profile", "scan.icc", "--quiet"]
        running = [subprocess.Popen([KXCMS, *common, "--shard", f"{i}/2", "--journal", f"j{i}"],
                                    cwd=self.folder) for i in range(2)]
        self.assertEqual([one.wait(timeout=120) for one in running], [DONE, DONE])
        self.assertEqual(len(self.files()), 40)
        self.assertEqual(len(self.last("j0")) + len(self.last("j1")), 40)
        done = self.run_command("verify", "--rehash", "j0", "j1")
        self.assertEqual((done.returncode, done.stdout), (DONE, b"40 good\n"))


class Resume(Batch):
    def touch(self, name, seconds=7):
        status = os.stat(self.path(name))
        os.utime(self.path(name), ns=(status.st_atime_ns, status.st_mtime_ns + seconds * 10**9))

    def edited(self, name):
        """Changes a byte, and leaves size and time."""
        status = os.stat(self.path(name))
        data = bytearray(self.read(name))
        data[12] ^= 1
        self.write(name, bytes(data))
        os.utime(self.path(name), ns=(status.st_atime_ns, status.st_mtime_ns))

    # What happens between two runs, further options of the second, files that it converts again.
    ROWS = [
        ("nothing", lambda t: None, [], []),
        ("an output is gone", lambda t: os.remove(t.path("out/0.tif")), [], ["0.tif"]),
        ("an output has changed", lambda t: t.write("out/0.tif", OLD), [], ["0.tif"]),
        ("an input is newer", lambda t: t.touch("in/2.tif"), [], ["2.tif"]),
        ("an input is another", lambda t: t.write("in/2.tif", tiff(width=50)), [], ["2.tif"]),
        ("an output of the same size and time", lambda t: t.edited("out/0.tif"), [], []),
        ("the same, hashed", lambda t: t.edited("out/0.tif"), ["--rehash"], ["0.tif"]),
        ("an input of the same size and time", lambda t: t.edited("in/0.tif"), [], []),
        ("that hashed", lambda t: t.edited("in/0.tif"), ["--rehash"], ["0.tif"]),
        ("other settings", lambda t: None, ["--to", "adobe-rgb"],
         ["0.tif", "2.tif", "sub/1.tif"]),
        ("another profile", lambda t: t.write("scan.icc", profiles.scanner(points=3)), [],
         ["0.tif", "2.tif", "sub/1.tif"]),
        ("what decides nothing", lambda t: None,
         ["--jobs", "1", "--hash", "none", "--durable", "--min-free", "1"], []),
        ("a new file", lambda t: t.write("in/new.tif", tiff()), [], ["new.tif"]),
    ]

    def test_what_is_done_again(self):
        for what, between, more, again in self.ROWS:
            with self.subTest(what):
                for name in ("in", "out"):
                    shutil.rmtree(self.path(name), ignore_errors=True)
                self.write("j.jsonl", b"")
                self.write("scan.icc", profiles.scanner(points=5))
                self.scans(3)
                self.batch()
                before = len(self.lines())
                between(self)
                self.batch(*more)
                lines = self.lines()[before:]
                self.assertEqual(lines[0]["type"], "header")
                for status in ("begun", "done"):
                    self.assertEqual(sorted(line["file"] for line in lines
                                            if line.get("status") == status), again)

    def test_failed_files_are_tried_again(self):
        self.scans(2)
        self.write("in/bad.tif", OLD)
        self.batch(status=SOME_FAILED)
        self.batch(status=SOME_FAILED)
        self.write("in/bad.tif", tiff())
        self.batch()
        self.assertEqual([line["status"] for line in self.results() if line["file"] == "bad.tif"],
                         ["failed", "failed", "done"])
        self.assertEqual(len(self.results()), 5)

    def test_outputs_of_others(self):
        for word, status, record, kept in [
                (None, SOME_FAILED, "refused", True), ("refuse", SOME_FAILED, "refused", True),
                ("skip", DONE, "skipped", True), ("replace", DONE, "done", False)]:
            with self.subTest(word):
                shutil.rmtree(self.path("out"), ignore_errors=True)
                self.write("j.jsonl", b"")
                self.scans(2)
                self.write("out/0.tif", OLD)
                self.batch(*([] if word is None else ["--exists", word]), status=status)
                self.assertEqual(self.last(), {"0.tif": record, "sub/1.tif": "done"})
                self.assertEqual(self.read("out/0.tif") == OLD, kept)

    def test_an_output_that_somebody_made_meanwhile(self):
        """What was only begun is nobody's claim to the name: it may have been another's since."""
        self.scans(1)
        self.batch("--jobs", "1")
        lines = self.read("j.jsonl").splitlines(keepends=True)
        self.write("j.jsonl", b"".join(lines[:-1]))
        self.write("out/0.tif", OLD)
        self.batch(status=SOME_FAILED)
        self.assertEqual(self.read("out/0.tif"), OLD)
        self.assertEqual(self.last(), {"0.tif": "refused"})
        os.remove(self.path("out/0.tif"))
        self.batch()
        self.assertEqual(self.last(), {"0.tif": "done"})

    def test_torn_lines(self):
        """A journal cut anywhere in its last lines: the set of records is that of one run."""
        self.scans(2)
        self.batch("--jobs", "1")
        whole, right, records = self.read("j.jsonl"), self.files(), self.records()
        ends = [i + 1 for i, byte in enumerate(whole) if byte == 10]
        for cut in [*range(0, len(whole), 211), *ends, *[end - 1 for end in ends]]:
            with self.subTest(cut=cut):
                self.write("j.jsonl", whole[:cut])
                done = self.run_command(*self.COMMON)
                # Without the lines that tell of it, an output is nobody's.
                begun = whole[:cut].count(b'{"type":"begun"') - (
                    b'{"type":"begun"' in whole[max([0, *[e for e in ends if e <= cut]]):cut])
                if begun == 2:
                    self.assertEqual((done.returncode, self.records()), (DONE, records))
                else:
                    self.assertEqual(done.returncode, SOME_FAILED)
                    self.batch("--exists", "replace")
                self.assertEqual(self.files(), right)

    def test_no_journal(self):
        self.scans(1)
        for what, data in [("an image", tiff()), ("other JSON lines", b'{"a": 1}\n'),
                           ("text", b"no newline"), ("one byte", b"x")]:
            with self.subTest(what):
                self.write("j.jsonl", data)
                done = self.batch(status=WRITE)
                self.assertEqual(done.stderr, b"kxcms: journal j.jsonl: is no journal; name another "
                                              b"file\n")
                self.assertEqual(self.read("j.jsonl"), data)
                self.assertEqual(self.files(), {})
        os.remove(self.path("j.jsonl"))
        os.mkdir(self.path("j.jsonl"))
        for what, journal in [("a folder", "j.jsonl"), ("in no folder", "nowhere/j"),
                              ("a device", "/dev/full")]:
            with self.subTest(what):
                done = self.batch("--journal", journal, status=WRITE, common=[
                    "batch", "--from", "in", "--to-dir", "out", "--profile", "scan.icc"])
                self.assertRegex(done.stderr.decode(), r"\Akxcms: journal [^\n]+\n\Z")
                self.assertEqual(self.files(), {})

    def test_a_second_batch_is_refused(self):
        self.scans(3)
        read, write = os.pipe()
        first = subprocess.Popen([KXCMS, *self.COMMON, "--list", "-"], cwd=self.folder, stdin=read)
        os.write(write, b"0.tif\n")
        self.wait_for(lambda: self.files() != {})
        done = self.batch(status=WRITE)
        self.assertEqual(done.stderr, b"kxcms: journal j.jsonl: another batch is writing it\n")
        os.write(write, b"2.tif\n")
        os.close(write)
        self.assertEqual(first.wait(timeout=60), DONE)
        os.close(read)
        self.assertEqual(self.last(), {"0.tif": "done", "2.tif": "done"})
        self.batch()
        self.assertEqual(len(self.files()), 3)

    def test_signals(self):
        for sent in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(sent):
                shutil.rmtree(self.path("out"), ignore_errors=True)
                self.write("j.jsonl", b"")
                self.scans(3)
                read, write = os.pipe()
                first = subprocess.Popen([KXCMS, *self.COMMON, "--list", "-"], cwd=self.folder,
                                         stdin=read, stderr=subprocess.PIPE)
                os.write(write, b"0.tif\n")
                self.wait_for(lambda: "0.tif" in self.files())
                first.send_signal(sent)
                _, line = first.communicate(timeout=60)
                self.assertEqual((first.returncode, line), (
                    STOPPED, b"kxcms: stopped early: by a signal; the same command goes on\n"))
                os.close(write)
                os.close(read)
                self.assertEqual(self.last(), {"0.tif": "done"})
                self.batch()
                self.assertEqual(len(self.files()), 3)


# A sanitizer's library wants to be the first, and to look for leaks when all is done.
BESIDE_SANITIZERS = {"ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0"}


@unittest.skipUnless(FAULTS, "the library that makes calls fail is not built")
class Killed(Batch):
    def faulty(self, fault, **variables):
        return self.run_command(*self.COMMON, "--jobs", "1", env={
            **os.environ, **BESIDE_SANITIZERS, "LD_PRELOAD": FAULTS, "KXCMS_FAULT": fault,
            "KXCMS_FAULT_REPORT": os.path.join(self.folder, "calls"), **variables})

    def test_killed_at_every_write(self):
        self.scans(3)
        self.write("in/bad.tif", OLD)
        for variables in ({}, {"KXCMS_NO_UNNAMED": "1"}):
            shutil.rmtree(self.path("out"), ignore_errors=True)
            self.write("j.jsonl", b"")
            self.assertEqual(self.faulty("change:0:once", **variables).returncode, SOME_FAILED)
            right, records, count = self.files(), self.records(), int(self.read("calls"))
            self.assertGreater(count, 20)
            self.assertEqual(len(records), 4)
            for nth in range(1, count + 1):
                with self.subTest(nth=nth, **variables):
                    shutil.rmtree(self.path("out"), ignore_errors=True)
                    if os.path.exists(self.path("j.jsonl")):
                        os.remove(self.path("j.jsonl"))
                    killed = self.faulty(f"change:{nth}:kill", **variables)
                    self.assertEqual(killed.returncode, -signal.SIGKILL)
                    for name, data in self.files().items():
                        if not os.path.basename(name).startswith(".kxcms-"):
                            self.assertTrue(data == right[name], "a part of a file has its name")
                    self.batch(status=SOME_FAILED)
                    self.assertEqual(self.files(), right)
                    self.assertEqual(self.records(), records)

    def test_writes_that_fail(self):
        """The journal's failing ends the batch with 6; nothing is lost."""
        self.scans(2)
        self.assertEqual(self.faulty("write:0:once").returncode, DONE)
        right, count = self.files(), int(self.read("calls"))
        for kind in ("write", "rename", "link"):
            for nth in range(1, count + 1):
                with self.subTest(kind=kind, nth=nth):
                    shutil.rmtree(self.path("out"), ignore_errors=True)
                    self.write("j.jsonl", b"")
                    done = self.faulty(f"{kind}:{nth}:once")
                    self.assertIn(done.returncode, (DONE, WRITE, SOME_FAILED, STOPPED))
                    self.batch()
                    self.assertEqual(self.files(), right)
                    self.assertEqual(self.last(), {"0.tif": "done", "sub/1.tif": "done"})


    def test_a_machine_that_computes_other_colors(self):
        self.scans(1)
        for pipeline in ("precise", "fixed"):
            done = self.run_command(
                *self.COMMON, "--pipeline", pipeline,
                env={**os.environ, **BESIDE_SANITIZERS, "LD_PRELOAD": FAULTS,
                     "KXCMS_FAULT": "color:1:once"})
            self.assertEqual((done.returncode, done.stderr.decode()),
                             (WRONG, "kxcms: selftest: this machine computes other colours\n"))
            self.assertEqual(sorted(os.listdir(self.folder)), ["in", "scan.icc"])

    def test_no_room_for_what_is_known(self):
        """The room is taken before the first file is converted: here for nothing, and for all."""
        self.scans(600)
        for nth in (1, 2):
            done = self.faulty(f"reserve:{nth}:once")
            self.assertEqual((done.returncode, done.stderr.decode()),
                             (WRITE, "kxcms: journal j.jsonl: cannot keep what is known of outputs: "
                                     "No space left on device\n"))
            self.assertEqual((self.files(), self.read("j.jsonl")), ({}, b""))
        self.batch()
        self.assertEqual(len(self.files()), 600)

    def test_durable(self):
        """Outputs and lines are forced to the disk in the order that docs/batch.md tells."""
        self.scans(2)
        arguments = [KXCMS, *self.COMMON, "--jobs", "1", "--durable"]
        environment = {**os.environ, **BESIDE_SANITIZERS, "LD_PRELOAD": FAULTS,
                       "KXCMS_FAULT_REPORT": os.path.join(self.folder, "calls")}
        done = subprocess.run(arguments, cwd=self.folder, env={
            **environment, "KXCMS_FAULT": "sync:0:once"})
        self.assertEqual(done.returncode, DONE)
        # The folders above two new ones, that of the journal, and the header; of each file begun, the
        # output, its folder, and the result.
        count = int(self.read("calls"))
        self.assertEqual(count, 2 + 1 + 1 + 2 * 4)
        right = self.files()
        for nth in range(1, count + 1):
            with self.subTest(nth=nth):
                shutil.rmtree(self.path("out"))
                os.remove(self.path("j.jsonl"))
                done = subprocess.run(arguments, cwd=self.folder, stderr=subprocess.DEVNULL, env={
                    **environment, "KXCMS_FAULT": f"sync:{nth}:once"})
                self.assertIn(done.returncode, (WRITE, SOME_FAILED))
                # Also where the output has got its name, and only its folder may not be on the disk.
                self.batch("--durable")
                self.assertEqual(self.files(), right)
                self.assertEqual(self.last(), {"0.tif": "done", "sub/1.tif": "done"})

    def test_killed_at_any_moment(self):
        """Several threads, killed again and again until nothing is left to do."""
        for i in range(150):
            self.write(f"in/{i % 7}/{i}.tif", tiff(width=20 + i, length=20))
        self.write("in/bad.tif", OLD)
        self.batch("--jobs", "4", status=SOME_FAILED)
        right, records = self.files(), self.records()
        shutil.rmtree(self.path("out"))
        os.remove(self.path("j.jsonl"))
        delay = random.Random(1)
        kills = 0
        while True:
            running = subprocess.Popen([KXCMS, *self.COMMON, "--jobs", "4"], cwd=self.folder,
                                       stderr=subprocess.DEVNULL)
            try:
                status = running.wait(delay.uniform(0.005, 0.06) if kills < 40 else 60)
            except subprocess.TimeoutExpired:
                running.kill()
                status = running.wait()
            if status != -signal.SIGKILL:
                break
            kills += 1
        self.assertEqual(status, SOME_FAILED)
        self.assertGreater(kills, 0)
        self.assertEqual(self.files(), right)
        self.assertEqual(self.records(), records)

    def test_a_second_signal_gives_up(self):
        """The file at hand is undone: its temporary file goes, which has a name here."""
        self.write("in/0.tif", tiff(width=8, length=8))
        rng = numpy.random.default_rng(1)
        tifffile.imwrite(self.name("in/big.tif"), rng.integers(0, 256, (2000, 2000, 3), "u1"),
                         photometric="rgb")
        running = subprocess.Popen(
            [KXCMS, *self.COMMON, "--compress", "deflate"], cwd=self.folder, stderr=subprocess.PIPE,
            env={**os.environ, **BESIDE_SANITIZERS, "LD_PRELOAD": FAULTS, "KXCMS_NO_UNNAMED": "1"})
        self.wait_for(lambda: "0.tif" in self.files() and len(self.files()) == 2)
        running.send_signal(signal.SIGTERM)
        time.sleep(0.1)
        running.send_signal(signal.SIGTERM)
        running.communicate(timeout=60)
        self.assertEqual(running.returncode, STOPPED)
        self.assertEqual(list(self.files()), ["0.tif"])
        self.batch("--compress", "deflate")
        self.assertEqual(sorted(self.files()), ["0.tif", "big.tif"])


@unittest.skipIf(surroundings.is_instrumented(KXCMS), "sanitizers have a memory of their own")
class Memory(Batch):
    def peak(self, *arguments):
        """KiB, of a run that has nothing to complain of. By a small program: what Python starts has
        Python's own peak to begin with."""
        done = subprocess.run(["/usr/bin/time", "-f", "%M", "-o", "peak", KXCMS, *arguments],
                              cwd=self.folder, timeout=120)
        self.assertEqual(done.returncode, DONE)
        return int(self.read("peak"))

    @unittest.skipUnless(os.path.exists("/usr/bin/time"), "there is no /usr/bin/time")
    def test_does_not_grow_with_the_files(self):
        """Of 18,000 files more, half a mebibyte at most: 30 bytes for each would be more."""
        self.write("scan.tif", tiff(width=4, length=3))
        peaks = []
        for count, folder in ((2000, "few"), (20000, "many")):
            os.mkdir(self.path(folder))
            for i in range(count):
                os.link(self.path("scan.tif"), self.path(f"{folder}/{i}.tif"))
            peaks.append(self.peak("batch", "--from", folder, "--to-dir", "out", "--profile",
                                   "scan.icc", "--dry-run", "--quiet", "--jobs", "1"))
        self.assertLess(peaks[1] - peaks[0], 512, peaks)


class FullDisk(Batch):
    SCRIPT = """
        mount -t tmpfs -o size=120k none disk || exit 99
        "$1" batch --from in --to-dir disk --journal j.jsonl --profile scan.icc --quiet --jobs 2
        first=$?
        ls -A disk | grep -c kxcms-
        mount -o remount,size=4m disk
        "$1" batch --from in --to-dir disk --journal j.jsonl --profile scan.icc --quiet || exit 97
        cp -r disk result
        exit $first
    """

    def test_full_disk(self):
        namespace = surroundings.mount_namespace()
        os.mkdir(self.path("disk"))
        for i in range(8):
            self.write(f"in/{i}.tif", tiff(width=100, length=100 + i))
        done = subprocess.run([*namespace, "sh", "-c", self.SCRIPT, "sh", KXCMS], cwd=self.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
        self.assertEqual((done.returncode, done.stdout), (STOPPED, b"0\n"), done.stderr)
        self.assertRegex(done.stderr.decode(), r"\Akxcms: stopped early: cannot write disk/\d.tif: "
                                               r"No space left on device; the same command goes on"
                                               r"\n\Z")
        self.batch("--to-dir", "out", "--journal", "other",
                   common=["batch", "--from", "in", "--profile", "scan.icc", "--quiet"])
        self.assertEqual(self.files("result"), self.files("out"))


class Verify(Batch):
    def edit_pixels(self, name):
        data = bytearray(self.read(name))
        offset = tiff_rules.read(bytes(data)).pages[0][273][2][0]
        data[offset] ^= 1
        self.write(name, bytes(data))

    def edit_metadata(self, name):
        with tifffile.TiffFile(self.name(name), mode="r+b") as file:
            file.pages[0].tags[305].overwrite("Another program")

    def edit_quietly(self, name, edit):
        """Leaves the time, and edits keep the size or not."""
        status = os.stat(self.path(name))
        edit(name)
        os.utime(self.path(name), ns=(status.st_atime_ns, status.st_mtime_ns))

    # What is done to out/0.tif; the status and the verdict without and with --rehash.
    ROWS = [
        ("nothing", lambda t, n: None, (DONE, "good"), (DONE, "good")),
        ("a later time alone", lambda t, n: os.utime(t.path(n)), (DONE, "good"), (DONE, "good")),
        ("it is gone", lambda t, n: os.remove(t.path(n)),
         (UNREADABLE, "missing"), (UNREADABLE, "missing")),
        ("a folder has its name", lambda t, n: (os.remove(t.path(n)), os.mkdir(t.path(n))),
         (UNREADABLE, "unreadable"), (UNREADABLE, "unreadable")),
        ("pixels", lambda t, n: t.edit_pixels(n),
         (WRONG, "pixels-differ"), (WRONG, "pixels-differ")),
        ("metadata", lambda t, n: t.edit_metadata(n),
         (WRONG, "metadata-differ"), (WRONG, "metadata-differ")),
        ("pixels, at the same time", lambda t, n: t.edit_quietly(n, t.edit_pixels),
         (DONE, "good"), (WRONG, "pixels-differ")),
        ("metadata that grow, at the same time",
         lambda t, n: t.edit_quietly(n, t.edit_metadata),
         (WRONG, "metadata-differ"), (WRONG, "metadata-differ")),
        ("it is no image", lambda t, n: t.write(n, OLD), (WRONG, "differs"), (WRONG, "differs")),
    ]

    def test_outputs(self):
        for what, edit, plain, rehashed in self.ROWS:
            for more, (status, verdict) in (([], plain), (["--rehash"], rehashed)):
                with self.subTest(what, more=more):
                    for name in ("in", "out"):
                        shutil.rmtree(self.path(name), ignore_errors=True)
                    self.write("j.jsonl", b"")
                    self.scans(3, extra=[(305, ASCII, b"tests\0")])
                    self.batch()
                    edit(self, "out/0.tif")
                    done = self.run_command("verify", *more, "--json", "j.jsonl")
                    self.assertEqual((done.returncode, done.stderr), (status, b""))
                    found = {line["file"]: line["verdict"]
                             for line in map(json.loads, done.stdout.splitlines())}
                    self.assertEqual(found, {"0.tif": verdict, "sub/1.tif": "good",
                                             "2.tif": "good"})
                    lines = self.run_command("verify", *more, "j.jsonl").stdout.splitlines()
                    self.assertEqual(len(lines), 1 if verdict == "good" else 2)

    def test_from_anywhere_and_many(self):
        self.scans(2)
        self.write("in/bad.tif", OLD)
        self.batch(status=SOME_FAILED)
        journal = os.path.join(self.folder, "j.jsonl")
        done = subprocess.run([KXCMS, "verify", journal, journal], cwd="/", capture_output=True)
        self.assertEqual((done.returncode, done.stdout), (DONE, b"4 good, 2 not-done\n"))

    def test_reconvert(self):
        self.write("in/embedded.tif", tiff(profile=profiles.scanner(points=3)))
        self.write("in/mapped.tif", tiff(width=31))
        self.write("map.tsv", b"mapped*\tscan.icc\n")
        self.batch("--profile-map", "map.tsv", "--format", "jpeg", "--intent", "relative", common=[
            "batch", "--from", "in", "--to-dir", "out", "--journal", "j.jsonl", "--quiet"])
        journal = os.path.join(self.folder, "j.jsonl")

        def verify(share):
            return subprocess.run([KXCMS, "verify", "--reconvert", share, journal], cwd="/",
                                  capture_output=True)
        done = verify("100%")
        self.assertEqual((done.returncode, done.stdout), (DONE, b"2 good\n"))
        # A journal whose digests are those of other pixels: only converting again tells.
        right = self.read("j.jsonl")
        for line in self.results():
            digest = line["output"]["pixel_sha256"].encode()
            self.write("j.jsonl", right.replace(digest, digest[::-1]))
            self.assertEqual(verify("0").returncode, DONE)
            done = verify("1")
            self.assertEqual(done.returncode, WRONG)
            self.assertIn(b"converting the input again gives another result", done.stdout)
        self.write("j.jsonl", right)
        self.write("scan.icc", profiles.scanner(points=4))
        done = verify("1")
        self.assertEqual(done.returncode, WRONG)
        self.assertIn(b"a profile has changed", done.stdout)
        self.write("in/embedded.tif", tiff(width=77))
        self.assertIn(b"the input has changed", verify("1").stdout)
        self.assertEqual(sorted(self.files()), ["embedded.jpg", "mapped.jpg"])

    def test_journals_that_are_none(self):
        self.write("text", b"no journal\n")
        for what, name in [("text", "text"), ("nothing", "none"), ("a folder", ".")]:
            for command in ("verify", "journal"):
                with self.subTest(what, command=command):
                    done = self.run_command(command, name)
                    self.assertEqual((done.returncode, done.stdout), (UNREADABLE, b""))
                    self.assertRegex(done.stderr.decode(), r"\Akxcms: [^\n]+\n\Z")

    def test_damaged_lines(self):
        self.scans(2)
        self.batch()
        lines = self.read("j.jsonl").splitlines(keepends=True)
        self.write("j.jsonl", b"".join([*lines[:-1], b"\0" * 100 + b"\n", b"[]\n"]))
        done = self.run_command("verify", "j.jsonl")
        self.assertEqual(done.returncode, UNREADABLE)
        self.assertIn(b"2 lines are damaged", done.stdout)


class Journal(Batch):
    def setUp(self):
        super().setUp()
        self.write(b"in/a\nb.tif", tiff())
        self.write(b"in/back\\slash\t.tif", tiff())
        self.write("in/plain.tif", tiff())
        self.write("in/bad.tif", OLD)
        self.batch(status=SOME_FAILED)

    def test_summary(self):
        done = self.run_command("journal", "j.jsonl")
        self.assertEqual((done.returncode, done.stderr), (DONE, b""))
        rows = dict(line.split("\t") for line in done.stdout.decode().splitlines())
        self.assertEqual([rows[key] for key in ("done", "failed", "refused", "reason unreadable",
                                                "runs", "damaged lines", "pixels")],
                         ["3", "1", "0", "1", "1", "0", str(3 * 20 * 12)])

    def test_table(self):
        done = self.run_command("journal", "--as", "tsv", "j.jsonl")
        rows = [line.split("\t") for line in done.stdout.decode().splitlines()]
        self.assertEqual({len(row) for row in rows}, {12})
        here = os.path.realpath(self.folder)
        self.assertEqual({row[2] for row in rows[1:]},
                         {f"{here}/in/a\\nb.tif", f"{here}/in/back\\\\slash\\t.tif",
                          f"{here}/in/plain.tif", f"{here}/in/bad.tif"})

    def test_sums(self):
        done = self.run_command("journal", "--as", "sha256sum", "j.jsonl")
        check = subprocess.run(["sha256sum", "--check", "--strict"], input=done.stdout,
                               capture_output=True, cwd="/")
        self.assertEqual((check.returncode, check.stdout.count(b": OK\n")), (0, 3), check.stderr)
        self.write("out/plain.tif", OLD)
        check = subprocess.run(["sha256sum", "--check", "--strict"], input=done.stdout,
                               capture_output=True, cwd="/")
        self.assertEqual(check.returncode, 1)

    def test_failed(self):
        for more, end in (([], b"\n"), (["-0"], b"\0")):
            done = self.run_command("journal", "--failed", *more, "j.jsonl")
            self.assertEqual(done.stdout,
                             os.fsencode(os.path.realpath(self.folder)) + b"/in/bad.tif" + end)
        self.write("list", done.stdout)
        self.write("in/bad.tif", tiff())
        self.batch("--list", "list", "-0")
        self.assertEqual(self.last()["bad.tif"], "done")
        self.assertEqual(self.run_command("journal", "--failed", "j.jsonl").stdout, b"")


if __name__ == "__main__":
    surroundings.main()
