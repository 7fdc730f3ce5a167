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

// Blue through near-white to red, evenly spaced from -1 to +1; both halves
// have matching lightness steps, so equal magnitudes look equally strong.
const Rgb kDivergingStops[] = {
    {5, 48, 97},     {33, 102, 172},  {67, 147, 195}, {146, 197, 222}, {209, 229, 240}, {247, 247, 247},
    {253, 219, 199}, {244, 165, 130}, {214, 96, 77},  {178, 24, 43},   {103, 0, 31},
};

uint8_t Mix(uint8_t a, uint8_t b, double f) { return static_cast<uint8_t>(std::lround(a + (b - a) * f)); }

template <int N>
Rgb Interpolate(const Rgb (&stops)[N], double t) {
  if (!(t > 0.0)) t = 0.0;  // also catches NaN
  if (t > 1.0) t = 1.0;
  const double pos = t * (N - 1);
  int i = static_cast<int>(pos);
  if (i >= N - 1) i = N - 2;
  const double f = pos - i;
  const Rgb& a = stops[i];
  const Rgb& b = stops[i + 1];
  return {Mix(a.r, b.r, f), Mix(a.g, b.g, f), Mix(a.b, b.b, f)};
}

}  // namespace

Rgb ColorMap(double t) { return Interpolate(kStops, t); }

Rgb DivergingColorMap(double s) { return Interpolate(kDivergingStops, (s + 1.0) / 2.0); }

}  // namespace mirvo_cli
