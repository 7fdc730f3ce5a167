"""Every file type round-trips through the module, and a bad file is a Python
exception with the workbench's reason for it (its rules are tested row by row
in tests/workbench): the program's reason for the same path."""

import os
import pathlib

import numpy as np
import pytest

import mirvo
from conftest import (BASE_TABLE, DATA, assert_same_tuning, golden_frame, needs_cli, pack_raw10, read_png,
                      run_cli)


def test_tuning_round_trip_is_exact(tmp_path):
    t = mirvo.default_tuning()
    t.version, t.smooth_thd, t.filter_input_stats = (3, 3, 3, 3), 0.0375, 1
    t.BUL[2, 5], t.BgVHXY[1479] = -0.123456789, 1e-7
    mirvo.save_tuning(tmp_path / "t.h", t)
    assert_same_tuning(mirvo.load_tuning(tmp_path / "t.h"), t)


def test_table_round_trip_keeps_five_decimals(tmp_path):
    table = np.round(np.random.default_rng(7).uniform(0.5, 4.0, (4, 13, 17)), 5).astype(np.float32)
    mirvo.save_table(tmp_path / "t.h", table)
    np.testing.assert_array_equal(mirvo.load_table(tmp_path / "t.h"), table)
    mirvo.save_table(tmp_path / "b.h", mirvo.load_table(BASE_TABLE))
    assert (tmp_path / "b.h").read_bytes() == BASE_TABLE.read_bytes()


def test_stats_round_trip_keeps_sums_and_counts(tmp_path, raw_stats):
    mirvo.save_stats(tmp_path / "s.txt", raw_stats)
    back = mirvo.load_stats(tmp_path / "s.txt")
    np.testing.assert_array_equal(back.sums, raw_stats.sums)
    np.testing.assert_array_equal(back.counts, raw_stats.counts)
    assert (back.grid, back.bit_depth, back.black_level, back.black_level_gain) == ((24, 32), 14, (0,) * 4, (1,) * 4)
    assert not back.sat_counts.any()


@pytest.mark.parametrize("mipi", [False, True])
def test_raw_round_trip(tmp_path, mipi):
    frame = np.random.default_rng(3).integers(0, 1024, (6, 96 if mipi else 100), dtype=np.uint16)
    (tmp_path / "f.raw").write_bytes(pack_raw10(frame) if mipi else frame.astype("<u2").tobytes())
    back = mirvo.read_raw(tmp_path / "f.raw", frame.shape[1], 6, 10, "GRBG", mipi=mipi)
    assert back.dtype == np.uint16
    np.testing.assert_array_equal(back, frame)


def test_stats_from_raw_splits_the_quads_as_the_library_does():
    # A 4 x 2 GRBG frame of 1..8 gives Gr {1, 3}, R {2, 4}, B {5, 7}, Gb {6, 8};
    # one cell of 2 x 1 plane samples: sums R 6, Gr 4, Gb 14, B 12 at 14 bits.
    frame = np.arange(1, 9, dtype=np.uint16).reshape(2, 4)
    s = mirvo.stats_from_raw(frame, "GRBG", 14, grid=(1, 1))
    assert s.sums[0, 0].tolist() == [6, 4, 14, 12] and s.counts[0, 0].tolist() == [2, 2, 2, 2]
    # A 10-bit frame is shifted to 14 bits (R 2, 4 -> 32, 64), then the black
    # level of index 3, the one paired with R, is removed and the rest rescaled.
    s = mirvo.stats_from_raw(frame, "GRBG", 10, black_level=(0, 0, 0, 16), grid=(1, 1))
    rescale = np.float32(16383) / np.float32(16383 - 16)
    assert s.sums[0, 0, 0] == int(16 * rescale + 0.5) + int(48 * rescale + 0.5)
    assert s.sums[0, 0, 3] == (5 + 7) * 16


# The program's line is "mirvo: PATH: REASON" (exit 1), the module's exception
# carries the same REASON for the same PATH.
@needs_cli
@pytest.mark.parametrize("name,error", [("marker", ValueError), ("directory", IsADirectoryError),
                                        ("missing", FileNotFoundError)])
def test_program_and_module_refuse_a_file_alike(tmp_path, name, error):
    path = tmp_path / name
    if name == "marker":
        path.write_text(BASE_TABLE.read_text().replace("/* B Gain */", "/* B gain */"))
    elif name == "directory":
        path.mkdir()
    run = run_cli("table", path)
    prefix = f"mirvo: {path}: "
    assert run.returncode == 1 and run.stderr.startswith(prefix) and run.stderr.count("\n") == 1
    reason = run.stderr[len(prefix):].rstrip("\n")
    with pytest.raises(error) as err:
        mirvo.load_table(path)
    if isinstance(err.value, OSError):
        assert (err.value.strerror, err.value.filename) == (reason, str(path))
    else:
        assert str(err.value) == f"{path}: {reason}"


@pytest.mark.parametrize("call,error,words", [
    (mirvo.load_tuning, ValueError, "bad: not a valid tuning header file"),
    (mirvo.load_stats, ValueError, "bad: not a valid statistics dump"),
    (lambda p: mirvo.read_raw(p, 4, 4, 14, "RGGB"), ValueError, "bad: raw frame of 2 bytes, expected 32 for 4x4"),
    (lambda p: mirvo.read_raw(p, 4, 4, 14, "rggb"), ValueError, "unknown Bayer pattern 'rggb'"),
    (lambda p: mirvo.save_table(p.parent / "no" / "dir.h", np.ones((4, 13, 17))), FileNotFoundError, "dir.h"),
])
def test_other_files_and_paths_are_refused_alike(tmp_path, call, error, words):
    (tmp_path / "bad").write_text("zz")
    with pytest.raises(error, match=words):
        call(tmp_path / "bad")


