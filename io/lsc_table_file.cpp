#include "io/lsc_table_file.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <istream>
#include <sstream>
#include <string>

namespace mirvo {
namespace {

constexpr const char* kMarkers[4] = {"/* R Gain */", "/* GR Gain */", "/* GB Gain */", "/* B Gain */"};
constexpr const char* kPlaneNames[4] = {"R", "GR", "GB", "B"};

using Plane = float[13][17];

Plane& PlaneOf(LscTable& table, int p) {
  switch (p) {
    case 0:
      return table.r_gain;
    case 1:
      return table.gr_gain;
    case 2:
      return table.gb_gain;
    default:
      return table.b_gain;
  }
}

const Plane& PlaneOf(const LscTable& table, int p) { return PlaneOf(const_cast<LscTable&>(table), p); }

void SkipLine(std::istream& in) {
  std::string line;
  std::getline(in, line);
}

// The loader's marker search: it does not look at the stream state, so once
// the end of the file is reached it keeps reading forever (see the header).
void MoveToLine(std::istream& in, const std::string& marker) {
  std::string line;
  do {
    std::getline(in, line);
  } while (line != marker);
}

// The same search for the validator: it gives up exactly where the loader
// would start to spin, i.e. at the first line read that fails.
bool FindLine(std::istream& in, const std::string& marker) {
  std::string line;
  while (std::getline(in, line))
    if (line == marker) return true;
  return false;
}

std::string TrimBlanks(const std::string& s) {
  const size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return std::string();
  return s.substr(b, s.find_last_not_of(" \t\r") - b + 1);
}

// Why the search for marker `p` ran off the end: the marker is absent, only
// present with blanks or a carriage return around it, or present but before
// the point where the search starts (out of order, or inside one of the two
// lines skipped after the previous plane).
std::string MissingMarkerReason(std::istream& in, int p) {
  const std::string marker = kMarkers[p];
  bool exact = false;
  bool loose = false;
  in.clear();
  in.seekg(0);
  std::string line;
  while (std::getline(in, line)) {
    exact = exact || line == marker;
    loose = loose || TrimBlanks(line) == marker;
  }
  if (exact && p > 0) return "marker \"" + marker + "\" not found after plane " + kPlaneNames[p - 1];
  if (loose) return "marker \"" + marker + "\" only found with extra blanks or a carriage return";
  return "missing marker \"" + marker + "\"";
}

// Walks the text with exactly the loader's stream operations, so that the
// strict reader accepts only what the loader loads, with the same values. As
// the loader (`why` null) the marker searches never give up, stream errors
// are printed, and a token loads as its leading number, 0 if it has none. As
// the strict reader it stops where the loader would hang or fail, and also
// where it would load a wrong value: a token that is not one whole finite
// number (a missing last token included, which the loader does not test
// for), a plane not closed by "}," right after its 221st value, text after
// the B plane.
class HeaderWalk {
 public:
  HeaderWalk(std::istream& in, std::string* why) : in_(in), why_(why) {}

  errCode Run(LscTable& table) {
    if (Failed()) return Reject(0, 0, nullptr);
    for (int p = 0; p < 4; ++p) {
      if (p > 0) {
        // The rest of the last row line and the "}," line.
        SkipLine(in_);
        SkipLine(in_);
      }
      if (!why_) {
        MoveToLine(in_, kMarkers[p]);
      } else if (!FindLine(in_, kMarkers[p])) {
        *why_ = MissingMarkerReason(in_, p);
        return kFileError;
      }
      SkipLine(in_);  // the "{" line, skipped unread
      Plane& plane = PlaneOf(table, p);
      for (int i = 0; i < 13 * 17; ++i) {
        if (Failed()) return Reject(p, i, nullptr);
        std::string token;
        in_ >> token;
        if (why_ && !StartsWithNumber(token)) return Reject(p, i, &token);
        if (why_ && !IsGainToken(token)) {
          return Fail(std::string("plane ") + kPlaneNames[p] + ": value " + std::to_string(i + 1) + " " +
                      QuoteToken(token) + " is not a finite number");
        }
        // atof stops at the "f," suffix.
        plane[i / 17][i % 17] = static_cast<float>(std::atof(token.c_str()));
      }
      if (why_ && !PlaneClosed(p)) return kFileError;
    }
    if (why_) {
      std::string token;
      in_ >> token;  // the B block's "},"
      if (in_ >> token) return Fail("text after the B plane: " + QuoteToken(token));
    }
    return kOk;
  }

