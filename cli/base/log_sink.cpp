#include "base/log_sink.h"

#include <android/log.h>

#include <cstdio>

#include "pipeline/progress.h"

namespace mirvo_cli {
namespace {

void PrintLine(const __android_logger_data* data, const char* message) {
  const char* level = data->priority >= ANDROID_LOG_ERROR  ? "error"
                      : data->priority >= ANDROID_LOG_WARN ? "warning"
                                                           : "note";
  ClearProgressLine();
  std::fprintf(stderr, "mirvo: library %s: %s\n", level, message ? message : "");
}

}  // namespace

void InstallLogSink(bool verbose) {
  __android_log_set_logger(PrintLine);
  __android_log_set_minimum_priority(verbose ? ANDROID_LOG_DEBUG : ANDROID_LOG_WARN);
}

}  // namespace mirvo_cli
