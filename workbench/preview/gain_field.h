#pragma once

#include <vector>

#include "core/lsc_table.h"

namespace mirvo::workbench {

// Bicubic (Catmull-Rom) weights from the nodes of one lattice axis to the
// pixel centres of a plane side. The lattice spans the plane edge to edge:
// node k of n sits at k * pixels / (n - 1), the geometry under which the
// library resamples the table onto its statistics cells. The ends are
// extended linearly (as the library's BicubicKernel does), so a linear ramp
// is reproduced up to the border.
struct AxisWeights {
  std::vector<int> start;  // first of the four taps, 0 .. n - 4
  std::vector<float> w;    // four weights per pixel
};
AxisWeights LatticeAxis(int nodes, int pixels);

// The per-pixel gains of the four planes (R, Gr, Gb, B) of a table on a plane
// of width x height: each row is interpolated once from the lattice rows,
// then across its columns, so a frame costs four taps per plane and pixel.
// A null table is unity.
class GainField {
 public:
  GainField(const LscTable* table, int width, int height);

  // The gains of pixel row y, four rows of width() values (R, Gr, Gb, B).
  void Row(int y, float* const (&out)[4]) const;
  int width() const { return width_; }
  int height() const { return height_; }

 private:
  int width_;
  int height_;
  bool unity_;
  std::vector<float> nodes_[4];  // the 13 x 17 lattice per plane
  AxisWeights cols_;
  AxisWeights rows_;
};

}  // namespace mirvo::workbench
