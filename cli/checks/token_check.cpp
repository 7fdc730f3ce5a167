#include "checks/token_check.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

#include "io/tuning_text.h"
#include "tools/stats_text_format.h"

namespace mirvo_cli {
namespace {

// Walks text the way the library's stream readers do: whole lines, or
// tokens separated by white space.
class TextCursor {
 public:
  explicit TextCursor(const std::string& text) : s_(text) {}

  // The rest of the current line; false at the end of the text.
  bool Line(std::string* line) {
    if (pos_ >= s_.size()) return false;
    size_t nl = s_.find('\n', pos_);
    if (nl == std::string::npos) nl = s_.size();
    line->assign(s_, pos_, nl - pos_);
    pos_ = nl < s_.size() ? nl + 1 : nl;
    return true;
  }

  bool Token(std::string* token) {
    const size_t end = Find(token);
    pos_ = end;
    return !token->empty();
  }

  // The next token without consuming it; false if only white space is left.
  bool Peek(std::string* token) const {
    Find(token);
    return !token->empty();
  }

 private:
  // White space as the C locale's isspace: " \t\n\v\f\r".
  static bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

  size_t Find(std::string* token) const {
    token->clear();
    const size_t n = s_.size();
    size_t b = pos_;
    while (b < n && IsSpace(s_[b])) ++b;
    size_t e = b;
    while (e < n && !IsSpace(s_[e])) ++e;
    token->assign(s_, b, e - b);
    return e;
  }

