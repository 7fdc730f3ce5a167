#include "io/tuning_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>

#include "core/log_tag.h"
#include "io/default_tuning.h"
#include "io/tuning_text.h"

namespace mirvo {

namespace internal {

bool LineCarries(const std::string& line, const std::string& name) {
  size_t pos = line.find_first_not_of(" */");
  if (pos == std::string::npos) pos = line.empty() ? 0 : line.size() - 1;
  return line.compare(pos, name.size(), name) == 0;
}

std::string GetValueStr(const std::string& token) {
  const size_t first = token.find_first_not_of("{ ");
  if (first == std::string::npos) return std::string();
  const size_t last = token.find_last_not_of(" },");
  if (last == std::string::npos || last < first) return std::string();
  return token.substr(first, last - first + 1);
}

}  // namespace internal

namespace {

using internal::GetValueStr;
using internal::LineCarries;

// Field order of TuningParams, as the nine value lines of the file hold them.
constexpr const char* kTuningFieldNames[9] = {
    "min_level_thd", "max_level_thd",    "sat_ratio_thd",          "smooth_thd", "limit_thd", "filter_input_stats",
    "prj_delta_thd", "tint_update_gain", "enable_temporal_filter",
};

// float to an integer type by truncation towards zero. Values outside int32
// saturate and NaN gives 0, as the target's conversion instruction does; a
// plain cast would be undefined there.
int32_t TruncateToInt(float value) {
  if (std::isnan(value)) return 0;
  if (value >= 2147483648.0f) return INT32_MAX;
  if (value <= -2147483648.0f) return INT32_MIN;
  return static_cast<int32_t>(value);
}

template <typename T>
T ConvertValue(float value);
template <>
float ConvertValue<float>(float value) {
  return value;
}
template <>
int ConvertValue<int>(float value) {
  return TruncateToInt(value);
}
template <>
unsigned char ConvertValue<unsigned char>(float value) {
  return static_cast<unsigned char>(static_cast<uint32_t>(TruncateToInt(value)) & 0xFFu);
}

// Checks the stream before a read. The badbit test after the failbit-or-badbit
// one can never fire; it is kept for the order of the messages.
int CheckErrorBits(std::ifstream& file) {
  if (file.eof()) {
    std::perror("stream eofbit. error state");
    return -1;
  }
  if (file.fail()) {
    std::perror("stream failbit (or badbit). error state");
    return -1;
  }
  if (file.bad()) {
    std::perror("stream badbit. error state");
    return -1;
  }
  return 0;
}

// Reads lines up to and including the one carrying `name`. 0 found; -1 when
// the stream runs out (the file is then closed).
int MoveToLine(std::ifstream& file, const std::string& name) {
  std::string line;
  for (;;) {
    if (CheckErrorBits(file) != 0) {
      file.close();
      return -1;
    }
    std::getline(file, line);
    if (LineCarries(line, name)) return 0;
  }
}

// The value is stored even when the scan fails (then as 0), before the
// failure is reported.
template <typename T>
int GetNumberFromLine(const std::string& line, T* out) {
  float value = 0.0f;
  const int scanned = std::sscanf(line.c_str(), "%f", &value);
  *out = ConvertValue<T>(value);
  if (scanned != 1) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Line: %s is not decoded", line.c_str());
    return kInvalidInput;
  }
  return 0;
}

// A 13 x 17 grid: exactly 221 tokens. std::stof throws on a token that holds
// no number; tools call TuningValidateHeaderFile first.
int ReadGrid(std::ifstream& file, float (&grid)[13][17]) {
  std::string token;
  for (auto& row : grid) {
    for (float& value : row) {
      if (CheckErrorBits(file) != 0) {
        file.close();
        return -1;
      }
      file >> token;
      value = std::stof(GetValueStr(token));
    }
  }
  return 0;
}

// A gradient block: tokens until 1480 values are stored; tokens that trim to
// nothing (a lone brace) are skipped.
int ReadBlock(std::ifstream& file, float (&block)[kNumEdges]) {
  std::string token;
  int stored = 0;
  while (stored < kNumEdges) {
    if (CheckErrorBits(file) != 0) {
      file.close();
      return -1;
    }
    file >> token;
    const std::string value = GetValueStr(token);
    if (value.empty()) continue;
    block[stored++] = std::stof(value);
  }
  return 0;
}

}  // namespace

