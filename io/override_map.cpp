#include "io/override_map.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>

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

// Calls `line` with each line of `text` (without its line feed) and its
// number; a last line without a line feed counts too.
template <typename Visit>
void ForEachLine(const std::string& text, Visit line) {
  size_t begin = 0;
  for (int number = 1; begin < text.size(); ++number) {
    size_t end = text.find('\n', begin);
    if (end == std::string::npos) end = text.size();
    line(text.substr(begin, end - begin), number);
    begin = end + 1;
  }
}

// Key and value of a line: the text before the first "=" and after it, or
// the whole line as both when it has none.
OverrideEntry Split(const std::string& line, int number) {
  const size_t eq = line.find('=');
  if (eq == std::string::npos) {
    const std::string all = Trim(line);
    return {number, all, all};
  }
  return {number, Trim(line.substr(0, eq)), Trim(line.substr(eq + 1))};
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

bool IsOverrideKey(const std::string& key) {
  for (const OverrideKey& k : kOverrideKeys)
    if (key == k.name) return true;
  return false;
}

std::vector<OverrideEntry> OverrideMapEntries(const std::string& text) {
  std::vector<OverrideEntry> entries;
  ForEachLine(text, [&entries](const std::string& line, int number) {
    OverrideEntry entry = Split(line, number);
    if (!entry.key.empty() && !entry.value.empty()) entries.push_back(std::move(entry));
  });
  return entries;
}

ParseResult OverrideMapParseText(const std::string& text, std::vector<OverrideEntry>* entries) {
  entries->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if ((c < 32 && c != '\n' && c != '\r' && c != '\t') || c == 127)
      return ParseResult::Fail("not a text file (control byte at offset " + std::to_string(i) + ")");
  }
  ParseResult result;
  int known = 0;
  ForEachLine(text, [&](const std::string& line, int number) {
    const std::string where = "line " + std::to_string(number) + ": ";
    if (!result || Trim(line).empty()) return;
    // The device reads a line without "=" as key and value at once, and
    // skips one with either missing: both are mistakes in a file a tool checks.
    if (line.find('=') == std::string::npos) {
      result = ParseResult::Fail(where + QuoteToken(Trim(line)) + " is not a key=value line", number);
      return;
    }
    OverrideEntry entry = Split(line, number);
    if (!entry.value.empty() && entry.value.back() == '\r') entry.value.pop_back();
    if (entry.key.empty() || entry.value.empty()) {
      result = ParseResult::Fail(where + "key or value missing in " + QuoteToken(Trim(line)), number);
      return;
    }
    if (IsOverrideKey(entry.key)) {
      // The device parses with "%f" and stores 0 on failure: silently wrong tuning.
      float f = 0;
      char extra = 0;
      if (std::sscanf(entry.value.c_str(), "%f %c", &f, &extra) != 1 || !std::isfinite(f)) {
        result = ParseResult::Fail(
            where + "value " + QuoteToken(entry.value) + " of " + entry.key + " is not a finite number", number);
        return;
      }
      ++known;
    }
    entries->push_back(std::move(entry));
  });
  if (result && known == 0)
    return ParseResult::Fail("sets none of the known keys, expected lines such as smooth_thd=0.05");
  return result;
}

void DebugParamUpdater::Init(const std::string& path, TuningParams* tuning, MirvoDebugParams* debug) {
  path_ = path;
  // In the order of kOverrideKeys.
  void* const targets[16] = {
      &tuning->enable_temporal_filter,
      &tuning->filter_input_stats,
      &tuning->min_level_thd,
      &tuning->max_level_thd,
      &tuning->sat_ratio_thd,
      &tuning->smooth_thd,
      &tuning->limit_thd,
      &tuning->prj_delta_thd,
      &tuning->tint_update_gain,
      &debug->tint_visualization_gain,
      &debug->crop.in_w,
      &debug->crop.in_h,
      &debug->crop.offs_x,
      &debug->crop.offs_y,
      &debug->crop.out_w,
      &debug->crop.out_h,
  };
  for (int i = 0; i < 16; ++i) {
    if (kOverrideKeys[i].integer)
      int_params_[kOverrideKeys[i].name] = static_cast<int*>(targets[i]);
    else
      float_params_[kOverrideKeys[i].name] = static_cast<float*>(targets[i]);
  }
}

bool DebugParamUpdater::Update() {
  if (path_.empty()) return false;
  FILE* f = std::fopen(path_.c_str(), "r");
  if (f == nullptr) return false;
  std::string text;
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, f)) > 0;) text.append(buffer, n);

  // Ordered, so the overrides apply in byte order of their keys and a later
  // line for the same key wins.
  std::map<std::string, std::string> entries;
  for (OverrideEntry& entry : OverrideMapEntries(text)) entries[entry.key] = std::move(entry.value);

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
