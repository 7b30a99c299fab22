#!/usr/bin/env python3
"""What the system refuses is skipped, and told: by a test program, and at the end of a run."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

import surroundings

HERE = pathlib.Path(__file__).resolve().parent
SCRIPTS = HERE.parents[1] / "scripts"

PROGRAM = """
import unittest
import surroundings

class Tests(unittest.TestCase):
    def test_a(self):
        {a}
    def test_b(self):
        {b}

surroundings.main()
"""


class Programs(unittest.TestCase):
    ROWS = [
        ("nothing skipped", "pass", "pass", 0, ""),
        ("one skipped", "self.skipTest('no x')", "pass", 0, "SKIP: Tests.test_a: no x\n"),
        ("all skipped", "self.skipTest('no x')", "self.skipTest('no x')", surroundings.SKIPPED,
         "SKIP: Tests.test_a and 1 more: no x\n"),
        ("for two reasons", "self.skipTest('no x')", "self.skipTest('no y')", surroundings.SKIPPED,
         "SKIP: Tests.test_a: no x\nSKIP: Tests.test_b: no y\n"),
        ("a failure counts", "self.skipTest('no x')", "self.fail()", 1,
         "SKIP: Tests.test_a: no x\n"),
    ]

    def test_status_and_lines(self):
        for what, a, b, status, lines in self.ROWS:
            with self.subTest(what):
                done = subprocess.run([sys.executable, "-B", "-c", PROGRAM.format(a=a, b=b)],
                                      cwd=HERE, capture_output=True, text=True, timeout=60)
                self.assertEqual((done.returncode, done.stdout), (status, lines))


class Refusals(unittest.TestCase):
    def expect_skip(self, reason, ask):
        with self.assertRaises(unittest.SkipTest) as skipped:
            ask()
        self.assertEqual(str(skipped.exception), reason)

    def test_mounts(self):
        with tempfile.TemporaryDirectory() as folder:
            unshare = pathlib.Path(folder, "unshare")
            unshare.write_text("#!/bin/sh\necho unshare: not for you >&2\nexit 1\n")
            unshare.chmod(0o755)
            with mock.patch.dict(os.environ, PATH=f"{folder}:{os.environ['PATH']}"):
                self.expect_skip("nothing can be mounted: unshare: not for you",
                                 surroundings.mount_namespace)
            with mock.patch.dict(os.environ, PATH="/nowhere"):
                self.expect_skip("nothing can be mounted: "
                                 "[Errno 2] No such file or directory: 'unshare'",
                                 surroundings.mount_namespace)

    def test_terminals(self):
        with mock.patch("pty.openpty", side_effect=OSError("out of pty devices")):
            self.expect_skip("no pseudo-terminal: out of pty devices", surroundings.open_terminal)

    def test_limits(self):
        with mock.patch("surroundings.limit_file_size"):
            self.expect_skip("file size limits stop nobody: sh: status 1",
                             surroundings.require_file_size_limits)

    def test_permissions(self):
        with mock.patch("os.chmod"):
            self.expect_skip("missing permissions stop nobody: sh: status 1",
                             surroundings.require_permissions)


class Runs(unittest.TestCase):
    LOG = """Start testing: Jan 01 00:00 UTC
1/2 Testing: room.first
1/2 Test: room.first
Command: "first"
SKIP: no x
2/2 Testing: room.second
2/2 Test: room.second
no SKIP: in the middle of a line
"""

    def test_reasons_stand_at_the_end(self):
        with tempfile.TemporaryDirectory() as folder:
            log = pathlib.Path(folder, "build/release/Testing/Temporary/LastTest.log")
            log.parent.mkdir(parents=True)
            log.write_text(self.LOG)
            ctest = pathlib.Path(folder, "ctest")
            ctest.write_text("#!/bin/sh\necho \"ran $*\"\nexit $STATUS\n")
            ctest.chmod(0o755)
            for arguments, status in [("release", 0), ("integration release", 8)]:
                with self.subTest(arguments):
                    done = subprocess.run(
                        ["bash", "-c", f"set -eu; source '{SCRIPTS}/ctest.sh'; "
                                       f"run_tests {arguments}"],
                        cwd=folder, capture_output=True, text=True, timeout=60,
                        env={"PATH": f"{folder}:{os.environ['PATH']}", "STATUS": str(status)})
                    self.assertEqual((done.returncode, done.stdout), (
                        status, f"ran --preset {arguments.split()[0]} -j2\n"
                                "SKIP: room.first: no x\n"))


if __name__ == "__main__":
    surroundings.main()
