#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/lsc_table.h"

namespace mirvo {
class BayerRaw;
}

namespace mirvo::workbench {

struct ResidualShading;

// An 8-bit sRGB picture, rows of RGB triples.
struct RgbImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> pixels;
};

// A raw frame as its four quarter-resolution planes in BayerRaw's assignment
// (R, Gr, Gb, B: the quad's top-row green is Gr whatever the pattern), with
// its levels in the samples' own units. Any raw source (a raw dump, a DNG)
// fills one; the planes are borrowed.
struct BayerPlanes {
  int width = 0;   // quads per row
  int height = 0;  // quad rows
  const uint16_t* plane[4] = {nullptr, nullptr, nullptr, nullptr};
  float black[4] = {0, 0, 0, 0};  // R, Gr, Gb, B
  float white = 0;                // the clipping level
};

// The planes of a BayerRaw with the statistics' black levels (B, Gr, Gb, R
// in 14-bit units, as Stats::CreateFromRaw takes them), so the pictures see
// the black the engine saw; white 2^bits - 1.
BayerPlanes PlanesOf(const BayerRaw& raw, const uint16_t (&levels)[4]);

// Everything of a rendering but the table: white balance and exposure as
// multipliers of the black-removed, range-normalised samples. Two renderings
// with one look differ only by their tables.
struct PreviewLook {
  std::array<float, 3> gain = {1, 1, 1};  // R, G, B, exposure included
};

struct LookOptions {
  // The camera's neutral (R, G, B response to grey, as a DNG's AsShotNeutral);
  // without one the grey cells of the frame's statistics decide.
  std::optional<std::array<float, 3>> as_shot_neutral;
  double percentile = 0.99;  // this share of the quads' brightest channel ...
  double level = 0.9;        // ... sits at this linear output level
};

// The look of `planes` corrected by `table` (null: unity): white balance from
// the neutral or the grey cells, exposure from the percentile. A caller that
// has MeasureResidual(planes, table) passes it as `residual`, so the grey
// cells are not measured again. Throws WorkbenchError on planes without
// samples or a neutral that is not positive.
PreviewLook ChooseLook(const BayerPlanes& planes, const LscTable* table, const LookOptions& options = {},
                       const ResidualShading* residual = nullptr);

// One pixel per Bayer quad: black removed, each plane multiplied by the
// table's gain (bicubic from the 13 x 17 lattice), greens averaged, the look
// applied, clipped, the sRGB transfer curve. With out_width > 0 and below the
// quad width, box-averaged (in linear light) down to that width. Single
// threaded and deterministic.
RgbImage RenderPreview(const BayerPlanes& planes, const LscTable* table, const PreviewLook& look, int out_width = 0);

}  // namespace mirvo::workbench
