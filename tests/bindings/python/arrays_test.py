"""Arrays as people have them: views are read and written in place, all else is refused with a way out."""
import cv2
import numpy as np
import pytest
from PIL import Image

import zolt_burst
from conftest import yuv_planes


def bgr_of_opencv(frames):
    return [cv2.imdecode(cv2.imencode(".png", f[..., ::-1])[1], cv2.IMREAD_COLOR)[..., ::-1] for f in frames]


def upside_down(frames):
    return [np.ascontiguousarray(f[::-1, ::-1])[::-1, ::-1] for f in frames]


def inside_of_larger(frames):
    larger = np.zeros((len(frames), 300, 700, 5), np.uint8)
    larger[:, 7:247, 3:643:2, 1:4] = frames
    return larger[:, 7:247, 3:643:2, 1:4]


LAYOUTS = {
    "sequence": list,
    "generator": iter,
    "OpenCV's BGR as a view": bgr_of_opencv,
    "negative strides": upside_down,
    "Fortran order": lambda frames: [np.asfortranarray(f) for f in frames],
    "planes behind each other": lambda frames: np.ascontiguousarray(frames.transpose(0, 3, 1, 2)).transpose(0, 2, 3, 1),
    "part of a larger array": inside_of_larger,
    "PIL": lambda frames: [Image.fromarray(f) for f in frames],
}


@pytest.mark.parametrize("layout", LAYOUTS)
def test_views_give_the_bytes_of_packed_frames(layout, burst, clean):
    assert np.array_equal(zolt_burst.denoise(LAYOUTS[layout](burst.frames), mode="fast").image, clean)


def test_alpha_is_carried_from_the_reference(burst, clean):
    alpha = np.arange(240 * 320, dtype=np.uint32).astype(np.uint8).reshape(240, 320, 1)
    result = zolt_burst.denoise([np.concatenate([f, alpha], axis=2) for f in burst.frames], mode="fast", reference=0)
    assert np.array_equal(result.image[..., 3:], alpha)
    assert np.array_equal(result.image[..., :3], clean)


def test_grey_and_chroma_planes(burst):
    grey = burst.frames[..., 1]
    assert zolt_burst.psnr(zolt_burst.denoise(grey).image, burst.truth[..., 1]) > 3 + zolt_burst.psnr(
        grey[0], burst.truth[..., 1]
    )
    # Odd sides, and chroma side by side as cameras have it, out into the same form.
    odd = [zolt_burst.Yuv420(p.y[:239, :319], p.u, p.v) for p in map(yuv_planes, burst.frames)]
    plain = zolt_burst.denoise(odd).image
    side_by_side = [np.dstack([p.v, p.u]) for p in odd]
    nv21 = [zolt_burst.Yuv420(p.y, vu[..., 1], vu[..., 0]) for p, vu in zip(odd, side_by_side)]
    vu = np.zeros_like(side_by_side[0])
    out = zolt_burst.Yuv420(np.zeros((239, 319), np.uint8), vu[..., 1], vu[..., 0])
    assert zolt_burst.denoise(nv21, out=out).image is out
    for a, b in ((plain.y, out.y), (plain.u, vu[..., 1]), (plain.v, vu[..., 0])):
        assert np.array_equal(a, b) and a.std() > 1


def test_out_takes_any_view_and_may_be_a_frame(burst, clean):
    around = np.full((250, 330, 3), 7, np.uint8)
    view = around[5:245, 5:325, ::-1][::-1]
    assert zolt_burst.denoise(burst.frames, mode="fast", out=view).image is view
    assert np.array_equal(view, clean)
    around[5:245, 5:325] = 7
    assert (around == 7).all()
    own = burst.frames.copy()
    zolt_burst.denoise(own, mode="fast", out=own[2])
    assert np.array_equal(own[2], clean) and np.array_equal(own[1], burst.frames[1])


RGB = np.zeros((20, 30, 3), np.uint8)
WRONG = {
    "float": ([RGB / np.float32(255)], r"frame 0 has shape \(20, 30, 3\) and dtype float32.*a \* 255"),
    "16 bits": ([RGB, RGB.astype(np.uint16)], r"frame 1 .* uint16.*a >> 8"),
    "bool": (RGB[None] > 1, "bool.* 255"),
    "one picture": (RGB, r"\(30, 3\)"),
    "two dimensions": (RGB[..., 0], r"frames has shape \(20, 30\).*\(n, h, w, 3\)"),
    "five channels": (np.zeros((2, 20, 30, 5), np.uint8), r"\(20, 30, 5\).*needed is"),
    "no frames": ([], "no frames"),
    "no frames in an array": (np.zeros((0, 20, 30, 3), np.uint8), "no frames"),
    "no rows": (np.zeros((2, 0, 30, 3), np.uint8), r"\(0, 30, 3\).*16 x 16"),
    "too small": ([RGB[:15]], r"\(15, 30, 3\).*16 x 16"),
    "unlike sizes": ([RGB, RGB[:, :29]], "frame 1 is 29 x 20 pixels, frame 0 30 x 20"),
    "broadcast": ([np.broadcast_to(RGB[:1], RGB.shape)], "ascontiguousarray"),
    "broadcast channels": ([np.broadcast_to(RGB[..., :1], RGB.shape)], "ascontiguousarray"),
    "chroma of full size": ([zolt_burst.Yuv420(*(RGB[..., 0],) * 3)], r"frame 0\.u .*\(10, 15\)"),
    "a file's name": ("burst.png", "sequence of pictures"),
}


@pytest.mark.parametrize("wrong", WRONG)
def test_wrong_frames_are_refused_with_a_way_out(wrong):
    frames, text = WRONG[wrong]
    for call in (zolt_burst.denoise, zolt_burst.measure_noise):
        with pytest.raises(ValueError, match=text):
            call(frames)


def test_wrong_outputs_are_refused_and_untouched(burst):
    frozen = np.zeros((240, 320, 3), np.uint8)
    frozen.flags.writeable = False
    wrong = [frozen, np.zeros((240, 319, 3), np.uint8), np.zeros((240, 320, 3)), [[0]]]
    for out, text in zip(wrong, ["read-only", "pixels", "float64", "out is an array"]):
        with pytest.raises(ValueError, match=text):
            zolt_burst.denoise(burst.frames, out=out)
    assert not frozen.any()
