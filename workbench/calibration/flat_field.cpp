#include "workbench/calibration/flat_field.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace mirvo::workbench {
namespace {

// Start of part i of n equal parts of [0, extent), rounded down.
int PartStart(int i, int n, int extent) { return static_cast<int>(static_cast<int64_t>(i) * extent / n); }

typedef uint16_t U16x8 __attribute__((vector_size(16)));
typedef int16_t I16x8 __attribute__((vector_size(16)));
typedef uint32_t U32x4 __attribute__((vector_size(16)));

// Adds a row of samples into the column sums and returns how many of them
// are at the white level; eight samples a step.
uint32_t AddRow(const uint16_t* row, int n, uint16_t white, uint32_t* col) {
  const U16x8 limit = {white, white, white, white, white, white, white, white};
  I16x8 clipped = {0, 0, 0, 0, 0, 0, 0, 0};
  uint32_t total = 0;
  int j = 0;
  for (int chunk = 0; j + 8 <= n; j += 8) {
    U16x8 v;
    std::memcpy(&v, row + j, sizeof v);
    U32x4 lo, hi;
    std::memcpy(&lo, col + j, sizeof lo);
    std::memcpy(&hi, col + j + 4, sizeof hi);
    lo += __builtin_convertvector(__builtin_shufflevector(v, v, 0, 1, 2, 3), U32x4);
    hi += __builtin_convertvector(__builtin_shufflevector(v, v, 4, 5, 6, 7), U32x4);
    std::memcpy(col + j, &lo, sizeof lo);
    std::memcpy(col + j + 4, &hi, sizeof hi);
    clipped -= reinterpret_cast<I16x8>(v >= limit);  // true lanes are -1
    // Empty the 16-bit lane counters before they could wrap.
    if (++chunk == 32767) {
      for (int l = 0; l < 8; ++l) total += static_cast<uint16_t>(clipped[l]);
      clipped = I16x8{0, 0, 0, 0, 0, 0, 0, 0};
      chunk = 0;
    }
  }
  for (int l = 0; l < 8; ++l) total += static_cast<uint16_t>(clipped[l]);
  for (; j < n; ++j) {
    col[j] += row[j];
    total += row[j] >= white;
  }
  return total;
}

// Sums one plane per tile and counts its clipped samples. Rows are added
// into per-column sums first (long loops the compiler vectorises), which are
// folded into the tiles once per band of tile rows.
uint64_t SumTiles(const uint16_t* plane, int half_width, int half_height, int tiles_x, int tiles_y, uint16_t white,
                  std::vector<uint64_t>* sums, std::vector<uint32_t>* columns) {
  sums->assign(static_cast<size_t>(tiles_x) * tiles_y, 0);
  columns->resize(half_width);
  uint32_t* col = columns->data();
  std::vector<int> col_start(tiles_x + 1);
  for (int t = 0; t <= tiles_x; ++t) col_start[t] = PartStart(t, tiles_x, half_width);
  uint64_t clipped = 0;
  for (int ty = 0; ty < tiles_y; ++ty) {
    std::fill(col, col + half_width, 0u);
    uint32_t band_clipped = 0;
    // A band holds at most 32767 / 48 + 1 rows of 16-bit samples: the 32-bit column sums cannot wrap.
    for (int k = PartStart(ty, tiles_y, half_height); k < PartStart(ty + 1, tiles_y, half_height); ++k) {
      band_clipped += AddRow(plane + static_cast<size_t>(k) * half_width, half_width, white, col);
    }
    clipped += band_clipped;
    uint64_t* row_sums = sums->data() + static_cast<size_t>(ty) * tiles_x;
    for (int t = 0; t < tiles_x; ++t) {
      uint64_t s = 0;
      for (int j = col_start[t]; j < col_start[t + 1]; ++j) s += col[j];
      row_sums[t] = s;
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
  std::vector<uint32_t> columns;
  std::vector<float> tile_means(static_cast<size_t>(per_x) * per_y);
  for (int ch = 0; ch < 4; ++ch) {
    out->clipped += SumTiles(planes[ch], half_width, half_height, tiles_x, tiles_y, white, &sums, &columns);
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

}  // namespace mirvo::workbench
