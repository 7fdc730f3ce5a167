// The workstation calibration tools on inputs whose answers are known exactly:
// block measurement, smooth fit, gains and tint profile learning.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "core/crop_info.h"
#include "resample/learned_tint_profile.h"
#include "workbench/calibration/calibration.h"
#include "workbench/calibration/profile_learning.h"

namespace mirvo::workbench {
namespace {

struct Planes {
  int w, h;
  std::vector<uint16_t> p[4];
  Planes(int width, int height, const uint16_t (&value)[4]) : w(width), h(height) {
    for (int c = 0; c < 4; ++c) p[c].assign(static_cast<size_t>(w) * h, value[c]);
  }
  const uint16_t* const* data() {
    ptr[0] = p[0].data(), ptr[1] = p[1].data(), ptr[2] = p[2].data(), ptr[3] = p[3].data();
    return ptr;
  }
  const uint16_t* ptr[4];
};

TEST(FlatFieldMeasure, LevelsAreBlackFreeFourteenBitMediansOfTiles) {
  // 10-bit samples 100, 200, 300, 400 in R, Gr, Gb, B; black levels paired
  // with the planes as the statistics builder pairs them: R index 3, B index 0.
  Planes planes(256, 192, {100, 200, 300, 400});
  planes.p[1][5 * 256 + 7] = 1023;  // a hot pixel: clipped, but no block moves
  const uint16_t black[4] = {40, 10, 20, 30};
  FlatFieldBlocks blocks;
  ASSERT_EQ(MeasureFlatField(planes.data(), 256, 192, 10, black, &blocks), kOk);
  const float want[4] = {100 * 16 - 30, 200 * 16 - 10, 300 * 16 - 20, 400 * 16 - 40};
  for (int ch = 0; ch < 4; ++ch)
    for (int i = 0; i < kFlatBlocks; ++i) ASSERT_EQ(blocks.level[ch][i], want[ch]) << ch << " " << i;
  EXPECT_EQ(blocks.clipped, 1u);
  EXPECT_EQ(blocks.samples, 4u * 256 * 192);
  // Block centres: 4 plane samples wide, so block j spans pixels 8j..8j+8 of a 512-pixel frame.
  EXPECT_FLOAT_EQ(blocks.x[0], 4.0f * 16 / 512);
  EXPECT_FLOAT_EQ(blocks.x[63], 508.0f * 16 / 512);
  EXPECT_FLOAT_EQ(blocks.y[47], 380.0f * 12 / 384);
  // Fewer samples than blocks: refused.
  EXPECT_EQ(MeasureFlatField(planes.data(), 63, 192, 10, black, &blocks), kInvalidInput);
}

// A smooth vignetting with a dust spot on one block: the fit follows the
// surface at every node, border nodes included, and leaves the spot out.
TEST(FlatFieldFit, RecoversASmoothSurfaceAndLeavesDustOut) {
  auto surface = [](double x, double y) { return -0.004 * ((x - 8) * (x - 8) + 1.5 * (y - 6) * (y - 6)) + 0.01 * x; };
  FlatFieldBlocks blocks;
  for (int j = 0; j < kFlatBlockCols; ++j) blocks.x[j] = (j + 0.5f) * 16 / kFlatBlockCols;
  for (int i = 0; i < kFlatBlockRows; ++i) blocks.y[i] = (i + 0.5f) * 12 / kFlatBlockRows;
  const double tint[4] = {-0.5, 0.0, 0.01, -0.3};
  for (int ch = 0; ch < 4; ++ch)
    for (int i = 0; i < kFlatBlockRows; ++i)
      for (int j = 0; j < kFlatBlockCols; ++j)
        blocks.level[ch][i * kFlatBlockCols + j] =
            static_cast<float>(8000.0 * std::exp(surface(blocks.x[j], blocks.y[i]) + tint[ch] * blocks.x[j] / 16));
  blocks.level[1][20 * kFlatBlockCols + 30] *= 0.7f;  // dust
  blocks.level[2][5 * kFlatBlockCols + 7] = 0.0f;     // no light measured: left out of the fit
  blocks.samples = 1000;
  blocks.clipped = 0;
  FlatFieldFit fit;
  ASSERT_TRUE(FitFlatField(&blocks, 1, &fit));
  EXPECT_EQ(JudgeFlatField(fit).problem, FlatFieldProblem::kNone);
  EXPECT_GT(fit.outlier_share, 0.0);
  for (int ch = 0; ch < 4; ++ch) {
    double mean = 0.0;
    for (int r = 0; r < 13; ++r)
      for (int c = 0; c < 17; ++c) mean += (fit.log_level[ch][r][c] - surface(c, r) - tint[ch] * c / 16.0) / 221;
    for (int r = 0; r < 13; ++r)
      for (int c = 0; c < 17; ++c)
        EXPECT_NEAR(fit.log_level[ch][r][c] - mean, surface(c, r) + tint[ch] * c / 16.0, 2e-3)
            << ch << " " << r << "," << c;
  }
  // The table flattens it: each plane the inverse shading with a smallest gain of 1;
  // with luminance strength 0 the greens stay flat and R, B keep the colour correction.
  for (float strength : {1.0f, 0.0f}) {
    const LscTable t = GainsFromFit(fit, strength);
    EXPECT_FLOAT_EQ(*std::min_element(&t.gr_gain[0][0], &t.gr_gain[0][0] + 221), 1.0f);
    const double ratio_centre = std::log(t.r_gain[6][8] / t.gr_gain[6][8]);
    const double ratio_edge = std::log(t.r_gain[6][0] / t.gr_gain[6][0]);
    EXPECT_NEAR(ratio_centre - ratio_edge, 0.5 * 8 / 16 + 0.01 * 8 / 32, 3e-3) << strength;
    if (strength == 0.0f) {
      EXPECT_FLOAT_EQ(t.gr_gain[0][0], 1.0f);
    }
  }
  // A channel without any light has no surface to fit.
  std::fill(std::begin(blocks.level[3]), std::end(blocks.level[3]), 0.0f);
  EXPECT_FALSE(FitFlatField(&blocks, 1, &fit));
}

// Each fit after the one before it gains a worse problem: the verdict names
// the first in the order clipped, too dark, off a smooth surface (the 90th
// percentile residual before the share of outliers), with its figure.
TEST(FlatFieldJudge, NamesTheFirstProblemWithItsFigure) {
  FlatFieldFit fit{};
  fit.median_green = 8000;
  struct Step {
    double FlatFieldFit::*field;
    double value;
    FlatFieldProblem problem;
    double limit;
  };
  const Step steps[] = {
      {&FlatFieldFit::outlier_share, 0.05, FlatFieldProblem::kNone, 0.0},
      {&FlatFieldFit::outlier_share, 0.06, FlatFieldProblem::kNotFlat, kMaxOutlierShare},
      {&FlatFieldFit::residual_p90, 0.05, FlatFieldProblem::kNotFlat, kMaxFlatResidual},
      {&FlatFieldFit::clipped_share, 0.01, FlatFieldProblem::kClipped, -1.0},
  };
  for (const Step& s : steps) {
    fit.*s.field = s.value;
    const FlatFieldVerdict v = JudgeFlatField(fit);
    SCOPED_TRACE(s.value);
    EXPECT_EQ(v.problem, s.problem);
    if (s.limit > 0.0) {
      EXPECT_EQ(v.value, s.value);
      EXPECT_EQ(v.limit, s.limit);
    }
    if (s.field == &FlatFieldFit::residual_p90) {
      fit.median_green = 100;
      const FlatFieldVerdict dark = JudgeFlatField(fit);
      EXPECT_EQ(dark.problem, FlatFieldProblem::kTooDark);
      EXPECT_DOUBLE_EQ(dark.value, 100 / 16383.0);
    }
  }
}

LscTable Uniform(float r, float g, float b) {
  LscTable t;
  for (int i = 0; i < 221; ++i) {
    (&t.r_gain[0][0])[i] = r;
    (&t.gr_gain[0][0])[i] = (&t.gb_gain[0][0])[i] = g;
    (&t.b_gain[0][0])[i] = b;
  }
  return t;
}

// Two tables: the profile is the tint the second light keeps under the
// first table, mean removed, projecting to exactly 1.
TEST(ProfileLearning, TwoTablesGiveTheirDifferenceAndTheCropsGradients) {
  LscTable tables[2] = {Uniform(2.0f, 1.0f, 1.5f), Uniform(2.0f, 1.0f, 1.5f)};
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      tables[1].r_gain[r][c] = 2.0f * std::exp(0.01f * c);   // needs more red to the right
      tables[1].b_gain[r][c] = 1.5f * std::exp(-0.02f * r);  // less blue to the bottom
    }
  LearnedTintProfile profile;
  ProfileLearningReport report;
  ASSERT_EQ(LearnTintProfile(tables, 2, 0, &profile, &report), kOk);
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      EXPECT_NEAR(profile.BUL[r][c], -0.01 * (c - 8), 1e-5);  // the tint is the reference minus the table
      EXPECT_NEAR(profile.BVL[r][c], 0.02 * (r - 6), 1e-5);
    }
  EXPECT_NEAR(report.explained_u, 1.0, 1e-9);
  EXPECT_NEAR(report.projection_u[1], 1.0, 1e-9);
  EXPECT_EQ(report.projection_u[0], 0.0);
  LearnedTintProfile cropped;
  Crop(CropInfo{}, profile, &cropped);
  EXPECT_EQ(std::memcmp(cropped.BgUHXY, profile.BgUHXY, sizeof profile.BgUHXY), 0);
  EXPECT_EQ(std::memcmp(cropped.BgVHXY, profile.BgVHXY, sizeof profile.BgVHXY), 0);

