#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace dng_test {

// A minimal uncompressed 16-bit CFA DNG written tag by tag, independently of
// the workbench's writer: what an Android phone stores, in a few lines.
struct DngSpec {
  int width = 0, height = 0;
  std::vector<uint16_t> samples;  // height rows of width
  std::string pattern = "RGGB";   // at the ActiveArea's origin
  uint32_t black = 0, white = 1023;
  int active[4] = {0, 0, 0, 0};  // top, left, bottom, right; all 0: no ActiveArea
  std::vector<uint8_t> opcode_list2;
  bool big_endian = false;
  uint32_t photometric = 32803, samples_per_pixel = 1, bits = 16;
  int64_t strip_bytes = -1;  // the stored byte count; -1: the whole frame
};

std::vector<uint8_t> MakeDng(const DngSpec& spec);
void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes);

// An opcode list (big-endian) of GainMaps, one per Bayer position of the
// Android layout: phases in the order R, Gr, Gb, B of `pattern`, Bottom/Right
// the active area, MapSpacing 1/(points-1), origin 0. gains[p] holds
// rows x cols values for plane p (R, Gr, Gb, B).
std::vector<uint8_t> AndroidGainMaps(const std::string& pattern, int width, int height, int rows, int cols,
                                     const std::vector<std::vector<float>>& gains);

}  // namespace dng_test
