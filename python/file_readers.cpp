#include "file_readers.h"

#include <Python.h>
#include <pybind11/pybind11.h>

#include <cerrno>

#include "workbench/files/loaders.h"

namespace mirvo_py {
namespace {

namespace py = pybind11;

// OSError(errno, reason, path): Python picks the subclass from the errno
// (FileNotFoundError, PermissionError, ...) as it does for open().
[[noreturn]] void RaiseOsError(int err, const std::string& reason, const std::string& path) {
  py::object args = py::make_tuple(err, reason, path);
  PyErr_SetObject(PyExc_OSError, args.ptr());
  throw py::error_already_set();
}

}  // namespace

void RaiseWorkbenchError(const mirvo::workbench::WorkbenchError& e) {
  if (const auto* file = dynamic_cast<const mirvo::workbench::FileError*>(&e))
    if (file->os_error() != 0) RaiseOsError(file->os_error(), file->reason(), file->path());
  throw py::value_error(e.what());
}

void LoadTableFile(const std::string& path, mirvo::LscTable* table) {
  RaisingPythonErrors([&] { *table = mirvo::workbench::LoadTableFile(path); });
}

void LoadTuningFile(const std::string& path, mirvo::MirvoParams* params) {
  RaisingPythonErrors([&] { mirvo::workbench::LoadTuningFile(path, params); });
}

void LoadStatsFile(const std::string& path, mirvo::Stats* stats) {
  RaisingPythonErrors([&] { mirvo::workbench::LoadStatsFile(path, stats); });
}

}  // namespace mirvo_py
