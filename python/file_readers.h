#pragma once

#include <string>

#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"

namespace mirvo_py {

// The module's file loaders. Each file is read once and parsed by the
// library's strict reader for its format, which refuses what the path loaders
// would hang, throw or load silently wrong on (the table loader never returns
// on a missing marker, the tuning and statistics loaders throw on a malformed
// token); on success the record holds exactly what the path loader would load.
//
// Each raises OSError (FileNotFoundError, IsADirectoryError, ...) when `path`
// cannot be read as a regular file, and ValueError naming the file and the
// problem when its content would not load.
void LoadTableFile(const std::string& path, mirvo::LscTable* table);
void LoadTuningFile(const std::string& path, mirvo::MirvoParams* params);
void LoadStatsFile(const std::string& path, mirvo::Stats* stats);

// OSError as above, or ValueError when the size differs from `expected_bytes`.
void ValidateRawFile(const std::string& path, unsigned long long expected_bytes, const std::string& layout);

}  // namespace mirvo_py
