"""The shared library: where it is, its functions and structs, and its errors."""

from __future__ import annotations

import ctypes
import os
from pathlib import Path
from typing import Any, Callable, Dict, Optional

from ._errors import Status, UnsupportedError, error_of

_NAME = "libKXPipeline.so.1"


class ErrorRecord(ctypes.Structure):
    """kxp_error."""

    _fields_ = [("size", ctypes.c_size_t), ("status", ctypes.c_int), ("tag", ctypes.c_char * 8),
                ("offset", ctypes.c_uint64), ("message", ctypes.c_char * 240)]


class PipelineOptions(ctypes.Structure):
    """kxp_pipeline_options. A library that does not know the members from `pipeline` on takes them
    if they are 0."""

    _fields_ = [("size", ctypes.c_size_t), ("intent", ctypes.c_uint32), ("flags", ctypes.c_uint32),
                ("pipeline", ctypes.c_uint32), ("reserved", ctypes.c_uint32),
                ("lightness", ctypes.c_double), ("chroma", ctypes.c_double),
                ("hue", ctypes.c_double)]


class Image(ctypes.Structure):
    """kxp_image."""

    _fields_ = [("size", ctypes.c_size_t), ("r", ctypes.c_void_p), ("g", ctypes.c_void_p),
                ("b", ctypes.c_void_p), ("a", ctypes.c_void_p),
                ("pixel_stride", ctypes.c_ssize_t), ("row_stride", ctypes.c_ssize_t),
                ("sample", ctypes.c_uint32), ("flags", ctypes.c_uint32)]


class ConvertOptions(ctypes.Structure):
    """kxp_convert_options."""

    _fields_ = [("size", ctypes.c_size_t), ("threads", ctypes.c_uint32),
                ("flags", ctypes.c_uint32), ("run", ctypes.c_void_p),
                ("run_context", ctypes.c_void_p), ("progress", ctypes.c_void_p),
                ("progress_context", ctypes.c_void_p)]


class StageRecord(ctypes.Structure):
    """kxp_stage."""

    _fields_ = [("size", ctypes.c_size_t), ("name", ctypes.c_char * 32),
                ("values", ctypes.c_double * 3), ("clipped", ctypes.c_double * 3)]


_HANDLE = ctypes.c_void_p
_RESULT = ctypes.POINTER(ctypes.c_void_p)
_SIZE = ctypes.POINTER(ctypes.c_size_t)
_ERROR = ctypes.POINTER(ErrorRecord)
_QUESTION = [_HANDLE, ctypes.c_uint32, ctypes.c_uint32]

# Result and parameters by name.
_PROTOTYPES: Any = {
    "kxp_version": (ctypes.c_char_p, []),
    "kxp_level": (ctypes.c_char_p, []),
    "kxp_status_text": (ctypes.c_char_p, [ctypes.c_int]),
    "kxp_space_count": (ctypes.c_size_t, []),
    "kxp_space_name": (ctypes.c_char_p, [ctypes.c_size_t]),
    "kxp_space_description": (ctypes.c_char_p, [ctypes.c_size_t]),
    "kxp_profile_from_memory": (ctypes.c_int, [ctypes.c_char_p, ctypes.c_size_t, _RESULT, _ERROR]),
    "kxp_profile_builtin": (ctypes.c_int, [ctypes.c_char_p, _RESULT, _ERROR]),
    "kxp_profile_release": (None, [_HANDLE]),
    "kxp_profile_number": (ctypes.c_int, [*_QUESTION, ctypes.POINTER(ctypes.c_double)]),
    "kxp_profile_text": (ctypes.c_int, [*_QUESTION, ctypes.c_char_p, ctypes.c_size_t, _SIZE]),
    "kxp_profile_write": (ctypes.c_int, [_HANDLE, ctypes.c_uint32, ctypes.c_char_p,
                                         ctypes.c_size_t, _SIZE, _ERROR]),
    "kxp_pipeline_create": (ctypes.c_int, [_HANDLE, _HANDLE, ctypes.POINTER(PipelineOptions),
                                           _RESULT, _ERROR]),
    "kxp_pipeline_release": (None, [_HANDLE]),
    "kxp_pipeline_number": (ctypes.c_int, [*_QUESTION, ctypes.POINTER(ctypes.c_double)]),
    "kxp_pipeline_text": (ctypes.c_int, [*_QUESTION, ctypes.c_char_p, ctypes.c_size_t, _SIZE]),
    "kxp_convert": (ctypes.c_int, [_HANDLE, ctypes.POINTER(Image), ctypes.POINTER(Image),
                                   ctypes.c_size_t, ctypes.c_size_t,
                                   ctypes.POINTER(ConvertOptions), _ERROR]),
    "kxp_probe": (ctypes.c_int, [_HANDLE, ctypes.POINTER(ctypes.c_double),
                                 ctypes.POINTER(StageRecord), ctypes.c_size_t, _SIZE, _ERROR]),
}


