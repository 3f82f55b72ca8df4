"""One call, frame by frame, reports, threads, failures."""
import gc
import json
import os
import pickle
import signal
import sys
import threading
import time
import tracemalloc
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
import skimage.metrics

import zolt_burst
from conftest import yuv_planes


@pytest.mark.parametrize("mode", ["fast", "fine"])
def test_the_bytes_of_the_program(mode, burst, program, tmp_path):
    frames = [yuv_planes(f) for f in burst.frames]
    names = [tmp_path / f"{i}.i420" for i in range(len(frames))]
    for name, frame in zip(names, frames):
        name.write_bytes(b"".join(p.tobytes() for p in (frame.y, frame.u, frame.v)))
    told = json.loads(
        program(
            *("denoise", *names, "--size", "320x240", "-o", tmp_path / "out.i420"),
            *("--json", "--reference", 1, "--mode", mode),
        )
    )
    result = zolt_burst.denoise(frames, mode=mode, reference=1)
    ours = b"".join(p.tobytes() for p in (result.image.y, result.image.u, result.image.v))
    assert ours == (tmp_path / "out.i420").read_bytes()
    assert result.report.mode == mode and not result.report.fell_back
    assert result.report.reference == 1 and len(told["frames"]) == len(result.report.frames)


def test_simulated_frames_and_likeness_are_the_programs(program, tmp_path):
    import cv2

    program("simulate", "-o", tmp_path, "--crop", "160x128", "--frames", 3, "--seed", 7, "--last-ev", 1)
    burst = zolt_burst.simulate(crop=(160, 128), frames=3, seed=7, last_ev=1)
    files = ["frame-0", "frame-1", "frame-2", "truth", "truth-last"]
    for name, ours in zip(files, [*burst.frames, burst.truth, burst.truth_last]):
        assert np.array_equal(cv2.imread(str(tmp_path / f"{name}.png"))[..., ::-1], ours), name
    assert np.allclose(burst.motion[0], np.eye(3)) and not np.allclose(burst.motion[1], np.eye(3))
    a, b = burst.frames[0], burst.truth
    told = json.loads(program("compare", tmp_path / "frame-0.png", tmp_path / "truth.png", "--json"))
    for channel in ("luma", "chroma"):
        assert zolt_burst.psnr(a, b, channel=channel) == told[f"psnr_{channel}"]
        assert zolt_burst.ssim(a, b, channel=channel) == told[f"ssim_{channel}"]


def test_likeness_agrees_with_scikit_image(burst):
    a, b = burst.frames[0, ..., 1], burst.truth[..., 1]
    assert zolt_burst.psnr(a, b) == pytest.approx(skimage.metrics.peak_signal_noise_ratio(b, a), abs=1e-9)
    # Its mean is of the windows that lie wholly inside, too.
    theirs = skimage.metrics.structural_similarity(
        a, b, gaussian_weights=True, sigma=1.5, use_sample_covariance=False, data_range=255
    )
    assert zolt_burst.ssim(a, b) == pytest.approx(theirs, abs=1e-5)
    assert zolt_burst.psnr(a, a) == float("inf") and zolt_burst.ssim(a, a) == 1
    with pytest.raises(ValueError, match="no chroma"):
        zolt_burst.psnr(a, b, channel="chroma")


def test_frame_by_frame_is_the_one_call(burst, clean):
    with zolt_burst.Burst(mode="fast") as handle:
        for _ in range(2):  # its memory serves the next burst
            for frame in burst.frames:
                handle.add(frame.copy())  # read during the call only
            assert len(handle) == 5
            result = handle.finish()
            assert np.array_equal(result.image, clean) and len(result.report.frames) == 5
        handle.add(burst.frames[0])
        with pytest.raises(ValueError, match=r"frame 1 is \(100, 320\)"):
            handle.add(burst.frames[0, :100])
        handle.reset()
        with pytest.raises(ValueError, match="no frames"):
            handle.finish()
    with pytest.raises(ValueError, match="closed"):
        handle.add(burst.frames[0])


def test_numbers_of_frames(burst):
    assert zolt_burst.denoise(burst.frames[:1]).report.merged == 1
    report = zolt_burst.denoise(burst.frames[[0, 1, 2, 3, 4] * 2 + [1]], mode="fast").report
    assert len(report.frames) == 11 and report.merged <= 10


def test_results_travel(burst):
    result = zolt_burst.denoise(burst.frames, iso=800, mode="fast")
    again = pickle.loads(pickle.dumps(result))
    assert again.report == result.report and np.array_equal(again.image, result.image)
    told = json.loads(json.dumps(result.report.to_dict()))
    assert told["iso"] == 800 and told["frames"][told["reference"]]["use"] == "reference"
    noise = zolt_burst.measure_noise(burst.frames)
    assert 1 < noise.luma_sigma < 20 and json.dumps(noise.to_dict())
    error = pickle.loads(pickle.dumps(zolt_burst.Error(7, "text")))
    assert error.code == 7 and "text" in str(error)


