#include "core/guarded_core.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/core.h"
#include "engine_scene.h"
#include "io/default_tuning.h"
#include "test_support.h"

namespace mirvo {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// A lit scene with a red ramp, changing a little from frame to frame so the
// temporal filter has work to do.
void MakeFrame(Stats& stats, int frame) {
  stats.ConfigureStatsSize(32, 24);
  for (int r = 0; r < 24; ++r)
    for (int c = 0; c < 32; ++c)
      mirvo_test::SetCell(stats.cells[r * 32 + c], 2000 + 12 * c + 7 * frame, 2100, 1800 + 9 * r, 64);
}

// A base table with the usual vignetting shape.
LscTable MakeBase() {
  LscTable t = mirvo_test::UniformTable(1.0f);
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      const float x = (c - 8) / 8.0f, y = (r - 6) / 6.0f;
      const float v = 1.2f + 0.8f * (x * x + y * y);
      t.r_gain[r][c] = v * 1.05f;
      t.gr_gain[r][c] = v;
      t.gb_gain[r][c] = v;
      t.b_gain[r][c] = v * 0.97f;
    }
  return t;
}

using mirvo_test::AllFinite;
using mirvo_test::RunFrame;

bool SameTable(const LscTable& a, const LscTable& b) { return mirvo_test::SameBytes(a, b); }

class GuardedCoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    params_ = DefaultMirvoParams();
    ASSERT_NE(params_.tuning.enable_temporal_filter, 0);
    crop_.offs_x = 504.0f;
    crop_.out_w = 3024.0f;
    for (Core* c : {&core_, &guard_.core()}) {
      c->LoadMirvoParams(params_);
      c->SetSensorCrop(crop_);
    }
    for (int i = 0; i < kFrames; ++i) MakeFrame(frames_[i], i);
  }

  static constexpr int kFrames = 6;
  MirvoParams params_;
  CropInfo crop_;
  Core core_;
  GuardedCore guard_;
  Stats frames_[kFrames];
  const LscTable base_ = MakeBase();
};

// The failure the guard exists for: one frame with unmeasured cells makes the
// bare engine's tables NaN for good; through the guard every table stays
// finite and matches the bare engine's wherever that one is sound.
TEST_F(GuardedCoreTest, ZeroCountCellsPoisonCoreButNotTheGuard) {
  constexpr int kBadFrame = 2;
  frames_[kBadFrame].cells[5 * 32 + 7] = StatsCell{};
  frames_[kBadFrame].cells[17 * 32 + 30].cnt[B] = 0;

  mirvo_test::LogCapture log;
  for (int i = 0; i < kFrames; ++i) {
    const LscTable bare = RunFrame(core_, frames_[i], base_);
    const LscTable guarded = RunFrame(guard_, frames_[i], base_);
    EXPECT_TRUE(AllFinite(guarded)) << "frame " << i;
    EXPECT_EQ(AllFinite(bare), i < kBadFrame) << "frame " << i;
    if (i < kBadFrame) {
      EXPECT_TRUE(SameTable(bare, guarded)) << "frame " << i;
    }
  }
  EXPECT_EQ(guard_.sanitised_frames(), 1);
  EXPECT_EQ(guard_.sanitised_cells(), 2);
  // The dark cells were rejected inside the engine: no table needed replacing.
  EXPECT_EQ(guard_.guarded_frames(), 0);
  EXPECT_EQ(mirvo_test::LogText(log), "");
}

// A dark cell is what the engine makes of a cell below the darkness
// threshold: the sanitised frame gives exactly the table of the same frame
// with those cells really dark.
TEST_F(GuardedCoreTest, UnmeasuredCellIsTreatedAsADarkOne) {
  Stats dark;
  MakeFrame(dark, 0);
  mirvo_test::SetCell(dark.cells[40], 0, 0, 0, 64);
  frames_[0].cells[40] = StatsCell{};
  EXPECT_TRUE(SameTable(RunFrame(core_, dark, base_), RunFrame(guard_, frames_[0], base_)));
  // The caller's record is left as it was.
  EXPECT_EQ(frames_[0].cells[40].cnt[R], 0);
}

// A table the check rejects is replaced by the last good one, and the engine
// starts afresh: the frame after it is bit for bit what a new engine with the
// same tuning and crop gives.
TEST_F(GuardedCoreTest, BadTableGivesLastGoodOneAndTheEngineRecovers) {
  LscTable poisoned = base_;
  poisoned.b_gain[4][9] = kNaN;
  const LscTable first = RunFrame(guard_, frames_[0], base_);

  mirvo_test::LogCapture log;
  EXPECT_TRUE(SameTable(RunFrame(guard_, frames_[1], poisoned), first));
  EXPECT_TRUE(guard_.last_frame_guarded());
  EXPECT_EQ(guard_.guarded_frames(), 1);
  const std::string line = mirvo_test::LogText(log);
  EXPECT_EQ(line.rfind("E/MirvoCore: GetOutputLscTable : ", 0), 0u) << line;
  EXPECT_NE(line.find("last good table returned"), std::string::npos) << line;
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);

  Core fresh;
  fresh.LoadMirvoParams(params_);
  fresh.SetSensorCrop(crop_);
  for (int i = 2; i < kFrames; ++i) {
    const LscTable guarded = RunFrame(guard_, frames_[i], base_);
    EXPECT_TRUE(SameTable(guarded, RunFrame(fresh, frames_[i], base_))) << "frame " << i;
    EXPECT_FALSE(guard_.last_frame_guarded());
  }
  EXPECT_EQ(guard_.guarded_frames(), 1);

  // After a reset there is no last good table (nor a good base): the same
  // frame gets a unity table.
  guard_.Reset();
  EXPECT_EQ(guard_.guarded_frames(), 0);
  EXPECT_TRUE(SameTable(RunFrame(guard_, frames_[1], poisoned), mirvo_test::UniformTable(1.0f)));
  EXPECT_EQ(guard_.guarded_frames(), 1);
}

