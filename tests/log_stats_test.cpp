#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "engine/log_stats.h"
#include "engine/mirvo_hybrid.h"
#include "tests/support/engine_fixture.h"

namespace mirvo {
namespace {

using mirvo_test::MakeGreyStats;
using mirvo_test::SetCell;

// Cell [r][c] is fully reliable when the edge to a reliable right neighbour
// is; the tests keep that neighbour reliable.
bool EdgeRight(const LogStats& ls, int r, int c) { return ls.is_reliable_dx_[r][c] != 0; }

TEST(LogStatsInit, DarkCellIsUnreliableWithAllFourEdges) {
  Stats s;
  MakeGreyStats(s, 1000, 16);
  SetCell(s.cells[5 * 32 + 5], 0, 0, 0, 16);
  LogStats ls;
  ASSERT_EQ(ls.Init(s, 0.001f, 0.99f, 0.6f), kOk);
  // Every mean is raised to lo, so the dark cell has ratio exactly 1.
  EXPECT_EQ(ls.log_u_input[5][5], 0.0f);
  EXPECT_EQ(ls.log_v_input[5][5], 0.0f);
  EXPECT_EQ(ls.is_reliable_dx_[5][4] + ls.is_reliable_dx_[5][5] + ls.is_reliable_dy_[4][5] + ls.is_reliable_dy_[5][5],
            0);
  int unreliable = 0;
  for (int r = 0; r < 24; ++r)
    for (int c = 0; c < 31; ++c) unreliable += ls.is_reliable_dx_[r][c] == 0;
  for (int r = 0; r < 23; ++r)
    for (int c = 0; c < 32; ++c) unreliable += ls.is_reliable_dy_[r][c] == 0;
  EXPECT_EQ(unreliable, 4);
}

TEST(LogStatsInit, LevelBoundsAreExclusiveBelowAndInclusiveAbove) {
  // bit depth 14: lo = 16383 * 0.125 = 2047.875, hi = 16383 * 0.5 = 8191.5.
  Stats s;
  MakeGreyStats(s, 4000, 4);
  auto set_red = [&](int r, int c, uint32_t sum, uint16_t cnt) {
    s.cells[r * 32 + c].sum[R] = sum;
    s.cells[r * 32 + c].cnt[R] = cnt;
  };
  set_red(2, 2, 16383, 2);  // mean 8191.5 == hi: passes
  set_red(4, 2, 16384, 2);  // 8192 > hi: fails
  set_red(6, 2, 4095, 2);   // 2047.5 < lo: raised to lo, fails
  set_red(8, 2, 8191, 4);   // 2047.75 <= lo: fails
  set_red(10, 2, 8192, 4);  // 2048 > lo: passes
  // Green mean 4095.75 (sums added as integers first) against red 8191.5.
  StatsCell& g = s.cells[12 * 32 + 2];
  g.sum[Gr] = 8191;
  g.sum[Gb] = 8192;
  g.cnt[Gr] = g.cnt[Gb] = 2;
  g.sum[R] = 16383;
  g.cnt[R] = 2;

  LogStats ls;
  ASSERT_EQ(ls.Init(s, 0.125f, 0.5f, 0.6f), kOk);
  for (int r = 2; r <= 12; r += 2) EXPECT_EQ(EdgeRight(ls, r, 2), r == 2 || r >= 10) << r;
  EXPECT_EQ(ls.log_u_input[12][2], std::log(2.0f));
  EXPECT_EQ(ls.log_v_input[12][2], std::log(4000.0f / 4095.75f));
  EXPECT_EQ(ls.log_u_input[6][2], std::log(2047.875f / 4000.0f));
}

TEST(LogStatsInit, SaturationLimitCarriesTheFullScaleFactor) {
  Stats s;
  MakeGreyStats(s, 1000, 10);
  s.cells[3 * 32 + 3].sat_cnt[R] = 2;
  s.cells[3 * 32 + 7].sat_cnt[R] = 1;
  s.cells[3 * 32 + 11].sat_cnt[Gb] = 2;
  s.cells[3 * 32 + 15].sat_cnt[B] = 2;

  // 16383 * 0.6 * 10 = 98298: no count can exceed the limit.
  LogStats lenient;
  ASSERT_EQ(lenient.Init(s, 0.001f, 0.99f, 0.6f), kOk);
  for (int c = 0; c < 31; ++c) EXPECT_TRUE(EdgeRight(lenient, 3, c)) << c;

  // trunc(16383 * 0.00001 * 10) = 1: a count of 2 fails, 1 passes.
  LogStats strict;
  ASSERT_EQ(strict.Init(s, 0.001f, 0.99f, 0.00001f), kOk);
  // Red alone saturated at 3 still breaks the edge, one green at 11 the whole cell.
  for (int c : {2, 3, 7, 11, 15}) EXPECT_EQ(EdgeRight(strict, 3, c), c == 7) << c;
}

// A negative ratio makes the limit trunc(S x count) zero or negative: a
// cell passes only when its limit truncates to 0 and nothing is saturated.
// Limits beyond 2^23 in magnitude are integral floats already. The log
// values do not depend on the ratio.
TEST(LogStatsInit, NegativeSaturationRatioTruncatesTowardZero) {
  struct Case {
    float ratio;
    uint16_t sat;  // in every channel of the probed cell
    bool reliable;
  } const cases[] = {
      {-1e-9f, 0, true},     // 16383 * -1e-9 * 10 truncates to 0
      {-1e-9f, 1, false},    // 1 > 0
      {1e-9f, 1, false},     // the same limit from the positive side
      {-0.001f, 0, false},   // trunc(-163.83) = -163 < 0
      {-1000.0f, 0, false},  // -1.6e8: beyond 2^23
  };
  Stats s;
  MakeGreyStats(s, 1000, 10);
  LogStats reference;
  ASSERT_EQ(reference.Init(s, 0.001f, 0.99f, 0.6f), kOk);
  for (const Case& k : cases) {
    SCOPED_TRACE(std::to_string(k.ratio) + " sat " + std::to_string(k.sat));
    for (int i = 0; i < 24 * 32; ++i)
      for (int ch = 0; ch < 4; ++ch) s.cells[i].sat_cnt[ch] = k.sat;
    LogStats ls;
    ASSERT_EQ(ls.Init(s, 0.001f, 0.99f, k.ratio), kOk);
    for (int r = 0; r < 24; ++r)
      for (int c = 0; c < 31; ++c) ASSERT_EQ(EdgeRight(ls, r, c), k.reliable) << r << " " << c;
    EXPECT_EQ(ls.log_u_input.data, reference.log_u_input.data);
    EXPECT_EQ(ls.log_v_input.data, reference.log_v_input.data);
  }
}

TEST(LogStatsInit, EmptyCellIsReliableWithNanLogs) {
  Stats s;
  MakeGreyStats(s, 1000, 16);
  std::memset(&s.cells[9 * 32 + 9], 0, sizeof(StatsCell));
  LogStats ls;
  ASSERT_EQ(ls.Init(s, 0.001f, 0.99f, 0.6f), kOk);
  EXPECT_TRUE(std::isnan(ls.log_u_input[9][9]));
  EXPECT_TRUE(std::isnan(ls.log_v_input[9][9]));
  EXPECT_TRUE(EdgeRight(ls, 9, 8) && EdgeRight(ls, 9, 9) && ls.is_reliable_dy_[8][9]);
}

TEST(LogStatsInit, FillerColumnAndCrossCopiedFillerRow) {
  Stats s;
  MakeGreyStats(s, 1000, 16);
  SetCell(s.cells[23 * 32 + 3], 0, 0, 0, 16);   // breaks dy[22][3] but not dx[22][*]
  SetCell(s.cells[22 * 32 + 31], 0, 0, 0, 16);  // breaks dx[22][30]
  SetCell(s.cells[7 * 32 + 31], 0, 0, 0, 16);   // breaks dx[7][30]
  LogStats ls;
  ASSERT_EQ(ls.Init(s, 0.001f, 0.99f, 0.6f), kOk);
  for (int r = 0; r < 24; ++r) EXPECT_EQ(ls.is_reliable_dx_[r][31], ls.is_reliable_dx_[r][30]) << r;
  EXPECT_EQ(ls.is_reliable_dx_[7][31], 0);
  for (int c = 0; c < 32; ++c) EXPECT_EQ(ls.is_reliable_dy_[23][c], ls.is_reliable_dx_[22][c]) << c;
  EXPECT_EQ(ls.is_reliable_dy_[22][3], 0);
  EXPECT_EQ(ls.is_reliable_dy_[23][3], 1);
  EXPECT_EQ(ls.is_reliable_dy_[23][31], 0);
}

using SetStatsTest = mirvo_test::EngineFixture;

TEST_F(SetStatsTest, RejectedGridKeepsStateButIsRecorded) {
  Stats good;
  MakeGreyStats(good, 1000, 16);
  SetCell(good.cells[0], 2000, 1000, 500, 16);
  ASSERT_EQ(engine_.SetStats(good), kOk);
  const Matrix<float> u = engine_.log_stats_.log_u_input;
  uint8_t dx[24][32];
  std::memcpy(dx, engine_.log_stats_.is_reliable_dx_, sizeof dx);

  debug_.debug_enable = true;
  Stats swapped;
  swapped.ConfigureStatsSize(24, 32);
  for (int i = 0; i < 24 * 32; ++i) {
    StatsCell& c = swapped.cells[i];
    for (int ch = 0; ch < 4; ++ch) {
      c.sum[ch] = 1000u * (ch + 1) + i;
      c.cnt[ch] = static_cast<uint16_t>(10 * (ch + 1));
      c.sat_cnt[ch] = static_cast<uint16_t>(ch + 1 + i);
    }
  }
  EXPECT_EQ(engine_.SetStats(swapped), kInvalidInput);
  EXPECT_EQ(engine_.log_stats_.log_u_input.data, u.data);
  EXPECT_EQ(std::memcmp(dx, engine_.log_stats_.is_reliable_dx_, sizeof dx), 0);

  // The rejected grid is recorded as it came, its count grid the red count alone.
  const auto& uints = engine_.state_.uint_matrices();
  const auto& ushorts = engine_.state_.ushort_matrices();
  EXPECT_EQ(std::make_pair(uints.size(), ushorts.size()), std::make_pair(size_t{4}, size_t{5}));
  const Matrix<unsigned int>& sum_gb = uints.at("lin_stat_sum_Gb[24][32]");
  EXPECT_EQ(std::make_pair(sum_gb.rows, sum_gb.cols), std::make_pair(32, 24));
  EXPECT_EQ((std::vector<unsigned>{
                sum_gb.data[100], uints.at("lin_stat_sum_R[24][32]").data[767],
                uints.at("lin_stat_sum_B[24][32]").data[0], ushorts.at("lin_stat_sat_cnt_Gr[24][32]").data[5],
                ushorts.at("lin_stat_sat_cnt_B[24][32]").data[5], ushorts.at("lin_stat_count[24][32]").data[0]}),
            (std::vector<unsigned>{3100, 1767, 4000, 7, 9, 10}));
}

TEST_F(SetStatsTest, ThresholdsComeFromTheTuningRecord) {
  Stats s;
  MakeGreyStats(s, 1000, 16);
  params_.tuning.min_level_thd = 0.1f;  // lo = 1638.3: every cell too dark
  ASSERT_EQ(engine_.SetStats(s), kOk);
  EXPECT_EQ(engine_.log_stats_.is_reliable_dx_[0][0], 0);
  EXPECT_TRUE(engine_.state_.uint_matrices().empty());
}

// Frames call the mask directly; this exported step is reached only here.
TEST_F(SetStatsTest, RemoveUnreliableStatsZeroesGradientsOnly) {
  Stats s;
  MakeGreyStats(s, 1000, 16);
  SetCell(s.cells[4 * 32 + 6], 0, 0, 0, 16);
  ASSERT_EQ(engine_.SetStats(s), kOk);
  for (Matrix<float>* g : {&engine_.GradH_UX, &engine_.GradH_UY, &engine_.GradH_VX, &engine_.GradH_VY})
    g->data.assign(g->data.size(), 0.5f);
  engine_.WX.data.assign(engine_.WX.data.size(), 0.25f);
  engine_.RemoveUnreliableStats();
  EXPECT_EQ(engine_.GradH_UX[4][5] + engine_.GradH_VX[4][6] + engine_.GradH_UY[3][6] + engine_.GradH_VY[4][6], 0.0f);
  EXPECT_EQ(engine_.GradH_UX[4][7], 0.5f);
  EXPECT_EQ(engine_.WX[4][5], 0.25f);
  int zeros = 0;
  for (const Matrix<float>* g : {&engine_.GradH_UX, &engine_.GradH_UY, &engine_.GradH_VX, &engine_.GradH_VY})
    zeros += static_cast<int>(std::count(g->data.begin(), g->data.end(), 0.0f));
  EXPECT_EQ(zeros, 8);
}

}  // namespace
}  // namespace mirvo
