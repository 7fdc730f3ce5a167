"""Whole capture corpora through `mirvo run`, one Dask task per sequence.

A corpus is a folder with one sub-folder per sequence, its frames taken in
name order: statistics dumps (*.txt), raw frames (*.raw, with the sequence's
description in sequence.json: width, height, bits, pattern, and optionally
mipi, black_level, crop, base, tuning) or DNGs (*.dng; without a base, each
frame's own GainMap is its base). Or it is a mapping
from sequence name to a list of frame paths (or to a description with
"frames"). Each sequence is one task, since the engine's temporal state
belongs to one sequence; the task runs the program's own run in process and
writes exactly what `mirvo run` writes into OUT/<sequence>/.

    python3 -m mirvo.corpus CORPUS OUT --base TABLE [--scheduler ADDRESS | --workers N]
"""

import argparse
import csv
import hashlib
import io
import json
import os
import sys
import tempfile
import time
from pathlib import Path

from . import _mirvo

SUMMARY_NAME = "corpus_summary"  # OUT/corpus_summary.json and .csv
ROW_NAME = "corpus_row.json"  # OUT/<sequence>/: the finished sequence's row and what it ran on
DESCRIPTION_NAME = "sequence.json"
INPUTS_DIR = ".inputs"  # OUT/.inputs/: tuning and base given as loaded objects, as files
COLUMNS = ("sequence", "status", "frames", "guarded_frames", "prj_u", "prj_v", "residual_shading", "seconds", "error")
FRAME_KINDS = {".txt": "stats", ".raw": "raw", ".dng": "dng"}


class SequenceError(ValueError):
    """A sequence that cannot be run as described; its row carries the reason."""


def _describe_folder(folder):
    """The sequence in `folder`: its frames in name order and its description."""
    desc = {}
    dfile = folder / DESCRIPTION_NAME
    if dfile.is_file():
        try:
            desc = json.loads(dfile.read_text())
        except (OSError, ValueError) as e:
            raise SequenceError(f"{dfile}: not a readable sequence description: {e}") from None
        if not isinstance(desc, dict):
            raise SequenceError(f"{dfile}: not a JSON object")
        for key in ("base", "tuning"):
            if key in desc:
                desc[key] = str(folder / desc[key])
    desc["frames"] = [str(p) for p in sorted(folder.iterdir()) if p.suffix.lower() in FRAME_KINDS and p.is_file()]
    return desc


def _sequences(corpus):
    """Sequence name to description (or to the SequenceError it raised), in name order."""
    if isinstance(corpus, (str, os.PathLike)):
        root = Path(corpus).resolve()
        if not root.is_dir():
            raise NotADirectoryError(f"{corpus}: not a corpus folder")
        found = {}
        for sub in sorted(root.iterdir()):
            if sub.is_dir() and not sub.name.startswith("."):
                try:
                    found[sub.name] = _describe_folder(sub)
                except SequenceError as e:
                    found[sub.name] = e
        return found
    found = {}
    for name, value in sorted(corpus.items()):
        desc = dict(value) if isinstance(value, dict) else {"frames": list(value)}
        desc["frames"] = [os.fspath(p) for p in desc.get("frames", [])]
        found[str(name)] = desc
    return found


def _run_args(desc, base, tuning, guard, out):
    """The options of `mirvo run` for one sequence (all but the run's own paths as given)."""
    frames = desc["frames"]
    if not frames:
        raise SequenceError("no frames (*.txt, *.raw or *.dng)")
    kinds = {FRAME_KINDS.get(Path(f).suffix.lower()) for f in frames}
    if len(kinds) != 1 or None in kinds:
        raise SequenceError(f"frames of several kinds or unknown kind: {sorted(map(str, kinds))}")
    kind = kinds.pop()
    base = base or desc.get("base")
    # A DNG carries the table the ISP applied: without a base each frame's GainMap is its base.
    if not base and kind != "dng":
        raise SequenceError(f"no base table (give base= or name one in {DESCRIPTION_NAME})")
    args = ["--base", base] if base else []
    tuning = tuning or desc.get("tuning")
    if tuning:
        args += ["--tuning", tuning]
    if kind == "stats":
        args += ["--stats", *frames]
    elif kind == "raw":
        missing = [k for k in ("width", "height", "bits", "pattern") if k not in desc]
        if missing:
            raise SequenceError(f"raw frames need {', '.join(missing)} in {DESCRIPTION_NAME}")
        args += ["--raw", *frames, "--width", str(desc["width"]), "--height", str(desc["height"])]
        args += ["--bits", str(desc["bits"]), "--pattern", str(desc["pattern"])]
        if desc.get("mipi"):
            args.append("--mipi")
        if "black_level" in desc:
            levels = desc["black_level"]
            levels = levels if isinstance(levels, (list, tuple)) else [levels]
            args += ["--black-level", ",".join(str(v) for v in levels)]
    else:
        args += ["--dng", *frames]
    if "crop" in desc:
        args += ["--crop", ",".join(str(v) for v in desc["crop"])]
    if guard:
        args.append("--guard")
    # One decoding thread: a sequence's parallelism is the cluster's, one task a core.
    return args + ["--out-dir", str(out), "--jobs", "1"]