def _load() -> ctypes.CDLL:
    beside = Path(__file__).with_name(_NAME)
    path = os.environ.get("KXCMS_LIBRARY") or (str(beside) if beside.exists() else _NAME)
    try:
        return ctypes.CDLL(path)
    except OSError as error:
        raise ImportError(f"kxcms cannot load its library, {path}: {error}. The environment "
                          "variable KXCMS_LIBRARY may name the file.") from error


def _functions() -> Dict[str, Callable[..., Any]]:
    """The functions that the library has, by name."""
    library = _load()
    found: Dict[str, Any] = {}
    for name, (result, parameters) in _PROTOTYPES.items():
        if hasattr(library, name):
            found[name] = getattr(library, name)
            found[name].restype, found[name].argtypes = result, parameters
    return found


_found = _functions()


def has(name: str) -> bool:
    """Whether the library that is loaded has a function."""
    return name in _found


def function(name: str) -> Callable[..., Any]:
    """A function of the library; UnsupportedError if the one that is loaded is too old for it."""
    if not has(name):
        raise UnsupportedError(
            f"The library that is loaded, version {library_version()}, has no {name}: a later one "
            "is needed.", Status.UNSUPPORTED)
    return _found[name]


def call(name: str, *arguments: Any) -> None:
    """Calls a function that takes a record last; raises what it says."""
    record = ErrorRecord(size=ctypes.sizeof(ErrorRecord))
    code = function(name)(*arguments, ctypes.byref(record))
    if code == Status.OK:
        return
    if record.status == code:
        raise error_of(code, record.message.decode("ascii", "replace"),
                       record.tag.decode("ascii", "replace"), record.offset)
    raise error_of(code, status_text(code))


def status_text(code: int) -> str:
    """The library's short text for a status."""
    text: bytes = function("kxp_status_text")(code)
    return text.decode("ascii")


def library_version() -> str:
    """The version of the library that is loaded, "1.0.0"."""
    text: bytes = function("kxp_version")()
    return text.decode("ascii")


def level() -> str:
    """The instruction-set level of the conversions: "portable", "avx2", "avx512" or "scalar".

    Results are the same bits at every level. The environment variable KXCMS_LEVEL may name a lower
    one than the machine has, before the first conversion.
    """
    text: bytes = function("kxp_level")()
    return text.decode("ascii")


class Handle:
    """Owns one reference of an object of the library."""

    __slots__ = ("pointer", "_kind", "_release")

    def __init__(self, kind: str, make: str, *arguments: Any) -> None:
        """Makes the object by a function whose last parameter but the record receives it."""
        self.pointer = ctypes.c_void_p()
        self._kind = kind
        # Kept here: when the interpreter ends, modules may be gone before objects.
        self._release = function(f"{kind}_release")
        call(make, *arguments, ctypes.byref(self.pointer))

    def __del__(self) -> None:
        if getattr(self, "_release", None) is not None and self.pointer:
            self._release(self.pointer)

    def number(self, key: int, index: int = 0) -> Optional[float]:
        """The answer to a question for a number; None where the object has none."""
        value = ctypes.c_double()
        code = function(f"{self._kind}_number")(self.pointer, key, index, ctypes.byref(value))
        if code == Status.UNSUPPORTED:
            return None
        if code != Status.OK:
            raise error_of(code, status_text(code))
        return value.value

    def text(self, key: int, index: int = 0) -> str:
        """The answer to a question for a text; "" where the object has none."""
        ask = function(f"{self._kind}_text")
        length = ctypes.c_size_t()
        code = ask(self.pointer, key, index, None, 0, ctypes.byref(length))
        if code == Status.UNSUPPORTED:
            return ""
        if code == Status.OK:
            room = ctypes.create_string_buffer(length.value + 1)
            code = ask(self.pointer, key, index, room, len(room), None)
            if code == Status.OK:
                return room.value.decode("utf-8", "replace")
        raise error_of(code, status_text(code))
