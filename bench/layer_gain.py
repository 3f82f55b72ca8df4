#!/usr/bin/env python3
"""Luma PSNR of the engine alone and of the layer's two modes, over simulated bursts, all with the burst's ISO named.
bench/layer_gain.py BUILD BURST...: a build folder, folders of 'zolt-burst simulate' whose sides are multiples of 8."""
import ctypes
import json
import os
import sys

import numpy as np
from PIL import Image

sys.path.insert(0, os.path.join(sys.argv[1], "bindings/python"))
import zolt_burst  # noqa: E402

BORDER = 16
FIRST, MIDDLE, LAST, I420 = 0, 1, 2, 2


def yuv(path):
    """Full-range BT.601, chroma the mean of four pixels."""
    r, g, b = np.moveaxis(np.asarray(Image.open(path).convert("RGB"), float), 2, 0)
    y = 0.299 * r + 0.587 * g + 0.114 * b
    u, v = 128 + (b - y) / 1.772, 128 + (r - y) / 1.402
    half = lambda p: p.reshape(p.shape[0] // 2, 2, p.shape[1] // 2, 2).mean((1, 3))
    return [np.clip(np.rint(p), 0, 255).astype(np.uint8) for p in (y, half(u), half(v))]


def engine_alone(library, frames, iso):
    height, width = frames[0][0].shape
    session, result = ctypes.c_void_p(), np.zeros(width * height * 3 // 2, np.uint8)
    if library.zolt_mfInitialize(ctypes.byref(session), b"config/", None) != 0:
        sys.exit("run it in the project's folder: no config/multiframe.xml here")
    for i, frame in enumerate(frames):
        block = np.concatenate([p.ravel() for p in frame])
        tag = FIRST if i == 0 else LAST if i == len(frames) - 1 else MIDDLE
        status = library.zolt_mfNoiseReduction(session, ctypes.c_void_p(block.ctypes.data),
                                               ctypes.c_void_p(result.ctypes.data), height, width, tag, len(frames),
                                               I420, iso, None)
        if status != 0:
            sys.exit(f"the engine gave {status}")
    library.zolt_mfUnInitialize(session)
    return result[: width * height].reshape(height, width)


def psnr(a, b):
    inner = (slice(BORDER, -BORDER),) * 2
    return zolt_burst.psnr(a[inner], b[inner])


def main():
    library = ctypes.CDLL(os.path.join(sys.argv[1], "libzolt_mfdenoise.so"))
    library.zolt_mfUnInitialize.argtypes = [ctypes.c_void_p]
    kinds = {}
    for folder in sys.argv[2:]:
        with open(os.path.join(folder, "burst.json"), encoding="utf-8") as file:
            burst = json.load(file)
        frames = [yuv(os.path.join(folder, frame["file"])) for frame in burst["frames"]]
        truth = yuv(os.path.join(folder, burst["truth"]))[0]
        views = [zolt_burst.Yuv420(*frame) for frame in frames]
        modes = [zolt_burst.denoise(views, iso=burst["iso"], mode=mode, reference=0).image.y for mode in ("fast", "fine")]
        row = [psnr(p, truth) for p in (frames[0][0], engine_alone(library, frames, burst["iso"]), *modes)]
        kind = "White" if burst["white"] else "Phone's, something moves" if burst["ghost"] else "Phone's"
        for key in ((kind, f"ISO {burst['iso']}"), ("All", "")):
            kinds.setdefault(key, []).append(row)
        print(os.path.basename(folder), *(f"{v:.2f}" for v in row), file=sys.stderr, flush=True)
    print("| Noise | | Bursts | First frame | Engine alone | Fast | Fine | Fast above engine, least |\n|---|---|---|---|---|---|---|---|")
    for (kind, iso), rows in kinds.items():
        least = min(row[2] - row[1] for row in rows)
        print(f"| {kind} | {iso} | {len(rows)} | " + " | ".join(f"{v:.2f}" for v in np.mean(rows, 0)) + f" | {least:+.2f} |")


if __name__ == "__main__":
    main()
