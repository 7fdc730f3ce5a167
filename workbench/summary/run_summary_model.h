#pragma once

#include <array>
#include <string>
#include <vector>

namespace mirvo::workbench {

// What a run records about itself: one record per frame, the run itself, and
// the full grids of a few frames worth a closer look. The program writes it
// as DIR/summary.json (read back by its report) and DIR/summary.csv (the
// frame records only, for spreadsheets); frame_fields.h says how each frame
// field is spelled in both.

inline constexpr int kLatticeNodes = 13 * 17;
using LatticeGrid = std::array<float, kLatticeNodes>;  // row-major 13 x 17

struct FrameRecord {
  int index = 0;
  std::string input;
  float prj_u = 0;
  float prj_v = 0;
  float temporal_gain = 0;          // the temporal filter's update gain
  std::array<float, 4> gain_min{};  // per plane R, Gr, Gb, B; NaN when no gain is finite
  std::array<float, 4> gain_max{};
  float rescale = 1;  // the merge's divisor; 1 when it did not rescale
  bool rescaled = false;
  int unreliable_dx = 0;    // of the 744 horizontal edges
  int unreliable_dy = 0;    // of the 736 vertical edges
  int nonfinite_gains = 0;  // in the output table
  bool nonfinite_projection = false;
  bool jump = false;  // the temporal filter saw a large change
  // The guard (run --guard) replaced the engine's table; the frame's table
  // figures are then those of the replacement, and the rescale is not
  // evaluated (rescaled false, rescale NaN): the table written is not the merge's.
  bool guarded = false;
  std::string guard_reason;  // what the engine's table failed; "" if not guarded
};

// The grids of one kept frame, exactly as the engine left them.
struct FrameGrids {
  int index = 0;
  std::vector<std::string> reasons;  // "first", "last", "non-finite", "jump", "rescale"
  LatticeGrid linear_tint_u{};
  LatticeGrid linear_tint_v{};
  std::array<LatticeGrid, 4> table{};  // R, Gr, Gb, B
};

struct RunRecord {
  std::string program_version;
  std::string command;     // "run" or "demo"
  std::string input_kind;  // "stats", "raw" or "synthetic"
  std::vector<std::string> inputs;
  std::string base;
  std::string tuning;  // a path, or "built-in"
  bool crop_given = false;
  std::array<float, 6> crop{};  // in_w, in_h, offs_x, offs_y, out_w, out_h as applied
  std::string override_map;     // empty: none
  bool temporal_filter = false;
  float prj_delta_thd = 0;
  float tint_update_gain = 0;
  bool guard = false;      // run --guard
  int guarded_frames = 0;  // frames whose table the guard replaced
  int frames = 0;
  double seconds_total = 0;
  double seconds_per_frame = 0;
};

struct RunSummaryData {
  RunRecord run;
  std::vector<FrameRecord> frames;
  std::vector<FrameGrids> grids;  // by frame index
};

}  // namespace mirvo::workbench
