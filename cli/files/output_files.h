#pragma once

#include <string>

#include "core/core.h"
#include "core/lsc_table.h"
#include "core/stats.h"

namespace mirvo_cli {

// The library's stream writers fill memory, which then goes to a temporary
// file renamed over the target, so an output appears complete or not at all.
// All throw DataError naming the target.

void WriteTableFile(const std::string& path, const mirvo::LscTable& table);
void WriteSimRolloffFile(const std::string& path, const mirvo::LscTable& table);
void WriteStatsDump(const std::string& path, const mirvo::Stats& stats);
void WriteMeanImage(const std::string& path, const mirvo::Stats& stats);
void WriteDiagnosticDump(const std::string& path, mirvo::Core& core);

// "DIR/NAME_kkk.EXT" with the frame number in at least three digits.
std::string FramePath(const std::string& dir, const std::string& name, int frame, const std::string& ext);

}  // namespace mirvo_cli
