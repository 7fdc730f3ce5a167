#pragma once

#include <string>

#include "core/error_code.h"
#include "core/export.h"
#include "core/lsc_table.h"

namespace mirvo {

// Writes the four planes as C-style initialiser blocks under the markers
// "/* R Gain */", "/* GR Gain */", "/* GB Gain */", "/* B Gain */", gains in
// fixed notation with 5 decimals. -100 on a null path or an unopenable file.
MIRVO_EXPORT errCode LscTableSaveHeaderFile(const char* path, const LscTable& table);

// Reads a file laid out as LscTableSaveHeaderFile writes it.
// HAZARD: the marker searches do not test for end of file, so a file that
// lacks one of the four marker lines makes this function read forever and
// never return. Hand it only files that LscTableValidateHeaderFile accepted.
MIRVO_EXPORT errCode LscTableLoadHeaderFile(const char* path, LscTable& table);

// Checks, without ever hanging, that `path` can be handed to
// LscTableLoadHeaderFile: the four marker lines in order, each followed by a
// skipped line and 221 numeric tokens. On failure returns kFileError and, if
// `why` is given, a one-line reason (without the path).
MIRVO_EXPORT errCode LscTableValidateHeaderFile(const char* path, std::string* why = nullptr);

}  // namespace mirvo
