#include "checks/input_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

#include "base/cli_error.h"
#include "checks/token_check.h"
#include "io/lsc_table_file.h"
#include "io/tuning_file.h"
#include "pipeline/progress.h"
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

uint64_t CheckInputFile(const std::string& path, const std::string& what, uint64_t max_bytes) {
  if (path.empty()) throw UsageError("mirvo: empty file name given for " + what);
  struct stat st;
  if (stat(path.c_str(), &st) != 0) Bad(path, std::string("cannot open ") + what + ": " + std::strerror(errno));
  if (S_ISDIR(st.st_mode)) Bad(path, "is a directory, expected " + what);
  if (!S_ISREG(st.st_mode)) Bad(path, "is not a regular file, expected " + what);
  if (access(path.c_str(), R_OK) != 0) Bad(path, std::string("cannot read ") + what + ": " + std::strerror(errno));
  const uint64_t size = static_cast<uint64_t>(st.st_size);
  if (size == 0) Bad(path, "is empty, expected " + what);
  if (size > max_bytes)
    Bad(path, "file of " + std::to_string(size) + " bytes is too large for " + what + " (at most " +
                  std::to_string(max_bytes) + ")");
  return size;
}

std::string ReadInputFile(const std::string& path, const std::string& what, uint64_t max_bytes) {
  CheckInputFile(path, what, max_bytes);
  std::ifstream in(path, std::ios::binary);
  std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad() || !in.is_open()) Bad(path, std::string("cannot read ") + what);
  // It may have grown since it was checked.
  if (content.size() > max_bytes) Bad(path, "file is too large for " + what);
  return content;
}

mirvo::LscTable LoadTableFile(const std::string& path) {
  const std::string text = ReadInputFile(path, "an LSC table header file", kMaxTableBytes);
  std::string why;
  if (mirvo::LscTableValidateHeaderFile(path.c_str(), &why) != mirvo::kOk || !(why = TableTextProblem(text)).empty())
    Bad(path, "not a valid LSC table header file: " + Reason(why, "rejected"));
  mirvo::LscTable table{};
  if (mirvo::LscTableLoadHeaderFile(path.c_str(), table) != mirvo::kOk) Bad(path, "cannot load LSC table");
  return table;
}

void LoadTuningFile(const std::string& path, mirvo::MirvoParams* params) {
  const std::string text = ReadInputFile(path, "a tuning header file", kMaxTuningBytes);
  std::string why;
  if (mirvo::TuningValidateHeaderFile(path.c_str(), &why) != mirvo::kOk || !(why = TuningTextProblem(text)).empty())
    Bad(path, "not a valid tuning header file: " + Reason(why, "rejected"));
  if (mirvo::LoadTuningHeaderFile(path.c_str(), *params) != mirvo::kOk) Bad(path, "cannot load tuning");
}

void LoadStatsFile(const std::string& path, mirvo::Stats* stats) {
  const std::string text = ReadInputFile(path, "a statistics dump", kMaxStatsBytes);
  std::string why;
  if (mirvo::StatsValidateTextFile(path.c_str(), &why) != mirvo::kOk || !(why = StatsTextProblem(text)).empty())
    Bad(path, "not a valid statistics dump: " + Reason(why, "rejected"));
  if (stats->LoadSimStatsElmrak(path.c_str()) != 0) Bad(path, "cannot load statistics");
}

void CheckRawFile(const std::string& path, const RawOptions& raw) {
  const uint64_t size = CheckInputFile(path, "a raw frame", ~0ull);
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
  const std::string text = ReadInputFile(path, "an override map file", kMaxOverrideBytes);
  for (size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if ((c < 32 && c != '\n' && c != '\r' && c != '\t') || c == 127)
      Bad(path, "not a text file (control byte at offset " + std::to_string(i) + "), expected an override map file");
  }
  // Warnings wait until the whole file passed, so a bad file gives one line only.
  std::vector<std::string> warnings;
  int known = 0;
  int number = 0;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(start, end - start);
    start = end + 1;
    ++number;
    const std::string where = "line " + std::to_string(number) + ": ";
    if (Trim(line).empty()) continue;
    // The library reads a line without '=' as key and value at once, and
    // skips one with either missing: both are mistakes here.
    const size_t eq = line.find('=');
    if (eq == std::string::npos) Bad(path, where + QuoteToken(Trim(line)) + " is not a key=value line");
    const std::string key = Trim(line.substr(0, eq));
    std::string value = Trim(line.substr(eq + 1));
    if (!value.empty() && value.back() == '\r') value.pop_back();
    if (key.empty() || value.empty()) Bad(path, where + "key or value missing in " + QuoteToken(Trim(line)));
    if (!kKeys.count(key)) {
      warnings.push_back(path + ": " + where + "unknown key '" + key + "' is ignored");
      continue;
    }
    // The library parses with "%f" and stores 0 on failure; refuse that silently wrong tuning.
    float f = 0;
    char extra = 0;
    if (std::sscanf(value.c_str(), "%f %c", &f, &extra) != 1 || !std::isfinite(f))
      Bad(path, where + "value " + QuoteToken(value) + " of " + key + " is not a finite number");
    ++known;
  }
  if (known == 0) Bad(path, "sets none of the known keys, expected lines such as smooth_thd=0.05");
  if (!warnings.empty()) ClearProgressLine();
  for (const std::string& w : warnings) std::fprintf(stderr, "mirvo: warning: %s\n", Printable(w).c_str());
}

}  // namespace mirvo_cli
