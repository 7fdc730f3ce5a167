#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/lsc_table.h"
#include "pipeline/engine_session.h"
#include "pipeline/frame_source.h"
#include "pipeline/run_summary.h"

namespace mirvo_cli {

// The frame loop `run` and `demo` share: frames taken in order from the
// source, each run through the one engine against its base (one base for all
// frames, or one per frame), recorded in the summary when there is one, then
// handed to `done` (the caller's progress or printed line).
struct FrameLoop {
  const std::vector<mirvo::LscTable>& bases;
  const std::vector<std::string>& inputs;  // as the summary names them
  const std::vector<std::string>& labels;  // as the session's messages name them
  std::function<void(int k)> done;
};

void RunFrameLoop(FrameSource& source, EngineSession& session, RunSummary* summary, const FrameLoop& loop);

}  // namespace mirvo_cli
