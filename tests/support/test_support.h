#pragma once

#include <android/log.h>

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
// Directory with the small checked-in test inputs.
std::string DataPath(const std::string& name);

}  // namespace mirvo_test
