#pragma once

#include <ostream>
#include <string>

#include "core/export.h"
#include "core/mirvo_params.h"
#include "core/parse_result.h"

namespace mirvo {

// Learned tint profile file: four sections, each a header line naming it
// ("[BUL]", "[BVL]", "[BgUHXY]", "[BgVHXY]") followed by its 221, 221, 1480
// and 1480 whitespace-separated numbers, row by row.

// Writes `profile` in that layout, 17 numbers to a line for the grids and a
// line per edge row for the blocks, 9 significant digits so every float
// comes back bit for bit.
MIRVO_EXPORT void LearnedProfileWriteText(std::ostream& out, const LearnedTintProfile& profile);

// The strict reader: reads `text` as LoadLearnedTintProfile reads a file and
// fails where it would not notice a fault: a header line that does not name
// its section (or that the loader refuses: "BUL..." or "BVL..." at the start),
// a number missing, not finite or glued to other text, text after the last
// number of a section's line or after the last section, a NUL byte. On
// success `profile` holds what the loader would load. Never throws or prints.
MIRVO_EXPORT ParseResult LearnedProfileParseText(const std::string& text, LearnedTintProfile* profile);

// Reads a profile text file into `profile`. Returns 0, -100 when the file
// cannot be opened, or the plain value -1 when the first header starts with
// "BUL" or the second with "BVL" (the header test is inverted on purpose).
// Short or malformed files are not detected: check them with
// LearnedProfileParseText, which also loads.
MIRVO_EXPORT int LoadLearnedTintProfile(const char* path, LearnedTintProfile& profile);

}  // namespace mirvo
