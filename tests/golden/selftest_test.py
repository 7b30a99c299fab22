#!/usr/bin/env python3
"""kxcms selftest: every level and thread count gives the golden digests, and what differs is told.

Environment: KXCMS (the command), KXCMS_GOLDEN (the list of digests), KXCMS_THREADS
(the thread counts to try).
"""

import functools
import os
import re
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools"))
import surroundings  # noqa: E402

KXCMS = os.environ["KXCMS"]
with open(os.environ["KXCMS_GOLDEN"], encoding="ascii") as file:
    GOLDEN = file.read()
COUNT = GOLDEN.count("\n")
THREADS = [int(n) for n in os.environ["KXCMS_THREADS"].split()]
LEVELS = ["scalar", "portable", "avx2", "avx512"]


def selftest(*arguments, **environment):
    """@param environment  variables to set, or with None not to set"""
    variables = {**os.environ, "KXCMS_LEVEL": None, **environment}
    return subprocess.run([KXCMS, "selftest", *arguments],
                          env={name: value for name, value in variables.items()
                               if value is not None},
                          capture_output=True, text=True, timeout=300)


@functools.lru_cache
def supported_level():
    return re.match(r"level: (\w+)\n", selftest("--threads", "1").stdout).group(1)


@surroundings.needs_proc
class SameBits(unittest.TestCase):
    def expect_ok(self, done, level, threads):
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (0, f"level: {level}\nthreads: {threads}\nok: {COUNT} digests\n", ""))

    def test_every_level_and_thread_count(self):
        best = LEVELS.index(supported_level())
        for number, level in enumerate(LEVELS):
            for threads in THREADS:
                with self.subTest(level=level, threads=threads):
                    self.expect_ok(selftest("--threads", str(threads), KXCMS_LEVEL=level),
                                   LEVELS[min(number, best)], threads)

    def test_defaults(self):
        processors = len(os.sched_getaffinity(0))
        for what, arguments, environment in [
            # Tests are run with threads that sleep while they wait.
            ("no thread count", [], {"OMP_WAIT_POLICY": None}),
            ("thread count 0", ["--threads", "0"], {}),
            ("unknown level", [], {"KXCMS_LEVEL": "avx9"}),
            ("OpenMP has other ideas", [], {"OMP_NUM_THREADS": "3", "OMP_DYNAMIC": "true"}),
            ("the list from its file", ["--digests", os.environ["KXCMS_GOLDEN"]], {}),
        ]:
            with self.subTest(what):
                self.expect_ok(selftest(*arguments, **environment), supported_level(), processors)

    def test_maths_library_without_fused_multiplication(self):
        """Its functions then differ in the last bit, which no table may show."""
        self.expect_ok(selftest("--threads", "1", GLIBC_TUNABLES="glibc.cpu.hwcaps=-FMA,-FMA4"),
                       supported_level(), 1)

    def test_the_language_does_not_matter(self):
        self.expect_ok(selftest("--threads", "1", LC_ALL="de_DE.UTF-8"), supported_level(), 1)


class OtherLists(unittest.TestCase):
    LINES = GOLDEN.splitlines()

    def with_list(self, text):
        with tempfile.NamedTemporaryFile("w") as file:
            file.write(text)
            file.flush()
            return selftest("--threads", "2", "--digests", file.name), file.name

    @surroundings.needs_proc
    def test_mismatches(self):
        name, digest = self.LINES[100].split()
        wrong = f"{int(digest, 16) ^ 1:016x}"
        for what, lines, mismatches in [
            ("one other bit", [*self.LINES[:100], f"{name} {wrong}", *self.LINES[101:]],
             [f"mismatch: {name}: expected {wrong}, computed {digest}"]),
            ("one missing", [*self.LINES[:100], *self.LINES[101:]],
             [f"mismatch: {name}: expected nothing, computed {digest}"]),
            ("one more", [*self.LINES, f"zz {digest}"],
             [f"mismatch: zz: expected {digest}, computed nothing"]),
        ]:
            with self.subTest(what):
                done, _ = self.with_list("".join(line + "\n" for line in lines))
                self.assertEqual(done.returncode, 5)
                self.assertEqual(done.stdout.splitlines()[2:], mismatches)
                self.assertEqual(done.stderr, f"kxcms: 1 of {COUNT} digests differ: this machine "
                                              "computes other colours\n")

    @surroundings.needs_proc
    def test_every_digest_is_compared(self):
        text = re.sub(r"(\w)$", lambda last: f"{int(last[1], 16) ^ 8:x}", GOLDEN, flags=re.MULTILINE)
        done, _ = self.with_list(text)
        self.assertEqual(done.returncode, 5)
        self.assertEqual(done.stdout.count("mismatch: "), COUNT)
        self.assertIn(f"{COUNT} of {COUNT} digests differ", done.stderr)

    def test_no_list(self):
        for what, text in [("text", "hello\n"), ("cut off", GOLDEN[:-5]), ("empty", ""),
                           ("a line twice", GOLDEN + self.LINES[0] + "\n")]:
            with self.subTest(what):
                done, name = self.with_list(text)
                self.assertEqual((done.returncode, done.stdout, done.stderr),
                                 (3, "", f"kxcms: {name}: no list of digests\n"))
        for name, reason in [("/nowhere", "No such file or directory"), ("/", "Is a directory"),
                             ("/dev/zero", "too large")]:
            with self.subTest(name):
                done = selftest("--digests", name)
                self.assertEqual((done.returncode, done.stdout, done.stderr),
                                 (3, "", f"kxcms: {name}: {reason}\n"))

    def test_usage(self):
        for what, arguments, line in [
            ("negative threads", ["--threads", "-1"], "--threads must be 1 to 1024, or 0 for all"),
            ("a file", ["x"], "The following argument was not expected: x; --help tells what is"),
        ]:
            with self.subTest(what):
                done = selftest(*arguments)
                self.assertEqual((done.returncode, done.stdout, done.stderr),
                                 (2, "", f"kxcms: {line}\n"))


if __name__ == "__main__":
    surroundings.main()
