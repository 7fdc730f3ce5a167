#pragma once

#include <string>

namespace mirvo_cli_test {

// Small inputs for the end-to-end tests, all written into `dir`:
//   base.h                 LSC table header file (the demo lens's base table)
//   tuning.h               tuning header file: the built-in tuning with
//                          smooth_thd 0.05 and limit_thd 0.012
//   override.txt           override map setting smooth_thd and limit_thd
//   stats_000..002.txt     statistics dumps of three demo frames
//   raw_000..002.raw       the same kind of frames, 520x384 RGGB 10-bit unpacked
//   mipi_000..002.raw      the same frames packed as RAW10 (rows padded)
//   zero_counts.txt        a dump whose first two rows of cells are empty
//                          (zero counts and sums)
// Frames have black level 64 (10-bit), that is 1024 in 14-bit units.
void WriteFixtures(const std::string& dir);

inline constexpr int kRawWidth = 520;
inline constexpr int kRawHeight = 384;
inline constexpr int kFrames = 3;

}  // namespace mirvo_cli_test
