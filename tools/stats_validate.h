#pragma once

#include <string>

#include "core/error_code.h"
#include "core/export.h"

namespace mirvo {

// Checks without throwing that Stats::LoadSimStatsElmrak will load `path`:
// the eight section markers in order, each followed by 768 tokens that start
// with a hexadecimal number, and white space after the final number. On
// failure returns kFileError and, if `why` is given, a one-line reason.
MIRVO_EXPORT errCode StatsValidateTextFile(const char* path, std::string* why = nullptr);

}  // namespace mirvo
