"""Shared inputs of the Python module's tests: the in-repo test data and the
generated multi-frame scene of the C++ golden test, rebuilt here number for
number so both must give the same bits."""

import os
import pathlib

import numpy as np
import pytest

import mirvo

DATA = pathlib.Path(os.environ.get("MIRVO_TEST_DATA_DIR", pathlib.Path(__file__).resolve().parents[1] / "data"))
BASE_TABLE = DATA / "ov8858_d50_lsc.h"
RAW_FRAME = DATA / "nikon_dsc1339_crop_192x128_RGGB_14bit.raw"  # 192 x 128, RGGB, 14 bits, black 600

F = np.float32


def without_preload():
    """The environment for the program: under ASan the interpreter has the
    sanitizer runtime preloaded, which the instrumented program brings itself."""
    return {k: v for k, v in os.environ.items() if k != "LD_PRELOAD"}


class Lcg:
    """The golden test's integer generator (uint32 arithmetic)."""

    def __init__(self, seed):
        self.state = seed & 0xFFFFFFFF

    def next(self):
        self.state = (self.state * 1664525 + 1013904223) & 0xFFFFFFFF
        return self.state >> 8

    def jitter(self, amplitude):
        return self.next() % (2 * amplitude + 1) - amplitude


def _div(a, b):
    """C integer division (truncation toward zero)."""
    q = abs(a) // abs(b)
    return q if (a >= 0) == (b > 0) else -q


def golden_frame(frame):
    """Statistics of frame `frame` of the golden scene, as mirvo.Stats."""
    rng = Lcg(0x1234 + 977 * frame)
    cnt = 64
    sums = np.zeros((24, 32, 4), np.uint32)
    sat = np.zeros((24, 32, 4), np.uint16)
    for r in range(24):
        for c in range(32):
            g = 3000 - 40 * abs(c - 16) - 50 * abs(r - 12) + rng.jitter(20)
            red = _div(g * (1000 + 3 * (c - 16) + 5 * frame), 1200) + rng.jitter(10)
            blue = _div(g * (1000 - 2 * (r - 12) - 4 * frame), 1400) + rng.jitter(10)
            if 5 <= r < 10 and 18 + frame <= c < 24 + frame:
                red *= 2
            if 15 <= r < 18 and 3 <= c < 6:
                g = red = blue = 5
            if r == 20 and c in (28, 29):
                g = 16300
            sums[r, c] = (red * cnt, g * cnt + rng.next() % 64, g * cnt, blue * cnt)
            sat[r, c] = [rng.next() % 3 for _ in range(4)]
    return mirvo.Stats(sums, np.full((24, 32, 4), cnt, np.uint16), sat)


def golden_tuning():
    """Default thresholds, a generated learned tint and no learned gradients."""
    t = mirvo.default_tuning()
    t.filter_input_stats = 1
    t.enable_temporal_filter = 1
    t.prj_delta_thd = 1.0
    t.tint_update_gain = 0.8
    x = (np.arange(17, dtype=F) - F(8)) / F(8)
    y = (np.arange(13, dtype=F)[:, None] - F(6)) / F(6)
    t.BUL = F(0.04) * (x * x + y * y) + F(0.01) * x
    t.BVL = F(-0.03) * (x * x) + F(0.02) * y
    t.BgUHXY = np.zeros(1480, F)
    t.BgVHXY = np.zeros(1480, F)
    return t


def golden_base(base, frame):
    """From frame 3 on the illuminant changes: a red tilt across, a blue tilt down."""
    if frame < 3:
        return base
    out = base.copy()
    c = np.arange(17, dtype=F) - F(8)
    r = np.arange(13, dtype=F)[:, None] - F(6)
    out[0] *= F(1) + F(0.02) * c / F(8)
    out[3] *= F(1) - F(0.015) * r / F(6)
    return out


@pytest.fixture(scope="session")
def base_table():
    return mirvo.load_table(BASE_TABLE)


@pytest.fixture(scope="session")
def raw_stats():
    frame = mirvo.read_raw(RAW_FRAME, 192, 128, 14, "RGGB")
    return mirvo.stats_from_raw(frame, "RGGB", 14, black_level=600, grid=(32, 24))
