#pragma once

#include <string>
#include <vector>

#include "render/image.h"

namespace mirvo_cli {

// A grid of values, row-major, to be drawn as a heatmap.
struct GridView {
  std::string title;
  int rows = 0;
  int cols = 0;
  std::vector<double> values;  // rows * cols
  // Signed values (log chroma, tints, gradients): a diverging colour map
  // symmetric about zero, which is marked on the legend. Otherwise a
  // sequential map over the value range.
  bool signed_values = false;
};

// Range of the finite values of a grid; min == max == 0 and count 0 when none.
struct ValueRange {
  double min = 0.0;
  double max = 0.0;
  int finite = 0;
};
ValueRange FiniteRange(const std::vector<double>& values);

// Side of one enlarged cell in pixels: small grids are drawn with large cells.
int AutoCellSize(int rows, int cols);

// One panel: the title on top, the cells enlarged to `cell` pixels and
// coloured over the grid's finite value range (symmetric about zero for
// signed grids), and a legend bar labelled with that range. Non-finite cells are drawn in kInvalidColor and counted
// below.
Image RenderHeatmap(const GridView& grid, int cell);

// Whether a diagnostic grid named `name` holds signed values drawn about
// zero: the log-chroma inputs and gains, gradients and log tints.
bool IsSignedGridName(const std::string& name);

// Places panels left to right, `per_row` to a row, on a white background.
Image ComposePanels(const std::vector<Image>& panels, int per_row);

// Short number text for labels ("%.4g").
std::string FormatValue(double v);

}  // namespace mirvo_cli
