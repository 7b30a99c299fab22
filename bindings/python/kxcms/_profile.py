"""ICC profiles and built-in spaces."""

from __future__ import annotations

import ctypes
import os
import stat
from dataclasses import dataclass
from typing import Any, Callable, Dict, Optional, Tuple, Union

from ._errors import ArgumentError, FileError, file_error
from ._library import Handle, call, function

ProfileLike = Union["Profile", str, "os.PathLike[str]", "os.PathLike[bytes]", bytes, bytearray,
                    memoryview]
Triple = Tuple[float, float, float]

INTENTS = ("perceptual", "relative", "saturation", "absolute")

# Keys of kxp_profile_number and kxp_profile_text.
_SIZE, _VERSION, _CLASS, _COLOR_SPACE, _PCS, _DESCRIPTION, _COPYRIGHT = range(1, 8)
_MANUFACTURER, _MODEL, _CREATOR, _HEADER_INTENT, _WHITE, _BLACK, _ADAPTATION = range(8, 15)
_TAG, _TAG_COUNT, _INTENT_TAG, _INTENT_FALLBACK, _GRID, _INPUT_ENTRIES = range(15, 21)
_OUTPUT_ENTRIES, _DESTINATION_TAG, _DESTINATION_FALLBACK = range(21, 24)

# As the library has it: larger files are no profiles, and with less than a header and a tag count a
# file is none, whatever it says.
_MOST_FILE_BYTES = 1 << 30
_HEADER_BYTES = 132


@dataclass(frozen=True)
class SourceTag:
    """What a profile uses as a source with an intent."""

    tag: str  #: "A2B0" to "A2B2" or "matrix"
    fallback: bool  #: it is not the tag of the intent
    grid: Tuple[int, int, int]  #: grid points per channel; 0 without a grid
    input_entries: Tuple[int, int, int]  #: of the first curve of each channel; 0 for a formula
    output_entries: Tuple[int, int, int]  #: of the last, on the side of the PCS; 0 for none


@dataclass(frozen=True)
class DestinationTag:
    """What a profile would use as a destination with an intent."""

    tag: str  #: "B2A0" to "B2A2" or "matrix"; "" if it cannot be one
    fallback: bool  #: it is not the tag of the intent


def spaces() -> Dict[str, str]:
    """The built-in spaces: one line for each name that says what it is."""
    name, description = function("kxp_space_name"), function("kxp_space_description")
    return {name(n).decode("ascii"): description(n).decode("ascii", "replace")
            for n in range(function("kxp_space_count")())}


def _read(path: Any) -> bytes:
    """As many bytes of a file as the profile says that it has."""
    try:
        # Not blocking: a pipe is refused, not waited for.
        descriptor = os.open(path, os.O_RDONLY | os.O_CLOEXEC | os.O_NONBLOCK | os.O_NOCTTY)
    except OSError as error:
        raise file_error("The file cannot be opened", error, path) from error
    except ValueError as error:
        raise ArgumentError(f"This is no path: {error}.") from error
    try:
        status = os.fstat(descriptor)
        if not stat.S_ISREG(status.st_mode):
            raise FileError("This is no regular file, and no profile can be read from it.",
                            filename=path)
        if status.st_size > _MOST_FILE_BYTES:
            raise FileError("The file is larger than 1 GiB, which no profile is.", filename=path)
        with open(descriptor, "rb", buffering=0, closefd=False) as file:
            data = _read_upto(file, min(status.st_size, _HEADER_BYTES))
            claimed = min(int.from_bytes(data[:4], "big"), status.st_size)
            if len(data) == _HEADER_BYTES and claimed > _HEADER_BYTES:
                data += _read_upto(file, claimed - _HEADER_BYTES)
            return data
    except FileError:
        raise
    except OSError as error:
        raise file_error("The file cannot be read", error, path) from error
    finally:
        os.close(descriptor)


def _read_upto(file: Any, count: int) -> bytes:
    parts = []
    while count > 0:
        part = file.read(count)
        if not part:
            break
        parts.append(part)
        count -= len(part)
    return b"".join(parts)


