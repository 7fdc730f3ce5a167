#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "core/core.h"
#include "tests/support/engine_scene.h"

namespace mirvo {
namespace {

// A grey scene under a base table that tints it: R/G grows by exp(kU) per
// table column, B/G falls by exp(kV) per table row, on top of a vignetting
// that is the same for every channel. Statistics cells are half a table node
// apart, so the per-cell steps are kU / 2 = 0.008 and kV / 2 = 0.006: inside
// the full-weight part of the ramp (2 x 0.04) and below limit_thd (0.01), so
// the engine should recover the whole tint and take it out again.
constexpr float kU = 0.016f;
constexpr float kV = 0.012f;

float Vignetting(int r, int c) {
  const float x = static_cast<float>(c - 8) / 8.0f;
  const float y = static_cast<float>(r - 6) / 6.0f;
  return 1.0f + 0.6f * (x * x + y * y);
}

class EndToEndTest : public ::testing::Test {
 protected:
  EndToEndTest() {
    mirvo_test::MakePlainParams(params_);
    params_.tuning.enable_temporal_filter = 0;  // one frame gives the full answer
    core_.LoadMirvoParams(params_);
    for (int r = 0; r < 13; ++r) {
      for (int c = 0; c < 17; ++c) {
        const float g = Vignetting(r, c);
        base_.gr_gain[r][c] = g;
        base_.gb_gain[r][c] = g;
        base_.r_gain[r][c] = g * std::exp(kU * static_cast<float>(c - 8));
        base_.b_gain[r][c] = g * std::exp(-kV * static_cast<float>(r - 6));
      }
    }
    mirvo_test::MakeGreyStats(stats_, 2000, 64);
  }

  void RunFrame() {
    ASSERT_TRUE(core_.SetStats(stats_));
    ASSERT_TRUE(core_.SetInputLscTable(base_));
    ASSERT_TRUE(core_.Execute());
    ASSERT_TRUE(core_.GetOutputLscTable(&out_));
  }

  MirvoParams params_;
  Core core_;
  LscTable base_;
  LscTable out_;
  Stats stats_;
};

TEST_F(EndToEndTest, TintOfTheBaseTableIsTakenOutAndTheGainsLifted) {
  RunFrame();
  // Before: R/G spans exp(16 kU) = 1.29 across the table, B/G exp(12 kV) = 1.15;
  // after, both are flat.
  const float rg0 = out_.r_gain[0][0] / out_.gr_gain[0][0], bg0 = out_.b_gain[0][0] / out_.gb_gain[0][0];
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      EXPECT_NEAR(out_.r_gain[r][c] / out_.gr_gain[r][c] / rg0, 1.0f, 1e-5f) << r << "," << c;
      EXPECT_NEAR(out_.b_gain[r][c] / out_.gb_gain[r][c] / bg0, 1.0f, 1e-5f) << r << "," << c;
    }
  }

  // A positive log tint lowers the gain: where the base table raised red, the
  // output lowers it by the same factor, relative to the centre column.
  for (int r = 0; r < 13; ++r) {
    const float centre = out_.r_gain[r][8] / base_.r_gain[r][8];
    for (int c = 0; c < 17; ++c) {
      const float factor = (out_.r_gain[r][c] / base_.r_gain[r][c]) / centre;
      EXPECT_NEAR(factor, std::exp(-kU * static_cast<float>(c - 8)), 5e-6f) << r << "," << c;
    }
  }
  for (int c = 0; c < 17; ++c) {
    const float centre = out_.b_gain[6][c] / base_.b_gain[6][c];
    for (int r = 0; r < 13; ++r) {
      const float factor = (out_.b_gain[r][c] / base_.b_gain[r][c]) / centre;
      EXPECT_NEAR(factor, std::exp(kV * static_cast<float>(r - 6)), 5e-6f) << r << "," << c;
    }
  }

  // The tint has mean 1, so red somewhere dips below the vignetting minimum
  // of 1 and the whole table is lifted by that node.
  const float* all = &out_.r_gain[0][0];
  EXPECT_EQ(*std::min_element(all, all + 884), 1.0f);
  const float lift = out_.gr_gain[0][0] / base_.gr_gain[0][0];
  EXPECT_GT(lift, 1.0f);
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      EXPECT_EQ(out_.gr_gain[r][c], out_.gb_gain[r][c]);
      EXPECT_NEAR(out_.gr_gain[r][c] / base_.gr_gain[r][c], lift, 1e-6f);
    }
  }
}

}  // namespace
}  // namespace mirvo
