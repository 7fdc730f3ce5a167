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

TEST(FlatFieldMeasure, LevelsAreBlackFreeFourteenBitMediansOfTiles) {
  // 10-bit samples 100, 200, 300, 400 in R, Gr, Gb, B; black levels paired
  // with the planes as the statistics builder pairs them: R index 3, B index 0.
  std::vector<uint16_t> planes[4];
  for (int c = 0; c < 4; ++c) planes[c].assign(256 * 192, static_cast<uint16_t>(100 * (c + 1)));
  planes[1][5 * 256 + 7] = 1023;  // a hot pixel: clipped, but no block moves
  const uint16_t* data[4] = {planes[0].data(), planes[1].data(), planes[2].data(), planes[3].data()};
  const uint16_t black[4] = {40, 10, 20, 30};
  FlatFieldBlocks blocks;
  ASSERT_EQ(MeasureFlatField(data, 256, 192, 10, black, &blocks), kOk);
  const float want[4] = {100 * 16 - 30, 200 * 16 - 10, 300 * 16 - 20, 400 * 16 - 40};
  for (int ch = 0; ch < 4; ++ch)
    for (int i = 0; i < kFlatBlocks; ++i) ASSERT_EQ(blocks.level[ch][i], want[ch]) << ch << " " << i;
  EXPECT_EQ(blocks.clipped, 1u);
  EXPECT_EQ(blocks.samples, 4u * 256 * 192);
  // Block centres: 4 plane samples wide, so block j spans pixels 8j..8j+8 of a 512-pixel frame.
  EXPECT_FLOAT_EQ(blocks.x[0], 4.0f * 16 / 512);
  EXPECT_FLOAT_EQ(blocks.x[63], 508.0f * 16 / 512);
  EXPECT_FLOAT_EQ(blocks.y[47], 380.0f * 12 / 384);
  EXPECT_EQ(MeasureFlatField(data, 63, 192, 10, black, &blocks), kInvalidInput);  // fewer samples than blocks
}

