#include "render/pictures.h"

#include <cmath>

#include "render/heatmap.h"

namespace mirvo_cli {
namespace {

GridView Plane(const float (&plane)[13][17], const std::string& title) { return PlaneView(&plane[0][0], title); }

GridView LogTint(const mirvo::Matrix<float>& linear, const std::string& title) {
  GridView g;
  g.title = title;
  g.rows = linear.rows;
  g.cols = linear.cols;
  g.signed_values = true;
  for (float v : linear.data) g.values.push_back(-std::log(static_cast<double>(v)));
  return g;
}

}  // namespace

GridView PlaneView(const float* plane, const std::string& title) {
  GridView g;
  g.title = title;
  g.rows = 13;
  g.cols = 17;
  g.values.assign(plane, plane + 13 * 17);
  return g;
}

GridView LogTintView(const float* linear_tint, const std::string& title) {
  mirvo::Matrix<float> m(17, 13);
  m.data.assign(linear_tint, linear_tint + 13 * 17);
  return LogTint(m, title);
}

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
