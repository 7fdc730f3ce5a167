#pragma once

#include <string>

#include "workbench/preview/preview_render.h"

namespace mirvo::workbench {

// Baseline JPEG of the picture in memory, 4:2:0, quality 1..100. Throws
// WorkbenchError on an empty picture or an encoder failure.
std::string EncodeJpeg(const RgbImage& image, int quality = 85);

}  // namespace mirvo::workbench
