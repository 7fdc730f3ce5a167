#include "base/standard_output.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/cli_error.h"

namespace mirvo_cli {
namespace {

bool g_closed_at_start = false;

[[noreturn]] void Fail(int error) {
  const std::string why = g_closed_at_start ? "it was closed when the program started"
                          : error != 0      ? std::strerror(error)
                                            : "an earlier write was lost";
  throw DataError("mirvo: cannot write to standard output: " + why);
}

// A buffered write that failed leaves only the stream's error flag behind.
void CheckStream(bool failed) {
  const int error = errno;
  if (failed || std::ferror(stdout)) Fail(failed ? error : 0);
}

}  // namespace

void MarkStandardOutputClosed() { g_closed_at_start = true; }

void Print(const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  errno = 0;
  const int n = std::vprintf(format, ap);
  va_end(ap);
  CheckStream(n < 0);
}

void PrintText(const std::string& text) {
  errno = 0;
  CheckStream(std::fwrite(text.data(), 1, text.size(), stdout) != text.size());
}

void FinishStandardOutput() {
  errno = 0;
  CheckStream(std::fflush(stdout) != 0);
}

}  // namespace mirvo_cli
