#pragma once

#include <string>
#include <vector>

#include "core/core.h"
#include "core/crop_info.h"
#include "core/guarded_core.h"
#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"
#include "pipeline/output_queue.h"

namespace mirvo_cli {

struct SessionOptions {
  std::string out_dir;
  bool debug = false;  // write diag_kkk.txt after every frame
  bool png = false;    // write tint_kkk.png and table_kkk.png
  bool has_crop = false;
  mirvo::CropInfo crop;
  std::string override_path;  // empty: none; checked by the caller (CheckOverrideFile)
  bool guard = false;         // drive the engine through mirvo::GuardedCore
  bool summary = false;       // the run writes summary.json and summary.csv at its end
  // The demo's own files: base.h and per frame stats_kkk.txt, and with
  // `save_raw` frame_kkk.raw.
  bool demo_files = false;
  bool save_raw = false;
};

// One Core driven over a sequence of frames exactly as the camera stack
// drives it (LoadMirvoParams, SetSensorCrop, then per frame SetStats,
// SetInputLscTable, Execute, GetOutputLscTable), writing each frame's outputs.
class EngineSession {
 public:
  // `params` must outlive the session: the Core keeps a pointer to it.
  // Tables and pictures are written through `outputs` when given (the
  // diagnostic dump always at once, since it is the engine's state).
  EngineSession(const mirvo::MirvoParams& params, const SessionOptions& options, OutputQueue* outputs = nullptr);

  // Runs frame `k` (`source` names its input in messages) and writes
  // table_kkk.h and, as configured, the dump and pictures. Throws DataError.
  void RunFrame(int k, const mirvo::Stats& stats, const mirvo::LscTable& base, const std::string& source);

  const mirvo::LscTable& output() const { return output_; }
  mirvo::Core& core() { return guarded_.core(); }
  // Frames whose table the guard replaced (always 0 without it).
  long guarded_frames() const { return guarded_.guarded_frames(); }
  // Whether the guard replaced the last frame's table, and why ("" if not).
  bool last_frame_guarded() const { return options_.guard && guarded_.last_frame_guarded(); }
  std::string LastGuardReason() const;

 private:
  // Calls the guard or the bare engine, as configured.
  bool SetStats(const mirvo::Stats& stats);
  bool GetOutputLscTable(mirvo::LscTable* out);

  SessionOptions options_;
  OutputQueue* outputs_;
  // Without --guard only its Core is used, exactly as the camera stack would.
  mirvo::GuardedCore guarded_;
  mirvo::LscTable output_{};
};

// Every file a run or demo writes over `frames` frames: the one list its
// output plan is checked against before the first output is replaced.
std::vector<std::string> SessionOutputPaths(const SessionOptions& options, size_t frames);

// The run summary's two files in `dir`.
inline std::string SummaryJsonPath(const std::string& dir) { return dir + "/summary.json"; }
inline std::string SummaryCsvPath(const std::string& dir) { return dir + "/summary.csv"; }

// Cells of the grid with a zero count in some channel.
int CountZeroCountCells(const mirvo::Stats& stats);
// Gains of the table that are NaN or infinite.
int CountNonFiniteGains(const mirvo::LscTable& table);
// Why a table fails the range [lo, hi]: "3 gains not finite, 1 outside
// [0.015625, 64]; first B[4][9] = nan"; "" when it passes.
std::string TableRangeReason(const mirvo::LscTable& table, float lo, float hi);

}  // namespace mirvo_cli
