#!/usr/bin/env python3
"""A first session with `mirvo` in Python: read a raw frame, build its
statistics, run the engine over a few frames, plot what it estimated and
show the frame before and after the correction (a second figure, *_pictures.png).

    python3 shading_example.py --out shading.png
    python3 shading_example.py --raw frame.raw --width 4032 --height 3024 --bits 10 \\
        --pattern GRBG --black-level 1024 --base isp_table.h --out shading.png

With no arguments it takes the small real frame and LSC table in tests/data.
"""

import argparse
import pathlib

import matplotlib

matplotlib.use("Agg")  # headless: the figure goes to a file
import matplotlib.pyplot as plt
import numpy as np

import mirvo

DATA = pathlib.Path(__file__).resolve().parents[2] / "tests" / "data"

parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
parser.add_argument("--raw", default=DATA / "nikon_dsc1339_crop_192x128_RGGB_14bit.raw")
parser.add_argument("--width", type=int, default=192)
parser.add_argument("--height", type=int, default=128)
parser.add_argument("--bits", type=int, default=14)
parser.add_argument("--pattern", default="RGGB")
parser.add_argument("--black-level", type=int, default=600, help="in 14-bit units")
parser.add_argument("--base", default=DATA / "ov8858_d50_lsc.h", help="the ISP's LSC table (header file)")
parser.add_argument("--frames", type=int, default=8)
parser.add_argument("--out", default="shading_example.png")
args = parser.parse_args()

# 1. A raw frame (uint16, height x width) and its 24 x 32 cell statistics.
frame = mirvo.read_raw(args.raw, args.width, args.height, args.bits, args.pattern)
stats = mirvo.stats_from_raw(frame, args.pattern, args.bits, black_level=args.black_level)
base = mirvo.load_table(args.base)  # float32 (4, 13, 17): R, Gr, Gb, B
print(f"{args.raw}: {frame.shape[1]}x{frame.shape[0]}, statistics grid {stats.grid}")

# 2. The engine, frame after frame: the temporal filter converges over a few.
core = mirvo.Core(mirvo.default_tuning())
core.debug = True  # record the intermediate grids for diagnostics()
projections = []
for k in range(args.frames):
    table = core.process(stats, base)
    projections.append(core.projections)
    print(f"frame {k}: prj_u {core.projections[0]:+.4f}, prj_v {core.projections[1]:+.4f}")
diag = core.diagnostics()

# 3. Plot: projections over the frames, the estimated log tint u and v on the
#    13 x 17 lattice, and the output table's R/G and B/G against the base's.
fig, ax = plt.subplots(2, 3, figsize=(13, 7))
ax[0, 0].plot(np.array(projections), marker="o")
ax[0, 0].set(title="projections on the learned profile", xlabel="frame")
ax[0, 0].legend(["prj_u", "prj_v"])
for a, key, title in ((ax[0, 1], "log_tint_u[13][17]", "tint u = log R/G"),
                      (ax[0, 2], "log_tint_v[13][17]", "tint v = log B/G")):
    fig.colorbar(a.imshow(diag[key], cmap="coolwarm"), ax=a)
    a.set_title(f"estimated {title}")
green = (table[1] + table[2]) / 2
for a, plane, name in ((ax[1, 0], 0, "R"), (ax[1, 1], 3, "B")):
    fig.colorbar(a.imshow(table[plane] / green, cmap="viridis"), ax=a)
    a.set_title(f"output table {name}/G")
ax[1, 2].plot(table[0, 6] / base[0, 6], label="R")
ax[1, 2].plot(table[3, 6] / base[3, 6], label="B")
ax[1, 2].set(title="output / base gain, middle row", xlabel="column")
ax[1, 2].legend()
fig.tight_layout()
pathlib.Path(args.out).parent.mkdir(parents=True, exist_ok=True)
fig.savefig(args.out, dpi=80)
print(f"figure: {args.out}")

# 4. The pictures: the frame as the ISP would render it with the base table and
#    with mirvo's, one look (white balance, exposure) for both so that only the
#    table differs, and under each the colour shading left (log R/G, log B/G).
fig, ax = plt.subplots(2, 3, figsize=(13, 6))
for row, (name, lsc) in enumerate((("as the ISP did (base table)", base), ("with mirvo's table", table))):
    ax[row, 0].imshow(mirvo.render(frame, args.pattern, args.bits, args.black_level, table=lsc, look_table=table))
    ax[row, 0].set_title(name)
    u, v = mirvo.residual_shading(frame, args.pattern, args.bits, args.black_level, table=lsc)
    for a, grid, title in ((ax[row, 1], u, "left: log R/G"), (ax[row, 2], v, "left: log B/G")):
        fig.colorbar(a.imshow(grid, cmap="coolwarm", vmin=-0.08, vmax=0.08), ax=a)
        a.set_title(title)
for a in ax.flat:
    a.set_axis_off()
fig.tight_layout()
pictures = pathlib.Path(args.out).with_name(pathlib.Path(args.out).stem + "_pictures.png")
fig.savefig(pictures, dpi=80)
print(f"pictures: {pictures}")
