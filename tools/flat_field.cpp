#include "tools/flat_field.h"

#include <algorithm>
#include <vector>

namespace mirvo {
namespace {

// Start of part i of n equal parts of [0, extent), rounded down.
int PartStart(int i, int n, int extent) { return static_cast<int>(static_cast<int64_t>(i) * extent / n); }

// Sums one plane per tile (tiles x tiles per block) and counts its clipped samples.
uint64_t SumTiles(const uint16_t* plane, int half_width, int half_height, int tiles_x, int tiles_y, uint16_t white,
                  std::vector<uint64_t>* sums) {
  sums->assign(static_cast<size_t>(tiles_x) * tiles_y, 0);
  std::vector<int> col_start(tiles_x + 1);
  for (int t = 0; t <= tiles_x; ++t) col_start[t] = PartStart(t, tiles_x, half_width);
  uint64_t clipped = 0;
  for (int ty = 0; ty < tiles_y; ++ty) {
    uint64_t* row_sums = sums->data() + static_cast<size_t>(ty) * tiles_x;
    for (int k = PartStart(ty, tiles_y, half_height); k < PartStart(ty + 1, tiles_y, half_height); ++k) {
      const uint16_t* row = plane + static_cast<size_t>(k) * half_width;
      for (int t = 0; t < tiles_x; ++t) {
        // Plain loops over contiguous samples: the compiler vectorises both.
        uint32_t s = 0;
        uint32_t c = 0;
        for (int j = col_start[t]; j < col_start[t + 1]; ++j) {
          s += row[j];
          c += row[j] >= white;
        }
        row_sums[t] += s;
        clipped += c;
      }
    }
  }
  return clipped;
}

}  // namespace

errCode MeasureFlatField(const uint16_t* const planes[4], int half_width, int half_height, int bit_depth,
                         const uint16_t black_level[4], FlatFieldBlocks* out) {
  if (bit_depth < 1 || bit_depth > 14 || half_width < kFlatBlockCols || half_height < kFlatBlockRows)
    return kInvalidInput;
  // Up to 4 x 4 tiles per block, fewer on small frames (a tile holds at least one sample).
  const int per_x = std::min(4, half_width / kFlatBlockCols);
  const int per_y = std::min(4, half_height / kFlatBlockRows);
  const int tiles_x = kFlatBlockCols * per_x;
  const int tiles_y = kFlatBlockRows * per_y;
  const uint16_t white = static_cast<uint16_t>((1u << bit_depth) - 1);
  const float scale = static_cast<float>(1 << (14 - bit_depth));
  // Same plane-to-level pairing as the statistics builder.
  const int black_index[4] = {3, 1, 2, 0};

  out->clipped = 0;
  out->samples = 4ull * half_width * half_height;
  std::vector<uint64_t> sums;
  std::vector<float> tile_means(static_cast<size_t>(per_x) * per_y);
  for (int ch = 0; ch < 4; ++ch) {
    out->clipped += SumTiles(planes[ch], half_width, half_height, tiles_x, tiles_y, white, &sums);
    const float black = black_level[black_index[ch]];
    for (int by = 0; by < kFlatBlockRows; ++by) {
      for (int bx = 0; bx < kFlatBlockCols; ++bx) {
        int n = 0;
        for (int sy = 0; sy < per_y; ++sy) {
          const int ty = by * per_y + sy;
          const int rows = PartStart(ty + 1, tiles_y, half_height) - PartStart(ty, tiles_y, half_height);
          for (int sx = 0; sx < per_x; ++sx) {
            const int tx = bx * per_x + sx;
            const int cols = PartStart(tx + 1, tiles_x, half_width) - PartStart(tx, tiles_x, half_width);
            const double mean = static_cast<double>(sums[static_cast<size_t>(ty) * tiles_x + tx]) / (rows * cols);
            tile_means[n++] = static_cast<float>(mean) * scale - black;
          }
        }
        // Median of the tile means (the mean of the two middle ones for an even count).
        auto mid = tile_means.begin() + n / 2;
        std::nth_element(tile_means.begin(), mid, tile_means.begin() + n);
        float median = *mid;
        if (n % 2 == 0) median = 0.5f * (median + *std::max_element(tile_means.begin(), mid));
        out->level[ch][by * kFlatBlockCols + bx] = median;
      }
    }
  }
  // A block spans plane samples [a, b), i.e. pixels [2a, 2b): its centre is at pixel a + b.
  for (int bx = 0; bx < kFlatBlockCols; ++bx) {
    const double centre = PartStart(bx, kFlatBlockCols, half_width) + PartStart(bx + 1, kFlatBlockCols, half_width);
    out->x[bx] = static_cast<float>(centre * 16.0 / (2.0 * half_width));
  }
  for (int by = 0; by < kFlatBlockRows; ++by) {
    const double centre = PartStart(by, kFlatBlockRows, half_height) + PartStart(by + 1, kFlatBlockRows, half_height);
    out->y[by] = static_cast<float>(centre * 12.0 / (2.0 * half_height));
  }
  return kOk;
}

errCode MeasureFlatField(const BayerRaw& raw, const uint16_t black_level[4], FlatFieldBlocks* out) {
  const uint16_t* const planes[4] = {raw.plane_r_, raw.plane_gr_, raw.plane_gb_, raw.plane_b_};
  if (!planes[0] || !planes[1] || !planes[2] || !planes[3]) return kInvalidInput;
  return MeasureFlatField(planes, raw.half_width_, raw.half_height_, raw.bit_depth_, black_level, out);
}

}  // namespace mirvo
