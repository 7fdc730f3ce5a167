#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "core/core.h"
#include "core/guarded_core.h"
#include "tests/support/engine_scene.h"

// Every allocation of this binary goes through these replacements; only those
// made while `g_counting` is set are counted.
namespace {
std::atomic<bool> g_counting{false};
std::atomic<long> g_allocations{0};

void* CountedAlloc(std::size_t size) {
  if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1, std::memory_order_relaxed);
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

void* CountedAlignedAlloc(std::size_t size, std::align_val_t align) {
  if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1, std::memory_order_relaxed);
  const std::size_t a = static_cast<std::size_t>(align);
  void* p = std::aligned_alloc(a, (size + a - 1) / a * a);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
}  // namespace

void* operator new(std::size_t size) { return CountedAlloc(size); }
void* operator new[](std::size_t size) { return CountedAlloc(size); }
void* operator new(std::size_t size, std::align_val_t align) { return CountedAlignedAlloc(size, align); }
void* operator new[](std::size_t size, std::align_val_t align) { return CountedAlignedAlloc(size, align); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }

namespace mirvo {
namespace {

// A scene that exercises every branch of a frame: a chroma gradient, a scene
// edge beyond the weight ramp, a dark (unreliable) patch.
void MakeFrame(Stats& stats, int frame) {
  stats.ConfigureStatsSize(32, 24);
  for (int r = 0; r < 24; ++r) {
    for (int c = 0; c < 32; ++c) {
      uint32_t red = 2000 + 10 * c + 5 * frame;
      uint32_t blue = 1800 + 8 * r;
      const uint32_t green = (r >= 8 && r < 12 && c >= 4 && c < 9) ? 3 : 2100;
      if (c >= 20 + frame) red = 4000;
      mirvo_test::SetCell(stats.cells[r * 32 + c], red, green, blue, 32);
    }
  }
}

// Allocations while `engine` runs the frames, base table `poisoned` on frame 2.
template <class Engine>
long FrameAllocations(Engine& engine, const Stats (&frames)[4], const LscTable& base, const LscTable& poisoned) {
  bool ok = true;
  LscTable out;
  g_allocations = 0;
  g_counting = true;
  for (int i = 0; i < 4; ++i) {
    ok = engine.SetStats(frames[i]) && ok;
    ok = engine.SetInputLscTable(i == 2 ? poisoned : base) && ok;
    ok = engine.Execute() && ok;
    ok = engine.GetOutputLscTable(&out) && ok;
  }
  g_counting = false;
  EXPECT_TRUE(ok);
  return g_allocations.load();
}

TEST(EngineAllocation, FramesWithDiagnosticsOffDoNotAllocate) {
  MirvoParams params;
  mirvo_test::MakePlainParams(params);
  params.tuning.filter_input_stats = 1;
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      params.learned_tint_profile.BUL[r][c] = 0.002f * static_cast<float>((c - 8) * (c - 8));
      params.learned_tint_profile.BVL[r][c] = 0.003f * static_cast<float>(r);
    }
  }
  Core core;
  ASSERT_TRUE(core.LoadMirvoParams(params));
  CropInfo crop;
  crop.offs_x = 504.0f;
  crop.out_w = 3024.0f;
  core.SetSensorCrop(crop);
  Stats frames[4];
  for (int i = 0; i < 4; ++i) MakeFrame(frames[i], i);
  LscTable base = mirvo_test::UniformTable(1.25f);
  for (int c = 0; c < 17; ++c) base.r_gain[3][c] = 1.0f + 0.02f * static_cast<float>(c);
  EXPECT_EQ(FrameAllocations(core, frames, base, base), 0);
  EXPECT_NE(core.temporal_update_gain_, 1.0f);  // the temporal filter did run

  // The counter itself works: diagnostics copy grids into the store.
  core.GetMutableDebugParams()->debug_enable = true;
  EXPECT_GT(FrameAllocations(core, frames, base, base), 0);
}

// Through the guard, every path of a frame stays allocation-free too: clean
// frames, frames with unmeasured cells, and a rejected table with the engine
// reset that follows it.
TEST(EngineAllocation, GuardedFramesDoNotAllocateOnAnyPath) {
  MirvoParams params;
  mirvo_test::MakePlainParams(params);
  GuardedCore guard;
  ASSERT_TRUE(guard.LoadMirvoParams(params));
  Stats frames[4];
  for (int i = 0; i < 4; ++i) MakeFrame(frames[i], i);
  frames[1].cells[100] = StatsCell{};
  const LscTable base = mirvo_test::UniformTable(1.25f);
  LscTable poisoned = base;
  poisoned.r_gain[6][8] = -1.0f;  // out of range: this frame is guarded
  EXPECT_EQ(FrameAllocations(guard, frames, base, poisoned), 0);
  EXPECT_EQ(guard.sanitised_frames(), 1);
  EXPECT_EQ(guard.guarded_frames(), 1);
}

}  // namespace
}  // namespace mirvo
