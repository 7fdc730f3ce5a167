#!/usr/bin/env python3
"""Builds the u and v surfaces (BUL, BVL) of the built-in learned tint profile.

Input: a measured colour shading calibration with per-cell G/R (Cr) and G/B
(Cb) tables at several colour temperatures, as JSON (lists of rows, row 0 at
the top). The part of the colour shading that changes with the illuminant,
log(C(low CT) / C(high CT)), is taken at the lowest and highest calibrated
colour temperature, carried from the cell centres onto the 13 x 17 table
nodes, and given the mean of zero. u = a * that + b for the Cr table,
v = a * that for the Cb table. The scale a and the offset b are the least
squares fit of u's first three nodes to the known first values of the
product's profile. The offset does not reach the output (only differences of
the profile are fitted, and the linear tint is normalised to a mean of 1);
the scale sets the unit in which the engine's projections are measured.

Writes 221 + 221 numbers (BUL then BVL, row by row), one per line.
Standard library only; run by hand through generate.sh.
"""
import json
import math
import sys

KNOWN_FIRST_BUL = (-0.0545, -0.0617, -0.0638)
ROWS, COLS = 13, 17


def to_nodes(cells):
    """Bilinear from cell centres to the 13 x 17 nodes spanning the same area.

    With n cells across, node k sits at k * n / (nodes - 1) cell widths from the
    edge, i.e. at cell coordinate k * n / (nodes - 1) - 0.5. Nodes in the
    outer half cell are extrapolated linearly from the two nearest cells.
    """
    rows, cols = len(cells), len(cells[0])

    def axis(k, nodes, n):
        pos = k * n / (nodes - 1) - 0.5
        i0 = min(max(int(math.floor(pos)), 0), n - 2)
        return i0, pos - i0

    out = []
    for r in range(ROWS):
        y0, fy = axis(r, ROWS, rows)
        row = []
        for c in range(COLS):
            x0, fx = axis(c, COLS, cols)
            top = cells[y0][x0] * (1 - fx) + cells[y0][x0 + 1] * fx
            bottom = cells[y0 + 1][x0] * (1 - fx) + cells[y0 + 1][x0 + 1] * fx
            row.append(top * (1 - fy) + bottom * fy)
        out.append(row)
    return out


def illuminant_part(calibrations):
    by_ct = sorted(calibrations, key=lambda e: e["ct"])
    low, high = by_ct[0], by_ct[-1]
    cells = [[math.log(lo / hi) for lo, hi in zip(rl, rh)] for rl, rh in zip(low["table"], high["table"])]
    nodes = to_nodes(cells)
    mean = sum(map(sum, nodes)) / (ROWS * COLS)
    return [[v - mean for v in row] for row in nodes], low["ct"], high["ct"]


def main():
    src, out = sys.argv[1], sys.argv[2]
    data = json.load(open(src))
    u, ct_low, ct_high = illuminant_part(data["calibrations_Cr"])
    v, _, _ = illuminant_part(data["calibrations_Cb"])

    x = u[0][:3]
    mx = sum(x) / 3
    mt = sum(KNOWN_FIRST_BUL) / 3
    a = sum((xi - mx) * (ti - mt) for xi, ti in zip(x, KNOWN_FIRST_BUL)) / sum((xi - mx) ** 2 for xi in x)
    b = mt - a * mx
    bul = [[a * val + b for val in row] for row in u]
    bvl = [[a * val for val in row] for row in v]

    with open(out, "w") as f:
        for grid in (bul, bvl):
            for row in grid:
                for val in row:
                    f.write(repr(val) + "\n")

    def pp(g):
        return max(map(max, g)) - min(map(min, g))

    sys.stderr.write(
        "%s: log(C(%d K) / C(%d K)), scale a = %.6f, offset b = %.6f\n"
        "BUL first values %s (known %s)\npeak to peak: BUL %.4f, BVL %.4f\n"
        % (src, ct_low, ct_high, a, b, ", ".join("%.4f" % t for t in bul[0][:3]),
           ", ".join("%.4f" % t for t in KNOWN_FIRST_BUL), pp(bul), pp(bvl)))


if __name__ == "__main__":
    main()
