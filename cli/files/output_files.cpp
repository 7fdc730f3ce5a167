#include "files/output_files.h"

#include <cstdio>
#include <sstream>

#include "files/atomic_file.h"
#include "io/lsc_table_file.h"
#include "io/sim_rolloff_file.h"
#include "tools/stats_text.h"

namespace mirvo_cli {
namespace {

// The library's writers fill a memory stream; AtomicOutput then puts the
// bytes on disk and reports the system's reason for any failure, which the
// path-taking writers would not.
template <typename Writer>
void WriteThroughMemory(const std::string& target, Writer writer) {
  std::ostringstream out;
  writer(out);
  WriteFileAtomically(target, out.str());
}

}  // namespace

std::string FramePath(const std::string& dir, const std::string& name, int frame, const std::string& ext) {
  char num[16];
  std::snprintf(num, sizeof(num), "%03d", frame);
  return dir + "/" + name + "_" + num + ext;
}

void WriteTableFile(const std::string& path, const mirvo::LscTable& table) {
  WriteThroughMemory(path, [&](std::ostream& out) { mirvo::LscTableWriteText(out, table); });
}

void WriteSimRolloffFile(const std::string& path, const mirvo::LscTable& table) {
  WriteThroughMemory(path, [&](std::ostream& out) { mirvo::LscTableWriteSimText(out, table); });
}

void WriteStatsDump(const std::string& path, const mirvo::Stats& stats) {
  WriteThroughMemory(path, [&](std::ostream& out) { mirvo::StatsWriteText(out, stats); });
}

void WriteMeanImage(const std::string& path, const mirvo::Stats& stats) {
  WriteThroughMemory(path, [&](std::ostream& out) { mirvo::StatsWriteMeanImage(out, stats); });
}

void WriteDiagnosticDump(const std::string& path, mirvo::Core& core) {
  WriteThroughMemory(path, [&](std::ostream& out) { core.state_.Write(out); });
}

}  // namespace mirvo_cli
