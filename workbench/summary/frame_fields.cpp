#include "workbench/summary/frame_fields.h"

#include <type_traits>

namespace mirvo::workbench {
namespace {

using json = nlohmann::ordered_json;

constexpr const char* kPlanes[4] = {"R", "Gr", "Gb", "B"};
constexpr int kHorizontalEdges = 24 * 31;
constexpr int kVerticalEdges = 23 * 32;

std::string CsvText(const std::string& s) {
  if (s.find_first_of(",\"\n\r") == std::string::npos) return s;
  std::string q = "\"";
  for (char c : s) q += c == '"' ? std::string("\"\"") : std::string(1, c);
  return q + "\"";
}

}  // namespace

const std::vector<FrameField>& FrameFields() {
  using R = FrameRecord;
  static const std::vector<FrameField> fields = {
      {"index", &R::index, nullptr, kOwnIndex, kOwnIndex, false, false},
      {"input", &R::input, nullptr, 0, 0, false, false},
      {"prj_u", &R::prj_u, nullptr, 0, 0, false, false},
      {"prj_v", &R::prj_v, nullptr, 0, 0, false, false},
      {"temporal_gain", &R::temporal_gain, nullptr, 0, 0, false, false},
      {"gain_min", &R::gain_min, "min", 0, 0, false, false},
      {"gain_max", &R::gain_max, "max", 0, 0, false, false},
      {"rescaled", &R::rescaled, nullptr, 0, 0, false, false},
      {"rescale", &R::rescale, nullptr, 0, 0, false, false},
      {"unreliable_dx", &R::unreliable_dx, nullptr, 0, kHorizontalEdges, false, false},
      {"unreliable_dy", &R::unreliable_dy, nullptr, 0, kVerticalEdges, false, false},
      {"nonfinite_gains", &R::nonfinite_gains, nullptr, 0, 4 * kLatticeNodes, false, false},
      {"nonfinite_projection", &R::nonfinite_projection, nullptr, 0, 0, false, false},
      {"jump", &R::jump, nullptr, 0, 0, false, false},
      {"guarded", &R::guarded, nullptr, 0, 0, true, false},
      {"guard_reason", &R::guard_reason, nullptr, 0, 0, false, true},
  };
  return fields;
}

json FrameJson(const FrameRecord& f) {
  json out = json::object();
  for (const FrameField& field : FrameFields()) {
    json& v = out[field.key];
    std::visit(
        [&](auto member) {
          using T = std::decay_t<decltype(f.*member)>;
          if constexpr (std::is_same_v<T, float>) {
            v = FloatJson(f.*member);
          } else if constexpr (std::is_same_v<T, std::array<float, 4>>) {
            v = json::array();
            for (float x : f.*member) v.push_back(FloatJson(x));
          } else {
            v = f.*member;
          }
        },
        field.member);
    if (field.unless_guarded_null && !f.guarded) v = nullptr;
  }
  return out;
}

std::string FrameCsvHeader() {
  std::string out;
  for (const FrameField& field : FrameFields()) {
    if (field.csv_prefix) {
      for (const char* p : kPlanes) out += std::string(out.empty() ? "" : ",") + field.csv_prefix + "_" + p;
    } else {
      out += std::string(out.empty() ? "" : ",") + field.key;
    }
  }
  return out + "\n";
}

std::string FrameCsvLine(const FrameRecord& f) {
  std::string out;
  for (const FrameField& field : FrameFields()) {
    std::visit(
        [&](auto member) {
          using T = std::decay_t<decltype(f.*member)>;
          auto cell = [&](const std::string& text) { out += (out.empty() ? "" : ",") + text; };
          if constexpr (std::is_same_v<T, float>) {
            cell(FloatText(f.*member));
          } else if constexpr (std::is_same_v<T, std::array<float, 4>>) {
            for (float x : f.*member) cell(FloatText(x));
          } else if constexpr (std::is_same_v<T, bool>) {
            cell(f.*member ? "1" : "0");
          } else if constexpr (std::is_same_v<T, int>) {
            cell(std::to_string(f.*member));
          } else {
            cell(CsvText(f.*member));
          }
        },
        field.member);
  }
  return out + "\n";
}

FrameRecord ReadFrameJson(const SummaryReader& in, const json& j, int k) {
  const std::string w = "frames[" + std::to_string(k) + "]";
  FrameRecord f;
  for (const FrameField& field : FrameFields()) {
    if (field.unless_guarded_null && !f.guarded) continue;
    std::visit(
        [&](auto member) {
          using T = std::decay_t<decltype(f.*member)>;
          if constexpr (std::is_same_v<T, float>) {
            f.*member = in.Float(j, field.key, w);
          } else if constexpr (std::is_same_v<T, std::array<float, 4>>) {
            in.Floats(j, field.key, w, (f.*member).data(), 4);
          } else if constexpr (std::is_same_v<T, bool>) {
            f.*member = field.optional ? in.OptionalBool(j, field.key, w) : in.Bool(j, field.key, w);
          } else if constexpr (std::is_same_v<T, int>) {
            const bool own = field.lo == kOwnIndex;
            f.*member = in.Int(j, field.key, w, own ? k : field.lo, own ? k : field.hi);
          } else {
            f.*member = in.String(j, field.key, w, field.unless_guarded_null);
          }
        },
        field.member);
  }
  return f;
}

}  // namespace mirvo::workbench
