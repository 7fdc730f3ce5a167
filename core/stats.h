#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include "core/channel.h"
#include "core/error_code.h"
#include "core/export.h"

namespace mirvo {

class BayerRaw;

// One statistics cell exactly as the camera stack hands it over.
struct StatsCell {
  uint32_t sum[4];      // indexed by Channel
  uint16_t cnt[4];      // pixels summed per channel
  uint16_t sat_cnt[4];  // saturated pixels per channel
};
static_assert(sizeof(StatsCell) == 32, "StatsCell is a packed 32-byte record");
static_assert(offsetof(StatsCell, sum) == 0, "sum at byte 0");
static_assert(offsetof(StatsCell, cnt) == 16, "cnt at byte 16");
static_assert(offsetof(StatsCell, sat_cnt) == 24, "sat_cnt at byte 24");

// Per-cell Bayer statistics of one frame. Owns its cell buffer; move-only.
struct MIRVO_EXPORT Stats {
  int32_t bit_depth = 0;
  uint16_t black_level[4];
  float black_level_gain[4];
  int32_t cols = 0;
  int32_t rows = 0;
  StatsCell* cells = nullptr;  // rows x cols, row-major; null until sized

  Stats() = default;
  ~Stats();
  Stats(const Stats&) = delete;
  Stats& operator=(const Stats&) = delete;
  Stats(Stats&& other) noexcept;
  Stats& operator=(Stats&& other) noexcept;

  // Sets the grid (columns first), bit depth 14 and a fresh zeroed cell buffer.
  errCode ConfigureStatsSize(int cols, int rows);

  // Raw-image statistics builder and black-level helpers.
  void InitBlacklevel(const uint16_t (&levels)[4]);
  void SubtractBlacklevel(uint16_t (&samples)[4]) const;
  errCode CreateFromRaw(const BayerRaw& raw, const uint16_t (&levels)[4], int cols, int rows);

  // Simulator statistics text loader. The base-16 conversion throws
  // std::invalid_argument on a token with no hexadecimal digit; tools validate
  // with StatsParseText (tools/stats_text.h), which also loads, instead.
  int LoadSimStatsElmrak(const char* path);
  errCode ReadStatsSumFromFile(Channel channel, std::ifstream& file, const std::string& marker);
  errCode ReadStatsCountFromFile(Channel channel, std::ifstream& file, const std::string& marker);

  // Dumps: per-cell means as a tiny BGGR raw frame, and the text dump that
  // LoadSimStatsElmrak reads back. StatsWriteMeanImage and StatsWriteText
  // (tools/stats_text.h) write the same into a stream.
  errCode Save(const char* path) const;
  errCode SaveAsText(const char* path) const;
};

}  // namespace mirvo
