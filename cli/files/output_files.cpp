#include "files/output_files.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>

#include "base/cli_error.h"
#include "files/atomic_file.h"
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

// A file in memory that the library's writers can open by name.
class MemoryFile {
 public:
  MemoryFile() : fd_(memfd_create("mirvo-output", MFD_CLOEXEC)) {
    if (fd_ >= 0) path_ = "/proc/self/fd/" + std::to_string(fd_);
    // Without /proc the name cannot be opened: fall back to the disk.
    if (fd_ >= 0 && access(path_.c_str(), W_OK) != 0) {
      close(fd_);
      fd_ = -1;
    }
  }
  ~MemoryFile() {
    if (fd_ >= 0) close(fd_);
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  bool ok() const { return fd_ >= 0; }
  const std::string& path() const { return path_; }

 private:
  int fd_;
  std::string path_;
};

// The library's writers report only a failed open: on a full disk they leave
// a short file behind a success code. So they write into memory, the result
// is checked there, and AtomicOutput::Write puts it on disk, reporting the
// system's reason for any failure. `complete` sees the written file's name
// and its content.
void WriteThroughMemory(const std::string& target, const std::function<mirvo::errCode(const char*)>& writer,
                        const std::function<bool(const char*, const std::string&)>& complete) {
  AtomicOutput out(target);
  MemoryFile memory;
  const std::string& path = memory.ok() ? memory.path() : out.temp_path();
  const mirvo::errCode rc = writer(path.c_str());
  if (rc != mirvo::kOk) throw DataError(target + ": cannot write (error " + std::to_string(rc) + ")");
  const std::string text = ReadAll(path);
  if (!complete(path.c_str(), text)) throw DataError(target + ": cannot write (file came out incomplete)");
  if (memory.ok()) out.Write(text);
  out.Commit();
}

}  // namespace

std::string FramePath(const std::string& dir, const std::string& name, int frame, const std::string& ext) {
  char num[16];
  std::snprintf(num, sizeof(num), "%03d", frame);
  return dir + "/" + name + "_" + num + ext;
}

void WriteTableFile(const std::string& path, const mirvo::LscTable& table) {
  WriteThroughMemory(
      path, [&](const char* p) { return mirvo::LscTableSaveHeaderFile(p, table); },
      // Four blocks of marker, "{", 13 rows and "},".
      [](const char*, const std::string& text) {
        return CountLines(text) == 64 && text.size() >= 3 && text.compare(text.size() - 3, 3, "},\n") == 0;
      });
}

void WriteSimRolloffFile(const std::string& path, const mirvo::LscTable& table) {
  WriteThroughMemory(
      path, [&](const char* p) { return mirvo::LscTableSaveTovanSimFile(p, table); },
      [](const char*, const std::string& text) { return CountLines(text) == 29; });
}

void WriteStatsDump(const std::string& path, const mirvo::Stats& stats) {
  WriteThroughMemory(
      path, [&](const char* p) { return stats.SaveAsText(p); },
      [&](const char* p, const std::string& text) {
        // A complete dump of the standard grid loads back; other grids are
        // only checked for their value count.
        if (stats.cols == 32 && stats.rows == 24) return mirvo::StatsValidateTextFile(p) == mirvo::kOk;
        size_t tabs = 0;
        for (char c : text) tabs += c == '\t';
        return tabs == static_cast<size_t>(stats.cols) * stats.rows * 8;
      });
}

void WriteMeanImage(const std::string& path, const mirvo::Stats& stats) {
  WriteThroughMemory(
      path, [&](const char* p) { return stats.Save(p); },
      [&](const char*, const std::string& text) {
        return text.size() == static_cast<size_t>(stats.cols) * 2 * stats.rows * 2 * 2;
      });
}

void WriteDiagnosticDump(const std::string& path, mirvo::Core& core) {
  WriteThroughMemory(
      path, [&](const char* p) { return core.SaveDisgnosticData(p); },
      // This writer reports its own write errors.
      [](const char*, const std::string&) { return true; });
}

}  // namespace mirvo_cli
