#include "report/svg_plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <utility>

namespace mirvo_cli {
namespace {

constexpr int kHeight = 250;
constexpr int kLeft = 72;
constexpr int kRight = 16;
constexpr int kTop = 30;
constexpr int kBottom = 44;
constexpr int kPlotW = kPlotWidth - kLeft - kRight;
constexpr int kPlotH = kHeight - kTop - kBottom;

std::string Num(double v) {
  char buf[32];
  std::snprintf(buf, sizeof(buf), "%.1f", v);
  return buf;
}

std::string Label(double v) {
  char buf[32];
  std::snprintf(buf, sizeof(buf), "%.6g", std::fabs(v) < 1e-12 ? 0.0 : v);
  return buf;
}

// Frame to x in pixels, over the plot area; a lone frame in the middle.
double FrameX(double frame, int frames) {
  if (frames <= 1) return kLeft + kPlotW / 2.0;
  return kLeft + frame / (frames - 1) * kPlotW;
}

// Pixel columns of the plot area and the frames each covers.
struct Columns {
  int count;
  int frames;
  int First(int c) const { return static_cast<int>(static_cast<long long>(c) * frames / count); }
  int Last(int c) const { return static_cast<int>(static_cast<long long>(c + 1) * frames / count); }  // exclusive
  int Of(int frame) const { return static_cast<int>(static_cast<long long>(frame) * count / frames); }
};
Columns ColumnsFor(int frames) { return {std::max(1, std::min(frames, kPlotW)), std::max(1, frames)}; }

// One series as SVG paths. With a point per frame, a line through them.
// With more frames than pixel columns, a band from the smallest to the
// largest value of each column's frames and a line through their means, so a
// noisy stretch reads as a band instead of a solid block of zigzags. Gaps
// where a column has no finite value.
struct SeriesPaths {
  std::string band;
  std::string line;
  std::string dots;  // a mark per frame, for short runs (and a lone frame)
};

constexpr int kMaxDottedFrames = 100;

SeriesPaths SeriesPath(const std::vector<double>& y, int frames, double lo, double hi) {
  auto py = [&](double v) { return Num(kTop + (hi - v) / (hi - lo) * kPlotH); };
  const Columns cols = ColumnsFor(frames);
  const bool decimated = cols.count < frames;
  SeriesPaths out;
  std::string upper, lower;  // of the current stretch of the band
  auto close_band = [&]() {
    if (!upper.empty()) out.band += "M" + upper.substr(1) + lower + "Z";
    upper.clear();
    lower.clear();
  };
  bool pen_down = false;
  for (int c = 0; c < cols.count; ++c) {
    double mn = INFINITY, mx = -INFINITY, sum = 0;
    int n = 0;
    for (int k = cols.First(c); k < cols.Last(c) && k < static_cast<int>(y.size()); ++k) {
      if (!std::isfinite(y[k])) continue;
      mn = std::min(mn, y[k]);
      mx = std::max(mx, y[k]);
      sum += y[k];
      ++n;
    }
    if (n == 0) {
      pen_down = false;
      close_band();
      continue;
    }
    const std::string x = Num(decimated ? FrameX((cols.First(c) + cols.Last(c) - 1) / 2.0, frames) : FrameX(c, frames));
    out.line += (pen_down ? "L" : "M") + x + " " + py(sum / n);
    if (frames <= kMaxDottedFrames) out.dots += "<circle cx=\"" + x + "\" cy=\"" + py(sum / n) + "\" r=\"2.5\"/>";
    pen_down = true;
    if (decimated) {
      upper += "L" + x + " " + py(mx);
      lower = "L" + x + " " + py(mn) + lower;
    }
  }
  close_band();
  return out;
}

}  // namespace

std::string XmlEscape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::vector<double> NiceTicks(double lo, double hi, int count) {
  std::vector<double> ticks;
  if (!(hi > lo) || count < 1) return {lo};
  const double raw = (hi - lo) / count;
  const double mag = std::pow(10.0, std::floor(std::log10(raw)));
  double step = mag;
  for (double m : {1.0, 2.0, 5.0, 10.0}) {
    step = m * mag;
    if (step >= raw) break;
  }
  // Whole multiples of the step, so that no error accumulates along the axis.
  const long long first = static_cast<long long>(std::ceil(lo / step - 1e-9));
  const long long last = static_cast<long long>(std::floor(hi / step + 1e-9));
  for (long long i = first; i <= last; ++i) ticks.push_back(static_cast<double>(i) * step);
  return ticks;
}

std::string LinePlotSvg(const LinePlot& plot) {
  const int frames = std::max(1, plot.frames);
  double lo = INFINITY, hi = -INFINITY;
  for (const PlotSeries& s : plot.series)
    for (double v : s.y)
      if (std::isfinite(v)) lo = std::min(lo, v), hi = std::max(hi, v);
  if (lo > hi) lo = 0, hi = 1;
  if (hi - lo < 1e-9 * std::max(1.0, std::fabs(hi))) {
    const double pad = std::max(std::fabs(hi) * 0.05, 0.05);
    lo -= pad, hi += pad;
  } else {
    const double pad = (hi - lo) * 0.06;
    lo -= pad, hi += pad;
  }

  std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"plot\" viewBox=\"0 0 " +
                    std::to_string(kPlotWidth) + " " + std::to_string(kHeight) + "\" role=\"img\" aria-label=\"" +
                    XmlEscape(plot.title) + "\">\n";
  svg += "<text x=\"" + std::to_string(kLeft) + "\" y=\"18\" class=\"title\">" + XmlEscape(plot.title) + "</text>\n";
  // Legend, right-aligned in the title row.
  int lx = kPlotWidth - kRight;
  for (auto it = plot.series.rbegin(); it != plot.series.rend(); ++it) {
    lx -= static_cast<int>(it->name.size()) * 7 + 34;
    svg += "<line x1=\"" + std::to_string(lx) + "\" y1=\"14\" x2=\"" + std::to_string(lx + 20) +
           "\" y2=\"14\" stroke=\"" + it->color + "\" stroke-width=\"2.5\"" +
           (it->dashed ? " stroke-dasharray=\"5 3\"" : "") + "/><text x=\"" + std::to_string(lx + 25) +
           "\" y=\"18\" class=\"legend\">" + XmlEscape(it->name) + "</text>\n";
  }
  // Axes, grid lines and ticks.
  svg += "<rect x=\"" + std::to_string(kLeft) + "\" y=\"" + std::to_string(kTop) + "\" width=\"" +
         std::to_string(kPlotW) + "\" height=\"" + std::to_string(kPlotH) + "\" class=\"frame\"/>\n";
  for (double t : NiceTicks(lo, hi, 5)) {
    const std::string y = Num(kTop + (hi - t) / (hi - lo) * kPlotH);
    svg += "<line x1=\"" + std::to_string(kLeft - 5) + "\" y1=\"" + y + "\" x2=\"" + std::to_string(kLeft + kPlotW) +
           "\" y2=\"" + y + "\" class=\"grid\"/><text x=\"" + std::to_string(kLeft - 8) + "\" y=\"" + y +
           "\" dy=\"4\" class=\"ytick\">" + Label(t) + "</text>\n";
  }
  std::vector<double> xticks = NiceTicks(0, frames - 1, 8);
  xticks.erase(std::remove_if(xticks.begin(), xticks.end(), [](double t) { return t != std::floor(t); }), xticks.end());
  for (double t : xticks) {
    const std::string x = Num(FrameX(t, frames));
    svg += "<line x1=\"" + x + "\" y1=\"" + std::to_string(kTop + kPlotH) + "\" x2=\"" + x + "\" y2=\"" +
           std::to_string(kTop + kPlotH + 5) + "\" class=\"axis\"/><text x=\"" + x + "\" y=\"" +
           std::to_string(kTop + kPlotH + 18) + "\" class=\"xtick\">" + Label(t) + "</text>\n";
  }
  svg += "<text x=\"" + std::to_string(kLeft + kPlotW / 2) + "\" y=\"" + std::to_string(kHeight - 6) +
         "\" class=\"xlabel\">frame</text>\n";
  svg += "<text transform=\"translate(14 " + std::to_string(kTop + kPlotH / 2) + ") rotate(-90)\" class=\"ylabel\">" +
         XmlEscape(plot.y_label) + "</text>\n";
  // Markers behind the lines, one per pixel column and colour.
  std::set<std::pair<int, std::string>> drawn;
  for (const PlotMarker& m : plot.markers) {
    const double x = FrameX(m.frame, frames);
    if (!drawn.insert({static_cast<int>(x), m.color}).second) continue;
    svg += "<line x1=\"" + Num(x) + "\" y1=\"" + std::to_string(kTop) + "\" x2=\"" + Num(x) + "\" y2=\"" +
           std::to_string(kTop + kPlotH) + "\" stroke=\"" + m.color + "\" class=\"marker\"/>\n";
  }
  for (const PlotSeries& s : plot.series) {
    const SeriesPaths paths = SeriesPath(s.y, frames, lo, hi);
    if (!paths.band.empty()) svg += "<path d=\"" + paths.band + "\" fill=\"" + s.color + "\" class=\"band\"/>\n";
    svg += "<path d=\"" + paths.line + "\" stroke=\"" + s.color + "\"" + (s.dashed ? " stroke-dasharray=\"5 3\"" : "") +
           " class=\"series\"/>\n";
    if (!paths.dots.empty()) svg += "<g fill=\"" + s.color + "\">" + paths.dots + "</g>\n";
  }
  return svg + "</svg>\n";
}

std::string EventStripSvg(const std::vector<EventRow>& rows, int frames) {
  frames = std::max(1, frames);
  constexpr int kRow = 18;
  const int height = static_cast<int>(rows.size()) * kRow + 8;
  std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"plot\" viewBox=\"0 0 " +
                    std::to_string(kPlotWidth) + " " + std::to_string(height) +
                    "\" role=\"img\" aria-label=\"notable frames\">\n";
  const Columns cols = ColumnsFor(frames);
  for (size_t r = 0; r < rows.size(); ++r) {
    const int y = 4 + static_cast<int>(r) * kRow;
    svg += "<rect x=\"" + std::to_string(kLeft) + "\" y=\"" + std::to_string(y) + "\" width=\"" +
           std::to_string(kPlotW) + "\" height=\"" + std::to_string(kRow - 4) + "\" class=\"lane\"/>";
    svg += "<text x=\"" + std::to_string(kLeft - 8) + "\" y=\"" + std::to_string(y + 11) + "\" class=\"ytick\">" +
           XmlEscape(rows[r].name) + "</text>\n";
    // Runs of pixel columns holding at least one such frame, as one bar each.
    int run_start = -1;
    auto column_on = [&](int c) {
      for (int k = cols.First(c); k < cols.Last(c) && k < static_cast<int>(rows[r].on.size()); ++k)
        if (rows[r].on[k]) return true;
      return false;
    };
    for (int c = 0; c <= cols.count; ++c) {
      const bool on = c < cols.count && column_on(c);
      if (on && run_start < 0) run_start = c;
      if (!on && run_start >= 0) {
        // A bar spans its columns' frames, at least 2 pixels wide.
        const double x0 = FrameX(cols.First(run_start) - 0.5, frames);
        const double x1 = FrameX(cols.Last(c - 1) - 0.5, frames);
        const double x = std::max<double>(kLeft, x0);
        const double w = std::max(2.0, std::min<double>(kLeft + kPlotW, x1) - x);
        svg += "<rect x=\"" + Num(x) + "\" y=\"" + std::to_string(y) + "\" width=\"" + Num(w) + "\" height=\"" +
               std::to_string(kRow - 4) + "\" fill=\"" + rows[r].color + "\"/>";
        run_start = -1;
      }
    }
    svg += "\n";
  }
  return svg + "</svg>\n";
}

}  // namespace mirvo_cli
