"""Conversions from one profile to another."""

from __future__ import annotations

import ctypes
import operator
from dataclasses import dataclass
from typing import Any, Callable, Dict, List, Optional, Tuple

import numpy as np
import numpy.typing as npt

from . import _images
from ._errors import ArgumentError
from ._library import ConvertOptions, Handle, PipelineOptions, StageRecord, call
from ._profile import INTENTS, ProfileLike, Profile, Triple

_METHODS = ("precise", "fixed")
_BLACK_POINT_COMPENSATION, _UNCLIPPED = 1, 2
# Keys of kxp_pipeline_number and kxp_pipeline_text.
_SOURCE_TAG, _SOURCE_FALLBACK, _TARGET_TAG, _TARGET_FALLBACK = range(2, 6)
_MOST_STAGES = 24
_MEASURES = ("lab", "xyz")


@dataclass(frozen=True)
class Stage:
    """One stage that a colour goes through."""

    name: str  #: as kxp_probe names it: "device", "grid", "PCS Lab", "encoded" and so on
    values: Triple  #: the colour behind the stage
    clipped: Triple  #: how much the stage cut off; 0 for nothing


def _choice(what: str, value: str, choices: Tuple[str, ...]) -> int:
    if value not in choices:
        raise ArgumentError(f"The {what} {value!r} is none of {', '.join(choices)}.")
    return choices.index(value)


