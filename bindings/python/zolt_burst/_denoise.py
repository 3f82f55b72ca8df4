"""Bursts: at once or frame by frame."""

from __future__ import annotations

import os
from collections.abc import Iterable
from types import TracebackType
from typing import Union

from . import _native, _picture, _progress
from ._error import check
from ._picture import FrameLike, Picture
from ._progress import ProgressLike
from ._report import Noise, Result, noise_of, report_of

_MODES = {"fast": 0, "fine": 1}
_FUSIONS = {"auto": 0, "off": 1}
_LARGEST_INT = 2**31 - 1
PathLike = Union[str, "os.PathLike[str]"]


def _choice(name: str, value: str, choices: dict[str, int]) -> int:
    if value not in choices:
        raise ValueError(f"{name} is {value!r}, must be one of {', '.join(map(repr, choices))}")
    return choices[value]


def _number(name: str, value: int | None, default: int, low: int, high: int = _LARGEST_INT) -> int:
    if value is None:
        return default
    if not low <= value <= high:
        raise ValueError(f"{name} is {value}, must be {low} to {high}, or None")
    return int(value)


def _options(
    iso: int | None = None,
    mode: str = "fast",
    reference: int | None = None,
    fusion: str = "auto",
    tuning: PathLike | None = None,
    memory_limit: int | None = None,
    keep_all: bool = False,
    expected_frames: int | None = None,
) -> _native.Options:
    options = _native.Options()
    options.iso = _number("iso", iso, 0, 1)
    options.mode = _choice("mode", mode, _MODES)
    options.reference = _number("reference", reference, -1, 0)
    options.fusion = _choice("fusion", fusion, _FUSIONS)
    options.tuning = None if tuning is None else os.fsencode(tuning)
    options.memory_limit = _number("memory_limit", memory_limit, 0, 1, 2**64 - 1)
    options.keep_all = bool(keep_all)
    options.expected_frames = _number("expected_frames", expected_frames, 0, 2, 10)
    return options


def denoise(
    frames: Iterable[FrameLike],
    *,
    iso: int | None = None,
    mode: str = "fine",
    reference: int | None = None,
    fusion: str = "auto",
    tuning: PathLike | None = None,
    memory_limit: int | None = None,
    keep_all: bool = False,
    progress: ProgressLike = None,
    out: Picture | None = None,
) -> Result:
    """Make one clean picture of several noisy ones of the same scene.

    The noise is measured, the frames are aligned to hundredths of a pixel, those that don't fit are left out
    and what moved is not merged. The interpreter's lock is released meanwhile; the bursts of a process wait
    for each other, since each uses all the cores it needs. Ctrl-C ends the burst.

    Parameters
    ----------
    frames : sequence of pictures, or ndarray of uint8, shape (n, h, w, 3), (n, h, w, 4) or (n, h, w)
        One or more pictures of one size, each side at least 16: RGB ``(h, w, 3)``, RGB and alpha
        ``(h, w, 4)``, grey ``(h, w)``, values 0 to 255, or `Yuv420`. Views of any strides are read where they
        lie; only samples that share memory (broadcast arrays) are refused. Of more than ten the best ten are
        merged; a single one is filtered.
    iso : int, optional
        Take the tuning's band of this sensitivity instead of the measured noise's.
    mode : {"fine", "fast"}
        "fine" merges at twice the size where it can: more texture, more time and memory.
    reference : int, optional
        Index of the frame that the result shows; by default the sharpest of the first three.
    fusion : {"auto", "off"}
        Whether a last frame of brighter exposure is fused in.
    tuning : path, optional
        Folder of a ``multiframe.xml``; by default the built-in tuning.
    memory_limit : int, optional
        Bytes that the library may take beside the arrays.
    keep_all : bool
        Let blurred frames take part.
    progress : bool or callable, optional
        True shows a bar if tqdm is installed; a function gets the share that is done, 0 to 1. What it raises
        ends the burst. It must not call this module.
    out : ndarray of uint8 or Yuv420, optional
        Where the result goes, of the frames' size, in any layout; may be one of the frames.

    Returns
    -------
    Result
        ``image``, laid out as the first frame, and ``report``. The same frames give the same bytes on every
        processor.

    Raises
    ------
    ValueError
        For wrong dtypes, shapes or options; the text says which and what to do.
    MemoryError
        If memory is refused, or the burst needs more than `memory_limit`.
    Error
        For anything else, as a tuning that can't be read, with the library's code.

    Examples
    --------
    >>> burst = zolt_burst.simulate(iso=3200, frames=4)
    >>> result = zolt_burst.denoise(burst.frames, mode="fast")
    >>> result.report.merged
    4
    """
    pictures = _picture.checked_frames(frames)
    if reference is not None and not 0 <= reference < len(pictures):
        raise ValueError(f"reference is {reference}, but there are {len(pictures)} frames")
    options = _options(iso, mode, reference, fusion, tuning, memory_limit, keep_all)
    image = _picture.checked_output(out, pictures[0])
    views = [_picture.native(p) for p in pictures]
    options.progress = _progress.function_of(progress)
    try:
        code, report, frame_reports = _native.denoise(views, _picture.native(image), options)
    finally:
        _progress.close(options.progress)
    check(code)
    return Result(image, report_of(report, frame_reports))


