#include "test_support.h"

#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

namespace mirvo_test {
namespace {

std::vector<LogLine>& Captured() {
  static std::vector<LogLine> lines;
  return lines;
}

void Capture(const __android_logger_data* data, const char* message) {
  Captured().push_back({data->priority, data->tag ? data->tag : "", message ? message : ""});
}

}  // namespace

LogCapture::LogCapture() {
  Captured().clear();
  __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
  __android_log_set_logger(Capture);
}

LogCapture::~LogCapture() {
  __android_log_set_logger(__android_log_stderr_logger);
  __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
}

const std::vector<LogLine>& LogCapture::lines() const { return Captured(); }
void LogCapture::clear() { Captured().clear(); }

std::string LogText(const LogCapture& log) {
  std::string text;
  for (const LogLine& line : log.lines()) {
    const char* letters = "??VDIWEF";
    const char letter = line.priority >= 0 && line.priority < 8 ? letters[line.priority] : '?';
    text += std::string(1, letter) + "/" + line.tag + ": " + line.message + "\n";
  }
  return text;
}

TempDir::TempDir() {
  std::string tmpl = (std::filesystem::temp_directory_path() / "mirvo_test_XXXXXX").string();
  if (!mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
  path_ = tmpl;
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary);
  out << content;
}

namespace {

std::string MutateText(const std::string& good, std::mt19937& rng, int n, const std::string& edits, int max_erase) {
  std::string text = good;
  const size_t pos = rng() % text.size();
  switch (n % 3) {
    case 0:
      text.resize(pos);
      break;
    case 1:
      text[pos] = edits[rng() % edits.size()];
      break;
    default:
      text.erase(pos, 1 + rng() % max_erase);
      break;
  }
  return text;
}

}  // namespace

int CountAcceptedMutations(const std::string& good, unsigned seed, int count, const std::string& edits, int max_erase,
                           const std::function<bool(const char* path, std::string* why)>& validate,
                           const std::function<bool(const char* path)>& load) {
  TempDir dir;
  const std::string path = dir.File("mutated");
  std::mt19937 rng(seed);
  int accepted = 0;
  for (int n = 0; n < count; ++n) {
    WriteFile(path, MutateText(good, rng, n, edits, max_erase));
    std::string why;
    const bool valid = validate(path.c_str(), &why);
    bool loads = false;
    {
      LogCapture quiet;
      testing::internal::CaptureStderr();
      try {
        loads = load(path.c_str());
      } catch (const std::exception&) {
      }
      testing::internal::GetCapturedStderr();
    }
    if (valid && !loads) {
      ADD_FAILURE() << "mutation " << n << ": validator accepts, loader fails";
      return accepted;
    }
    EXPECT_EQ(why.find('\n'), std::string::npos) << why;
    EXPECT_EQ(why.empty(), valid) << why;
    accepted += valid;
  }
  return accepted;
}

std::string DataPath(const std::string& name) { return std::string(MIRVO_TEST_DATA_DIR) + "/" + name; }

}  // namespace mirvo_test
