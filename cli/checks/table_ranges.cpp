#include "checks/table_ranges.h"

#include <cstdio>

#include "base/cli_error.h"

namespace mirvo_cli {
namespace {

// Throws for the first gain outside [lo, hi] (NaN included), in plane order.
void CheckGains(const std::string& path, const mirvo::LscTable& table, float lo, float hi, const char* why) {
  static const char* const kPlanes[4] = {"R", "Gr", "Gb", "B"};
  const float(*planes[4])[13][17] = {&table.r_gain, &table.gr_gain, &table.gb_gain, &table.b_gain};
  for (int p = 0; p < 4; ++p)
    for (int r = 0; r < 13; ++r)
      for (int c = 0; c < 17; ++c) {
        const float g = (*planes[p])[r][c];
        if (g >= lo && g <= hi) continue;
        char text[200];
        std::snprintf(text, sizeof(text), "gain %g of plane %s at row %d, column %d is outside %g to %g", g, kPlanes[p],
                      r + 1, c + 1, lo, hi);
        throw DataError(path + ": " + text + ", " + why);
      }
}

}  // namespace

void CheckBaseTableGains(const std::string& path, const mirvo::LscTable& table) {
  CheckGains(path, table, kMinBaseGain, kMaxBaseGain,
             "the range of a base table (the engine takes logarithms of its colour ratios)");
}

void CheckSimulatorGains(const std::string& path, const mirvo::LscTable& table) {
  CheckGains(path, table, 0.0f, kMaxSimulatorGain, "the range a simulator file's fixed-point integers hold");
}

}  // namespace mirvo_cli