 private:
  bool Failed() const {
    if (why_) return in_.eof() || in_.fail();
    return PrintStreamFault(in_);
  }

  // Strict mode: the whole token is one finite float, as a C initialiser
  // writes it ("1.25f,"); the loader would silently take "1.2x3f" as 1.2.
  static bool IsGainToken(std::string token) {
    if (!token.empty() && token.back() == ',') token.pop_back();
    char* end = nullptr;
    const double value = std::strtod(token.c_str(), &end);
    if (end != token.c_str() && (*end == 'f' || *end == 'F')) ++end;
    return end != token.c_str() && end == token.c_str() + token.size() && std::isfinite(static_cast<float>(value));
  }

  // Strict mode: the token after a plane's 221st value closes it; anything
  // else is a value the loader would leave unread. The stream is put back,
  // so the loader's line skips that follow see it untouched.
  bool PlaneClosed(int p) {
    const std::string plane = std::string("plane ") + kPlaneNames[p];
    std::string token;
    const std::streampos at = in_.tellg();
    const bool more = !in_.eof() && static_cast<bool>(in_ >> token);
    in_.clear();
    in_.seekg(at);
    if (!more) {
      Fail(plane + ": file ends after value 221 without the closing \"},\" (truncated?)");
      return false;
    }
    if (token[0] != '}') {
      Fail(plane + ": more than 221 values (" + QuoteToken(token) + " where \"},\" should close the plane)");
      return false;
    }
    return true;
  }

  errCode Fail(const std::string& reason) {
    *why_ = reason;
    return kFileError;
  }

  static bool StartsWithNumber(const std::string& token) {
    char* end = nullptr;
    std::strtod(token.c_str(), &end);
    return end != token.c_str();
  }

  errCode Reject(int p, int found, const std::string* token) {
    if (why_) {
      *why_ = std::string("plane ") + kPlaneNames[p] + ": expected 221 numbers, found " + std::to_string(found);
      if (token && !token->empty()) *why_ += " before \"" + *token + "\"";
    }
    return kFileError;
  }

  std::istream& in_;
  std::string* why_;
};

}  // namespace

void LscTableWriteText(std::ostream& out, const LscTable& table) {
  out << std::fixed;
  for (int p = 0; p < 4; ++p) {
    const Plane& plane = PlaneOf(table, p);
    out << kMarkers[p] << std::endl;
    out << "{" << std::endl;
    for (int r = 0; r < 13; ++r) {
      for (int c = 0; c < 17; ++c) {
        out << std::setw(6) << std::setprecision(5) << plane[r][c];
        out << (r == 12 && c == 16 ? "f" : "f, ");
      }
      out << std::endl;
    }
    out << "}," << std::endl;
  }
}

ParseResult LscTableParseText(const std::string& text, LscTable* table) {
  std::istringstream in(text);
  std::string reason;
  if (HeaderWalk(in, &reason).Run(*table) != kOk) return ParseResult::Fail(reason);
  return NulByteProblem(text);
}

errCode LscTableSaveHeaderFile(const char* path, const LscTable& table) {
  if (!path) return kFileError;
  std::ofstream out(path);
  if (!out.is_open()) return kFileError;
  LscTableWriteText(out, table);
  return kOk;
}

errCode LscTableLoadHeaderFile(const char* path, LscTable& table) {
  if (!path) return kFileError;
  std::ifstream in(path);
  if (!in.is_open()) return kFileError;
  return HeaderWalk(in, nullptr).Run(table);
}

errCode LscTableValidateHeaderFile(const char* path, std::string* why) {
  return ValidateTextFile(path, why, [](const std::string& text) {
    LscTable scratch;
    return LscTableParseText(text, &scratch);
  });
}

}  // namespace mirvo
