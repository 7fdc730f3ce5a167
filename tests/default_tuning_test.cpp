#include "io/default_tuning.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "core/crop_info.h"
#include "io/tuning_file.h"
#include "resample/learned_tint_profile.h"

namespace mirvo {
namespace {

const std::string kHeaderPath = std::string(MIRVO_SOURCE_DIR) + "/data/default_tuning.h";

// The compiled-in record is the checked-in header's, with InitMirvoParams'
// thresholds.
TEST(DefaultTuning, HeaderFileHoldsTheCompiledInRecordWithInitThresholds) {
  std::string why;
  ASSERT_EQ(TuningValidateHeaderFile(kHeaderPath.c_str(), &why), kOk) << why;
  MirvoParams loaded;
  std::memset(&loaded, 0xA5, sizeof loaded);
  ASSERT_EQ(LoadTuningHeaderFile(kHeaderPath.c_str(), loaded), kOk);
  EXPECT_EQ(std::memcmp(&loaded, &DefaultMirvoParams(), sizeof loaded), 0);
  InitMirvoParams(loaded);
  EXPECT_EQ(std::memcmp(&loaded, &DefaultMirvoParams(), sizeof loaded), 0);
}

// The gradient blocks are what the full-frame crop derives from the grids, so
// loading the default and cropping it to the full sensor changes nothing.
TEST(DefaultTuning, GradientBlocksAreTheFullFrameCropOfTheGrids) {
  const LearnedTintProfile& profile = DefaultMirvoParams().learned_tint_profile;
  LearnedTintProfile cropped;
  Crop(CropInfo{}, profile, &cropped);
  EXPECT_EQ(std::memcmp(cropped.BgUHXY, profile.BgUHXY, sizeof profile.BgUHXY), 0);
  EXPECT_EQ(std::memcmp(cropped.BgVHXY, profile.BgVHXY, sizeof profile.BgVHXY), 0);
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      EXPECT_NEAR(cropped.BUL[r][c], profile.BUL[r][c], 1e-6f);
      EXPECT_NEAR(cropped.BVL[r][c], profile.BVL[r][c], 1e-6f);
    }
  }
}

// A smooth shading surface: neighbouring nodes differ little, the whole
// surface spans a plausible range of log chroma.
TEST(DefaultTuning, ProfileIsSmoothAndPlausible) {
  const LearnedTintProfile& p = DefaultMirvoParams().learned_tint_profile;
  for (const auto* grid : {&p.BUL, &p.BVL}) {
    float lo = (*grid)[0][0], hi = lo;
    for (int r = 0; r < 13; ++r) {
      for (int c = 0; c < 17; ++c) {
        const float v = (*grid)[r][c];
        ASSERT_TRUE(std::isfinite(v));
        lo = std::min(lo, v);
        hi = std::max(hi, v);
        if (c > 0) {
          EXPECT_LT(std::fabs(v - (*grid)[r][c - 1]), 0.03f);
        }
        if (r > 0) {
          EXPECT_LT(std::fabs(v - (*grid)[r - 1][c]), 0.03f);
        }
      }
    }
    EXPECT_GT(hi - lo, 0.01f);
    EXPECT_LT(hi - lo, 0.3f);
  }
  // Learned with the mean removed: only the shape reaches the engine.
  for (const auto* grid : {&p.BUL, &p.BVL}) {
    double sum = 0.0;
    for (const auto& row : *grid)
      for (float v : row) sum += v;
    EXPECT_NEAR(sum / 221.0, 0.0, 1e-6);
  }
}

}  // namespace
}  // namespace mirvo
