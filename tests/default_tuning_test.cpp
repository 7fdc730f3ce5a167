#include "io/default_tuning.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <string>

#include "core/crop_info.h"
#include "io/tuning_file.h"
#include "resample/learned_tint_profile.h"
#include "support/test_support.h"

namespace mirvo {
namespace {

const std::string kHeaderPath = std::string(MIRVO_SOURCE_DIR) + "/data/default_tuning.h";

// The compiled-in record is the checked-in header's, with InitMirvoParams'
// thresholds, and the writer writes that header byte for byte.
TEST(DefaultTuning, HeaderFileHoldsTheCompiledInRecordWithInitThresholds) {
  std::string why;
  ASSERT_EQ(TuningValidateHeaderFile(kHeaderPath.c_str(), &why), kOk) << why;
  MirvoParams loaded;
  std::memset(&loaded, 0xA5, sizeof loaded);
  ASSERT_EQ(LoadTuningHeaderFile(kHeaderPath.c_str(), loaded), kOk);
  EXPECT_EQ(std::memcmp(&loaded, &DefaultMirvoParams(), sizeof loaded), 0);
  InitMirvoParams(loaded);
  EXPECT_EQ(std::memcmp(&loaded, &DefaultMirvoParams(), sizeof loaded), 0);
  mirvo_test::TempDir dir;
  ASSERT_EQ(SaveTuningHeaderFile(dir.File("t.h").c_str(), DefaultMirvoParams()), kOk);
  EXPECT_EQ(mirvo_test::ReadFile(dir.File("t.h")), mirvo_test::ReadFile(kHeaderPath));
}

// The gradient blocks are what the full-frame crop derives from the grids, so
// loading the default and cropping it to the full sensor changes nothing.
TEST(DefaultTuning, GradientBlocksAreTheFullFrameCropOfTheGrids) {
  const LearnedTintProfile& profile = DefaultMirvoParams().learned_tint_profile;
  LearnedTintProfile cropped;
  Crop(CropInfo{}, profile, &cropped);
  EXPECT_EQ(std::memcmp(cropped.BgUHXY, profile.BgUHXY, sizeof profile.BgUHXY), 0);
  EXPECT_EQ(std::memcmp(cropped.BgVHXY, profile.BgVHXY, sizeof profile.BgVHXY), 0);
  for (int i = 0; i < 442; ++i) EXPECT_NEAR((&cropped.BUL[0][0])[i], (&profile.BUL[0][0])[i], 1e-6f) << i;
}

// A smooth shading surface learned with the mean removed: neighbouring nodes
// differ little, the surface spans a plausible range of log chroma, only the
// shape reaches the engine.
TEST(DefaultTuning, ProfileIsSmoothAndPlausible) {
  const LearnedTintProfile& p = DefaultMirvoParams().learned_tint_profile;
  for (const auto* grid : {&p.BUL, &p.BVL}) {
    const float* v = &(*grid)[0][0];
    const auto [lo, hi] = std::minmax_element(v, v + 221);
    EXPECT_GT(*hi - *lo, 0.01f);
    EXPECT_LT(*hi - *lo, 0.3f);
    EXPECT_NEAR(std::accumulate(v, v + 221, 0.0) / 221.0, 0.0, 1e-6);
    for (int i = 0; i < 221; ++i) {
      ASSERT_TRUE(std::isfinite(v[i]));
      EXPECT_LT(std::fabs(v[i] - v[i % 17 ? i - 1 : i]), 0.03f) << i;    // left neighbour
      EXPECT_LT(std::fabs(v[i] - v[i >= 17 ? i - 17 : i]), 0.03f) << i;  // upper neighbour
    }
  }
}

}  // namespace
}  // namespace mirvo
