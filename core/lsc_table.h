#pragma once

namespace mirvo {

// The lens shading correction table exchanged with the camera stack: four gain
// planes in Channel order, 13 rows x 17 columns each, no header or padding.
struct LscTable {
  float r_gain[13][17];
  float gr_gain[13][17];
  float gb_gain[13][17];
  float b_gain[13][17];
};
static_assert(sizeof(LscTable) == 884 * sizeof(float), "LscTable is 884 packed floats");

}  // namespace mirvo
