#include "report/summary_format.h"

#include <nlohmann/json.hpp>

#include "base/cli_error.h"
#include "workbench/error.h"
#include "workbench/files/bounded_json.h"
#include "workbench/files/checked_file.h"
#include "workbench/summary/frame_fields.h"

namespace mirvo_cli {
namespace {

using json = nlohmann::ordered_json;

constexpr const char* kFormat = "mirvo-run-summary";
constexpr int kFormatVersion = 1;
constexpr const char* kPlanes[4] = {"R", "Gr", "Gb", "B"};

json Number(float v) { return mirvo::workbench::FloatJson(v); }

json Numbers(const float* v, size_t n) {
  json a = json::array();
  for (size_t i = 0; i < n; ++i) a.push_back(Number(v[i]));
  return a;
}

json GridsJson(const FrameGrids& g) {
  json table = json::object();
  for (int p = 0; p < 4; ++p) table[kPlanes[p]] = Numbers(g.table[p].data(), kLatticeNodes);
  return {{"frame", g.index},
          {"reasons", g.reasons},
          {"linear_tint_u", Numbers(g.linear_tint_u.data(), kLatticeNodes)},
          {"linear_tint_v", Numbers(g.linear_tint_v.data(), kLatticeNodes)},
          {"table", table}};
}

json RunJson(const RunRecord& r) {
  return {{"program_version", r.program_version},
          {"command", r.command},
          {"input_kind", r.input_kind},
          {"inputs", r.inputs},
          {"base", r.base},
          {"tuning", r.tuning},
          {"crop_given", r.crop_given},
          {"crop", Numbers(r.crop.data(), 6)},
          {"override", r.override_map.empty() ? json(nullptr) : json(r.override_map)},
          {"temporal_filter", r.temporal_filter},
          {"prj_delta_thd", Number(r.prj_delta_thd)},
          {"tint_update_gain", Number(r.tint_update_gain)},
          {"guard", r.guard},
          {"guarded_frames", r.guarded_frames},
          {"frames", r.frames},
          {"seconds_total", r.seconds_total},
          {"seconds_per_frame", r.seconds_per_frame}};
}

using Reader = mirvo::workbench::SummaryReader;

RunRecord ReadRun(const Reader& in, const json& j) {
  const std::string w = "run";
  RunRecord r;
  r.program_version = in.String(j, "program_version", w);
  r.command = in.String(j, "command", w);
  r.input_kind = in.String(j, "input_kind", w);
  r.inputs = in.Strings(j, "inputs", w);
  r.base = in.String(j, "base", w);
  r.tuning = in.String(j, "tuning", w);
  r.crop_given = in.Bool(j, "crop_given", w);
  in.Floats(j, "crop", w, r.crop.data(), 6);
  r.override_map = in.String(j, "override", w, true);
  r.temporal_filter = in.Bool(j, "temporal_filter", w);
  r.prj_delta_thd = in.Float(j, "prj_delta_thd", w);
  r.tint_update_gain = in.Float(j, "tint_update_gain", w);
  r.guard = in.OptionalBool(j, "guard", w);
  if (j.contains("guarded_frames")) r.guarded_frames = in.Int(j, "guarded_frames", w, 0, 100000000);
  r.frames = in.Int(j, "frames", w, 0, 100000000);
  r.seconds_total = in.Double(j, "seconds_total", w);
  r.seconds_per_frame = in.Double(j, "seconds_per_frame", w);
  return r;
}

FrameGrids ReadGrids(const Reader& in, const json& j, size_t i, int frames) {
  const std::string w = "grids[" + std::to_string(i) + "]";
  FrameGrids g;
  g.index = in.Int(j, "frame", w, 0, frames - 1);
  g.reasons = in.Strings(j, "reasons", w);
  in.Floats(j, "linear_tint_u", w, g.linear_tint_u.data(), kLatticeNodes);
  in.Floats(j, "linear_tint_v", w, g.linear_tint_v.data(), kLatticeNodes);
  const json& table = in.Field(j, "table", w);
  for (int p = 0; p < 4; ++p) in.Floats(table, kPlanes[p], w + ".table", g.table[p].data(), kLatticeNodes);
  return g;
}

RunSummaryData ParseSummary(const std::string& text, const std::string& path) {
  const Reader in(path);
  const json doc = mirvo::workbench::ParseBoundedJson(
      text, path, {text.size(), mirvo::workbench::kJsonMaxDepth, mirvo::workbench::kJsonMemoryFactor});
  if (!doc.is_object() || !doc.contains("format") || doc["format"] != kFormat)
    in.Fail(std::string("not a run summary (no \"format\": \"") + kFormat + "\")");
  const json& version = in.Field(doc, "format_version", "the summary");
  if (version != kFormatVersion)
    in.Fail("summary format version " + version.dump() + " (this program reads " + std::to_string(kFormatVersion) +
            ")");
  RunSummaryData s;
  s.run = ReadRun(in, in.Field(doc, "run", "the summary"));
  const json& frames = in.Field(doc, "frames", "the summary");
  if (!frames.is_array() || frames.size() != static_cast<size_t>(s.run.frames))
    in.Fail("\"frames\" does not hold the " + std::to_string(s.run.frames) + " frame records the run names");
  s.frames.reserve(frames.size());
  for (size_t k = 0; k < frames.size(); ++k)
    s.frames.push_back(mirvo::workbench::ReadFrameJson(in, frames[k], static_cast<int>(k)));
  const json& grids = in.Field(doc, "grids", "the summary");
  if (!grids.is_array()) in.Fail("\"grids\" is not an array");
  for (size_t i = 0; i < grids.size(); ++i) s.grids.push_back(ReadGrids(in, grids[i], i, s.run.frames));
  return s;
}

}  // namespace

std::string SummaryJson(const RunSummaryData& summary) {
  json frames = json::array();
  for (const FrameRecord& f : summary.frames) frames.push_back(mirvo::workbench::FrameJson(f));
  json grids = json::array();
  for (const FrameGrids& g : summary.grids) grids.push_back(GridsJson(g));
  const json doc = {{"format", kFormat},
                    {"format_version", kFormatVersion},
                    {"run", RunJson(summary.run)},
                    {"frames", frames},
                    {"grids", grids}};
  // One frame record a line keeps the file small yet readable with a pager.
  std::string out = "{\n\"format\": " + doc["format"].dump() +
                    ",\n\"format_version\": " + doc["format_version"].dump() + ",\n\"run\": " + doc["run"].dump() +
                    ",\n\"frames\": [";
  for (size_t i = 0; i < frames.size(); ++i) out += (i ? ",\n" : "\n") + frames[i].dump();
  out += "\n],\n\"grids\": [";
  for (size_t i = 0; i < grids.size(); ++i) out += (i ? ",\n" : "\n") + grids[i].dump();
  out += "\n]\n}\n";
  return out;
}

std::string SummaryCsv(const RunSummaryData& summary) {
  std::string out = mirvo::workbench::FrameCsvHeader();
  for (const FrameRecord& f : summary.frames) out += mirvo::workbench::FrameCsvLine(f);
  return out;
}

RunSummaryData ParseSummaryJson(const std::string& text, const std::string& path) {
  try {
    return ParseSummary(text, path);
  } catch (const mirvo::workbench::WorkbenchError& e) {
    throw DataError(e.what());
  }
}

RunSummaryData ReadSummaryJson(const std::string& path) {
  std::string text;
  try {
    text = mirvo::workbench::ReadInputFile(path, "a run summary", mirvo::workbench::kMaxSummaryBytes);
  } catch (const mirvo::workbench::WorkbenchError& e) {
    throw DataError(e.what());
  }
  return ParseSummaryJson(text, path);
}

}  // namespace mirvo_cli