def _fingerprint(args):
    """What a finished sequence ran on: its options and each input file's size and time."""
    h = hashlib.sha256(json.dumps(args).encode())
    for a in args:
        try:
            st = os.stat(a)
        except OSError:
            continue
        if os.path.isfile(a):
            h.update(f"{a}\0{st.st_size}\0{st.st_mtime_ns}\0".encode())
    return h.hexdigest()


def _row_from_summary(name, out):
    s = json.loads((Path(out) / "summary.json").read_text())
    last = s["frames"][-1] if s["frames"] else {}
    return {
        "sequence": name,
        "status": "ok",
        "frames": s["run"]["frames"],
        "guarded_frames": s["run"]["guarded_frames"],
        "prj_u": last.get("prj_u"),
        "prj_v": last.get("prj_v"),
        # Needs the lens the frames were taken through; captures do not tell it.
        "residual_shading": None,
        "seconds": None,
        "error": "",
    }


def _sequence_task(name, args, out, fingerprint):
    """One sequence on one worker: `mirvo run` in process, then its row."""
    start = time.perf_counter()
    try:
        Path(out).mkdir(parents=True, exist_ok=True)
        _mirvo._run_sequence(args)
        row = _row_from_summary(name, out)
    except Exception as e:  # every failure is the sequence's row, never the corpus's end
        row = dict.fromkeys(COLUMNS)
        row.update(sequence=name, status="failed", error=str(e) or type(e).__name__)
    row["seconds"] = round(time.perf_counter() - start, 3)
    if Path(out).is_dir():
        _mirvo._write_file_atomically(Path(out) / ROW_NAME, json.dumps({"fingerprint": fingerprint, "row": row}).encode())
    return row


def _finished_row(out, fingerprint):
    try:
        done = json.loads((Path(out) / ROW_NAME).read_text())
    except (OSError, ValueError):
        return None
    return done.get("row") if done.get("fingerprint") == fingerprint else None


def _as_file(value, out_dir, name, save):
    """A path as given, or a loaded object saved once under OUT/.inputs/ (kept when unchanged)."""
    if value is None or isinstance(value, (str, os.PathLike)):
        return None if value is None else os.path.abspath(os.fspath(value))
    folder = Path(out_dir) / INPUTS_DIR
    folder.mkdir(parents=True, exist_ok=True)
    path = folder / name
    with tempfile.TemporaryDirectory(dir=folder) as tmp:
        save(os.path.join(tmp, name), value)
        data = Path(tmp, name).read_bytes()
    if not path.is_file() or path.read_bytes() != data:
        _mirvo._write_file_atomically(path, data)
    return str(path)


def _write_summary(out_dir, rows):
    text = io.StringIO()
    w = csv.writer(text, lineterminator="\n")
    w.writerow(COLUMNS)
    for r in rows:
        w.writerow(["" if r.get(c) is None else r[c] for c in COLUMNS])
    for path, data in (
        (Path(out_dir) / f"{SUMMARY_NAME}.json", (json.dumps({"sequences": rows}, indent=1) + "\n").encode()),
        (Path(out_dir) / f"{SUMMARY_NAME}.csv", text.getvalue().encode()),
    ):
        if not path.is_file() or path.read_bytes() != data:  # a rerun that did nothing leaves them alone
            _mirvo._write_file_atomically(path, data)


