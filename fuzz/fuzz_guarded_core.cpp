// The output guard under the same hostile input as fuzz_core, plus a fuzzed
// gain range and per-frame damage (unmeasured cells, non-finite or extreme
// base gains). Whatever goes in, every table handed out must be finite and
// inside the range in force, and no frame may allocate with diagnostics off.
#include <cmath>
#include <new>

#include "allocation_count.h"
#include "byte_reader.h"
#include "core/guarded_core.h"
#include "engine_input.h"
#include "scratch_file.h"

namespace {

// Enough for a guarded frame to be followed by frames after the reset.
constexpr int kFrames = 3;

void CheckTable(const mirvo::LscTable& t, float lo, float hi) {
  const float* g = &t.r_gain[0][0];
  for (int i = 0; i < 884; ++i) {
    if (!std::isfinite(g[i])) mirvo_fuzz::Fail("guarded table holds a gain that is not finite");
    if (g[i] < lo || g[i] > hi) mirvo_fuzz::Fail("guarded table holds a gain outside the range");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mirvo_fuzz::ByteReader in(data, size);
  static mirvo_fuzz::EngineInput input;
  mirvo_fuzz::TakeEngineInput(in, &input);

  // A fresh guard per input, so a finding reproduces from its input alone,
  // built in place: a heap guard per input made the sanitizer's allocator
  // map and fault in new pages on every run.
  alignas(mirvo::GuardedCore) static unsigned char storage[sizeof(mirvo::GuardedCore)];
  static mirvo::GuardedCore* guard = nullptr;
  if (guard != nullptr) guard->~GuardedCore();
  guard = new (storage) mirvo::GuardedCore();
  float lo = mirvo::GuardedCore::kDefaultMinGain, hi = mirvo::GuardedCore::kDefaultMaxGain;
  if (in.Take<uint8_t>() & 1) {
    const float a = in.Take<float>(), b = in.Take<float>();
    if (guard->SetGainRange(a, b)) lo = a, hi = b;
  }
  guard->LoadMirvoParams(input.params);
  guard->core().GetMutableDebugParams()->debug_enable = input.debug;
  guard->SetSensorCrop(input.crop);

  mirvo::LscTable out;
  for (int frame = 0; frame < kFrames; ++frame) {
    // Damage for this frame: a cell whose channel count is zero, and a base
    // gain replaced by a fuzzed value.
    const uint8_t damage = in.Take<uint8_t>();
    const uint16_t where = in.Take<uint16_t>();
    const float gain = in.Take<float>();
    if ((damage & 1) && input.EngineGrid()) input.stats.cells[where % 768].cnt[damage >> 6] = 0;
    mirvo::LscTable table = input.table;
    if (damage & 2) (&table.r_gain[0][0])[where % 884] = gain;

    const size_t before = mirvo_fuzz::Allocations();
    guard->SetStats(input.stats);
    guard->SetInputLscTable(table);
    guard->Execute();
    const bool ok = guard->GetOutputLscTable(&out);
    if (!input.debug && mirvo_fuzz::Allocations() != before) mirvo_fuzz::Fail("guarded frame allocated");
    if (!ok) mirvo_fuzz::Fail("guard handed out no table");
    CheckTable(out, lo, hi);
  }
  return 0;
}
