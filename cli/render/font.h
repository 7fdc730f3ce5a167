#pragma once

#include <cstdint>

namespace mirvo_cli {

// A 5 x 7 pixel bitmap font for printable ASCII, enough for titles, keys and
// numbers in pictures without depending on a font library.
inline constexpr int kGlyphWidth = 5;
inline constexpr int kGlyphHeight = 7;

// Row bitmaps of the glyph for `c` (bit 4 is the leftmost pixel). Characters
// outside 32..126 map to '?'.
const uint8_t* Glyph(char c);

}  // namespace mirvo_cli
