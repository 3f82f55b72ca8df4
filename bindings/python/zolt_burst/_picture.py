"""Arrays as the pictures that the library reads and writes."""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _native

Bytes = NDArray[np.uint8]
_SMALLEST = 16  # pixels a side


@dataclass(frozen=True, eq=False)
class Yuv420:
    """A picture as cameras and codecs have it: views of three planes, none of them copied.

    Full range, BT.601, chroma between the luma samples, as in JPEG. NV12's chroma ``uv`` of shape
    ``(h // 2, w)`` is ``u=uv[:, 0::2], v=uv[:, 1::2]``; NV21 has them the other way round.

    Parameters
    ----------
    y : ndarray of uint8, shape (h, w)
        Luma.
    u, v : ndarray of uint8, shape ((h + 1) // 2, (w + 1) // 2)
        Chroma; 128 is grey.
    """

    y: Bytes
    u: Bytes
    v: Bytes


Picture = Union[Bytes, Yuv420]
FrameLike = Union[ArrayLike, Yuv420]


def _how_to_convert(dtype: np.dtype[Any]) -> str:
    if dtype.kind == "f":
        return "; values from 0 to 1 become it by np.clip(a * 255 + 0.5, 0, 255).astype(np.uint8)"
    if dtype == np.uint16:
        return "; values of 16 bits become it by (a >> 8).astype(np.uint8), those of 10 bits by a >> 2"
    if dtype == np.bool_:
        return "; True and False become it by a.astype(np.uint8) * 255"
    return "; values from 0 to 255 become it by a.astype(np.uint8)"


def _told(name: str, array: NDArray[Any]) -> str:
    return f"{name} has shape {array.shape} and dtype {array.dtype}"


def _checked(name: str, value: ArrayLike) -> Bytes:
    array = np.asarray(value)
    if array.dtype != np.uint8:
        raise ValueError(f"{_told(name, array)}; needed is uint8{_how_to_convert(array.dtype)}")
    return array


def _check_size(name: str, array: Bytes) -> None:
    if min(array.shape[0], array.shape[1]) < _SMALLEST:
        raise ValueError(f"{_told(name, array)}; the smallest picture is {_SMALLEST} x {_SMALLEST} pixels")


def _checked_yuv(name: str, picture: Yuv420) -> Yuv420:
    y, u, v = (_checked(f"{name}.{p}", a) for p, a in zip("yuv", (picture.y, picture.u, picture.v)))
    if y.ndim != 2:
        raise ValueError(f"{_told(name + '.y', y)}; needed is (h, w)")
    _check_size(f"{name}.y", y)
    half = ((y.shape[0] + 1) // 2, (y.shape[1] + 1) // 2)
    for plane, array in (("u", u), ("v", v)):
        if array.shape != half:
            raise ValueError(f"{_told(f'{name}.{plane}', array)}; luma of shape {y.shape} needs {half}")
    return Yuv420(y, u, v)


def checked(name: str, value: FrameLike) -> Picture:
    """`value` as an array or as planes whose types and shapes are right; ValueError that says what is not."""
    if isinstance(value, Yuv420):
        return _checked_yuv(name, value)
    array = _checked(name, value)
    if array.ndim != 2 and not (array.ndim == 3 and array.shape[2] in (3, 4)):
        raise ValueError(f"{_told(name, array)}; needed is (h, w, 3), (h, w, 4) or (h, w)")
    _check_size(name, array)
    return array


def checked_frames(frames: Iterable[FrameLike]) -> list[Picture]:
    """The frames of a burst, at least one, all of one size."""
    if isinstance(frames, np.ndarray) and frames.ndim not in (3, 4):
        raise ValueError(f"{_told('frames', frames)}; needed is (n, h, w, 3), (n, h, w, 4) or (n, h, w)")
    if isinstance(frames, (Yuv420, str, bytes)):
        raise ValueError("frames are a sequence of pictures; a single one is [frame]")
    out = [checked(f"frame {i}", frame) for i, frame in enumerate(frames)]
    if not out:
        raise ValueError("there are no frames")
    for i, frame in enumerate(out):
        if size_of(frame) != size_of(out[0]):
            raise ValueError(
                f"frame {i} is {size_of(frame)[1]} x {size_of(frame)[0]} pixels,"
                f" frame 0 {size_of(out[0])[1]} x {size_of(out[0])[0]}"
            )
    return out


def checked_output(out: Picture | None, like: Picture) -> Picture:
    """`out` if it can take a picture of `like`'s size; for None a new picture laid out as `like`."""
    if out is None:
        if isinstance(like, Yuv420):
            return Yuv420(*(np.empty(p.shape, np.uint8) for p in (like.y, like.u, like.v)))
        return np.empty(like.shape, np.uint8)
    if not isinstance(out, (np.ndarray, Yuv420)):
        raise ValueError("out is an array or a Yuv420 of arrays: what else there is would be written in a copy")
    picture = checked("out", out)
    if size_of(picture) != size_of(like):
        raise ValueError(f"out is for {size_of(picture)} pixels, the frames have {size_of(like)}")
    if not all(plane.flags.writeable for plane in planes_of(picture)):
        raise ValueError("out is read-only")
    return out


def size_of(picture: Picture) -> tuple[int, int]:
    """Height and width."""
    shape = picture.y.shape if isinstance(picture, Yuv420) else picture.shape
    return shape[0], shape[1]


def planes_of(picture: Picture) -> tuple[Bytes, ...]:
    """Views of shape (height, width), one a channel."""
    if isinstance(picture, Yuv420):
        return picture.y, picture.u, picture.v
    if picture.ndim == 2:
        return (picture,)
    return tuple(picture[..., c] for c in range(picture.shape[2]))


def native(picture: Picture) -> _native.Picture:
    """`picture` as the library sees it."""
    planes = planes_of(picture)
    if isinstance(picture, Yuv420):
        return _native.Picture(_native.YUV420, planes)
    return _native.Picture(_native.GREY if picture.ndim == 2 else _native.RGB, planes)
