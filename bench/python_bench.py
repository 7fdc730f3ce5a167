#!/usr/bin/env python3
"""Cost of one frame through the Python module against the C++ frame.

    PYTHONPATH=build/host/python /usr/bin/python3 bench/python_bench.py \\
        [--cxx-bench build/host/bench/mirvo_bench] [--repetitions 9]

Times Core.process() (SetStats, SetInputLscTable, Execute, GetOutputLscTable,
with the argument checks and the new output array) over 16 frames of
statistics in turn, diagnostics off, and reports the median time per frame of
the repetitions. With --cxx-bench it also runs the C++ frame benchmark
(BM_Frame/debug:0, the same four calls) in the same session and prints the
ratio. The target is at most 2x.
"""

import argparse
import json
import pathlib
import statistics
import subprocess
import time

import numpy as np

import mirvo

DATA = pathlib.Path(__file__).resolve().parents[1] / "tests" / "data"


def frames(count):
    """`count` statistics of the in-repo raw frame, each with its own gain."""
    frame = mirvo.read_raw(DATA / "nikon_dsc1339_crop_192x128_RGGB_14bit.raw", 192, 128, 14, "RGGB")
    base = mirvo.stats_from_raw(frame, "RGGB", 14, black_level=600)
    out = []
    for k in range(count):
        sums = base.sums.astype(np.uint64) * (100 + k) // 100
        out.append(mirvo.Stats(sums, base.counts, base.sat_counts))
    return out


def python_frame_seconds(repetitions, frames_per_rep):
    core = mirvo.Core()
    table = mirvo.load_table(DATA / "ov8858_d50_lsc.h")
    stats = frames(16)
    for s in stats:
        core.process(s, table)
    times = []
    for _ in range(repetitions):
        start = time.perf_counter()
        for i in range(frames_per_rep):
            core.process(stats[i & 15], table)
        times.append((time.perf_counter() - start) / frames_per_rep)
    return statistics.median(times)


def cxx_frame_seconds(bench, repetitions):
    result = subprocess.run([bench, "--benchmark_filter=^BM_Frame/debug:0$", f"--benchmark_repetitions={repetitions}",
                             "--benchmark_format=json"], check=True, capture_output=True, text=True)
    runs = json.loads(result.stdout)["benchmarks"]
    median = [r for r in runs if r.get("aggregate_name") == "median"][0]
    scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[median["time_unit"]]
    return median["real_time"] * scale


def main():
    parser = argparse.ArgumentParser(description="Python Core.process() against the C++ frame")
    parser.add_argument("--cxx-bench", help="path of mirvo_bench, to measure the C++ frame in the same session")
    parser.add_argument("--repetitions", type=int, default=9)
    parser.add_argument("--frames", type=int, default=20000, help="frames per repetition")
    args = parser.parse_args()
    py = python_frame_seconds(args.repetitions, args.frames)
    print(f"Python Core.process(), diagnostics off: {py * 1e6:.2f} us a frame (median of {args.repetitions})")
    if args.cxx_bench:
        cxx = cxx_frame_seconds(args.cxx_bench, args.repetitions)
        print(f"C++ frame (BM_Frame/debug:0):           {cxx * 1e6:.2f} us a frame (median of {args.repetitions})")
        print(f"ratio Python / C++: {py / cxx:.2f}x (target at most 2x)")


if __name__ == "__main__":
    main()
