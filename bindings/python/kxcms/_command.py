"""The kxcms command, for files: what it says of them as records.

It is looked for where the environment variable KXCMS_COMMAND says (a path of the file; nothing else is
tried then), else beside this file, else in PATH.
"""

from __future__ import annotations

import json
import os
import shutil
import subprocess
from pathlib import Path
from typing import Any, Dict, Iterable, List, Optional, Sequence, Union

PathLike = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Record = Dict[str, Any]

_SOME_FAILED = 7
_MISSING, _DIFFERS = 3, 5


class CommandError(Exception):
    """The command ended without doing what it was to do.

    Attributes:
        status: its exit status (kxcms(1)): 2 usage, 3 input unreadable, 4 profile unusable, 5 the
            result would be wrong, 6 the output or the journal cannot be written, 8 a batch was
            stopped early and can go on; negative: the signal that killed it.
        message: what it said on standard error.
    """

    def __init__(self, status: int, message: str) -> None:
        super().__init__(message or f"kxcms ended with status {status}")
        self.status = status
        self.message = message

    def __reduce__(self) -> Any:
        return CommandError, (self.status, self.message)


def command() -> str:
    """The path of the command; FileNotFoundError if there is none."""
    named = os.environ.get("KXCMS_COMMAND")
    if named:
        return named
    beside = Path(__file__).parent / "kxcms"
    if beside.is_file():
        return str(beside)
    found = shutil.which("kxcms")
    if found is None:
        raise FileNotFoundError("the kxcms command is not in PATH; KXCMS_COMMAND can name it")
    return found


def _arguments(options: Dict[str, Any]) -> List[bytes]:
    """Keywords as options: `black_point_compensation=True` is --black-point-compensation."""
    arguments: List[bytes] = []
    for name, value in options.items():
        if value is None or value is False:
            continue
        option = "--" + name.rstrip("_").replace("_", "-")
        # In one word, so that a value may begin with a hyphen.
        arguments.append(option.encode() if value is True else
                         option.encode() + b"=" + os.fsencode(
                             value if isinstance(value, (str, bytes, os.PathLike)) else str(value)))
    return arguments


def _run(arguments: Sequence[Union[str, bytes]], allowed: Sequence[int] = (0,),
         names: Optional[bytes] = None, silent: bool = False) -> bytes:
    """Standard output of the command; CommandError for another status than those allowed.

    Args:
        silent: a status other than 0 that comes with a message is an error too.
    """
    done = subprocess.run([os.fsencode(command()), *map(os.fsencode, arguments)],
                          input=b"" if names is None else names, capture_output=True, check=False)
    if done.returncode not in allowed or (
            silent and done.returncode != 0 and done.stderr):
        message = done.stderr.decode(errors="replace").strip()
        raise CommandError(done.returncode, message.replace("kxcms: ", "", 1))
    return done.stdout


def convert_file(source: PathLike, target: PathLike, **options: Any) -> Record:
    """Converts an image file: `kxcms convert SOURCE TARGET`.

    Args:
        source: TIFF, JPEG or PNG file.
        target: file to write; it appears under its name only when it is complete.
        options: those of the command with underscores: `to`, `profile`, `assume`, `intent`,
            `black_point_compensation=True`, `depth`, `compress`, `exists`, `threads` and so on.

    Returns:
        the record of the command: "status" ("converted", or "skipped" with `exists="skip"`), "pages",
        "notes", "dropped" and more; kxcms(1), --json.

    Raises:
        CommandError: the file was refused; the target is as it was.
    """
    output = _run(["convert", "--json", "--quiet", *_arguments(options), "--",
                   os.fsencode(source), os.fsencode(target)])
    record: Record = json.loads(output)
    return record


def batch(to_dir: PathLike, from_dir: Optional[PathLike] = None,
          files: Optional[Iterable[PathLike]] = None, journal: Optional[PathLike] = None,
          **options: Any) -> List[Record]:
    """Converts many files: `kxcms batch`. The same call again does what is left to do.

    Args:
        to_dir: folder of the results.
        from_dir: folder of the images.
        files: their names below `from_dir`, or as they stand; None: all images of `from_dir`.
        journal: default: "kxcms-journal.jsonl" in `to_dir`, or with `shard="I/N"`
            "kxcms-journal-I-of-N.jsonl".
        options: those of kxcms-batch(1) with underscores: `jobs`, `shard`, `profile`, `hash` and so on.

    Returns:
        the last result of each file in the journal. What failed has "status" "failed" or "refused" and
        a "reason"; that raises nothing.

    Raises:
        CommandError: nothing was begun, or the batch was stopped early (`status` 8).
    """
    if journal is None:
        shard = options.get("shard")
        part = "" if shard is None or str(shard).endswith("/1") else \
            "-" + str(shard).replace("/", "-of-")
        journal = os.path.join(os.fsencode(to_dir), f"kxcms-journal{part}.jsonl".encode())
    arguments: List[Union[str, bytes]] = ["batch", "--quiet", *_arguments(
        {"from": from_dir, "to_dir": to_dir, "journal": journal, **options})]
    names = None
    if files is not None:
        arguments += ["--list", "-", "-0"]
        names = b"".join(os.fsencode(name) + b"\0" for name in files)
    _run(arguments, (0, _SOME_FAILED), names)
    return records(journal)


def records(*journals: PathLike) -> List[Record]:
    """The last result of each file in journals of `batch`."""
    last: Dict[Any, Record] = {}
    for number, journal in enumerate(journals):
        with open(journal, "rb") as lines:
            for line in lines:
                if not line.endswith(b"\n"):  # torn, or being written
                    break
                record = json.loads(line)
                if record["type"] != "result":
                    continue
                key = (number, record.get("file_hex", record["file"]), record["target"])
                # A file that was named twice has the result of the first time.
                if key not in last or (record["reason"] or {}).get("code") != "same-target":
                    last[key] = record
    return list(last.values())


def verify(*journals: PathLike, rehash: bool = False,
           reconvert: Optional[Union[float, str]] = None) -> List[Record]:
    """Holds the outputs of batches against their journals: `kxcms verify`.

    Args:
        journals: of `batch`.
        rehash: read also what has the size and time of then.
        reconvert: share of the files to convert again, 0 to 1, or such as "5%".

    Returns:
        for each output "file", "output", "verdict" ("good", "not-done", "missing", "unreadable",
        "metadata-differ", "pixels-differ", "differs" or "other-input") and "text".

    Raises:
        CommandError: a journal cannot be read.
    """
    output = _run(["verify", "--json", *_arguments({"rehash": rehash, "reconvert": reconvert}), "--",
                   *map(os.fsencode, journals)], (0, _MISSING, _DIFFERS), silent=True)
    return [json.loads(line) for line in output.splitlines()]
