#include "pipeline/frame_loop.h"

namespace mirvo_cli {

void RunFrameLoop(FrameSource& source, EngineSession& session, RunSummary* summary, const FrameLoop& loop) {
  for (size_t k = 0; k < loop.inputs.size(); ++k) {
    const mirvo::Stats stats = source.Take();
    const mirvo::LscTable& base = loop.bases[loop.bases.size() == 1 ? 0 : k];
    session.RunFrame(static_cast<int>(k), stats, base, loop.labels[k]);
    if (summary != nullptr)
      summary->AddFrame(static_cast<int>(k), loop.inputs[k], session.core(), base, session.output(),
                        session.LastGuardReason());
    if (loop.done) loop.done(static_cast<int>(k));
  }
}

}  // namespace mirvo_cli
