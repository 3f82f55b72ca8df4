import os
import pathlib
import subprocess

import numpy as np
import pytest

import zolt_burst

SOURCE = pathlib.Path(__file__).resolve().parents[3]


@pytest.fixture(scope="session")
def burst():
    """Five frames of 320 x 240; nobody may write to them."""
    simulated = zolt_burst.simulate(iso=3200, frames=5, crop=(320, 240))
    for array in (simulated.frames, simulated.truth):
        array.flags.writeable = False
    return simulated


@pytest.fixture(scope="session")
def clean(burst):
    return zolt_burst.denoise(burst.frames, mode="fast").image


@pytest.fixture(scope="session")
def program():
    """Runs zolt-burst, which CMake names."""

    def run(*arguments):
        return subprocess.run(
            [os.environ["ZOLT_BURST"], *map(str, arguments)], check=True, capture_output=True, text=True
        ).stdout

    return run


def yuv_planes(rgb):
    """I420 planes by OpenCV; only that they are some planes matters."""
    import cv2

    h, w = rgb.shape[:2]
    block = cv2.cvtColor(np.ascontiguousarray(rgb), cv2.COLOR_RGB2YUV_I420).reshape(-1)
    quarter = h * w // 4
    return zolt_burst.Yuv420(
        block[: h * w].reshape(h, w),
        block[h * w : h * w + quarter].reshape(h // 2, w // 2),
        block[h * w + quarter :].reshape(h // 2, w // 2),
    )
