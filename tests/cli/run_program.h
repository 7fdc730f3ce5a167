#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

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

inline mirvo::LscTable LoadTable(const std::string& path) {
  mirvo::LscTable t{};
  EXPECT_EQ(mirvo::LscTableLoadHeaderFile(path.c_str(), t), mirvo::kOk) << path;
  return t;
}

}  // namespace mirvo_cli_test