  const std::string& s_;
  size_t pos_ = 0;
};

// A whole floating-point number, optionally with C's 'f' suffix, finite as a float.
bool IsFloatToken(const std::string& t) {
  if (t.empty() || std::isspace(static_cast<unsigned char>(t[0]))) return false;
  char* end = nullptr;
  const double v = std::strtod(t.c_str(), &end);
  if (end == t.c_str()) return false;
  if (*end == 'f' || *end == 'F') ++end;
  return *end == '\0' && std::isfinite(static_cast<float>(v));
}

// A tuning value line: a finite number first, not glued to letters or digits
// of something else ("0.05abc", "1.2.3"); a comment or comma may follow.
bool IsValueLine(const std::string& line) {
  const char* start = line.c_str();
  while (*start == ' ' || *start == '\t') ++start;
  char* end = nullptr;
  const float v = std::strtof(start, &end);
  if (end == start || !std::isfinite(v)) return false;
  if (*end == 'f' || *end == 'F') ++end;
  const unsigned char next = static_cast<unsigned char>(*end);
  return !(std::isalnum(next) || next == '.' || next == '_');
}

std::string Count(int n, const char* what) { return std::to_string(n) + " " + what; }

// `count` values of a tuning grid or block; blocks skip tokens that trim to
// nothing, as the reader does. A brace must follow the last value: without
// one the file was cut inside it, or holds values the reader leaves unread.
std::string TuningValues(TextCursor& in, const std::string& section, int count, bool skip_empty) {
  std::string token, last;
  int stored = 0;
  while (stored < count) {
    if (!in.Token(&token)) return section + ": file ends after " + Count(stored, "values");
    const std::string value = mirvo::internal::GetValueStr(token);
    if (value.empty() && skip_empty) continue;
    if (!IsFloatToken(value))
      return section + ": value " + std::to_string(stored + 1) + " " + QuoteToken(token) + " is not a finite number";
    ++stored;
    last = token;
  }
  if (last.find('}') != std::string::npos) return "";
  if (!in.Peek(&token))
    return section + ": file ends after value " + std::to_string(count) + " without the closing '}' (truncated?)";
  if (token[0] != '}')
    return section + ": more than " + Count(count, "values") + " (" + QuoteToken(token) + " where '}' should close it)";
  return "";
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Hexadecimal digits, optionally behind "0x" and before separators such as a
// comma. A value beyond 64 bits reads as the largest one, as strtoull gives.
bool ParseHexToken(const std::string& t, unsigned long long* value) {
  size_t i = t.size() >= 2 && t[0] == '0' && (t[1] == 'x' || t[1] == 'X') ? 2 : 0;
  const size_t digits = i;
  unsigned long long v = 0;
  bool overflow = false;
  for (int d; i < t.size() && (d = HexDigit(t[i])) >= 0; ++i) {
    overflow |= v > (~0ull >> 4);
    v = v << 4 | static_cast<unsigned>(d);
  }
  if (i == digits) return false;
  for (size_t j = i; j < t.size(); ++j)
    if (std::isalnum(static_cast<unsigned char>(t[j])) || t[j] == '.') return false;
  *value = overflow ? ~0ull : v;
  return true;
}

}  // namespace

std::string QuoteToken(const std::string& token) {
  std::string out = token.size() > 24 ? token.substr(0, 24) + "..." : token;
  for (char& c : out)
    if (static_cast<unsigned char>(c) < 32 || static_cast<unsigned char>(c) > 126) c = '?';
  return "\"" + out + "\"";
}

std::string TableTextProblem(const std::string& text) {
  static const char* const kMarkers[4] = {"/* R Gain */", "/* GR Gain */", "/* GB Gain */", "/* B Gain */"};
  static const char* const kNames[4] = {"R", "GR", "GB", "B"};
  TextCursor in(text);
  std::string line, token;
  for (int p = 0; p < 4; ++p) {
    const std::string plane = std::string("plane ") + kNames[p];
    // As the loader: the rest of the last row line and the "}," line go unread.
    if (p > 0) in.Line(&line), in.Line(&line);
    do {
      if (!in.Line(&line)) return std::string("missing marker \"") + kMarkers[p] + "\"";
    } while (line != kMarkers[p]);
    in.Line(&line);
    for (int i = 1; i <= 221; ++i) {
      if (!in.Token(&token)) return plane + ": file ends after " + Count(i - 1, "values");
      std::string gain = token;
      if (!gain.empty() && gain.back() == ',') gain.pop_back();
      if (!IsFloatToken(gain))
        return plane + ": value " + std::to_string(i) + " " + QuoteToken(token) + " is not a finite number";
    }
    if (!in.Peek(&token)) return plane + ": file ends after value 221 without the closing \"},\" (truncated?)";
    if (token[0] != '}')
      return plane + ": more than 221 values (" + QuoteToken(token) + " where \"},\" should close the plane)";
  }
  in.Token(&token);
  if (in.Peek(&token)) return "text after the B plane: " + QuoteToken(token);
  return "";
}

std::string TuningTextProblem(const std::string& text) {
  TextCursor in(text);
  std::string line;
  auto move_to = [&](const char* name) {
    while (in.Line(&line))
      if (mirvo::internal::LineCarries(line, name)) return true;
    return false;
  };
  auto missing = [](const char* name) { return std::string("section ") + name + " not found"; };
  static const char* const kFields[9] = {"min_level_thd", "max_level_thd",    "sat_ratio_thd",
                                         "smooth_thd",    "limit_thd",        "filter_input_stats",
                                         "prj_delta_thd", "tint_update_gain", "enable_temporal_filter"};
  if (!move_to("[Version]")) return missing("[Version]");
  in.Line(&line);
  in.Line(&line);
  if (!IsValueLine(line)) return "[Version]: value line " + QuoteToken(line) + " does not start with a finite number";
  if (!move_to("[TuningParams]")) return missing("[TuningParams]");
  in.Line(&line);
  in.Line(&line);
  for (const char* field : kFields) {
    if (!IsValueLine(line))
      return std::string("[TuningParams]: ") + field + " line " + QuoteToken(line) +
             " does not start with a finite number";
    in.Line(&line);
  }
  if (!move_to("[BUL]")) return missing("[BUL]");
  in.Line(&line);
  std::string problem = TuningValues(in, "[BUL]", 221, false);
  if (!problem.empty()) return problem;
  in.Line(&line);
  if (!move_to("[BVL]")) return missing("[BVL]");
  in.Line(&line);
  if (!(problem = TuningValues(in, "[BVL]", 221, false)).empty()) return problem;
  in.Line(&line);
  if (!move_to("[BgUHXY]")) return missing("[BgUHXY]");
  if (!(problem = TuningValues(in, "[BgUHXY]", 1480, true)).empty()) return problem;
  if (!move_to("[BgVHXY]")) return missing("[BgVHXY]");
  return TuningValues(in, "[BgVHXY]", 1480, true);
}

std::string StatsTextProblem(const std::string& text) {
  TextCursor in(text);
  std::string line, token;
  for (const mirvo::StatsTextSection& section : mirvo::kStatsTextSections) {
    const std::string marker = mirvo::StatsTextMarker(section);
    do {
      if (!in.Line(&line)) return "section marker \"" + marker + "\" not found";
    } while (line.compare(0, marker.size(), marker) != 0);
    const unsigned long long limit = section.counts ? 0xFFFFull : 0xFFFFFFFFull;
    for (int i = 1; i <= mirvo::kStatsTextValues; ++i) {
      unsigned long long value = 0;
      if (!in.Token(&token)) return marker + ": file ends after " + Count(i - 1, "values");
      if (!ParseHexToken(token, &value))
        return marker + ": value " + std::to_string(i) + " " + QuoteToken(token) + " is not a hexadecimal number";
      if (value > limit)
        return marker + ": value " + std::to_string(i) + " " + QuoteToken(token) + " is out of range for a " +
               (section.counts ? "16-bit count" : "32-bit sum");
    }
    // Another number here: a dump of a larger grid, whose first cells only would load.
    unsigned long long extra = 0;
    if (in.Peek(&token) && ParseHexToken(token, &extra))
      return marker + ": more than " + Count(mirvo::kStatsTextValues, "values") + " (a grid other than 32x24?)";
  }
  return "";
}

}  // namespace mirvo_cli
