"""Shared inputs of the Python module's tests: the in-repo test data, the
program's runner, and the generated multi-frame scene of the C++ golden test,
rebuilt here number for number so both must give the same bits."""

import os
import pathlib
import subprocess

import numpy as np
import pytest

import mirvo

DATA = pathlib.Path(os.environ.get("MIRVO_TEST_DATA_DIR", pathlib.Path(__file__).resolve().parents[1] / "data"))
BASE_TABLE = DATA / "ov8858_d50_lsc.h"
RAW_FRAME = DATA / "nikon_dsc1339_crop_192x128_RGGB_14bit.raw"  # 192 x 128, RGGB, 14 bits, black 600
RAW_ARGS = ["--raw", str(RAW_FRAME), "--width", "192", "--height", "128", "--bits", "14", "--pattern", "RGGB",
            "--black-level", "600"]
F = np.float32
needs_cli = pytest.mark.skipif("MIRVO_CLI" not in os.environ, reason="the mirvo program is not built")


def run_cli(*args, check=False):
    """The program; under ASan the interpreter has the sanitizer runtime
    preloaded, which the instrumented program brings itself."""
    env = {k: v for k, v in os.environ.items() if k != "LD_PRELOAD"}
    return subprocess.run([os.environ["MIRVO_CLI"], *map(str, args)], capture_output=True, text=True, env=env,
                          check=check)


def read_png(path):
    import matplotlib.image
    return np.round(matplotlib.image.imread(path) * 255).astype(np.uint8)


def pack_raw10(frame):
    """MIPI RAW10: per 4 pixels their high bytes, then a byte of the 2-bit tails."""
    g = frame.reshape(frame.shape[0], -1, 4).astype(np.uint16)
    low = sum((g[..., k] & 3) << 2 * k for k in range(4))
    return np.concatenate([g >> 2, low[..., None]], axis=2).astype(np.uint8).tobytes()


def assert_same_tuning(a, b):
    names = [n for n in dir(a) if not n.startswith("_") and not callable(getattr(a, n))]
    assert "BUL" in names and "smooth_thd" in names, names  # the walk finds the fields at all
    for name in names:
        np.testing.assert_array_equal(getattr(a, name), getattr(b, name), err_msg=name)


def golden_frame(frame):
    """Statistics of frame `frame` of the golden scene (its uint32 generator,
    C integer division), as mirvo.Stats."""
    state = (0x1234 + 977 * frame) & 0xFFFFFFFF

    def rand():
        nonlocal state
        state = (state * 1664525 + 1013904223) & 0xFFFFFFFF
        return state >> 8

    def jitter(a):
        return rand() % (2 * a + 1) - a

    def div(a, b):
        return abs(a) // b * (1 if a >= 0 else -1)

    cnt = 64
    sums = np.zeros((24, 32, 4), np.uint32)
    sat = np.zeros((24, 32, 4), np.uint16)
    for r in range(24):
        for c in range(32):
            g = 3000 - 40 * abs(c - 16) - 50 * abs(r - 12) + jitter(20)
            red = div(g * (1000 + 3 * (c - 16) + 5 * frame), 1200) + jitter(10)
            blue = div(g * (1000 - 2 * (r - 12) - 4 * frame), 1400) + jitter(10)
            if 5 <= r < 10 and 18 + frame <= c < 24 + frame:
                red *= 2
            if 15 <= r < 18 and 3 <= c < 6:
                g = red = blue = 5
            if r == 20 and c in (28, 29):
                g = 16300
            sums[r, c] = (red * cnt, g * cnt + rand() % 64, g * cnt, blue * cnt)
            sat[r, c] = [rand() % 3 for _ in range(4)]
    return mirvo.Stats(sums, np.full((24, 32, 4), cnt, np.uint16), sat)


def golden_tuning():
    """Default thresholds, a generated learned tint and no learned gradients."""
    t = mirvo.default_tuning()
    t.filter_input_stats = t.enable_temporal_filter = 1
    t.prj_delta_thd, t.tint_update_gain = 1.0, 0.8
    x = (np.arange(17, dtype=F) - F(8)) / F(8)
    y = (np.arange(13, dtype=F)[:, None] - F(6)) / F(6)
    t.BUL = F(0.04) * (x * x + y * y) + F(0.01) * x
    t.BVL = F(-0.03) * (x * x) + F(0.02) * y
    t.BgUHXY = t.BgVHXY = np.zeros(1480, F)
    return t


def golden_base(base, frame):
    """From frame 3 on the illuminant changes: a red tilt across, a blue tilt down."""
    if frame < 3:
        return base
    out = base.copy()
    out[0] *= F(1) + F(0.02) * (np.arange(17, dtype=F) - F(8)) / F(8)
    out[3] *= F(1) - F(0.015) * (np.arange(13, dtype=F)[:, None] - F(6)) / F(6)
    return out


@pytest.fixture(scope="session")
def base_table():
    return mirvo.load_table(BASE_TABLE)


@pytest.fixture(scope="session")
def raw_stats():
    frame = mirvo.read_raw(RAW_FRAME, 192, 128, 14, "RGGB")
    return mirvo.stats_from_raw(frame, "RGGB", 14, black_level=600, grid=(32, 24))
