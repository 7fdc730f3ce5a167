#include "report/report_page.h"

#include <cmath>
#include <cstdio>

#include "render/heatmap.h"
#include "render/pictures.h"
#include "render/png_writer.h"
#include "report/base64.h"
#include "report/svg_plot.h"

namespace mirvo_cli {
namespace {

constexpr const char* kPlaneNames[4] = {"R", "Gr", "Gb", "B"};
constexpr const char* kPlaneColors[4] = {"#b2182b", "#1b9e77", "#66a61e", "#2166ac"};
constexpr const char* kNonFiniteColor = "#e7298a";
constexpr const char* kJumpColor = "#7570b3";
constexpr const char* kRescaleColor = "#d95f02";
constexpr const char* kGuardedColor = "#e6ab02";
constexpr int kHeatmapCell = 9;

const char kStyle[] =
    "body{font-family:system-ui,-apple-system,'Segoe UI',Helvetica,Arial,sans-serif;margin:24px auto;"
    "max-width:1100px;padding:0 16px;color:#1a1a1a;background:#fff;line-height:1.4}"
    "h1{font-size:1.6em;margin-bottom:0}h2{font-size:1.2em;margin-top:1.8em;border-bottom:1px solid #ddd}"
    ".sub{color:#555;margin-top:4px}"
    "table{border-collapse:collapse;font-size:0.92em}td,th{padding:3px 10px;text-align:left;"
    "border-bottom:1px solid #eee;vertical-align:top}th{background:#f5f5f5}td.n{text-align:right;"
    "font-variant-numeric:tabular-nums}"
    ".warn{background:#fff4e5;border-left:4px solid #d95f02;padding:6px 12px;margin:4px 0}"
    ".ok{background:#eef7ee;border-left:4px solid #1b9e77;padding:6px 12px}"
    "svg.plot{width:100%;height:auto;display:block;margin:6px 0}"
    "svg text{font-family:inherit;font-size:12px;fill:#1a1a1a}svg .title{font-size:14px;font-weight:600}"
    "svg .ytick{text-anchor:end}svg .xtick,svg .xlabel,svg .ylabel{text-anchor:middle}"
    "svg .frame{fill:none;stroke:#888}svg .grid{stroke:#e6e6e6}svg .axis{stroke:#888}"
    "svg .series{fill:none;stroke-width:1.6;stroke-linejoin:round}svg .marker{stroke-width:1;opacity:0.55}"
    "svg .lane{fill:#f3f3f3}svg .band{opacity:0.25;stroke:none}"
    ".key span{display:inline-block;width:12px;height:12px;margin:0 4px 0 14px;vertical-align:-1px}"
    "figure{margin:14px 0}figcaption{font-weight:600;margin-bottom:4px}"
    "figure img{max-width:100%;image-rendering:pixelated}";

std::string Fmt(double v, const char* format = "%.6g") {
  if (!std::isfinite(v)) return std::isnan(v) ? "NaN" : (v > 0 ? "+inf" : "-inf");
  char buf[64];
  std::snprintf(buf, sizeof(buf), format, v);
  return buf;
}

std::string Row(const std::string& name, const std::string& value) {
  return "<tr><th>" + XmlEscape(name) + "</th><td>" + value + "</td></tr>\n";
}

std::string RunTable(const RunSummaryData& s) {
  const RunRecord& r = s.run;
  const std::string noun = r.input_kind == "stats" ? "statistics dump" : XmlEscape(r.input_kind) + " frame";
  std::string inputs = std::to_string(r.inputs.size()) + " " + noun + (r.inputs.size() == 1 ? "" : "s");
  if (!r.inputs.empty()) {
    inputs += ": <code>" + XmlEscape(r.inputs.front()) + "</code>";
    if (r.inputs.size() > 1) inputs += " &hellip; <code>" + XmlEscape(r.inputs.back()) + "</code>";
  }
  std::string crop;
  const char* names[6] = {"in_w", "in_h", "offs_x", "offs_y", "out_w", "out_h"};
  for (int i = 0; i < 6; ++i) crop += std::string(i ? ", " : "") + names[i] + " " + Fmt(r.crop[i]);
  crop += r.crop_given ? " (given)" : " (default)";
  std::string t = "<table>\n";
  t += Row("program", "mirvo " + XmlEscape(r.program_version) + ", <code>" + XmlEscape(r.command) + "</code>");
  t += Row("inputs", inputs);
  t += Row("base table", "<code>" + XmlEscape(r.base) + "</code>");
  t += Row("tuning", r.tuning == "built-in" ? "built-in" : "<code>" + XmlEscape(r.tuning) + "</code>");
  t += Row("sensor crop", crop);
  t += Row("override map", r.override_map.empty() ? "none" : "<code>" + XmlEscape(r.override_map) + "</code>");
  t += Row("temporal filter", r.temporal_filter ? "on: tint_update_gain " + Fmt(r.tint_update_gain) +
                                                      ", prj_delta_thd " + Fmt(r.prj_delta_thd)
                                                : "off (prj_delta_thd " + Fmt(r.prj_delta_thd) + ")");
  if (r.guard)
    t += Row("guard", "on (<code>--guard</code>): " + std::to_string(r.guarded_frames) + " of " +
                          std::to_string(r.frames) + " frames guarded");
  t += Row("frames", std::to_string(r.frames));
  t += Row("time", Fmt(r.seconds_total, "%.3f") + " s, " + Fmt(r.seconds_per_frame * 1000.0, "%.3f") +
                       " ms per frame (engine, summary and queued outputs)");
  return t + "</table>\n";
}

std::vector<double> Column(const std::vector<FrameRecord>& frames, float (*get)(const FrameRecord&)) {
  std::vector<double> out;
  out.reserve(frames.size());
  for (const FrameRecord& f : frames) out.push_back(get(f));
  return out;
}

bool NonFinite(const FrameRecord& f) { return f.nonfinite_gains > 0 || f.nonfinite_projection; }
// Guarded frames say nothing about the merge's rescaling: a change is
// measured from the last frame before that was not guarded.
bool RescaleChange(const std::vector<FrameRecord>& frames, size_t k) {
  if (frames[k].guarded) return false;
  for (size_t j = k; j-- > 0;)
    if (!frames[j].guarded) return frames[k].rescaled != frames[j].rescaled;
  return false;
}

// Beyond this many frames of one kind, lines on the plots would hide the
// data: the strip below the plots shows them instead.
constexpr size_t kMaxMarkersPerKind = 40;

std::vector<PlotMarker> Markers(const std::vector<FrameRecord>& frames, std::vector<std::string>* too_many) {
  std::vector<PlotMarker> nonfinite, jump, rescale, guarded;
  for (size_t k = 0; k < frames.size(); ++k) {
    const int i = static_cast<int>(k);
    if (NonFinite(frames[k])) nonfinite.push_back({i, kNonFiniteColor});
    if (frames[k].guarded) guarded.push_back({i, kGuardedColor});
    if (frames[k].jump) jump.push_back({i, kJumpColor});
    if (RescaleChange(frames, k)) rescale.push_back({i, kRescaleColor});
  }
  std::vector<PlotMarker> m;
  const std::pair<const char*, const std::vector<PlotMarker>*> kinds[] = {
      {"non-finite", &nonfinite}, {"guarded", &guarded}, {"jump", &jump}, {"rescale", &rescale}};
  for (const auto& [name, list] : kinds) {
    if (list->size() > kMaxMarkersPerKind)
      too_many->push_back(name);
    else
      m.insert(m.end(), list->begin(), list->end());
  }
  return m;
}

std::string Plots(const RunSummaryData& s) {
  const std::vector<FrameRecord>& f = s.frames;
  const int n = static_cast<int>(f.size());
  std::vector<std::string> too_many;
  const std::vector<PlotMarker> markers = Markers(f, &too_many);
  std::string html;
  LinePlot prj{"Profile projections",
               "projection (x learned profile)",
               n,
               {{"prj_u (R/G)", kPlaneColors[0], Column(f, [](const FrameRecord& r) { return r.prj_u; })},
                {"prj_v (B/G)", kPlaneColors[3], Column(f, [](const FrameRecord& r) { return r.prj_v; })}},
               markers};
  html += LinePlotSvg(prj);
  LinePlot gain{"Temporal update gain",
                "gain (0 = hold, 1 = follow)",
                n,
                {{"temporal gain", "#333", Column(f, [](const FrameRecord& r) { return r.temporal_gain; })}},
                markers};
  html += LinePlotSvg(gain);
  LinePlot range{"Output table gain range (solid: largest, dashed: smallest)", "gain (x)", n, {}, markers};
  for (int p = 0; p < 4; ++p) {
    PlotSeries hi{kPlaneNames[p], kPlaneColors[p], {}};
    PlotSeries lo{"", kPlaneColors[p], {}, true};
    for (const FrameRecord& r : f) {
      hi.y.push_back(r.gain_max[p]);
      lo.y.push_back(r.gain_min[p]);
    }
    range.series.push_back(std::move(hi));
    range.series.push_back(std::move(lo));
  }
  html += LinePlotSvg(range);
  // The legend draws only named series; the smallest gains share the colours.
  std::vector<EventRow> rows = {
      {"non-finite", kNonFiniteColor, {}}, {"rescaled", kRescaleColor, {}}, {"jump", kJumpColor, {}}};
  // The guard's row only for guarded runs, so other reports stay as they were.
  if (s.run.guard) rows.push_back({"guarded", kGuardedColor, {}});
  for (size_t k = 0; k < f.size(); ++k) {
    rows[0].on.push_back(NonFinite(f[k]));
    rows[1].on.push_back(f[k].rescaled);
    rows[2].on.push_back(f[k].jump);
    if (s.run.guard) rows[3].on.push_back(f[k].guarded);
  }
  html += "<p class=\"key\">Marked frames:<span style=\"background:" + std::string(kNonFiniteColor) +
          "\"></span>non-finite output (table gains or projections)" +
          (s.run.guard ? std::string("<span style=\"background:") + kGuardedColor +
                             "\"></span>guarded (the guard replaced the engine's table and reset the engine)"
                       : std::string()) +
          "<span style=\"background:" + kJumpColor +
          "\"></span>jump (the projections moved by at least twice prj_delta_thd, which the temporal filter "
          "follows at full gain)<span "
          "style=\"background:" +
          kRescaleColor + "\"></span>merge rescaling switched on or off. Below, per frame: which frames had each";
  if (!too_many.empty()) {
    std::string kinds;
    for (const std::string& k : too_many) kinds += (kinds.empty() ? "" : ", ") + k;
    html += " (" + kinds + ": more than " + std::to_string(kMaxMarkersPerKind) +
            " frames, shown only here, not on the plots)";
  }
  html += ".</p>\n";
  html += EventStripSvg(rows, n);
  return html;
}

std::string PngDataUri(const Image& image) { return "data:image/png;base64," + Base64(EncodePng(image)); }

std::string Heatmaps(const RunSummaryData& s) {
  std::string html;
  for (const FrameGrids& g : s.grids) {
    const std::string name = "frame " + std::to_string(g.index);
    std::vector<Image> panels;
    const std::string tint_title[2] = {"tint u (log R/G)", "tint v (log B/G)"};
    const LatticeGrid* tints[2] = {&g.linear_tint_u, &g.linear_tint_v};
    // Column by column: the tints, then the planes two by two.
    const int order[6] = {-1, 0, 1, -2, 2, 3};
    for (int i : order) {
      if (i < 0) {
        const int t = -i - 1;
        panels.push_back(RenderHeatmap(LogTintView(tints[t]->data(), tint_title[t]), kHeatmapCell));
      } else {
        panels.push_back(
            RenderHeatmap(PlaneView(g.table[i].data(), std::string("table ") + kPlaneNames[i]), kHeatmapCell));
      }
    }
    std::string reasons;
    for (const std::string& r : g.reasons) reasons += (reasons.empty() ? "" : ", ") + r;
    std::string facts;
    if (g.index >= 0 && g.index < static_cast<int>(s.frames.size())) {
      const FrameRecord& f = s.frames[g.index];
      facts = " &mdash; prj_u " + Fmt(f.prj_u, "%+.4f") + ", prj_v " + Fmt(f.prj_v, "%+.4f") + ", temporal gain " +
              Fmt(f.temporal_gain, "%.3f") + (f.rescaled ? ", rescaled by 1/" + Fmt(f.rescale, "%.5f") : "") +
              ", unreliable edges " + std::to_string(f.unreliable_dx) + " + " + std::to_string(f.unreliable_dy) +
              (f.guarded ? "; guarded: the table is the guard's fallback" : "");
    }
    html += "<figure><figcaption>" + XmlEscape(name) + " (" + XmlEscape(reasons) + ")" + facts +
            "</figcaption><img alt=\"tint and output table of " + XmlEscape(name) + "\" src=\"" +
            PngDataUri(ComposePanels(panels, 3)) + "\"></figure>\n";
  }
  return html;
}

}  // namespace

std::vector<std::string> RunWarnings(const RunSummaryData& s) {
  std::vector<std::string> w;
  auto count = [&](bool (*pred)(const FrameRecord&), const std::string& what) {
    int n = 0, first = -1;
    for (const FrameRecord& f : s.frames) {
      if (!pred(f)) continue;
      if (n++ == 0) first = f.index;
    }
    if (n > 0)
      w.push_back(std::to_string(n) + " frame" + (n == 1 ? "" : "s") + " " + what + " (first: frame " +
                  std::to_string(first) + ").");
  };
  if (s.frames.empty()) w.push_back("The run has no frames.");
  count([](const FrameRecord& f) { return f.nonfinite_gains > 0; },
        "with gains in the output table that are not finite; the camera would program them into hardware");
  count([](const FrameRecord& f) { return f.nonfinite_projection; },
        "with projections that are not finite; they stay in the temporal filter's state");
  count([](const FrameRecord& f) { return f.unreliable_dx + f.unreliable_dy > (744 + 736) / 2; },
        "with more than half of the edges unreliable (dark, bright or saturated statistics)");
  // Each guarded frame by name, as few runs have many: a camera stack would
  // have programmed a broken table there.
  constexpr size_t kListedGuarded = 20;
  std::vector<const FrameRecord*> guarded;
  for (const FrameRecord& f : s.frames)
    if (f.guarded) guarded.push_back(&f);
  for (size_t i = 0; i < guarded.size() && i < kListedGuarded; ++i)
    w.push_back("Frame " + std::to_string(guarded[i]->index) + " (" + guarded[i]->input +
                ") guarded: the table the engine made had " + guarded[i]->guard_reason +
                "; the guard wrote its fallback and reset the engine.");
  if (guarded.size() > kListedGuarded)
    w.push_back(std::to_string(guarded.size() - kListedGuarded) + " more guarded frames (" +
                std::to_string(guarded.size()) + " in all).");
  return w;
}

std::string ReportHtml(const RunSummaryData& s, const std::string& title, const std::string& pictures) {
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>mirvo run report: " +
      XmlEscape(title) + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n";
  html += "<h1>mirvo run report</h1>\n<p class=\"sub\"><code>" + XmlEscape(title) +
          "</code>: " + std::to_string(s.run.frames) + " frame" + (s.run.frames == 1 ? "" : "s") + "</p>\n";
  html += "<h2>Warnings</h2>\n";
  const std::vector<std::string> warnings = RunWarnings(s);
  if (warnings.empty()) html += "<p class=\"ok\">No warnings: every output is finite.</p>\n";
  for (const std::string& w : warnings) html += "<p class=\"warn\">" + XmlEscape(w) + "</p>\n";
  html += "<h2>Run</h2>\n" + RunTable(s);
  html += pictures;
  html += "<h2>Over the frames</h2>\n" + Plots(s);
  html +=
      "<h2>Tint and output table</h2>\n<p>The first, the last and the most notable frames. Tint: the log colour "
      "shading the engine estimated and corrects, positive (red) where the image was too red (u) or too blue "
      "(v), white at zero. Table: the output gains, dark (low) to yellow (high); magenta marks a gain that is not "
      "finite.</p>\n" +
      Heatmaps(s);
  return html + "</body>\n</html>\n";
}

}  // namespace mirvo_cli
