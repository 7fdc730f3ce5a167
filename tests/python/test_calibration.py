"""Calibration and profile learning through Python: the same tables, tunings,
figures and refusal lines as `mirvo calibrate` and `mirvo learn` on the same
data written to files, and each bad argument once."""

import numpy as np
import pytest

import mirvo
from conftest import assert_same_tuning, needs_cli, run_cli

WIDTH, HEIGHT, BITS, BLACK = 512, 384, 10, 64  # BLACK in frame units: 1024 in 14-bit units


def render_flat(level=700.0, red_bowl=0.12, blue_bowl=-0.08, red_tilt=0.0, pattern="RGGB", seed=1):
    """A flat field through a lens with about 1.2 EV of corner fall-off and a
    colour shading of the given bowl and tilt (log units at the corner), with
    shot noise (40 electrons a step), on a Bayer mosaic of `pattern`."""
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    px, py = (x + 0.5) / WIDTH * 2 - 1, (y + 0.5) / HEIGHT * 2 - 1
    r2 = (px * px + py * py) / 2
    light = {"R": 0.55 * np.exp(red_bowl * r2 + red_tilt * px), "G": np.ones_like(r2),
             "B": 0.75 * np.exp(blue_bowl * r2)}
    colour = np.empty((HEIGHT, WIDTH))
    for k, letter in enumerate(pattern):
        colour[k // 2::2, k % 2::2] = light[letter][k // 2::2, k % 2::2]
    signal = level * np.exp(-0.55 * r2) * colour
    noisy = signal + np.random.default_rng(seed).normal(size=signal.shape) * np.sqrt(signal / 40 + 1)
    return np.clip(np.rint(BLACK + noisy), 0, (1 << BITS) - 1).astype(np.uint16)


def cli_calibrate(tmp_path, frames, pattern="RGGB", black_level=1024, strength=1.0):
    raws = [tmp_path / f"flat{k}.raw" for k in range(len(frames))]
    for frame, raw in zip(frames, raws):
        frame.astype("<u2").tofile(raw)
    return run_cli("calibrate", "--raw", *raws, "--width", WIDTH, "--height", HEIGHT, "--bits", BITS, "--pattern",
                   pattern, "--black-level", ",".join(map(str, np.atleast_1d(black_level))),
                   "--luminance-strength", strength, "--out", tmp_path / "cli.h"), raws


def program_reason(run, files, name):
    """The program's refusal with each file named as the module names its argument."""
    assert run.returncode == 1
    reason = run.stderr.strip().removeprefix("mirvo: ")
    for k, f in enumerate(files):
        reason = reason.replace(str(f), f"{name}[{k}]" if len(files) > 1 else name)
    return reason


@needs_cli
@pytest.mark.parametrize("pattern,captures,black_level,strength", [
    ("RGGB", 1, 1024, 1.0),
    ("GRBG", 2, (1000, 1024, 1030, 1040), 0.5),
])
def test_calibrate_gives_the_programs_table_and_figures(tmp_path, pattern, captures, black_level, strength):
    frames = [render_flat(pattern=pattern, seed=k + 1) for k in range(captures)]
    r, _ = cli_calibrate(tmp_path, frames, pattern, black_level, strength)
    assert r.returncode == 0, r.stderr
    table, s = mirvo.calibrate(frames[0] if captures == 1 else frames, pattern, BITS, black_level=black_level,
                               luminance_strength=strength)
    assert table.dtype == np.float32 and table.shape == (4, 13, 17) and s.captures == captures
    mirvo.save_table(tmp_path / "py.h", table)
    assert (tmp_path / "py.h").read_bytes() == (tmp_path / "cli.h").read_bytes()
    pct = lambda share: "%.3g %%" % (share * 100.0)  # noqa: E731
    assert r.stdout.splitlines()[1:] == [
        "corner fall-off (EV):" + "".join(" %s %.2f" % (c, v) for c, v in zip(("R", "Gr", "Gb", "B"), s.falloff_ev)),
        "colour shading, peak to peak: log R/G %.4f, log B/G %.4f" % (s.rg_peak_to_peak, s.bg_peak_to_peak),
        "clipped samples: " + pct(s.clipped_share),
        "fit residual: %s RMS, 90 %% of the blocks within %s, %s of the blocks left out"
        % (pct(s.residual_rms), pct(s.residual_p90), pct(s.outlier_share))]
    # A stack is the sequence of its frames.
    np.testing.assert_array_equal(mirvo.calibrate(np.stack(frames), pattern, BITS, black_level, strength)[0], table)


# The program's refusals are tested row by row with the program; here the
# module's naming of a lone frame and of one frame of several.
@needs_cli
@pytest.mark.parametrize("frames,reason", [
    ([render_flat(level=25.0)], "too dark to measure"),
    ([render_flat(), render_flat(red_tilt=0.1, seed=2)], "disagrees with"),
], ids=["dark", "disagree"])
def test_calibrate_refuses_with_the_programs_reason(tmp_path, frames, reason):
    r, raws = cli_calibrate(tmp_path, frames)
    assert reason in r.stderr
    with pytest.raises(ValueError) as error:
        mirvo.calibrate(frames if len(frames) > 1 else frames[0], "RGGB", BITS, black_level=1024)
    assert str(error.value) == program_reason(r, raws, "frames")


@pytest.fixture(scope="module")
def illuminant_tables(tmp_path_factory):
    """Base tables of one module under three lights, as files and as loaded."""
    d = tmp_path_factory.mktemp("tables")
    paths = [d / f"base{k}.h" for k in range(3)]
    for k, (red, blue) in enumerate([(0.12, -0.08), (0.02, 0.05), (0.18, -0.02)]):
        table, _ = mirvo.calibrate(render_flat(red_bowl=red, blue_bowl=blue, red_tilt=0.02 * k), "RGGB", BITS, 1024)
        mirvo.save_table(paths[k], table)
    return paths, [mirvo.load_table(p) for p in paths]


@needs_cli
@pytest.mark.parametrize("count,reference,own_tuning", [(2, 0, False), (3, 1, True)])
def test_learn_profile_gives_the_programs_tuning(tmp_path, illuminant_tables, count, reference, own_tuning):
    paths, tables = illuminant_tables
    args = ["learn", *sum((["--table", p] for p in paths[:count]), []), "--reference", paths[reference]]
    tuning = None
    if own_tuning:
        tuning = mirvo.default_tuning()
        tuning.smooth_thd, tuning.enable_temporal_filter, tuning.version = 0.05, 0, (3, 3, 3, 3)
        mirvo.save_tuning(tmp_path / "own.h", tuning)
        args += ["--tuning", tmp_path / "own.h"]
    r = run_cli(*args, "--out", tmp_path / "cli.h")
    assert r.returncode == 0, r.stderr
    learned, report = mirvo.learn_profile(tables[:count], reference=reference, tuning=tuning)
    assert_same_tuning(learned, mirvo.load_tuning(tmp_path / "cli.h"))
    assert r.stdout.splitlines()[1] == ("energy of the differences explained: u (log R/G) %.1f %%, v (log B/G) %.1f %%"
                                        % (100 * report.explained_u, 100 * report.explained_v))
    assert report.projection_u[reference] == 0.0 and len(report.projection_v) == count
    # The array form is the sequence form; the given tuning is left as it was.
    assert_same_tuning(mirvo.learn_profile(np.stack(tables[:count]), reference, tuning)[0], learned)
    if tuning is not None:
        np.testing.assert_array_equal(tuning.BUL, mirvo.default_tuning().BUL)


@needs_cli
def test_learn_profile_refuses_with_the_programs_reason(tmp_path, illuminant_tables):
    paths, tables = illuminant_tables
    mirvo.save_table(tmp_path / "other.h", tables[1] ** 6)  # far stronger vignetting: another module
    r = run_cli("learn", "--table", paths[0], "--table", tmp_path / "other.h", "--out", tmp_path / "out.h")
    assert "not the same module and geometry" in r.stderr
    with pytest.raises(ValueError) as error:
        mirvo.learn_profile([tables[0], mirvo.load_table(tmp_path / "other.h")])
    assert str(error.value) == program_reason(r, [paths[0], tmp_path / "other.h"], "tables")


FLAT = render_flat()
TABLE = np.ones((4, 13, 17), np.float32)


@pytest.mark.parametrize("call,error,message", [
    (lambda: mirvo.calibrate(FLAT.astype(np.float32), "RGGB", BITS), TypeError,
     "frames: expected dtype uint16, got float32"),
    (lambda: mirvo.calibrate(FLAT[0], "RGGB", BITS), ValueError, r"frames: expected 2 dimensions or 3 \(a stack\)"),
    (lambda: mirvo.calibrate([FLAT, FLAT[:, :256]], "RGGB", BITS), ValueError,
     r"frames\[1\]: expected shape \(384, 512\), got \(384, 256\)"),
    (lambda: mirvo.calibrate([], "RGGB", BITS), ValueError, "frames: expected one array or more, got none"),
    (lambda: mirvo.calibrate(FLAT[:, ::2], "RGGB", BITS), ValueError, "expected a C-contiguous array"),
    (lambda: mirvo.calibrate(FLAT[:64].copy(), "RGGB", BITS), ValueError,
     r"frames: frame too small to calibrate \(at least 128 x 96 pixels\)"),
    (lambda: mirvo.calibrate(FLAT, "RGGB", BITS, luminance_strength=1.5), ValueError,
     "luminance_strength: 1.5 is not a number from 0 to 1"),
    (lambda: mirvo.learn_profile([TABLE]), ValueError, "tables: expected two tables or more"),
    (lambda: mirvo.learn_profile([TABLE, TABLE[:, :12]]), ValueError,
     r"tables\[1\]: expected shape \(4, 13, 17\), got \(4, 12, 17\)"),
    (lambda: mirvo.learn_profile(np.full((2, 4, 13, 17), np.nan, np.float32)), ValueError,
     r"tables\[0\]: expected finite values, got nan at \[0, 0, 0\]"),
    (lambda: mirvo.learn_profile([TABLE, -TABLE]), ValueError, r"tables\[1\]: holds a gain that is not positive"),
    (lambda: mirvo.learn_profile([TABLE, TABLE], reference=2), ValueError, r"reference: 2 is not within 0..1"),
    (lambda: mirvo.learn_profile([TABLE, TABLE], tuning="tuning.h"), TypeError, "incompatible function arguments"),
])
def test_bad_arguments_raise_naming_them(call, error, message):
    with pytest.raises(error, match=message):
        call()
