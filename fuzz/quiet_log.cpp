// The engine targets' stand-in for liblog's print call. The host liblog
// stamps, formats and writes every line to stderr (three system calls per
// line), and a hostile input logs on nearly every frame: that was a large
// share of each run and filled the log with identical lines. Here the line
// is still formatted, so the sanitizers check its arguments, and dropped.
#include <android/log.h>

#include <cstdarg>
#include <cstdio>

extern "C" int __android_log_print(int, const char*, const char* fmt, ...) {
  char line[512];
  va_list args;
  va_start(args, fmt);
  const int n = std::vsnprintf(line, sizeof line, fmt, args);
  va_end(args);
  return n;
}
