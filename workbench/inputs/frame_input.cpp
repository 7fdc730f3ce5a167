#include "workbench/inputs/frame_input.h"

#include "workbench/error.h"

namespace mirvo::workbench {

void FrameInput::ReadFrame(const std::string& path, BayerRaw*) const {
  throw WorkbenchError(path + ": " + kind() + " input holds no raw frame");
}

}  // namespace mirvo::workbench
