#include "workbench/preview/cell_means.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "workbench/error.h"
#include "workbench/preview/gain_field.h"

namespace mirvo::workbench {
namespace {

// Cell levels a tuning engineer would trust, as shares of the range.
constexpr float kDarkLevel = 0.02f;
constexpr float kBrightLevel = 0.9f;
constexpr double kMaxClippedShare = 0.01;
// How far (natural log) a grey cell's R/G and B/G may sit from the median.
constexpr float kGreyReach = 0.25f;
// ... and from the median of its grey neighbours: shading is smooth, the
// edges of coloured objects are not.
constexpr float kLocalReach = 0.02f;

float Median(std::vector<float> v) {
  const size_t mid = v.size() / 2;
  std::nth_element(v.begin(), v.begin() + static_cast<long>(mid), v.end());
  return v[mid];
}

}  // namespace

CellMeans MeasureCells(const BayerPlanes& planes, const LscTable* table) {
  CellMeans m;
  const int cell_w = planes.width / m.cols;
  const int cell_h = planes.height / m.rows;
  if (cell_w < 1 || cell_h < 1)
    throw WorkbenchError("frame of " + std::to_string(planes.width * 2) + " x " + std::to_string(planes.height * 2) +
                         " is smaller than the statistics grid");
  const int step = cell_w >= 8 && cell_h >= 8 ? 2 : 1;
  const int x0 = (planes.width - cell_w * m.cols) / 2;
  const int y0 = (planes.height - cell_h * m.rows) / 2;
  const size_t cells = static_cast<size_t>(m.cols) * m.rows;
  std::vector<double> sum[4];
  for (auto& s : sum) s.assign(cells, 0.0);
  std::vector<int> count(cells, 0), clipped(cells, 0);

  const GainField field(table, planes.width, planes.height);
  std::vector<float> gains(static_cast<size_t>(planes.width) * 4);
  float* const rows[4] = {gains.data(), gains.data() + planes.width, gains.data() + 2 * planes.width,
                          gains.data() + 3 * planes.width};
  const float clip = planes.white * 0.98f;
  for (int cr = 0; cr < m.rows; ++cr) {
    for (int y = y0 + cr * cell_h; y < y0 + (cr + 1) * cell_h; y += step) {
      field.Row(y, rows);
      const size_t line = static_cast<size_t>(y) * planes.width;
      for (int cc = 0; cc < m.cols; ++cc) {
        const size_t c = static_cast<size_t>(cr) * m.cols + cc;
        for (int x = x0 + cc * cell_w; x < x0 + (cc + 1) * cell_w; x += step) {
          bool over = false;
          for (int p = 0; p < 4; ++p) {
            const float v = planes.plane[p][line + x];
            over |= v >= clip;
            sum[p][c] += static_cast<double>((v - planes.black[p]) * rows[p][x]);
          }
          ++count[c];
          clipped[c] += over;
        }
      }
    }
  }

  const double range =
      std::max(1.0f, planes.white - std::max({planes.black[0], planes.black[1], planes.black[2], planes.black[3]}));
  m.r.resize(cells);
  m.g.resize(cells);
  m.b.resize(cells);
  m.reliable.resize(cells);
  m.grey.assign(cells, false);
  std::vector<float> lu, lv;
  for (size_t c = 0; c < cells; ++c) {
    const double n = count[c] * range;
    m.r[c] = static_cast<float>(sum[0][c] / n);
    m.g[c] = static_cast<float>((sum[1][c] + sum[2][c]) * 0.5 / n);
    m.b[c] = static_cast<float>(sum[3][c] / n);
    m.reliable[c] = m.g[c] > kDarkLevel && m.g[c] < kBrightLevel && m.r[c] > 0 && m.b[c] > 0 &&
                    clipped[c] <= kMaxClippedShare * count[c];
    if (!m.reliable[c]) continue;
    lu.push_back(std::log(m.r[c] / m.g[c]));
    lv.push_back(std::log(m.b[c] / m.g[c]));
  }
  if (lu.empty()) return m;
  const float mu = Median(lu);
  const float mv = Median(lv);
  for (size_t c = 0; c < cells; ++c) {
    if (!m.reliable[c]) continue;
    m.grey[c] = std::fabs(std::log(m.r[c] / m.g[c]) - mu) < kGreyReach &&
                std::fabs(std::log(m.b[c] / m.g[c]) - mv) < kGreyReach;
  }
  const std::vector<bool> candidates = m.grey;
  for (int cr = 0; cr < m.rows; ++cr) {
    for (int cc = 0; cc < m.cols; ++cc) {
      const size_t c = static_cast<size_t>(cr) * m.cols + cc;
      if (!candidates[c]) continue;
      std::vector<float> nu, nv;
      for (int dr = -1; dr <= 1; ++dr)
        for (int dc = -1; dc <= 1; ++dc) {
          const int r = cr + dr, k = cc + dc;
          if ((dr == 0 && dc == 0) || r < 0 || r >= m.rows || k < 0 || k >= m.cols) continue;
          const size_t n = static_cast<size_t>(r) * m.cols + k;
          if (!candidates[n]) continue;
          nu.push_back(std::log(m.r[n] / m.g[n]));
          nv.push_back(std::log(m.b[n] / m.g[n]));
        }
      if (nu.size() < 3) continue;  // too few neighbours to judge
      m.grey[c] = std::fabs(std::log(m.r[c] / m.g[c]) - Median(nu)) < kLocalReach &&
                  std::fabs(std::log(m.b[c] / m.g[c]) - Median(nv)) < kLocalReach;
    }
  }
  return m;
}

}  // namespace mirvo::workbench
