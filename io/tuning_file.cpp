#include "io/tuning_file.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <sstream>
#include <string>

#include "core/log_tag.h"
#include "io/default_tuning.h"

namespace mirvo {

namespace {

// True if `line` carries `name` behind blanks, asterisks and slashes only, as
// on a C comment line. Tabs are not skipped.
bool LineCarries(const std::string& line, const std::string& name) {
  size_t pos = line.find_first_not_of(" */");
  if (pos == std::string::npos) pos = line.empty() ? 0 : line.size() - 1;
  return line.compare(pos, name.size(), name) == 0;
}

// A value token without its initialiser-list decoration: leading '{' and
// blanks, trailing blanks, '}' and ','. Tokens made only of those come out
// empty.
std::string GetValueStr(const std::string& token) {
  const size_t first = token.find_first_not_of("{ ");
  if (first == std::string::npos) return std::string();
  const size_t last = token.find_last_not_of(" },");
  if (last == std::string::npos || last < first) return std::string();
  return token.substr(first, last - first + 1);
}

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

// The number a value line starts with, as sscanf "%f" reads it; false when
// the scan fails (the value is then 0).
bool ScanLine(const std::string& line, float* value) {
  *value = 0.0f;
  return std::sscanf(line.c_str(), "%f", value) == 1;
}

// Strict mode: a value line starts with a finite number that nothing glues
// onto ("0.05abc", "1.2.3"), and no digit follows a comma right behind it, a
// decimal comma ("0,05") that sscanf would read as 0.
std::string ValueLineProblem(const std::string& line) {
  const char* start = line.c_str();
  while (*start == ' ' || *start == '\t') ++start;
  char* end = nullptr;
  const float v = std::strtof(start, &end);
  if (end == start || !std::isfinite(v)) return "does not start with a finite number";
  if (*end == 'f' || *end == 'F') ++end;
  const unsigned char next = static_cast<unsigned char>(*end);
  if (next == ',' && std::isdigit(static_cast<unsigned char>(end[1]))) return "has a decimal comma";
  if (std::isalnum(next) || next == '.' || next == '_') return "does not start with a finite number";
  return std::string();
}

// Strict mode: a grid token is one finite float, optionally with C's 'f'.
std::string GridTokenProblem(const std::string& value) {
  char* end = nullptr;
  const double v = std::strtod(value.c_str(), &end);
  if (end != value.c_str() && *end == ',' && std::isdigit(static_cast<unsigned char>(end[1])))
    return "has a decimal comma";
  if (end != value.c_str() && (*end == 'f' || *end == 'F')) ++end;
  if (end == value.c_str() || *end != '\0' || !std::isfinite(static_cast<float>(v))) return "is not a finite number";
  return std::string();
}

std::string Count(int n, const char* what) { return std::to_string(n) + " " + what; }

// One walk over a tuning header file for the loader and the strict reader:
// the same stream operations in the same order. As the loader (`why` null)
// stream faults are printed with perror, undecodable value lines logged and
// grid tokens converted with std::stof, which throws on non-numbers (the
// documented hazard). As the strict reader every point where the loader
// would fail or throw, and every value it would take silently wrong (text
// glued to a number, a decimal comma, a non-finite value, more values than
// a section takes), becomes a reason; nothing is printed or logged.
class TuningWalk {
 public:
  TuningWalk(std::istream& in, std::string* why) : in_(in), why_(why) {}

