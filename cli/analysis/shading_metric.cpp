#include "analysis/shading_metric.h"

#include <cmath>

#include "core/matrix.h"
#include "resample/bicubic.h"

namespace mirvo_cli {

double ResidualColourShading(const DemoLens& lens, const mirvo::LscTable& table) {
  mirvo::Matrix<float> rg(17, 13), bg(17, 13);
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      const float g = (table.gr_gain[r][c] + table.gb_gain[r][c]) * 0.5f;
      rg(r, c) = table.r_gain[r][c] / g;
      bg(r, c) = table.b_gain[r][c] / g;
    }
  // The same bilinear placement the engine uses for the base table's gains:
  // cell j of 32 lies at lattice position j / 2 + 0.25.
  mirvo::Matrix<float> rg_cells, bg_cells;
  mirvo::Resample13x17to24x32(rg, &rg_cells);
  mirvo::Resample13x17to24x32(bg, &bg_cells);
  double u[24][32], v[24][32];
  double mean_u = 0, mean_v = 0;
  for (int i = 0; i < 24; ++i)
    for (int j = 0; j < 32; ++j) {
      const double x = (j + 0.5) / 32, y = (i + 0.5) / 24;
      u[i][j] = lens.ShadingU(x, y) + std::log(static_cast<double>(rg_cells(i, j)));
      v[i][j] = lens.ShadingV(x, y) + std::log(static_cast<double>(bg_cells(i, j)));
      mean_u += u[i][j];
      mean_v += v[i][j];
    }
  mean_u /= 768;
  mean_v /= 768;
  double sum = 0;
  for (int i = 0; i < 24; ++i)
    for (int j = 0; j < 32; ++j)
      sum += (u[i][j] - mean_u) * (u[i][j] - mean_u) + (v[i][j] - mean_v) * (v[i][j] - mean_v);
  return 100.0 * std::sqrt(sum / (2 * 768));
}

}  // namespace mirvo_cli
