#pragma once

#include <string>
#include <vector>

namespace mirvo_cli {

// Inline SVG charts over the frames of a run. A plot is at most as detailed
// as its width in pixels: with more frames than pixel columns each column
// shows the smallest and largest value of its frames, so a one-frame spike
// stays visible while the page stays small for any number of frames.

struct PlotSeries {
  std::string name;
  std::string color;      // CSS colour
  std::vector<double> y;  // one value per frame; non-finite values leave a gap
  bool dashed = false;
};

struct PlotMarker {
  int frame = 0;
  std::string color;
};

struct LinePlot {
  std::string title;
  std::string y_label;  // with its unit
  int frames = 0;
  std::vector<PlotSeries> series;
  std::vector<PlotMarker> markers;  // vertical lines at notable frames
};

struct EventRow {
  std::string name;
  std::string color;
  std::vector<bool> on;  // one per frame
};

inline constexpr int kPlotWidth = 960;

std::string LinePlotSvg(const LinePlot& plot);
// One row of bars per kind of event, on the same frame axis as the plots.
std::string EventStripSvg(const std::vector<EventRow>& rows, int frames);

// Tick positions covering [lo, hi] at a round step, about `count` of them.
std::vector<double> NiceTicks(double lo, double hi, int count);

// Text for XML and HTML: &, <, > and " escaped.
std::string XmlEscape(const std::string& text);

}  // namespace mirvo_cli