def run(corpus, out_dir, tuning=None, base=None, guard=False, client=None, progress=False):
    """Runs every sequence of `corpus` as `mirvo run` would and returns the corpus summary.

    `tuning` and `base`: file paths or the module's loaded objects (a Tuning, a
    float32 (4, 13, 17) table), for every sequence; a sequence description may
    name its own. Tasks go to `client` (a dask.distributed.Client) if given,
    else to Dask's local threaded scheduler. Each writes OUT/<sequence>/ as
    `mirvo run --out-dir` does; finished sequences (same options, same input
    files) are not run again. The summary, one row per sequence with the
    columns COLUMNS, goes to OUT/corpus_summary.json and .csv and is returned.
    A failing sequence is a row with status "failed" and its error.
    """
    out_dir = Path(out_dir).resolve()
    out_dir.mkdir(parents=True, exist_ok=True)
    tuning = _as_file(tuning, out_dir, "tuning.h", _mirvo.save_tuning)
    base = _as_file(base, out_dir, "base.h", _mirvo.save_table)
    rows, todo = {}, []
    for name, desc in _sequences(corpus).items():
        out = out_dir / name
        try:
            if isinstance(desc, SequenceError):
                raise desc
            args = _run_args(desc, base, tuning, guard, out)
        except SequenceError as e:
            # Found again on every call (no run, nothing to resume), so a fixed description counts at once.
            rows[name] = dict(dict.fromkeys(COLUMNS), sequence=name, status="failed", error=str(e))
            continue
        fp = _fingerprint(args)
        done = _finished_row(out, fp)
        if done is not None:
            rows[name] = done
        else:
            todo.append((name, args, str(out), fp))

    if todo and client is not None:
        import distributed

        futures = [client.submit(_sequence_task, *t, pure=False, key=f"mirvo-sequence-{t[0]}-{t[3][:12]}") for t in todo]
        if progress:
            distributed.progress(futures)
        for t, f in zip(todo, futures):
            try:
                rows[t[0]] = f.result()
            except Exception as e:  # a worker lost with the task, say
                rows[t[0]] = dict(dict.fromkeys(COLUMNS), sequence=t[0], status="failed", error=f"{type(e).__name__}: {e}")
    elif todo:
        import contextlib

        import dask
        from dask.diagnostics import ProgressBar

        tasks = [dask.delayed(_sequence_task, pure=False)(*t) for t in todo]
        with ProgressBar() if progress else contextlib.nullcontext():
            for row in dask.compute(*tasks, scheduler="threads"):
                rows[row["sequence"]] = row

    ordered = [rows[name] for name in sorted(rows)]
    _write_summary(out_dir, ordered)
    return ordered


def main(argv=None):
    p = argparse.ArgumentParser(prog="python3 -m mirvo.corpus", description="Runs mirvo run over every sequence of a corpus on Dask.")
    p.add_argument("corpus", help="folder with one sub-folder per sequence")
    p.add_argument("out", help="output folder: OUT/<sequence>/ and OUT/corpus_summary.{csv,json}")
    p.add_argument("--base", help="LSC table header file for every sequence (else each sequence.json names one)")
    p.add_argument("--tuning", help="tuning header file (default: the built-in tuning)")
    p.add_argument("--guard", action="store_true", help="run with the output guard (mirvo run --guard)")
    where = p.add_mutually_exclusive_group()
    where.add_argument("--scheduler", metavar="ADDRESS", help="a running Dask scheduler, tcp://host:8786")
    where.add_argument("--workers", type=int, metavar="N", help="a local cluster of N worker processes")
    a = p.parse_args(argv)
    if a.workers is not None and a.workers < 1:
        p.error("--workers: at least 1")
    client = cluster = None
    try:
        if a.scheduler or a.workers:
            from distributed import Client, LocalCluster

            if a.scheduler:
                client = Client(a.scheduler)
            else:
                cluster = LocalCluster(n_workers=a.workers, threads_per_worker=1, processes=True, dashboard_address=None)
                client = Client(cluster)
        rows = run(a.corpus, a.out, tuning=a.tuning, base=a.base, guard=a.guard, client=client, progress=True)
    except OSError as e:
        print(f"mirvo.corpus: {e}", file=sys.stderr)
        return 1
    finally:
        if client is not None:
            client.close()
        if cluster is not None:
            cluster.close()
    failed = [r for r in rows if r["status"] != "ok"]
    for r in failed:
        print(f"mirvo.corpus: {r['sequence']}: {r['error']}", file=sys.stderr)
    print(f"{len(rows)} sequences, {len(failed)} failed; summary in {Path(a.out) / SUMMARY_NAME}.csv")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
