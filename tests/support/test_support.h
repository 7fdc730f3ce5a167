#pragma once

#include <android/log.h>

#include <random>
#include <string>
#include <vector>

namespace mirvo_test {

// One captured log line.
struct LogLine {
  int priority;
  std::string tag;
  std::string message;
};

// Captures every __android_log_print line (all priorities) while alive.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  const std::vector<LogLine>& lines() const;
  void clear();
};

// The captured lines as logcat shows them, one per line: "E/MirvoCore: text".
std::string LogText(const LogCapture& log);

// A fresh empty directory under the system temp dir, removed with its
// contents on destruction.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
// The n-th of a series of damaged copies of a good file, for checking that a
// validator accepts exactly what its loader loads: cycles through a cut at a
// random place, one byte replaced by one of `edits`, and up to `max_erase`
// bytes removed.
std::string MutateText(const std::string& good, std::mt19937& rng, int n, const std::string& edits, int max_erase);

// Directory with the small checked-in test inputs.
std::string DataPath(const std::string& name);

}  // namespace mirvo_test
