#pragma once

#include <cstdint>

namespace mirvo::workbench {

// Unsigned integers in a file's byte order: TIFF states its own, opcode lists
// are always big-endian.
inline uint16_t LoadU16(const uint8_t* p, bool big_endian) {
  return big_endian ? static_cast<uint16_t>(p[0] << 8 | p[1]) : static_cast<uint16_t>(p[1] << 8 | p[0]);
}

inline uint32_t LoadU32(const uint8_t* p, bool big_endian) {
  if (big_endian) return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
  return uint32_t{p[3]} << 24 | uint32_t{p[2]} << 16 | uint32_t{p[1]} << 8 | p[0];
}

inline void StoreU16(uint8_t* p, uint16_t v, bool big_endian) {
  p[big_endian ? 0 : 1] = static_cast<uint8_t>(v >> 8);
  p[big_endian ? 1 : 0] = static_cast<uint8_t>(v);
}

inline void StoreU32(uint8_t* p, uint32_t v, bool big_endian) {
  for (int i = 0; i < 4; ++i) p[big_endian ? i : 3 - i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}

}  // namespace mirvo::workbench
