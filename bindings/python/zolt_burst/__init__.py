"""One clean picture out of several noisy ones of the same scene.

>>> import zolt_burst
>>> burst = zolt_burst.simulate(iso=3200, frames=6)
>>> result = zolt_burst.denoise(burst.frames)
>>> result.image.shape == burst.truth.shape
True

Frames are uint8 arrays, RGB ``(h, w, 3)``, RGB and alpha ``(h, w, 4)`` or grey ``(h, w)``, or `Yuv420`
planes. Any strides will do: views are read where they lie.
"""

from . import _native
from ._denoise import Burst, denoise, measure_noise, memory_needed
from ._error import Error
from ._picture import Yuv420
from ._report import FrameReport, Noise, Report, Result
from ._simulate import SimulatedBurst, psnr, simulate, ssim

__version__ = _native.version()

__all__ = [
    "Burst",
    "Error",
    "FrameReport",
    "Noise",
    "Report",
    "Result",
    "SimulatedBurst",
    "Yuv420",
    "denoise",
    "measure_noise",
    "memory_needed",
    "psnr",
    "simulate",
    "ssim",
]
