#!/usr/bin/env python3
"""quality_page.py FIGURES PAGE: turns the lines of 'zolt-burst measure --json' into docs/quality.md, and fails when
fine mode falls short of the first frame or of the merge alone."""

import json
import os
import sys

STAGES = [("first", "first frame"), ("mean", "ideal mean"), ("merged", "merge alone"), ("fast", "fast"), ("fine", "fine")]
FIGURES = [
    ("psnr_luma", "Luma, PSNR in dB", "{:.2f}"),
    ("ssim_luma", "Luma, SSIM", "{:.4f}"),
    ("psnr_chroma", "Chroma, PSNR in dB", "{:.2f}"),
]
KINDS = [("phone", "a phone's noise"), ("white", "white noise")]
CHROMA_LOSS = 0.2  # dB of chroma that fine mode may lie below the merge alone

HEAD = """# Quality

Made by `scripts/quality` with the shipped tuning. Bursts are simulated (docs/simulation.md) from photographs that the
tuning did not see: {photographs}. They go through the layer with the first frame as reference and the ISO named, aligned for both
modes as fine mode does. All figures are against the noise-free picture, without
{border} pixels at each edge. Higher is better.

- *First frame*: one frame of the burst as it is.
- *Ideal mean*: the mean of the same number of frames taken from a tripod, all in place. No averaging does better.
- *Merge alone*: the library's frames, aligned and folded together, before any filter.
- *Fast*, *fine*: the results of the two modes.

Where merge and fast mode lie below the first frame, they are soft: frames are interpolated, and in fine texture that costs
more than the little noise of low ISOs. Fine mode gives back what the first frame has beyond the merge (docs/fine.md).
"""


def photograph(burst):
    return os.path.basename(burst["folder"]).rsplit("-", 3)[0]


def kind(burst):
    return os.path.basename(burst["folder"]).rsplit("-", 3)[1]


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
    """One line for each burst whose result is not what it has to be."""
    lines = []
    for b in bursts:
        where = f"{photograph(b)}, {kind(b)}, ISO {b['iso']}, {b['frames']} frames"
        luma = b["fine"]["psnr_luma"] - b["first"]["psnr_luma"]
        if luma < 0:
            lines.append(f"{where}: fine is {-luma:.2f} dB of luma below the first frame")
        chroma = b["fine"]["psnr_chroma"] - b["merged"]["psnr_chroma"]
        if chroma < -CHROMA_LOSS:
            lines.append(f"{where}: fine is {-chroma:.2f} dB of chroma below the merge alone")
    return lines


def main():
    with open(sys.argv[1], encoding="utf-8") as f:
        bursts = [json.loads(line) for line in f]
    names = list(dict.fromkeys(photograph(b) for b in bursts))
    page = [HEAD.format(photographs=", ".join(names), border=16)]
    for key, words in KINDS:
        own = [b for b in bursts if kind(b) == key]
        for figure, title, form in FIGURES:
            page.append(f"\n## {title}, {words}\n\nMeans over the photographs.\n\n" + table(mean_rows(own, figure), form))
    for name in names:
        own = [b for b in bursts if photograph(b) == name and kind(b) == "phone"]
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
