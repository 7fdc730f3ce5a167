#pragma once

#include <cstdint>
#include <string>

#include "workbench/files/file_error.h"

namespace mirvo::workbench {

// Every input file goes through these before a reader sees it: a text input
// is read into memory once and checked and loaded by the library's strict
// reader for its format, never by the path-taking loaders, which assume
// well-formed files. `what` names the expected kind with its article ("an
// LSC table header file"); failures throw FileError.

// Size limits of the inputs, far above what their writers produce, so that a
// wrong file is refused before it is read into memory.
inline constexpr uint64_t kMaxTableBytes = 1 << 20;
inline constexpr uint64_t kMaxTuningBytes = 16 << 20;
inline constexpr uint64_t kMaxStatsBytes = 16 << 20;
inline constexpr uint64_t kMaxOverrideBytes = 1 << 20;
inline constexpr uint64_t kMaxDiagBytes = 256 << 20;
inline constexpr uint64_t kMaxJsonBytes = 4 << 20;        // real calibrations are tens of kilobytes
inline constexpr uint64_t kMaxSummaryBytes = 1ull << 30;  // about 0.5 KB a frame: millions of frames

// The path names an existing, readable, non-empty regular file of at most
// `max_bytes`; returns its size.
uint64_t CheckInputFile(const std::string& path, const std::string& what, uint64_t max_bytes);

// Checked as above, then read whole.
std::string ReadInputFile(const std::string& path, const std::string& what, uint64_t max_bytes);

}  // namespace mirvo::workbench
