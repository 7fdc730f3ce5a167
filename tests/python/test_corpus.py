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
from conftest import BASE_TABLE, golden_frame, needs_cli, pack_raw10, run_cli

distributed = pytest.importorskip("distributed")
pytestmark = needs_cli
W, H = 192, 128
RAW = {"width": W, "height": H}
EXT = {"stats": "txt", "dng": "dng"}
# name: (kind, frames, description); kinds: stats dumps, raw 16-bit, RAW10, DNGs with GainMaps.
SEQUENCES = {
    "a_stats3": ("stats", 3, {}),
    "b_stats5": ("stats", 5, {}),
    "c_stats1": ("stats", 1, {}),
    "d_raw10": ("raw", 3, {**RAW, "bits": 10, "pattern": "RGGB", "black_level": 256}),
    "e_raw14": ("raw", 2, {**RAW, "bits": 14, "pattern": "GRBG", "black_level": [800, 790, 810, 800]}),
    "f_mipi": ("mipi", 3, {**RAW, "bits": 10, "pattern": "BGGR", "mipi": True}),
    "g_raw_crop": ("raw", 2, {**RAW, "bits": 12, "pattern": "RGGB", "crop": [W, H, 0, 0, W, H]}),
    "h_dng": ("dng", 2, {}),
    "i_broken": ("raw", 2, {**RAW, "bits": 10, "pattern": "RGGB"}),  # one frame cut short
}


def bayer_frame(seed, bits, cast):
    """A vignetted grey scene with a colour cast per quad position, with noise."""
    y, x = np.mgrid[0:H, 0:W]
    fall = 1.0 - 0.5 * (((x - W / 2) / W) ** 2 + ((y - H / 2) / H) ** 2)
    gain = np.tile(np.reshape(cast, (2, 2)), (H // 2, W // 2))
    top = (1 << bits) - 1
    return np.clip(0.6 * top * fall * gain + np.random.default_rng(seed).normal(0, 4, (H, W)), 0, top).astype(np.uint16)


def make_corpus(root):
    subprocess.run([os.environ["MIRVO_MAKE_FLAT_DNG"], root / "flat.dng", root / "flat.h", str(W), str(H), "GRBG"],
                   check=True, env={k: v for k, v in os.environ.items() if k != "LD_PRELOAD"})
    reference = {}
    for s, (name, (kind, count, desc)) in enumerate(SEQUENCES.items()):
        (root / "corpus" / name).mkdir(parents=True)
        frames = [root / "corpus" / name / f"f{k:02d}.{EXT.get(kind, 'raw')}" for k in range(count)]
        for k, path in enumerate(frames):
            if kind == "dng":
                mirvo.write_dng_gain_map(root / "flat.dng", path, mirvo.load_table(root / "flat.h") * (1 + 0.02 * k))
            elif kind == "stats":
                mirvo.save_stats(path, golden_frame(s + k))
            else:
                frame = bayer_frame(100 * s + k, desc["bits"], (1.1 + 0.05 * k, 1.0, 1.0, 0.8 - 0.03 * s))
                path.write_bytes(pack_raw10(frame) if kind == "mipi" else frame.astype("<u2").tobytes())
        if desc:
            (root / "corpus" / name / "sequence.json").write_text(json.dumps(desc))
        reference[name] = (frames, desc)
    frames[1].write_bytes(frames[1].read_bytes()[:-2])  # i_broken
    return reference


def program_run(frames, desc, out, base=BASE_TABLE):
    args = ["run", *(["--base", base] if base else []), "--out-dir", out]
    if not desc:
        args += ["--dng" if frames[0].suffix == ".dng" else "--stats", *frames]
    else:
        args += ["--raw", *frames, "--width", W, "--height", H, "--bits", desc["bits"], "--pattern", desc["pattern"]]
        args += ["--mipi"] if desc.get("mipi") else []
        bl = desc.get("black_level")
        args += ["--black-level", ",".join(map(str, np.atleast_1d(bl)))] if bl is not None else []
        args += ["--crop", ",".join(map(str, desc["crop"]))] if "crop" in desc else []
    return run_cli(*args)


def without_times(path):
    summary = json.loads(path.read_text())
    del summary["run"]["seconds_total"], summary["run"]["seconds_per_frame"]
    return summary


def outputs(folder):
    return sorted(p.name for p in folder.iterdir() if p.name.startswith(("table_", "summary")))


def test_corpus_on_a_cluster_is_the_programs_run(tmp_path):
    reference = make_corpus(tmp_path)
    corpus, out = tmp_path / "corpus", tmp_path / "out"
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            rows = mirvo.corpus.run(corpus, out, base=str(BASE_TABLE), client=client)
            marks = {p: p.stat().st_mtime_ns for p in out.rglob("*") if p.is_file()}
            again = mirvo.corpus.run(corpus, out, base=str(BASE_TABLE), client=client)

    assert [r["sequence"] for r in rows] == list(SEQUENCES)
    for row in rows:
        name = row["sequence"]
        frames, desc = reference[name]
        ref, got = tmp_path / "ref" / name, out / name
        ran = program_run(frames, desc, ref)
        if name == "i_broken":
            assert ran.returncode == 1
            assert (row["status"], row["error"]) == ("failed", ran.stderr.strip().removeprefix("mirvo: "))
            continue
        assert ran.returncode == 0, ran.stderr
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
    [row] = mirvo.corpus.run({"own": [str(f) for f in frames]}, tmp_path / "own")
    ran = program_run(frames, {}, tmp_path / "own_ref", base=None)
    assert row["status"] == "ok" and ran.returncode == 0, (row, ran.stderr)
    for k in range(len(frames)):
        name = f"table_{k:03d}.h"
        assert (tmp_path / "own" / "own" / name).read_bytes() == (tmp_path / "own_ref" / name).read_bytes()

    # The rerun finds every sequence done: the same rows, no file touched.
    assert again == rows and {p: p.stat().st_mtime_ns for p in marks} == marks
    csv_lines = (out / "corpus_summary.csv").read_text().splitlines()
    assert json.loads((out / "corpus_summary.json").read_text())["sequences"] == rows
    assert len(csv_lines) == 1 + len(rows) and csv_lines[0].startswith("sequence,status,frames")

    # One report for the corpus: each sequence's page and the index, worst first.
    report = run_cli("report", out)
    assert report.returncode == 0, report.stderr
    index = (out / "index.html").read_text()
    order = [index.index(f">{name}<") for name in SEQUENCES]
    assert order[-1] == min(order) and "i_broken/report.html" not in index
    for name in list(SEQUENCES)[:-1]:
        assert f'href="{name}/report.html"' in index and (out / name / "report.html").is_file()

    # The shell entry on Dask's local scheduler.
    shell = subprocess.run([sys.executable, "-m", "mirvo.corpus", corpus, tmp_path / "out2", "--base", BASE_TABLE],
                           capture_output=True, text=True)
    assert shell.returncode == 1 and "i_broken" in shell.stderr
    local = json.loads((tmp_path / "out2" / "corpus_summary.json").read_text())["sequences"]
    assert [{**r, "seconds": 0} for r in local] == [{**r, "seconds": 0} for r in rows]
