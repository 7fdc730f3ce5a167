#include "render/heatmap.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "render/colormap.h"

namespace mirvo_cli {
namespace {

constexpr Rgb kWhite = {255, 255, 255};
constexpr Rgb kInk = {20, 20, 20};
constexpr Rgb kGrey = {110, 110, 110};
constexpr int kMargin = 12;
constexpr int kTitleScale = 2;
constexpr int kLabelScale = 2;
constexpr int kLegendWidth = 18;
constexpr int kGap = 10;

}  // namespace

ValueRange FiniteRange(const std::vector<double>& values) {
  ValueRange r;
  for (double v : values) {
    if (!std::isfinite(v)) continue;
    if (r.finite == 0 || v < r.min) r.min = v;
    if (r.finite == 0 || v > r.max) r.max = v;
    ++r.finite;
  }
  return r;
}

int AutoCellSize(int rows, int cols) {
  const int longest = std::max(1, std::max(rows, cols));
  return std::clamp(640 / longest, 1, 48);
}

std::string FormatValue(double v) {
  char buf[32];
  std::snprintf(buf, sizeof(buf), "%.4g", v);
  return buf;
}

bool IsSignedGridName(const std::string& name) {
  for (const char* prefix : {"log_", "lsc_log_", "GradH_", "GradL_"})
    if (name.compare(0, std::string(prefix).size(), prefix) == 0) return true;
  return false;
}

Image RenderHeatmap(const GridView& grid, int cell) {
  ValueRange range = FiniteRange(grid.values);
  if (grid.signed_values) {
    // Symmetric about zero, so white is zero and equal colours mean equal magnitudes.
    const double a = std::max(std::fabs(range.min), std::fabs(range.max));
    range.min = -a;
    range.max = a;
  }
  const std::string hi = (grid.signed_values && range.max > 0 ? "+" : "") + FormatValue(range.max);
  const std::string lo = FormatValue(range.min);
  const int label_w = std::max(Image::TextWidth(hi, kLabelScale), Image::TextWidth(lo, kLabelScale));
  const int map_w = grid.cols * cell;
  const int map_h = std::max(grid.rows * cell, 3 * Image::TextHeight(kLabelScale));
  const int text_h = Image::TextHeight(kTitleScale);
  const int invalid = static_cast<int>(grid.values.size()) - range.finite;
  std::string note = std::to_string(grid.rows) + " x " + std::to_string(grid.cols);
  const ValueRange actual = FiniteRange(grid.values);
  if (actual.finite > 0 && actual.min == actual.max) note += ", all " + FormatValue(actual.min);
  if (invalid > 0) note += ", " + std::to_string(invalid) + " not finite (magenta)";

  const int body_w = map_w + 2 + kGap + kLegendWidth + kGap + label_w;
  const int width =
      2 * kMargin + std::max({body_w, Image::TextWidth(grid.title, kTitleScale), Image::TextWidth(note, 1)});
  const int map_y = kMargin + text_h + kGap;
  const int height = map_y + map_h + 2 + kGap + Image::TextHeight(1) + kMargin;
  Image img(width, height, kWhite);
  img.DrawText(kMargin, kMargin, grid.title, kTitleScale, kInk);

  // Cells; a constant grid maps to the middle of the colour map.
  const double span = range.max - range.min;
  auto color_of = [&](double t) {  // t in [0, 1] over [min, max]
    return grid.signed_values ? DivergingColorMap(2.0 * t - 1.0) : ColorMap(t);
  };
  const int map_x = kMargin + 1;
  img.FrameRect(map_x - 1, map_y - 1, map_w + 2, grid.rows * cell + 2, kInk);
  for (int r = 0; r < grid.rows; ++r) {
    for (int c = 0; c < grid.cols; ++c) {
      const size_t i = static_cast<size_t>(r) * grid.cols + c;
      const double v = i < grid.values.size() ? grid.values[i] : NAN;
      Rgb color = kInvalidColor;
      if (std::isfinite(v)) color = color_of(span > 0 ? (v - range.min) / span : 0.5);
      img.FillRect(map_x + c * cell, map_y + r * cell, cell, cell, color);
    }
  }

  // Legend: the colour ramp from max (top) to min (bottom) with both ends labelled.
  const int bar_x = map_x + map_w + 1 + kGap;
  const int bar_h = grid.rows * cell;
  for (int y = 0; y < bar_h; ++y) {
    const double t = bar_h > 1 ? 1.0 - static_cast<double>(y) / (bar_h - 1) : 0.5;
    img.FillRect(bar_x, map_y + y, kLegendWidth, 1, color_of(span > 0 ? t : 0.5));
  }
  img.FrameRect(bar_x - 1, map_y - 1, kLegendWidth + 2, bar_h + 2, kInk);
  const int label_x = bar_x + kLegendWidth + kGap;
  if (range.finite > 0) {
    img.DrawText(label_x, map_y, hi, kLabelScale, kInk);
    img.DrawText(label_x, map_y + bar_h - Image::TextHeight(kLabelScale), lo, kLabelScale, kInk);
    if (grid.signed_values && span > 0) {
      // Zero in the middle of the bar: a tick across it and its label.
      const int zero_y = map_y + (bar_h - 1) / 2;
      img.FillRect(bar_x - 3, zero_y, kLegendWidth + 6, 1, kInk);
      img.DrawText(label_x, zero_y - Image::TextHeight(kLabelScale) / 2, "0", kLabelScale, kInk);
    }
  } else {
    img.DrawText(label_x, map_y, "none", kLabelScale, kInk);
  }
  img.DrawText(kMargin, map_y + bar_h + 2 + kGap, note, 1, kGrey);
  return img;
}

Image ComposePanels(const std::vector<Image>& panels, int per_row) {
  if (per_row < 1) per_row = 1;
  std::vector<int> col_w(per_row, 0);
  std::vector<int> row_h((panels.size() + per_row - 1) / per_row, 0);
  for (size_t i = 0; i < panels.size(); ++i) {
    col_w[i % per_row] = std::max(col_w[i % per_row], panels[i].width());
    row_h[i / per_row] = std::max(row_h[i / per_row], panels[i].height());
  }
  int width = 0, height = 0;
  for (int w : col_w) width += w;
  for (int h : row_h) height += h;
  Image out(width, height, kWhite);
  int y = 0;
  for (size_t row = 0; row < row_h.size(); ++row) {
    int x = 0;
    for (int col = 0; col < per_row; ++col) {
      const size_t i = row * per_row + col;
      if (i < panels.size()) out.Blit(panels[i], x, y);
      x += col_w[col];
    }
    y += row_h[row];
  }
  return out;
}

}  // namespace mirvo_cli
