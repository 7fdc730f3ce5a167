#pragma once

#include <cstdint>
#include <vector>

#include "core/lsc_table.h"
#include "core/mirvo_params.h"

namespace mirvo_cli {

// The lens of the synthetic camera: luminance vignetting and a colour
// shading, both smooth functions of the normalised image position (x, y in
// [0, 1], left to right and top to bottom). The colour shading is in log
// chroma: u = ln(R/G) and v = ln(B/G) that the lens adds to a flat field.
// One part of it (radial) is what a base table calibrated under another
// illuminant corrects; the rest, shaped like the learned tint profile plus a
// tilt of its own, is the residual tint the engine should find.
class DemoLens {
 public:
  DemoLens(const mirvo::LearnedTintProfile& profile, double aspect);

  double Vignetting(double x, double y) const;
  // Full colour shading of the lens under the scene's light.
  double ShadingU(double x, double y) const { return CalibratedU(x, y) + ResidualU(x, y); }
  double ShadingV(double x, double y) const { return CalibratedV(x, y) + ResidualV(x, y); }
  // The part the base table knows about.
  double CalibratedU(double x, double y) const;
  double CalibratedV(double x, double y) const;
  // The part it does not.
  double ResidualU(double x, double y) const;
  double ResidualV(double x, double y) const;

  // Base table: flattens the vignetting and the calibrated colour part.
  mirvo::LscTable BaseTable() const;

 private:
  double RadiusSquared(double x, double y) const;
  double Profile(const float (&plane)[13][17], double x, double y) const;

  mirvo::LearnedTintProfile profile_;
  double aspect_;  // height / width
};

// A raw frame as four quarter-resolution planes (RGGB quad: R top-left, Gr
// top-right, Gb bottom-left, B bottom-right), samples with black level.
struct DemoFrame {
  int half_width = 0;
  int half_height = 0;
  std::vector<uint16_t> r, gr, gb, b;
};

struct DemoCamera {
  int width = 1008;
  int height = 756;
  int bits = 10;
  int black_level = 64;  // in the frame's own units
  uint64_t seed = 20240601;
};

// What the lens does to each sample site of the four planes: vignetting
// times the colour shading of the site's channel. Computed once per sequence.
struct LensGains {
  std::vector<float> r, gr, gb, b;
};
LensGains ComputeLensGains(const DemoCamera& camera, const DemoLens& lens);

// Renders frame `index` of the capture sequence: a textured wall with a few
// coloured objects, the camera shaking slightly from frame to frame, through
// the lens, with shot and read noise from a seeded generator.
DemoFrame RenderDemoFrame(const DemoCamera& camera, const LensGains& lens, int index);

// Interleaves the planes into an RGGB mosaic (row-major samples).
std::vector<uint16_t> Mosaic(const DemoFrame& frame);

}  // namespace mirvo_cli
