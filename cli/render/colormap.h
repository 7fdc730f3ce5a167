#pragma once

#include "render/image.h"

namespace mirvo_cli {

// Perceptually uniform colour map (dark blue through green to yellow) for
// t in [0, 1]; values outside are clamped.
Rgb ColorMap(double t);

// Colour used for cells whose value is not finite.
inline constexpr Rgb kInvalidColor = {255, 0, 255};

}  // namespace mirvo_cli
