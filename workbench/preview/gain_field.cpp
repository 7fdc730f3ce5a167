#include "workbench/preview/gain_field.h"

#include <algorithm>
#include <cmath>

namespace mirvo::workbench {
namespace {

constexpr int kRows = 13;
constexpr int kCols = 17;
constexpr int kExtRows = kRows + 2;
constexpr int kExtCols = kCols + 2;

// The plane's lattice with one more node on every side, continued linearly.
std::vector<float> Extend(const float (&g)[kRows][kCols]) {
  std::vector<float> e(kExtRows * kExtCols);
  auto at = [&e](int r, int c) -> float& { return e[static_cast<size_t>(r) * kExtCols + c]; };
  for (int r = 0; r < kRows; ++r) {
    for (int c = 0; c < kCols; ++c) at(r + 1, c + 1) = g[r][c];
    at(r + 1, 0) = 2.0f * g[r][0] - g[r][1];
    at(r + 1, kCols + 1) = 2.0f * g[r][kCols - 1] - g[r][kCols - 2];
  }
  for (int c = 0; c < kExtCols; ++c) {
    at(0, c) = 2.0f * at(1, c) - at(2, c);
    at(kRows + 1, c) = 2.0f * at(kRows, c) - at(kRows - 1, c);
  }
  return e;
}

}  // namespace

AxisWeights LatticeAxis(int nodes, int pixels) {
  AxisWeights a;
  a.start.resize(static_cast<size_t>(pixels));
  a.w.resize(static_cast<size_t>(pixels) * 4);
  for (int i = 0; i < pixels; ++i) {
    const double p = (i + 0.5) * (nodes - 1) / pixels;
    const int k = std::clamp(static_cast<int>(std::floor(p)), 0, nodes - 2);
    const double t = p - k;
    const double t2 = t * t;
    const double t3 = t2 * t;
    // Node k is extended index k + 1; the taps are k - 1 .. k + 2.
    a.start[static_cast<size_t>(i)] = k;
    float* w = &a.w[static_cast<size_t>(i) * 4];
    w[0] = static_cast<float>(0.5 * (-t3 + 2.0 * t2 - t));
    w[1] = static_cast<float>(0.5 * (3.0 * t3 - 5.0 * t2 + 2.0));
    w[2] = static_cast<float>(0.5 * (-3.0 * t3 + 4.0 * t2 + t));
    w[3] = static_cast<float>(0.5 * (t3 - t2));
  }
  return a;
}

GainField::GainField(const LscTable* table, int width, int height)
    : width_(width), height_(height), unity_(table == nullptr) {
  if (unity_) return;
  const float(*planes[4])[kRows][kCols] = {&table->r_gain, &table->gr_gain, &table->gb_gain, &table->b_gain};
  for (int p = 0; p < 4; ++p) nodes_[p] = Extend(*planes[p]);
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
    float line[kExtCols];
    const float* n = nodes_[p].data() + static_cast<size_t>(r0) * kExtCols;
    for (int c = 0; c < kExtCols; ++c)
      line[c] = wy[0] * n[c] + wy[1] * n[c + kExtCols] + wy[2] * n[c + 2 * kExtCols] + wy[3] * n[c + 3 * kExtCols];
    float* o = out[p];
    for (int x = 0; x < width_; ++x) {
      const float* l = line + cols_.start[static_cast<size_t>(x)];
      const float* wx = &cols_.w[static_cast<size_t>(x) * 4];
      o[x] = wx[0] * l[0] + wx[1] * l[1] + wx[2] * l[2] + wx[3] * l[3];
    }
  }
}

}  // namespace mirvo::workbench
