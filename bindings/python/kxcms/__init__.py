"""KXCMS: precise colour conversion of RGB images by ICC profiles, on numpy arrays.

    import kxcms
    to_srgb = kxcms.Pipeline("scanner.icc", intent="relative", black_point_compensation=True)
    pixels = to_srgb(scan, threads=4)       # scan: (height, width, 3), uint8
    to_srgb(scan, out=scan)                 # or in place

A `Pipeline` converts from one profile to another; a `Profile` is an ICC profile or a built-in space
(`spaces()`). Both never change, may be used by any number of threads at once, and can be copied,
pickled and sent to other processes. While a conversion runs, other Python threads run too.

Everything that can be refused is refused when an object is made, with an `Error` that says why.

Files go through the kxcms command, which `convert_file`, `batch` and `verify` run and whose records
they return, as `report`, `compare` and `certificate` return its documents; it is looked for where the
environment variable KXCMS_COMMAND says, else beside the package's own files, else in PATH.

The package is a thin layer over libKXPipeline.so.1, which it looks for where the environment
variable KXCMS_LIBRARY says (a path of the file; nothing else is tried then), else beside its own
files, else as the system's loader does.
"""

from ._command import CommandError, batch, command, convert_file, records, verify
from ._difference import delta_e_2000
from ._errors import (
    ArgumentError,
    DamagedProfileError,
    Error,
    FileError,
    OutOfMemoryError,
    Status,
    UnsupportedError,
)
from ._library import level, library_version
from ._pipeline import Pipeline, Stage
from ._profile import DestinationTag, Profile, SourceTag, spaces
from ._report import certificate, compare, report

__version__ = "1.0.0"

__all__ = [
    "ArgumentError",
    "CommandError",
    "DamagedProfileError",
    "DestinationTag",
    "Error",
    "FileError",
    "OutOfMemoryError",
    "Pipeline",
    "Profile",
    "SourceTag",
    "Stage",
    "Status",
    "UnsupportedError",
    "batch",
    "certificate",
    "command",
    "compare",
    "convert_file",
    "delta_e_2000",
    "level",
    "library_version",
    "records",
    "report",
    "spaces",
    "verify",
]
