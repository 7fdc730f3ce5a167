#include "checks/input_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <new>
#include <sstream>
#include <vector>

#include "base/cli_error.h"
#include "io/lsc_table_file.h"
#include "io/override_map.h"
#include "io/tuning_file.h"
#include "pipeline/progress.h"
#include "tools/bayer_raw.h"
#include "tools/stats_text.h"

namespace mirvo_cli {
namespace {

[[noreturn]] void Bad(const std::string& path, const std::string& why) { throw DataError(path + ": " + why); }

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
  const uint64_t size = CheckInputFile(path, what, max_bytes);
  std::ifstream in(path, std::ios::binary);
  std::string content;
  try {
    // Read straight into the string: no second copy of a large input.
    content.resize(size);
    in.read(content.data(), static_cast<std::streamsize>(size));
    content.resize(static_cast<size_t>(in.gcount()));
    std::ostringstream rest;  // what the file grew by since it was checked
    if (in && in.peek() != std::char_traits<char>::eof()) {
      rest << in.rdbuf();
      content += rest.str();
    }
  } catch (const std::bad_alloc&) {
    Bad(path, "out of memory reading " + what);
  }
  if (in.bad() || !in.is_open()) Bad(path, std::string("cannot read ") + what);
  // It may have grown since it was checked.
  if (content.size() > max_bytes) Bad(path, "file is too large for " + what);
  return content;
}

// Each text input is read into memory once and handed to the library's
// strict reader, which checks it and loads it from the same buffer.
template <typename Parse>
void ParseInputFile(const std::string& path, const std::string& what, uint64_t max_bytes, Parse parse) {
  const std::string text = ReadInputFile(path, what, max_bytes);
  const mirvo::ParseResult result = parse(text);
  if (!result) Bad(path, "not a valid " + what.substr(what.find(' ') + 1) + ": " + result.reason);
}

mirvo::LscTable LoadTableFile(const std::string& path) {
  mirvo::LscTable table{};
  ParseInputFile(path, "an LSC table header file", kMaxTableBytes,
                 [&table](const std::string& text) { return mirvo::LscTableParseText(text, &table); });
  return table;
}

void LoadTuningFile(const std::string& path, mirvo::MirvoParams* params) {
  ParseInputFile(path, "a tuning header file", kMaxTuningBytes,
                 [params](const std::string& text) { return mirvo::TuningParseText(text, params); });
}

void LoadStatsFile(const std::string& path, mirvo::Stats* stats) {
  ParseInputFile(path, "a statistics dump", kMaxStatsBytes,
                 [stats](const std::string& text) { return mirvo::StatsParseText(text, stats); });
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
  const std::string text = ReadInputFile(path, "an override map file", kMaxOverrideBytes);
  std::vector<mirvo::OverrideEntry> entries;
  const mirvo::ParseResult result = mirvo::OverrideMapParseText(text, &entries);
  if (!result) {
    // A binary file is named as such; other faults name their line.
    const bool binary = result.reason.rfind("not a text file", 0) == 0;
    Bad(path, result.reason + (binary ? ", expected an override map file" : ""));
  }
  // Warnings wait until the whole file passed, so a bad file gives one line only.
  bool cleared = false;
  for (const mirvo::OverrideEntry& entry : entries) {
    if (mirvo::IsOverrideKey(entry.key)) continue;
    if (!cleared) ClearProgressLine();
    cleared = true;
    const std::string w =
        path + ": line " + std::to_string(entry.line) + ": unknown key '" + entry.key + "' is ignored";
    std::fprintf(stderr, "mirvo: warning: %s\n", Printable(w).c_str());
  }
}

}  // namespace mirvo_cli