def test_options_that_can_not_be(burst, tmp_path):
    for wrong in ({"mode": "best"}, {"fusion": "on"}, {"iso": 0}, {"reference": 5}, {"memory_limit": -1}):
        (name,) = wrong
        with pytest.raises(ValueError, match=name):
            zolt_burst.denoise(burst.frames, **wrong)
    with pytest.raises(MemoryError):
        zolt_burst.denoise(burst.frames, memory_limit=1000)
    with pytest.raises(zolt_burst.Error) as error:
        zolt_burst.denoise(burst.frames, tuning=tmp_path / "ä")
    assert error.value.code == 7
    report = zolt_burst.denoise(burst.frames, mode="fast").report
    assert report.peak_memory <= zolt_burst.memory_needed(320, 240, 5, mode="fast")
    with pytest.raises(ValueError, match="can't be"):
        zolt_burst.memory_needed(8, 240, 5)


def test_threads_give_the_bytes_of_one(burst, clean):
    with ThreadPoolExecutor(8) as pool:
        results = list(pool.map(lambda _: zolt_burst.denoise(burst.frames, mode="fast"), range(8)))
    assert all(np.array_equal(r.image, clean) for r in results)


def test_the_interpreter_goes_on_meanwhile():
    frames = zolt_burst.simulate(frames=4).frames
    done = threading.Event()
    thread = threading.Thread(target=lambda: (zolt_burst.denoise(frames), done.set()))
    turns = 0
    thread.start()
    while not done.is_set():
        time.sleep(0.001)
        turns += 1
    thread.join()
    assert turns > 20  # one that holds the lock leaves room for one or two


def test_one_thread_at_a_time_has_a_burst(burst):
    inside, seen = threading.Event(), threading.Event()
    handle = zolt_burst.Burst(progress=lambda done: (inside.set(), seen.wait(10)))
    for frame in burst.frames:
        handle.add(frame)
    thread = threading.Thread(target=handle.finish)
    inside.clear()
    thread.start()
    assert inside.wait(10)
    for call in (lambda: handle.add(burst.frames[0]), handle.close, handle.reset):
        with pytest.raises(RuntimeError, match="another thread"):
            call()
    seen.set()
    thread.join()
    handle.close()


def test_progress_rises_and_may_stop(burst, clean, capfd):
    told = []
    zolt_burst.denoise(burst.frames, progress=told.append)
    assert told == sorted(told) and told[0] >= 0 and told[-1] == 1 and len(told) > 4

    def fail(done):
        raise LookupError("enough")

    def call_inside(done):
        zolt_burst.denoise(burst.frames)

    out = np.zeros((240, 320, 3), np.uint8)
    with pytest.raises(LookupError, match="enough"):
        zolt_burst.denoise(burst.frames, progress=fail, out=out)
    with pytest.raises(RuntimeError, match="must not call"):
        zolt_burst.denoise(burst.frames, progress=call_inside, out=out)
    assert not out.any()
    assert np.array_equal(zolt_burst.denoise(burst.frames, mode="fast", progress=True).image, clean)
    assert "100%" in capfd.readouterr().err


def test_control_c_stops_a_burst():
    frames = zolt_burst.simulate(frames=8).frames
    begin = time.monotonic()
    zolt_burst.denoise(frames)
    whole = time.monotonic() - begin
    threading.Timer(whole / 10, os.kill, (os.getpid(), signal.SIGINT)).start()
    begin = time.monotonic()
    with pytest.raises(KeyboardInterrupt):
        zolt_burst.denoise(frames)
    assert time.monotonic() - begin < 0.8 * whole
    assert zolt_burst.denoise(frames[:1]).report.merged == 1


def test_nothing_is_kept():
    frames = list(np.random.default_rng(1).integers(0, 255, (2, 16, 16, 3), np.uint8))

    def calls(count):
        for i in range(count):
            if i % 25 == 0:
                zolt_burst.denoise(frames[:1], iso=100, progress=lambda done: None)
            with zolt_burst.Burst() as burst:
                burst.add(frames[0])
            for wrong in ({"memory_limit": 1}, {"tuning": "/none"}, {"progress": lambda done: 1 / 0}):
                with pytest.raises((MemoryError, zolt_burst.Error, ZeroDivisionError)):
                    zolt_burst.denoise(frames, **wrong)

    calls(50)
    gc.collect()
    references, pages = [sys.getrefcount(f) for f in frames], resident_bytes()
    tracemalloc.start()
    calls(1000)
    gc.collect()
    kept = tracemalloc.get_traced_memory()[0]
    tracemalloc.stop()
    assert [sys.getrefcount(f) for f in frames] == references
    assert kept < 100_000 and resident_bytes() - pages < 4 << 20


def resident_bytes():
    with open("/proc/self/statm") as pages:
        return int(pages.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")