class Pipeline:
    """A conversion from one profile to another. Never changes; copies are the object itself.

    Args:
        profile: where the pixels come from: whatever `Profile` takes.
        to: where they go, likewise: a built-in space, a profile with B2A tags, or one with a matrix
            and tone curves that can be inverted.
        intent: "perceptual", "relative", "saturation" or "absolute" (ICC.1:2010 7.2.15).
        pipeline: "precise" computes the nearest results; "fixed" the bits of the fixed interface,
            of uint8 and uint16 only.
        black_point_compensation: maps the source's black to the destination's (ISO 18619); with
            intent "relative" only.
        lightness, chroma, hue: of "fixed": offsets of L*, of C* and of the hue angle in degrees.
        unclipped: float results of built-in spaces go on below 0 and above 1.

    Raises:
        Error: as `Profile`; ArgumentError for what contradicts itself, UnsupportedError for
            profiles that cannot do it.
    """

    __slots__ = ("_arguments", "_handle", "_source", "_destination")

    def __init__(self, profile: ProfileLike, to: ProfileLike = "srgb", intent: str = "perceptual",
                 pipeline: str = "precise", black_point_compensation: bool = False,
                 lightness: float = 0, chroma: float = 0, hue: float = 0,
                 unclipped: bool = False) -> None:
        options = PipelineOptions(
            size=ctypes.sizeof(PipelineOptions), intent=_choice("intent", intent, INTENTS),
            flags=((_BLACK_POINT_COMPENSATION if black_point_compensation else 0)
                   | (_UNCLIPPED if unclipped else 0)),
            pipeline=_choice("pipeline", pipeline, _METHODS), lightness=float(lightness),
            chroma=float(chroma), hue=float(hue))
        self._source, self._destination = Profile(profile), Profile(to)
        self._handle = Handle("kxp_pipeline", "kxp_pipeline_create", self._source._handle.pointer,
                              self._destination._handle.pointer, ctypes.byref(options))
        self._arguments: Dict[str, Any] = {
            "intent": intent, "pipeline": pipeline,
            "black_point_compensation": bool(black_point_compensation),
            "lightness": float(lightness), "chroma": float(chroma), "hue": float(hue),
            "unclipped": bool(unclipped)}

    def __call__(self, array: npt.ArrayLike, out: Optional[npt.NDArray[Any]] = None,
                 threads: int = 1, *, dtype: npt.DTypeLike = None, associated: bool = False,
                 out_associated: Optional[bool] = None,
                 opaque: bool = False) -> npt.NDArray[Any]:
        """Converts an image.

        Args:
            array: of shape (..., 3), RGB, or (..., 4), RGBA, with any strides: slices, transposed
                and flipped arrays, planes seen through `numpy.moveaxis`, broadcast ones. Of dtype
                uint8 or uint16, where 255 or 65535 is 1, or float16 or float32, where what is
                outside [0, 1] is clipped and NaN counts as 0; in the machine's byte order.
            out: receives the result: of the same shape, but that it may have an alpha or not
                whatever the array has, of any of these dtypes, with any strides. May be `array`
                itself. Any other overlap is refused, but for parts of one array that lie between
                one another, like its even and odd rows.
            threads: at most so many, the caller's among them. Other Python threads run meanwhile.
            dtype: of the result, without `out`; else that of the array. Results in Lab and XYZ
                (L*, a*, b* and X, Y, Z themselves as float32, encoded as uint16) are float32
                unless the array is uint16 or another dtype is asked for.
            associated: colours are multiplied by alpha (premultiplied), in both images.
            out_associated: the same of the result alone; None: as `associated` says.
            opaque: alpha of the result is 1 whatever the array says.

        Alpha is kept where both have it, 1 where only `out` has it, dropped where only the array
        has it. What is said of alpha does not concern images without one.

        Returns:
            `out`, or a new array of the array's shape in C order.

        Raises:
            TypeError: another dtype or byte order, or an `out` that is no array.
            ArgumentError: a shape that does not fit, an `out` that is read-only or overlaps, a
                dtype that the pipeline cannot give (a ValueError).
        """
        threads = operator.index(threads)
        if not 0 <= threads < 1 << 32:
            raise ArgumentError(f"There cannot be {threads} threads.")
        source: npt.NDArray[Any] = np.asarray(array)
        _images.check_array(source, "the array")
        if out is None:
            result: npt.NDArray[Any] = np.empty(source.shape, self._result_dtype(source, dtype))
        elif not isinstance(out, np.ndarray):
            raise TypeError(f"out is {type(out).__name__}, no array")
        else:
            result = out
            if dtype is not None and np.dtype(dtype) != out.dtype:
                raise ArgumentError(f"out is {out.dtype}, and the dtype asked for is another.")
            if not out.flags.writeable:
                raise ArgumentError("out is read-only.")
        _images.check_array(result, "out")
        if source.shape[:-1] != result.shape[:-1]:
            raise ArgumentError(f"The array, of shape {source.shape}, and out, of shape "
                                f"{result.shape}, differ in more than channels.")
        if result.size == 0:
            return result
        works, part, whole = _images.cut(source, result, associated,
                                         associated if out_associated is None else out_associated,
                                         opaque)
        options = ConvertOptions(size=ctypes.sizeof(ConvertOptions), threads=threads)
        for work in works:
            call("kxp_convert", self._handle.pointer, ctypes.byref(work.source),
                 ctypes.byref(work.destination), work.width, work.height, ctypes.byref(options))
        if part.size != whole.size:
            whole[...] = part
        return result

    def _result_dtype(self, source: npt.NDArray[Any], dtype: npt.DTypeLike) -> np.dtype[Any]:
        if dtype is not None:
            wanted: np.dtype[Any] = np.dtype(dtype)
            _images.check_dtype(wanted, "dtype")
            return wanted
        if self._destination.name in _MEASURES and source.dtype != np.uint16:
            return np.dtype(np.float32)
        return source.dtype

    def probe(self, r: float, g: float, b: float) -> List[Stage]:
        """Takes one colour through the pipeline and tells every stage.

        Args:
            r, g, b: in [0, 1].

        Returns:
            The stages, in order; the last one is what a float image gets.
        """
        stages = (StageRecord * _MOST_STAGES)(StageRecord(size=ctypes.sizeof(StageRecord)))
        count = ctypes.c_size_t()
        call("kxp_probe", self._handle.pointer, (ctypes.c_double * 3)(r, g, b), stages,
             _MOST_STAGES, ctypes.byref(count))
        return [Stage(stage.name.decode("ascii"), _triple(stage.values), _triple(stage.clipped))
                for stage in stages[:count.value]]

    # ---- What can be asked ----------------------------------------------------------------------

    @property
    def source(self) -> Profile:
        """Where the pixels come from."""
        return self._source

    @property
    def destination(self) -> Profile:
        """Where they go."""
        return self._destination

    @property
    def intent(self) -> str:
        """As given."""
        return str(self._arguments["intent"])

    @property
    def pipeline(self) -> str:
        """As given: "precise" or "fixed"."""
        return str(self._arguments["pipeline"])

    @property
    def black_point_compensation(self) -> bool:
        """As given."""
        return bool(self._arguments["black_point_compensation"])

    @property
    def lightness(self) -> float:
        """As given, in L*."""
        return float(self._arguments["lightness"])

    @property
    def chroma(self) -> float:
        """As given, in C*."""
        return float(self._arguments["chroma"])

    @property
    def hue(self) -> float:
        """As given, in degrees."""
        return float(self._arguments["hue"])

    @property
    def unclipped(self) -> bool:
        """As given."""
        return bool(self._arguments["unclipped"])

    @property
    def source_tag(self) -> str:
        """What the source uses: "A2B0" and so on, or "matrix"."""
        return self._handle.text(_SOURCE_TAG)

    @property
    def source_fallback(self) -> bool:
        """Whether that is not the tag of the intent."""
        return bool(self._handle.number(_SOURCE_FALLBACK))

    @property
    def target_tag(self) -> str:
        """What the destination uses: "B2A0" and so on, "matrix", or "builtin"."""
        return self._handle.text(_TARGET_TAG)

    @property
    def target_fallback(self) -> bool:
        """Whether that is not the tag of the intent."""
        return bool(self._handle.number(_TARGET_FALLBACK))

    # ---- Copies ---------------------------------------------------------------------------------

    def __copy__(self) -> Pipeline:
        return self

    def __deepcopy__(self, memo: Any) -> Pipeline:
        return self

    def __reduce__(self) -> Tuple[Callable[..., Pipeline], Tuple[Any, ...]]:
        return _made, (self._source, self._destination, self._arguments)

    def __repr__(self) -> str:
        arguments = "".join(f", {name}={value!r}" for name, value in self._arguments.items()
                            if value not in (False, 0, "precise"))
        return f"<kxcms.Pipeline {self._source!r} to {self._destination!r}{arguments}>"


def _triple(values: Any) -> Triple:
    return values[0], values[1], values[2]


def _made(profile: Profile, to: Profile, arguments: Dict[str, Any]) -> Pipeline:
    return Pipeline(profile, to, **arguments)
