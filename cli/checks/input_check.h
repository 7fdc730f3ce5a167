#pragma once

#include <cstdint>
#include <string>

#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"
#include "workbench/files/loaders.h"

namespace mirvo_cli {

// The checked loaders are the workstation library's (workbench/files/): the
// program shows their FileError as it is, prefixed "mirvo: ", and exits 1.
using mirvo::workbench::CheckInputFile;
using mirvo::workbench::kMaxDiagBytes;
using mirvo::workbench::kMaxJsonBytes;
using mirvo::workbench::kMaxSummaryBytes;
using mirvo::workbench::LoadStatsFile;
using mirvo::workbench::LoadTableFile;
using mirvo::workbench::LoadTuningFile;
using mirvo::workbench::ReadInputFile;

// Override map, loaded by the workstation library's loader; unknown keys,
// which the library ignores, are reported on stderr as warnings once the
// whole file has passed.
void CheckOverrideFile(const std::string& path);

}  // namespace mirvo_cli
