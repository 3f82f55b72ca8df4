"""The examples, and a cluster that loses a worker, a run and a file."""
import json
import os
import shutil
import signal
import subprocess
import sys
import time

import cv2
import pytest

import zolt_burst
from conftest import SOURCE

EXAMPLES = SOURCE / "examples"


def example(name, *arguments, code=0, **options):
    command = [sys.executable, EXAMPLES / name, *arguments]
    done = subprocess.run([*map(str, command)], capture_output=True, text=True, timeout=120, **options)
    assert done.returncode == code, done.stdout + done.stderr
    return done.stdout


def test_from_simulation_to_comparison(tmp_path):
    told = example("python/before_after.py", "-o", tmp_path / "picture.png", "--iso", 1600)
    assert "6 of 6 frames" in told
    assert cv2.imread(str(tmp_path / "picture.png")).shape[1] == 1200


def write_burst(folder, seed, size=(320, 240)):
    folder.mkdir(parents=True)
    burst = zolt_burst.simulate(seed=seed, frames=4, crop=size)
    for i, frame in enumerate(burst.frames):
        cv2.imwrite(str(folder / f"frame-{i}.png"), frame[..., ::-1])
    return burst


def test_a_folder_by_opencv(tmp_path):
    burst = write_burst(tmp_path / "burst", 1)
    (tmp_path / "burst/notes.txt").write_text("no picture")
    assert "4 of 4 frames" in example("python/clean_folder.py", tmp_path / "burst", "-o", tmp_path / "clean.png")
    clean = cv2.imread(str(tmp_path / "clean.png"))[..., ::-1]
    assert zolt_burst.psnr(clean, zolt_burst.denoise(burst.frames).image) == float("inf")
    (tmp_path / "empty").mkdir()
    example("python/clean_folder.py", tmp_path / "empty", "-o", tmp_path / "none.png", code=1)


@pytest.fixture
def many(tmp_path):
    write_burst(tmp_path / "bursts/0", 1, (640, 480))
    for i in range(1, 8):
        shutil.copytree(tmp_path / "bursts/0", tmp_path / f"bursts/{i}")
    shutil.copy(EXAMPLES / "python/before_after.py", tmp_path / "bursts/5/frame-2.png")  # no picture
    folders = [str(tmp_path / f"bursts/{i}") for i in range(8)]
    return [*folders, "-o", tmp_path / "clean", "--results", tmp_path / "rows.jsonl", "--workers", 2]


def rows(tmp_path):
    path = tmp_path / "rows.jsonl"
    lines = path.read_text().splitlines() if path.exists() else []
    return [json.loads(line) for line in lines if "cut by" not in line]


def wait_for_rows(tmp_path, process, count):
    end = time.monotonic() + 60
    while len(rows(tmp_path)) < count:
        assert time.monotonic() < end and process.poll() is None
        time.sleep(0.005)


def test_a_cluster_loses_a_worker_and_a_run_and_no_burst(many, tmp_path):
    command = [sys.executable, EXAMPLES / "cluster/clean_bursts.py", *many]
    process = subprocess.Popen([*map(str, command)], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        wait_for_rows(tmp_path, process, 1)
        killed = next(row["worker"] for row in rows(tmp_path) if "worker" in row)
        os.kill(killed, signal.SIGKILL)
        wait_for_rows(tmp_path, process, 3)
        process.send_signal(signal.SIGINT)
        assert process.wait(60) != 0
    finally:
        process.kill()
    before = rows(tmp_path)
    with open(tmp_path / "rows.jsonl", "a") as file:
        file.write('{"burst": "cut by a')
    example("cluster/clean_bursts.py", *many, code=4)
    done = rows(tmp_path)
    clean = [row for row in done if "error" not in row]
    assert sorted(row["burst"][-1] for row in clean) == list("0123467"), "each once"
    assert any("frame-2.png" in row["error"] for row in done if row["burst"].endswith("5"))
    assert done[: len(before)] == before and len(before) < 8
    # What failed is mended; only that is done, and the picture is the one of a single call.
    shutil.copy(tmp_path / "bursts/5/frame-1.png", tmp_path / "bursts/5/frame-2.png")
    told = example("cluster/clean_bursts.py", *many)
    assert "1 bursts" in told
    files = [cv2.imread(str(tmp_path / f"bursts/3/frame-{i}.png")) for i in range(4)]
    alone = zolt_burst.denoise([f[..., ::-1] for f in files]).image
    assert (cv2.imread(str(tmp_path / "clean/3.png"))[..., ::-1] == alone).all()
    assert sorted(p.name for p in (tmp_path / "clean").glob("?.png")) == [f"{i}.png" for i in range(8)]
    # A burst that no worker can hold is refused before it takes the memory.
    os.remove(tmp_path / "clean/0.png")
    example("cluster/clean_bursts.py", *many, "--memory", "405MiB", code=4)
    assert "needs workers of" in rows(tmp_path)[-1]["error"]
