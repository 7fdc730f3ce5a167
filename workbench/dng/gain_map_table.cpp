#include "workbench/dng/gain_map_table.h"

#include <algorithm>
#include <cmath>

#include "workbench/error.h"

namespace mirvo {
namespace workbench {
namespace {

constexpr int kRows = 13;
constexpr int kCols = 17;

// Map index coordinate of relative position `rel`, clamped to the map, and
// snapped onto a point when it falls on one up to rounding, so that maps on
// the lattice's own nodes come through unchanged.
double MapIndex(double rel, double origin, double spacing, uint32_t points) {
  if (points == 1) return 0;
  double i = (rel - origin) / spacing;
  i = std::min(std::max(i, 0.0), static_cast<double>(points - 1));
  const double nearest = std::round(i);
  return std::fabs(i - nearest) < 1e-6 ? nearest : i;
}

void CubicWeights(double t, double (&w)[4]) {
  const double t2 = t * t, t3 = t2 * t;
  w[0] = (-t3 + 2 * t2 - t) / 2;
  w[1] = (3 * t3 - 5 * t2 + 2) / 2;
  w[2] = (-3 * t3 + 4 * t2 + t) / 2;
  w[3] = (t3 - t2) / 2;
}

// Value i of a line of n points, one point beyond either end extrapolated
// quadratically (linearly from two points), so that the cubic reproduces
// quadratic shading up to the map's edges.
template <typename F>
double Tap(const F& f, int i, int n) {
  if (i >= 0 && i < n) return f(i);
  if (n == 1) return f(0);
  const int a = i < 0 ? 0 : n - 1, d = i < 0 ? 1 : -1;
  if (n == 2) return 2 * f(a) - f(a + d);
  return 3 * f(a) - 3 * f(a + d) + f(a + 2 * d);
}

// The map's gain of plane `k` at relative position (v, h): Catmull-Rom
// between its points, the positions outside it clamped to its edge.
float Sample(const GainMap& m, uint32_t k, double v, double h) {
  const double iv = MapIndex(v, m.origin_v, m.spacing_v, m.points_v);
  const double ih = MapIndex(h, m.origin_h, m.spacing_h, m.points_h);
  const int v0 = static_cast<int>(std::floor(iv)), h0 = static_cast<int>(std::floor(ih));
  const int nv = static_cast<int>(m.points_v), nh = static_cast<int>(m.points_h);
  double wv[4], wh[4];
  CubicWeights(iv - v0, wv);
  CubicWeights(ih - h0, wh);
  const auto row = [&](int y) {
    const auto point = [&](int x) {
      return static_cast<double>(m.gains[(static_cast<size_t>(y) * m.points_h + x) * m.map_planes + k]);
    };
    double sum = 0;
    for (int i = 0; i < 4; ++i)
      if (wh[i] != 0) sum += wh[i] * Tap(point, h0 - 1 + i, nh);
    return sum;
  };
  double sum = 0;
  for (int j = 0; j < 4; ++j)
    if (wv[j] != 0) sum += wv[j] * Tap(row, v0 - 1 + j, nv);
  return static_cast<float>(sum);
}

}  // namespace

float* TablePlane(LscTable& t, int plane) {
  float(*const planes[4])[17] = {t.r_gain, t.gr_gain, t.gb_gain, t.b_gain};
  return planes[plane][0];
}

const float* TablePlane(const LscTable& t, int plane) { return TablePlane(const_cast<LscTable&>(t), plane); }

void QuadTablePlanes(const std::string& pattern, int (&plane)[4]) {
  for (int q = 0; q < 4; ++q) {
    const char c = q < static_cast<int>(pattern.size()) ? pattern[q] : '?';
    plane[q] = c == 'R' ? 0 : c == 'B' ? 3 : q < 2 ? 1 : 2;
  }
}

LscTable TableFromGainMaps(const std::vector<GainMap>& maps, GainMapStage stage, const std::string& pattern, int width,
                           int height) {
  int quad_plane[4];
  QuadTablePlanes(pattern, quad_plane);
  // For each table plane: which map and which of its planes gives it.
  const GainMap* source[4] = {nullptr, nullptr, nullptr, nullptr};
  uint32_t source_plane[4] = {0, 0, 0, 0};
  const auto take = [&](int table_plane, const GainMap& m, uint32_t k) {
    if (source[table_plane] != nullptr)
      throw WorkbenchError("GainMaps: two maps for the same Bayer position; cannot make one table");
    source[table_plane] = &m;
    source_plane[table_plane] = k;
  };
  for (const GainMap& m : maps) {
    // Android puts Bottom/Right at the image size; a map's own last row or
    // column of its phase is as good.
    if (m.top > 1 || m.left > 1 || m.bottom + 1 < static_cast<uint32_t>(height) ||
        m.right + 1 < static_cast<uint32_t>(width))
      throw WorkbenchError("GainMap covering only part of the image (" + std::to_string(m.top) + "," +
                           std::to_string(m.left) + " to " + std::to_string(m.bottom) + "," + std::to_string(m.right) +
                           "); cannot make a table");
    if (m.map_planes != 1 && m.map_planes != m.planes)
      throw WorkbenchError("GainMap with " + std::to_string(m.map_planes) + " map planes for " +
                           std::to_string(m.planes) + " image planes");
    if (stage == GainMapStage::kMosaic) {
      if (m.plane != 0 || m.planes != 1) throw WorkbenchError("GainMap on a plane the Bayer mosaic does not have");
      if (m.row_pitch == 1 && m.col_pitch == 1) {
        for (int p = 0; p < 4; ++p) take(p, m, 0);
      } else if (m.row_pitch == 2 && m.col_pitch == 2) {
        take(quad_plane[(m.top % 2) * 2 + m.left % 2], m, 0);
      } else {
        throw WorkbenchError("GainMap with pitch " + std::to_string(m.row_pitch) + "x" + std::to_string(m.col_pitch) +
                             " is not per Bayer position; cannot make a table");
      }
    } else {
      if (m.row_pitch != 1 || m.col_pitch != 1 || uint64_t{m.plane} + m.planes > 3)
        throw WorkbenchError("GainMap on the R, G, B planes with a pitch or plane the image does not have");
      for (uint32_t k = 0; k < m.planes; ++k) {
        const uint32_t colour = m.plane + k;
        const uint32_t kk = m.map_planes == 1 ? 0 : k;
        if (colour == 0) take(0, m, kk);
        if (colour == 1) take(1, m, kk), take(2, m, kk);
        if (colour == 2) take(3, m, kk);
      }
    }
  }
  // R, G, B maps on the mosaic give one green: both greens take it.
  if (source[1] == nullptr && source[2] != nullptr) source[1] = source[2], source_plane[1] = source_plane[2];
  if (source[2] == nullptr && source[1] != nullptr) source[2] = source[1], source_plane[2] = source_plane[1];
  for (int p = 0; p < 4; ++p)
    if (source[p] == nullptr)
      throw WorkbenchError("GainMaps (" + std::to_string(maps.size()) + ") do not cover every Bayer position");
  LscTable table;
  for (int p = 0; p < 4; ++p) {
    float* out = TablePlane(table, p);
    for (int r = 0; r < kRows; ++r)
      for (int c = 0; c < kCols; ++c) out[r * kCols + c] = Sample(*source[p], source_plane[p], r / 12.0, c / 16.0);
  }
  return table;
}

std::vector<GainMap> GainMapsFromTable(const LscTable& table, const std::string& pattern, int width, int height) {
  int quad_plane[4];
  QuadTablePlanes(pattern, quad_plane);
  std::vector<GainMap> maps;
  for (int p = 0; p < 4; ++p) {
    const int q = static_cast<int>(std::find(quad_plane, quad_plane + 4, p) - quad_plane);
    GainMap m;
    m.top = static_cast<uint32_t>(q / 2);
    m.left = static_cast<uint32_t>(q % 2);
    m.bottom = static_cast<uint32_t>(height);
    m.right = static_cast<uint32_t>(width);
    m.plane = 0;
    m.planes = 1;
    m.row_pitch = m.col_pitch = 2;
    m.points_v = kRows;
    m.points_h = kCols;
    m.spacing_v = 1.0 / 12;
    m.spacing_h = 1.0 / 16;
    m.map_planes = 1;
    const float* in = TablePlane(table, p);
    m.gains.assign(in, in + kRows * kCols);
    maps.push_back(m);
  }
  return maps;
}

}  // namespace workbench
}  // namespace mirvo
