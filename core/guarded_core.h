#pragma once

#include <cstdint>

#include "core/core.h"
#include "core/crop_info.h"
#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {

// An opt-in wrapper for camera stacks that program the output table into the
// ISP without looking at it. The engine itself runs unchanged; the guard
// only touches what crosses its boundary:
//  - statistics cells with a zero count in any channel (nothing measured) are
//    handed to the engine as dark cells, which its own reliability test
//    rejects, instead of the 0/0 that would make its log chroma NaN;
//  - every output gain must be finite and inside [min_gain, max_gain]. A
//    table that is not is replaced by the last good one (the base table, or
//    a unity table, before any), one error line is logged, the event is
//    counted, and the engine's frame-to-frame state is reset to that of a
//    freshly built engine, keeping the tuning and crop, so one bad frame
//    cannot poison the frames after it.
// No path allocates per frame (with diagnostics off). Same calling order and
// threading rules as Core.
class GuardedCore {
 public:
  // Defaults that only catch tables which are plainly broken; a camera stack
  // should narrow them to the range its ISP registers hold.
  static constexpr float kDefaultMinGain = 1.0f / 64.0f;
  static constexpr float kDefaultMaxGain = 64.0f;

  GuardedCore();
  GuardedCore(const GuardedCore&) = delete;
  GuardedCore& operator=(const GuardedCore&) = delete;

  // The accepted gain range. False (and nothing changes) unless both bounds
  // are finite and 0 <= min_gain <= max_gain.
  bool SetGainRange(float min_gain, float max_gain);
  float min_gain() const { return min_gain_; }
  float max_gain() const { return max_gain_; }

  // As Core's; `params` must outlive the guard.
  bool LoadMirvoParams(const MirvoParams& params);
  void SetSensorCrop(const CropInfo& crop);
  // Hands the engine the statistics, with unmeasurable cells made dark.
  // False, as Core's, when the engine rejects the grid, and also (with an
  // error line) when a 24 x 32 record has no cell buffer.
  bool SetStats(const Stats& stats);
  bool SetInputLscTable(const LscTable& table);
  bool Execute();
  // Copies a table that passed the check, or the fallback, into `*out` and
  // returns true; false only when the engine has no table at all (as Core).
  bool GetOutputLscTable(LscTable* out);
  // Back to a newly built guard, keeping tuning, crop and gain range: the
  // engine's state reset as after a guarded frame, no last good table,
  // counters at zero. Allocates nothing (the fuzz targets call it between
  // inputs instead of building a guard each time).
  void Reset();

  // The guarded engine, for the debug record, the override map and the
  // intermediate grids. Driving it directly bypasses the guard.
  Core& core() { return core_; }
  const Core& core() const { return core_; }

  // Tables replaced since construction, and whether the last one was.
  long guarded_frames() const { return guarded_frames_; }
  bool last_frame_guarded() const { return last_frame_guarded_; }
  // The table the engine produced last, before the check: after a guarded
  // frame, the table that was rejected (the engine's state is reset by then).
  const LscTable& last_engine_table() const { return candidate_; }
  // Statistics records in which some cell was made dark, and such cells.
  long sanitised_frames() const { return sanitised_frames_; }
  long sanitised_cells() const { return sanitised_cells_; }

 private:
  // Everything the engine computed goes back to a newly constructed engine's
  // state; the host's inputs (base table, statistics) and Core's own records
  // (tuning working copy, debug record, crop, cropped profile) are kept.
  void ResetEngineState();

  Core core_;
  // Never configured nor run: the source of a fresh engine's state, copied
  // over core_ without allocating since every grid already has its shape.
  MirvoHybrid fresh_;
  Stats sanitised_;  // 24 x 32 from construction on
  LscTable candidate_;
  LscTable last_good_;
  bool has_last_good_ = false;
  float min_gain_ = kDefaultMinGain;
  float max_gain_ = kDefaultMaxGain;
  long guarded_frames_ = 0;
  bool last_frame_guarded_ = false;
  long sanitised_frames_ = 0;
  long sanitised_cells_ = 0;
};

}  // namespace mirvo
