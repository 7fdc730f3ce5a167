#pragma once

#include <string>

namespace mirvo::workbench {

// The rules a raw frame's description (size, depth, pattern, packing, grid)
// must meet, shared by the program and the module. Each check throws
// WorkbenchError with a reason that names the offending value by the
// caller's name for it ("--width" in the program, "width" in the module).
struct RawArgNames {
  std::string width = "width";
  std::string height = "height";
  std::string bits = "bits";
  std::string pattern = "pattern";
  std::string mipi = "mipi";
  std::string grid = "grid";
};

// Samples are scaled up to 14 bits by a left shift, so deeper raws cannot be taken.
inline constexpr int kMaxRawBits = 14;

// Planes are half the frame in each direction: both sides even.
void CheckEvenFrame(int width, int height, const RawArgNames& names);
// At most 2^28 pixels.
void CheckFrameArea(int width, int height);
// 1 to kMaxRawBits.
void CheckRawBits(int bits, const RawArgNames& names);
void CheckBayerPattern(const std::string& pattern, const RawArgNames& names);
// RAW10: groups of 4 pixels of 10 bits.
void CheckMipiLayout(int width, int bits, const RawArgNames& names);
// Cells of at least one sample, few enough for the 16-bit counts.
void CheckStatsGrid(int width, int height, int cols, int rows, const RawArgNames& names);

}  // namespace mirvo::workbench
