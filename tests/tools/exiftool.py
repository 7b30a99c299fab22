"""exiftool, started once for all files of a test program: starting it takes longer than what it does
to a small file."""

import atexit
import functools
import json
import subprocess
import tempfile


class _Process:
    def __init__(self):
        self.said = tempfile.TemporaryFile()
        # It would wait for ever for more of a program that was killed.
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "exiftool", "-stay_open", "True", "-@", "-"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.said)
        atexit.register(self.close)

    def run(self, arguments):
        """@return exit status and standard output."""
        # A line each; it would skip empty lines and those that look like comments.
        assert all(line.strip() == line and line[:1] not in ("", "#") and "\n" not in line
                   for line in arguments), arguments
        lines = [*arguments, "-echo3", "{status ${status}}", "-execute"]
        self.process.stdin.write("".join(f"{line}\n" for line in lines).encode())
        self.process.stdin.flush()
        output = []
        while not output or output[-1] != b"{ready}\n":
            output.append(self.process.stdout.readline())
            if not output[-1]:
                raise AssertionError(f"exiftool ended at {arguments}")
        text, _, status = b"".join(output[:-1]).rpartition(b"{status ")
        return int(status.removesuffix(b"}\n")), text

    def close(self):
        self.process.communicate(b"-stay_open\nFalse\n", timeout=60)


_process = functools.lru_cache(_Process)


def run(*arguments, check=True):
    """@param arguments  names of files from the root
       @param check      whether a failure raises AssertionError
       @return standard output"""
    process = _process()
    before = process.said.seek(0, 2)
    status, output = process.run(arguments)
    if check and status != 0:
        process.said.seek(before)
        raise AssertionError(f"exiftool {' '.join(arguments)}: status {status}: "
                             f"{process.said.read().decode(errors='replace')}")
    return output


def tags(path):
    """@return {name with its group: value}"""
    return json.loads(run("-json", "-G1", "-n", "-a", path))[0]
