// Raw frames with fuzzed geometry, depth, pattern and packing over fuzzed
// bytes, then statistics from what was read.
#include <cstring>

#include "core/stats.h"
#include "scratch_file.h"
#include "tools/bayer_raw.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 6) return 0;
  // Bounded sizes keep each run fast; even sizes as the reader expects, but
  // odd ones are allowed through too.
  const int width = 1 + data[0] % 96;
  const int height = 1 + data[1] % 64;
  const int bit_depth = data[2] % 17;
  static const char* kPatterns[] = {"RGGB", "GRBG", "BGGR", "GBRG", "rggb", ""};
  const char* pattern = kPatterns[data[3] % 6];
  const bool mipi = data[4] & 1;
  const int grid_cols = data[5] % 40;
  const int grid_rows = (data[5] >> 3) % 30;
  const std::string& path = mirvo_fuzz::WriteScratch(data + 6, size - 6);
  mirvo::BayerRaw raw;
  const mirvo::errCode rc = raw.ReadRawImage(path.c_str(), width, height, bit_depth, pattern, mipi);
  if (rc != mirvo::kOk) return 0;
  mirvo::Stats stats;
  const uint16_t levels[4] = {data[2], data[3], data[4], data[5]};
  stats.CreateFromRaw(raw, levels, grid_cols, grid_rows);
  return 0;
}
