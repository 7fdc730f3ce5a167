#include <cstdint>
#include <vector>

#include "core/stats.h"
#include "tools/bayer_raw.h"

namespace mirvo {
namespace {

// Largest pixel value at `bit_depth`; only the low five bits count as the
// shift, as a hardware shifter would take them.
float MaxLevel(int32_t bit_depth) { return static_cast<float>((1u << (static_cast<uint32_t>(bit_depth) & 31u)) - 1u); }

uint16_t RemoveBlack(uint16_t sample, uint16_t level, float gain) {
  if (sample <= level) return 0;
  const float value = static_cast<float>(sample - level) * gain + 0.5f;
  return static_cast<uint16_t>(static_cast<int64_t>(value));
}

// Black-level result of every possible plane sample of one channel. A sample
// only matters through its bits that survive the shift to 14 bits, so the
// table is indexed with those bits.
struct ChannelTable {
  std::vector<uint16_t> value;
  uint32_t mask = 0;

  ChannelTable(uint32_t shift, uint16_t level, float gain) {
    const uint32_t size = shift >= 16 ? 1u : (0x10000u >> shift);
    mask = size - 1u;
    value.resize(size);
    for (uint32_t s = 0; s < size; ++s) {
      const uint16_t shifted = static_cast<uint16_t>(shift >= 16 ? 0u : (s << shift) & 0xFFFFu);
      value[s] = RemoveBlack(shifted, level, gain);
    }
  }
};

}  // namespace

void Stats::InitBlacklevel(const uint16_t (&levels)[4]) {
  const float max = MaxLevel(bit_depth);
  for (int i = 0; i < 4; ++i) {
    black_level[i] = levels[i];
    black_level_gain[i] = max / (max - static_cast<float>(levels[i]));
  }
}

void Stats::SubtractBlacklevel(uint16_t (&samples)[4]) const {
  for (int i = 0; i < 4; ++i) samples[i] = RemoveBlack(samples[i], black_level[i], black_level_gain[i]);
}

errCode Stats::CreateFromRaw(const BayerRaw& raw, const uint16_t (&levels)[4], int cols_, int rows_) {
  ConfigureStatsSize(cols_, rows_);
  InitBlacklevel(levels);  // bit_depth is 14 here, whatever the raw's depth

  const int cell_w = cols_ > 0 ? raw.half_width_ / cols_ : 0;
  const int cell_h = rows_ > 0 ? raw.half_height_ / rows_ : 0;
  const uint16_t count = static_cast<uint16_t>(cell_w * cell_h);
  for (int i = 0; i < cols_ * rows_; ++i) {
    for (int c = 0; c < 4; ++c) cells[i].cnt[c] = count;
  }
  if (cell_w <= 0 || cell_h <= 0 || raw.plane_r_ == nullptr || raw.plane_gr_ == nullptr || raw.plane_gb_ == nullptr ||
      raw.plane_b_ == nullptr) {
    return kOk;
  }

  const int x0 = (raw.half_width_ - cell_w * cols_) / 2;
  const int y0 = (raw.half_height_ - cell_h * rows_) / 2;

  // The levels pair crosswise with the planes: B takes index 0, R index 3.
  const uint32_t shift = static_cast<uint32_t>(14 - raw.bit_depth_) & 31u;
  const ChannelTable table_b(shift, black_level[0], black_level_gain[0]);
  const ChannelTable table_gr(shift, black_level[1], black_level_gain[1]);
  const ChannelTable table_gb(shift, black_level[2], black_level_gain[2]);
  const ChannelTable table_r(shift, black_level[3], black_level_gain[3]);

  // Sums wrap modulo 2^32 like the per-sample additions, so adding per plane
  // row and cell gives the same result as sample-by-sample accumulation.
  for (int cr = 0; cr < rows_; ++cr) {
    StatsCell* row_cells = cells + static_cast<size_t>(cr) * static_cast<size_t>(cols_);
    for (int y = y0 + cr * cell_h; y < y0 + (cr + 1) * cell_h; ++y) {
      const size_t line = static_cast<size_t>(y) * static_cast<size_t>(raw.half_width_);
      const uint16_t* r = raw.plane_r_ + line;
      const uint16_t* gr = raw.plane_gr_ + line;
      const uint16_t* gb = raw.plane_gb_ + line;
      const uint16_t* b = raw.plane_b_ + line;
      for (int cc = 0; cc < cols_; ++cc) {
        const int x_begin = x0 + cc * cell_w;
        const int x_end = x_begin + cell_w;
        uint32_t sum_r = 0, sum_gr = 0, sum_gb = 0, sum_b = 0;
        uint32_t any = 0;
        for (int x = x_begin; x < x_end; ++x) {
          sum_r += table_r.value[r[x] & table_r.mask];
          sum_gr += table_gr.value[gr[x] & table_gr.mask];
          sum_gb += table_gb.value[gb[x] & table_gb.mask];
          sum_b += table_b.value[b[x] & table_b.mask];
          any |= static_cast<uint32_t>(r[x] | gr[x] | gb[x] | b[x]);
        }
        StatsCell& cell = row_cells[cc];
        cell.sum[R] += sum_r;
        cell.sum[Gr] += sum_gr;
        cell.sum[Gb] += sum_gb;
        cell.sum[B] += sum_b;
        // Saturation is judged on the sample before the shift; it is rare,
        // so it is counted only on segments that hold such a sample.
        if (any >= 16384u) {
          for (int x = x_begin; x < x_end; ++x) {
            cell.sat_cnt[R] = static_cast<uint16_t>(cell.sat_cnt[R] + (r[x] >= 16384));
            cell.sat_cnt[Gr] = static_cast<uint16_t>(cell.sat_cnt[Gr] + (gr[x] >= 16384));
            cell.sat_cnt[Gb] = static_cast<uint16_t>(cell.sat_cnt[Gb] + (gb[x] >= 16384));
            cell.sat_cnt[B] = static_cast<uint16_t>(cell.sat_cnt[B] + (b[x] >= 16384));
          }
        }
      }
    }
  }
  return kOk;
}

}  // namespace mirvo
