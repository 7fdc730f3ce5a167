#include "validate.h"

#include <Python.h>
#include <pybind11/pybind11.h>
#include <sys/stat.h>

#include <cerrno>

#include "io/lsc_table_file.h"
#include "io/tuning_file.h"
#include "tools/stats_validate.h"

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

}  // namespace

void ValidateTableFile(const std::string& path) {
  CheckRegularFile(path);
  std::string why;
  if (mirvo::LscTableValidateHeaderFile(path.c_str(), &why) != mirvo::kOk) Refuse(path, "LSC table header file", why);
}

void ValidateTuningFile(const std::string& path) {
  CheckRegularFile(path);
  std::string why;
  if (mirvo::TuningValidateHeaderFile(path.c_str(), &why) != mirvo::kOk) Refuse(path, "tuning header file", why);
}

void ValidateStatsFile(const std::string& path) {
  CheckRegularFile(path);
  std::string why;
  if (mirvo::StatsValidateTextFile(path.c_str(), &why) != mirvo::kOk) Refuse(path, "statistics dump", why);
}

void ValidateRawFile(const std::string& path, unsigned long long expected_bytes, const std::string& layout) {
  const unsigned long long size = CheckRegularFile(path);
  if (size != expected_bytes)
    throw py::value_error(path + ": raw frame of " + std::to_string(size) + " bytes, expected " +
                          std::to_string(expected_bytes) + " for " + layout);
}

}  // namespace mirvo_py
