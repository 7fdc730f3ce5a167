#include "workbench/files/loaders.h"

#include "core/parse_result.h"
#include "io/lsc_table_file.h"
#include "io/tuning_file.h"
#include "tools/stats_text.h"

namespace mirvo::workbench {
namespace {

// The file read once and handed to the strict reader, which checks it and
// loads it from the same buffer. `what` has its article: "a statistics dump".
template <typename Parse>
void ParseInputFile(const std::string& path, const std::string& what, uint64_t max_bytes, Parse parse) {
  const std::string text = ReadInputFile(path, what, max_bytes);
  const ParseResult result = parse(text);
  if (!result) throw FileError(path, "not a valid " + what.substr(what.find(' ') + 1) + ": " + result.reason);
}

}  // namespace

LscTable LoadTableFile(const std::string& path) {
  LscTable table{};
  ParseInputFile(path, "an LSC table header file", kMaxTableBytes,
                 [&table](const std::string& text) { return LscTableParseText(text, &table); });
  return table;
}

void LoadTuningFile(const std::string& path, MirvoParams* params) {
  ParseInputFile(path, "a tuning header file", kMaxTuningBytes,
                 [params](const std::string& text) { return TuningParseText(text, params); });
}

void LoadStatsFile(const std::string& path, Stats* stats) {
  ParseInputFile(path, "a statistics dump", kMaxStatsBytes,
                 [stats](const std::string& text) { return StatsParseText(text, stats); });
}

std::vector<OverrideEntry> LoadOverrideFile(const std::string& path) {
  const std::string text = ReadInputFile(path, "an override map file", kMaxOverrideBytes);
  std::vector<OverrideEntry> entries;
  const ParseResult result = OverrideMapParseText(text, &entries);
  if (!result) {
    // A binary file is named as such; other faults name their line.
    const bool binary = result.reason.rfind("not a text file", 0) == 0;
    throw FileError(path, result.reason + (binary ? ", expected an override map file" : ""));
  }
  return entries;
}

DiagnosticDump LoadDiagnosticFile(const std::string& path) {
  const std::string content = ReadInputFile(path, "a diagnostic dump", kMaxDiagBytes);
  DiagnosticDump dump;
  const ParseResult parsed = DiagnosticDumpParseText(content, &dump);
  if (!parsed) throw FileError(path, parsed.reason);
  if (dump.grids.empty() && dump.scalars.empty()) throw FileError(path, "empty diagnostic dump");
  return dump;
}

}  // namespace mirvo::workbench
