"""What is wrong, as exceptions that carry the library's record."""

from __future__ import annotations

import enum
import errno
from typing import Any, Callable, Dict, Optional, Tuple, Type


class Status(enum.IntEnum):
    """What became of a call, as the C interface numbers it."""

    OK = 0
    ARGUMENT = 1
    MEMORY = 2
    FILE = 3
    DAMAGED = 4
    UNSUPPORTED = 5
    CANCELLED = 6


class Error(Exception):
    """What the library, or this package, refuses, and why; the message is one English sentence.

    Attributes:
        code: the number of the status in the C interface.
        tag: the profile's tag that is concerned ("A2B0"), "" for none.
        offset: of what is wrong with a profile, in bytes from its start; 0 for nowhere.
    """

    def __init__(self, message: str, code: int = Status.ARGUMENT, tag: str = "",
                 offset: int = 0) -> None:
        super().__init__(message)
        self.message = message
        self.code = int(code)
        self.tag = tag
        self.offset = offset

    @property
    def status(self) -> Status:
        """The code by its name; ValueError for one of a later library that has none here."""
        return Status(self.code)

    def __str__(self) -> str:
        return self.message

    def __reduce__(self) -> Tuple[Callable[..., Any], Tuple[Any, ...], Dict[str, Any]]:
        return type(self), (self.message, self.code, self.tag, self.offset), {}


class ArgumentError(Error, ValueError):
    """The call is wrong: a name that is none, an array that does not fit, memory that overlaps."""


class OutOfMemoryError(Error, MemoryError):
    """There is not enough memory."""


class FileError(Error, OSError):
    """A file cannot be opened or read; `errno` and `filename` say what, where the system told."""

    def __init__(self, message: str, code: int = Status.FILE, tag: str = "", offset: int = 0,
                 number: Optional[int] = None, filename: Any = None) -> None:
        super().__init__(message, code, tag, offset)
        if number is not None:
            self.errno = number
        self.filename = filename

    def __reduce__(self) -> Tuple[Callable[..., Any], Tuple[Any, ...], Dict[str, Any]]:
        arguments = (self.message, self.code, self.tag, self.offset, self.errno, self.filename)
        return type(self), arguments, {}


class _AbsentFileError(FileError, FileNotFoundError):
    """There is no such file."""


class DamagedProfileError(Error, ValueError):
    """The bytes are no valid profile."""


class UnsupportedError(Error, ValueError):
    """A valid profile, but not one that can do what is asked; or a library that cannot."""


_CLASSES: Dict[int, Type[Error]] = {
    Status.ARGUMENT: ArgumentError,
    Status.MEMORY: OutOfMemoryError,
    Status.FILE: FileError,
    Status.DAMAGED: DamagedProfileError,
    Status.UNSUPPORTED: UnsupportedError,
}


def error_of(code: int, message: str, tag: str = "", offset: int = 0) -> Error:
    """The exception of a status."""
    return _CLASSES.get(code, Error)(message, code, tag, offset)


def file_error(what: str, error: OSError, path: Any) -> FileError:
    """The exception of what the system refused."""
    kind = _AbsentFileError if error.errno == errno.ENOENT else FileError
    return kind(f"{what}: {error.strerror}.", number=error.errno, filename=path)
