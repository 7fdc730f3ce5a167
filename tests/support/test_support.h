#pragma once

#include <android/log.h>

#include <cstring>
#include <functional>
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

// `text` with its first `from` replaced by `to`; a missing `from` fails the test.
std::string Replaced(std::string text, const std::string& from, const std::string& to);
// Whether two records hold the same bytes.
template <class T>
bool SameBytes(const T& a, const T& b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
// Checks that a strict validator accepts only what its loader loads, on
// `count` damaged copies of a good file: in turn a cut at a random place, one
// byte replaced by one of `edits`, and up to `max_erase` bytes removed. A
// loader that returns false or throws has not loaded. The validator may
// reject more (values the loader would take silently wrong). Fails the test
// at the first copy accepted but not loaded, or a rejection without a
// one-line reason; returns how many copies were accepted.
int CountAcceptedMutations(const std::string& good, unsigned seed, int count, const std::string& edits, int max_erase,
                           const std::function<bool(const char* path, std::string* why)>& validate,
                           const std::function<bool(const char* path)>& load);

// Directory with the small checked-in test inputs.
std::string DataPath(const std::string& name);

}  // namespace mirvo_test
