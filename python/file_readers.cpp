#include "file_readers.h"

#include <Python.h>
#include <pybind11/pybind11.h>
#include <sys/stat.h>

#include <cerrno>

#include "core/parse_result.h"
#include "io/lsc_table_file.h"
#include "io/tuning_file.h"
#include "tools/stats_text.h"

namespace mirvo_py {
namespace {

namespace py = pybind11;

// OSError with errno and the file name, so Python picks the subclass
// (FileNotFoundError, PermissionError, ...) as it does for open().
[[noreturn]] void RaiseOsError(int err, const std::string& path) {
  errno = err;
  PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
  throw py::error_already_set();
}

unsigned long long CheckRegularFile(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) RaiseOsError(errno, path);
  if (S_ISDIR(st.st_mode)) RaiseOsError(EISDIR, path);
  if (!S_ISREG(st.st_mode)) throw py::value_error(path + ": not a regular file");
  return static_cast<unsigned long long>(st.st_size);
}

[[noreturn]] void Refuse(const std::string& path, const std::string& what, const std::string& why) {
  throw py::value_error(path + ": not a valid " + what + ": " + (why.empty() ? "rejected" : why));
}

// The whole file, once; the strict readers work from memory.
std::string ReadText(const std::string& path, const std::string& what) {
  CheckRegularFile(path);
  std::string text;
  const mirvo::ParseResult read = mirvo::ReadTextFile(path.c_str(), &text);
  if (!read) Refuse(path, what, read.reason);
  return text;
}

// Parses the text with the given strict reader, refusing with its reason.
template <typename Parse>
void ParseOrRefuse(const std::string& path, const std::string& what, Parse parse) {
  const mirvo::ParseResult parsed = parse(ReadText(path, what));
  if (!parsed) Refuse(path, what, parsed.reason);
}

}  // namespace

void LoadTableFile(const std::string& path, mirvo::LscTable* table) {
  ParseOrRefuse(path, "LSC table header file",
                [&](const std::string& text) { return mirvo::LscTableParseText(text, table); });
}

void LoadTuningFile(const std::string& path, mirvo::MirvoParams* params) {
  ParseOrRefuse(path, "tuning header file",
                [&](const std::string& text) { return mirvo::TuningParseText(text, params); });
}

void LoadStatsFile(const std::string& path, mirvo::Stats* stats) {
  ParseOrRefuse(path, "statistics dump", [&](const std::string& text) { return mirvo::StatsParseText(text, stats); });
}

void ValidateRawFile(const std::string& path, unsigned long long expected_bytes, const std::string& layout) {
  const unsigned long long size = CheckRegularFile(path);
  if (size != expected_bytes)
    throw py::value_error(path + ": raw frame of " + std::to_string(size) + " bytes, expected " +
                          std::to_string(expected_bytes) + " for " + layout);
}

}  // namespace mirvo_py
