#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "engine/filters.h"
#include "engine/mirvo_hybrid.h"
#include "tests/support/engine_fixture.h"
#include "tests/support/test_support.h"

namespace mirvo {
namespace {

struct LatticeCase {
  Matrix<float> gx{31, 24};
  Matrix<float> gy{32, 23};
  Matrix<float> lx{16, 13, 99.0f};  // stale contents must be cleared
  Matrix<float> ly{17, 12, 99.0f};
  void Run() { internal::Matrix24x32ToMatrix13x17(gx, gy, lx, ly); }
};

// Every entry of m is zero except those listed.
void ExpectOnly(const Matrix<float>& m, const std::vector<std::tuple<int, int, float>>& nonzero) {
  Matrix<float> expected(m.cols, m.rows);
  for (const auto& [r, c, v] : nonzero) expected(r, c) = v;
  for (int r = 0; r < m.rows; ++r)
    for (int c = 0; c < m.cols; ++c) EXPECT_EQ(m(r, c), expected(r, c)) << "at [" << r << "][" << c << "]";
}

// A unit spike in one 24 x 32 difference grid against the only lattice
// entries it may reach.
TEST(LatticeConversion, SpikesLandWhereTheStencilsAndPaddingPutThem) {
  using Entries = std::vector<std::tuple<int, int, float>>;
  struct Case {
    const char* what;
    bool in_gy;
    int r, c;
    Entries lx, ly;
  } const cases[] = {
      // Interior row 3 (second of pair k=1); column 0 repeated by the padding.
      {"gx 3,0", false, 3, 0, {{1, 0, -0.375f}, {2, 0, 1.125f}}, {}},
      // Row 0, last column repeated; lattice row 0 is doubled.
      {"gx 0,30", false, 0, 30, {{0, 15, 2.25f}, {1, 15, -0.375f}}, {}},
      // Odd column 5 only enters the one-sided term: 3 x centre + below.
      {"gy 4,5", true, 4, 5, {}, {{2, 2, -0.375f}, {2, 3, 1.125f}}},
      // One row lower: weight 1 as the below sample of pair k=2.
      {"gy 5,5", true, 5, 5, {}, {{2, 2, -0.125f}, {2, 3, 0.375f}}},
      // One row higher: a symmetric [1 2 1] would see it from pair k=2; the
      // one-sided term sees it in pair k=1 as a below sample.
      {"gy 3,5", true, 3, 5, {}, {{1, 2, -0.125f}, {1, 3, 0.375f}}},
      // Even columns use the symmetric term.
      {"gy 4,6", true, 4, 6, {}, {{2, 3, 0.75f}, {2, 4, -0.25f}}},
      // gy row 0 appears twice in the padded copy; lattice column 0 is doubled.
      {"gy 0,0", true, 0, 0, {}, {{0, 0, 2.25f}, {0, 1, -0.375f}}},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.what);
    LatticeCase t;
    (k.in_gy ? t.gy : t.gx)(k.r, k.c) = 1.0f;
    t.Run();
    ExpectOnly(t.lx, k.lx);
    ExpectOnly(t.ly, k.ly);
  }
}

struct Lattice {
  Matrix<float> lx{16, 13};
  Matrix<float> ly{17, 12};
  Matrix<float> out;
};

TEST(Integrator, ConsistentFieldIsReproducedFromAnyStartNode) {
  Lattice l;
  l.lx.data.assign(l.lx.data.size(), 1.0f);
  l.ly.data.assign(l.ly.data.size(), 2.0f);
  for (int r0 : {0, 6, 12}) {
    for (int c0 : {0, 8, 16}) {
      internal::Integrator(c0, r0, l.lx, l.ly, l.out);
      ASSERT_EQ(l.out.cols, 17);
      ASSERT_EQ(l.out.rows, 13);
      for (int r = 0; r < 13; ++r)
        for (int c = 0; c < 17; ++c)
          ASSERT_EQ(l.out(r, c), static_cast<float>((c - c0) + 2 * (r - r0)))
              << r0 << "," << c0 << " @" << r << "," << c;
    }
  }
}

TEST(Integrator, InconsistentFieldAveragesBothPredictions) {
  Lattice l;
  l.out = Matrix<float>(17, 13, 7.0f);  // stale contents must be cleared
  l.lx(0, 0) = 4.0f;
  internal::Integrator(0, 0, l.lx, l.ly, l.out);
  for (int c = 1; c < 17; ++c) EXPECT_EQ(l.out(0, c), 4.0f);
  for (int r = 0; r < 13; ++r) EXPECT_EQ(l.out(r, 0), 0.0f);
  EXPECT_EQ(l.out(1, 1), 2.0f);  // (4 + 0) / 2
  EXPECT_EQ(l.out(1, 2), 3.0f);  // (4 + 2) / 2
  EXPECT_EQ(l.out(1, 3), 3.5f);
  EXPECT_EQ(l.out(2, 1), 1.0f);  // (2 + 0) / 2
  EXPECT_EQ(l.out(2, 2), 2.0f);  // (3 + 1) / 2
}

// The engine's 13 x 17 grid, and a wider one than the filter's scratch on the
// stack holds.
TEST(GaussFilter, SmoothsInteriorFullyBordersOneWayAndKeepsCorners) {
  for (const int cols : {17, 70}) {
    SCOPED_TRACE(cols);
    const int last = cols - 1;
    Matrix<float> m(cols, 13);
    m(5, 5) = 16.0f;      // interior
    m(0, 10) = 16.0f;     // top border
    m(12, last) = 16.0f;  // corner
    Filters::Gauss_3x3(m);
    ExpectOnly(m, {
                      {4, 4, 1.0f},      {4, 5, 2.0f},         {4, 6, 1.0f},     {5, 4, 2.0f},         {5, 5, 4.0f},
                      {5, 6, 2.0f},      {6, 4, 1.0f},         {6, 5, 2.0f},     {6, 6, 1.0f},         {0, 9, 4.0f},
                      {0, 10, 8.0f},     {0, 11, 4.0f},        {1, 9, 1.0f},     {1, 10, 2.0f},        {1, 11, 1.0f},
                      {12, last, 16.0f}, {12, last - 1, 4.0f}, {11, last, 4.0f}, {11, last - 1, 1.0f},
                  });
  }
}

class IntegrationStage : public mirvo_test::EngineFixture {
 protected:
  IntegrationStage() {
    params_.tuning.enable_temporal_filter = 0;
    engine_.prj_u_ = 0.0f;
    engine_.prj_v_ = 0.0f;
  }

