#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "engine/gradient_steps.h"
#include "engine/mirvo_hybrid.h"
#include "tests/support/engine_fixture.h"

namespace mirvo {
namespace {

class GradientTest : public mirvo_test::EngineFixture {
 protected:
  GradientTest() { params_.tuning.smooth_thd = 0.25f; }  // exact in binary, so the ramp values are exact

  // u and v planes that are 0 before column (or row) 16 and step by du, dv there.
  void Step(bool vertical, float du, float dv) {
    for (int r = 0; r < 24; ++r) {
      for (int c = 0; c < 32; ++c) {
        const bool past = (vertical ? r : c) >= 16;
        engine_.log_stats_.log_u_input[r][c] = past ? du : 0.0f;
        engine_.log_stats_.log_v_input[r][c] = past ? dv : 0.0f;
      }
    }
  }
};

// Joint step s against smooth_thd 0.25: weight and gradient factor.
TEST_F(GradientTest, WeightRampOverTheJointStep) {
  struct Case {
    float du, dv;  // step across the edges before column 16
    float weight;  // WX at those edges
    float ux, vx;  // gradients after weighting
  } cases[] = {
      {0.5f, 0.0f, 1.0f, 0.5f, 0.0f},            // 2x: full weight
      {0.5f, 0.125f, 0.5f, 0.25f, 0.0625f},      // 2.5x: half
      {0.5f, 0.25f, 0.0005f, 0.0f, 0.0f},        // 3x: floor, gradients gone
      {0.0625f, -1.0f, 0.0005f, 0.0f, -0.0f},    // a large v step removes u too
      {-0.375f, 0.25f, 0.5f, -0.1875f, 0.125f},  // magnitudes, not signs, add up
  };
  // The same step across vertical edges (between rows 15 and 16) must give the same.
  for (const Case& k : cases) {
    for (bool vertical : {false, true}) {
      Step(vertical, k.du, k.dv);
      engine_.EstimateGradient();
      SCOPED_TRACE(testing::Message() << "du=" << k.du << " dv=" << k.dv << (vertical ? " vertical" : ""));
      const Matrix<float>& w = vertical ? engine_.WY : engine_.WX;
      const Matrix<float>& u = vertical ? engine_.GradH_UY : engine_.GradH_UX;
      const Matrix<float>& v = vertical ? engine_.GradH_VY : engine_.GradH_VX;
      for (int i = 0; i < (vertical ? 32 : 24); ++i) {
        auto at = [&](const Matrix<float>& m, int across) { return vertical ? m(across, i) : m(i, across); };
        ASSERT_EQ(at(w, 15), k.weight);
        ASSERT_EQ(at(u, 15), k.ux);
        ASSERT_EQ(at(v, 15), k.vx);
        ASSERT_EQ(at(w, 14), 1.0f);
        ASSERT_EQ(at(u, 16), 0.0f);
      }
      for (float x : (vertical ? engine_.WX : engine_.WY).data) ASSERT_EQ(x, 1.0f);
    }
  }
}

// With smooth_thd 0 the ramp is NaN on flat edges and -inf on steps; the
// minimum and maximum fold both into range (a NaN operand yields the other).
TEST_F(GradientTest, ZeroSmoothThresholdFoldsNonFiniteRampIntoRange) {
  params_.tuning.smooth_thd = 0.0f;
  Step(false, 0.01f, 0.0f);
  engine_.EstimateGradient();
  EXPECT_EQ(engine_.WX[3][14], 1.0f);
  EXPECT_EQ(engine_.GradH_UX[3][14], 0.0f);
  EXPECT_EQ(engine_.WX[3][15], 0.0005f);
  EXPECT_EQ(engine_.GradH_UX[3][15], 0.0f);
  EXPECT_EQ(engine_.WY[3][15], 1.0f);
}

TEST(GradientSteps, MaskReadsOnlyRealEdgesAndLeavesWeights) {
  LogStats ls;
  std::memset(ls.is_reliable_dx_, 1, sizeof ls.is_reliable_dx_);
  std::memset(ls.is_reliable_dy_, 1, sizeof ls.is_reliable_dy_);
  ls.is_reliable_dx_[3][4] = 0;
  ls.is_reliable_dy_[22][31] = 0;
  // Filler entries: if they were read they would hit [1][0] of the 31-wide
  // grids and spill past the 23-row ones.
  ls.is_reliable_dx_[0][31] = 0;
  ls.is_reliable_dy_[23][0] = 0;
  Matrix<float> ux(31, 24, 0.5f), uy(32, 23, 0.5f), vx(31, 24, -0.5f), vy(32, 23, -0.5f);
  internal::MaskUnreliableGradients(ls, ux, uy, vx, vy);
  EXPECT_EQ(ux[3][4], 0.0f);
  EXPECT_EQ(vx[3][4], 0.0f);
  EXPECT_EQ(uy[22][31], 0.0f);
  EXPECT_EQ(vy[22][31], 0.0f);
  EXPECT_EQ(ux[1][0], 0.5f);
  int zeros = 0;
  for (const Matrix<float>* g : {&ux, &uy, &vx, &vy})
    for (float x : g->data) zeros += x == 0.0f;
  EXPECT_EQ(zeros, 4);
}

TEST(GradientSteps, ClampKeepsTheBoundsAndNan) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  Matrix<float> ux(31, 24, 0.0f), uy(32, 23, 0.0f), vx(31, 24, 0.0f), vy(32, 23, 0.0f);
  const float in[] = {0.02f, -0.02f, 0.01f, -0.01f, 0.005f, nan, inf, -inf};
  const float out[] = {0.01f, -0.01f, 0.01f, -0.01f, 0.005f, nan, 0.01f, -0.01f};
  for (int i = 0; i < 8; ++i) ux.data[i] = vy.data[735 - i] = in[i];
  internal::ClampGradients(0.01f, ux, uy, vx, vy);
  for (int i = 0; i < 8; ++i) {
    EXPECT_TRUE(ux.data[i] == out[i] || (std::isnan(out[i]) && std::isnan(ux.data[i]))) << i;
    EXPECT_TRUE(vy.data[735 - i] == out[i] || (std::isnan(out[i]) && std::isnan(vy.data[735 - i]))) << i;
  }
}

}  // namespace
}  // namespace mirvo
