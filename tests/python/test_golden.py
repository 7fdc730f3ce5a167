"""The module gives the C++ Core's numbers bit for bit: the golden multi-frame
scene (debugging, smoothing and temporal filter on, a sensor crop, a
generated learned profile) against the C++ golden test's checked-in tables
and diagnostic dump."""

import numpy as np

import mirvo
from conftest import DATA, golden_base, golden_frame, golden_tuning


def golden_tables():
    """Per frame the (4, 13, 17) float32 tables of golden/engine_tables.txt."""
    text = (DATA / "golden" / "engine_tables.txt").read_text().split("\nlog:")[0]
    rows = [[float.fromhex(v) for v in line.split()] for line in text.splitlines()
            if not line.startswith("frame ") and not line.endswith(":")]
    return np.array(rows, np.float32).reshape(-1, 4, 13, 17)


def dump_text(diagnostics):
    """The diagnostic dump as MirvoState::SaveAll writes it: scalars, then grids
    by element type (float, uint, ushort, uchar), each in byte-wise key order."""
    out = b"".join(b"%s=\n%g\n" % (k.encode(), v) for k, v in sorted(diagnostics.items()) if isinstance(v, float))
    for dtype in (np.float32, np.uint32, np.uint16, np.uint8):
        for key, grid in sorted((k, v) for k, v in diagnostics.items() if getattr(v, "dtype", None) == dtype):
            assert grid.shape == tuple(map(int, key[key.index("[") + 1:-1].split("]["))), key
            if dtype == np.uint8:
                values = b" ".join(bytes([v]) for v in grid.ravel())
            else:
                values = b" ".join((b"%g" if dtype == np.float32 else b"%d") % v for v in grid.ravel().tolist())
            out += b"\n%s=\n%s\n" % (key.encode(), values)
    return out


def test_golden_scene_matches_the_cpp_core_bit_for_bit(base_table):
    core = mirvo.Core(golden_tuning())
    core.debug = True
    core.set_sensor_crop(4032, 3024, 504, 378, 3024, 2268)
    expected = golden_tables()
    assert expected.shape[0] == 6
    gains = []
    for frame, want in enumerate(expected):
        out = core.process(golden_frame(frame), golden_base(base_table, frame))
        assert out.dtype == np.float32 and out.shape == (4, 13, 17)
        np.testing.assert_array_equal(out.view(np.uint32), want.view(np.uint32), err_msg=f"frame {frame}")
        gains.append(core.temporal_update_gain)
    # The debug log's projection lines of the golden run, to their 6 decimals.
    assert [round(g, 6) for g in gains] == [0.8, 0.308928, 0.16, 0.327238, 0.16, 0.16]
    assert [round(p, 6) for p in core.projections] == [5.852048, -0.384283]
    assert dump_text(core.diagnostics()) == (DATA / "golden" / "engine_dump.txt").read_bytes()
