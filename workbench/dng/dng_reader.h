#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/lsc_table.h"
#include "core/stats.h"
#include "tools/bayer_raw.h"
#include "workbench/dng/opcode_list.h"

namespace mirvo {
namespace workbench {

// One DNG raw frame as the statistics path takes it: the active area's Bayer
// samples, brought to at most 14 bits, and what the file says about them.
struct DngFrame {
  std::string path;
  int raw_width = 0, raw_height = 0;       // the whole stored image
  int top = 0, left = 0;                   // the active area inside it
  int width = 0, height = 0;               // the active area, the frame's size
  std::vector<uint16_t> samples;           // height rows of width samples
  std::string pattern;                     // CFA order at the active area's origin
  int bit_depth = 0;                       // after `shift`, 1 to 14
  int shift = 0;                           // right shift taking deeper samples to 14 bits
  uint32_t white_level = 0;                // in file units (after linearisation)
  double black[4] = {0, 0, 0, 0};          // per quad position (y * 2 + x), file units
  uint16_t stats_black[4] = {0, 0, 0, 0};  // B, Gr, Gb, R in 14-bit units, as Stats::CreateFromRaw takes them
  bool linearised = false;                 // a LinearizationTable was applied
  uint16_t compression = 0;
  bool has_neutral = false;
  double as_shot_neutral[3] = {1, 1, 1};
  std::vector<Opcode> opcodes[3];  // OpcodeList1, 2, 3 as stored
  std::vector<GainMap> gain_maps;  // the native GainMaps the table comes from
  int gain_map_list = 0;           // 2 or 3: the list they are in; 0 without
  bool has_gain_map = false;
  LscTable gain_map{};  // the GainMaps on the table lattice
};

// Reads a Bayer DNG whole. Throws WorkbenchError "PATH: reason" for anything
// that is not a complete, supported Bayer CFA frame; sizes are checked against
// the file before anything the size of the frame is allocated.
DngFrame ReadDng(const std::string& path);

// What a DNG's directories say, without decoding its pixels: the checks
// ReadDng makes before decoding, and the GainMaps as a table. Throws
// WorkbenchError "PATH: reason".
struct DngHeader {
  int width = 0, height = 0;  // the active area
  std::string pattern;
  bool has_gain_map = false;
  LscTable gain_map{};
};
DngHeader ReadDngHeader(const std::string& path);

// The frame split into its Bayer planes at its own bit depth and pattern.
// Throws FileError naming the file.
void SplitDngFrame(const DngFrame& frame, BayerRaw* raw);

// The frame's statistics on a cols x rows grid, as the raw-frame path builds
// them from the same samples.
void DngStats(const DngFrame& frame, int cols, int rows, Stats* stats);

// Largest frame the reader takes.
inline constexpr uint64_t kMaxDngPixels = 200000000;

}  // namespace workbench
}  // namespace mirvo
