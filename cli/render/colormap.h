#pragma once

#include "render/image.h"

namespace mirvo_cli {

// Perceptually uniform colour map (dark blue through green to yellow) for
// t in [0, 1]; values outside are clamped.
Rgb ColorMap(double t);

// Diverging colour map for signed values, s in [-1, 1]: blue for negative,
// near-white at zero, red for positive; values outside are clamped.
Rgb DivergingColorMap(double s);

// Colour used for cells whose value is not finite.
inline constexpr Rgb kInvalidColor = {255, 0, 255};

}  // namespace mirvo_cli
