#pragma once

#include <ostream>

#include "core/error_code.h"
#include "core/export.h"
#include "core/lsc_table.h"

namespace mirvo {

// Writes the table as a hardware simulator rolloff file: fixed mesh geometry
// settings, then planes R, Gr, B, Gb as gains in 10-bit fixed point, each
// plane's 221 values on one line.
MIRVO_EXPORT void LscTableWriteSimText(std::ostream& out, const LscTable& table);

// LscTableWriteSimText into the file at `path` (mode "w"); kFileError on a
// null path or an unopenable file, write and close failures not reported.
MIRVO_EXPORT errCode LscTableSaveTovanSimFile(const char* path, const LscTable& table);

}  // namespace mirvo
