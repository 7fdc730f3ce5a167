"""The per-frame Core through Python: library failures as RuntimeError with the
operation and errCode, no reference or memory growth over many frames, the
GIL released while frames run, and the same statistics and previews as the
program."""

import sys
import threading
import tracemalloc

import numpy as np
import pytest

import mirvo
from conftest import RAW_ARGS, RAW_FRAME, golden_frame, needs_cli, read_png, run_cli


def test_library_failure_is_runtime_error_with_code_and_operation(base_table):
    core = mirvo.Core()
    wrong_grid = mirvo.Stats(np.ones((32, 24, 4), np.uint32), np.ones((32, 24, 4), np.uint16))
    with pytest.raises(RuntimeError, match=r"^SetStats: errCode = -10 \(kInvalidInput\)$"):
        core.process(wrong_grid, base_table)
    assert core.projections is None and core.temporal_update_gain is None and core.diagnostics() == {}
    core.process(golden_frame(0), base_table)
    assert core.projections is not None and core.temporal_update_gain is not None
    assert core.diagnostics() == {}  # only while debugging
    core.debug = True
    core.process(golden_frame(0), base_table)
    d = core.diagnostics()
    assert d["GradH_UX[24][31]"].shape == (24, 31) and d["GradH_UX[24][31]"].dtype == np.float32
    assert d["lin_stat_sum_R[24][32]"].dtype == np.uint32
    assert isinstance(d["prj_u"], float) and d["prj_u"] == core.projections[0]


@pytest.mark.parametrize("guard", [False, True])
def test_guard_replaces_tables_out_of_range_as_the_program_does(base_table, guard):
    core = mirvo.Core(guard=guard)
    # Gains of 100 stay 100-ish through the engine: outside the guard's [1/64, 64].
    out = core.process(golden_frame(0), np.full((4, 13, 17), 100, np.float32))
    if guard:
        np.testing.assert_array_equal(out, np.ones((4, 13, 17), np.float32))  # no good table yet: unity
        assert core.guarded_frames == 1
    else:
        assert out.min() > 64 and core.guarded_frames is None
    # A table in range passes the guard untouched: the frames of an unguarded Core.
    np.testing.assert_array_equal(mirvo.Core(guard=guard).process(golden_frame(0), base_table),
                                  mirvo.Core().process(golden_frame(0), base_table))


def test_no_growth_over_ten_thousand_frames(base_table):
    core, stats = mirvo.Core(), golden_frame(1)
    for _ in range(100):  # warm up caches and lazily created objects
        core.process(stats, base_table)
    refs = (sys.getrefcount(stats), sys.getrefcount(base_table), sys.getrefcount(core))
    tracemalloc.start()
    before = tracemalloc.take_snapshot()
    for _ in range(10_000):
        out = core.process(stats, base_table)
    after = tracemalloc.take_snapshot()
    tracemalloc.stop()
    del out
    assert (sys.getrefcount(stats), sys.getrefcount(base_table), sys.getrefcount(core)) == refs
    grown = sum(s.size_diff for s in after.compare_to(before, "filename"))
    assert grown < 16_384, f"{grown} bytes more after 10,000 frames"


def test_frames_run_in_parallel_threads_with_the_results_of_one(base_table):
    frames = [golden_frame(f) for f in range(3)] * 20
    results = [None] * 5

    def run(k):
        core = mirvo.Core()
        results[k] = [core.process(s, base_table) for s in frames][-1]

    run(4)
    threads = [threading.Thread(target=run, args=(k,)) for k in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for k in range(4):
        np.testing.assert_array_equal(results[k], results[4])


@needs_cli
def test_stats_from_raw_equals_the_program(tmp_path, raw_stats):
    run_cli("stats", *RAW_ARGS, "--out", tmp_path / "cli.txt", check=True)
    mirvo.save_stats(tmp_path / "py.txt", raw_stats)
    assert (tmp_path / "py.txt").read_bytes() == (tmp_path / "cli.txt").read_bytes()


@needs_cli
@pytest.mark.parametrize("with_table", [False, True])
def test_render_equals_the_programs_preview(tmp_path, base_table, with_table):
    mirvo.save_table(tmp_path / "t.h", base_table)
    run_cli("preview", *RAW_ARGS, "--out", tmp_path / "cli.png", *(["--table", tmp_path / "t.h"] if with_table else []),
            check=True)
    frame = mirvo.read_raw(RAW_FRAME, 192, 128, 14, "RGGB")
    table = mirvo.load_table(tmp_path / "t.h") if with_table else None
    picture = mirvo.render(frame, "RGGB", 14, 600, table=table)
    assert picture.shape == (64, 96, 3) and picture.dtype == np.uint8
    np.testing.assert_array_equal(picture, read_png(tmp_path / "cli.png"))
    # The look from one table, the gains from another: only the table differs.
    u, v = mirvo.residual_shading(frame, "RGGB", 14, 600, table=table)
    assert u.shape == v.shape == (24, 32)
    if with_table:
        before = mirvo.render(frame, "RGGB", 14, 600, look_table=table)
        assert before.shape == picture.shape and not np.array_equal(before, picture)