  // A step of 1 between lattice columns 7 and 8 in u: a surface that the
  // smoothing visibly changes.
  void SetStepField() {
    for (int r = 0; r < 13; ++r) engine_.GradL_UX(r, 7) = 1.0f;
    for (int c = 0; c < 17; ++c) engine_.GradL_VY(5, c) = -2.0f;
  }
};

TEST_F(IntegrationStage, OnlyFilterSwitchOneSmooths) {
  SetStepField();
  engine_.IntegratorSum();
  const Matrix<float> raw_u = engine_.log_tint_u, raw_v = engine_.log_tint_v;
  Matrix<float> smooth_u = raw_u, smooth_v = raw_v;
  Filters::Gauss_3x3(smooth_u);
  Filters::Gauss_3x3(smooth_v);
  ASSERT_NE(smooth_u.data, raw_u.data);
  ASSERT_NE(smooth_v.data, raw_v.data);
  for (int mode : {0, 2, -1, 1}) {
    params_.tuning.filter_input_stats = mode;
    engine_.IntegrateGradientResidue();
    EXPECT_EQ(engine_.log_tint_u.data, (mode == 1 ? smooth_u : raw_u).data) << mode;
    EXPECT_EQ(engine_.log_tint_v.data, (mode == 1 ? smooth_v : raw_v).data) << mode;
  }
}

TEST_F(IntegrationStage, TemporalBlendFollowsGainAndCarriesState) {
  SetStepField();
  engine_.IntegratorSum();
  const Matrix<float> raw_u = engine_.log_tint_u, raw_v = engine_.log_tint_v;
  params_.tuning.enable_temporal_filter = 5;
  engine_.temporal_update_gain_ = 1.0f;
  engine_.IntegrateGradientResidue();
  EXPECT_EQ(engine_.log_tint_u.data, raw_u.data);
  EXPECT_EQ(engine_.temporal_tint_u_.data, raw_u.data);
  EXPECT_EQ(engine_.temporal_tint_v_.data, raw_v.data);

  // Gain 0 holds the previous surface, whatever this frame integrates to.
  engine_.GradL_UX.data.assign(engine_.GradL_UX.data.size(), 0.0f);
  engine_.GradL_VY.data.assign(engine_.GradL_VY.data.size(), 0.0f);
  engine_.temporal_update_gain_ = 0.0f;
  engine_.IntegrateGradientResidue();
  EXPECT_EQ(engine_.log_tint_u.data, raw_u.data);
  EXPECT_EQ(engine_.log_tint_v.data, raw_v.data);

  // Half way towards a zero surface; the profile add-back is not blended.
  params_.learned_tint_profile.BUL[0][0] = 1.0f;
  engine_.prj_u_ = 4.0f;
  engine_.temporal_update_gain_ = 0.5f;
  engine_.IntegrateGradientResidue();
  for (int i = 0; i < 221; ++i) {
    ASSERT_EQ(engine_.temporal_tint_u_.data[i], raw_u.data[i] * 0.5f);
    ASSERT_EQ(engine_.log_tint_u.data[i], raw_u.data[i] * 0.5f + (i == 0 ? 4.0f : 0.0f));
  }

  // Switch off: the carried surfaces are neither read nor written.
  params_.tuning.enable_temporal_filter = 0;
  const Matrix<float> carried = engine_.temporal_tint_u_;
  engine_.IntegrateGradientResidue();
  EXPECT_EQ(engine_.temporal_tint_u_.data, carried.data);
  EXPECT_EQ(engine_.log_tint_u(3, 3), 0.0f);
}

TEST_F(IntegrationStage, MissingConfigurationIsLoggedAndChangesNothing) {
  SetStepField();
  engine_.log_tint_u.data.assign(221, 3.0f);
  engine_.pconfig_params_ = nullptr;
  mirvo_test::LogCapture log;
  engine_.IntegrateGradientResidue();
  EXPECT_EQ(mirvo_test::LogText(log), "E/MirvoCore: Mirvo is not configured. pconfig_params_ is nullptr\n");
  for (float v : engine_.log_tint_u.data) ASSERT_EQ(v, 3.0f);
}

}  // namespace
}  // namespace mirvo
