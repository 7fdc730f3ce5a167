#pragma once

#include <string>

#include "core/mirvo_params.h"
#include "core/stats.h"

namespace mirvo_cli {

// How many cells of a statistics grid the engine would not trust, and why:
// the engine's own test per channel (red, the greens together, blue) of its
// mean level against min_level_thd and max_level_thd and of its saturated
// pixel count against sat_ratio_thd. A cell fails when any channel fails; it
// counts under every reason that applies.
struct CellReliability {
  int cells = 0;
  int unreliable = 0;
  int low_level = 0;   // a channel mean at or below the low threshold (dark)
  int high_level = 0;  // a channel mean above the high threshold (bright)
  int saturated = 0;   // more saturated pixels than the limit
  int zero_count = 0;  // a channel without pixels (its log chroma is NaN)
};

CellReliability AssessCells(const mirvo::Stats& stats, const mirvo::TuningParams& tuning);

// "32x24 cells, 10 bits; unreliable 3.1% (24 cells): low level 2.0%, ..."
std::string ReliabilityLine(const mirvo::Stats& stats, const CellReliability& r);

}  // namespace mirvo_cli
