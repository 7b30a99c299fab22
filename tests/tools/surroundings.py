"""What tests need of the system around them and may not get: skipped aloud, not failed.

A container may hide /proc or /dev/pts, and may not heed mounts, limits or permissions. A test that
needs them asks here first, and `main` ends a test program with a line for every reason:

    SKIP: Writing.test_progress: no pseudo-terminal: out of pty devices
"""

import ctypes
import os
import pty
import resource
import subprocess
import sys
import tempfile
import unittest

# A sanitizer's library, which Python needs before libKXPipeline, and its settings for Python. Of the
# programs that a test starts, ours have the library, and others do not end with it.
if os.environ.pop("LD_PRELOAD", None):
    os.environ.pop("ASAN_OPTIONS", None)

SKIPPED = 77  # CTest's SKIP_RETURN_CODE: all tests of a program were skipped

HAS_PROC = os.path.exists("/proc/self/fd")
NO_PROC = "there is no /proc, by which the command hands profiles to the library"
needs_proc = unittest.skipUnless(HAS_PROC, NO_PROC)


def is_instrumented(program):
    """Whether a program is built with sanitizers, which take time and memory of their own."""
    with open(program, "rb") as file:
        content = file.read()
    return b"__asan_init" in content or b"__tsan_init" in content


def refusal(*command, **options):
    """@return why a command cannot be run or fails, in one line; None if all is well."""
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=60, **options)
    except (OSError, subprocess.SubprocessError) as error:
        return str(error)
    if done.returncode == 0:
        return None
    return (done.stderr.splitlines() or [f"{command[0]}: status {done.returncode}"])[-1]


def skip_if(reason, what):
    if reason is not None:
        raise unittest.SkipTest(f"{what}: {reason}")


def open_terminal():
    """@return both ends of a pseudo-terminal."""
    try:
        return pty.openpty()
    except OSError as error:
        raise unittest.SkipTest(f"no pseudo-terminal: {error}") from error


def mount_namespace():
    """@return the beginning of a command line, after which a program may mount what it wants and
    nobody else sees it."""
    with tempfile.TemporaryDirectory() as folder:
        for command in (["unshare", "--mount"], ["unshare", "--map-root-user", "--mount"]):
            reason = refusal(*command, "mount", "-t", "tmpfs", "none", folder)
            if reason is None:
                return command
    raise unittest.SkipTest(f"nothing can be mounted: {reason}")


def obey_permissions():
    """For a child: the superuser's program, too, shall be stopped by missing permissions."""
    pr_capbset_drop, cap_dac_override = 24, 1
    if os.geteuid() == 0 and ctypes.CDLL(None).prctl(pr_capbset_drop, cap_dac_override, 0, 0, 0):
        # Of an exception here, the parent would only see that there was one.
        os.write(2, b"the superuser's override of them cannot be given up\n")
        os._exit(1)


def require_permissions():
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o555)
        skip_if(refusal("sh", "-c", "! touch probe 2>/dev/null", cwd=folder,
                        preexec_fn=obey_permissions), "missing permissions stop nobody")


def limit_file_size(size):
    """For a child: files end here."""
    resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))


def require_file_size_limits():
    with tempfile.TemporaryDirectory() as folder:
        skip_if(refusal("sh", "-c", "trap '' XFSZ; ! head -c 2000 /dev/zero >probe 2>/dev/null",
                        cwd=folder, preexec_fn=lambda: limit_file_size(1000)),
                "file size limits stop nobody")


class Result(unittest.TextTestResult):
    passed = 0

    def addSuccess(self, test):
        super().addSuccess(test)
        self.passed += 1


def main(verbosity=1):
    """unittest.main, with the lines and the exit status of what was skipped."""
    runner = unittest.TextTestRunner(verbosity=verbosity, resultclass=Result)
    result = unittest.main(testRunner=runner, exit=False).result
    skipped = {}
    for test, reason in result.skipped:
        skipped.setdefault(reason, []).append(test.id().removeprefix("__main__."))
    for reason, tests in skipped.items():
        more = f" and {len(tests) - 1} more" if len(tests) > 1 else ""
        print(f"SKIP: {tests[0]}{more}: {reason}", flush=True)
    if not result.wasSuccessful():
        sys.exit(1)
    sys.exit(SKIPPED if skipped and result.passed == 0 else 0)