class Profile:
    """An ICC profile or a built-in space. Never changes; copies are the object itself.

    Args:
        profile: a `str` that is the name of a built-in space is that space; any other `str`, and
            every `os.PathLike`, is the path of a file, so that "./srgb" is one. `bytes`, a
            `bytearray` or a `memoryview` is a profile itself, as embedded in an image. A `Profile`
            is taken as it is.

    Taken are RGB profiles of the classes input, display, output and colour space, versions 2 and 4,
    with lookup tags or a matrix and tone curves. A file is read once; the object keeps its bytes.

    Raises:
        FileError: a file cannot be opened or read (an OSError; a FileNotFoundError too if there is
            none).
        ArgumentError: neither a built-in space nor anything like a path (a ValueError).
        DamagedProfileError, UnsupportedError: no valid profile; one that cannot be used (likewise).
        TypeError: something else.
    """

    __slots__ = ("_handle", "_name", "_bytes")

    _handle: Handle
    _name: Optional[str]
    _bytes: Optional[bytes]

    def __init__(self, profile: ProfileLike) -> None:
        if isinstance(profile, Profile):
            self._handle, self._name = profile._handle, profile._name
            self._bytes = profile._bytes
        elif isinstance(profile, (bytes, bytearray, memoryview)):
            self._take_bytes(bytes(profile))
        elif isinstance(profile, str):
            self._take_text(profile)
        elif isinstance(profile, os.PathLike):
            self._take_bytes(_read(profile))
        else:
            raise TypeError("a profile is a str, a path, bytes or a kxcms.Profile, not "
                            f"{type(profile).__name__}")

    def _take_text(self, text: str) -> None:
        if text in spaces():
            self._take_name(text)
            return
        try:
            data = _read(text)
        except FileNotFoundError:
            # Without a separator or a suffix it was rather meant for a name.
            if os.sep not in text and "." not in text:
                self._take_name(text)
            raise
        self._take_bytes(data)

    def _take_name(self, name: str) -> None:
        if "\0" in name:
            raise ArgumentError("There is no built-in space of this name.")
        self._handle = Handle("kxp_profile", "kxp_profile_builtin",
                              name.encode("utf-8", "surrogateescape"))
        self._name, self._bytes = name, None

    def _take_bytes(self, data: bytes) -> None:
        self._handle = Handle("kxp_profile", "kxp_profile_from_memory", data, len(data))
        self._name, self._bytes = None, data

    @classmethod
    def builtin(cls, name: str) -> Profile:
        """A built-in space, one of `spaces()`; ArgumentError for any other name."""
        made = cls.__new__(cls)
        made._take_name(name)
        return made

    @classmethod
    def open(cls, path: Union[str, bytes, os.PathLike[str], os.PathLike[bytes]]) -> Profile:
        """A profile from a file, whatever it is called; raises as the constructor."""
        made = cls.__new__(cls)
        made._take_bytes(_read(path))
        return made

    def tobytes(self, version: int = 0) -> bytes:
        """The bytes of an ICC profile, to tag images with.

        Of a profile that was read they are those that it was read from. Of a built-in space they
        are written, always the same ones.

        Args:
            version: of ICC.1 to write, 4 or 2; 0 is 4 for a built-in space, and as it is for a
                profile that was read.

        Raises:
            Error: this cannot be written; UnsupportedError where the library is too old.
        """
        if self._bytes is not None and version == 0:
            return self._bytes
        size = ctypes.c_size_t()
        write = (self._handle.pointer, version)
        call("kxp_profile_write", *write, None, 0, ctypes.byref(size))
        room = ctypes.create_string_buffer(size.value)
        call("kxp_profile_write", *write, room, len(room), ctypes.byref(size))
        return room.raw[:size.value]

    # ---- What can be asked ----------------------------------------------------------------------

    @property
    def name(self) -> Optional[str]:
        """The name of a built-in space; None of a profile that was read."""
        return self._name

    @property
    def size(self) -> int:
        """In bytes; 0 for a built-in space."""
        return self._count(_SIZE)

    @property
    def version(self) -> str:
        """ "4.3.0"."""
        return self._handle.text(_VERSION)

    @property
    def device_class(self) -> str:
        """ "scnr", "mntr", "prtr" or "spac"."""
        return self._handle.text(_CLASS)

    @property
    def color_space(self) -> str:
        """ "RGB "."""
        return self._handle.text(_COLOR_SPACE)

    @property
    def pcs(self) -> str:
        """The connection space: "Lab " or "XYZ "."""
        return self._handle.text(_PCS)

    @property
    def description(self) -> str:
        """In English where there is English; the name of a built-in space."""
        return self._handle.text(_DESCRIPTION)

    @property
    def copyright(self) -> str:
        """The text of the copyright tag."""
        return self._handle.text(_COPYRIGHT)

    @property
    def manufacturer(self) -> str:
        """A signature, "" for none."""
        return self._handle.text(_MANUFACTURER)

    @property
    def model(self) -> str:
        """A signature, "" for none."""
        return self._handle.text(_MODEL)

    @property
    def creator(self) -> str:
        """A signature, "" for none."""
        return self._handle.text(_CREATOR)

    @property
    def header_intent(self) -> int:
        """The intent in the header, as it stands there."""
        return self._count(_HEADER_INTENT)

    @property
    def white(self) -> Triple:
        """The media white, XYZ relative to Y = 1; D50 where a profile has none, and of "lab" and
        "xyz" 0."""
        x, y, z = self._numbers(_WHITE, 3) or (0.0, 0.0, 0.0)
        return x, y, z

    @property
    def black(self) -> Optional[Triple]:
        """The media black, XYZ; None without a bkpt tag."""
        numbers = self._numbers(_BLACK, 3)
        return None if numbers is None else (numbers[0], numbers[1], numbers[2])

    @property
    def adaptation(self) -> Optional[Tuple[float, ...]]:
        """The chromatic adaptation, 9 numbers row by row; None without a chad tag."""
        return self._numbers(_ADAPTATION, 9)

    @property
    def tags(self) -> Tuple[str, ...]:
        """The signatures of all tags, in the file's order."""
        return tuple(self._handle.text(_TAG, n) for n in range(self._count(_TAG_COUNT)))

    @property
    def intents(self) -> Dict[str, SourceTag]:
        """What is used as a source with each of the four intents."""
        return {intent: SourceTag(self._handle.text(_INTENT_TAG, n),
                                  bool(self._count(_INTENT_FALLBACK, n)),
                                  self._channels(_GRID, n), self._channels(_INPUT_ENTRIES, n),
                                  self._channels(_OUTPUT_ENTRIES, n))
                for n, intent in enumerate(INTENTS)}

    @property
    def destinations(self) -> Dict[str, DestinationTag]:
        """What would be used as a destination with each of the four intents."""
        return {intent: DestinationTag(self._handle.text(_DESTINATION_TAG, n),
                                       bool(self._count(_DESTINATION_FALLBACK, n)))
                for n, intent in enumerate(INTENTS)}

    def _count(self, key: int, index: int = 0) -> int:
        return int(self._handle.number(key, index) or 0)

    def _numbers(self, key: int, count: int) -> Optional[Tuple[float, ...]]:
        found = [self._handle.number(key, n) for n in range(count)]
        numbers = tuple(number for number in found if number is not None)
        return numbers if len(numbers) == count else None

    def _channels(self, key: int, intent: int) -> Tuple[int, int, int]:
        r, g, b = (self._count(key, 3 * intent + channel) for channel in range(3))
        return r, g, b

    # ---- Copies ---------------------------------------------------------------------------------

    def __copy__(self) -> Profile:
        return self

    def __deepcopy__(self, memo: Any) -> Profile:
        return self

    def __reduce__(self) -> Tuple[Callable[..., Profile], Tuple[Any, ...]]:
        if self._name is not None:
            return Profile.builtin, (self._name,)
        return Profile, (self._bytes,)

    def __repr__(self) -> str:
        if self._name is not None:
            return f"kxcms.Profile.builtin({self._name!r})"
        return f"<kxcms.Profile {self.description!r}, {self.device_class}, {self.size} bytes>"