  errCode Run(MirvoParams& params) {
    std::string line;
    if (!MoveTo("[Version]")) return kFileError;
    std::getline(in_, line);
    std::getline(in_, line);
    // All four version numbers come from the one value line.
    for (int i = 0; i < 3; ++i) {
      float value = 0.0f;
      if (!ScanLine(line, &value)) {
        if (why_) return Fail("[Version]: value line does not start with a number"), kFileError;
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Line: %s is not decoded", line.c_str());
        return kFileError;
      }
      params.version[i] = ConvertValue<unsigned char>(value);
    }
    if (why_ && IsValueLineBad(line, "[Version]: value line ")) return kFileError;
    if (!ValueLine(line, &params.version[3])) return kFileError;

    if (!MoveTo("[TuningParams]")) return kFileError;
    std::getline(in_, line);
    std::getline(in_, line);
    TuningParams& t = params.tuning;
    float* const floats[9] = {&t.min_level_thd, &t.max_level_thd, &t.sat_ratio_thd,    &t.smooth_thd, &t.limit_thd,
                              nullptr,          &t.prj_delta_thd, &t.tint_update_gain, nullptr};
    int32_t* const ints[9] = {nullptr, nullptr, nullptr,
                              nullptr, nullptr, &t.filter_input_stats,
                              nullptr, nullptr, &t.enable_temporal_filter};
    for (int i = 0; i < 9; ++i) {
      const bool ok = floats[i] != nullptr ? ValueLine(line, floats[i], i) : ValueLine(line, ints[i], i);
      if (!ok) return kFileError;
      if (why_ && IsValueLineBad(line, std::string("[TuningParams]: ") + kTuningFieldNames[i] + " line "))
        return kFileError;
      std::getline(in_, line);
    }

    LearnedTintProfile& profile = params.learned_tint_profile;
    if (!MoveTo("[BUL]")) return kFileError;
    std::getline(in_, line);
    if (!Values("[BUL]", &profile.BUL[0][0], 221, false)) return kFileError;

    std::getline(in_, line);
    if (!MoveTo("[BVL]")) return kFileError;
    std::getline(in_, line);
    if (!Values("[BVL]", &profile.BVL[0][0], 221, false)) return kFileError;

    std::getline(in_, line);
    if (!MoveTo("[BgUHXY]")) return kFileError;
    if (!Values("[BgUHXY]", profile.BgUHXY, kNumEdges, true)) return kFileError;
    if (!MoveTo("[BgVHXY]")) return kFileError;
    if (!Values("[BgVHXY]", profile.BgVHXY, kNumEdges, true)) return kFileError;
    return kOk;
  }

 private:
  bool Fail(const std::string& reason) {
    *why_ = reason;
    return false;
  }

  bool IsValueLineBad(const std::string& line, const std::string& what) {
    const std::string problem = ValueLineProblem(line);
    return !problem.empty() && !Fail(what + QuoteToken(line) + " " + problem);
  }

  // Reads lines up to and including the one carrying `name`.
  bool MoveTo(const std::string& name) {
    std::string line;
    for (;;) {
      if (why_ ? !in_.good() : PrintStreamFault(in_)) return why_ && Fail("section " + name + " not found");
      std::getline(in_, line);
      if (LineCarries(line, name)) return true;
    }
  }

  // The loader stores the value even when the scan fails (then as 0),
  // before the failure is reported.
  template <typename T>
  bool ValueLine(const std::string& line, T* out, int field = -1) {
    float value = 0.0f;
    const bool scanned = ScanLine(line, &value);
    *out = ConvertValue<T>(value);
    if (scanned) return true;
    if (why_) {
      return Fail("[TuningParams]: line " + std::to_string(field + 1) + " does not start with a number (" +
                  kTuningFieldNames[field] + ")");
    }
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Line: %s is not decoded", line.c_str());
    return false;
  }

  // Grids take exactly `count` tokens; blocks skip tokens that trim to
  // nothing (a lone brace) and read until `count` values are stored.
  bool Values(const std::string& section, float* out, int count, bool skip_empty) {
    const std::string ends = section + ": file ends after ";
    std::string token;
    std::string last;
    int stored = 0;
    for (int index = 1; stored < count; ++index) {
      if (why_ ? !in_.good() : PrintStreamFault(in_))
        return why_ && Fail(ends + std::to_string(stored) + " of " + std::to_string(count) + " values");
      in_ >> token;
      const std::string value = GetValueStr(token);
      if (value.empty() && skip_empty) continue;
      if (why_ && !StrictValue(section, index, stored, count, token, value)) return false;
      out[stored++] = std::stof(value);
      last = token;
    }
    return !why_ || Closed(section, count, last);
  }