def measure_noise(frames: Iterable[FrameLike], *, tuning: PathLike | None = None) -> Noise:
    """Measure the noise of one or more frames of a scene.

    Parameters
    ----------
    frames : as for `denoise`
        The first four are looked at; one alone gives a rough value.
    tuning : path, optional
        As for `denoise`; it tells what ISO the noise amounts to.

    Returns
    -------
    Noise
        Standard deviations in grey levels, and the tuning's band.
    """
    pictures = _picture.checked_frames(frames)
    views = [_picture.native(p) for p in pictures]
    code, report, _ = _native.measure_noise(views, _options(tuning=tuning))
    check(code)
    return noise_of(report)


def memory_needed(width: int, height: int, frames: int, *, mode: str = "fine") -> int:
    """Upper bound in bytes of what a burst takes beside the arrays.

    Parameters
    ----------
    width, height : int
        Pixels, 16 or more.
    frames : int
        Number of frames, 1 or more.
    mode : {"fine", "fast"}

    Returns
    -------
    int
    """
    sides = (width, height, frames)
    needed = 0
    if all(0 < side <= _LARGEST_INT for side in sides):
        needed = _native.memory_needed(*sides, _choice("mode", mode, _MODES))
    if needed == 0:
        raise ValueError(f"there can't be a burst of {frames} frames of {width} x {height} pixels")
    return needed


class Burst:
    """A burst whose frames come one by one.

    ``with zolt_burst.Burst() as burst:``, then `add` for each frame and `finish`; after that it takes the next
    burst, in the memory of the first. One thread at a time may use it.

    Parameters
    ----------
    expected_frames : int, optional
        Frames that will come, 2 to 10. With ``reference=0`` each is then aligned and merged when it comes, and
        none is kept.
    iso, mode, reference, fusion, tuning, memory_limit, keep_all, progress
        As for `denoise`.

    Examples
    --------
    >>> frames = zolt_burst.simulate(frames=3).frames
    >>> with zolt_burst.Burst(reference=0, expected_frames=3, mode="fast") as burst:
    ...     for frame in frames:
    ...         burst.add(frame)
    ...     result = burst.finish()
    """

    def __init__(
        self,
        *,
        iso: int | None = None,
        mode: str = "fine",
        reference: int | None = None,
        fusion: str = "auto",
        tuning: PathLike | None = None,
        memory_limit: int | None = None,
        keep_all: bool = False,
        expected_frames: int | None = None,
        progress: ProgressLike = None,
    ) -> None:
        options = _options(iso, mode, reference, fusion, tuning, memory_limit, keep_all, expected_frames)
        self._progress = options.progress = _progress.function_of(progress)
        self._like: Picture | None = None
        self._count = 0
        self._handle: _native.Handle | None = _native.Handle(options)
        check(self._handle.open())

    def _opened(self) -> _native.Handle:
        if self._handle is None:
            raise ValueError("the Burst is closed")
        return self._handle

    def __enter__(self) -> Burst:
        self._opened()
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def __len__(self) -> int:
        """Frames added so far."""
        return self._count

    def add(self, frame: FrameLike) -> None:
        """Add a frame.

        Parameters
        ----------
        frame : ndarray of uint8, shape (h, w, 3), (h, w, 4) or (h, w), or Yuv420
            Read during the call only.
        """
        handle = self._opened()
        name = f"frame {self._count}"
        picture = _picture.checked(name, frame)
        check(handle.add(_picture.native(picture)), f"{name} is {_picture.size_of(picture)} pixels")
        if self._like is None:
            self._like = picture if isinstance(picture, _picture.Yuv420) else picture[:]
        self._count += 1

    def finish(self, *, out: Picture | None = None) -> Result:
        """Give the result; the burst is empty then.

        Parameters
        ----------
        out : ndarray of uint8 or Yuv420, optional
            As for `denoise`.

        Returns
        -------
        Result
        """
        handle = self._opened()
        if self._like is None:
            raise ValueError("there are no frames")
        image = _picture.checked_output(out, self._like)
        view = _picture.native(image)
        count, self._count, self._like = self._count, 0, None
        try:
            code, report, frame_reports = handle.finish(view, count)
        finally:
            _progress.close(self._progress)
        check(code)
        return Result(image, report_of(report, frame_reports))

    def reset(self) -> None:
        """Drop the frames that were added."""
        self._opened().reset()
        self._like, self._count = None, 0

    def close(self) -> None:
        """Give the memory back; further calls do nothing, and the other methods raise ValueError."""
        if self._handle is not None:
            self._handle.close()
            self._handle = None
        _progress.close(self._progress)
