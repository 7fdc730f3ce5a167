#pragma once

#include <pybind11/pybind11.h>

#include <string>

#include "checked_args.h"

namespace mirvo_py {

namespace py = pybind11;

// One function per part of the module, called in this order by module.cpp.
void BindTuning(py::module_& m);
void BindTables(py::module_& m);
void BindStats(py::module_& m);
void BindCore(py::module_& m);
void BindCalibration(py::module_& m);
void BindDng(py::module_& m);
void BindRender(py::module_& m);
// Only when the program's library is built: the corpus tasks' run.
void BindSequenceRun(py::module_& m);

// A path argument: str or any os.PathLike. ValueError for a NUL byte, which
// the system call would take as the end of the name.
std::string FsPath(py::handle path);

// "SetStats: errCode = -10 (kInvalidInput)": the library's operation name and
// status, as its own log lines give them.
std::string LibraryFailure(const char* operation, int code);

// Raises OSError naming the library operation, its status and the path, for
// file operations that report no more than that they failed.
[[noreturn]] void RaiseFileFailure(const char* operation, int code, const std::string& path);

}  // namespace mirvo_py
