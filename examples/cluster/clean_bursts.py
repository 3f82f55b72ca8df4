#!/usr/bin/env python3
"""Cleans many bursts on a Dask cluster: each folder of images becomes a picture and a row of results.

    clean_bursts.py bursts/* -o clean --results rows.jsonl                  # this machine, a worker for each CPU
    clean_bursts.py bursts/* -o clean --results rows.jsonl --scheduler tcp://head:8786

The same command again goes on where it was stopped: folders that have a row without an error and whose picture is
there are left out. Workers need one thread each, see the same files and have the packages zolt_burst and opencv.
"""
import argparse
import json
import os
import pathlib
import sys
import time

import cv2
from distributed import Client, LocalCluster, as_completed
from distributed.scheduler import KilledWorker

import zolt_burst

INTERPRETER_BYTES = 400 << 20  # a worker with numpy and OpenCV, before any burst


def read_burst(folder):
    """The frames as views of OpenCV's BGR."""
    paths = sorted(p for p in pathlib.Path(folder).glob("frame*") if p.suffix.lower() in (".png", ".jpg", ".jpeg"))
    frames = [cv2.imread(str(p), cv2.IMREAD_COLOR) for p in paths]
    unread = [str(p) for p, frame in zip(paths, frames) if frame is None]
    if unread or not frames:
        raise OSError(f"{folder}: can't read {', '.join(unread) or 'any frame*.png or .jpg'}")
    return [frame[..., ::-1] for frame in frames]


def library_room(frames, memory_limit):
    """Bytes that a worker of this limit has for the library, beside the frames and one that is read or written."""
    return memory_limit - INTERPRETER_BYTES - (len(frames) + 2) * frames[0].size if memory_limit else None


def clean_burst(folder, picture, memory_limit):
    """On a worker: read, clean, write. A row; exceptions go to the scheduler, which tries again."""
    begin = time.monotonic()
    frames = read_burst(folder)
    height, width = frames[0].shape[:2]
    room, least = library_room(frames, memory_limit), zolt_burst.memory_needed(width, height, len(frames), mode="fast")
    if room is not None and room < least:
        return {"burst": folder, "error": f"needs workers of {(memory_limit - room + least) >> 20} MiB"}
    try:
        result = zolt_burst.denoise(frames, memory_limit=room)  # fine where there is room for it
    except (ValueError, zolt_burst.Error) as error:  # no better the second time
        return {"burst": folder, "error": str(error)}
    # Whole or not at all: a worker that is killed in the middle leaves no half picture under the name.
    half = f"{picture}.{os.getpid()}.png"
    if not cv2.imwrite(half, result.image[..., ::-1]):
        raise OSError(f"{picture}: can't be written")
    os.replace(half, picture)
    row = {"burst": folder, "picture": picture, "seconds": round(time.monotonic() - begin, 3), "worker": os.getpid()}
    return {**row, "report": result.report.to_dict()}


def rows_of(results):
    """What earlier runs wrote; a line that was cut by a power failure is none."""
    rows = []
    if results.exists():
        for line in results.read_text().splitlines():
            try:
                rows.append(json.loads(line))
            except json.JSONDecodeError:
                print(f"{results}: left out: {line[:40]}...", file=sys.stderr)
    return rows


def work_of(options):
    """Folder and picture of each burst that is still to do."""
    done = {r["burst"] for r in rows_of(options.results) if "error" not in r and os.path.exists(r["picture"])}
    names = [os.path.basename(os.path.normpath(folder)) for folder in options.bursts]
    if len(set(names)) < len(names):
        sys.exit("two bursts have one name: their pictures would have, too")
    pairs = [(folder, str(options.output / f"{name}.png")) for folder, name in zip(options.bursts, names)]
    return [pair for pair in pairs if pair[0] not in done]


def open_client(options):
    """A client of the scheduler that was named, or of workers of this machine."""
    if options.scheduler:
        return Client(options.scheduler)
    share = f"{1 / options.workers:.4f}"
    limit = options.memory or float(share)
    return Client(LocalCluster(options.workers, threads_per_worker=1, memory_limit=limit, dashboard_address=None))


def run(client, work, options):
    """Gives each burst to a worker and writes its row as soon as it has ended. The number that failed."""
    limits = [w["memory_limit"] for w in client.scheduler_info()["workers"].values()]
    limit = min(limits, default=0)
    futures = {
        client.submit(clean_burst, folder, picture, limit, retries=options.retries, pure=False): folder
        for folder, picture in work
    }
    failed = 0
    # A half line of an earlier run ends here, not in the first new row.
    with options.results.open("a") as rows:
        if rows.tell() and not options.results.read_text().endswith("\n"):
            rows.write("\n")
        for future in as_completed(futures):
            error = future.exception()
            if error is None:
                row = future.result()
            elif isinstance(error, KilledWorker):
                row = {"burst": futures[future], "error": "workers died of it, perhaps for want of memory"}
            else:
                row = {"burst": futures[future], "error": f"{type(error).__name__}: {error}"}
            failed += "error" in row
            rows.write(json.dumps(row) + "\n")
            rows.flush()
            print(row["burst"], row.get("error", "done"), flush=True)
    return failed


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("bursts", nargs="+", help="folders of frame*.png or frame*.jpg")
    parser.add_argument("-o", "--output", type=pathlib.Path, required=True, help="folder of the pictures")
    parser.add_argument("--results", type=pathlib.Path, required=True, help="file of rows, added to")
    parser.add_argument("--scheduler", help="address of a Dask scheduler; without it this machine works")
    parser.add_argument("--workers", type=int, default=len(os.sched_getaffinity(0)), help="on this machine")
    parser.add_argument("--memory", help="of each worker on this machine, as 2GiB; else its share of all")
    parser.add_argument("--retries", type=int, default=2, help="of a burst whose files can't be read or written")
    options = parser.parse_args()
    options.output.mkdir(parents=True, exist_ok=True)
    work = work_of(options)
    begin = time.monotonic()
    failed = 0
    if work:
        with open_client(options) as client:
            begin = time.monotonic()
            failed = run(client, work, options)
    seconds = time.monotonic() - begin
    rate = f", {60 * len(work) / seconds:.0f} a minute" if work else ""
    print(f"{len(work)} bursts in {seconds:.1f} s{rate}; {failed} failed")
    sys.exit(4 if failed else 0)


if __name__ == "__main__":
    main()
