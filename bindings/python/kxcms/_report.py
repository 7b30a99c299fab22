"""What the kxcms command tells of profiles and conversions, as its JSON documents."""

from __future__ import annotations

import json
import os
import tempfile
from typing import Any, Iterable, List, Optional, Union

from ._command import PathLike, Record, _arguments, _run

_Paths = Union[PathLike, Iterable[PathLike]]
_WRONG = 5


def _listed(paths: Optional[_Paths]) -> List[bytes]:
    if paths is None:
        return []
    if isinstance(paths, (str, bytes, os.PathLike)):
        return [os.fsencode(paths)]
    return [os.fsencode(path) for path in paths]


def _repeated(option: bytes, paths: Optional[_Paths]) -> List[bytes]:
    return [option + b"=" + path for path in _listed(paths)]


def _document(path: bytes) -> Record:
    with open(path, "rb") as file:
        document: Record = json.load(file)
    return document


def report(profiles: _Paths, output: Optional[PathLike] = None, *,
           image: Optional[_Paths] = None, chart: Optional[_Paths] = None,
           **options: Any) -> Record:
    """What profiles are like, and how exactly they are converted: `kxcms report`.

    Args:
        profiles: a path or several of ICC profiles.
        output: HTML page to write; None: only the numbers are wanted.
        image: a path or several of images that hold device values of the profiles.
        chart: a path or several of charts (.ti3 or other CGATS files).
        options: those of the command with underscores: `to`, `intent`, `compare`, `fail_below`.

    Returns:
        the document of `--json`, kxcms(1). With `fail_below` it has the key "failed": whether a chart
        has fewer stars.

    Raises:
        CommandError: something cannot be used or written.
    """
    with tempfile.TemporaryDirectory(prefix="kxcms-") as folder:
        json_path = os.path.join(os.fsencode(folder), b"report.json")
        page = os.path.join(os.fsencode(folder), b"report.html") if output is None else \
            os.fsencode(output)
        arguments = [b"report", *_repeated(b"--image", image), *_repeated(b"--chart", chart),
                     *_arguments({"output": page, "json": json_path, **options}), b"--",
                     *_listed(profiles)]
        allowed = (0, _WRONG)
        _run(arguments, allowed, silent=True)
        document = _document(json_path)
    least = options.get("fail_below")
    if least is not None:
        document["failed"] = any(chart["stars"] < int(least) for profile in document["profiles"]
                                 for chart in profile["charts"])
    return document


def compare(first: PathLike, second: PathLike, **options: Any) -> Record:
    """How far two images of one size, or two profiles, are apart in CIEDE2000: `kxcms compare`.

    Args:
        first, second: TIFF, JPEG or PNG files, or ICC profiles.
        options: those of the command with underscores: `intent`, `assume`, `difference`, `limit`.

    Returns:
        the document of `--json`, kxcms-compare(1): "mean", "share50" to "share99", "largest",
        "largestAt" and more; with `limit` also "isWithinLimit".

    Raises:
        CommandError: the two cannot be compared.
    """
    document: Record = json.loads(_run(
        [b"compare", b"--json", *_arguments(options), b"--", os.fsencode(first),
         os.fsencode(second)], (0, _WRONG), silent=True))
    return document


def certificate(profile: PathLike, output: Optional[PathLike] = None, **options: Any) -> Record:
    """How far the results of a conversion are from its evaluation in double precision, over all
    colours of 8 bits: `kxcms certificate`.

    Args:
        profile: ICC profile of the device.
        output: file for the certificate as text; None: only the numbers are wanted.
        options: those of the command with underscores: `to`, `intent`,
            `black_point_compensation=True`, `pipeline`, `sample`.

    Returns:
        the document of `--json`, kxcms-certificate(1), which `kxcms certificate --verify` takes.

    Raises:
        CommandError: the profile cannot be converted, or the text not be written.
    """
    with tempfile.TemporaryDirectory(prefix="kxcms-") as folder:
        json_path = os.path.join(os.fsencode(folder), b"certificate.json")
        _run([b"certificate", *_arguments({"output": output, "json": json_path, **options}), b"--",
              os.fsencode(profile)])
        return _document(json_path)
