#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "base/cli_error.h"
#include "io/lsc_table_file.h"
#include "test_support.h"

namespace mirvo_cli_test {

// What one run of the program gave.
struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

// Runs the program built with the tests with `args` (a shell command line),
// its outputs captured in files of `tmp`.
inline Result RunMirvo(const mirvo_test::TempDir& tmp, const std::string& args) {
  const std::string cmd = std::string(MIRVO_EXE) + " " + args + " >" + tmp.File("stdout") + " 2>" + tmp.File("stderr");
  const int rc = std::system(cmd.c_str());
  Result r;
  r.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
  r.out = mirvo_test::ReadFile(tmp.File("stdout"));
  r.err = mirvo_test::ReadFile(tmp.File("stderr"));
  return r;
}

// The inputs make_cli_fixtures writes (listed there), written into `dir`.
inline void WriteFixtures(const std::string& dir) {
  ASSERT_EQ(std::system((std::string(MAKE_CLI_FIXTURES) + " " + dir).c_str()), 0);
}

// What `f` threw of the program's own errors: "<exit status>: <message>";
// "" when it threw nothing.
template <typename F>
std::string ErrorOf(F f) {
  try {
    f();
  } catch (const mirvo_cli::CliError& e) {
    return std::to_string(e.exit_status()) + ": " + e.what();
  }
  return "";
}

inline mirvo::LscTable LoadTable(const std::string& path) {
  mirvo::LscTable t{};
  EXPECT_EQ(mirvo::LscTableLoadHeaderFile(path.c_str(), t), mirvo::kOk) << path;
  return t;
}

}  // namespace mirvo_cli_test
