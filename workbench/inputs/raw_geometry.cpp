#include "workbench/inputs/raw_geometry.h"

#include <cstdint>

#include "workbench/error.h"

namespace mirvo::workbench {

void CheckEvenFrame(int width, int height, const RawArgNames& names) {
  if (width % 2 || height % 2) throw WorkbenchError(names.width + " and " + names.height + " must be even");
}

void CheckFrameArea(int width, int height) {
  if (static_cast<uint64_t>(width) * static_cast<uint64_t>(height) > (1ull << 28))
    throw WorkbenchError("frame of " + std::to_string(width) + "x" + std::to_string(height) + " pixels is too large");
}

void CheckRawBits(int bits, const RawArgNames& names) {
  if (bits < 1 || bits > kMaxRawBits)
    throw WorkbenchError(names.bits + ": " + std::to_string(bits) + " is not within 1.." + std::to_string(kMaxRawBits));
}

void CheckBayerPattern(const std::string& p, const RawArgNames& names) {
  if (p != "RGGB" && p != "GRBG" && p != "BGGR" && p != "GBRG")
    throw WorkbenchError(names.pattern + ": unknown Bayer pattern '" + p + "' (RGGB, GRBG, BGGR or GBRG)");
}

void CheckMipiLayout(int width, int bits, const RawArgNames& names) {
  if (width % 4)
    throw WorkbenchError(names.mipi + ": RAW10 rows hold groups of 4 pixels, " + names.width +
                         " must be a multiple of 4");
  if (bits != 10) throw WorkbenchError(names.mipi + ": RAW10 samples have 10 bits, " + names.bits + " must be 10");
}

void CheckStatsGrid(int width, int height, int cols, int rows, const RawArgNames& names) {
  const long cell_w = cols > 0 ? width / 2 / cols : 0;
  const long cell_h = rows > 0 ? height / 2 / rows : 0;
  if (cell_w < 1 || cell_h < 1) throw WorkbenchError(names.grid + ": the frame is too small for this many cells");
  // Counts are 16-bit and sums 32-bit per cell.
  if (cell_w * cell_h > 65535)
    throw WorkbenchError(names.grid + ": cells of " + std::to_string(cell_w * cell_h) +
                         " samples overflow the 16-bit counts; use a finer grid");
}

}  // namespace mirvo::workbench