// Before any good table: the base table when it passes the check itself,
// else a unity table brought into the range.
TEST_F(GuardedCoreTest, FallbackBeforeAnyGoodTable) {
  struct Case {
    float min_gain, max_gain;
    float base_gain;  // the base table's gain at [0][0] of every plane
    const char* fallback;
    float unity;  // the fallback's gains when it is the unity table
  } const cases[] = {{0.5f, 8.0f, 1.5f, "base", 0.0f},
                     {0.5f, 8.0f, 9.0f, "unity", 1.0f},
                     {2.0f, 8.0f, 0.0f, "unity", 2.0f},
                     {0.0f, 0.5f, 0.75f, "unity", 0.5f}};
  for (const Case& k : cases) {
    SCOPED_TRACE(k.fallback + std::string(" ") + std::to_string(k.min_gain) + ".." + std::to_string(k.max_gain));
    GuardedCore guard;
    guard.LoadMirvoParams(params_);
    ASSERT_TRUE(guard.SetGainRange(k.min_gain, k.max_gain));
    LscTable base = mirvo_test::UniformTable(k.min_gain);
    base.r_gain[0][0] = base.gr_gain[0][0] = base.gb_gain[0][0] = base.b_gain[0][0] = k.base_gain;
    // Zero counts everywhere and no learned profile help: a NaN table.
    Stats stats;
    stats.ConfigureStatsSize(32, 24);
    guard.core().GetMutableMirvoParams()->tuning.min_level_thd = -1.0f;
    ASSERT_TRUE(guard.core().SetStats(stats));
    guard.SetInputLscTable(base);
    guard.Execute();
    mirvo_test::LogCapture log;
    LscTable out;
    ASSERT_TRUE(guard.GetOutputLscTable(&out));
    EXPECT_TRUE(guard.last_frame_guarded());
    EXPECT_NE(mirvo_test::LogText(log).find(std::string(k.fallback) + " table returned"), std::string::npos);
    EXPECT_TRUE(SameTable(out, k.unity == 0.0f ? base : mirvo_test::UniformTable(k.unity)));
  }
}

// Finite but out-of-range gains are rejected as well, at both ends and at
// the exact bounds not.
TEST_F(GuardedCoreTest, RangeBoundsAreInclusive) {
  const LscTable first = RunFrame(guard_, frames_[0], base_);
  float lo = first.r_gain[0][0], hi = lo;
  const float* all = &first.r_gain[0][0];
  for (int i = 0; i < 884; ++i) lo = std::fmin(lo, all[i]), hi = std::fmax(hi, all[i]);

  struct Case {
    float min_gain, max_gain;
    bool guarded;
  } const cases[] = {{lo, hi, false}, {std::nextafter(lo, 10.0f), hi, true}, {lo, std::nextafter(hi, 0.0f), true}};
  for (const Case& k : cases) {
    GuardedCore guard;
    guard.LoadMirvoParams(params_);
    guard.SetSensorCrop(crop_);
    ASSERT_TRUE(guard.SetGainRange(k.min_gain, k.max_gain));
    mirvo_test::LogCapture log;
    RunFrame(guard, frames_[0], base_);
    EXPECT_EQ(guard.last_frame_guarded(), k.guarded) << k.min_gain << " " << k.max_gain;
  }
}

TEST(GuardedCore, GainRangeMustBeFiniteOrderedAndNotNegative) {
  constexpr float kInf = std::numeric_limits<float>::infinity();
  struct Case {
    float min_gain, max_gain;
    bool ok;
  } const cases[] = {
      {0.0f, 0.0f, true},  {0.5f, 4.0f, true},  {2.0f, 1.0f, false}, {-0.5f, 4.0f, false},
      {kNaN, 4.0f, false}, {0.5f, kNaN, false}, {0.5f, kInf, false},
  };
  for (const Case& k : cases) {
    GuardedCore guard;
    mirvo_test::LogCapture log;
    EXPECT_EQ(guard.SetGainRange(k.min_gain, k.max_gain), k.ok) << k.min_gain << " " << k.max_gain;
    EXPECT_EQ(log.lines().size(), k.ok ? 0u : 1u);
  }
}

TEST_F(GuardedCoreTest, StatisticsTheEngineCannotTakeAreRefused) {
  mirvo_test::LogCapture log;
  Stats wrong;
  wrong.ConfigureStatsSize(24, 32);
  EXPECT_FALSE(guard_.SetStats(wrong));
  Stats empty;
  empty.cols = 32;
  empty.rows = 24;
  EXPECT_FALSE(guard_.SetStats(empty));
  EXPECT_EQ(mirvo_test::LogText(log),
            "E/MirvoCore: SetStats : errCode = -10\n"
            "E/MirvoCore: SetStats : stats.cells = nullptr\n");
  EXPECT_EQ(guard_.sanitised_frames(), 0);
}

}  // namespace
}  // namespace mirvo
