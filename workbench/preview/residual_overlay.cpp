#include "workbench/preview/residual_overlay.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "workbench/preview/cell_means.h"

namespace mirvo::workbench {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Color {
  uint8_t r, g, b;
};

// Blue (negative) through white to red (positive), s in [-1, 1].
Color Diverging(float s) {
  if (!std::isfinite(s)) return {128, 128, 128};
  s = std::clamp(s, -1.0f, 1.0f);
  const Color end = s < 0 ? Color{40, 80, 200} : Color{200, 40, 40};
  const float t = std::fabs(s);
  auto mix = [t](uint8_t e) { return static_cast<uint8_t>(std::lround(255.0f + (e - 255.0f) * t)); };
  return {mix(end.r), mix(end.g), mix(end.b)};
}

// The residual at every pixel of a picture, bilinear between cell centres
// (clamped at the border); NaN next to a cell without a value.
std::vector<float> Upsample(const std::vector<float>& cells, int cols, int rows, int width, int height) {
  std::vector<float> out(static_cast<size_t>(width) * height);
  for (int y = 0; y < height; ++y) {
    const float cy = std::clamp((y + 0.5f) * rows / height - 0.5f, 0.0f, rows - 1.0f);
    const int r0 = std::min(static_cast<int>(cy), rows - 2 < 0 ? 0 : rows - 2);
    const int r1 = std::min(r0 + 1, rows - 1);
    const float ty = cy - r0;
    for (int x = 0; x < width; ++x) {
      const float cx = std::clamp((x + 0.5f) * cols / width - 0.5f, 0.0f, cols - 1.0f);
      const int c0 = std::min(static_cast<int>(cx), cols - 2 < 0 ? 0 : cols - 2);
      const int c1 = std::min(c0 + 1, cols - 1);
      const float tx = cx - c0;
      auto at = [&](int r, int c) { return cells[static_cast<size_t>(r) * cols + c]; };
      const float top = at(r0, c0) + (at(r0, c1) - at(r0, c0)) * tx;
      const float bottom = at(r1, c0) + (at(r1, c1) - at(r1, c0)) * tx;
      out[static_cast<size_t>(y) * width + x] = top + (bottom - top) * ty;
    }
  }
  return out;
}

// A 3 x 3 mean over the cells with a value, for cells with one: the lines
// follow the shading rather than the noise of single cells.
std::vector<float> Smooth(const std::vector<float>& cells, int cols, int rows) {
  std::vector<float> out(cells.size(), kNaN);
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < cols; ++c) {
      if (!std::isfinite(cells[static_cast<size_t>(r) * cols + c])) continue;
      double sum = 0;
      int n = 0;
      for (int y = std::max(0, r - 1); y <= std::min(rows - 1, r + 1); ++y)
        for (int x = std::max(0, c - 1); x <= std::min(cols - 1, c + 1); ++x) {
          const float v = cells[static_cast<size_t>(y) * cols + x];
          if (!std::isfinite(v)) continue;
          sum += v;
          ++n;
        }
      out[static_cast<size_t>(r) * cols + c] = static_cast<float>(sum / n);
    }
  }
  return out;
}

}  // namespace

ResidualShading MeasureResidual(const BayerPlanes& planes, const LscTable* table) {
  const CellMeans cells = MeasureCells(planes, table);
  ResidualShading res;
  res.cols = cells.cols;
  res.rows = cells.rows;
  const size_t n = cells.grey.size();
  res.u.assign(n, kNaN);
  res.v.assign(n, kNaN);
  double su = 0, sv = 0;
  for (size_t c = 0; c < n; ++c) {
    if (!cells.grey[c]) continue;
    res.u[c] = std::log(cells.r[c] / cells.g[c]);
    res.v[c] = std::log(cells.b[c] / cells.g[c]);
    su += res.u[c];
    sv += res.v[c];
    ++res.grey_cells;
  }
  if (res.grey_cells == 0) return res;
  res.mean_u = su / res.grey_cells;
  res.mean_v = sv / res.grey_cells;
  const float mu = static_cast<float>(res.mean_u);
  const float mv = static_cast<float>(res.mean_v);
  double sq = 0;
  for (size_t c = 0; c < n; ++c) {
    if (!cells.grey[c]) continue;
    res.u[c] -= mu;
    res.v[c] -= mv;
    sq += static_cast<double>(res.u[c]) * res.u[c] + static_cast<double>(res.v[c]) * res.v[c];
  }
  res.rms = std::sqrt(sq / (2.0 * res.grey_cells));
  return res;
}

RgbImage ResidualMaps(const ResidualShading& residual, int cell) {
  cell = std::max(1, cell);
  const int panel_w = residual.cols * cell;
  RgbImage img;
  img.width = 2 * panel_w + cell;
  img.height = residual.rows * cell;
  img.pixels.assign(static_cast<size_t>(img.width) * img.height * 3, 255);
  const std::vector<float>* maps[2] = {&residual.u, &residual.v};
  for (int m = 0; m < 2; ++m) {
    for (int y = 0; y < img.height; ++y) {
      for (int x = 0; x < panel_w; ++x) {
        const float value = (*maps[m])[static_cast<size_t>(y / cell) * residual.cols + x / cell];
        const Color c = Diverging(value / kResidualScale);
        uint8_t* o = &img.pixels[(static_cast<size_t>(y) * img.width + m * (panel_w + cell) + x) * 3];
        o[0] = c.r;
        o[1] = c.g;
        o[2] = c.b;
      }
    }
  }
  return img;
}

RgbImage ResidualIsolines(const RgbImage& preview, const ResidualShading& residual) {
  RgbImage img = preview;
  for (size_t i = 0; i + 2 < img.pixels.size(); i += 3) {
    uint8_t* p = &img.pixels[i];
    const int luma = (p[0] * 3 + p[1] * 6 + p[2]) / 10;
    for (int c = 0; c < 3; ++c) p[c] = static_cast<uint8_t>((p[c] * 4 + luma) / 10);
  }
  const int w = img.width;
  const int h = img.height;
  if (w < 2 || h < 2 || residual.u.empty()) return img;
  const std::vector<float>* maps[2] = {&residual.u, &residual.v};
  const Color above[2] = {{235, 50, 50}, {70, 110, 255}};
  const Color below[2] = {{0, 210, 225}, {245, 225, 0}};
  for (int m = 0; m < 2; ++m) {
    const std::vector<float> f =
        Upsample(Smooth(*maps[m], residual.cols, residual.rows), residual.cols, residual.rows, w, h);
    std::vector<int> level(f.size());
    for (size_t i = 0; i < f.size(); ++i)
      level[i] = std::isfinite(f[i]) ? static_cast<int>(std::floor(f[i] / kIsolineStep)) : INT32_MIN;
    for (int y = 0; y + 1 < h; ++y) {
      for (int x = 0; x + 1 < w; ++x) {
        const size_t i = static_cast<size_t>(y) * w + x;
        const int a = level[i];
        if (a == INT32_MIN) continue;
        for (const size_t j : {i + 1, i + static_cast<size_t>(w)}) {
          const int b = level[j];
          // The boundary between levels a and b is the line at max(a, b);
          // the zero line is left out, noise would scribble it everywhere.
          if (b == INT32_MIN || b == a || std::max(a, b) == 0) continue;
          const Color c = std::max(a, b) > 0 ? above[m] : below[m];
          uint8_t* o = &img.pixels[i * 3];
          o[0] = c.r;
          o[1] = c.g;
          o[2] = c.b;
        }
      }
    }
  }
  return img;
}

}  // namespace mirvo::workbench