  // Three tables along one shape: the component explains everything, the
  // largest difference projects to 1 and the other in proportion.
  LscTable three[3] = {tables[0], tables[1], tables[1]};
  for (int i = 0; i < 221; ++i) (&three[2].r_gain[0][0])[i] = 2.0f * std::exp(0.005f * (i % 17));
  ASSERT_EQ(LearnTintProfile(three, 3, 0, &profile, &report), kOk);
  EXPECT_NEAR(report.projection_u[2], 0.5, 1e-5);
  EXPECT_NEAR(report.explained_u, 1.0, 1e-9);

  // Blue the same under both lights: a zero profile in v, nothing explained.
  LscTable red_only[2] = {tables[0], tables[1]};
  std::memcpy(red_only[1].b_gain, red_only[0].b_gain, sizeof red_only[0].b_gain);
  ASSERT_EQ(LearnTintProfile(red_only, 2, 0, &profile, &report), kOk);
  for (int i = 0; i < 221; ++i) ASSERT_EQ((&profile.BVL[0][0])[i], 0.0f) << i;
  EXPECT_EQ(report.explained_v, 0.0);
  EXPECT_EQ(report.projection_v[1], 0.0);
  EXPECT_NEAR(report.explained_u, 1.0, 1e-9);
}

TEST(ProfileLearning, RefusesTablesThatCannotTeachAProfile) {
  LscTable same[2] = {Uniform(2, 1, 1.5), Uniform(2, 1, 1.5)};
  LearnedTintProfile profile;
  EXPECT_EQ(LearnTintProfile(same, 2, 0, &profile, nullptr), kInvalidInput);  // no difference
  EXPECT_EQ(LearnTintProfile(same, 1, 0, &profile, nullptr), kInvalidInput);  // one table
  EXPECT_EQ(LearnTintProfile(same, 2, 2, &profile, nullptr), kInvalidInput);  // no such reference
  same[1].r_gain[3][3] = 0.0f;
  EXPECT_EQ(LearnTintProfile(same, 2, 0, &profile, nullptr), kInvalidInput);  // not a gain
}

}  // namespace
}  // namespace mirvo::workbench
