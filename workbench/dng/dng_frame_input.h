#pragma once

#include <memory>

#include "workbench/inputs/frame_input.h"

namespace mirvo::workbench {

// Bayer DNG files as a source of frames: each file states its own geometry,
// levels and bit depth, so the input's layout carries only the statistics
// grid (width and height 0). Check reads the directories and opcode lists
// without decoding; ReadFrame and ReadStats decode.
std::unique_ptr<FrameInput> MakeDngInput(int grid_cols = 32, int grid_rows = 24);

}  // namespace mirvo::workbench
