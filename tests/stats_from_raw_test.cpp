#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "core/cpu_features.h"
#include "core/stats.h"
#include "support/test_support.h"
#include "tools/bayer_raw.h"
#include "tools/stats_text.h"

namespace mirvo {
namespace {

// Gives `raw` the planes of an RGGB frame of twice the given plane size,
// each sample drawn from `sample` in row-major frame order.
template <class Sample>
void SplitRaw(BayerRaw& raw, int half_width, int half_height, int bit_depth, Sample sample) {
  std::vector<uint16_t> frame(static_cast<size_t>(4) * half_width * half_height);
  for (uint16_t& v : frame) v = sample();
  ASSERT_EQ(raw.SplitFrame(frame.data(), 2 * half_width, 2 * half_height, bit_depth, "RGGB"), kOk);
}

void FillRaw(BayerRaw& raw, int half_width, int half_height, int bit_depth, uint16_t value) {
  SplitRaw(raw, half_width, half_height, bit_depth, [value] { return value; });
}

// Sample i pairs with level i here; the level is removed and the rest
// stretched to the full range of the record's bit depth. Gains no finite
// arithmetic can use still give a defined sample: an infinite product
// saturates the 16-bit store, NaN (0 / 0 from a maximum of 0) gives 0.
TEST(StatsBlacklevel, RemovesLevelAndStretchesToFullRange) {
  struct Row {
    int bit_depth;
    uint16_t levels[4], in[4], out[4];
    float gain0;
  } const rows[] = {
      // 10-bit samples 4, 64 and 1023 shifted to 14 bits.
      {14, {64, 64, 64, 64}, {64, 1024, 16368, 63}, {0, 964, 16368, 0}, 16383.0f / 16319.0f},
      {14, {10, 20, 30, 40}, {100, 100, 100, 100}, {90, 80, 70, 60}, 16383.0f / 16373.0f},
      {10, {23, 0, 0, 0}, {1023, 0, 1023, 0}, {1023, 0, 1023, 0}, 1023.0f / 1000.0f},
      {14, {16383, 16383, 0, 0}, {20000, 16383, 0, 0}, {0xFFFF, 0, 0, 0}, INFINITY},
      {0, {0, 5, 0, 0}, {100, 100, 0, 0}, {0, 0, 0, 0}, NAN},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.levels[0]);
    Stats stats;
    stats.ConfigureStatsSize(1, 1);
    stats.bit_depth = row.bit_depth;
    stats.InitBlacklevel(row.levels);
    EXPECT_TRUE(stats.black_level_gain[0] == row.gain0 || std::isnan(row.gain0 + stats.black_level_gain[0]));
    uint16_t samples[4] = {row.in[0], row.in[1], row.in[2], row.in[3]};
    stats.SubtractBlacklevel(samples);
    EXPECT_EQ(std::vector<uint16_t>(samples, samples + 4), std::vector<uint16_t>(row.out, row.out + 4));
  }
}

// How samples are shifted, paired with levels (crosswise: B with level 0, R
// with level 3), gridded (centred) and counted as saturated (before the
// shift) is pinned against the per-sample definition by
// MatchesPerSampleDefinitionOnRandomFrames below; these are the sizes it
// does not reach.
TEST(StatsFromRaw, FullSensorAndTooSmallFrames) {
  BayerRaw raw;
  FillRaw(raw, 2016, 1512, 12, 1000);
  Stats stats;
  ASSERT_EQ(stats.CreateFromRaw(raw, {256, 256, 256, 256}, 32, 24), kOk);
  EXPECT_EQ(stats.bit_depth, 14);  // whatever the raw's depth
  EXPECT_EQ(stats.black_level[3], 256);
  // 4000 - 256 = 3744 stretched by 16383 / 16127 is 3803.43; rounded, 3803 per sample.
  for (int i = 0; i < 768; ++i) {
    ASSERT_EQ(stats.cells[i].cnt[R], 3969);
    ASSERT_EQ(stats.cells[i].sum[Gb], 3969u * 3803u);
  }

  FillRaw(raw, 31, 23, 14, 500);
  ASSERT_EQ(stats.CreateFromRaw(raw, {0, 0, 0, 0}, 32, 24), kOk);
  const StatsCell zero{};
  for (int i = 0; i < 768; ++i) ASSERT_EQ(std::memcmp(&stats.cells[i], &zero, sizeof zero), 0);
}

// Per-sample statistics exactly as the statistics block defines them, for
// comparison with the library's vectorised loops.
void ReferenceStats(const BayerRaw& raw, const uint16_t (&levels)[4], int cols, int rows, Stats* out) {
  out->ConfigureStatsSize(cols, rows);
  out->InitBlacklevel(levels);
  const int cw = raw.half_width_ / cols, ch = raw.half_height_ / rows;
  const int x0 = (raw.half_width_ - cw * cols) / 2, y0 = (raw.half_height_ - ch * rows) / 2;
  const uint32_t shift = static_cast<uint32_t>(14 - raw.bit_depth_) & 31u;
  for (int cr = 0; cr < rows; ++cr) {
    for (int cc = 0; cc < cols; ++cc) {
      StatsCell& cell = out->cells[cr * cols + cc];
      for (int y = y0 + cr * ch; y < y0 + (cr + 1) * ch; ++y) {
        for (int x = x0 + cc * cw; x < x0 + (cc + 1) * cw; ++x) {
          const size_t i = static_cast<size_t>(y) * raw.half_width_ + x;
          const uint16_t in[4] = {raw.plane_b_[i], raw.plane_gr_[i], raw.plane_gb_[i], raw.plane_r_[i]};
          uint16_t v[4];
          for (int k = 0; k < 4; ++k) v[k] = static_cast<uint16_t>((static_cast<uint32_t>(in[k]) << shift) & 0xFFFFu);
          out->SubtractBlacklevel(v);  // index-wise pairing: B with 0 ... R with 3
          const Channel channel[4] = {B, Gr, Gb, R};
          for (int k = 0; k < 4; ++k) {
            cell.sum[channel[k]] += v[k];
            if (in[k] >= 16384) ++cell.sat_cnt[channel[k]];
          }
        }
      }
      for (int k = 0; k < 4; ++k) cell.cnt[k] = static_cast<uint16_t>(cw * ch);
    }
  }
}

// Odd cell widths (vector tails, the last one at the very end of a plane),
// every shift including the ones that leave nothing, levels at and above the
// top of the range (infinite and negative gains), saturated samples; on the
// widest path and on the portable one.
TEST(StatsFromRaw, MatchesPerSampleDefinitionOnRandomFrames) {
  std::mt19937 rng(7);
  auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
  const int depths[] = {8, 10, 12, 14, 15, 16, 0, 20, 31, -3};
  const uint16_t odd_levels[] = {0, 1, 16382, 16383, 16384, 40000, 65535};
  for (int trial = 0; trial < 200; ++trial) {
    SCOPED_TRACE(trial);
    BayerRaw raw;
    const int cols = pick(1, 12), rows = pick(1, 6);
    const int half_width = cols * pick(1, 40) + pick(0, 9), half_height = rows * pick(1, 5) + pick(0, 3);
    const int depth = depths[pick(0, 9)];
    const int mode = pick(0, 2);  // full 16 bits, within the depth, around the level
    SplitRaw(raw, half_width, half_height, depth, [&] {
      return static_cast<uint16_t>(mode == 0 ? pick(0, 65535) : mode == 1 ? pick(0, 1023) : pick(0, 300));
    });
    uint16_t levels[4];
    for (uint16_t& l : levels) l = pick(0, 3) == 0 ? odd_levels[pick(0, 6)] : static_cast<uint16_t>(pick(0, 1024));

    Stats want;
    ReferenceStats(raw, levels, cols, rows, &want);
    for (const bool portable : {false, true}) {
      Stats got;
      internal::ForcePortablePaths(portable);
      const errCode code = got.CreateFromRaw(raw, levels, cols, rows);
      internal::ForcePortablePaths(false);
      ASSERT_EQ(code, kOk);
      for (int i = 0; i < cols * rows; ++i) {
        ASSERT_EQ(std::memcmp(&got.cells[i], &want.cells[i], sizeof(StatsCell)), 0)
            << "cell " << i << (portable ? " portable: " : ": ") << got.cells[i].sum[R] << " vs "
            << want.cells[i].sum[R];
      }
    }
  }
}

// A 192 x 128 RGGB excerpt of a real 14-bit frame (see tests/data/README.md):
// the statistics survive the text dump and the simulator loader unchanged.
TEST(StatsFromRaw, RealFrameThroughTextDumpAndBack) {
  const std::string path = mirvo_test::DataPath("nikon_dsc1339_crop_192x128_RGGB_14bit.raw");
  BayerRaw raw;
  ASSERT_EQ(raw.ReadRawImage(path.c_str(), 192, 128, 14, "RGGB", false), kOk);
  Stats stats;
  ASSERT_EQ(stats.CreateFromRaw(raw, {600, 600, 600, 600}, 32, 24), kOk);

  // Cell (0, 0) from the file bytes: planes 96 x 64, cells of 3 x 2 from row 8.
  const std::string bytes = mirvo_test::ReadFile(path);
  ASSERT_EQ(bytes.size(), 192u * 128u * 2u);
  auto sample = [&](int x, int y) {
    uint16_t v;
    std::memcpy(&v, bytes.data() + (y * 192 + x) * 2, 2);
    return v;
  };
  uint32_t red = 0;
  for (int y = 8; y < 10; ++y) {
    for (int x = 0; x < 3; ++x) {
      const uint16_t s = sample(2 * x, 2 * y);
      red += s > 600 ? static_cast<uint32_t>(static_cast<float>(s - 600) * (16383.0f / 15783.0f) + 0.5f) : 0u;
    }
  }
  EXPECT_EQ(stats.cells[0].sum[R], red);
  EXPECT_EQ(stats.cells[0].cnt[R], 6);

  mirvo_test::TempDir dir;
  ASSERT_EQ(stats.SaveAsText(dir.File("stats.txt").c_str()), kOk);
  std::string why;
  EXPECT_EQ(StatsValidateTextFile(dir.File("stats.txt").c_str(), &why), kOk) << why;
  // The strict reader takes the same text to the same cells.
  Stats back, parsed;
  ASSERT_TRUE(StatsParseText(mirvo_test::ReadFile(dir.File("stats.txt")), &parsed));
  back.bit_depth = 3;
  ASSERT_EQ(back.LoadSimStatsElmrak(dir.File("stats.txt").c_str()), 0);
  EXPECT_EQ(back.bit_depth, 14);
  EXPECT_EQ(parsed.bit_depth, 14);
  for (int i = 0; i < 768; ++i) {
    SCOPED_TRACE(i);
    ASSERT_EQ(std::memcmp(back.cells[i].sum, stats.cells[i].sum, sizeof stats.cells[i].sum), 0);
    ASSERT_EQ(std::memcmp(back.cells[i].cnt, stats.cells[i].cnt, sizeof stats.cells[i].cnt), 0);
    ASSERT_TRUE(mirvo_test::SameBytes(parsed.cells[i], back.cells[i]));
  }
}

}  // namespace
}  // namespace mirvo
