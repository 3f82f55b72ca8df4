"""The package as strangers meet it: wheel, installed module, README, help, type checker."""
import inspect
import os
import re
import subprocess
import sys

import cv2
import pytest

import zolt_burst
from conftest import SOURCE

BUILD = os.environ.get("ZOLT_BUILD_FOLDER")


def run(*command, **options):
    alone = {k: v for k, v in os.environ.items() if k != "PYTHONPATH"}
    env = {**alone, **options.pop("env", {})}
    done = subprocess.run([*map(str, command)], env=env, capture_output=True, text=True, **options)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def test_the_readme_runs_with_the_wheel_in_a_fresh_environment(program, tmp_path):
    run(sys.executable, "-m", "pip", "wheel", SOURCE, "--no-build-isolation", "--no-deps", "--no-index", "-w", tmp_path)
    (wheel,) = tmp_path.glob("*.whl")
    # Without a network numpy comes from the system; the module does not.
    run(sys.executable, "-m", "venv", "--system-site-packages", tmp_path / "venv")
    python = tmp_path / "venv/bin/python"
    run(python, "-m", "pip", "install", "--no-index", "--no-deps", wheel)
    program("simulate", "-o", tmp_path / "burst", "--frames", 4, "--crop", "320x240", "--iso", 3200)
    (lines,) = re.findall(r"```python\n(.*?)```", (SOURCE / "README.md").read_text(), re.S)
    told = run(python, "-c", lines + "\nprint(zolt_burst.__file__)", cwd=tmp_path)
    assert "4 of 4" in told and str(tmp_path / "venv") in told
    noisy, clean, truth = (cv2.imread(str(tmp_path / p)) for p in ("burst/frame-0.png", "clean.png", "burst/truth.png"))
    assert zolt_burst.psnr(clean, truth) > zolt_burst.psnr(noisy, truth) + 3


@pytest.mark.skipif(not BUILD, reason="CMake names the build folder")
def test_installed_for_the_systems_python(tmp_path):
    run("cmake", "--install", BUILD, "--prefix", tmp_path)
    (package,) = tmp_path.glob("lib/python3*/*-packages/zolt_burst")
    env = {"PYTHONPATH": str(package.parent)}
    told = run(sys.executable, "-c", "import zolt_burst; print(zolt_burst.__version__, zolt_burst.__file__)", env=env)
    assert str(package) in told and zolt_burst.__version__ in told
    assert not list(package.glob("libzolt_burst*"))  # the one in lib/ serves


def test_help_tells_every_parameter():
    for name in zolt_burst.__all__:
        thing = getattr(zolt_burst, name)
        for member in [thing] + [m for n, m in vars(thing).items() if inspect.isfunction(m) and n[0] != "_"]:
            assert member.__doc__ and not member.__doc__.startswith(f"{name}("), member
        if name in ("denoise", "measure_noise", "memory_needed", "simulate", "psnr", "ssim", "Burst"):
            for parameter in inspect.signature(thing).parameters:
                assert re.search(rf"^    (\w+, )*{parameter}[, :\n]", thing.__doc__, re.M), (name, parameter)


def test_the_type_checker_is_content(tmp_path):
    user = tmp_path / "user.py"
    user.write_text(
        "import numpy as np\nimport zolt_burst\n"
        "frames = np.zeros((2, 16, 16, 3), np.uint8)\n"
        "result = zolt_burst.denoise(frames, mode='fast', progress=True)\n"
        "merged: int = result.report.merged\n"
        "likeness: float = zolt_burst.psnr(result.image, frames[0])\n"
        "with zolt_burst.Burst(expected_frames=2) as burst:\n    burst.add([[1]])\n"
        "zolt_burst.denoise(frames, iso='800')  # type: ignore[arg-type]\n"
    )
    package = SOURCE / "bindings/python/zolt_burst"
    cache = tmp_path / "cache"
    run(sys.executable, "-m", "mypy", "--strict", "--cache-dir", cache, package, user, cwd=package.parent)