// A smooth vignetting with a dust spot on one block: the fit follows the
// surface at every node, border nodes included, and leaves the spot out.
TEST(FlatFieldFit, RecoversASmoothSurfaceAndLeavesDustOut) {
  const double tint[4] = {-0.5, 0.0, 0.01, -0.3};
  auto surface = [&](int ch, double x, double y) {
    return -0.004 * ((x - 8) * (x - 8) + 1.5 * (y - 6) * (y - 6)) + 0.01 * x + tint[ch] * x / 16;
  };
  FlatFieldBlocks blocks;
  for (int j = 0; j < kFlatBlockCols; ++j) blocks.x[j] = (j + 0.5f) * 16 / kFlatBlockCols;
  for (int i = 0; i < kFlatBlockRows; ++i) blocks.y[i] = (i + 0.5f) * 12 / kFlatBlockRows;
  for (int ch = 0; ch < 4; ++ch)
    for (int i = 0; i < kFlatBlocks; ++i)
      blocks.level[ch][i] = static_cast<float>(
          8000.0 * std::exp(surface(ch, blocks.x[i % kFlatBlockCols], blocks.y[i / kFlatBlockCols])));
  blocks.level[1][20 * kFlatBlockCols + 30] *= 0.7f;  // dust
  blocks.level[2][5 * kFlatBlockCols + 7] = 0.0f;     // no light measured: left out of the fit
  blocks.samples = 1000;
  blocks.clipped = 0;
  FlatFieldFit fit;
  ASSERT_TRUE(FitFlatField(&blocks, 1, &fit));
  EXPECT_EQ(JudgeFlatField(fit).problem, FlatFieldProblem::kNone);
  EXPECT_GT(fit.outlier_share, 0.0);
  for (int ch = 0; ch < 4; ++ch) {  // up to a constant, the level's
    double mean = 0.0;
    for (int n = 0; n < 221; ++n) mean += (fit.log_level[ch][n / 17][n % 17] - surface(ch, n % 17, n / 17)) / 221;
    for (int n = 0; n < 221; ++n)
      EXPECT_NEAR(fit.log_level[ch][n / 17][n % 17] - mean, surface(ch, n % 17, n / 17), 2e-3) << ch << " " << n;
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
  const struct {
    double FlatFieldFit::*field;
    double value;
    FlatFieldProblem problem;
    double limit;  // 0: not checked
  } steps[] = {
      {&FlatFieldFit::median_green, 8000, FlatFieldProblem::kNone, 0.0},
      {&FlatFieldFit::outlier_share, 0.05, FlatFieldProblem::kNone, 0.0},
      {&FlatFieldFit::outlier_share, 0.06, FlatFieldProblem::kNotFlat, kMaxOutlierShare},
      {&FlatFieldFit::residual_p90, 0.05, FlatFieldProblem::kNotFlat, kMaxFlatResidual},
      {&FlatFieldFit::median_green, 100, FlatFieldProblem::kTooDark, 0.0},
      {&FlatFieldFit::clipped_share, 0.01, FlatFieldProblem::kClipped, 0.0},
  };
  for (const auto& s : steps) {
    fit.*s.field = s.value;
    const FlatFieldVerdict v = JudgeFlatField(fit);
    SCOPED_TRACE(s.value);
    EXPECT_EQ(v.problem, s.problem);
    if (s.limit > 0.0) {
      EXPECT_EQ(v.value, s.value);
      EXPECT_EQ(v.limit, s.limit);
    }
    if (s.problem == FlatFieldProblem::kTooDark) {
      EXPECT_DOUBLE_EQ(v.value, 100 / 16383.0);
    }
  }
}

LscTable Uniform(float r, float g, float b) {
  LscTable t;
  std::fill(&t.r_gain[0][0], &t.r_gain[0][0] + 221, r);
  std::fill(&t.gr_gain[0][0], &t.gr_gain[0][0] + 221, g);
  std::fill(&t.gb_gain[0][0], &t.gb_gain[0][0] + 221, g);
  std::fill(&t.b_gain[0][0], &t.b_gain[0][0] + 221, b);
  return t;
}

// Two tables: the profile is the tint the second light keeps under the
// first table, mean removed, projecting to exactly 1.
TEST(ProfileLearning, TablesGiveTheirDifferenceAndTheCropsGradients) {
  LscTable tables[3] = {Uniform(2.0f, 1.0f, 1.5f), Uniform(2.0f, 1.0f, 1.5f), Uniform(2.0f, 1.0f, 1.5f)};
  for (int n = 0; n < 221; ++n) {
    tables[1].r_gain[n / 17][n % 17] = 2.0f * std::exp(0.01f * (n % 17));   // needs more red to the right
    tables[1].b_gain[n / 17][n % 17] = 1.5f * std::exp(-0.02f * (n / 17));  // less blue to the bottom
    tables[2].r_gain[n / 17][n % 17] = 2.0f * std::exp(0.005f * (n % 17));  // half of it, blue as the first
  }
  LearnedTintProfile profile;
  ProfileLearningReport report;
  ASSERT_EQ(LearnTintProfile(tables, 2, 0, &profile, &report), kOk);
  for (int n = 0; n < 221; ++n) {  // the tint is the reference minus the table
    EXPECT_NEAR(profile.BUL[n / 17][n % 17], -0.01 * (n % 17 - 8), 1e-5);
    EXPECT_NEAR(profile.BVL[n / 17][n % 17], 0.02 * (n / 17 - 6), 1e-5);
  }
  EXPECT_NEAR(report.explained_u, 1.0, 1e-9);
  EXPECT_NEAR(report.projection_u[1], 1.0, 1e-9);
  EXPECT_EQ(report.projection_u[0], 0.0);
  LearnedTintProfile cropped;
  Crop(CropInfo{}, profile, &cropped);
  EXPECT_EQ(std::memcmp(cropped.BgUHXY, profile.BgUHXY, sizeof profile.BgUHXY), 0);
  EXPECT_EQ(std::memcmp(cropped.BgVHXY, profile.BgVHXY, sizeof profile.BgVHXY), 0);

  // Three tables along one shape in u: the component explains everything, the
  // largest difference projects to 1 and the other in proportion.
  ASSERT_EQ(LearnTintProfile(tables, 3, 0, &profile, &report), kOk);
  EXPECT_NEAR(report.projection_u[2], 0.5, 1e-5);
  EXPECT_NEAR(report.explained_u, 1.0, 1e-9);
  // Blue the same under both lights: a zero profile in v, nothing explained.
  const LscTable red_only[2] = {tables[0], tables[2]};
  ASSERT_EQ(LearnTintProfile(red_only, 2, 0, &profile, &report), kOk);
  for (int n = 0; n < 221; ++n) ASSERT_EQ(profile.BVL[n / 17][n % 17], 0.0f) << n;
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
