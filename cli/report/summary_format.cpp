#include "report/summary_format.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <nlohmann/json.hpp>

#include "base/cli_error.h"
#include "files/json_input.h"

namespace mirvo_cli {
namespace {

using json = nlohmann::ordered_json;

constexpr const char* kFormat = "mirvo-run-summary";
constexpr int kFormatVersion = 1;
constexpr const char* kPlanes[4] = {"R", "Gr", "Gb", "B"};

// Shortest decimal text that reads back as the same float: the engine works
// in float, and a float widened to double would print 17 noisy digits.
std::string FloatText(float v) {
  char buf[32];
  const auto res = std::to_chars(buf, buf + sizeof(buf), v);
  return std::string(buf, res.ptr);
}

json Number(float v) {
  if (!std::isfinite(v)) return nullptr;
  return std::strtod(FloatText(v).c_str(), nullptr);
}

json Numbers(const float* v, size_t n) {
  json a = json::array();
  for (size_t i = 0; i < n; ++i) a.push_back(Number(v[i]));
  return a;
}

json FrameJson(const FrameRecord& f) {
  return {{"index", f.index},
          {"input", f.input},
          {"prj_u", Number(f.prj_u)},
          {"prj_v", Number(f.prj_v)},
          {"temporal_gain", Number(f.temporal_gain)},
          {"gain_min", Numbers(f.gain_min.data(), 4)},
          {"gain_max", Numbers(f.gain_max.data(), 4)},
          {"rescaled", f.rescaled},
          {"rescale", Number(f.rescale)},
          {"unreliable_dx", f.unreliable_dx},
          {"unreliable_dy", f.unreliable_dy},
          {"nonfinite_gains", f.nonfinite_gains},
          {"nonfinite_projection", f.nonfinite_projection},
          {"jump", f.jump},
          {"guarded", f.guarded},
          {"guard_reason", f.guarded ? json(f.guard_reason) : json(nullptr)}};
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

// A JSON number as a float; beyond the float range it is infinite (a plain
// conversion would be undefined there).
float ToFloat(const json& v) {
  const double d = v.get<double>();
  if (d > std::numeric_limits<float>::max()) return INFINITY;
  if (d < -std::numeric_limits<float>::max()) return -INFINITY;
  return static_cast<float>(d);
}

// Reading: every access names the file and the field that is wrong.
class Reader {
 public:
  explicit Reader(const std::string& path) : path_(path) {}

  [[noreturn]] void Fail(const std::string& what) const { throw DataError(path_ + ": " + what); }

  const json& Field(const json& obj, const char* key, const std::string& where) const {
    if (!obj.is_object()) Fail(where + " is not an object");
    const auto it = obj.find(key);
    if (it == obj.end()) Fail(where + " lacks \"" + key + "\"");
    return *it;
  }
  float Float(const json& obj, const char* key, const std::string& where) const {
    const json& v = Field(obj, key, where);
    if (v.is_null()) return NAN;
    if (!v.is_number()) Fail(where + "." + key + " is not a number");
    return ToFloat(v);
  }
  double Double(const json& obj, const char* key, const std::string& where) const {
    const json& v = Field(obj, key, where);
    if (!v.is_number()) Fail(where + "." + key + " is not a number");
    return v.get<double>();
  }
  int Int(const json& obj, const char* key, const std::string& where, int lo, int hi) const {
    const json& v = Field(obj, key, where);
    if (!v.is_number_integer() || v.get<long long>() < lo || v.get<long long>() > hi)
      Fail(where + "." + key + " is not an integer from " + std::to_string(lo) + " to " + std::to_string(hi));
    return v.get<int>();
  }
  bool Bool(const json& obj, const char* key, const std::string& where) const {
    const json& v = Field(obj, key, where);
    if (!v.is_boolean()) Fail(where + "." + key + " is not true or false");
    return v.get<bool>();
  }
  // Fields added after the first summaries: absent reads as false.
  bool OptionalBool(const json& obj, const char* key, const std::string& where) const {
    return obj.is_object() && obj.contains(key) ? Bool(obj, key, where) : false;
  }
  std::string String(const json& obj, const char* key, const std::string& where, bool null_ok = false) const {
    const json& v = Field(obj, key, where);
    if (null_ok && v.is_null()) return "";
    if (!v.is_string()) Fail(where + "." + key + " is not a string");
    return v.get<std::string>();
  }
  void Floats(const json& obj, const char* key, const std::string& where, float* out, size_t n) const {
    const json& v = Field(obj, key, where);
    if (!v.is_array() || v.size() != n)
      Fail(where + "." + key + " is not an array of " + std::to_string(n) + " numbers");
    for (size_t i = 0; i < n; ++i) {
      if (v[i].is_null()) {
        out[i] = NAN;
      } else if (v[i].is_number()) {
        out[i] = ToFloat(v[i]);
      } else {
        Fail(where + "." + key + "[" + std::to_string(i) + "] is not a number");
      }
    }
  }
  std::vector<std::string> Strings(const json& obj, const char* key, const std::string& where) const {
    const json& v = Field(obj, key, where);
    if (!v.is_array()) Fail(where + "." + key + " is not an array");
    std::vector<std::string> out;
    for (const json& s : v) {
      if (!s.is_string()) Fail(where + "." + key + " holds a value that is not a string");
      out.push_back(s.get<std::string>());
    }
    return out;
  }

 private:
  const std::string& path_;
};

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

FrameRecord ReadFrame(const Reader& in, const json& j, int k) {
  const std::string w = "frames[" + std::to_string(k) + "]";
  FrameRecord f;
  f.index = in.Int(j, "index", w, k, k);
  f.input = in.String(j, "input", w);
  f.prj_u = in.Float(j, "prj_u", w);
  f.prj_v = in.Float(j, "prj_v", w);
  f.temporal_gain = in.Float(j, "temporal_gain", w);
  in.Floats(j, "gain_min", w, f.gain_min.data(), 4);
  in.Floats(j, "gain_max", w, f.gain_max.data(), 4);
  f.rescaled = in.Bool(j, "rescaled", w);
  f.rescale = in.Float(j, "rescale", w);
  f.unreliable_dx = in.Int(j, "unreliable_dx", w, 0, 744);
  f.unreliable_dy = in.Int(j, "unreliable_dy", w, 0, 736);
  f.nonfinite_gains = in.Int(j, "nonfinite_gains", w, 0, 4 * kLatticeNodes);
  f.nonfinite_projection = in.Bool(j, "nonfinite_projection", w);
  f.jump = in.Bool(j, "jump", w);
  f.guarded = in.OptionalBool(j, "guarded", w);
  if (f.guarded) f.guard_reason = in.String(j, "guard_reason", w, true);
  return f;
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

}  // namespace

std::string SummaryJson(const RunSummaryData& summary) {
  json frames = json::array();
  for (const FrameRecord& f : summary.frames) frames.push_back(FrameJson(f));
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
  std::string out =
      "index,input,prj_u,prj_v,temporal_gain,min_R,min_Gr,min_Gb,min_B,max_R,max_Gr,max_Gb,max_B,rescaled,rescale,"
      "unreliable_dx,unreliable_dy,nonfinite_gains,nonfinite_projection,jump,guarded,guard_reason\n";
  auto quoted = [](const std::string& s) {
    if (s.find_first_of(",\"\n\r") == std::string::npos) return s;
    std::string q = "\"";
    for (char c : s) q += c == '"' ? std::string("\"\"") : std::string(1, c);
    return q + "\"";
  };
  for (const FrameRecord& f : summary.frames) {
    out += std::to_string(f.index) + "," + quoted(f.input) + "," + FloatText(f.prj_u) + "," + FloatText(f.prj_v) + "," +
           FloatText(f.temporal_gain);
    for (float v : f.gain_min) out += "," + FloatText(v);
    for (float v : f.gain_max) out += "," + FloatText(v);
    out += std::string(",") + (f.rescaled ? "1" : "0") + "," + FloatText(f.rescale) + "," +
           std::to_string(f.unreliable_dx) + "," + std::to_string(f.unreliable_dy) + "," +
           std::to_string(f.nonfinite_gains) + "," + (f.nonfinite_projection ? "1" : "0") + "," + (f.jump ? "1" : "0") +
           "," + (f.guarded ? "1" : "0") + "," + quoted(f.guard_reason) + "\n";
  }
  return out;
}

RunSummaryData ParseSummaryJson(const std::string& text, const std::string& path) {
  const Reader in(path);
  const json doc = ParseJsonInput(text, path);
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
  for (size_t k = 0; k < frames.size(); ++k) s.frames.push_back(ReadFrame(in, frames[k], static_cast<int>(k)));
  const json& grids = in.Field(doc, "grids", "the summary");
  if (!grids.is_array()) in.Fail("\"grids\" is not an array");
  for (size_t i = 0; i < grids.size(); ++i) s.grids.push_back(ReadGrids(in, grids[i], i, s.run.frames));
  return s;
}

}  // namespace mirvo_cli
