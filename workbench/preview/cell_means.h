#pragma once

#include <vector>

#include "core/lsc_table.h"
#include "workbench/preview/preview_render.h"

namespace mirvo::workbench {

// Per statistics cell (the library's 32 x 24 grid over the planes, centred as
// Stats::CreateFromRaw lays it) the means of the black-removed samples times
// the table's gains, normalised to the range; R, G (both greens) and B.
struct CellMeans {
  int cols = 32;
  int rows = 24;
  std::vector<float> r, g, b;
  std::vector<bool> reliable;  // lit, unclipped: the engine's kind of cell
  std::vector<bool> grey;      // reliable and near the frame's typical chroma
};

// Every second quad of every second row is read, enough for means of cells
// of some hundred quads. Throws WorkbenchError on planes smaller than the grid.
CellMeans MeasureCells(const BayerPlanes& planes, const LscTable* table);

}  // namespace mirvo::workbench
