#pragma once

#include <cstdint>
#include <string>

#include "commands/raw_options.h"
#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"

namespace mirvo_cli {

// Every input goes through these: a text input is read into memory once and
// checked and loaded by the library's strict reader for its format, never by
// the path-taking loaders, which assume well-formed files (one never returns
// on a table without a marker, others throw on malformed tokens). Failures
// throw DataError with one line naming the file and the problem.

// The path names an existing, readable, non-empty regular file of at most
// `max_bytes`; returns its size. An empty path is a usage error.
uint64_t CheckInputFile(const std::string& path, const std::string& what, uint64_t max_bytes);

// Checked as above, then read whole.
std::string ReadInputFile(const std::string& path, const std::string& what, uint64_t max_bytes);

// Size limits of the text inputs, far above what their writers produce, so
// that a wrong file is refused before it is read into memory.
inline constexpr uint64_t kMaxTableBytes = 1 << 20;
inline constexpr uint64_t kMaxTuningBytes = 16 << 20;
inline constexpr uint64_t kMaxStatsBytes = 16 << 20;
inline constexpr uint64_t kMaxOverrideBytes = 1 << 20;
inline constexpr uint64_t kMaxDiagBytes = 256 << 20;

// LSC table header file, read once, checked and loaded.
mirvo::LscTable LoadTableFile(const std::string& path);

// Tuning header file, read once, checked and loaded into `params`.
void LoadTuningFile(const std::string& path, mirvo::MirvoParams* params);

// Statistics text dump, read once, checked and loaded into `stats`.
void LoadStatsFile(const std::string& path, mirvo::Stats* stats);

// Raw frame file: present, and exactly the size its dimensions imply.
void CheckRawFile(const std::string& path, const RawOptions& raw);

// Raw frame read and reduced to statistics on the options' grid.
void StatsFromRawFile(const std::string& path, const RawOptions& raw, mirvo::Stats* stats);

// Override map: text of key=value lines setting at least one known key to a
// finite number. Unknown keys, which the library ignores, are reported on
// stderr as warnings once the whole file has passed.
void CheckOverrideFile(const std::string& path);

}  // namespace mirvo_cli
