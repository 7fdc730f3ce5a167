#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/lsc_table.h"

namespace mirvo_cli_test {

// A raw capture through a lens whose shading is exactly what `truth`
// corrects: every channel's light is the inverse of its gain plane,
// interpolated smoothly between the nodes, times the scene's reflectance.
struct ShotSettings {
  int width = 1024;
  int height = 768;
  int bits = 10;
  int black = 64;                  // frame units; 1024 in 14-bit units at 10 bits
  double level = 700.0;            // green above black where the gain is 1, frame units
  double red = 0.55, blue = 0.75;  // channel sensitivities relative to green
  double electrons_per_dn = 4.0;   // shot noise
  int hot_pixels = 16;
  bool dust = true;  // a soft dark spot, as dust on the sensor cover glass leaves
  uint64_t seed = 1;
  // Reflectance at (x, y) in [0, 1] (left to right, top to bottom); null: a white card.
  std::function<double(double, double, int channel)> scene;
};

// The capture as an RGGB mosaic of unpacked samples, row-major.
std::vector<uint16_t> RenderShot(const mirvo::LscTable& truth, const ShotSettings& shot);
void WriteRaw(const std::string& path, const std::vector<uint16_t>& mosaic);

// The table a lens shading calibration in JSON gives at `ct` (test data file name).
mirvo::LscTable TruthTable(const std::string& json_name, int ct);

// RMS over the 24 x 32 statistics cell centres of the demeaned log R/G and
// log B/G (both together) of a white card seen through the lens that `truth`
// corrects and then corrected by `applied`: the colour shading left.
double ResidualColourShading(const mirvo::LscTable& truth, const mirvo::LscTable& applied);

}  // namespace mirvo_cli_test
