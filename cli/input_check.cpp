#include "input_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>

#include "cli_error.h"
#include "io/lsc_table_file.h"
#include "io/tuning_file.h"
#include "progress.h"
#include "tools/bayer_raw.h"
#include "tools/stats_validate.h"

namespace mirvo_cli {
namespace {

[[noreturn]] void Bad(const std::string& path, const std::string& why) { throw DataError(path + ": " + why); }

std::string Reason(const std::string& why, const char* fallback) { return why.empty() ? fallback : why; }

std::string Trim(const std::string& s) {
  const char* ws = " \t\n";
  const size_t b = s.find_first_not_of(ws);
  if (b == std::string::npos) return "";
  return s.substr(b, s.find_last_not_of(ws) - b + 1);
}

}  // namespace

uint64_t CheckInputFile(const std::string& path, const std::string& what) {
  if (path.empty()) throw DataError("empty file name given for the " + what);
  struct stat st;
  if (stat(path.c_str(), &st) != 0) Bad(path, std::string("cannot open ") + what + ": " + std::strerror(errno));
  if (S_ISDIR(st.st_mode)) Bad(path, "is a directory, expected " + what);
  if (!S_ISREG(st.st_mode)) Bad(path, "is not a regular file, expected " + what);
  if (access(path.c_str(), R_OK) != 0) Bad(path, std::string("cannot read ") + what + ": " + std::strerror(errno));
  return static_cast<uint64_t>(st.st_size);
}

mirvo::LscTable LoadTableFile(const std::string& path) {
  CheckInputFile(path, "an LSC table header file");
  std::string why;
  if (mirvo::LscTableValidateHeaderFile(path.c_str(), &why) != mirvo::kOk)
    Bad(path, "not a valid LSC table header file: " + Reason(why, "rejected"));
  mirvo::LscTable table{};
  if (mirvo::LscTableLoadHeaderFile(path.c_str(), table) != mirvo::kOk) Bad(path, "cannot load LSC table");
  return table;
}

void LoadTuningFile(const std::string& path, mirvo::MirvoParams* params) {
  CheckInputFile(path, "a tuning header file");
  std::string why;
  if (mirvo::TuningValidateHeaderFile(path.c_str(), &why) != mirvo::kOk)
    Bad(path, "not a valid tuning header file: " + Reason(why, "rejected"));
  if (mirvo::LoadTuningHeaderFile(path.c_str(), *params) != mirvo::kOk) Bad(path, "cannot load tuning");
}

void LoadStatsFile(const std::string& path, mirvo::Stats* stats) {
  CheckInputFile(path, "a statistics dump");
  std::string why;
  if (mirvo::StatsValidateTextFile(path.c_str(), &why) != mirvo::kOk)
    Bad(path, "not a valid statistics dump: " + Reason(why, "rejected"));
  if (stats->LoadSimStatsElmrak(path.c_str()) != 0) Bad(path, "cannot load statistics");
}

void CheckRawFile(const std::string& path, const RawOptions& raw) {
  const uint64_t size = CheckInputFile(path, "a raw frame");
  const uint64_t expected = RawFileSize(raw);
  if (size != expected)
    Bad(path, "raw frame of " + std::to_string(size) + " bytes, expected " + std::to_string(expected) + " for " +
                  std::to_string(raw.width) + "x" + std::to_string(raw.height) +
                  (raw.mipi ? " RAW10 MIPI" : " unpacked 16-bit"));
}

void StatsFromRawFile(const std::string& path, const RawOptions& raw, mirvo::Stats* stats) {
  CheckRawFile(path, raw);
  mirvo::BayerRaw frame;
  const mirvo::errCode rc =
      frame.ReadRawImage(path.c_str(), raw.width, raw.height, raw.bits, raw.pattern.c_str(), raw.mipi);
  if (rc != mirvo::kOk) Bad(path, "cannot read raw frame (error " + std::to_string(rc) + ")");
  stats->CreateFromRaw(frame, raw.black_level, raw.grid_cols, raw.grid_rows);
}

void CheckOverrideFile(const std::string& path) {
  CheckInputFile(path, "an override map file");
  static const std::set<std::string> kKeys = {"enable_temporal_filter",
                                              "filter_input_stats",
                                              "min_level_thd",
                                              "max_level_thd",
                                              "sat_ratio_thd",
                                              "smooth_thd",
                                              "limit_thd",
                                              "prj_delta_thd",
                                              "tint_update_gain",
                                              "tint_visualization_gain",
                                              "in_w",
                                              "in_h",
                                              "offs_x",
                                              "offs_y",
                                              "out_w",
                                              "out_h"};
  std::ifstream in(path);
  if (!in) Bad(path, "cannot read override map file");
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    const size_t eq = line.find('=');
    const std::string key = Trim(eq == std::string::npos ? line : line.substr(0, eq));
    std::string value = Trim(eq == std::string::npos ? line : line.substr(eq + 1));
    if (key.empty() || value.empty()) continue;
    if (!kKeys.count(key)) {
      ClearProgressLine();
      std::fprintf(stderr, "mirvo: warning: %s: line %d: unknown key '%s' is ignored\n", path.c_str(), number,
                   key.c_str());
      continue;
    }
    // The library parses with "%f" and stores 0 on failure; refuse that silently wrong tuning.
    if (!value.empty() && value.back() == '\r') value.pop_back();
    float f = 0;
    char extra = 0;
    if (std::sscanf(value.c_str(), "%f %c", &f, &extra) != 1)
      Bad(path, "line " + std::to_string(number) + ": value '" + value + "' of " + key + " is not a number");
  }
  if (in.bad()) Bad(path, "read error");
}

}  // namespace mirvo_cli
