#!/usr/bin/env python3
"""Corpus runs on Dask against `mirvo run`: speed-up and the corpus layer's cost.

    PYTHONPATH=build/host/python /usr/bin/python3 bench/corpus_bench.py \\
        --cli build/host/cli/mirvo [--sequences 4] [--frames 6] [--workdir /tmp/corpus_bench]

Writes a corpus of 12 MP (4032 x 3024) RAW10 MIPI sequences, then times
 - `mirvo run --jobs 1` over each sequence in turn (the program, one core),
 - mirvo.corpus.run on a LocalCluster of 1 worker process, then of 2,
each into a fresh output folder (cluster start-up not timed). Reports the
speed-up of 2 workers over 1 (target at least 1.7x on 2 cores) and the
per-frame overhead of the corpus layer on 1 worker over the program
(target under 5 %). Median of --repetitions.
"""

import argparse
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import time

import numpy as np

import mirvo
import mirvo.corpus

W, H = 4032, 3024
DATA = pathlib.Path(__file__).resolve().parents[1] / "tests" / "data"


def mipi_frame(seed):
    """A vignetted grey scene with a cast, 10 bits, packed RAW10."""
    y, x = np.mgrid[0:H, 0:W].astype(np.float32)
    fall = 1.0 - 0.5 * (((x - W / 2) / W) ** 2 + ((y - H / 2) / H) ** 2)
    fall[0::2, 0::2] *= 1.1 + 0.02 * seed
    fall[1::2, 1::2] *= 0.8
    frame = np.clip(600 * fall + np.random.default_rng(seed).normal(0, 4, (H, W)), 0, 1023).astype(np.uint16)
    p = frame.reshape(H, W // 4, 4)
    low = (p[..., 0] & 3) | (p[..., 1] & 3) << 2 | (p[..., 2] & 3) << 4 | (p[..., 3] & 3) << 6
    return np.concatenate([(p >> 2).astype(np.uint8), low[..., None].astype(np.uint8)], axis=2).tobytes()


def make_corpus(root, sequences, frames):
    desc = {"width": W, "height": H, "bits": 10, "pattern": "RGGB", "mipi": True, "black_level": 64}
    for s in range(sequences):
        folder = root / f"seq{s:02d}"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / "sequence.json").write_text(json.dumps(desc))
        for stale in sorted(folder.glob("f*.raw"))[frames:]:
            stale.unlink()
        for k in range(frames):
            path = folder / f"f{k:03d}.raw"
            if not path.exists():
                path.write_bytes(mipi_frame(100 * s + k))


def time_program(cli, root, out, processes=1):
    """The sequences in turn through `processes` concurrent `mirvo run`s."""
    folders = sorted(p for p in root.iterdir() if p.is_dir())
    start = time.perf_counter()
    running = []
    for folder in folders:
        if len(running) == processes:
            if running.pop(0).wait():
                raise SystemExit("corpus_bench: mirvo run failed")
        frames = sorted(str(p) for p in folder.glob("*.raw"))
        running.append(subprocess.Popen([cli, "run", "--base", str(DATA / "ov8858_d50_lsc.h"), "--raw", *frames,
                        "--width", str(W), "--height", str(H), "--bits", "10", "--pattern", "RGGB", "--mipi",
                        "--black-level", "64", "--jobs", "1", "--out-dir", str(out / folder.name)],
                                        stdout=subprocess.DEVNULL))
    if any(p.wait() for p in running):
        raise SystemExit("corpus_bench: mirvo run failed")
    return time.perf_counter() - start


def time_corpus(root, out, workers):
    from distributed import Client, LocalCluster

    with LocalCluster(n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        with Client(cluster) as client:
            # Importing the module is part of a worker's start-up, paid once per
            # cluster, not once per corpus; keep it out of the timed part.
            client.run(__import__, "mirvo.corpus")
            start = time.perf_counter()
            rows = mirvo.corpus.run(root, out, base=str(DATA / "ov8858_d50_lsc.h"), client=client)
            seconds = time.perf_counter() - start
    bad = [r for r in rows if r["status"] != "ok"]
    if bad:
        raise SystemExit(f"corpus_bench: {bad[0]['sequence']}: {bad[0]['error']}")
    return seconds


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--cli", required=True, help="the mirvo program")
    ap.add_argument("--sequences", type=int, default=4)
    ap.add_argument("--frames", type=int, default=6)
    ap.add_argument("--repetitions", type=int, default=3)
    ap.add_argument("--workdir", default="/tmp/mirvo_corpus_bench")
    a = ap.parse_args()
    work = pathlib.Path(a.workdir)
    root = work / "corpus"
    make_corpus(root, a.sequences, a.frames)
    n = a.sequences * a.frames
    results = {"program": [], "program2": [], 1: [], 2: []}
    for rep in range(a.repetitions):
        for key in results:
            out = work / f"out_{key}_{rep}"
            shutil.rmtree(out, ignore_errors=True)
            if key == "program":
                seconds = time_program(a.cli, root, out)
            elif key == "program2":
                seconds = time_program(a.cli, root, out, processes=2)
            else:
                seconds = time_corpus(root, out, key)
            results[key].append(seconds)
            shutil.rmtree(out, ignore_errors=True)
    med = {k: statistics.median(v) for k, v in results.items()}
    print(f"{a.sequences} sequences x {a.frames} frames of {W}x{H} RAW10, {os.cpu_count()} cores, "
          f"median of {a.repetitions}")
    print(f"mirvo run --jobs 1, in turn   {med['program']:7.2f} s  {1000 * med['program'] / n:7.1f} ms/frame")
    for w in (1, 2):
        print(f"corpus, {w} worker process{'es' if w > 1 else '  '}  {med[w]:7.2f} s  {1000 * med[w] / n:7.1f} ms/frame")
    print(f"mirvo run --jobs 1, 2 at once  {med['program2']:7.2f} s  {1000 * med['program2'] / n:7.1f} ms/frame")
    print(f"speed-up 2 workers over 1: {med[1] / med[2]:.2f}x (target >= 1.7x); "
          f"two programs at once over one: {med['program'] / med['program2']:.2f}x (this machine's ceiling)")
    print(f"corpus layer overhead per frame over mirvo run: {100 * (med[1] / med['program'] - 1):+.1f} % (target < 5 %)")


if __name__ == "__main__":
    main()
