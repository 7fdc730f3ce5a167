#pragma once

#include <string>

#include "render/image.h"

namespace mirvo_cli {

// Encodes the picture as an 8-bit RGB PNG file in memory.
std::string EncodePng(const Image& image);
// The same for `height` rows of `width` RGB triples.
std::string EncodePng(int width, int height, const uint8_t* pixels);

// Writes the picture as a PNG file, atomically. Throws DataError.
void WritePng(const Image& image, const std::string& path);

}  // namespace mirvo_cli
