#pragma once

#include <string>

#include "core/lsc_table.h"

namespace mirvo_cli {

// Statistics of one 13 x 17 plane of gains.
struct PlaneSummary {
  double min = 0;
  double max = 0;
  double centre = 0;       // node [6][8]
  double corner_mean = 0;  // mean of the four corner nodes
  // Relative illumination at the corners that the plane corrects: centre
  // gain over mean corner gain, in percent (100% = no falloff).
  double corner_falloff = 0;
};

PlaneSummary SummarisePlane(const float (&plane)[13][17]);

// Printable summary: one line per plane, then the colour ratios R/G and B/G.
std::string TableSummary(const mirvo::LscTable& table);

}  // namespace mirvo_cli
