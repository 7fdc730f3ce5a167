#pragma once

#include <string>

#include "core/core.h"
#include "core/lsc_table.h"
#include "core/stats.h"

namespace mirvo_cli {

// The library's writers do not report failed writes; these wrappers let them
// write into memory, check that the file came out complete, and only then
// write it to a temporary file renamed over the target. All throw DataError
// naming the target.

void WriteTableFile(const std::string& path, const mirvo::LscTable& table);
void WriteSimRolloffFile(const std::string& path, const mirvo::LscTable& table);
void WriteStatsDump(const std::string& path, const mirvo::Stats& stats);
void WriteMeanImage(const std::string& path, const mirvo::Stats& stats);
void WriteDiagnosticDump(const std::string& path, mirvo::Core& core);

// "DIR/NAME_kkk.EXT" with the frame number in at least three digits.
std::string FramePath(const std::string& dir, const std::string& name, int frame, const std::string& ext);

}  // namespace mirvo_cli
