#include "io/learned_profile_file.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace mirvo {
namespace {

struct Section {
  const char* name;
  float* values;
  int count;
};

// Header lines are compared on their first three characters only. For the
// three-letter names this rejects a matching line; a six-letter name can never
// equal three characters, so those headers are always accepted. The inverted
// sense is deliberate and must stay.
bool HeaderRejected(const std::string& line, const char* name) { return line.substr(0, 3) == name; }

bool OnlyBlanks(const std::string& text) { return text.find_first_not_of(" \t\r\v\f") == std::string::npos; }

// One walk for the loader (`why` null: numbers read with the stream's float
// extraction, whatever fails goes unnoticed) and the strict reader (`why`
// set: every fault the loader would not notice becomes a reason).
class ProfileWalk {
 public:
  ProfileWalk(std::istream& in, std::string* why) : in_(in), why_(why) {}

  int Run(LearnedTintProfile& profile) {
    const Section sections[4] = {{"BUL", &profile.BUL[0][0], 13 * 17},
                                 {"BVL", &profile.BVL[0][0], 13 * 17},
                                 {"BgUHXY", profile.BgUHXY, kNumEdges},
                                 {"BgVHXY", profile.BgVHXY, kNumEdges}};
    std::string line;
    for (int s = 0; s < 4; ++s) {
      const Section& section = sections[s];
      // Before a later header, the first line read is the rest of the line
      // on which the last number stood.
      if (s > 0) {
        std::getline(in_, line);
        if (why_ && !OnlyBlanks(line))
          return Fail(std::string("[") + sections[s - 1].name + "]: text after the last number: " + QuoteToken(line));
      }
      std::getline(in_, line);
      if (HeaderRejected(line, section.name))
        return why_ ? Fail("header " + QuoteToken(line) + " starts with " + section.name + ", which the loader refuses")
                    : -1;
      if (why_ && line.find(section.name) == std::string::npos)
        return Fail(std::string("header line of [") + section.name + "] expected, found " + QuoteToken(line));
      for (int i = 0; i < section.count; ++i) {
        in_ >> section.values[i];
        if (why_ && (in_.fail() || !std::isfinite(section.values[i]))) {
          return Fail(std::string("[") + section.name + "]: number " + std::to_string(i + 1) + " of " +
                      std::to_string(section.count) + " missing or not a finite number");
        }
      }
    }
    if (why_) {
      std::string rest;
      if (in_ >> rest) return Fail("text after the last section: " + QuoteToken(rest));
    }
    return kOk;
  }

 private:
  int Fail(const std::string& reason) {
    *why_ = reason;
    return kFileError;
  }

  std::istream& in_;
  std::string* why_;
};

}  // namespace

void LearnedProfileWriteText(std::ostream& out, const LearnedTintProfile& profile) {
  auto number = [&out](float v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", static_cast<double>(v));
    out << text;
  };
  auto grid = [&](const char* name, const float(&g)[13][17]) {
    out << "[" << name << "]\n";
    for (const auto& row : g) {
      for (int c = 0; c < 17; ++c) number(row[c]), out << (c < 16 ? " " : "\n");
    }
  };
  auto block = [&](const char* name, const float(&b)[kNumEdges]) {
    out << "[" << name << "]\n";
    int i = 0;
    for (int r = 0; r < 24 + 23; ++r) {
      const int n = r < 24 ? 31 : 32;
      for (int c = 0; c < n; ++c, ++i) number(b[i]), out << (c < n - 1 ? " " : "\n");
    }
  };
  grid("BUL", profile.BUL);
  grid("BVL", profile.BVL);
  block("BgUHXY", profile.BgUHXY);
  block("BgVHXY", profile.BgVHXY);
}

ParseResult LearnedProfileParseText(const std::string& text, LearnedTintProfile* profile) {
  std::istringstream in(text);
  std::string reason;
  if (ProfileWalk(in, &reason).Run(*profile) != kOk) return ParseResult::Fail(reason);
  return NulByteProblem(text);
}

int LoadLearnedTintProfile(const char* path, LearnedTintProfile& profile) {
  std::ifstream in(path);
  if (!in.is_open()) return kFileError;
  return ProfileWalk(in, nullptr).Run(profile);
}

}  // namespace mirvo
