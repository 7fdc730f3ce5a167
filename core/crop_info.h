#pragma once

#include <cstring>

namespace mirvo {

// Sensor crop in pixels. The member names double as override-map keys.
struct CropInfo {
  float in_w = 4032.0f;
  float in_h = 3024.0f;
  float offs_x = 0.0f;
  float offs_y = 0.0f;
  float out_w = 4032.0f;
  float out_h = 3024.0f;
};

// Crops compare as raw memory, so 0.0 and -0.0 are different crops and a NaN
// crop equals itself: a re-crop is skipped only for a bit-identical crop.
inline bool SameCrop(const CropInfo& a, const CropInfo& b) { return std::memcmp(&a, &b, sizeof(CropInfo)) == 0; }

}  // namespace mirvo