errCode LoadTuningHeaderFile(const char* path, MirvoParams& params) {
  std::ifstream file(path);
  if (!file.is_open()) return kFileError;
  std::string line;

  if (MoveToLine(file, "[Version]") != 0) return kFileError;
  std::getline(file, line);
  std::getline(file, line);
  // All four version numbers come from the one value line.
  for (int i = 0; i < 3; ++i) {
    float value = 0.0f;
    if (std::sscanf(line.c_str(), "%f", &value) != 1) {
      __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Line: %s is not decoded", line.c_str());
      return kFileError;
    }
    params.version[i] = ConvertValue<unsigned char>(value);
  }
  if (GetNumberFromLine(line, &params.version[3]) != 0) return kFileError;

  if (MoveToLine(file, "[TuningParams]") != 0) return kFileError;
  std::getline(file, line);
  std::getline(file, line);
  TuningParams& t = params.tuning;
  float* const floats[9] = {&t.min_level_thd, &t.max_level_thd, &t.sat_ratio_thd,    &t.smooth_thd, &t.limit_thd,
                            nullptr,          &t.prj_delta_thd, &t.tint_update_gain, nullptr};
  int32_t* const ints[9] = {
      nullptr, nullptr, nullptr, nullptr, nullptr, &t.filter_input_stats, nullptr, nullptr, &t.enable_temporal_filter};
  for (int i = 0; i < 9; ++i) {
    const int result = floats[i] != nullptr ? GetNumberFromLine(line, floats[i]) : GetNumberFromLine(line, ints[i]);
    if (result != 0) return kFileError;
    std::getline(file, line);
  }

  LearnedTintProfile& profile = params.learned_tint_profile;
  if (MoveToLine(file, "[BUL]") != 0) return kFileError;
  std::getline(file, line);
  if (ReadGrid(file, profile.BUL) != 0) return kFileError;

  std::getline(file, line);
  if (MoveToLine(file, "[BVL]") != 0) return kFileError;
  std::getline(file, line);
  if (ReadGrid(file, profile.BVL) != 0) return kFileError;

  std::getline(file, line);
  if (MoveToLine(file, "[BgUHXY]") != 0) return kFileError;
  if (ReadBlock(file, profile.BgUHXY) != 0) return kFileError;
  if (MoveToLine(file, "[BgVHXY]") != 0) return kFileError;
  if (ReadBlock(file, profile.BgVHXY) != 0) return kFileError;

  file.close();
  return kOk;
}

namespace {

// Silent replay of LoadTuningHeaderFile: the same stream operations in the
// same order, with every point where the reader fails or throws turned into
// a reason.
class TuningChecker {
 public:
  explicit TuningChecker(const char* path) : file_(path) {}

  bool Run() {
    if (!file_.is_open()) return Fail("cannot open file");
    std::string line;
    if (!MoveTo("[Version]")) return false;
    std::getline(file_, line);
    std::getline(file_, line);
    if (!Scans(line)) return Fail("[Version]: value line does not start with a number");

    if (!MoveTo("[TuningParams]")) return false;
    std::getline(file_, line);
    std::getline(file_, line);
    for (int i = 0; i < 9; ++i) {
      if (!Scans(line)) {
        return Fail("[TuningParams]: line " + std::to_string(i + 1) + " does not start with a number (" +
                    kTuningFieldNames[i] + ")");
      }
      std::getline(file_, line);
    }

    if (!MoveTo("[BUL]")) return false;
    std::getline(file_, line);
    if (!Values("[BUL]", 221, false)) return false;
    std::getline(file_, line);
    if (!MoveTo("[BVL]")) return false;
    std::getline(file_, line);
    if (!Values("[BVL]", 221, false)) return false;
    std::getline(file_, line);
    if (!MoveTo("[BgUHXY]")) return false;
    if (!Values("[BgUHXY]", kNumEdges, true)) return false;
    if (!MoveTo("[BgVHXY]")) return false;
    return Values("[BgVHXY]", kNumEdges, true);
  }

