"""mirvo.corpus on a two-process Dask cluster: every sequence's outputs are
the program's `mirvo run` on the same frames, a broken sequence is its row,
a rerun does nothing, and the shell entry on Dask's local scheduler agrees."""

import json
import os
import subprocess
import sys

import numpy as np
import pytest

import mirvo
import mirvo.corpus
from conftest import BASE_TABLE, golden_frame, without_preload

distributed = pytest.importorskip("distributed")
pytestmark = pytest.mark.skipif("MIRVO_CLI" not in os.environ, reason="the mirvo program is not built")

W, H = 192, 128
TIMES = ("seconds_total", "seconds_per_frame")


def bayer_frame(seed, bits, pattern_gain):
    """A vignetted grey scene with a colour cast, mosaicked RGGB, with noise."""
    y, x = np.mgrid[0:H, 0:W].astype(np.float64)
    fall = 1.0 - 0.5 * (((x - W / 2) / W) ** 2 + ((y - H / 2) / H) ** 2)
    gain = np.empty((H, W))
    gain[0::2, 0::2], gain[0::2, 1::2], gain[1::2, 0::2], gain[1::2, 1::2] = pattern_gain
    noise = np.random.default_rng(seed).normal(0, 4, (H, W))
    top = (1 << bits) - 1
    return np.clip(0.6 * top * fall * gain + noise, 0, top).astype(np.uint16)


