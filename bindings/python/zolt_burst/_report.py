"""What a burst gives."""

from __future__ import annotations

from dataclasses import asdict, dataclass
from typing import Any

from ._picture import Picture


@dataclass(frozen=True)
class FrameReport:
    """What became of one frame.

    Attributes
    ----------
    use : str
        "used", "reference", "fused", or why it was left out: "blurred", "other exposure" and so on.
    sharpness : float
        Gradient energy above the noise's own, relative to the reference's.
    shift_x, shift_y : float
        Where the frame shows the reference's middle, in pixels from its own middle.
    moved_share : float
        Share of the overlap that moved in the scene, 0 to 1.
    gain : float
        Brightness relative to the reference's, mean luma.
    milliseconds : float
        Time spent on this frame.
    """

    use: str
    sharpness: float
    shift_x: float
    shift_y: float
    moved_share: float
    gain: float
    milliseconds: float


@dataclass(frozen=True)
class Report:
    """What was done with a burst.

    Attributes
    ----------
    mode : str
        "fine" or "fast", as it ran.
    fell_back : bool
        "fine" was asked for, "fast" ran.
    merged : int
        Frames in the result, with the reference and a fused frame.
    reference : int
        Index of the frame that the others are aligned to.
    noise_measured : bool
        The next four hold; else they are 0.
    luma_sigma, chroma_sigma : float
        Standard deviation of one frame's noise in grey levels of 0 to 255.
    blotchiness : float
        1 for white noise, about 2 for coarse blotches.
    texture : float
        Of the scene, grey levels.
    iso : int
        As given, or what the measured noise amounts to in the tuning.
    band : int
        Of the tuning, 1 to 8.
    fused : bool
        The last frame, of brighter exposure, was fused in.
    peak_memory : int
        Bytes that the library held at once.
    milliseconds : float
        Time inside the library.
    frames : tuple of FrameReport
        One for each frame given.
    """

    mode: str
    fell_back: bool
    merged: int
    reference: int
    noise_measured: bool
    luma_sigma: float
    chroma_sigma: float
    blotchiness: float
    texture: float
    iso: int
    band: int
    fused: bool
    peak_memory: int
    milliseconds: float
    frames: tuple[FrameReport, ...]

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain dictionaries, lists and numbers, which ``json`` takes."""
        return {**asdict(self), "frames": [asdict(frame) for frame in self.frames]}


@dataclass(frozen=True, eq=False)
class Result:
    """A clean picture and how it came about.

    Attributes
    ----------
    image : ndarray of uint8 or Yuv420
        Laid out as the first frame, in C order, or the array that was given as `out`.
    report : Report
    """

    image: Picture
    report: Report


@dataclass(frozen=True)
class Noise:
    """The noise of one frame of a burst.

    Attributes
    ----------
    luma_sigma, chroma_sigma : float
        Standard deviation in grey levels of 0 to 255.
    blotchiness : float
        1 for white noise, about 2 for coarse blotches.
    texture : float
        Of the scene, grey levels.
    iso : int
        What the noise amounts to in the tuning.
    band : int
        Of the tuning, 1 to 8.
    """

    luma_sigma: float
    chroma_sigma: float
    blotchiness: float
    texture: float
    iso: int
    band: int

    def to_dict(self) -> dict[str, Any]:
        """As a plain dictionary."""
        return asdict(self)


def report_of(told: dict[str, Any], frames: list[dict[str, Any]]) -> Report:
    return Report(**told, frames=tuple(FrameReport(**frame) for frame in frames))


def noise_of(told: dict[str, Any]) -> Noise:
    return Noise(**{name: told[name] for name in Noise.__dataclass_fields__})
