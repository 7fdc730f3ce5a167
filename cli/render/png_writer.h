#pragma once

#include <string>

#include "render/image.h"

namespace mirvo_cli {

// Encodes the picture as an 8-bit RGB PNG file in memory.
std::string EncodePng(const Image& image);

// Writes the picture as a PNG file, atomically. Throws DataError.
void WritePng(const Image& image, const std::string& path);

}  // namespace mirvo_cli
