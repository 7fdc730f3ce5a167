#pragma once

#include <string>

namespace mirvo_py {

// The gate in front of the library's file readers, which assume well-formed
// files (the table reader never returns on a missing marker, the tuning and
// statistics readers throw on a malformed token). Every loader of the module
// calls one of these first; they are the only place that knows which
// validator the library offers for each file type.
//
// Each raises OSError (FileNotFoundError, IsADirectoryError, ...) when `path`
// cannot be read as a regular file, and ValueError naming the file and the
// problem when its content would not load.
void ValidateTableFile(const std::string& path);
void ValidateTuningFile(const std::string& path);
void ValidateStatsFile(const std::string& path);

// OSError as above, or ValueError when the size differs from `expected_bytes`.
void ValidateRawFile(const std::string& path, unsigned long long expected_bytes, const std::string& layout);

}  // namespace mirvo_py
