#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "core/mirvo_params.h"
#include "io/override_map.h"
#include "tests/support/test_support.h"

namespace mirvo {
namespace {

class OverrideMapTest : public ::testing::Test {
 protected:
  OverrideMapTest() {
    MirvoParams p;
    InitMirvoParams(p);
    tuning_ = p.tuning;
  }

  bool Apply(const std::string& text) {
    mirvo_test::WriteFile(dir_.File("map.txt"), text);
    DebugParamUpdater updater;
    updater.Init(dir_.File("map.txt"), &tuning_, &debug_);
    return updater.Update();
  }

  mirvo_test::TempDir dir_;
  mirvo_test::LogCapture log_;
  TuningParams tuning_;
  MirvoDebugParams debug_;
};

TEST_F(OverrideMapTest, AppliesTrimmedKeyValueLines) {
  ASSERT_TRUE(
      Apply("smooth_thd = 0.08\n"
            "\tfilter_input_stats=1.9  \n"
            "enable_temporal_filter=-1.9\n"
            "in_w=100\n"
            "in_w=200\n"
            "prj_delta_thd=0.5\r\n"
            "tint_update_gain=0.25=7\n"
            "tint_visualization_gain=2x\n"
            "\n"
            "   \n"
            "=5\n"
            "sat_ratio_thd=\n"
            "unknown_key=3\n"
            "debug_enable=1\n"
            "override_mode=5\n"
            "out_h=1080"));  // last line without a line feed
  // The empty sat_ratio_thd value is ignored; debug_enable and override_mode are not keys.
  const TuningParams want = {0.001f, 0.99f, 0.6f, 0.08f, 0.01f, 1, 0.5f, 0.25f, -1};
  EXPECT_TRUE(mirvo_test::SameBytes(tuning_, want));
  EXPECT_EQ((std::vector<float>{debug_.crop.in_w, debug_.tint_visualization_gain, debug_.crop.out_h}),
            (std::vector<float>{200.0f, 2.0f, 1080.0f}));
  EXPECT_FALSE(debug_.debug_enable);
  EXPECT_EQ(debug_.override_mode, 0);
  EXPECT_EQ(mirvo_test::LogText(log_), "");
}

TEST_F(OverrideMapTest, UndecodedValuesAreZeroedAndWarnedInKeyOrder) {
  ASSERT_TRUE(
      Apply("smooth_thd=abc\n"
            "limit_thd\n"
            "enable_temporal_filter=on\n"
            "max_level_thd=0.5\n"));
  const TuningParams want = {0.001f, 0.5f, 0.6f, 0.0f, 0.0f, 0, 0.15f, 0.3f, 0};
  EXPECT_TRUE(mirvo_test::SameBytes(tuning_, want));
  EXPECT_EQ(mirvo_test::LogText(log_),
            "W/MirvoCore: Parameter: enable_temporal_filter = on is not decoded\n"
            "W/MirvoCore: Parameter: limit_thd = limit_thd is not decoded\n"
            "W/MirvoCore: Parameter: smooth_thd = abc is not decoded\n");
}

TEST_F(OverrideMapTest, IntegerFieldsTruncateAndSaturate) {
  ASSERT_TRUE(Apply("filter_input_stats=1e20\nenable_temporal_filter=-1e20\n"));
  EXPECT_EQ(tuning_.filter_input_stats, INT_MAX);
  EXPECT_EQ(tuning_.enable_temporal_filter, INT_MIN);
  ASSERT_TRUE(Apply("filter_input_stats=-0.99\nenable_temporal_filter=2147483520\n"));
  EXPECT_EQ(tuning_.filter_input_stats, 0);
  EXPECT_EQ(tuning_.enable_temporal_filter, 2147483520);
}

TEST_F(OverrideMapTest, NoPathOrNoFileFails) {
  const TuningParams before = tuning_;
  DebugParamUpdater unset;
  EXPECT_FALSE(unset.Update());
  DebugParamUpdater missing;
  missing.Init(dir_.File("absent.txt"), &tuning_, &debug_);
  EXPECT_FALSE(missing.Update());
  DebugParamUpdater empty_path;
  empty_path.Init("", &tuning_, &debug_);
  EXPECT_FALSE(empty_path.Update());
  EXPECT_EQ(tuning_.smooth_thd, before.smooth_thd);
  // An empty file is read fine and changes nothing.
  EXPECT_TRUE(Apply(""));
  EXPECT_EQ(tuning_.limit_thd, before.limit_thd);
}

}  // namespace
}  // namespace mirvo
