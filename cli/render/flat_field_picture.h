#pragma once

#include <string>

#include "render/image.h"
#include "workbench/calibration/flat_field.h"

namespace mirvo_cli {

// Four channels of a flat field on the measurement's block grid (R, Gr, Gb,
// B, each relative to its mean), two by two, each titled "<title> R" etc.
Image FlatFieldPicture(const float (*levels)[mirvo::workbench::kFlatBlocks], const std::string& title);

}  // namespace mirvo_cli
