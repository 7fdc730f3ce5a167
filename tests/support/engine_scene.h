#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"

namespace mirvo_test {

// Sets one statistics cell from per-channel means: every channel sums `cnt`
// pixels of its mean, the two greens alike, nothing saturated.
inline void SetCell(mirvo::StatsCell& cell, uint32_t r, uint32_t g, uint32_t b, uint16_t cnt) {
  cell.sum[mirvo::R] = r * cnt;
  cell.sum[mirvo::Gr] = g * cnt;
  cell.sum[mirvo::Gb] = g * cnt;
  cell.sum[mirvo::B] = b * cnt;
  for (int ch = 0; ch < 4; ++ch) {
    cell.cnt[ch] = cnt;
    cell.sat_cnt[ch] = 0;
  }
}

// A 24 x 32 grid (bit depth 14) of identical grey cells.
inline void MakeGreyStats(mirvo::Stats& stats, uint32_t mean, uint16_t cnt) {
  stats.ConfigureStatsSize(32, 24);
  for (int i = 0; i < 24 * 32; ++i) SetCell(stats.cells[i], mean, mean, mean, cnt);
}

// A table whose four planes are each one constant gain.
inline mirvo::LscTable UniformTable(float r, float gr, float gb, float b) {
  mirvo::LscTable table;
  for (int i = 0; i < 13; ++i) {
    for (int j = 0; j < 17; ++j) {
      table.r_gain[i][j] = r;
      table.gr_gain[i][j] = gr;
      table.gb_gain[i][j] = gb;
      table.b_gain[i][j] = b;
    }
  }
  return table;
}
inline mirvo::LscTable UniformTable(float gain) { return UniformTable(gain, gain, gain, gain); }

// Whether every gain of the table is finite.
inline bool AllFinite(const mirvo::LscTable& t) {
  const float* g = &t.r_gain[0][0];
  for (int i = 0; i < 884; ++i)
    if (!std::isfinite(g[i])) return false;
  return true;
}

// One frame through a Core or GuardedCore: its output table.
template <class Engine>
mirvo::LscTable RunFrame(Engine& engine, const mirvo::Stats& stats, const mirvo::LscTable& base) {
  EXPECT_TRUE(engine.SetStats(stats));
  EXPECT_TRUE(engine.SetInputLscTable(base));
  EXPECT_TRUE(engine.Execute());
  mirvo::LscTable out;
  EXPECT_TRUE(engine.GetOutputLscTable(&out));
  return out;
}

// Default tuning and an all-zero learned profile, so the profile fit is a
// no-op and the integration sees the weighted gradients themselves.
inline void MakePlainParams(mirvo::MirvoParams& params) {
  params = mirvo::MirvoParams();
  mirvo::InitMirvoParams(params);
}

}  // namespace mirvo_test
