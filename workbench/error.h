#pragma once

#include <stdexcept>

namespace mirvo::workbench {

// What the workstation layer throws on bad input: one line naming the problem.
struct WorkbenchError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace mirvo::workbench
