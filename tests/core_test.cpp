#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "core/core.h"
#include "resample/learned_tint_profile.h"
#include "tests/support/engine_scene.h"
#include "tests/support/test_support.h"

namespace mirvo {
namespace {

// A profile that changes under any crop: a tilted bowl in u, a ramp in v.
void MakeParams(MirvoParams& p, float tilt) {
  mirvo_test::MakePlainParams(p);
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      const float x = static_cast<float>(c - 8) / 8.0f;
      const float y = static_cast<float>(r - 6) / 6.0f;
      p.learned_tint_profile.BUL[r][c] = 0.05f * (x * x + y * y) + tilt * x;
      p.learned_tint_profile.BVL[r][c] = -0.03f * y;
    }
  }
  p.version[0] = p.version[1] = p.version[2] = p.version[3] = 7;
}

bool SameProfile(const LearnedTintProfile& a, const LearnedTintProfile& b) { return mirvo_test::SameBytes(a, b); }

// The debug record as a reset leaves it, in the given override mode.
bool IsReset(const MirvoDebugParams& d, int mode) {
  return !d.debug_enable && d.override_mode == mode && d.tint_visualization_gain == 1.0f &&
         SameCrop(d.crop, CropInfo());
}

std::unique_ptr<LearnedTintProfile> Cropped(const CropInfo& crop, const LearnedTintProfile& in) {
  auto out = std::make_unique<LearnedTintProfile>();
  Crop(crop, in, out.get());
  return out;
}

class CoreTest : public ::testing::Test {
 protected:
  CoreTest() {
    MakeParams(source_, 0.01f);
    core_.LoadMirvoParams(source_);
  }

  std::string Log() const { return mirvo_test::LogText(log_); }

  mirvo_test::LogCapture log_;
  mirvo_test::TempDir dir_;
  MirvoParams source_;
  Core core_;
};

TEST_F(CoreTest, LoadMirvoParamsResetsAndCropsToFullFrame) {
  MirvoParams* working = core_.GetMutableMirvoParams();
  EXPECT_EQ(core_.pconfig_params_, working);
  EXPECT_EQ(core_.pdebug_params_, core_.GetMutableDebugParams());
  EXPECT_EQ(working->version[3], 7);
  EXPECT_EQ(std::memcmp(&working->tuning, &source_.tuning, sizeof(TuningParams)), 0);
  EXPECT_TRUE(SameProfile(working->learned_tint_profile, *Cropped(CropInfo(), source_.learned_tint_profile)));

  // A second record replaces everything and resets debug record and crop.
  MirvoDebugParams* debug = core_.GetMutableDebugParams();
  debug->debug_enable = true;
  debug->override_mode = 3;
  debug->tint_visualization_gain = 4.0f;
  debug->crop.in_w = 1.0f;
  CropInfo half;
  half.offs_x = 1008.0f;
  half.out_w = 2016.0f;
  core_.SetSensorCrop(half);
  MirvoParams other;
  MakeParams(other, -0.02f);
  other.tuning.smooth_thd = 0.5f;
  ASSERT_TRUE(core_.LoadMirvoParams(other));
  EXPECT_TRUE(IsReset(*debug, 0));
  EXPECT_EQ(working->tuning.smooth_thd, 0.5f);
  EXPECT_TRUE(SameProfile(working->learned_tint_profile, *Cropped(CropInfo(), other.learned_tint_profile)));
  // The crop was reset: setting the same half crop again re-crops.
  core_.SetSensorCrop(half);
  EXPECT_TRUE(SameProfile(working->learned_tint_profile, *Cropped(half, other.learned_tint_profile)));
}

TEST_F(CoreTest, SensorCropRecropsFromTheFullSensorProfile) {
  LearnedTintProfile& profile = core_.GetMutableMirvoParams()->learned_tint_profile;
  CropInfo crop;
  crop.offs_x = 504.0f, crop.offs_y = 378.0f, crop.out_w = 3024.0f, crop.out_h = 2268.0f;
  core_.SetSensorCrop(crop);
  EXPECT_TRUE(SameProfile(profile, *Cropped(crop, source_.learned_tint_profile)));
  EXPECT_EQ(Log(), "");  // debugging off: no notice

  core_.GetMutableDebugParams()->debug_enable = true;
  CropInfo neg_zero = crop;
  neg_zero.offs_x = 0.0f;
  core_.SetSensorCrop(neg_zero);
  neg_zero.offs_x = -0.0f;  // differs from 0.0 bit for bit
  core_.SetSensorCrop(neg_zero);
  core_.SetSensorCrop(neg_zero);  // same crop: nothing
  EXPECT_EQ(Log(),
            "D/MirvoCore: New CropInfo: 4032.0, 3024.0, 0.0, 378.0, 3024.0, 2268.0\n"
            "D/MirvoCore: New CropInfo: 4032.0, 3024.0, -0.0, 378.0, 3024.0, 2268.0\n");

  // Back to the full frame: identical to the first crop, not a crop of a crop.
  core_.SetSensorCrop(CropInfo());
  EXPECT_TRUE(SameProfile(profile, *Cropped(CropInfo(), source_.learned_tint_profile)));
}

