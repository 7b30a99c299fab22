#!/usr/bin/env python3
"""The kxcms command while memory, disk and system calls fail, and while it is killed.

Whatever happens: no crash, status 0 only with the right file, and otherwise the old file untouched.

Environment: KXCMS (the command), KXCMS_FAULTS (the library that makes calls fail), KXCMS_SANITIZED
(1 if both were built with sanitizers).
"""

import os
import signal
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools"))
import profiles  # noqa: E402
import surroundings  # noqa: E402
from own_folder import OwnFolder  # noqa: E402
from tiffs import ASCII, SHORT, tiff  # noqa: E402

KXCMS = os.environ["KXCMS"]
FAULTS = os.environ["KXCMS_FAULTS"]
SANITIZED = os.environ.get("KXCMS_SANITIZED") == "1"
OLD = b"what was here before"

DONE, WRITE = 0, 6
STATUSES = (2, 3, 4, 5, WRITE)
# How GNU's OpenMP runtime ends a process that has no memory for it.
RUNTIME_GAVE_UP = (1, "libgomp: ")

# Every form of image takes its own way through reader and writer.
IMAGES = {
    "8 bits, strips, more tags": dict(
        bits=8, rows=5, extra=[(305, ASCII, b"tests\0"), (274, SHORT, [6])]),
    "16 bits, planes, turned": dict(bits=16, separate=True, extra=[(274, SHORT, [6])]),
    "big-endian, 16 bits": dict(bits=16, order=">", rows=3),
}
# And every one of these through the other encoders.
ENCODED = {"8 bits, strips, more tags": [], "16 bits, planes, turned": ["--compress", "lzw"],
           "big-endian, 16 bits": ["--format", "png"]}


def environment(**variables):
    variables["ASAN_OPTIONS"] = "verify_asan_link_order=0:" + os.environ.get("ASAN_OPTIONS", "")
    variables.setdefault("OMP_NUM_THREADS", "1")
    return {**os.environ, **variables}


@surroundings.needs_proc
class Faults(OwnFolder):
    def setUp(self):
        super().setUp()
        self.report = self.path("calls")
        self.write("scan.icc", profiles.scanner(points=5))

    arguments = ()

    def convert(self, source, target, **options):
        return subprocess.run(
            [KXCMS, "convert", "--threads", "1", "--profile", "scan.icc", *self.arguments, source,
             target],
            cwd=self.folder, stdin=subprocess.DEVNULL, capture_output=True, timeout=120, **options)

    def undisturbed(self, source="in.tif"):
        done = self.convert(source, "expected.tif", env=environment())
        self.assertEqual((done.returncode, done.stderr), (DONE, b""))
        return self.read("expected.tif")

    def disturbed(self, source, target, fault, **variables):
        return self.convert(source, target, env=environment(
            LD_PRELOAD=FAULTS, KXCMS_FAULT=fault, KXCMS_FAULT_REPORT=self.report, **variables))

    def calls(self, kind, source, **variables):
        """How many calls of a kind an undisturbed run makes."""
        done = self.disturbed(source, "counted.tif", f"{kind}:0:once", **variables)
        self.assertEqual(done.returncode, DONE, done.stderr)
        return int(self.read("calls"))

    def expect_right_or_refused(self, done, target, before, right):
        """@return whether the command went through."""
        line = done.stderr.decode()
        if done.returncode == DONE:
            self.assertTrue(self.read(target) == right, "status 0 with a wrong file")
            return True
        self.assertTrue(self.read(target) == before, "the old file changed")
        if done.returncode == RUNTIME_GAVE_UP[0]:
            self.assertIn(RUNTIME_GAVE_UP[1], line)
        else:
            self.assertIn(done.returncode, STATUSES, line)
            self.assertIn("kxcms: ", line)
        return False

    def expect_tidy(self, *more):
        left = {"scan.icc", "in.tif", "out.tif", "expected.tif", "counted.tif", "calls", *more}
        self.assertEqual(set(os.listdir(self.folder)) - left, set())


