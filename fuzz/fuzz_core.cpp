// The engine driven the way a misbehaving camera stack could drive it: any
// statistics (zero counts, sums at the 32-bit limit, any bit depth), base
// tables holding zeros, negatives, NaN and infinities, and hostile tuning
// (zero and negative thresholds), with and without diagnostics. Nothing may
// crash or trip the sanitizers, and with diagnostics off the frame path must
// not allocate.
#include <cstdlib>
#include <cstring>
#include <new>

#include "core/core.h"
#include "io/default_tuning.h"
#include "scratch_file.h"

namespace {

// Per thread: libFuzzer's own monitor thread allocates too.
thread_local size_t g_allocations = 0;

class Reader {
 public:
  Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  template <typename T>
  T Take() {
    T v{};
    unsigned char bytes[sizeof(T)] = {};
    for (size_t i = 0; i < sizeof(T); ++i) bytes[i] = pos_ < size_ ? data_[pos_++] : 0;
    std::memcpy(&v, bytes, sizeof(T));
    return v;
  }
  bool empty() const { return pos_ >= size_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

}  // namespace

// Every form of operator new counts and goes to malloc, every delete to
// free, so the sanitizer sees matching pairs whichever form is used.
void* operator new(size_t n) {
  ++g_allocations;
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t n) { return operator new(n); }
void* operator new(size_t n, const std::nothrow_t&) noexcept {
  ++g_allocations;
  return std::malloc(n ? n : 1);
}
void* operator new[](size_t n, const std::nothrow_t& t) noexcept { return operator new(n, t); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Reader in(data, size);
  static mirvo::MirvoParams params = mirvo::DefaultMirvoParams();
  params = mirvo::DefaultMirvoParams();
  const uint8_t which = in.Take<uint8_t>();
  if (which & 1) params.tuning.smooth_thd = in.Take<float>();
  if (which & 2) params.tuning.limit_thd = in.Take<float>();
  if (which & 4) params.tuning.prj_delta_thd = in.Take<float>();
  if (which & 8) params.tuning.min_level_thd = in.Take<float>();
  if (which & 16) params.tuning.sat_ratio_thd = in.Take<float>();
  params.tuning.filter_input_stats = in.Take<uint8_t>() % 3;
  params.tuning.enable_temporal_filter = in.Take<uint8_t>() & 1;
  const bool debug = which & 32;

  static mirvo::Core core;
  core.LoadMirvoParams(params);
  core.GetMutableDebugParams()->debug_enable = debug;
  mirvo::CropInfo crop;
  if (which & 64) {
    crop.offs_x = static_cast<float>(in.Take<uint16_t>() % 4032);
    crop.out_w = static_cast<float>(1 + in.Take<uint16_t>() % 4032);
  }
  core.SetSensorCrop(crop);

  // Grid: usually the engine's 24 x 32, sometimes something it must reject.
  const uint8_t shape = in.Take<uint8_t>();
  const int cols = (shape & 0xC0) == 0xC0 ? shape % 40 : 32;
  const int rows = (shape & 0xC0) == 0xC0 ? (shape >> 2) % 30 : 24;
  static mirvo::Stats stats;
  stats.ConfigureStatsSize(cols, rows);
  stats.bit_depth = in.Take<uint8_t>() % 32;
  // A short seed pattern of cells tiled over the grid keeps inputs small.
  mirvo::StatsCell seed[8];
  for (auto& cell : seed) cell = in.Take<mirvo::StatsCell>();
  for (int i = 0; i < cols * rows; ++i) stats.cells[i] = seed[i % 8];

  static mirvo::LscTable table;
  float pattern[8];
  for (float& f : pattern) f = in.Take<float>();
  float* t = &table.r_gain[0][0];
  for (int i = 0; i < 884; ++i) t[i] = pattern[i % 8];

  mirvo::LscTable out;
  // Two frames so the temporal state carries fuzzed values into the second;
  // then count allocations of a third frame when diagnostics are off.
  for (int frame = 0; frame < 3; ++frame) {
    const size_t before = g_allocations;
    core.SetStats(stats);
    core.SetInputLscTable(table);
    core.Execute();
    core.GetOutputLscTable(&out);
    if (frame == 2 && !debug && cols == 32 && rows == 24 && g_allocations != before)
      mirvo_fuzz::Fail("frame path allocated");
  }
  return 0;
}
