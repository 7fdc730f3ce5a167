#pragma once

#include <string>

#include "core/mirvo_params.h"

namespace mirvo_cli {

// Writes a tuning header file atomically, after checking that the library's
// reader gives back the very same record. Throws DataError naming the target.
void WriteTuningFile(const std::string& path, const mirvo::MirvoParams& params);

}  // namespace mirvo_cli