  const std::string& reason() const { return reason_; }

 private:
  bool Fail(const std::string& reason) {
    reason_ = reason;
    return false;
  }

  static bool Scans(const std::string& line) {
    float value = 0.0f;
    return std::sscanf(line.c_str(), "%f", &value) == 1;
  }

  bool MoveTo(const std::string& name) {
    std::string line;
    for (;;) {
      if (!file_.good()) return Fail("section " + name + " not found");
      std::getline(file_, line);
      if (LineCarries(line, name)) return true;
    }
  }

  // Grids take exactly `count` tokens; blocks skip tokens that trim to nothing.
  bool Values(const std::string& section, int count, bool skip_empty) {
    std::string token;
    int stored = 0;
    for (int index = 1; stored < count; ++index) {
      if (!file_.good()) {
        return Fail(section + ": file ends after " + std::to_string(stored) + " of " + std::to_string(count) +
                    " values");
      }
      file_ >> token;
      const std::string value = GetValueStr(token);
      if (value.empty() && skip_empty) continue;
      if (value.empty() && file_.fail()) {
        return Fail(section + ": file ends after " + std::to_string(stored) + " of " + std::to_string(count) +
                    " values");
      }
      // std::stof is strtof plus an exception on no conversion or ERANGE.
      errno = 0;
      char* end = nullptr;
      std::strtof(value.c_str(), &end);
      const std::string quoted = "\"" + (token.size() > 24 ? token.substr(0, 24) + "..." : token) + "\"";
      if (end == value.c_str()) {
        return Fail(section + ": token " + std::to_string(index) + " " + quoted + " is not a number");
      }
      if (errno == ERANGE) {
        return Fail(section + ": token " + std::to_string(index) + " " + quoted + " is out of float range");
      }
      ++stored;
    }
    return true;
  }

  std::ifstream file_;
  std::string reason_;
};

// 9 significant digits bring every normal float back bit for bit. Near the
// bottom of the normal range the shortest decimal can lie just below the
// smallest normal, which the reader's std::stof rejects as out of range where
// tininess is detected before rounding (AArch64); those values go out as exact
// hex floats. Subnormals are rejected on such platforms even when exact, so
// they are written as a zero of the same sign.
std::string FormatFloat(float value) {
  if (std::fpclassify(value) == FP_SUBNORMAL) return std::signbit(value) ? "-0" : "0";
  char text[48];
  const bool near_min = value != 0.0f && std::fabs(value) < 1e-37f;
  std::snprintf(text, sizeof text, near_min ? "%a" : "%.9g", static_cast<double>(value));
  return text;
}

}  // namespace

errCode TuningValidateHeaderFile(const char* path, std::string* why) {
  std::string reason;
  if (path == nullptr) {
    reason = "no path given";
  } else {
    // Reading a pipe or a device could block or never end.
    struct stat info;
    if (::stat(path, &info) != 0) {
      reason = "cannot open file";
    } else if (!S_ISREG(info.st_mode)) {
      reason = "not a regular file";
    } else {
      TuningChecker checker(path);
      if (checker.Run()) return kOk;
      reason = checker.reason();
    }
  }
  if (why != nullptr) *why = reason;
  return kFileError;
}

