#pragma once

#include <string>

#include "commands/raw_options.h"
#include "tools/bayer_raw.h"
#include "workbench/preview/preview_render.h"

namespace mirvo_cli {

// Whether a picture file name asks for JPEG (.jpg, .jpeg, any case) rather
// than PNG.
bool IsJpegName(const std::string& path);

// The picture as PNG, or as JPEG (for photographs) at `quality`.
std::string EncodePicture(const mirvo::workbench::RgbImage& image, bool jpeg, int quality = 85);

// Writes the picture atomically, JPEG or PNG after its name. Throws DataError.
void WritePicture(const mirvo::workbench::RgbImage& image, const std::string& path);

// Reads one raw frame file checked against the options. Throws the
// workbench's FileError naming the file.
void ReadRawFrame(const std::string& path, const RawOptions& raw, mirvo::BayerRaw* frame);

}  // namespace mirvo_cli
