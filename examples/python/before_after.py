#!/usr/bin/env python3
"""From a simulated burst to a picture of what was gained: noisy, clean, truth, and what is left of the noise.

    before_after.py [PHOTO] [-o before-after.png] [--iso 3200]
"""
import argparse

import matplotlib

matplotlib.use("Agg")  # a file, no window

import matplotlib.pyplot as plt
import numpy as np

import zolt_burst

parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
parser.add_argument("photo", nargs="?", help="any image; without it the built-in scene")
parser.add_argument("-o", "--output", default="before-after.png")
parser.add_argument("--iso", type=int, default=3200)
options = parser.parse_args()

# ---- a hand-held burst of six frames, whose truth is known ----
photo = None
if options.photo:
    from PIL import Image

    photo = np.asarray(Image.open(options.photo).convert("RGB"))
burst = zolt_burst.simulate(photo, iso=options.iso, frames=6, max_width=1000)

# ---- one clean picture; the reference is named, so that it shows what the truth shows ----
result = zolt_burst.denoise(burst.frames, reference=0)
report = result.report
print(f"{report.merged} of {len(report.frames)} frames merged, noise as at ISO {report.iso}")
for i, frame in enumerate(report.frames):
    print(f"  frame {i}: {frame.use}, shifted by {frame.shift_x:.2f}, {frame.shift_y:.2f} pixels")

# ---- side by side: the middle of the picture, and the difference to the truth four times as strong ----
h, w = burst.truth.shape[:2]
middle = np.s_[h // 3 : h // 3 + h // 3, w // 3 : w // 3 + w // 3]
figure, rows = plt.subplots(2, 3, figsize=(12, 6.5), layout="constrained")
pictures = {"one frame": burst.frames[0], "the burst, clean": result.image, "truth": burst.truth}
for (name, picture), above, below in zip(pictures.items(), *rows):
    likeness = f"PSNR {zolt_burst.psnr(picture, burst.truth):.1f} dB, SSIM {zolt_burst.ssim(picture, burst.truth):.3f}"
    above.set_title(name if picture is burst.truth else f"{name}\n{likeness}")
    above.imshow(picture[middle], interpolation="nearest")
    difference = picture[middle].astype(np.int16) - burst.truth[middle]
    below.imshow(np.clip(128 + 4 * difference, 0, 255).astype(np.uint8), interpolation="nearest")
    below.set_title("less the truth, four times")
    print(f"{name}: {likeness}")
for axis in rows.flat:
    axis.set_axis_off()
figure.savefig(options.output, dpi=100)
