"""The module gives the C++ Core's numbers bit for bit: the golden multi-frame
scene (debugging, smoothing and temporal filter on, a sensor crop, a
generated learned profile) against the C++ golden test's checked-in tables
and diagnostic dump."""

import numpy as np

import mirvo
from conftest import DATA, golden_base, golden_frame, golden_tuning

FRAMES = 6


def golden_tables():
    """Per frame the (4, 13, 17) float32 tables of golden/engine_tables.txt."""
    tables, planes = [], []
    for line in (DATA / "golden" / "engine_tables.txt").read_text().splitlines():
        if line == "log:":
            break
        if line.startswith("frame ") or line.endswith(":"):
            continue
        planes.append([float.fromhex(v) for v in line.split()])
        if len(planes) == 52:
            tables.append(np.array(planes, np.float32).reshape(4, 13, 17))
            planes = []
    return tables


def dump_text(diagnostics):
    """The diagnostic dump as MirvoState::SaveAll writes it: scalars, then grids
    by element type (float, uint, ushort, uchar), each in byte-wise key order."""
    out = b""
    for key in sorted(k for k, v in diagnostics.items() if isinstance(v, float)):
        out += b"%s=\n%s\n" % (key.encode(), (b"%g" % diagnostics[key]))
    for dtype in (np.float32, np.uint32, np.uint16, np.uint8):
        keys = sorted(k for k, v in diagnostics.items() if isinstance(v, np.ndarray) and v.dtype == dtype)
        for key in keys:
            grid = diagnostics[key]
            rows, cols = map(int, key[key.index("[") + 1 : -1].split("]["))
            assert grid.shape == (rows, cols), key
            if dtype == np.uint8:
                values = b" ".join(bytes([v]) for v in grid.ravel())
            elif dtype == np.float32:
                values = b" ".join(b"%g" % float(v) for v in grid.ravel())
            else:
                values = b" ".join(b"%d" % v for v in grid.ravel())
            out += b"\n%s=\n%s\n" % (key.encode(), values)
    return out


def test_golden_scene_matches_the_cpp_core_bit_for_bit(base_table):
    core = mirvo.Core(golden_tuning())
    core.debug = True
    core.set_sensor_crop(4032, 3024, 504, 378, 3024, 2268)
    expected = golden_tables()
    assert len(expected) == FRAMES
    gains = []
    for frame in range(FRAMES):
        out = core.process(golden_frame(frame), golden_base(base_table, frame))
        assert out.dtype == np.float32 and out.shape == (4, 13, 17)
        np.testing.assert_array_equal(out.view(np.uint32), expected[frame].view(np.uint32), err_msg=f"frame {frame}")
        gains.append(core.temporal_update_gain)
    # The debug log's projection lines of the golden run, to their 6 decimals.
    assert [round(g, 6) for g in gains] == [0.8, 0.308928, 0.16, 0.327238, 0.16, 0.16]
    prj_u, prj_v = core.projections
    assert (round(prj_u, 6), round(prj_v, 6)) == (5.852048, -0.384283)
    assert dump_text(core.diagnostics()) == (DATA / "golden" / "engine_dump.txt").read_bytes()