  // Strict mode: where std::stof would throw (no conversion, or out of
  // float range), then whatever it would take silently wrong.
  bool StrictValue(const std::string& section, int index, int stored, int count, const std::string& token,
                   const std::string& value) {
    if (in_.fail())  // the token is empty or still the previous one
      return Fail(section + ": file ends after " + std::to_string(stored) + " of " + std::to_string(count) + " values");
    errno = 0;
    char* end = nullptr;
    std::strtof(value.c_str(), &end);
    auto quoted = [&token] { return "\"" + (token.size() > 24 ? token.substr(0, 24) + "..." : token) + "\""; };
    if (end == value.c_str())
      return Fail(section + ": token " + std::to_string(index) + " " + quoted() + " is not a number");
    if (errno == ERANGE)
      return Fail(section + ": token " + std::to_string(index) + " " + quoted() + " is out of float range");
    const std::string problem = GridTokenProblem(value);
    if (problem.empty()) return true;
    return Fail(section + ": value " + std::to_string(stored + 1) + " " + QuoteToken(token) + " " + problem);
  }

  // Strict mode: a brace follows the last value; without one the file was
  // cut inside it, or holds values the loader leaves unread. The stream is
  // put back for the marker search that follows.
  bool Closed(const std::string& section, int count, const std::string& last) {
    if (last.find('}') != std::string::npos) return true;
    const std::streampos at = in_.tellg();
    std::string token;
    const bool more = !in_.eof() && static_cast<bool>(in_ >> token);
    in_.clear();
    in_.seekg(at);
    if (!more)
      return Fail(section + ": file ends after value " + std::to_string(count) +
                  " without the closing '}' (truncated?)");
    if (token[0] != '}')
      return Fail(section + ": more than " + Count(count, "values") + " (" + QuoteToken(token) +
                  " where '}' should close it)");
    return true;
  }

  std::istream& in_;
  std::string* why_;
};

// Strict mode: each section name on one line only. The loader takes the
// first and skips the rest, so a second [TuningParams] would be ignored.
ParseResult DuplicateSection(const std::string& text) {
  static const char* const kSections[6] = {"[Version]", "[BUL]", "[BVL]", "[BgUHXY]", "[BgVHXY]", "[TuningParams]"};
  int first[6] = {0, 0, 0, 0, 0, 0};
  size_t begin = 0;
  for (int number = 1; begin < text.size(); ++number) {
    size_t end = text.find('\n', begin);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(begin, end - begin);
    begin = end + 1;
    for (int s = 0; s < 6; ++s) {
      if (!LineCarries(line, kSections[s])) continue;
      if (first[s] != 0) {
        return ParseResult::Fail(std::string("section ") + kSections[s] + " appears twice (lines " +
                                     std::to_string(first[s]) + " and " + std::to_string(number) + ")",
                                 number);
      }
      first[s] = number;
    }
  }
  return ParseResult::Ok();
}

}  // namespace

errCode LoadTuningHeaderFile(const char* path, MirvoParams& params) {
  std::ifstream file(path);
  if (!file.is_open()) return kFileError;
  return TuningWalk(file, nullptr).Run(params);
}

ParseResult TuningParseText(const std::string& text, MirvoParams* params) {
  std::istringstream in(text);
  std::string reason;
  if (TuningWalk(in, &reason).Run(*params) != kOk) return ParseResult::Fail(reason);
  const ParseResult nul = NulByteProblem(text);
  return nul ? DuplicateSection(text) : nul;
}

errCode TuningValidateHeaderFile(const char* path, std::string* why) {
  return ValidateTextFile(path, why, [](const std::string& text) {
    MirvoParams scratch;
    return TuningParseText(text, &scratch);
  });
}

namespace {

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

void TuningWriteText(std::ostream& out, const MirvoParams& params) {
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

  out << text;
}

errCode SaveTuningHeaderFile(const char* path, const MirvoParams& params) {
  FILE* file = std::fopen(path, "w");
  if (file == nullptr) return kFileError;
  std::ostringstream out;
  TuningWriteText(out, params);
  const std::string text = out.str();
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
