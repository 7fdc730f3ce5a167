#pragma once

#include <string>
#include <vector>

#include "core/diagnostic_dump.h"
#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"
#include "io/override_map.h"
#include "workbench/files/checked_file.h"

namespace mirvo::workbench {

// The checked loaders of the text inputs, one per format, shared by the
// program and the Python module: each file is read once (CheckInputFile's
// rules and the format's size limit) and loaded by the library's strict
// reader, which refuses what the path loaders would hang, throw or load
// silently wrong on. On success the record holds exactly what the path
// loader would load. Failures throw FileError naming the file.

// LSC table header file.
LscTable LoadTableFile(const std::string& path);

// Tuning header file, loaded into `params`.
void LoadTuningFile(const std::string& path, MirvoParams* params);

// Statistics text dump, loaded into `stats`.
void LoadStatsFile(const std::string& path, Stats* stats);

// Override map: key=value lines setting at least one key to a finite number.
// Unknown keys, which the library ignores, are among the entries returned
// (IsOverrideKey tells them), for the caller to warn about.
std::vector<OverrideEntry> LoadOverrideFile(const std::string& path);

// Diagnostic dump, holding at least one grid or scalar.
DiagnosticDump LoadDiagnosticFile(const std::string& path);

}  // namespace mirvo::workbench
