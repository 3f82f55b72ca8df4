from collections.abc import Callable, Sequence
from typing import Any

import numpy as np
from numpy.typing import NDArray

GREY: int
YUV420: int
RGB: int

class Picture:
    def __init__(self, layout: int, planes: Sequence[NDArray[np.uint8]]) -> None: ...

class Options:
    mode: int
    iso: int
    reference: int
    fusion: int
    keep_all: bool
    expected_frames: int
    memory_limit: int
    tuning: bytes | None
    progress: Callable[[float], object] | None

class CameraSettings:
    frames: int
    iso: int
    motion: float
    ghost: bool
    white: bool
    last_ev: float
    max_width: int
    crop_width: int
    crop_height: int
    seed: int

class Handle:
    def __init__(self, options: Options) -> None: ...
    def open(self) -> int: ...
    def add(self, frame: Picture) -> int: ...
    def finish(self, output: Picture, capacity: int) -> tuple[int, dict[str, Any], list[dict[str, Any]]]: ...
    def reset(self) -> None: ...
    def close(self) -> None: ...

def version() -> str: ...
def error_text(code: int) -> str: ...
def memory_needed(width: int, height: int, frames: int, mode: int) -> int: ...
def denoise(
    frames: Sequence[Picture], output: Picture, options: Options
) -> tuple[int, dict[str, Any], list[dict[str, Any]]]: ...
def measure_noise(
    frames: Sequence[Picture], options: Options
) -> tuple[int, dict[str, Any], list[dict[str, Any]]]: ...
def quality(a: Picture, b: Picture) -> tuple[float, float, float, float]: ...
def simulate(
    photo: Picture | None, settings: CameraSettings
) -> tuple[NDArray[np.uint8], NDArray[np.uint8], NDArray[np.uint8], NDArray[np.float64]]: ...