errCode SaveTuningHeaderFile(const char* path, const MirvoParams& params) {
  FILE* file = std::fopen(path, "w");
  if (file == nullptr) return kFileError;
  std::string text;
  text += "/* Mirvo tuning record: version, thresholds and learned tint profile. */\n";
  text += "/* Each section is named in the comment line above its data. */\n\n";

  text += "/* [Version] */\nstatic const unsigned char mirvo_version[4] = {\n  ";
  for (int i = 0; i < 4; ++i) text += std::to_string(params.version[i]) + (i < 3 ? ", " : "\n};\n\n");

  const TuningParams& t = params.tuning;
  const std::string values[9] = {
      FormatFloat(t.min_level_thd), FormatFloat(t.max_level_thd),    FormatFloat(t.sat_ratio_thd),
      FormatFloat(t.smooth_thd),    FormatFloat(t.limit_thd),        std::to_string(t.filter_input_stats),
      FormatFloat(t.prj_delta_thd), FormatFloat(t.tint_update_gain), std::to_string(t.enable_temporal_filter),
  };
  text += "/* [TuningParams] */\nstatic const struct mirvo_tuning_params mirvo_tuning = {\n";
  for (int i = 0; i < 9; ++i) {
    text += "  " + values[i] + (i < 8 ? ", " : " ") + "/* " + kTuningFieldNames[i] + " */\n";
  }
  text += "};\n\n";

  // Grids: one free line after the section line, braces glued to the numbers
  // (a lone brace would not be a number there).
  const LearnedTintProfile& p = params.learned_tint_profile;
  auto grid = [&text](const char* name, const float(&g)[13][17]) {
    text += std::string("/* [") + name + "] 13 x 17 */\nstatic const float mirvo_" + name + "[13][17] = {\n";
    for (int r = 0; r < 13; ++r) {
      text += "  {";
      for (int c = 0; c < 17; ++c) text += FormatFloat(g[r][c]) + (c < 16 ? ", " : "},\n");
    }
    text += "};\n\n";
  };
  grid("BUL", p.BUL);
  grid("BVL", p.BVL);

  // Blocks: the numbers follow the section line directly, so the declaration
  // goes above it. Lines follow the 24 x 31 and 23 x 32 grids.
  auto block = [&text](const char* name, const float(&b)[kNumEdges]) {
    text += std::string("static const float mirvo_") + name + "[" + std::to_string(kNumEdges) + "] = {\n";
    text += std::string("/* [") + name + "] 24 x 31 horizontal, then 23 x 32 vertical differences */\n";
    int i = 0;
    for (int r = 0; r < 24 + 23; ++r) {
      const int n = r < 24 ? 31 : 32;
      text += " ";
      for (int c = 0; c < n; ++c, ++i) text += " " + FormatFloat(b[i]) + ",";
      text += "\n";
    }
    text += "};\n";
  };
  block("BgUHXY", p.BgUHXY);
  text += "\n";
  block("BgVHXY", p.BgVHXY);

  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  const bool closed = std::fclose(file) == 0;
  return written && closed ? kOk : kFileError;
}

MirvoTuning::MirvoTuning() : owns_table_(false), table_(const_cast<MirvoParams*>(&DefaultMirvoParams())) {}

MirvoTuning::~MirvoTuning() {
  if (owns_table_ && table_ != nullptr) delete table_;
}

void MirvoTuning::SetTuningTable() {}

MirvoParams* MirvoTuning::GetTuningTable() { return table_; }

errCode MirvoTuning::LoadHeaderFile(const char* path) {
  if (owns_table_ && table_ == nullptr) return kAllocationError;
  if (!owns_table_) {
    // A failed allocation leaves the holder in the "owns nothing" state,
    // which every later call reports as kAllocationError.
    table_ = new (std::nothrow) MirvoParams;
    owns_table_ = true;
    if (table_ == nullptr) return kAllocationError;
  }
  return LoadTuningHeaderFile(path, *table_);
}

}  // namespace mirvo
