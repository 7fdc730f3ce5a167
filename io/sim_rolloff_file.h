#pragma once

#include "core/error_code.h"
#include "core/export.h"
#include "core/lsc_table.h"

namespace mirvo {

// Writes the table as a hardware simulator rolloff file: fixed mesh geometry
// settings, then planes R, Gr, B, Gb as gains in 10-bit fixed point.
MIRVO_EXPORT errCode LscTableSaveTovanSimFile(const char* path, const LscTable& table);

}  // namespace mirvo
