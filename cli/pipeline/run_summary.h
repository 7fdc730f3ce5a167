#pragma once

#include <chrono>
#include <string>

#include "core/core.h"
#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "pipeline/engine_session.h"
#include "report/summary_format.h"

namespace mirvo_cli {

// Collects the run summary frame by frame from the engine's public state
// (projections, temporal gain, reliability flags, output table), so it costs
// no diagnostics: a few hundred comparisons a frame and, for the few frames
// kept whole, a copy of their grids.
class RunSummary {
 public:
  // Starts the clock; `run` describes the run (its frame count and times are
  // filled in by Write).
  explicit RunSummary(RunRecord run);

  // Records frame `k` after GetOutputLscTable: `output` is that table;
  // `guard_reason` non-empty: the guard replaced the engine's table, why.
  void AddFrame(int k, const std::string& input, const mirvo::Core& core, const mirvo::LscTable& base,
                const mirvo::LscTable& output, const std::string& guard_reason = "");

  // Stops the clock and writes DIR/summary.json and DIR/summary.csv,
  // atomically. Throws DataError.
  void Write(const std::string& dir);

  // The summary as collected so far (grids in frame order).
  RunSummaryData Data() const;

  // Frames kept whole besides the first and the last, per reason.
  static constexpr int kKeepPerReason = 3;

 private:
  struct Kept {
    FrameGrids grids;
    float score = 0;  // larger is more notable within its reason
  };
  void Keep(const std::string& reason, float score, const FrameGrids& grids, std::vector<Kept>* list);

  RunSummaryData data_;
  std::chrono::steady_clock::time_point start_;
  FrameGrids first_;
  FrameGrids last_;
  std::vector<Kept> nonfinite_;
  std::vector<Kept> jumps_;
  std::vector<Kept> rescale_changes_;
  int last_rescaled_ = -1;  // of the last frame whose rescale was evaluated; -1 none yet
};

// The run record of a run over `inputs` (of kind "stats", "raw" or
// "synthetic") with `options` and the engine's tuning after any override.
// `tuning_path` empty: the built-in tuning.
RunRecord MakeRunRecord(const std::string& command, const std::string& input_kind,
                        const std::vector<std::string>& inputs, const std::string& base_path,
                        const std::string& tuning_path, const SessionOptions& options,
                        const mirvo::TuningParams& tuning);

// Plain figures of one frame, exposed for tests.
FrameRecord MakeFrameRecord(int k, const std::string& input, const mirvo::Core& core, const mirvo::LscTable& base,
                            const mirvo::LscTable& output, const std::string& guard_reason = "");

}  // namespace mirvo_cli
