#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "engine/mirvo_hybrid.h"
#include "tests/support/engine_fixture.h"
#include "tests/support/test_support.h"

namespace mirvo {
namespace {

class TintFit : public mirvo_test::EngineFixture {
 protected:
  TintFit() {
    params_.tuning.enable_temporal_filter = 0;
    params_.tuning.prj_delta_thd = 1.0f;
    params_.tuning.tint_update_gain = 1.0f;
  }

  // Horizontal edges first, then vertical ones, as in the flat edge vectors.
  static float& Edge(Matrix<float>& x, Matrix<float>& y, int i) {
    return i < kNumHorizontalEdges ? x.data[i] : y.data[i - kNumHorizontalEdges];
  }
  float& GradU(int i) { return Edge(engine_.GradH_UX, engine_.GradH_UY, i); }
  float& GradV(int i) { return Edge(engine_.GradH_VX, engine_.GradH_VY, i); }
  float& Weight(int i) { return Edge(engine_.WX, engine_.WY, i); }

  void SetWeights(float w) {
    for (int i = 0; i < kNumEdges; ++i) Weight(i) = w;
  }
};

TEST_F(TintFit, WeightsEnterProjectionAndResidueInEdgeOrder) {
  LearnedTintProfile& p = params_.learned_tint_profile;
  // Only the first horizontal and the first vertical edge carry the profile.
  p.BgUHXY[0] = 2.0f;
  p.BgUHXY[kNumHorizontalEdges] = 1.0f;
  engine_.WX(0, 0) = 1.0f;
  engine_.WY(0, 0) = 0.5f;
  engine_.GradH_UX(0, 0) = 4.0f;
  engine_.GradH_UY(0, 0) = 1.0f;
  // Elsewhere: zero profile, so the residue is the weighted gradient.
  engine_.WX(3, 4) = 0.5f;
  engine_.GradH_UX(3, 4) = 3.0f;
  engine_.WY(22, 31) = 0.25f;
  engine_.GradH_VY(22, 31) = -2.0f;
  engine_.GradH_VX(1, 1) = 9.0f;  // weight 0: dropped

  engine_.FitLearnedTintProfile();

  // (2*4*1 + 1*1*0.5) / (2*2*1 + 1*1*0.5 + 1e-7); the epsilon is below the
  // rounding step at 4.5.
  const float u = 8.5f / 4.5f;
  EXPECT_EQ(engine_.prj_u_, u);
  EXPECT_EQ(engine_.prj_v_, 0.0f);
  EXPECT_EQ(engine_.GradH_UX(0, 0), 4.0f - 2.0f * u);
  EXPECT_EQ(engine_.GradH_UY(0, 0), (1.0f - u) * 0.5f);
  EXPECT_EQ(engine_.GradH_UX(3, 4), 1.5f);
  EXPECT_EQ(engine_.GradH_VY(22, 31), -0.5f);
  EXPECT_EQ(engine_.GradH_VX(1, 1), 0.0f);
  EXPECT_EQ(engine_.weight_vec_[kNumHorizontalEdges], 0.5f);
  EXPECT_EQ(engine_.weight_vec_[kNumEdges - 1], 0.25f);
}

TEST_F(TintFit, ProjectionLineIsLoggedOnlyWithDiagnostics) {
  params_.learned_tint_profile.BgUHXY[10] = 1.0f;
  params_.learned_tint_profile.BgVHXY[1000] = 1.0f;
  SetWeights(1.0f);
  for (const bool debug : {false, true}) {
    GradU(10) = 0.5f;
    GradV(1000) = -0.25f;
    debug_.debug_enable = debug;
    mirvo_test::LogCapture log;
    engine_.FitLearnedTintProfile();
    EXPECT_EQ(mirvo_test::LogText(log),
              debug ? "D/MirvoCore: PrjU=+0.500000; PrjV=-0.250000; temporal_update_gain_=1.000000\n" : "");
  }
}

TEST_F(TintFit, TemporalGainRisesWithTheJointJump) {
  struct Case {
    float u, v, gain;
  };
  // prj_delta_thd 1: slow (0.2) up to a joint jump of 1, full speed from 2.
  const Case cases[] = {{0.25f, -0.25f, 0.2f}, {1.0f, 0.0f, 0.2f}, {-0.75f, 0.75f, 0.6f},
                        {1.0f, 1.0f, 1.0f},    {3.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 0.2f}};
  for (const Case& c : cases) {
    engine_.prev_prj_u_ = 0.5f;
    engine_.prev_prj_v_ = -0.5f;
    engine_.TemporalFilter(0.5f + c.u, -0.5f + c.v);
    const float g = engine_.temporal_update_gain_;
    EXPECT_FLOAT_EQ(g, c.gain) << c.u << " " << c.v;
    EXPECT_EQ(engine_.prj_u_, 0.5f + c.u * g);
    EXPECT_EQ(engine_.prj_v_, -0.5f + c.v * g);
    EXPECT_EQ(engine_.prev_prj_u_, engine_.prj_u_);
    EXPECT_EQ(engine_.prev_prj_v_, engine_.prj_v_);
  }
  EXPECT_EQ(engine_.temporal_update_gain_, 1.0f - 0.8f);

  params_.tuning.tint_update_gain = 0.5f;
  engine_.prev_prj_u_ = 0.0f;
  engine_.prev_prj_v_ = 0.0f;
  engine_.TemporalFilter(4.0f, 0.0f);
  EXPECT_EQ(engine_.temporal_update_gain_, 0.5f);
  EXPECT_EQ(engine_.prj_u_, 2.0f);

  // The fit runs the filter when switched on: a zero profile projects to 0,
  // a joint jump of 1 from the previous frame.
  params_.tuning.enable_temporal_filter = 1;
  params_.tuning.tint_update_gain = 1.0f;
  engine_.prev_prj_u_ = 0.5f;
  engine_.prev_prj_v_ = 0.5f;
  engine_.FitLearnedTintProfile();
  EXPECT_FLOAT_EQ(engine_.temporal_update_gain_, 0.2f);
  EXPECT_EQ(engine_.prj_u_, 0.5f - 0.5f * engine_.temporal_update_gain_);

  // A zero threshold and no jump: 0 / 0 goes through.
  params_.tuning.prj_delta_thd = 0.0f;
  engine_.prev_prj_u_ = engine_.prev_prj_v_ = 0.0f;
  engine_.TemporalFilter(0.0f, 0.0f);
  EXPECT_TRUE(std::isnan(engine_.temporal_update_gain_));
  EXPECT_TRUE(std::isnan(engine_.prj_u_));
}

TEST_F(TintFit, LogTintBecomesLinearGainOfMeanOne) {
  engine_.LogToLinear();  // zero log tint, debugging off: unit gains, nothing recorded
  for (int i = 0; i < 221; ++i) {
    ASSERT_EQ(engine_.log_tint_u.data[i], 1.0f);
    ASSERT_EQ(engine_.log_tint_v.data[i], 1.0f);
  }
  EXPECT_TRUE(engine_.state_.scalars().empty());

  // With diagnostics, a zero tint records gains of exactly 1.
  debug_.debug_enable = true;
  engine_.log_tint_u.data.assign(221, 0.0f);
  engine_.log_tint_v.data.assign(221, 0.0f);
  engine_.LogToLinear();
  EXPECT_EQ(engine_.state_.scalars().at("red_gain"), 1.0f);
  EXPECT_EQ(engine_.state_.scalars().at("blue_gain"), 1.0f);

  // A positive log tint lowers the gain; the mean is 1 again.
  engine_.log_tint_u.data.assign(221, 0.0f);
  engine_.log_tint_v.data.assign(221, 0.0f);
  const float ln2 = std::log(2.0f);
  engine_.log_tint_u(0, 0) = ln2;
  engine_.log_tint_v(12, 16) = -ln2;
  engine_.LogToLinear();
  EXPECT_NEAR(engine_.log_tint_u(0, 0) / engine_.log_tint_u(5, 5), 0.5f, 1e-6f);
  EXPECT_NEAR(engine_.log_tint_v(12, 16) / engine_.log_tint_v(5, 5), 2.0f, 1e-6f);
  float su = 0.0f;
  for (float x : engine_.log_tint_u.data) su += x;
  EXPECT_NEAR(su, 221.0f, 1e-3f);
  ASSERT_EQ(engine_.state_.scalars().size(), 2u);
  EXPECT_NEAR(engine_.state_.scalars().at("red_gain"), 220.5f / 221.0f, 1e-6f);
  EXPECT_NEAR(engine_.state_.scalars().at("blue_gain"), 222.0f / 221.0f, 1e-6f);
}

TEST_F(TintFit, VisualizationGainAppliesOnlyWithDiagnostics) {
  auto run = [&](bool debug, float gain, float scale) {
    debug_.debug_enable = debug;
    debug_.tint_visualization_gain = gain;
    for (int r = 0; r < 13; ++r) {
      for (int c = 0; c < 17; ++c) {
        engine_.log_tint_u(r, c) = scale * 0.01f * static_cast<float>(c - r);
        engine_.log_tint_v(r, c) = scale * 0.02f * static_cast<float>(r);
      }
    }
    engine_.LogToLinear();
    return std::make_pair(engine_.log_tint_u.data, engine_.log_tint_v.data);
  };
  const auto plain = run(false, 1.0f, 1.0f);
  const auto doubled = run(false, 1.0f, 2.0f);
  ASSERT_NE(plain.first, doubled.first);
  EXPECT_EQ(run(false, 2.0f, 1.0f), plain);
  EXPECT_EQ(run(true, 1.0f, 1.0f), plain);
  EXPECT_EQ(run(true, 2.0f, 1.0f), doubled);
}

}  // namespace
}  // namespace mirvo
