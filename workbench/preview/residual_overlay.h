#pragma once

#include <vector>

#include "core/lsc_table.h"
#include "workbench/preview/preview_render.h"

namespace mirvo::workbench {

// The colour shading left in a frame after its table: per statistics cell
// (32 x 24, row-major) log R/G and log B/G about their means over the
// reliable grey cells, natural logs as the report's tint maps (positive:
// too red, too blue). NaN where a cell is not a reliable grey one.
struct ResidualShading {
  int cols = 32;
  int rows = 24;
  std::vector<float> u;  // log R/G
  std::vector<float> v;  // log B/G
  double rms = 0;        // over both, in log units; 0 without grey cells
  int grey_cells = 0;
  double mean_u = 0;  // the means u and v are about: the frame's colour cast
  double mean_v = 0;
};

// Throws WorkbenchError as MeasureCells.
ResidualShading MeasureResidual(const BayerPlanes& planes, const LscTable* table);

// Values of the maps' colour ends: +-this many log units (8 %).
inline constexpr float kResidualScale = 0.08f;
// The isolines' spacing in log units (2 %).
inline constexpr float kIsolineStep = 0.02f;

// The two maps side by side (u left, v right), `cell` pixels a cell, blue
// through white to red over +-kResidualScale; grey where a cell has no value.
RgbImage ResidualMaps(const ResidualShading& residual, int cell);

// `preview` dimmed, with isolines every kIsolineStep of u (red above zero,
// cyan below) and v (blue above, yellow below) of the residual averaged over
// 3 x 3 cells, interpolated between the cell centres.
RgbImage ResidualIsolines(const RgbImage& preview, const ResidualShading& residual);

}  // namespace mirvo::workbench
