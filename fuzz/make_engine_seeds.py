#!/usr/bin/env python3
"""Writes the seed inputs of fuzz_core and fuzz_guarded_core in the layout
fuzz/engine_input.cpp reads (the guard's gain range byte follows the table)."""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def pack(f):
    return f if isinstance(f, bytes) else struct.pack("<f", f)


def header(which=0, mode=0, floats=(), crop=None, shape=0, depth=10, shift=2, layout=0x05,
           falloff=(60, 20, 20, 90), seeds=None, table=(16, 8, 8, 24)):
    b = bytes([which]) + b"".join(pack(f) for f in floats) + bytes([mode])
    if crop is not None:
        b += struct.pack("<HH", *crop)
    b += bytes([shape, depth, shift, layout]) + bytes(falloff)
    seeds = seeds or [(120, 200, 200, 90, 4, 0), (180, 240, 240, 140, 4, 2),
                      (60, 110, 110, 50, 5, 0), (200, 250, 250, 160, 3, 1)]
    for s in seeds:
        b += bytes(s)
    if which & 64:
        return b + b"".join(pack(f) for f in table)
    return b + bytes(table)


def frames(*records):
    return b"".join(struct.pack("<BHB", *r) for r in records)


NAN, INF, SNAN = float("nan"), float("inf"), struct.pack("<I", 0x7FA00000)
SEEDS = {
    # A plain scene over three frames, the temporal filter on.
    "scene": (header(which=128, mode=0x05), b"", frames((0, 0, 0), (4, 0, 140), (4, 3 << 4, 110))),
    # Diagnostics on, a crop, the 3x3 smoothing.
    "debug_crop": (header(which=32 | 128, mode=0x59, crop=(500, 3000)), b"", frames((0, 0, 0), (4, 0, 100))),
    # Hostile tuning and a tiled table of NaN, infinities, zero and negatives.
    "hostile": (header(which=0xDF, mode=0x06, floats=(-1.0, 0.0, NAN, -INF, 2.0),
                       seeds=[(255, 0, 255, 1, 0xFF, 0x80), (0, 0, 0, 0, 0x80 | (5 << 3), 0x7F),
                              (255, 255, 255, 255, 7, 0), (1, 255, 0, 128, 0, 0x80)],
                       depth=31, shift=15, table=(NAN, INF, -1.0, 0.0)),
            b"", frames((3, 100, 0), (0xC3, 767, 7), (6, 883, 200))),
    # A signaling NaN in every plane, one frame.
    "signaling_nan": (header(which=64, table=(1.0, SNAN, 1.5, 2.0)), b"", b""),
    # A grid the engine must reject.
    "bad_grid": (header(shape=0xFF, depth=12), b"", frames((0, 0, 0), (0, 0, 0))),
}
GUARD_RANGE = {"scene": b"\x00", "debug_crop": b"\x01" + struct.pack("<ff", 0.5, 4.0),
               "hostile": b"\x01" + struct.pack("<ff", 1.0, 1.0), "signaling_nan": b"\x00", "bad_grid": b"\x00"}

for target in ("fuzz_core", "fuzz_guarded_core"):
    folder = os.path.join(HERE, "corpus", target)
    for old in os.listdir(folder):
        os.remove(os.path.join(folder, old))
    for name, (head, _, tail) in SEEDS.items():
        data = head + (GUARD_RANGE[name] if target == "fuzz_guarded_core" else b"") + tail
        with open(os.path.join(folder, name + ".bin"), "wb") as f:
            f.write(data)
