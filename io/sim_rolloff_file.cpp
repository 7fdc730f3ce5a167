#include "io/sim_rolloff_file.h"

#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>

namespace mirvo {
namespace {

// The simulator's mesh geometry; fixed, independent of the table.
constexpr const char kHeader[] =
    "// Rolloff Table\n"
    "NUM_MESHGAIN_V = 11\n"
    "NUM_MESHGAIN_H = 15\n"
    "BLOCK_HEIGHT = 127\n"
    "BLOCK_WIDTH = 127\n"
    "INTERP_FACTOR = 3\n"
    "SUB_GRID_Y_DELTA = 65536\n"
    "SUB_GRID_X_DELTA = 65536\n"
    "SUB_GRID_HEIGHT = 15\n"
    "SUB_GRID_WIDTH = 15\n"
    "PIXEL_Y_INDEX = 12\n"
    "PIXEL_X_INDEX = 0\n"
    "BLOCK_Y_INDEX = 0\n"
    "BLOCK_X_INDEX = 0\n"
    "SUB_GRID_Y_INDEX = 0\n"
    "SUB_GRID_X_INDEX = 1\n"
    "Y_DELTA_ACCUM = 786432\n"
    "\n";

// Gain in fixed point with 10 fractional bits, truncated toward zero.
int32_t FixedPoint(float gain) { return static_cast<int32_t>(static_cast<double>(gain) * 1024.0 + 0.5); }

void WritePlane(std::ostream& out, const char* title, const float (&plane)[13][17]) {
  out << title << '\n';
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      char number[16];
      std::snprintf(number, sizeof number, "%d", static_cast<int>(FixedPoint(plane[r][c])));
      out << number << (r == 12 && c == 16 ? "\n" : ", ");
    }
  }
}

}  // namespace

void LscTableWriteSimText(std::ostream& out, const LscTable& table) {
  out << kHeader;
  // The simulator expects B before Gb, unlike the table's own plane order.
  WritePlane(out, "MESH_TABLE_R = ", table.r_gain);
  WritePlane(out, "\nMESH_TABLE_GR = ", table.gr_gain);
  WritePlane(out, "\nMESH_TABLE_B = ", table.b_gain);
  WritePlane(out, "\nMESH_TABLE_GB = ", table.gb_gain);
}

errCode LscTableSaveTovanSimFile(const char* path, const LscTable& table) {
  if (!path) return kFileError;
  FILE* f = std::fopen(path, "w");
  if (!f) return kFileError;
  std::ostringstream out;
  LscTableWriteSimText(out, table);
  const std::string text = out.str();
  std::fwrite(text.data(), 1, text.size(), f);
  std::fclose(f);
  return kOk;
}

}  // namespace mirvo
