"""libKXPipeline by itself, for comparison with the command.

Environment: KXPIPELINE, the shared library.
"""

import ctypes
import os

import numpy

_LIBRARY = ctypes.CDLL(os.environ["KXPIPELINE"])
PERCEPTUAL, RELATIVE, SATURATION, ABSOLUTE = range(4)
BLACK_POINT_COMPENSATION = 1


class _Options(ctypes.Structure):
    _fields_ = [("size", ctypes.c_size_t), ("intent", ctypes.c_uint32), ("flags", ctypes.c_uint32),
                ("pipeline", ctypes.c_uint32), ("reserved", ctypes.c_uint32),
                ("lightness", ctypes.c_double), ("chroma", ctypes.c_double),
                ("hue", ctypes.c_double)]


class _Image(ctypes.Structure):
    _fields_ = [("size", ctypes.c_size_t), ("r", ctypes.c_void_p), ("g", ctypes.c_void_p),
                ("b", ctypes.c_void_p), ("a", ctypes.c_void_p),
                ("pixel_stride", ctypes.c_ssize_t), ("row_stride", ctypes.c_ssize_t),
                ("sample", ctypes.c_uint32), ("flags", ctypes.c_uint32)]


def _call(name, *arguments):
    status = getattr(_LIBRARY, name)(*arguments)
    if status != 0:
        raise AssertionError(f"{name}: {status}")


def _profile(source):
    """@param source  the bytes of a profile, or the name of a space"""
    profile = ctypes.c_void_p()
    if isinstance(source, bytes):
        _call("kxp_profile_from_memory", source, ctypes.c_size_t(len(source)),
              ctypes.byref(profile), None)
    else:
        _call("kxp_profile_builtin", source.encode(), ctypes.byref(profile), None)
    return profile


def _image(data, alpha, flags):
    at, step = data.ctypes.data, data.itemsize
    return _Image(ctypes.sizeof(_Image), at, at + step, at + 2 * step,
                  at + alpha * step if alpha else None, data.shape[2] * step, 0, step - 1, flags)


def convert(data, profile, to="srgb", intent=PERCEPTUAL, flags=0, fixed=False, depth=None,
            alpha=None, associated=False):
    """@param data   [row, column, sample], of which the first three are converted
       @param alpha  which sample is alpha; others are carried over
       @return an array of the same shape"""
    source, destination = _profile(profile), _profile(to)
    options = _Options(ctypes.sizeof(_Options), intent, flags, int(fixed), 0, 0, 0, 0)
    pipeline = ctypes.c_void_p()
    _call("kxp_pipeline_create", source, destination, ctypes.byref(options),
          ctypes.byref(pipeline), None)
    data = numpy.ascontiguousarray(data)
    result = data.copy() if depth in (None, 8 * data.itemsize) else \
        numpy.zeros(data.shape, f"u{depth // 8}")
    image, converted = (_image(which, alpha, int(associated)) for which in (data, result))
    _call("kxp_convert", pipeline, ctypes.byref(image), ctypes.byref(converted),
          ctypes.c_size_t(data.shape[1]), ctypes.c_size_t(data.shape[0]), None, None)
    _LIBRARY.kxp_pipeline_release(pipeline)
    for used in (source, destination):
        _LIBRARY.kxp_profile_release(used)
    return result


def profile_of(space, version=0):
    """@return the bytes that describe a built-in space."""
    profile, size = _profile(space), ctypes.c_size_t()
    _call("kxp_profile_write", profile, version, None, ctypes.c_size_t(0), ctypes.byref(size), None)
    room = ctypes.create_string_buffer(size.value)
    _call("kxp_profile_write", profile, version, room, size, ctypes.byref(size), None)
    _LIBRARY.kxp_profile_release(profile)
    return room.raw


def spaces():
    _LIBRARY.kxp_space_name.restype = ctypes.c_char_p
    _LIBRARY.kxp_space_count.restype = ctypes.c_size_t
    return [_LIBRARY.kxp_space_name(ctypes.c_size_t(i)).decode()
            for i in range(_LIBRARY.kxp_space_count())]