class CallsFail(Faults):
    def sweep(self, kind, numbers, in_place=(False,), more=(), **variables):
        """Lets calls of a kind fail, one run each. @param more  arguments of the command
        @return how many runs were refused."""
        refused = 0
        for what, form in IMAGES.items():
            self.arguments = (*more, *ENCODED[what])
            self.write("in.tif", tiff(**form))
            right = self.undisturbed()
            for same in in_place:
                target = "in.tif" if same else "out.tif"
                before = self.read("in.tif") if same else OLD
                for nth in numbers(self.calls(kind, "in.tif", **variables)):
                    for reach in ("once", "on"):
                        self.write(target, before)
                        with self.subTest(image=what, kind=kind, nth=nth, reach=reach, same=same):
                            done = self.disturbed("in.tif", target, f"{kind}:{nth}:{reach}",
                                                  **variables)
                            refused += not self.expect_right_or_refused(done, target, before, right)
                            # A name that cannot be removed stays.
                            if kind != "unlink":
                                self.expect_tidy()
                self.write("in.tif", tiff(**form))
        return refused


def every(count):
    return range(1, count + 1)


class Files(CallsFail):
    # Calls whose failure must be noticed, and those that may do no harm.
    READING = ["open", "read", "seek", "tell", "close", "status"]
    WRITING = ["write", "link", "rename"]
    TIDYING = ["mode", "unlink"]

    def test_reading(self):
        for kind in self.READING:
            refused = self.sweep(kind, every)
            if kind in ("open", "read", "status"):
                self.assertGreater(refused, 0, kind)

    def test_writing(self):
        for kind in self.WRITING:
            self.assertGreater(self.sweep(kind, every, in_place=(False, True)), 0, kind)

    def test_durable_writing(self):
        """The file is flushed before it gets its name, its folder after that."""
        self.assertGreater(self.sweep("sync", lambda count: [1], more=["--durable"]), 0)
        self.arguments = ["--durable"]
        self.write("in.tif", tiff())
        right = self.undisturbed()
        self.assertEqual(self.calls("sync", "in.tif"), 2)
        self.write("out.tif", OLD)
        done = self.disturbed("in.tif", "out.tif", "sync:2:once")
        self.assertEqual((done.returncode, done.stderr.decode()), (
            WRITE, "kxcms: cannot write out.tif: its folder may not be on the disk: "
                   "Input/output error\n"))
        self.assertEqual(self.read("out.tif"), right)

    def test_writing_where_temporary_files_need_a_name(self):
        for kind in self.WRITING + self.TIDYING:
            refused = self.sweep(kind, every, KXCMS_NO_UNNAMED="1")
            if kind not in ("link", *self.TIDYING):
                self.assertGreater(refused, 0, kind)


