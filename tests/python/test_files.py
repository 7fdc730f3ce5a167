"""Every file type round-trips through the module, and a bad file is a Python
exception naming the problem, never a hang or a crash of the library's readers."""

import os
import pathlib
import subprocess

import numpy as np
import pytest

import mirvo
from conftest import BASE_TABLE, DATA, RAW_FRAME, golden_frame, without_preload


def pack_raw10(frame):
    """MIPI RAW10: per 4 pixels their high bytes, then a byte of the 2-bit tails;
    rows padded to a multiple of 8 bytes."""
    h, w = frame.shape
    g = frame.reshape(h, w // 4, 4).astype(np.uint16)
    low = (g[..., 0] & 3) | (g[..., 1] & 3) << 2 | (g[..., 2] & 3) << 4 | (g[..., 3] & 3) << 6
    rows = np.concatenate([(g >> 2).astype(np.uint8), low[..., None].astype(np.uint8)], axis=2).reshape(h, -1)
    pad = -rows.shape[1] % 8
    return np.pad(rows, ((0, 0), (0, pad))).tobytes()


def test_tuning_round_trip_is_exact(tmp_path):
    t = mirvo.default_tuning()
    t.version = (3, 3, 3, 3)
    t.smooth_thd = 0.0375
    t.filter_input_stats = 1
    t.BUL[2, 5] = -0.123456789
    t.BgVHXY[1479] = 1e-7
    mirvo.save_tuning(tmp_path / "t.h", t)
    back = mirvo.load_tuning(tmp_path / "t.h")
    assert back.version == (3, 3, 3, 3)
    for name in ("min_level_thd", "max_level_thd", "sat_ratio_thd", "smooth_thd", "limit_thd", "filter_input_stats",
                 "prj_delta_thd", "tint_update_gain", "enable_temporal_filter"):
        assert getattr(back, name) == getattr(t, name), name
    for name in ("BUL", "BVL", "BgUHXY", "BgVHXY"):
        np.testing.assert_array_equal(getattr(back, name), getattr(t, name), err_msg=name)


def test_table_round_trip_keeps_five_decimals(tmp_path):
    rng = np.random.default_rng(7)
    table = np.round(rng.uniform(0.5, 4.0, (4, 13, 17)), 5).astype(np.float32)
    mirvo.save_table(tmp_path / "t.h", table)
    np.testing.assert_array_equal(mirvo.load_table(tmp_path / "t.h"), table)
    base = mirvo.load_table(BASE_TABLE)
    mirvo.save_table(tmp_path / "b.h", base)
    assert (tmp_path / "b.h").read_bytes() == BASE_TABLE.read_bytes()


def test_stats_round_trip_keeps_sums_and_counts(tmp_path, raw_stats):
    mirvo.save_stats(tmp_path / "s.txt", raw_stats)
    back = mirvo.load_stats(tmp_path / "s.txt")
    np.testing.assert_array_equal(back.sums, raw_stats.sums)
    np.testing.assert_array_equal(back.counts, raw_stats.counts)
    assert back.grid == (24, 32) and back.bit_depth == 14
    assert back.black_level == (0, 0, 0, 0) and back.black_level_gain == (1, 1, 1, 1)
    assert not back.sat_counts.any()


@pytest.mark.parametrize("mipi", [False, True])
def test_raw_round_trip(tmp_path, mipi):
    frame = np.random.default_rng(3).integers(0, 1024, (6, 100), dtype=np.uint16)
    if mipi:
        frame = frame[:, :96].copy()
    path = tmp_path / "f.raw"
    path.write_bytes(pack_raw10(frame) if mipi else frame.astype("<u2").tobytes())
    back = mirvo.read_raw(path, frame.shape[1], frame.shape[0], 10, "GRBG", mipi=mipi)
    assert back.dtype == np.uint16
    np.testing.assert_array_equal(back, frame)


def test_stats_from_raw_splits_the_quads_as_the_library_does(tmp_path):
    # A 4 x 2 GRBG frame of 1..8 gives Gr {1, 3}, R {2, 4}, B {5, 7}, Gb {6, 8};
    # one cell of 2 x 1 plane samples: sums R 6, Gr 4, Gb 14, B 12 at 14 bits.
    frame = np.arange(1, 9, dtype=np.uint16).reshape(2, 4)
    s = mirvo.stats_from_raw(frame, "GRBG", 14, grid=(1, 1))
    assert s.sums[0, 0].tolist() == [6, 4, 14, 12]
    assert s.counts[0, 0].tolist() == [2, 2, 2, 2]
    # A 10-bit frame is shifted to 14 bits (R 2, 4 -> 32, 64), then the black
    # level of index 3, the one paired with R, is removed and the rest rescaled.
    s = mirvo.stats_from_raw(frame, "GRBG", 10, black_level=(0, 0, 0, 16), grid=(1, 1))
    rescale = np.float32(16383) / np.float32(16383 - 16)
    assert s.sums[0, 0, 0] == int(16 * rescale + 0.5) + int(48 * rescale + 0.5)
    assert s.sums[0, 0, 3] == (5 + 7) * 16


TABLE = BASE_TABLE.read_text()


def _tuning_text(tmp_path):
    mirvo.save_tuning(tmp_path / "good.h", mirvo.default_tuning())
    return (tmp_path / "good.h").read_text()


BAD_FILES = [
    # (loader, content maker, words of the message)
    ("table", lambda tp: TABLE.replace("/* B Gain */", "/* B gain */"), "B Gain"),
    ("table", lambda tp: TABLE[: TABLE.index("/* GB Gain */") + 400], "not a valid LSC table"),
    ("table", lambda tp: TABLE.replace("1.", "nan", 1), "finite"),
    ("tuning", lambda tp: _tuning_text(tp)[:-2000], "not a valid tuning header file"),
    ("tuning", lambda tp: _tuning_text(tp).replace("[BVL]", "[BXL]"), "not a valid tuning header file"),
    ("stats", lambda tp: "*r_sum[768] =\n" + "zz\t" * 768, "not a valid statistics dump"),
]


@pytest.mark.parametrize("kind,make,words", BAD_FILES)
def test_bad_file_raises_value_error_naming_it(tmp_path, kind, make, words):
    path = tmp_path / "bad"
    path.write_text(make(tmp_path))
    load = {"table": mirvo.load_table, "tuning": mirvo.load_tuning, "stats": mirvo.load_stats}[kind]
    with pytest.raises(ValueError, match=words) as err:
        load(path)
    assert str(path) in str(err.value)


def test_unreadable_paths_raise_os_errors(tmp_path):
    with pytest.raises(FileNotFoundError):
        mirvo.load_table(tmp_path / "missing.h")
    with pytest.raises(IsADirectoryError):
        mirvo.load_tuning(tmp_path)
    with pytest.raises(ValueError, match="raw frame of 49152 bytes, expected 49920 for 192x130 unpacked 16-bit"):
        mirvo.read_raw(RAW_FRAME, 192, 128 + 2, 14, "RGGB")
    with pytest.raises(ValueError, match="unknown Bayer pattern 'rggb'"):
        mirvo.read_raw(RAW_FRAME, 192, 128, 14, "rggb")
    with pytest.raises(FileNotFoundError, match="dir.h"):
        mirvo.save_table(tmp_path / "no" / "dir.h", mirvo.load_table(BASE_TABLE))


# Bad files through both front ends: the program's line is "mirvo: PATH: REASON"
# (exit 1), the module's exception carries the same REASON for the same PATH.
FRONT_END_FILES = [
    # (name, content or None for a directory / nothing, exception type)
    ("empty", "", ValueError),
    ("marker", TABLE.replace("/* B Gain */", "/* B gain */"), ValueError),
    ("comma", TABLE.replace("3.99902f", "3,99902f", 1), ValueError),
    ("oversized", TABLE + " " * (1 << 20), ValueError),
    ("directory", None, IsADirectoryError),
    ("missing", None, FileNotFoundError),
]


@pytest.mark.skipif("MIRVO_CLI" not in os.environ, reason="the mirvo program is not built")
@pytest.mark.parametrize("name,content,error", FRONT_END_FILES, ids=[f[0] for f in FRONT_END_FILES])
def test_program_and_module_refuse_a_file_alike(tmp_path, name, content, error):
    path = tmp_path / name
    if content is not None:
        path.write_text(content)
    elif error is IsADirectoryError:
        path.mkdir()
    run = subprocess.run([os.environ["MIRVO_CLI"], "table", str(path)], capture_output=True, text=True,
                         env=without_preload())
    assert run.returncode == 1
    prefix = f"mirvo: {path}: "
    assert run.stderr.startswith(prefix) and run.stderr.count("\n") == 1
    reason = run.stderr[len(prefix):].rstrip("\n")
    with pytest.raises(error) as err:
        mirvo.load_table(path)
    if isinstance(err.value, OSError):
        assert (err.value.strerror, err.value.filename) == (reason, str(path))
    else:
        assert str(err.value) == f"{path}: {reason}"


# Every real calibration at hand: the in-tree copies and the shared data sets,
# when present (MIRVO_SHARED_DATA_DIR, default /work/shared/data).
SHARED = pathlib.Path(os.environ.get("MIRVO_SHARED_DATA_DIR", "/work/shared/data"))
CALIBRATIONS = sorted({*DATA.glob("lsc/*.json"), *SHARED.glob("lsc/*.json"), *SHARED.glob("more/lsc/*.json")})


@pytest.mark.skipif("MIRVO_CLI" not in os.environ, reason="the mirvo program is not built")
@pytest.mark.parametrize("path", CALIBRATIONS, ids=[f"{p.parent.parent.name}/{p.name}" for p in CALIBRATIONS])
def test_import_table_is_what_the_program_imports(tmp_path, path):
    def program(*ct):
        out = tmp_path / "t.h"
        run = subprocess.run([os.environ["MIRVO_CLI"], "table", "--import", str(path), *ct, "--out", str(out)],
                             capture_output=True, text=True, env=without_preload())
        return run, out

    run, out = program()
    if run.returncode == 2:  # several colour temperatures: between two, and below the lowest
        assert "holds calibrations at" in run.stderr
        with pytest.raises(ValueError, match="holds calibrations at .*; choose one with ct=K"):
            mirvo.import_table(path)
        for ct in (4321, 1000):
            run, out = program("--ct", str(ct))
            assert run.returncode == 0, run.stderr
            np.testing.assert_array_equal(mirvo.import_table(path, ct=ct), mirvo.load_table(out))
    else:
        assert run.returncode == 0, run.stderr
        np.testing.assert_array_equal(mirvo.import_table(path), mirvo.load_table(out))


SAVES = [
    ("table", lambda path: mirvo.save_table(path, mirvo.load_table(BASE_TABLE))),
    ("stats", lambda path: mirvo.save_stats(path, golden_frame(0))),
    ("tuning", lambda path: mirvo.save_tuning(path, mirvo.default_tuning())),
]


@pytest.mark.parametrize("kind,save", SAVES)
def test_saves_check_every_write_and_refuse_nul_paths(tmp_path, kind, save):
    # A full device: every save raises, whatever the text's length.
    with pytest.raises(OSError, match=r"\[Errno 28\] No space left on device: '/dev/full'"):
        save("/dev/full")
    # "victim.h\0.bak" would be cut to "victim.h" by the system call.
    victim = tmp_path / "victim.h"
    victim.write_text("kept")
    with pytest.raises(ValueError, match="path: embedded null byte"):
        save(str(victim) + "\0.bak")
    assert victim.read_text() == "kept" and sorted(p.name for p in tmp_path.iterdir()) == ["victim.h"]


DNG_DIR = pathlib.Path(os.environ.get("MIRVO_DNG_DATA_DIR", "/work/shared/data/more/dng"))


@pytest.mark.parametrize("name, pattern, shape, bits, black", [
    ("canon550d_magiclantern_colorchart.dng", "RGGB", (1156, 1734), 14, (2056,) * 4),
    ("bmpcc_cinemadng_lj92.dng", "GBRG", (1112, 1952), 14, (64,) * 4),
])
def test_dng_frame_and_gain_map_round_trip(tmp_path, name, pattern, shape, bits, black):
    src = DNG_DIR / name
    if not src.exists():
        pytest.skip(f"{src} absent")
    d = mirvo.read_dng(src)
    assert (d["pattern"], d["frame"].shape, d["frame"].dtype, d["bit_depth"]) == (pattern, shape, np.uint16, bits)
    assert d["stats_black_level"] == black and d["gain_map"] is None
    table = (1 + np.random.default_rng(3).random((4, 13, 17))).astype(np.float32)
    mirvo.write_dng_gain_map(src, tmp_path / "out.dng", table)
    back = mirvo.read_dng(tmp_path / "out.dng")
    np.testing.assert_array_equal(back["gain_map"], table)
    np.testing.assert_array_equal(back["frame"], d["frame"])
    assert [m["gains"].shape for m in back["gain_maps"]] == [(13, 17, 1)] * 4
    # What read_dng returns renders as `mirvo preview --dng` does: its GainMap, its neutral.
    picture = mirvo.render(back["frame"], back["pattern"], back["bit_depth"], back["stats_black_level"],
                           table=back["gain_map"], white_balance=back["as_shot_neutral"], width=256)
    assert picture.shape[1:] == (256, 3) and back["as_shot_neutral"] is not None
    if "MIRVO_CLI" in os.environ:
        import matplotlib.image
        subprocess.run([os.environ["MIRVO_CLI"], "preview", "--dng", str(tmp_path / "out.dng"), "--out-width", "256",
                        "--out", str(tmp_path / "cli.png")], check=True, stdout=subprocess.DEVNULL, env=without_preload())
        program = np.round(matplotlib.image.imread(tmp_path / "cli.png") * 255).astype(np.uint8)
        np.testing.assert_array_equal(picture, program)


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
