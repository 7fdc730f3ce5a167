// The output guard under the same hostile input as fuzz_core, plus a fuzzed
// gain range and per-frame damage (unmeasured cells, non-finite or extreme
// base gains). Whatever goes in, every table handed out must be finite and
// inside the range in force, and no frame may allocate with diagnostics off.
#include <cmath>

#include "allocation_count.h"
#include "byte_reader.h"
#include "core/guarded_core.h"
#include "engine_input.h"
#include "io/default_tuning.h"
#include "scratch_file.h"

namespace {

// Enough for a guarded frame to be followed by frames after the reset.
constexpr int kMaxFrames = 3;

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

  // One guard for the whole run, loaded once and reset between inputs (a
  // guard built per input cost more than a frame), so a finding reproduces
  // from its input alone.
  static mirvo::MirvoParams params = mirvo::DefaultMirvoParams();
  static mirvo::GuardedCore guard;
  static const bool loaded = guard.LoadMirvoParams(params);
  (void)loaded;
  guard.Reset();
  float lo = mirvo::GuardedCore::kDefaultMinGain, hi = mirvo::GuardedCore::kDefaultMaxGain;
  guard.SetGainRange(lo, hi);
  if (in.Take<uint8_t>() & 1) {
    const float a = in.Take<float>(), b = in.Take<float>();
    if (guard.SetGainRange(a, b)) lo = a, hi = b;
  }
  mirvo_fuzz::PrepareEngine(input, &params, &guard.core());
  mirvo_fuzz::FrameChange frames[kMaxFrames];
  const int n = mirvo_fuzz::TakeFrames(in, input, frames, kMaxFrames);

  mirvo::LscTable table;
  mirvo::LscTable out;
  for (int frame = 0; frame < n; ++frame) {
    table = input.table;
    mirvo_fuzz::ApplyFrameChange(frames[frame], &input, &table);
    const size_t before = mirvo_fuzz::Allocations();
    guard.SetStats(*input.stats);
    guard.SetInputLscTable(table);
    guard.Execute();
    const bool ok = guard.GetOutputLscTable(&out);
    if (!input.debug && mirvo_fuzz::Allocations() != before) mirvo_fuzz::Fail("guarded frame allocated");
    if (!ok) mirvo_fuzz::Fail("guard handed out no table");
    CheckTable(out, lo, hi);
  }
  return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size, unsigned int seed) {
  return mirvo_fuzz::MutateEngineInput(data, size, max_size, seed);
}
