#!/usr/bin/env python3
"""quality_page.py FIGURES PAGE: turns the lines of 'zolt-burst measure --json' into docs/quality.md, and fails when
the result falls short of the merge alone."""

import json
import os
import sys

STAGES = [("first", "first frame"), ("mean", "ideal mean"), ("merged", "merge alone"), ("result", "result")]
FIGURES = [
    ("psnr_luma", "Luma, PSNR in dB", "{:.2f}"),
    ("ssim_luma", "Luma, SSIM", "{:.4f}"),
    ("psnr_chroma", "Chroma, PSNR in dB", "{:.2f}"),
]
GAIN_WANTED = 1.0  # dB of luma above the merge alone, of 4 frames at the ISOs below
GAIN_ISOS = (1600, 3200)
GAIN_FRAMES = 4

HEAD = """# Quality

Made by `scripts/quality` with the shipped `config/multiframe.xml`. Bursts are simulated (docs/simulation.md) from
photographs that the tuning did not see: {photographs}. All figures are against the noise-free picture, without
{border} pixels at each edge. Higher is better.

- *First frame*: one frame of the burst as it is.
- *Ideal mean*: the mean of the same number of frames taken from a tripod, all in place. No averaging does better.
- *Merge alone*: the library's frames, aligned and folded together, before any filter.
- *Result*: what the library returns.

Where the merge lies below the first frame, it is soft: frames are interpolated, and in fine texture that costs more
than the little noise of low ISOs.
"""


def photograph(burst):
    return os.path.basename(burst["folder"]).rsplit("-", 2)[0]


def table(rows, form):
    lines = ["| ISO | Frames | " + " | ".join(title.capitalize() for _, title in STAGES) + " |"]
    lines.append("|---" * (2 + len(STAGES)) + "|")
    for iso, frames, values in rows:
        lines.append(f"| {iso} | {frames} | " + " | ".join(form.format(v) for v in values) + " |")
    return "\n".join(lines) + "\n"


def mean_rows(bursts, figure):
    rows = []
    for iso, frames in sorted({(b["iso"], b["frames"]) for b in bursts}):
        chosen = [b for b in bursts if (b["iso"], b["frames"]) == (iso, frames)]
        values = [sum(b[stage][figure] for b in chosen) / len(chosen) for stage, _ in STAGES]
        rows.append((iso, frames, values))
    return rows


def shortfalls(bursts):
    """One line for each place where the result is not what it has to be."""
    lines = []
    for b in bursts:
        gain = b["result"]["psnr_luma"] - b["merged"]["psnr_luma"]
        if gain < 0:
            lines.append(f"{photograph(b)}, ISO {b['iso']}, {b['frames']} frames: {-gain:.2f} dB below the merge alone")
    for iso, frames, values in mean_rows(bursts, "psnr_luma"):
        gain = values[3] - values[2]
        if iso in GAIN_ISOS and frames == GAIN_FRAMES and gain < GAIN_WANTED:
            lines.append(f"ISO {iso}, {frames} frames: {gain:.2f} dB above the merge alone, wanted {GAIN_WANTED:.2f}")
    return lines


def main():
    with open(sys.argv[1], encoding="utf-8") as f:
        bursts = [json.loads(line) for line in f]
    names = list(dict.fromkeys(photograph(b) for b in bursts))
    page = [HEAD.format(photographs=", ".join(names), border=16)]
    for figure, title, form in FIGURES:
        page.append(f"\n## {title}\n\nMeans over the photographs.\n\n" + table(mean_rows(bursts, figure), form))
    for name in names:
        own = [b for b in bursts if photograph(b) == name]
        page.append(f"\n## {name}: luma, PSNR in dB\n\n" + table(mean_rows(own, "psnr_luma"), "{:.2f}"))
    with open(sys.argv[2], "w", encoding="utf-8") as f:
        f.write("".join(page))
    missed = shortfalls(bursts)
    for line in missed:
        print(line)
    print(f"{sys.argv[2]}: {len(bursts)} bursts, {len(missed)} that fall short")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
