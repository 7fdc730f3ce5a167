#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "core/mirvo_params.h"
#include "core/parse_result.h"

namespace mirvo {

// Path of the override file on the device's persistent camera partition.
inline constexpr char kOverrideMapPath[] = "/mnt/vendor/persist/camera/param_override_map.txt";

// The keys an override file can set: the fields of TuningParams and
// MirvoDebugParams they name. `integer` fields take the value truncated
// toward zero. Every other key is ignored.
struct OverrideKey {
  const char* name;
  bool integer;
};
inline constexpr OverrideKey kOverrideKeys[16] = {
    {"enable_temporal_filter", true},
    {"filter_input_stats", true},
    {"min_level_thd", false},
    {"max_level_thd", false},
    {"sat_ratio_thd", false},
    {"smooth_thd", false},
    {"limit_thd", false},
    {"prj_delta_thd", false},
    {"tint_update_gain", false},
    {"tint_visualization_gain", false},
    {"in_w", false},
    {"in_h", false},
    {"offs_x", false},
    {"offs_y", false},
    {"out_w", false},
    {"out_h", false},
};
bool IsOverrideKey(const std::string& key);

// One "key=value" line of an override file, trimmed of blanks, tabs and line
// feeds (carriage returns are kept; "%f" stops before them).
struct OverrideEntry {
  int line;  // 1-based
  std::string key;
  std::string value;
};

// The lines the device applies, as DebugParamUpdater::Update reads them: a
// line without "=" is key and value at once, a line with an empty key or
// value is skipped. Later lines for the same key come later in the list.
std::vector<OverrideEntry> OverrideMapEntries(const std::string& text);

// The strict reader: only text (no control bytes but tab, CR and LF), every
// non-blank line "key=value" with both parts present, every known key set to
// one finite number, and at least one known key. `entries` receives all
// lines in file order, unknown keys included (the device ignores them; a
// tool may warn). The reason starts with "line N: " where it concerns a line.
ParseResult OverrideMapParseText(const std::string& text, std::vector<OverrideEntry>* entries);

// Applies "key=value" lines of an override file to chosen tuning and debug
// fields. Targets are not owned and must outlive the updater.
class DebugParamUpdater {
 public:
  DebugParamUpdater();
  ~DebugParamUpdater();

  void Init(const std::string& path, TuningParams* tuning, MirvoDebugParams* debug);
  // False only for an empty path or an unopenable file.
  bool Update();

 private:
  std::string path_;
  std::unordered_map<std::string, int*> int_params_;
  std::unordered_map<std::string, float*> float_params_;
};

}  // namespace mirvo
