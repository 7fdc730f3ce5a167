#pragma once

namespace mirvo {

// Red-to-green and blue-to-green ratio (or log ratio) at one point.
struct Rgbg {
  float rg;
  float bg;
};

}  // namespace mirvo