TEST_F(CoreTest, ExecuteWithoutDebuggingLeavesTheOverrideMapAlone) {
  core_.SetOverrideMapPath(dir_.File("map.txt"));
  mirvo_test::WriteFile(dir_.File("map.txt"), "smooth_thd=0.5\n");
  core_.GetMutableDebugParams()->override_mode = 2;
  core_.GetMutableMirvoParams()->tuning.limit_thd = 0.25f;
  EXPECT_TRUE(core_.Execute());
  EXPECT_EQ(core_.GetMutableDebugParams()->override_mode, 2);
  EXPECT_EQ(core_.GetMutableMirvoParams()->tuning.limit_thd, 0.25f);
  EXPECT_EQ(core_.GetMutableMirvoParams()->tuning.smooth_thd, 0.04f);
}

TEST_F(CoreTest, OverrideModeStateMachine) {
  MirvoParams* working = core_.GetMutableMirvoParams();
  MirvoDebugParams* debug = core_.GetMutableDebugParams();
  core_.SetOverrideMapPath(dir_.File("map.txt"));
  mirvo_test::WriteFile(dir_.File("map.txt"), "smooth_thd=0.08\nlimit_thd=0.02\nin_w=640\n");

  // 0: the working tuning is reset once, the file is not read.
  working->tuning.smooth_thd = 9.0f;
  debug->tint_visualization_gain = 3.0f;
  debug->crop.in_w = 1.0f;
  EXPECT_TRUE(core_.LoadOverrideMap());
  EXPECT_EQ(working->tuning.smooth_thd, 0.04f);
  EXPECT_TRUE(IsReset(*debug, 1));
  // 1: done.
  working->tuning.smooth_thd = 9.0f;
  EXPECT_TRUE(core_.LoadOverrideMap());
  EXPECT_EQ(working->tuning.smooth_thd, 9.0f);
  EXPECT_EQ(Log(), "");

  // 2: reset, then read the file once.
  debug->override_mode = 2;
  working->tuning.sat_ratio_thd = 9.0f;
  EXPECT_TRUE(core_.LoadOverrideMap());
  EXPECT_EQ(debug->override_mode, 3);
  EXPECT_EQ(working->tuning.sat_ratio_thd, 0.6f);
  EXPECT_EQ(working->tuning.smooth_thd, 0.08f);
  EXPECT_EQ(working->tuning.limit_thd, 0.02f);
  EXPECT_EQ(debug->crop.in_w, 640.0f);
  EXPECT_EQ(source_.tuning.smooth_thd, 0.04f);  // the caller's record is never written
  const std::string loaded = "D/MirvoCore: LoadOverrideMap:smoth_thd=0.080000, lim_thd=0.020000\n";
  EXPECT_EQ(Log(), loaded);

  // 3: done, even when the file changes.
  mirvo_test::WriteFile(dir_.File("map.txt"), "smooth_thd=0.5\n");
  EXPECT_TRUE(core_.LoadOverrideMap());
  EXPECT_EQ(working->tuning.smooth_thd, 0.08f);
  debug->override_mode = 17;
  EXPECT_TRUE(core_.LoadOverrideMap());
  EXPECT_EQ(working->tuning.smooth_thd, 0.08f);
  EXPECT_EQ(Log(), loaded);
}

TEST_F(CoreTest, MissingOverrideFileIsLoggedByExecuteAndNotRetried) {
  MirvoParams* working = core_.GetMutableMirvoParams();
  MirvoDebugParams* debug = core_.GetMutableDebugParams();
  core_.SetOverrideMapPath(dir_.File("absent.txt"));
  debug->debug_enable = true;
  debug->override_mode = 2;
  working->tuning.limit_thd = 0.5f;
  EXPECT_TRUE(core_.Execute());
  EXPECT_EQ(debug->override_mode, 3);
  EXPECT_EQ(working->tuning.limit_thd, 0.01f);
  EXPECT_EQ(Log().rfind("E/MirvoCore: Execute : LoadOverrideMap fail\n", 0), 0u) << Log();
  log_.clear();
  EXPECT_TRUE(core_.Execute());
  EXPECT_EQ(Log().find("LoadOverrideMap fail"), std::string::npos) << Log();

  // The path-taking overload reads the given file in mode 2.
  mirvo_test::WriteFile(dir_.File("other.txt"), "limit_thd=0.03\n");
  debug->override_mode = 2;
  EXPECT_TRUE(core_.LoadOverrideMap(dir_.File("other.txt")));
  EXPECT_EQ(working->tuning.limit_thd, 0.03f);
}

TEST(CoreUnconfigured, OverrideMapNeedsLoadedParams) {
  Core core;
  EXPECT_FALSE(core.LoadOverrideMap());
  mirvo_test::LogCapture log;
  core.GetMutableDebugParams()->debug_enable = true;
  EXPECT_TRUE(core.Execute());
  EXPECT_EQ(mirvo_test::LogText(log),
            "E/MirvoCore: Execute : LoadOverrideMap fail\n"
            "E/MirvoCore: Mirvo is not configured. Either pdebug_params_ or pconfig_params_ is nullptr\n");
}

}  // namespace
}  // namespace mirvo
