#!/usr/bin/env python3
"""What zolt_burst.denoise costs beside the C call alone, at 2 megapixels: times in turns, peak memory in processes of
their own. PYTHONPATH=build/release/bindings/python bench/python_call.py build/release/burst/libzolt_burst.so"""
import ctypes
import json
import statistics
import subprocess
import sys
import time

import numpy as np

import zolt_burst

WIDTH, HEIGHT, FRAMES = 1632, 1224, 6


class Picture(ctypes.Structure):
    _fields_ = [("size", ctypes.c_uint32), ("layout", ctypes.c_int32), ("width", ctypes.c_int32),
                ("height", ctypes.c_int32), ("planes", ctypes.c_void_p * 4),
                ("row_stride", ctypes.c_ssize_t * 4), ("pixel_stride", ctypes.c_ssize_t * 4)]


def burst():
    """A smooth scene that moves, with noise: what the work costs does not hang on its beauty."""
    random = np.random.default_rng(1)
    scene = 128 + 60 * np.sin(np.arange(HEIGHT + 20)[:, None, None] / 9) * np.sin(np.arange(WIDTH + 20)[:, None] / 7)
    frames = np.empty((FRAMES, HEIGHT, WIDTH, 3), np.uint8)
    for i, frame in enumerate(frames):
        for c in range(3):
            noise = random.normal(0, 4, (HEIGHT, WIDTH))
            frame[..., c] = np.clip(scene[i : i + HEIGHT, i : i + WIDTH, 0] + noise, 0, 255)
    return frames


def c_call(library, frames):
    library.zolt_burst_rgb.restype = Picture
    whole = ctypes.c_int32
    library.zolt_burst_rgb.argtypes = [ctypes.c_void_p, whole, whole, ctypes.c_ssize_t, ctypes.c_char_p]
    out = np.empty(frames.shape[1:], np.uint8)

    def describe(array):
        return library.zolt_burst_rgb(array.ctypes.data, WIDTH, HEIGHT, 0, b"RGB")

    pictures = (Picture * FRAMES)(*map(describe, frames))
    output = describe(out)
    if library.zolt_burst_denoise(pictures, FRAMES, None, ctypes.byref(output), None, None) != 0:
        raise RuntimeError("the C call failed")
    return out


def resident(name):
    """VmRSS or VmHWM of this process in bytes."""
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith(name)) * 1024


def peak_growth(name, path):
    """Bytes that one call needs at its peak, the result among them."""
    library = ctypes.CDLL(path)
    frames = burst()
    with open("/proc/self/clear_refs", "w") as peak:
        peak.write("5")  # the peak begins anew
    before = resident("VmRSS")
    if name == "C":
        c_call(library, frames)
    else:
        zolt_burst.denoise(frames, mode="fast")
    return resident("VmHWM") - before


def main(path):
    library = ctypes.CDLL(path)
    frames = burst()
    calls = {"C": lambda: c_call(library, frames), "Python": lambda: zolt_burst.denoise(frames, mode="fast").image}
    if not np.array_equal(calls["C"](), calls["Python"]()):
        raise RuntimeError("C and Python differ")
    times = {name: [] for name in calls}
    for _ in range(15):
        for name, call in calls.items():
            begin = time.perf_counter()
            call()
            times[name].append(time.perf_counter() - begin)
    for name, taken in times.items():
        peak = json.loads(subprocess.check_output([sys.executable, __file__, path, name]))
        print(f"{name:7} median {1000 * statistics.median(taken):.1f} ms, least {1000 * min(taken):.1f} ms,"
              f" {peak / (1 << 20):.1f} MiB more at the peak")
    outside = []
    for _ in range(9):
        begin = time.perf_counter()
        report = zolt_burst.denoise(frames, mode="fast").report
        outside.append(1000 * (time.perf_counter() - begin) - report.milliseconds)
    print(f"Python outside of the library: median {statistics.median(outside):.2f} ms")
    ratio = min(times["Python"]) / min(times["C"])
    print(f"the result alone is {frames[0].nbytes / (1 << 20):.1f} MiB; Python / C, least times: {ratio:.4f}")


if __name__ == "__main__":
    if len(sys.argv) == 3:
        print(json.dumps(peak_growth(sys.argv[2], sys.argv[1])))
    else:
        main(sys.argv[1])
