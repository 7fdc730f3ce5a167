// The engine driven the way a misbehaving camera stack could drive it (see
// EngineInput), with and without diagnostics. Nothing may crash or trip the
// sanitizers, and with diagnostics off the frame path must not allocate.
#include "allocation_count.h"
#include "byte_reader.h"
#include "core/core.h"
#include "engine_input.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mirvo_fuzz::ByteReader in(data, size);
  static mirvo_fuzz::EngineInput input;
  mirvo_fuzz::TakeEngineInput(in, &input);

  static mirvo::Core core;
  core.LoadMirvoParams(input.params);
  core.GetMutableDebugParams()->debug_enable = input.debug;
  core.SetSensorCrop(input.crop);

  mirvo::LscTable out;
  // Two frames: the second starts from the temporal state the first left
  // with fuzzed values, and its allocations are counted when diagnostics are
  // off (the first frame has set up everything the path needs).
  for (int frame = 0; frame < 2; ++frame) {
    const size_t before = mirvo_fuzz::Allocations();
    core.SetStats(input.stats);
    core.SetInputLscTable(input.table);
    core.Execute();
    core.GetOutputLscTable(&out);
    if (frame == 1 && !input.debug && input.EngineGrid() && mirvo_fuzz::Allocations() != before)
      mirvo_fuzz::Fail("frame path allocated");
  }
  return 0;
}
