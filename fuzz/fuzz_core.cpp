// The engine driven the way a misbehaving camera stack could drive it (see
// EngineInput), with and without diagnostics, over a short sequence of
// frames. Nothing may crash or trip the sanitizers, and with diagnostics off
// no frame may allocate.
#include "allocation_count.h"
#include "byte_reader.h"
#include "core/core.h"
#include "core/guarded_core.h"
#include "engine_input.h"
#include "io/default_tuning.h"
#include "scratch_file.h"

namespace {
constexpr int kMaxFrames = 3;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mirvo_fuzz::ByteReader in(data, size);
  static mirvo_fuzz::EngineInput input;
  mirvo_fuzz::TakeEngineInput(in, &input);
  mirvo_fuzz::FrameChange frames[kMaxFrames];
  const int n = mirvo_fuzz::TakeFrames(in, input, frames, kMaxFrames);

  // One engine for the whole run, loaded once and reset between inputs, so a
  // finding reproduces from its input alone. A guard owns it for its reset;
  // the frames drive Core directly.
  static mirvo::MirvoParams params = mirvo::DefaultMirvoParams();
  static mirvo::GuardedCore owner;
  static const bool loaded = owner.LoadMirvoParams(params);
  (void)loaded;
  owner.Reset();
  mirvo::Core& core = owner.core();
  mirvo_fuzz::PrepareEngine(input, &params, &core);

  mirvo::LscTable table;
  mirvo::LscTable out;
  for (int frame = 0; frame < n; ++frame) {
    table = input.table;
    mirvo_fuzz::ApplyFrameChange(frames[frame], &input, &table);
    const size_t before = mirvo_fuzz::Allocations();
    core.SetStats(*input.stats);
    core.SetInputLscTable(table);
    core.Execute();
    core.GetOutputLscTable(&out);
    if (!input.debug && input.EngineGrid() && mirvo_fuzz::Allocations() != before)
      mirvo_fuzz::Fail("frame path allocated");
  }
  return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size, unsigned int seed) {
  return mirvo_fuzz::MutateEngineInput(data, size, max_size, seed);
}
