#include "workbench/preview/gain_field.h"

#include <algorithm>
#include <cmath>

#include "resample/bicubic.h"

namespace mirvo::workbench {
namespace {

constexpr int kRows = 13;
constexpr int kCols = 17;

}  // namespace

AxisWeights LatticeAxis(int nodes, int pixels) {
  // The library's Catmull-Rom kernel, 32 pixels at a time.
  constexpr int kChunk = 32;
  AxisWeights a;
  a.start.resize(static_cast<size_t>(pixels));
  a.w.resize(static_cast<size_t>(pixels) * 4);
  for (int i0 = 0; i0 < pixels; i0 += kChunk) {
    float pos[kChunk];
    int start[kChunk];
    float w[kChunk][4];
    for (int j = 0; j < kChunk; ++j) pos[j] = static_cast<float>((i0 + j + 0.5) * (nodes - 1) / pixels);
    BicubicKernel<kChunk>(nodes, pos, start, w);
    for (int j = 0; j < kChunk && i0 + j < pixels; ++j) {
      const size_t i = static_cast<size_t>(i0 + j);
      a.start[i] = start[j];
      std::copy(w[j], w[j] + 4, &a.w[i * 4]);
    }
  }
  return a;
}

GainField::GainField(const LscTable* table, int width, int height)
    : width_(width), height_(height), unity_(table == nullptr) {
  if (unity_) return;
  const float(*planes[4])[kCols] = {table->r_gain, table->gr_gain, table->gb_gain, table->b_gain};
  for (int p = 0; p < 4; ++p) nodes_[p].assign(&planes[p][0][0], &planes[p][0][0] + kRows * kCols);
  cols_ = LatticeAxis(kCols, width);
  rows_ = LatticeAxis(kRows, height);
}

void GainField::Row(int y, float* const (&out)[4]) const {
  if (unity_) {
    for (float* o : out) std::fill(o, o + width_, 1.0f);
    return;
  }
  const int r0 = rows_.start[static_cast<size_t>(y)];
  const float* wy = &rows_.w[static_cast<size_t>(y) * 4];
  for (int p = 0; p < 4; ++p) {
    // The lattice row at this height, then the columns from it.
    float line[kCols];
    const float* n = nodes_[p].data() + static_cast<size_t>(r0) * kCols;
    for (int c = 0; c < kCols; ++c)
      line[c] = wy[0] * n[c] + wy[1] * n[c + kCols] + wy[2] * n[c + 2 * kCols] + wy[3] * n[c + 3 * kCols];
    float* o = out[p];
    for (int x = 0; x < width_; ++x) {
      const float* l = line + cols_.start[static_cast<size_t>(x)];
      const float* wx = &cols_.w[static_cast<size_t>(x) * 4];
      o[x] = wx[0] * l[0] + wx[1] * l[1] + wx[2] * l[2] + wx[3] * l[3];
    }
  }
}

}  // namespace mirvo::workbench
