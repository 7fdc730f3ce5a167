#include "scratch_file.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace mirvo_fuzz {

const std::string& WriteScratch(const uint8_t* data, size_t size) {
  // tmpfs when there is one: a file per execution is most of the cost.
  // Android has neither /dev/shm nor /tmp; its shell sets TMPDIR.
  static const std::string path = [] {
    const char* tmpdir = std::getenv("TMPDIR");
    const std::string dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : tmpdir != nullptr ? tmpdir : "/tmp";
    return dir + "/mirvo_fuzz_" + std::to_string(getpid());
  }();
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) Fail("cannot write scratch file");
  if (size && std::fwrite(data, 1, size, f) != size) Fail("short write of scratch file");
  std::fclose(f);
  return path;
}

bool Rejected(const mirvo::ParseResult& result) {
  if (result.ok) return false;
  if (result.reason.empty() || result.reason.find('\n') != std::string::npos)
    Fail("strict reader rejected without a one-line reason");
  return true;
}

void Fail(const char* what) {
  std::fprintf(stderr, "mirvo fuzz invariant broken: %s\n", what);
  std::abort();
}

}  // namespace mirvo_fuzz
