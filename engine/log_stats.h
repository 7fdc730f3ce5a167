#pragma once

#include <cstdint>

#include "core/error_code.h"
#include "core/export.h"
#include "core/matrix.h"
#include "core/stats.h"

namespace mirvo {

// Per-cell log chroma of one frame and the edge reliability flags. The
// 24 x 32 shape of the log grids fixes the statistics grid the engine accepts.
class MIRVO_EXPORT LogStats {
 public:
  LogStats();

  // Rejects any grid other than 24 rows x 32 columns with kInvalidInput and
  // changes nothing then; otherwise overwrites all four members.
  errCode Init(const Stats& stats, float min_level_thd, float max_level_thd, float sat_ratio_thd);

  Matrix<float> log_u_input;  // ln(R / G)
  Matrix<float> log_v_input;  // ln(B / G)
  // Row stride 32. Only columns 0..30 of dx and rows 0..22 of dy are edges;
  // dx column 31 repeats column 30 and dy row 23 copies dx row 22 (kept so the
  // recorded grids show it).
  uint8_t is_reliable_dx_[24][32];
  uint8_t is_reliable_dy_[24][32];
};

}  // namespace mirvo
