#pragma once

#include <cstdint>

#include "core/error_code.h"
#include "tools/bayer_raw.h"

namespace mirvo::workbench {

// A flat-field capture measured on a block grid four times finer than the
// 13 x 17 table lattice in each direction, so the smooth fit that follows has
// several measurements per lattice interval.
inline constexpr int kFlatBlockRows = 48;
inline constexpr int kFlatBlockCols = 64;
inline constexpr int kFlatBlocks = kFlatBlockRows * kFlatBlockCols;

struct FlatFieldBlocks {
  // Robust level per channel (R, Gr, Gb, B) and block, row-major, in 14-bit
  // units above black. Each block is split into tiles; the level is the median
  // of the tile means, so hot pixels and dust that touch a few tiles of a
  // block do not move it.
  float level[4][kFlatBlocks];
  // Block centres in lattice units: node (r, c) of the table sits at pixel
  // (c * W / 16, r * H / 12), so x runs from 0 to 16 and y from 0 to 12.
  float x[kFlatBlockCols];
  float y[kFlatBlockRows];
  uint64_t samples;  // all four planes
  uint64_t clipped;  // samples at the sensor's white level
};

// Measures the four quarter-resolution planes (R, Gr, Gb, B, each
// half_height rows of half_width samples) of a `bit_depth` raw frame.
// Black levels are in 14-bit units and paired with the planes as the
// statistics builder pairs them (index 0 with B, 1 with Gr, 2 with Gb, 3 with
// R). kInvalidInput when a plane has fewer samples than the block grid or the
// bit depth is outside 1..14.
errCode MeasureFlatField(const uint16_t* const planes[4], int half_width, int half_height, int bit_depth,
                         const uint16_t black_level[4], FlatFieldBlocks* out);
errCode MeasureFlatField(const BayerRaw& raw, const uint16_t black_level[4], FlatFieldBlocks* out);

}  // namespace mirvo::workbench
