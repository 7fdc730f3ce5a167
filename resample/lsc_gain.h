#pragma once

#include "core/error_code.h"
#include "core/export.h"
#include "core/lsc_table.h"
#include "core/matrix.h"

namespace mirvo {

// Log R/G and log B/G gains of a base table on the 24 x 32 statistics grid.
class MIRVO_EXPORT LscGain {
 public:
  LscGain();  // both grids 24 x 32 of 0

  // Recomputes both grids; ratios are resampled linearly, then the log taken.
  // Allocation-free: it runs on every frame.
  void Init(const LscTable& table);
  // Loads an LSC table header file first; on a loader failure returns its
  // code and leaves the grids as they were.
  errCode Init(const char* path);

  // Text dump of the linear ratios ("gain_rg:" / "gain_bg:", 24 lines each).
  errCode Save(const char* path) const;
  // 64 x 48 BGGR 10-bit raw image: green 512, red and blue carry the gains.
  errCode SaveAsRaw(const char* path) const;

  Matrix<float> lsc_log_RG_gain;
  Matrix<float> lsc_log_BG_gain;
};

}  // namespace mirvo
