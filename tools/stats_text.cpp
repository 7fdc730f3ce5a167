#include "tools/stats_text.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

namespace mirvo {
namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsAlnum(char c) { return HexDigit(c) >= 0 || (c >= 'g' && c <= 'z') || (c >= 'G' && c <= 'Z'); }

// Strict mode: hexadecimal digits, optionally behind "0x" and before
// separators such as a comma, nothing glued to them ("0x12g", "1.5"). A value
// beyond 64 bits reads as the largest one.
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
    if (IsAlnum(t[j]) || t[j] == '.') return false;
  *value = overflow ? ~0ull : v;
  return true;
}

// Strict checks of the strict reader, in the order the faults are met.
class SectionCheck {
 public:
  SectionCheck(const std::string& marker, bool counts, std::string* why)
      : marker_(marker), counts_(counts), why_(why) {}

  bool MarkerLine(const std::istream& in, bool matches) {
    if (!in.eof() && !in.fail()) return true;
    return Fail(matches ? "marker \"" + marker_ + "\" is on the last line with no line feed behind it"
                        : "section marker \"" + marker_ + "\" not found");
  }

  // Value i (from 1): the stream operation's outcome, then the loader's
  // base-16 conversion (std::stoul is strtoul plus an exception), then the
  // whole token and the field's range. `*value` is what the loader stores.
  bool Value(const std::istream& in, int i, const std::string& token, unsigned long* value) {
    if (in.fail()) {
      return Fail(marker_ + ": file ends after " + std::to_string(i - 1) + " of " + std::to_string(kStatsTextValues) +
                  " values");
    }
    if (in.eof())
      return Fail(marker_ + ": value " + std::to_string(i) + " ends the file with no white space behind it");
    errno = 0;
    char* end = nullptr;
    *value = std::strtoul(token.c_str(), &end, 16);
    auto which = [&] { return std::to_string(i) + " " + QuoteToken(token); };
    if (end == token.c_str()) return Fail(marker_ + ": token " + which() + " is not a hexadecimal number");
    if (errno == ERANGE) return Fail(marker_ + ": token " + which() + " is out of range");
    unsigned long long whole = 0;
    if (!ParseHexToken(token, &whole)) return Fail(marker_ + ": value " + which() + " is not a hexadecimal number");
    if (whole > (counts_ ? 0xFFFFull : 0xFFFFFFFFull))
      return Fail(marker_ + ": value " + which() + " is out of range for a " +
                  (counts_ ? "16-bit count" : "32-bit sum"));
    return true;
  }

  // Another number behind the 768th: a dump of a larger grid, of which only
  // the first cells would load. The stream is put back.
  bool End(std::istream& in) {
    const std::streampos at = in.tellg();
    std::string token;
    unsigned long long value = 0;
    const bool more = static_cast<bool>(in >> token) && ParseHexToken(token, &value);
    in.clear();
    in.seekg(at);
    if (!more) return true;
    return Fail(marker_ + ": more than " + std::to_string(kStatsTextValues) + " values (a grid other than 32x24?)");
  }

 private:
  bool Fail(const std::string& reason) {
    *why_ = reason;
    return false;
  }

  const std::string& marker_;
  const bool counts_;
  std::string* why_;
};

void Store(StatsCell& cell, bool counts, Channel channel, unsigned long value) {
  if (counts)
    cell.cnt[channel] = static_cast<uint16_t>(value);
  else
    cell.sum[channel] = static_cast<uint32_t>(value);
}

std::string HexValue(uint32_t value) {
  // Each value in a fresh stream, as the dump has always been written.
  std::ostringstream text;
  text << "0x" << std::hex << value;
  return text.str();
}

uint16_t Mean(const StatsCell& cell, Channel channel) {
  const uint32_t count = cell.cnt[channel];
  return count == 0 ? 0 : static_cast<uint16_t>(cell.sum[channel] / count);
}

}  // namespace

namespace internal {

errCode ReadStatsSection(std::istream& in, const std::string& marker, bool counts, Channel channel, StatsCell* cells,
                         std::string* why) {
  SectionCheck check(marker, counts, why);
  std::string line;
  for (;;) {
    std::getline(in, line);
    const bool matches = line.compare(0, marker.size(), marker) == 0;
    if (why ? !check.MarkerLine(in, matches) : PrintStreamFault(in)) return kFileError;
    if (matches) break;
  }
  std::string token;
  for (int i = 0; i < kStatsTextValues; ++i) {
    in >> token;
    unsigned long value = 0;
    if (why) {
      if (!check.Value(in, i + 1, token, &value)) return kFileError;
    } else {
      if (PrintStreamFault(in)) return kFileError;
      value = std::stoul(token, nullptr, 16);
    }
    Store(cells[i], counts, channel, value);
  }
  if (why && !check.End(in)) return kFileError;
  return kOk;
}

}  // namespace internal

ParseResult StatsParseText(const std::string& text, Stats* stats) {
  stats->ConfigureStatsSize(32, 24);
  std::istringstream in(text);
  std::string reason;
  for (const StatsTextSection& section : kStatsTextSections) {
    if (internal::ReadStatsSection(in, StatsTextMarker(section), section.counts, section.channel, stats->cells,
                                   &reason) != kOk)
      return ParseResult::Fail(reason);
  }
  return NulByteProblem(text);
}

errCode StatsValidateTextFile(const char* path, std::string* why) {
  return ValidateTextFile(path, why, [](const std::string& text) {
    Stats scratch;
    return StatsParseText(text, &scratch);
  });
}

void StatsWriteText(std::ostream& out, const Stats& stats) {
  const std::string count = std::to_string(kStatsTextValues);
  out << "\n******** Stats BG Tintless ********\n";
  out << "*HW Unpacked Buffer : Length =        " << count;
  const int n = stats.cells != nullptr && stats.cols > 0 && stats.rows > 0 ? stats.cols * stats.rows : 0;
  std::string text;
  for (const StatsTextSection& section : kStatsTextSections) {
    // The headers always say 768, whatever the record's grid.
    text = "\n" + StatsTextMarker(section) + " =\n";
    for (int i = 0; i < n; ++i) {
      const StatsCell& cell = stats.cells[i];
      text += HexValue(section.counts ? cell.cnt[section.channel] : cell.sum[section.channel]);
      text += '\t';
    }
    out << text;
  }
}

void StatsWriteMeanImage(std::ostream& out, const Stats& stats) {
  if (stats.cells == nullptr || stats.cols <= 0 || stats.rows <= 0) return;
  // Each cell becomes a BGGR quad of its channel means.
  std::string line(4 * static_cast<size_t>(stats.cols), '\0');
  auto put = [&line](int at, uint16_t v) {
    line[2 * at] = static_cast<char>(v & 0xFF);
    line[2 * at + 1] = static_cast<char>(v >> 8);
  };
  for (int r = 0; r < stats.rows; ++r) {
    const StatsCell* row = stats.cells + static_cast<size_t>(r) * static_cast<size_t>(stats.cols);
    for (int c = 0; c < stats.cols; ++c) {
      put(2 * c, Mean(row[c], B));
      put(2 * c + 1, Mean(row[c], Gr));
    }
    out << line;
    for (int c = 0; c < stats.cols; ++c) {
      put(2 * c, Mean(row[c], Gb));
      put(2 * c + 1, Mean(row[c], R));
    }
    out << line;
  }
}

}  // namespace mirvo
