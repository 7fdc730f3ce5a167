#pragma once

#include <string>

#include "core/lsc_table.h"

namespace mirvo {
namespace workbench {

// Writes a copy of the Bayer DNG `src` to `dst` whose OpcodeList2 GainMaps are
// the table's four planes (the Android layout, coordinates relative to the
// active area); every other opcode keeps its place and bytes, and every
// other byte of the file is kept: the new list is appended and only the raw
// image's directory entry (or, when it had no list, the directory, copied
// after it) points to it. Written to a temporary file and renamed over
// `dst`. Throws WorkbenchError "PATH: reason".
void WriteDngGainMap(const std::string& src, const std::string& dst, const LscTable& table);

}  // namespace workbench
}  // namespace mirvo
