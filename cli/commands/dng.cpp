#include <algorithm>
#include <cstdio>
#include <string>

#include "base/cli_error.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "workbench/dng/dng_reader.h"
#include "workbench/dng/gain_map_table.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo dng FILE\n"
    "\n"
    "Prints what a Bayer DNG holds: the stored and active sizes, the CFA order at the\n"
    "active area's corner, the bit depth (samples deeper than 14 bits are shifted to\n"
    "14), white and black levels (also in 14-bit units, as mirvo stats takes them),\n"
    "the as-shot white balance, the opcode lists and the GainMaps with their grid and\n"
    "range. A file that is not a complete Bayer CFA frame is refused with the reason.\n";

const char* OpcodeName(uint32_t id) {
  static const char* const kNames[] = {"?",
                                       "WarpRectilinear",
                                       "WarpFisheye",
                                       "FixVignetteRadial",
                                       "FixBadPixelsConstant",
                                       "FixBadPixelsList",
                                       "TrimBounds",
                                       "MapTable",
                                       "MapPolynomial",
                                       "GainMap",
                                       "DeltaPerRow",
                                       "DeltaPerColumn",
                                       "ScalePerRow",
                                       "ScalePerColumn",
                                       "WarpRectilinear2"};
  return id < sizeof kNames / sizeof kNames[0] ? kNames[id] : "unknown";
}

std::string Num(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%.6g", v);
  return b;
}

int Run(const std::vector<std::string>& argv) {
  const Args args("dng", {}, argv);
  const std::string path = args.OnePositional("DNG file");
  const mirvo::workbench::DngFrame f = mirvo::workbench::ReadDng(path);
  std::printf("%s: Bayer DNG, %dx%d active area at %d,%d of %dx%d stored, %s, %s%s\n", path.c_str(), f.width, f.height,
              f.top, f.left, f.raw_width, f.raw_height, f.pattern.c_str(),
              f.compression == 7 ? "lossless JPEG" : "uncompressed", f.linearised ? ", linearisation table" : "");
  std::printf("  levels: white %u, black %s %s %s %s (by 2x2 position), %d bits", f.white_level,
              Num(f.black[0]).c_str(), Num(f.black[1]).c_str(), Num(f.black[2]).c_str(), Num(f.black[3]).c_str(),
              f.bit_depth);
  if (f.shift > 0) std::printf(" after a right shift by %d", f.shift);
  std::printf("; black in 14-bit units B,Gr,Gb,R %u,%u,%u,%u\n", f.stats_black[0], f.stats_black[1], f.stats_black[2],
              f.stats_black[3]);
  if (f.has_neutral)
    std::printf("  white balance: as-shot neutral %s %s %s\n", Num(f.as_shot_neutral[0]).c_str(),
                Num(f.as_shot_neutral[1]).c_str(), Num(f.as_shot_neutral[2]).c_str());
  for (int l = 0; l < 3; ++l) {
    if (f.opcodes[l].empty()) continue;
    std::printf("  OpcodeList%d:", l + 1);
    for (const mirvo::workbench::Opcode& op : f.opcodes[l])
      std::printf(" %s(%u)%s", OpcodeName(op.id), op.id, op.flags & 1 ? "" : "!");
    std::printf("\n");
  }
  if (!f.has_gain_map) {
    std::printf("  GainMap: none\n");
    return kExitOk;
  }
  std::printf("  GainMap: %zu maps in OpcodeList%d\n", f.gain_maps.size(), f.gain_map_list);
  for (const mirvo::workbench::GainMap& m : f.gain_maps) {
    const auto range = std::minmax_element(m.gains.begin(), m.gains.end());
    std::printf(
        "    area %u,%u to %u,%u pitch %ux%u plane %u: %ux%u points, spacing %s %s, origin %s %s, gains %s to %s\n",
        m.top, m.left, m.bottom, m.right, m.row_pitch, m.col_pitch, m.plane, m.points_v, m.points_h,
        Num(m.spacing_v).c_str(), Num(m.spacing_h).c_str(), Num(m.origin_v).c_str(), Num(m.origin_h).c_str(),
        Num(*range.first).c_str(), Num(*range.second).c_str());
  }
  static const char* const kPlanes[4] = {"R", "Gr", "Gb", "B"};
  std::printf("  as a table:");
  for (int p = 0; p < 4; ++p) {
    const float* g = mirvo::workbench::TablePlane(f.gain_map, p);
    const auto range = std::minmax_element(g, g + 13 * 17);
    std::printf(" %s %s..%s", kPlanes[p], Num(*range.first).c_str(), Num(*range.second).c_str());
  }
  std::printf("\n");
  return kExitOk;
}

}  // namespace

const Command kCommandDng = {"dng", "print what a Bayer DNG file holds", kHelp, Run};

}  // namespace mirvo_cli
