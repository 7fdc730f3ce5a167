#include <pybind11/pybind11.h>

#include "bindings.h"
#include "core/error_code.h"
#include "workbench/error.h"
#include "workbench/files/file_error.h"

namespace mirvo_py {

std::string FsPath(py::handle path) {
  std::string s = py::module_::import("os").attr("fspath")(path).cast<std::string>();
  if (s.find('\0') != std::string::npos) throw py::value_error("path: embedded null byte");
  return s;
}

std::string LibraryFailure(const char* operation, int code) {
  const char* name = code == mirvo::kInvalidInput      ? "kInvalidInput"
                     : code == mirvo::kFileError       ? "kFileError"
                     : code == mirvo::kAllocationError ? "kAllocationError"
                                                       : "unknown";
  return std::string(operation) + ": errCode = " + std::to_string(code) + " (" + name + ")";
}

void RaiseFileFailure(const char* operation, int code, const std::string& path) {
  PyErr_SetObject(PyExc_OSError, py::str(LibraryFailure(operation, code) + ": " + path).ptr());
  throw py::error_already_set();
}

namespace {

// The workstation library's faults, wherever they leave a binding: OSError
// (errno, reason, path), so that Python picks FileNotFoundError and the like
// as for open(), when the file could not be reached; ValueError with the
// one-line reason otherwise.
void TranslateWorkbenchError(std::exception_ptr p) {
  try {
    if (p) std::rethrow_exception(p);
  } catch (const mirvo::workbench::WorkbenchError& e) {
    const auto* file = dynamic_cast<const mirvo::workbench::FileError*>(&e);
    if (file != nullptr && file->os_error() != 0)
      PyErr_SetObject(PyExc_OSError, py::make_tuple(file->os_error(), file->reason(), file->path()).ptr());
    else
      PyErr_SetString(PyExc_ValueError, e.what());
  }
}

}  // namespace

}  // namespace mirvo_py

PYBIND11_MODULE(_mirvo, m) {
  m.doc() =
      "Dynamic lens shading correction with NumPy arrays.\n\n"
      "The same engine and file formats as libmirvo_core, bit for bit: tuning records, statistics, LSC tables\n"
      "(float32 arrays of shape (4, 13, 17), planes R, Gr, Gb, B), raw Bayer frames and the per-frame Core.\n"
      "Arrays are checked: a wrong shape, dtype or layout raises ValueError or TypeError, never crashes.";
  pybind11::register_local_exception_translator(mirvo_py::TranslateWorkbenchError);
  mirvo_py::BindTuning(m);
  mirvo_py::BindTables(m);
  mirvo_py::BindStats(m);
  mirvo_py::BindCore(m);
  mirvo_py::BindCalibration(m);
  mirvo_py::BindDng(m);
  mirvo_py::BindRender(m);
#ifdef MIRVO_PY_SEQUENCE_RUN
  mirvo_py::BindSequenceRun(m);
#endif
}
