#include "io/override_map.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <map>

#include "core/log_tag.h"

namespace mirvo {

namespace {

std::string Trim(const std::string& s) {
  // Carriage returns are kept: "%f" stops before them anyway.
  static const char kBlank[] = " \t\n";
  const size_t first = s.find_first_not_of(kBlank);
  if (first == std::string::npos) return std::string();
  const size_t last = s.find_last_not_of(kBlank);
  return s.substr(first, last - first + 1);
}

// Reads one line without its line feed; false at end of file with nothing read.
bool ReadLine(FILE* f, std::string* line) {
  line->clear();
  int ch;
  bool any = false;
  while ((ch = std::fgetc(f)) != EOF) {
    any = true;
    if (ch == '\n') return true;
    line->push_back(static_cast<char>(ch));
  }
  return any;
}

// Truncation toward zero, saturating at the int range; NaN becomes 0.
int TruncToInt(float f) {
  if (std::isnan(f)) return 0;
  if (f >= 2147483648.0f) return INT_MAX;
  if (f <= -2147483648.0f) return INT_MIN;
  return static_cast<int>(f);
}

// A failed parse still yields the 0.0 the value starts at.
bool ParseFloat(const std::string& value, float* out) {
  *out = 0.0f;
  return std::sscanf(value.c_str(), "%f", out) == 1;
}

void WarnNotDecoded(const std::string& key, const std::string& value) {
  __android_log_print(ANDROID_LOG_WARN, kLogTag, "Parameter: %s = %s is not decoded", key.c_str(), value.c_str());
}

}  // namespace

DebugParamUpdater::DebugParamUpdater() {
  int_params_.max_load_factor(1.0f);
  float_params_.max_load_factor(1.0f);
}

DebugParamUpdater::~DebugParamUpdater() = default;

void DebugParamUpdater::Init(const std::string& path, TuningParams* tuning, MirvoDebugParams* debug) {
  path_ = path;
  int_params_["enable_temporal_filter"] = &tuning->enable_temporal_filter;
  int_params_["filter_input_stats"] = &tuning->filter_input_stats;
  float_params_["min_level_thd"] = &tuning->min_level_thd;
  float_params_["max_level_thd"] = &tuning->max_level_thd;
  float_params_["sat_ratio_thd"] = &tuning->sat_ratio_thd;
  float_params_["smooth_thd"] = &tuning->smooth_thd;
  float_params_["limit_thd"] = &tuning->limit_thd;
  float_params_["prj_delta_thd"] = &tuning->prj_delta_thd;
  float_params_["tint_update_gain"] = &tuning->tint_update_gain;
  float_params_["tint_visualization_gain"] = &debug->tint_visualization_gain;
  float_params_["in_w"] = &debug->crop.in_w;
  float_params_["in_h"] = &debug->crop.in_h;
  float_params_["offs_x"] = &debug->crop.offs_x;
  float_params_["offs_y"] = &debug->crop.offs_y;
  float_params_["out_w"] = &debug->crop.out_w;
  float_params_["out_h"] = &debug->crop.out_h;
}

bool DebugParamUpdater::Update() {
  if (path_.empty()) return false;
  FILE* f = std::fopen(path_.c_str(), "r");
  if (f == nullptr) return false;

  // Ordered, so the overrides apply in byte order of their keys and a later
  // line for the same key wins.
  std::map<std::string, std::string> entries;
  std::string line;
  while (ReadLine(f, &line)) {
    const size_t eq = line.find('=');
    std::string key;
    std::string value;
    if (eq == std::string::npos) {
      key = Trim(line);
      value = key;
    } else {
      key = Trim(line.substr(0, eq));
      value = Trim(line.substr(eq + 1));
    }
    if (key.empty() || value.empty()) continue;
    entries[key] = value;
  }

  for (const auto& [key, value] : entries) {
    float parsed;
    if (auto it = int_params_.find(key); it != int_params_.end()) {
      const bool ok = ParseFloat(value, &parsed);
      *it->second = TruncToInt(parsed);
      if (!ok) WarnNotDecoded(key, value);
    } else if (auto jt = float_params_.find(key); jt != float_params_.end()) {
      const bool ok = ParseFloat(value, &parsed);
      *jt->second = parsed;
      if (!ok) WarnNotDecoded(key, value);
    }
  }
  std::fclose(f);
  return true;
}

}  // namespace mirvo
