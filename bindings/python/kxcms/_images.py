"""Arrays as the library's images.

The library knows images of two dimensions whose pixels and rows are evenly apart. Dimensions that
are evenly apart in both arrays become one; of those that remain the inner one and the longest are
handed over at a time, and the others are gone through one by one. Nothing is copied.
"""

from __future__ import annotations

import ctypes
import itertools
from typing import Any, Iterator, List, NamedTuple, Sequence, Tuple

import numpy as np
import numpy.typing as npt

from ._errors import ArgumentError
from ._library import Image

Array = npt.NDArray[Any]

_SAMPLES = {np.dtype(np.uint8): 0, np.dtype(np.uint16): 1, np.dtype(np.float16): 2,
            np.dtype(np.float32): 3}
_ASSOCIATED_ALPHA, _OPAQUE = 1, 2
# Steps that numpy may take to find out whether arrays share memory; what is harder is refused.
_MOST_WORK = 100000


def check_dtype(dtype: np.dtype[Any], what: str) -> None:
    """TypeError for a type of samples that the library does not know."""
    if dtype in _SAMPLES and dtype.isnative:
        return
    if dtype.newbyteorder() in _SAMPLES:
        raise TypeError(f"{what} is {dtype.str}: of the other byte order; .astype() changes it")
    raise TypeError(f"{what} is {dtype}, not uint8, uint16, float16 or float32")


def check_array(array: Array, what: str) -> None:
    """TypeError or ArgumentError for an array that is no image."""
    check_dtype(array.dtype, what)
    if array.ndim == 0 or array.shape[-1] not in (3, 4):
        raise ArgumentError(f"The shape of {what}, {array.shape}, does not end in 3 (RGB) or "
                            "4 (RGBA).")


class _Axis(NamedTuple):
    """A dimension of both arrays: its length, and bytes from one to the next in each."""

    length: int
    source: int
    destination: int


def _axes(source: Array, destination: Array) -> List[_Axis]:
    """The dimensions but the channels, as few as possible, the inner one last."""
    axes = [_Axis(*axis) for axis in zip(source.shape[:-1], source.strides, destination.strides)
            if axis[0] != 1]
    axes.sort(key=lambda axis: -abs(axis.destination))
    merged: List[_Axis] = []
    for axis in reversed(axes):
        if merged:
            inner = merged[-1]
            if (axis.source == inner.length * inner.source
                    and axis.destination == inner.length * inner.destination):
                merged[-1] = inner._replace(length=inner.length * axis.length)
                continue
        merged.append(axis)
    return merged[::-1]


def _overlaps_itself(axes: Sequence[_Axis], destination: Array) -> bool:
    """Whether this cannot be ruled out: each dimension must step over what is within it."""
    steps = [(axis.length, abs(axis.destination)) for axis in axes]
    steps.append((destination.shape[-1], abs(destination.strides[-1])))
    reach = destination.itemsize
    for length, step in sorted(steps, key=lambda s: s[1]):
        if step < reach:
            return True
        reach += (length - 1) * step
    return False


def _share_memory(source: Array, destination: Array) -> bool:
    """Whether this cannot be ruled out."""
    if not np.may_share_memory(source, destination):
        return False
    try:
        return np.shares_memory(source, destination, max_work=_MOST_WORK)
    except RuntimeError:  # too hard
        return True


def _address(array: Array) -> int:
    address: int = array.__array_interface__["data"][0]
    return address


def _same_samples(axes: Sequence[_Axis], source: Array, destination: Array) -> bool:
    """Whether these are the same pixels, either of which may have an alpha or not."""
    return (_address(source) == _address(destination) and source.dtype == destination.dtype
            and source.strides[-1] == destination.strides[-1]
            and all(axis.source == axis.destination for axis in axes))


class Work(NamedTuple):
    """One call of the library."""

    source: Image
    destination: Image
    width: int
    height: int


def _described(array: Array, offset: int, pixel_stride: int, row_stride: int,
               flags: int) -> Image:
    first, step = _address(array) + offset, array.strides[-1]
    has_alpha = array.shape[-1] == 4
    return Image(size=ctypes.sizeof(Image), r=first, g=first + step, b=first + 2 * step,
                 a=first + 3 * step if has_alpha else None, pixel_stride=pixel_stride,
                 row_stride=row_stride, sample=_SAMPLES[array.dtype],
                 flags=flags if has_alpha else 0)


def cut(source: Array, destination: Array, source_associated: bool,
        destination_associated: bool, opaque: bool) -> Tuple[Iterator[Work], Array, Array]:
    """What to ask the library for.

    Args:
        source, destination: checked, and of the same shape but for the channels.
        source_associated, destination_associated, opaque: what is said of alpha.

    Returns:
        The calls; and, where the source repeats itself in memory, a part of the destination, and
        the whole of it, which is to be filled with that part afterwards.

    Raises:
        ArgumentError: the arrays overlap in a way in which the library refuses them.
    """
    # What repeats itself is converted once.
    once = tuple(slice(0, 1) if stride == 0 and length > 1 else slice(None)
                 for length, stride in zip(source.shape[:-1], source.strides))
    part = destination[once]
    repeats = part.size != destination.size
    axes = _axes(source[once], part)
    all_axes = _axes(source, destination) if repeats else axes
    if any(axis.destination == 0 for axis in all_axes):
        raise ArgumentError("The samples of out share memory with one another.")
    if repeats or len(axes) > 2:
        # The library sees parts only.
        if _overlaps_itself(all_axes, destination):
            raise ArgumentError("The samples of out share memory with one another.")
        if ((repeats or not _same_samples(axes, source, destination))
                and _share_memory(source, destination)):
            raise ArgumentError("The array and out overlap other than in place.")

    column = axes[-1] if axes else _Axis(1, 4 * source.itemsize, 4 * destination.itemsize)
    outer = sorted(axes[:-1], key=lambda axis: axis.length)
    row = outer.pop() if outer else _Axis(1, column.length * column.source,
                                          column.length * column.destination)
    source_flags = _ASSOCIATED_ALPHA if source_associated else 0
    destination_flags = ((_ASSOCIATED_ALPHA if destination_associated else 0)
                         | (_OPAQUE if opaque else 0))

    def works() -> Iterator[Work]:
        for index in itertools.product(*(range(axis.length) for axis in outer)):
            yield Work(
                _described(source, sum(n * axis.source for n, axis in zip(index, outer)),
                           column.source, row.source, source_flags),
                _described(destination, sum(n * axis.destination for n, axis in zip(index, outer)),
                           column.destination, row.destination, destination_flags),
                column.length, row.length)

    return works(), part, destination
