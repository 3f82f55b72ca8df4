#!/usr/bin/env python3
"""Cleans the burst that a folder's images are, read and written by OpenCV.

    clean_folder.py FOLDER -o clean.png [--pattern 'IMG_*.jpg']
"""
import argparse
import pathlib
import sys

import cv2

import zolt_burst

parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
parser.add_argument("folder", type=pathlib.Path)
parser.add_argument("-o", "--output", required=True)
parser.add_argument("--pattern", default="*", help="the frames' names; in their order they were taken")
options = parser.parse_args()


def frames():
    for path in sorted(options.folder.glob(options.pattern)):
        # As the sensor has it: a turned frame would be turned twice by a viewer that heeds the tag.
        bgr = cv2.imread(str(path), cv2.IMREAD_COLOR | cv2.IMREAD_IGNORE_ORIENTATION)
        if bgr is not None:
            yield bgr[..., ::-1]  # a view: nothing is copied


try:
    result = zolt_burst.denoise(frames(), progress=True)
except (ValueError, MemoryError) as error:
    sys.exit(f"{options.folder}: {error}")
if not cv2.imwrite(options.output, result.image[..., ::-1]):
    sys.exit(f"{options.output}: can't be written")
print(f"{options.output}: {result.report.merged} of {len(result.report.frames)} frames, ISO {result.report.iso}")
