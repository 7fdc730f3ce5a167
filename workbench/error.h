#pragma once

#include <stdexcept>

namespace mirvo {
namespace workbench {

// A failure of the workstation layer: one line naming the file and the problem.
struct WorkbenchError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace workbench
}  // namespace mirvo