# Every real calibration at hand: the in-tree copies and the shared data sets,
# when present (MIRVO_SHARED_DATA_DIR, default /work/shared/data).
SHARED = pathlib.Path(os.environ.get("MIRVO_SHARED_DATA_DIR", "/work/shared/data"))
CALIBRATIONS = sorted({*DATA.glob("lsc/*.json"), *SHARED.glob("lsc/*.json"), *SHARED.glob("more/lsc/*.json")})


@needs_cli
@pytest.mark.parametrize("path", CALIBRATIONS, ids=[f"{p.parent.parent.name}/{p.name}" for p in CALIBRATIONS])
def test_import_table_is_what_the_program_imports(tmp_path, path):
    run = run_cli("table", "--import", path, "--out", tmp_path / "t.h")
    cts = [None]
    if run.returncode == 2:  # several colour temperatures: between two, and below the lowest
        assert "holds calibrations at" in run.stderr
        with pytest.raises(ValueError, match="holds calibrations at .*; choose one with ct=K"):
            mirvo.import_table(path)
        cts = [4321, 1000]
    for ct in cts:
        run = run_cli("table", "--import", path, *(["--ct", ct] if ct else []), "--out", tmp_path / "t.h")
        assert run.returncode == 0, run.stderr
        np.testing.assert_array_equal(mirvo.import_table(path, ct=ct), mirvo.load_table(tmp_path / "t.h"))


@pytest.mark.parametrize("save", [lambda path: mirvo.save_table(path, mirvo.load_table(BASE_TABLE)),
                                  lambda path: mirvo.save_stats(path, golden_frame(0)),
                                  lambda path: mirvo.save_tuning(path, mirvo.default_tuning())],
                         ids=["table", "stats", "tuning"])
def test_saves_check_every_write_and_refuse_nul_paths(tmp_path, save):
    with pytest.raises(OSError, match=r"\[Errno 28\] No space left on device: '/dev/full'"):
        save("/dev/full")
    # "victim.h\0.bak" would be cut to "victim.h" by the system call.
    victim = tmp_path / "victim.h"
    victim.write_text("kept")
    with pytest.raises(ValueError, match="path: embedded null byte"):
        save(str(victim) + "\0.bak")
    assert victim.read_text() == "kept" and sorted(p.name for p in tmp_path.iterdir()) == ["victim.h"]


DNG_DIR = pathlib.Path(os.environ.get("MIRVO_DNG_DATA_DIR", "/work/shared/data/more/dng"))


@pytest.mark.parametrize("name, pattern, shape, black", [
    ("canon550d_magiclantern_colorchart.dng", "RGGB", (1156, 1734), 2056),
    ("bmpcc_cinemadng_lj92.dng", "GBRG", (1112, 1952), 64),
])
def test_dng_frame_and_gain_map_round_trip(tmp_path, name, pattern, shape, black):
    src = DNG_DIR / name
    if not src.exists():
        pytest.skip(f"{src} absent")
    d = mirvo.read_dng(src)
    assert (d["pattern"], d["frame"].shape, d["frame"].dtype, d["bit_depth"]) == (pattern, shape, np.uint16, 14)
    assert d["stats_black_level"] == (black,) * 4 and d["gain_map"] is None
    table = (1 + np.random.default_rng(3).random((4, 13, 17))).astype(np.float32)
    mirvo.write_dng_gain_map(src, tmp_path / "out.dng", table)
    back = mirvo.read_dng(tmp_path / "out.dng")
    np.testing.assert_array_equal(back["gain_map"], table)
    np.testing.assert_array_equal(back["frame"], d["frame"])
    assert [m["gains"].shape for m in back["gain_maps"]] == [(13, 17, 1)] * 4
    # What read_dng returns renders as `mirvo preview --dng` does: its GainMap, its neutral.
    assert back["as_shot_neutral"] is not None
    picture = mirvo.render(back["frame"], back["pattern"], back["bit_depth"], back["stats_black_level"],
                           table=back["gain_map"], white_balance=back["as_shot_neutral"], width=256)
    assert picture.shape[1:] == (256, 3)
    if "MIRVO_CLI" in os.environ:
        run_cli("preview", "--dng", tmp_path / "out.dng", "--out-width", 256, "--out", tmp_path / "cli.png", check=True)
        np.testing.assert_array_equal(picture, read_png(tmp_path / "cli.png"))


@pytest.mark.parametrize("name, error, reason", [
    ("canon350d_adobe_truncated.dng", ValueError, "pixel data truncated"),
    ("lgh815_adobe_lossy_linearraw.dng", ValueError, "not a Bayer CFA image"),
    ("absent.dng", OSError, "cannot open"),
])
def test_dng_refusals_name_file_and_reason(name, error, reason):
    if name != "absent.dng" and not (DNG_DIR / name).exists():
        pytest.skip("real DNGs absent")
    with pytest.raises(error, match=reason) as e:
        mirvo.read_dng(DNG_DIR / name)
    assert str(e.value).startswith(str(DNG_DIR / name) + ": ")
