#include "render/pictures.h"

#include <cmath>

#include "render/heatmap.h"

namespace mirvo_cli {
namespace {

GridView Plane(const float (&plane)[13][17], const std::string& title) {
  GridView g;
  g.title = title;
  g.rows = 13;
  g.cols = 17;
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) g.values.push_back(plane[r][c]);
  return g;
}

GridView LogTint(const mirvo::Matrix<float>& linear, const std::string& title) {
  GridView g;
  g.title = title;
  g.rows = linear.rows;
  g.cols = linear.cols;
  for (float v : linear.data) g.values.push_back(-std::log(static_cast<double>(v)));
  return g;
}

}  // namespace

Image TablePicture(const mirvo::LscTable& table, const std::string& title) {
  const int cell = AutoCellSize(13, 17);
  return ComposePanels(
      {RenderHeatmap(Plane(table.r_gain, title + " R"), cell), RenderHeatmap(Plane(table.gr_gain, title + " Gr"), cell),
       RenderHeatmap(Plane(table.gb_gain, title + " Gb"), cell),
       RenderHeatmap(Plane(table.b_gain, title + " B"), cell)},
      2);
}

Image TintPicture(const mirvo::Matrix<float>& linear_tint_u, const mirvo::Matrix<float>& linear_tint_v,
                  const std::string& title) {
  const int cell = AutoCellSize(13, 17);
  return ComposePanels({RenderHeatmap(LogTint(linear_tint_u, title + " tint u"), cell),
                        RenderHeatmap(LogTint(linear_tint_v, title + " tint v"), cell)},
                       2);
}

}  // namespace mirvo_cli
