"""Bursts whose truth is known, and how near a picture comes to it."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _native, _picture
from ._picture import Bytes, FrameLike


@dataclass(frozen=True, eq=False)
class SimulatedBurst:
    """A burst and what it would be without noise.

    Attributes
    ----------
    frames : ndarray of uint8, shape (n, h, w, 3)
        RGB; sides are multiples of 8.
    truth : ndarray of uint8, shape (h, w, 3)
        Frame 0 without noise.
    truth_last : ndarray of uint8, shape (h, w, 3)
        The same at the last frame's exposure.
    motion : ndarray of float64, shape (n, 3, 3)
        Homographies: pixel (x, y) of frame i shows what frame 0 shows at ``motion[i] @ (x, y, 1)``.
    """

    frames: Bytes
    truth: Bytes
    truth_last: Bytes
    motion: NDArray[np.float64]


def _check_range(name: str, value: Any, low: float, high: float) -> None:
    if not low <= value <= high:
        raise ValueError(f"{name} is {value}, must be {low} to {high}")


def simulate(
    photo: ArrayLike | None = None,
    *,
    iso: int = 1600,
    frames: int = 6,
    seed: int = 1,
    motion: float = 1.0,
    ghost: bool = False,
    white: bool = False,
    last_ev: float = 0.0,
    max_width: int | None = None,
    crop: tuple[int, int] | None = None,
) -> SimulatedBurst:
    """Take a hand-held burst of a photo with a modelled phone camera.

    The same arguments give the pictures that ``zolt-burst simulate`` writes, on every machine.

    Parameters
    ----------
    photo : ndarray of uint8, shape (h, w, 3), optional
        RGB, at least 144 x 144; frames have half its sides or less. None takes the built-in scene.
    iso : int
        Sensitivity; sets the noise. 1 to 1000000.
    frames : int
        2 to 10.
    seed : int
        Another number gives another hand and other noise.
    motion : float
        1 is a hand with up to 1 degree of rotation, 0 a tripod; at most 10.
    ghost : bool
        Roll a ball through the scene.
    white : bool
        White noise, without the correlation of a phone's processing.
    last_ev : float
        Exposure of the last frame beside the others, in stops, -4 to 4.
    max_width : int, optional
        Reduce the photo by a whole number until a frame fits.
    crop : (width, height), optional
        Take only the middle, frames of this size.

    Returns
    -------
    SimulatedBurst
    """
    _check_range("iso", iso, 1, 1000000)
    _check_range("frames", frames, 2, 10)
    _check_range("seed", seed, 0, 2**64 - 1)
    _check_range("motion", motion, 0, 10)
    _check_range("last_ev", last_ev, -4, 4)
    settings = _native.CameraSettings()
    settings.iso, settings.frames, settings.seed = iso, frames, seed
    settings.motion, settings.last_ev = motion, last_ev
    settings.ghost, settings.white = ghost, white
    if max_width is not None:
        _check_range("max_width", max_width, 64, 100000)
        settings.max_width = max_width
    if crop is not None:
        for side in crop:
            _check_range("crop", side, 1, 65535)
        settings.crop_width, settings.crop_height = crop
    picture = None
    if photo is not None:
        array = _picture.checked("photo", photo)
        if isinstance(array, _picture.Yuv420) or array.ndim != 3:
            raise ValueError("photo must be RGB, (h, w, 3); a grey one becomes it by np.dstack([a] * 3)")
        picture = _picture.native(array[..., :3].copy())
    return SimulatedBurst(*_native.simulate(picture, settings))


def _quality(a: FrameLike, b: FrameLike, channel: str) -> tuple[float, float, float, float]:
    first, second = _picture.checked("a", a), _picture.checked("b", b)
    if _picture.size_of(first) != _picture.size_of(second):
        raise ValueError(f"a is {_picture.size_of(first)} pixels, b {_picture.size_of(second)}")
    if channel not in ("luma", "chroma"):
        raise ValueError(f"channel is {channel!r}, must be 'luma' or 'chroma'")
    grey = [p for p in (first, second) if not isinstance(p, _picture.Yuv420) and p.ndim == 2]
    if grey and channel == "chroma":
        raise ValueError("a grey picture has no chroma")
    return _native.quality(_picture.native(first), _picture.native(second))


def psnr(a: FrameLike, b: FrameLike, *, channel: str = "luma") -> float:
    """Peak signal-to-noise ratio of two pictures in dB, as ``zolt-burst compare`` tells it.

    Parameters
    ----------
    a, b : ndarray of uint8, shape (h, w, 3), (h, w, 4) or (h, w), or Yuv420
        Of one size. RGB is compared in YUV 4:2:0, BT.601.
    channel : {"luma", "chroma"}
        "chroma" is both chroma planes together.

    Returns
    -------
    float
        Infinite for equal pictures.
    """
    quality = _quality(a, b, channel)
    return quality[0] if channel == "luma" else quality[1]


def ssim(a: FrameLike, b: FrameLike, *, channel: str = "luma") -> float:
    """Structural similarity of two pictures, -1 to 1, as ``zolt-burst compare`` tells it.

    Windows of 11 x 11 pixels with Gaussian weights of sigma 1.5 that lie wholly inside [1]_.

    Parameters
    ----------
    a, b : as for `psnr`
    channel : {"luma", "chroma"}
        "chroma" is the mean of both chroma planes.

    Returns
    -------
    float

    References
    ----------
    .. [1] Z. Wang, A. C. Bovik, H. R. Sheikh, E. P. Simoncelli: Image quality assessment: from error visibility
       to structural similarity. IEEE Transactions on Image Processing 13(4), 2004.
    """
    quality = _quality(a, b, channel)
    return quality[2] if channel == "luma" else quality[3]
