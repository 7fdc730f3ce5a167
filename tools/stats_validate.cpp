#include "tools/stats_validate.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string>

#include "tools/stats_text_format.h"

namespace mirvo {
namespace {

// Tokens are quoted in reasons; keep a pathological one from flooding them.
std::string Quote(const std::string& token) {
  return "\"" + (token.size() > 24 ? token.substr(0, 24) + "..." : token) + "\"";
}

}  // namespace

// Walks the file with the same stream operations as Stats::LoadSimStatsElmrak
// (line reads to each marker, then 768 token reads), but replaces its
// throwing base-16 conversion by the strtoul test that std::stoul applies.
errCode StatsValidateTextFile(const char* path, std::string* why) {
  auto reject = [why](const std::string& reason) {
    if (why != nullptr) *why = reason;
    return kFileError;
  };
  if (path == nullptr) return reject("no path given");
  // Reading a pipe or a device could block or never end.
  struct stat info;
  if (::stat(path, &info) != 0) return reject("cannot open file");
  if (!S_ISREG(info.st_mode)) return reject("not a regular file");
  std::ifstream file(path);
  if (!file.is_open()) return reject("cannot open file");

  std::string line;
  std::string token;
  for (const StatsTextSection& section : kStatsTextSections) {
    const std::string marker = StatsTextMarker(section);
    for (;;) {
      std::getline(file, line);
      const bool matches = line.compare(0, marker.size(), marker) == 0;
      if (file.eof() || file.fail()) {
        return reject(matches ? "marker \"" + marker + "\" is on the last line with no line feed behind it"
                              : "section marker \"" + marker + "\" not found");
      }
      if (matches) break;
    }
    for (int i = 1; i <= kStatsTextValues; ++i) {
      file >> token;
      if (file.fail()) {
        return reject(marker + ": file ends after " + std::to_string(i - 1) + " of " +
                      std::to_string(kStatsTextValues) + " values");
      }
      if (file.eof()) {
        return reject(marker + ": value " + std::to_string(i) + " ends the file with no white space behind it");
      }
      errno = 0;
      char* end = nullptr;
      std::strtoul(token.c_str(), &end, 16);
      if (end == token.c_str()) {
        return reject(marker + ": token " + std::to_string(i) + " " + Quote(token) + " is not a hexadecimal number");
      }
      if (errno == ERANGE) {
        return reject(marker + ": token " + std::to_string(i) + " " + Quote(token) + " is out of range");
      }
    }
  }
  return kOk;
}

}  // namespace mirvo
