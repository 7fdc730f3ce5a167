#include "output_files.h"

#include <cstdio>
#include <fstream>
#include <iterator>

#include "atomic_file.h"
#include "cli_error.h"
#include "io/lsc_table_file.h"
#include "io/sim_rolloff_file.h"
#include "tools/stats_validate.h"

namespace mirvo_cli {
namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

size_t CountLines(const std::string& text) {
  size_t n = 0;
  for (char c : text) n += c == '\n';
  return n;
}

[[noreturn]] void Incomplete(const AtomicOutput& out) {
  throw DataError(out.target() + ": write failed (file came out incomplete)");
}

void CheckWriter(mirvo::errCode rc, const AtomicOutput& out) {
  if (rc != mirvo::kOk) throw DataError(out.target() + ": cannot write (error " + std::to_string(rc) + ")");
}

}  // namespace

std::string FramePath(const std::string& dir, const std::string& name, int frame, const std::string& ext) {
  char num[16];
  std::snprintf(num, sizeof(num), "%03d", frame);
  return dir + "/" + name + "_" + num + ext;
}

void WriteTableFile(const std::string& path, const mirvo::LscTable& table) {
  AtomicOutput out(path);
  CheckWriter(mirvo::LscTableSaveHeaderFile(out.temp_path().c_str(), table), out);
  // Four blocks of marker, "{", 13 rows and "},".
  const std::string text = ReadAll(out.temp_path());
  if (CountLines(text) != 64 || text.size() < 3 || text.compare(text.size() - 3, 3, "},\n") != 0) Incomplete(out);
  out.Commit();
}

void WriteSimRolloffFile(const std::string& path, const mirvo::LscTable& table) {
  AtomicOutput out(path);
  CheckWriter(mirvo::LscTableSaveTovanSimFile(out.temp_path().c_str(), table), out);
  if (CountLines(ReadAll(out.temp_path())) != 29) Incomplete(out);
  out.Commit();
}

void WriteStatsDump(const std::string& path, const mirvo::Stats& stats) {
  AtomicOutput out(path);
  CheckWriter(stats.SaveAsText(out.temp_path().c_str()), out);
  // A complete dump of the standard grid loads back; other grids are only
  // checked for their section count and size.
  if (stats.cols == 32 && stats.rows == 24) {
    if (mirvo::StatsValidateTextFile(out.temp_path().c_str()) != mirvo::kOk) Incomplete(out);
  } else {
    const std::string text = ReadAll(out.temp_path());
    const size_t values = static_cast<size_t>(stats.cols) * stats.rows * 8;
    size_t tabs = 0;
    for (char c : text) tabs += c == '\t';
    if (tabs != values) Incomplete(out);
  }
  out.Commit();
}

void WriteMeanImage(const std::string& path, const mirvo::Stats& stats) {
  AtomicOutput out(path);
  CheckWriter(stats.Save(out.temp_path().c_str()), out);
  const size_t expected = static_cast<size_t>(stats.cols) * 2 * stats.rows * 2 * 2;
  if (ReadAll(out.temp_path()).size() != expected) Incomplete(out);
  out.Commit();
}

void WriteDiagnosticDump(const std::string& path, mirvo::Core& core) {
  AtomicOutput out(path);
  CheckWriter(core.SaveDisgnosticData(out.temp_path()), out);
  out.Commit();
}

}  // namespace mirvo_cli