class Memory(CallsFail):
    def test_memory(self):
        # The command line takes most of the allocations: of those before the last ones, samples.
        densely, samples = (60, 10) if SANITIZED else (220, 40)

        def numbers(count):
            early = max(count - densely, 0)
            return [*range(1, early, max(early // samples, 1)), *range(early + 1, count + 1)]

        self.assertGreater(self.sweep("allocate", numbers), 0)


class Killed(Faults):
    def test_killed_at_every_change_of_the_file_system(self):
        for what, form in IMAGES.items():
            self.arguments = ENCODED[what]
            for variables in ({}, {"KXCMS_NO_UNNAMED": "1"}):
                self.write("in.tif", tiff(**form))
                right = self.undisturbed()
                count = self.calls("change", "in.tif", **variables)
                # The file, its bytes and permissions, and its names.
                self.assertGreaterEqual(count, 5)
                complete = 0
                for nth in range(1, count + 1):
                    self.write("out.tif", OLD)
                    with self.subTest(image=what, nth=nth, **variables):
                        done = self.disturbed("in.tif", "out.tif", f"change:{nth}:kill",
                                              **variables)
                        self.assertEqual(done.returncode, -signal.SIGKILL)
                        self.assertIn(self.read("out.tif"), (OLD, right))
                        complete += self.read("out.tif") == right
                        # Only a file that was waiting for its name may be left.
                        waiting = [n for n in os.listdir(self.folder) if n.startswith(".kxcms-")]
                        self.assertLessEqual(len(waiting), 1)
                        for name in waiting:
                            os.remove(self.path(name))
                        self.expect_tidy()
                self.assertLess(complete, count)
                self.assertEqual(self.convert("in.tif", "out.tif").returncode, DONE)
                self.assertEqual(self.read("out.tif"), right)


    def test_signals_where_temporary_files_need_a_name(self):
        """As soon as the file is there."""
        self.write("in.tif", tiff(width=3000, length=1500, samples=[7, 100, 200] * 4_500_000))
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT,
                       signal.SIGXCPU):
            self.write("out.tif", OLD)
            with self.subTest(number):
                running = subprocess.Popen(
                    [KXCMS, "convert", "--threads", "1", "--profile", "scan.icc", "--compress",
                     "deflate", "in.tif", "out.tif"], cwd=self.folder, stderr=subprocess.PIPE,
                    env=environment(LD_PRELOAD=FAULTS, KXCMS_NO_UNNAMED="1"))
                while running.poll() is None and not any(
                        name.startswith(".kxcms-") for name in os.listdir(self.folder)):
                    pass
                running.send_signal(number)
                _, stderr = running.communicate(timeout=120)
                self.assertEqual((running.returncode, stderr), (-number, b""))
                self.assertEqual(self.read("out.tif"), OLD)
                self.expect_tidy()


class Pipes(Faults):
    """From standard input to standard output: status 0 only if all of it went there."""

    def through(self, fault=None, **variables):
        if fault:
            variables.update(LD_PRELOAD=FAULTS, KXCMS_FAULT=fault, KXCMS_FAULT_REPORT=self.report)
        return subprocess.run(
            [KXCMS, "convert", "--threads", "1", "--profile", "scan.icc", "--format", "tiff", "-",
             "-"], cwd=self.folder, input=self.read("in.tif"), capture_output=True, timeout=120,
            env=environment(TMPDIR=self.folder, **variables))

    def test_every_call(self):
        self.write("in.tif", tiff(bits=16, rows=5))
        right = self.through()
        self.assertEqual((right.returncode, right.stderr), (DONE, b""))
        for variables in ({}, {"KXCMS_NO_UNNAMED": "1"}):
            for kind in ("open", "read", "write", "status", "close"):
                self.assertEqual(self.through(f"{kind}:0:once", **variables).returncode, DONE)
                refused = 0
                for nth in range(1, int(self.read("calls")) + 1):
                    for reach in ("once", "on"):
                        with self.subTest(kind=kind, nth=nth, reach=reach, **variables):
                            done = self.through(f"{kind}:{nth}:{reach}", **variables)
                            refused += done.returncode != DONE
                            if done.returncode == DONE:
                                self.assertEqual(done.stdout, right.stdout)
                            elif done.returncode != RUNTIME_GAVE_UP[0]:
                                self.assertIn(done.returncode, STATUSES)
                                self.assertRegex(done.stderr.decode(), r"kxcms: [^\n]+\n\Z")
                                # What fails while it is copied there leaves a part.
                                self.assertTrue(right.stdout.startswith(done.stdout))
                            self.expect_tidy()
                if kind != "close":
                    self.assertGreater(refused, 0, kind)


class FullDisk(Faults):
    def test_file_size_limit(self):
        surroundings.require_file_size_limits()
        self.write("in.tif", tiff())
        right = self.undisturbed()
        for size in range(0, len(right) + 2000, 97):
            self.write("out.tif", OLD)
            with self.subTest(size=size):
                done = self.convert("in.tif", "out.tif",
                                    preexec_fn=lambda: surroundings.limit_file_size(size))
                if size < len(right):
                    self.assertEqual((done.returncode, done.stdout), (WRITE, b""))
                    self.assertRegex(done.stderr.decode(), r"\Akxcms: [^\n]+\n\Z")
                self.expect_right_or_refused(done, "out.tif", OLD, right)
                self.expect_tidy()

    SCRIPT = """
        mount -t tmpfs -o "size=$1k" none disk && cp in.tif out.tif disk/ || exit 99
        cd disk
        "$2" convert --threads 1 --profile ../scan.icc in.tif out.tif
        status=$?
        cp out.tif ../result.tif
        ls -A | grep -v -e '^in.tif$' -e '^out.tif$' && exit 98
        exit $status
    """

    def test_small_disk(self):
        namespace = surroundings.mount_namespace()
        self.write("in.tif", tiff(width=100, length=100))
        self.write("out.tif", OLD)
        os.mkdir(self.path("disk"))
        right = self.undisturbed()
        statuses = set()
        for size in range(40, 96, 4):
            with self.subTest(size=size):
                done = subprocess.run(
                    [*namespace, "sh", "-c", self.SCRIPT, "sh", str(size), KXCMS],
                    cwd=self.folder, stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
                if done.returncode != DONE:
                    self.assertEqual((done.returncode, done.stderr.decode()),
                                     (WRITE, "kxcms: cannot write out.tif: "
                                             "No space left on device\n"))
                self.assertEqual(self.read("result.tif"),
                                 right if done.returncode == DONE else OLD)
                statuses.add(done.returncode)
        self.assertEqual(statuses, {DONE, WRITE})


if __name__ == "__main__":
    surroundings.main(verbosity=2)
