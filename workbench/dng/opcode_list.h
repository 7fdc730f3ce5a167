#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mirvo {
namespace workbench {

inline constexpr uint32_t kOpcodeGainMap = 9;
// DNG 1.3, the version GainMap was introduced in.
inline constexpr uint32_t kOpcodeVersion13 = 0x01030000;
inline constexpr uint32_t kOpcodeFlagOptional = 1;

// One opcode of an OpcodeList tag, its parameters kept verbatim.
struct Opcode {
  uint32_t id = 0;
  uint32_t version = 0;
  uint32_t flags = 0;
  std::vector<uint8_t> params;
};

// The parameters of a GainMap opcode; gains are points_v x points_h x
// map_planes, row-major.
struct GainMap {
  uint32_t top = 0, left = 0, bottom = 0, right = 0;
  uint32_t plane = 0, planes = 1, row_pitch = 1, col_pitch = 1;
  uint32_t points_v = 0, points_h = 0;
  double spacing_v = 0, spacing_h = 0, origin_v = 0, origin_h = 0;
  uint32_t map_planes = 1;
  std::vector<float> gains;
};

// Parses an opcode list (always big-endian): every byte must belong to one of
// its opcodes. Throws WorkbenchError naming the problem.
std::vector<Opcode> ParseOpcodeList(const uint8_t* data, size_t size);
std::vector<uint8_t> WriteOpcodeList(const std::vector<Opcode>& opcodes);

// A GainMap's parameters, checked (sizes, positive pitches, finite values).
// Throws WorkbenchError.
GainMap ParseGainMap(const Opcode& opcode);
Opcode MakeGainMapOpcode(const GainMap& map, uint32_t flags);

}  // namespace workbench
}  // namespace mirvo
