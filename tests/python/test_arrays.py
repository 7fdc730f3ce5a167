"""Arrays and objects are checked, not trusted: each class of bad array once,
with the exception type and the expected and given shape or dtype in its
message; arrays whose values convert exactly are taken."""

import numpy as np
import pytest

import mirvo
from conftest import golden_frame

GOOD = np.ones((4, 13, 17), np.float32)
SUMS = np.ones((24, 32, 4), np.uint32)
COUNTS = np.ones((24, 32, 4), np.uint16)
WITH_NAN = np.where(np.arange(GOOD.size).reshape(GOOD.shape) == 2 * 221 + 3 * 17 + 4, np.nan, GOOD).astype(np.float32)
FRAME = np.ones((128, 192), np.uint16)


def process(table):
    return mirvo.Core().process(golden_frame(0), table)


def tuning_with(**grids):
    t = mirvo.Tuning()
    for name, value in grids.items():
        getattr(t, name).flat[7] = value  # through the view, past the assignment check
    return t


def never_initialised(cls):
    return cls.__new__(cls)


@pytest.mark.parametrize("call,error,message", [
    (lambda: process(np.ones((13, 17), np.float32)), ValueError, r"expected shape \(4, 13, 17\), got \(13, 17\)"),
    (lambda: process(np.ones((4, 17, 13), np.float32)), ValueError, r"expected shape \(4, 13, 17\), got \(4, 17, 13\)"),
    (lambda: process(np.full((4, 13, 17), 0.1)), TypeError, "expected dtype float32, got float64 with values"),
    (lambda: process(np.ones((4, 13, 17), np.complex64)), TypeError, "expected dtype float32, got complex64"),
    (lambda: process(np.ones((4, 13, 34), np.float32)[:, :, ::2]), ValueError, "expected a C-contiguous array"),
    (lambda: process(np.asfortranarray(GOOD)), ValueError, "expected a C-contiguous array"),
    (lambda: process(WITH_NAN), ValueError, r"base_table: expected finite values, got nan at \[2, 3, 4\]"),
    (lambda: mirvo.Stats(SUMS, COUNTS.astype(np.float32)), TypeError, "counts: expected dtype uint16, got float32"),
    (lambda: mirvo.Stats(SUMS.astype(np.int64) - 2, COUNTS), TypeError, "sums: expected dtype uint32, got int64 with"),
    (lambda: mirvo.Stats(SUMS, COUNTS.astype(np.int32) * 70000), TypeError, "counts: expected dtype uint16, got int32"),
    (lambda: mirvo.Stats(SUMS, COUNTS[:, :31]), ValueError, r"counts: expected shape \(24, 32, 4\), got \(24, 31, 4\)"),
    (lambda: mirvo.Stats(SUMS[..., 0], COUNTS), ValueError, r"sums: expected shape \(any, any, 4\), got \(24, 3"),
    (lambda: mirvo.Stats(SUMS, COUNTS, black_level=(1, 2, 3)), TypeError, "black_level: expected an int or a seq"),
    (lambda: setattr(mirvo.Tuning(), "BUL", np.ones(221, np.float32)), ValueError, r"BUL: expected shape \(13, 17\)"),
    (lambda: setattr(mirvo.Tuning(), "smooth_thd", float("inf")), ValueError, "smooth_thd: expected a finite float32"),
    # Finite as a double, infinite as the float32 it would become.
    (lambda: setattr(mirvo.Tuning(), "limit_thd", 1e39), ValueError, r"limit_thd: expected a finite float32 .* 1e\+39"),
    (lambda: mirvo.Stats(SUMS, COUNTS, black_level_gain=(1, 1, 1e39, 1)), ValueError,
     "black_level_gain: expected a finite float32"),
    (lambda: mirvo.stats_from_raw(FRAME.astype(np.float32), "RGGB", 14), TypeError, "frame: expected dtype uint16"),
    (lambda: mirvo.stats_from_raw(FRAME[:, :191].copy(), "RGGB", 14), ValueError, "^width and height must be even$"),
    # The program's raw-frame rules, with the module's names for the values.
    (lambda: mirvo.stats_from_raw(FRAME, "RGGB", 14, grid=(97, 24)), ValueError,
     "^grid: the frame is too small for this many cells$"),
    (lambda: mirvo.read_raw("x.raw", 102, 100, 10, "RGGB", mipi=True), ValueError,
     "^mipi: RAW10 rows hold groups of 4 pixels, width must be a multiple of 4$"),
    (lambda: mirvo.stats_from_raw(FRAME, "RGGB", 16), ValueError, "bits: 16 is not within 1..14"),
    # Crops as the program checks them: sensor pixels, the crop on the sensor.
    (lambda: mirvo.Core().set_sensor_crop(4032, 3024, 0, 0, 0, 3024), ValueError, r"out_w: 0.0 is out of range \(1 to"),
    (lambda: mirvo.Core().set_sensor_crop(1e39, 3024, 0, 0, 1e39, 3024), ValueError, r"in_w: 1e\+39 is out of range"),
    (lambda: mirvo.Core().set_sensor_crop(4032, 3024, 100, 0, 4000, 3024), ValueError, r"offs_x \+ out_w reaches beyo"),
    # A tuning's grids are writable views: a Core checks them when it takes them.
    (lambda: mirvo.Core(tuning_with(BVL=np.nan)), ValueError, "tuning: BVL holds a value that is not finite"),
    (lambda: mirvo.Core(tuning_with(BgUHXY=np.inf)), ValueError, "tuning: BgUHXY holds a value that is not finite"),
    # Objects made by __new__ without __init__ refuse every use.
    (lambda: never_initialised(mirvo.Core).debug, TypeError, "mirvo.Core object was never initialised"),
    (lambda: never_initialised(mirvo.Core).process(golden_frame(0), GOOD), TypeError, "never initialised"),
    (lambda: mirvo.Core().process(never_initialised(mirvo.Stats), GOOD), TypeError, "mirvo.Stats object was never"),
    (lambda: never_initialised(mirvo.Stats).sums, TypeError, "mirvo.Stats object was never initialised"),
    (lambda: mirvo.Core(never_initialised(mirvo.Tuning)), TypeError, "mirvo.Tuning object was never initialised"),
    (lambda: never_initialised(mirvo.Tuning).BUL, TypeError, "mirvo.Tuning object was never initialised"),
    (lambda: never_initialised(mirvo.CalibrationSummary).captures, TypeError, "never initialised"),
    (lambda: never_initialised(mirvo.ProfileLearningReport).projection_u, TypeError, "never initialised"),
    (lambda: mirvo.render(FRAME, "RGGB", 14, white_balance=(1, 0, 1)), ValueError, "as-shot neutral is not positive"),
    (lambda: mirvo.render(FRAME[:32, :48].copy(), "RGGB", 14), ValueError, "at least 64x48 pixels"),
])
def test_bad_arrays_raise_with_expected_and_given(call, error, message):
    with pytest.raises(error, match=message):
        call()


def test_values_that_convert_exactly_are_taken():
    exact = process(GOOD)
    # float64 holding float32 numbers, big-endian float32: the same table.
    np.testing.assert_array_equal(process(GOOD.astype(np.float64)), exact)
    np.testing.assert_array_equal(process(GOOD.astype(">f4")), exact)
    # int64 sums and counts that fit, strided views (copied into the cells).
    s = mirvo.Stats(SUMS.astype(np.int64) * 5, np.ones((24, 64, 4), np.int64)[:, ::2])
    assert s.sums.dtype == np.uint32 and int(s.sums.sum()) == 5 * SUMS.size
    assert s.counts.dtype == np.uint16 and s.sat_counts.dtype == np.uint16


def test_stats_views_write_through():
    s = mirvo.Stats(SUMS, COUNTS)
    s.sums[3, 4, 2], s.sat_counts[0, 0] = 123, 9
    assert s.sums[3, 4].tolist() == [1, 1, 123, 1] and s.sat_counts[0, 0].tolist() == [9, 9, 9, 9]
    sums = s.sums
    del s
    assert sums[3, 4, 2] == 123  # the view keeps the statistics alive