def mipi_bytes(frame):
    """RAW10 packing: four pixels' high bytes, then their low two bits in one byte."""
    p = frame.reshape(H, W // 4, 4).astype(np.uint16)
    low = (p[..., 0] & 3) | (p[..., 1] & 3) << 2 | (p[..., 2] & 3) << 4 | (p[..., 3] & 3) << 6
    return np.concatenate([(p >> 2).astype(np.uint8), low[..., None].astype(np.uint8)], axis=2).tobytes()


# name: (kind, frames, description); kinds: stats dumps, raw 16-bit, RAW10.
SEQUENCES = {
    "a_stats3": ("stats", 3, {}),
    "b_stats5": ("stats", 5, {}),
    "c_stats1": ("stats", 1, {}),
    "d_raw10": ("raw", 3, {"width": W, "height": H, "bits": 10, "pattern": "RGGB", "black_level": 256}),
    "e_raw14": ("raw", 2, {"width": W, "height": H, "bits": 14, "pattern": "GRBG", "black_level": [800, 790, 810, 800]}),
    "f_mipi": ("mipi", 3, {"width": W, "height": H, "bits": 10, "pattern": "BGGR", "mipi": True}),
    "g_raw_crop": ("raw", 2, {"width": W, "height": H, "bits": 12, "pattern": "RGGB", "crop": [W, H, 0, 0, W, H]}),
    "h_dng": ("dng", 2, {}),  # a vignetted flat field as DNGs with GainMaps
    "i_broken": ("raw", 2, {"width": W, "height": H, "bits": 10, "pattern": "RGGB"}),  # one frame cut short
}


def make_corpus(root):
    reference = {}
    for s, (name, (kind, count, desc)) in enumerate(SEQUENCES.items()):
        folder = root / name
        folder.mkdir(parents=True)
        frames = []
        for k in range(count):
            if kind == "dng":
                path = folder / f"f{k:02d}.dng"
                flat, truth = root.parent / "flat.dng", root.parent / "flat.h"
                subprocess.run([os.environ["MIRVO_MAKE_FLAT_DNG"], flat, truth, str(W), str(H), "GRBG"], check=True,
                               env=without_preload())
                mirvo.write_dng_gain_map(flat, path, mirvo.load_table(truth) * (1 + 0.02 * k))
            elif kind == "stats":
                path = folder / f"f{k:02d}.txt"
                mirvo.save_stats(path, golden_frame(s + k))
            else:
                path = folder / f"f{k:02d}.raw"
                cast = (1.1 + 0.05 * k, 1.0, 1.0, 0.8 - 0.03 * s)
                frame = bayer_frame(100 * s + k, desc["bits"], cast)
                path.write_bytes(mipi_bytes(frame) if kind == "mipi" else frame.astype("<u2").tobytes())
            frames.append(str(path))
        if desc:
            (folder / "sequence.json").write_text(json.dumps(desc))
        reference[name] = (frames, desc)
    broken = root / "i_broken" / "f01.raw"
    broken.write_bytes(broken.read_bytes()[:-2])
    return reference


def program_run(frames, desc, out):
    args = ["run", "--base", str(BASE_TABLE), "--out-dir", str(out)]
    if frames[0].endswith(".dng"):
        args += ["--dng", *frames]
    elif not desc:
        args += ["--stats", *frames]
    else:
        args += ["--raw", *frames, "--width", str(W), "--height", str(H), "--bits", str(desc["bits"])]
        args += ["--pattern", desc["pattern"]] + (["--mipi"] if desc.get("mipi") else [])
        bl = desc.get("black_level")
        if bl is not None:
            args += ["--black-level", ",".join(map(str, bl if isinstance(bl, list) else [bl]))]
        if "crop" in desc:
            args += ["--crop", ",".join(map(str, desc["crop"]))]
    return subprocess.run([os.environ["MIRVO_CLI"], *args], capture_output=True, text=True, env=without_preload())


def without_times(path):
    summary = json.loads(path.read_text())
    for key in TIMES:
        summary["run"].pop(key)
    return summary


def outputs(folder):
    return sorted(p.name for p in folder.iterdir() if p.name.startswith(("table_", "summary")))


def test_corpus_on_a_cluster_is_the_programs_run(tmp_path):
    reference = make_corpus(tmp_path / "corpus")
    out = tmp_path / "out"
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            rows = mirvo.corpus.run(tmp_path / "corpus", out, base=str(BASE_TABLE), client=client)
            marks = {p: p.stat().st_mtime_ns for p in out.rglob("*") if p.is_file()}
            again = mirvo.corpus.run(tmp_path / "corpus", out, base=str(BASE_TABLE), client=client)

    assert [r["sequence"] for r in rows] == list(SEQUENCES)
    for row in rows:
        name = row["sequence"]
        frames, desc = reference[name]
        ran = program_run(frames, desc, tmp_path / "ref" / name)
        if name == "i_broken":
            assert ran.returncode == 1
            assert (row["status"], row["error"]) == ("failed", ran.stderr.strip().removeprefix("mirvo: "))
            continue
        assert ran.returncode == 0, ran.stderr
        ref, got = tmp_path / "ref" / name, out / name
        assert outputs(got) == outputs(ref) and len(outputs(ref)) == len(frames) + 2
        for f in outputs(ref):
            if f != "summary.json":
                assert (got / f).read_bytes() == (ref / f).read_bytes(), (name, f)
        summary = without_times(ref / "summary.json")
        assert without_times(got / "summary.json") == summary
        last = summary["frames"][-1]
        assert (row["status"], row["frames"], row["guarded_frames"], row["prj_u"], row["prj_v"]) == (
            "ok", len(frames), 0, last["prj_u"], last["prj_v"])

    # Without a base, a DNG sequence takes each frame's GainMap, as the program does.
    frames = reference["h_dng"][0]
    [row] = mirvo.corpus.run({"own": frames}, tmp_path / "own")
    ran = subprocess.run([os.environ["MIRVO_CLI"], "run", "--dng", *frames, "--out-dir", str(tmp_path / "own_ref")],
                         capture_output=True, text=True, env=without_preload())
    assert row["status"] == "ok" and ran.returncode == 0, (row, ran.stderr)
    for k in range(len(frames)):
        name = f"table_{k:03d}.h"
        assert (tmp_path / "own" / "own" / name).read_bytes() == (tmp_path / "own_ref" / name).read_bytes()

    # The rerun finds every sequence done: the same rows, no file touched.
    assert again == rows
    assert {p: p.stat().st_mtime_ns for p in marks} == marks
    saved = json.loads((out / "corpus_summary.json").read_text())["sequences"]
    csv_lines = (out / "corpus_summary.csv").read_text().splitlines()
    assert saved == rows and len(csv_lines) == 1 + len(rows) and csv_lines[0].startswith("sequence,status,frames")

    # One report for the corpus: each sequence's page and the index, worst first.
    report = subprocess.run([os.environ["MIRVO_CLI"], "report", str(out)], capture_output=True, text=True,
                            env=without_preload())
    assert report.returncode == 0, report.stderr
    index = (out / "index.html").read_text()
    order = [index.index(f">{name}<") for name in SEQUENCES]
    assert order[-1] == min(order) and "i_broken/report.html" not in index
    for name in list(SEQUENCES)[:-1]:
        assert f'href="{name}/report.html"' in index and (out / name / "report.html").is_file()

    # The shell entry on Dask's local scheduler.
    shell = subprocess.run([sys.executable, "-m", "mirvo.corpus", str(tmp_path / "corpus"), str(tmp_path / "out2"),
                            "--base", str(BASE_TABLE)], capture_output=True, text=True)
    assert shell.returncode == 1 and "i_broken" in shell.stderr
    local = json.loads((tmp_path / "out2" / "corpus_summary.json").read_text())["sequences"]
    assert [{**r, "seconds": 0} for r in local] == [{**r, "seconds": 0} for r in rows]
