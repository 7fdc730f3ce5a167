#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "base/cli_error.h"
#include "workbench/error.h"
#include "workbench/files/bounded_json.h"

namespace mirvo_cli {

// The program's JSON inputs (run summaries, calibrations), read within the
// workbench's nesting and memory limits; a refusal is the usual DataError.
inline nlohmann::json ParseJsonInput(const std::string& text, const std::string& path) {
  try {
    return mirvo::workbench::ParseBoundedJson(
        text, path, {text.size(), mirvo::workbench::kJsonMaxDepth, mirvo::workbench::kJsonMemoryFactor});
  } catch (const mirvo::workbench::WorkbenchError& e) {
    throw DataError(e.what());
  }
}

}  // namespace mirvo_cli
