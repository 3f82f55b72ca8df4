"""scripts/bench_compare over build folders whose zolt_bench tells times that are known."""

import pathlib
import subprocess
import sys

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts/bench_compare"
FAKE = """#!{python}
import json, pathlib, re, sys
folder, name, arguments = pathlib.Path({folder!r}), {name!r}, dict(a.split("=") for a in sys.argv[1:] if "=" in a)
found = [n for n in {names!r} if re.search(arguments["--benchmark_filter"], n)]
if "--benchmark_list_tests" in sys.argv:
    sys.exit(print("\\n".join(found)))
calls = folder / "calls"
done = calls.read_text().split() if calls.exists() else []
calls.write_text(" ".join(done + [name]))
time = {times!r}[done.count(name)]
rows = [dict(real_time=time, cpu_time=2 * {times!r}[0], time_unit={unit!r}, error_occurred=not time, error_message="no tuning")]
print(json.dumps(dict(benchmarks=rows * len(found))))
"""


def build(folder, name, names, times, unit="ms"):
    program = folder / name / "bench/zolt_bench"
    program.parent.mkdir(parents=True)
    program.write_text(FAKE.format(python=sys.executable, folder=str(folder), name=name, names=names, times=times, unit=unit))
    program.chmod(0o755)
    return str(folder / name)


def compare(*arguments):
    return subprocess.run([SCRIPT, *arguments], capture_output=True, text=True, check=False)


def test_ratios_of_pairs_in_changing_order_whatever_the_units(tmp_path):
    old = build(tmp_path, "old", ["BM_Burst(1)/real_time", "BM_BurstGone"], [10, 20, 10, 10, 10])
    new = build(tmp_path, "new", ["BM_Burst(1)/real_time", "BM_Other"], [5000, 12000, 9000, 8000, 7000], "us")
    run = compare(old, new, "--rounds", "5")
    assert run.stdout.splitlines()[-1] == "| Burst(1) | 10 | 8 | 0.700 [0.600, 0.800] | 20 | 10 | 0.500 [0.500, 0.500] |"
    assert (tmp_path / "calls").read_text() == "old new new old old new new old old new"
    assert "BM_BurstGone" in run.stderr and "BM_Other" not in run.stderr + run.stdout and run.returncode == 0


def test_failures_and_misuse_are_told_apart(tmp_path):
    good, bad = build(tmp_path, "good", ["BM_Burst"], [1]), build(tmp_path, "bad", ["BM_Burst"], [0])
    for status, text, arguments in [
        (1, "no tuning", [good, bad]),
        (1, "no benchmark", [good, good, "--filter", "Warp"]),
        (1, "zolt_bench", [good, str(tmp_path)]),
        (2, "neither", [good, "no-such-commit"]),
        (2, "--rounds", [good, good, "--rounds", "0"]),
        (2, "built already", [good, good, "--cmake-new=-DZOLT_SIMD=baseline"]),
    ]:
        run = compare(*arguments)
        assert (run.returncode, text in run.stderr) == (status, True), run.stderr
