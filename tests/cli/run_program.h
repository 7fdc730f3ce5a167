#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "test_support.h"

namespace mirvo_cli_test {

// What one run of the program gave.
struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

// Runs `exe` with `args` (a shell command line), its outputs captured in files of `tmp`.
inline Result RunProgram(const std::string& exe, const mirvo_test::TempDir& tmp, const std::string& args) {
  const std::string cmd = exe + " " + args + " >" + tmp.File("stdout") + " 2>" + tmp.File("stderr");
  const int rc = std::system(cmd.c_str());
  Result r;
  r.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
  r.out = mirvo_test::ReadFile(tmp.File("stdout"));
  r.err = mirvo_test::ReadFile(tmp.File("stderr"));
  return r;
}

}  // namespace mirvo_cli_test
