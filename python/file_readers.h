#pragma once

#include <string>

#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"
#include "workbench/error.h"

namespace mirvo_py {

// The module's file loaders are the workstation library's checked loaders
// (workbench/files/), the program's too, so both refuse the same files with
// the same reason. Their faults become Python exceptions here: OSError
// (FileNotFoundError, IsADirectoryError, ...) when the file cannot be reached,
// ValueError naming the file and the problem otherwise.
void LoadTableFile(const std::string& path, mirvo::LscTable* table);
void LoadTuningFile(const std::string& path, mirvo::MirvoParams* params);
void LoadStatsFile(const std::string& path, mirvo::Stats* stats);

// Runs `load` (a workstation library call) and returns what it returns,
// raising its faults as above.
[[noreturn]] void RaiseWorkbenchError(const mirvo::workbench::WorkbenchError& e);
template <typename Load>
auto RaisingPythonErrors(Load load) -> decltype(load()) {
  try {
    return load();
  } catch (const mirvo::workbench::WorkbenchError& e) {
    RaiseWorkbenchError(e);
  }
}

}  // namespace mirvo_py
