#include "render/colormap.h"

#include <cmath>

namespace mirvo_cli {
namespace {

// Eleven evenly spaced stops of the viridis map; linear interpolation between
// stops stays within one or two levels of the full 256-entry table.
const Rgb kStops[] = {
    {68, 1, 84},    {72, 36, 117},  {65, 68, 135},  {53, 95, 141},  {42, 120, 142}, {33, 145, 140},
    {34, 168, 132}, {68, 191, 112}, {122, 209, 81}, {189, 223, 38}, {253, 231, 37},
};
constexpr int kNumStops = sizeof(kStops) / sizeof(kStops[0]);

uint8_t Mix(uint8_t a, uint8_t b, double f) { return static_cast<uint8_t>(std::lround(a + (b - a) * f)); }

}  // namespace

Rgb ColorMap(double t) {
  if (!(t > 0.0)) t = 0.0;  // also catches NaN
  if (t > 1.0) t = 1.0;
  const double pos = t * (kNumStops - 1);
  int i = static_cast<int>(pos);
  if (i >= kNumStops - 1) i = kNumStops - 2;
  const double f = pos - i;
  const Rgb& a = kStops[i];
  const Rgb& b = kStops[i + 1];
  return {Mix(a.r, b.r, f), Mix(a.g, b.g, f), Mix(a.b, b.b, f)};
}

}  // namespace mirvo_cli
