// Drives one Core through many frames of varied statistics, base tables and
// crops, switching diagnostics and the override map on and off. Memory must
// stay flat after the first frames, nothing may crash, and outputs must stay
// finite whenever the inputs are finite with non-zero counts. A guarded core
// takes the hostile frames too and must give finite, in-range tables always.
//
// Frame count: MIRVO_SOAK_FRAMES (default 6000; the long run is 1000000).
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>

#include "core/core.h"
#include "core/guarded_core.h"
#include "engine_scene.h"
#include "io/default_tuning.h"
#include "test_support.h"

namespace mirvo {
namespace {

long SoakFrames() {
  const char* env = std::getenv("MIRVO_SOAK_FRAMES");
  return env ? std::strtol(env, nullptr, 10) : 6000;
}

size_t HeapInUse() { return mallinfo2().uordblks; }

void MakeStats(std::mt19937& rng, Stats* s, bool hostile) {
  std::uniform_real_distribution<float> level(200.0f, 12000.0f);
  std::uniform_real_distribution<float> ratio(0.3f, 1.8f);
  s->ConfigureStatsSize(32, 24);
  s->bit_depth = hostile ? static_cast<int>(rng() % 32) : 14;
  const float rg = ratio(rng), bg = ratio(rng);
  for (int i = 0; i < 768; ++i) {
    StatsCell& c = s->cells[i];
    const float g = level(rng);
    const uint16_t n = hostile && rng() % 50 == 0 ? 0 : 3969;
    const float means[4] = {g * rg, g, g, g * bg};
    for (int ch = 0; ch < 4; ++ch) {
      c.cnt[ch] = n;
      c.sum[ch] = hostile && rng() % 97 == 0 ? 0xFFFFFFFFu : static_cast<uint32_t>(means[ch] * n);
      c.sat_cnt[ch] = static_cast<uint16_t>(rng() % 8);
    }
  }
}

void MakeTable(std::mt19937& rng, LscTable* t) {
  std::uniform_real_distribution<float> gain(1.0f, 4.0f);
  std::uniform_real_distribution<float> tilt(-0.3f, 0.3f);
  const float base = gain(rng), tr = tilt(rng), tb = tilt(rng);
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      const float x = (c - 8) / 8.0f, y = (r - 6) / 6.0f;
      const float v = base * (1.0f + 0.5f * (x * x + y * y));
      t->r_gain[r][c] = v * (1.0f + tr * x);
      t->gr_gain[r][c] = v;
      t->gb_gain[r][c] = v;
      t->b_gain[r][c] = v * (1.0f + tb * y);
    }
}

bool AllInRange(const LscTable& t, float lo, float hi) {
  const float* p = &t.r_gain[0][0];
  for (int i = 0; i < 884; ++i)
    if (!(p[i] >= lo && p[i] <= hi)) return false;
  return true;
}

// Applies the phase schedule to one core: diagnostics and overrides on and
// off, occasional reloads and crop changes.
void SwitchPhase(Core& core, const MirvoParams& params, long phase) {
  if (phase % 7 == 6) core.LoadMirvoParams(params);
  MirvoDebugParams* dbg = core.GetMutableDebugParams();
  dbg->debug_enable = phase % 3 == 1;
  if (phase % 4 == 2) dbg->override_mode = 2;
  CropInfo crop;
  crop.offs_x = static_cast<float>((phase * 96) % 1008);
  crop.out_w = 4032.0f - 2.0f * crop.offs_x;
  core.SetSensorCrop(crop);
}

TEST(EngineSoak, ManyFramesStayFlatAndFinite) {
  const long frames = SoakFrames();
  mirvo_test::TempDir dir;
  const std::string override_path = dir.File("override.txt");
  mirvo_test::WriteFile(override_path, "smooth_thd=0.05\nlimit_thd=0.02\nfilter_input_stats=1\n");

  const MirvoParams params = DefaultMirvoParams();
  // The clean core only ever sees finite inputs with non-zero counts, so its
  // outputs must stay finite. The hostile core also gets zero counts, sums at
  // the 32-bit limit and any bit depth: NaN may then enter its temporal state
  // (as documented), but it must neither crash nor grow.
  Core clean, hostile;
  GuardedCore guarded;
  for (Core* core : {&clean, &hostile, &guarded.core()}) {
    core->SetOverrideMapPath(override_path);
    core->LoadMirvoParams(params);
  }
  std::mt19937 rng(2024);
  Stats stats;
  LscTable table, hostile_table, out;
  size_t heap_after_warmup = 0;
  for (long f = 0; f < frames; ++f) {
    const long phase = f / 300;
    if (f % 300 == 0) {
      SwitchPhase(clean, params, phase);
      SwitchPhase(hostile, params, phase + 1);
      SwitchPhase(guarded.core(), params, phase + 1);
    }
    if (f % 10 == 0) MakeTable(rng, &table);

    MakeStats(rng, &stats, false);
    ASSERT_TRUE(clean.SetStats(stats));
    clean.SetInputLscTable(table);
    clean.Execute();
    ASSERT_TRUE(clean.GetOutputLscTable(&out));
    ASSERT_TRUE(mirvo_test::AllFinite(out)) << "non-finite output at frame " << f;

    MakeStats(rng, &stats, phase % 2 == 1);
    // Now and then a base table with a NaN gain: the guard must replace the
    // table and start the engine afresh.
    hostile_table = table;
    if (phase % 2 == 1 && f % 53 == 0) hostile_table.b_gain[f % 13][f % 17] = std::nanf("");
    hostile.SetStats(stats);
    hostile.SetInputLscTable(hostile_table);
    hostile.Execute();
    ASSERT_TRUE(hostile.GetOutputLscTable(&out));

    guarded.SetStats(stats);
    guarded.SetInputLscTable(hostile_table);
    guarded.Execute();
    ASSERT_TRUE(guarded.GetOutputLscTable(&out));
    ASSERT_TRUE(AllInRange(out, GuardedCore::kDefaultMinGain, GuardedCore::kDefaultMaxGain))
        << "guarded output out of range at frame " << f;

    // Both cores have been through every phase kind by then.
    if (f == std::min(frames / 2, 3000L)) heap_after_warmup = HeapInUse();
  }
  EXPECT_LE(HeapInUse(), heap_after_warmup + 256 * 1024) << "heap grew over " << frames << " frames";
  // The hostile phases did reach both of the guard's paths.
  EXPECT_GT(guarded.sanitised_frames(), 0);
  EXPECT_GT(guarded.guarded_frames(), 0);
}

}  // namespace
}  // namespace mirvo
