#pragma once

#include <cstdint>

#include "core/crop_info.h"
#include "core/export.h"

namespace mirvo {

// Thresholds and switches of the estimation. Field names are the override-map
// keys and the diagnostic scalar names.
struct TuningParams {
  float min_level_thd;
  float max_level_thd;
  float sat_ratio_thd;
  float smooth_thd;
  float limit_thd;
  int32_t filter_input_stats;  // only the value 1 enables the 3x3 smoothing
  float prj_delta_thd;
  float tint_update_gain;
  int32_t enable_temporal_filter;  // any non-zero value enables temporal blending
};

// Number of edges of the 24 x 32 statistics grid: 24 x 31 horizontal edges
// followed by 23 x 32 vertical ones.
inline constexpr int kNumHorizontalEdges = 24 * 31;
inline constexpr int kNumVerticalEdges = 23 * 32;
inline constexpr int kNumEdges = kNumHorizontalEdges + kNumVerticalEdges;

// The module's typical colour shading, for the full, uncropped sensor.
struct LearnedTintProfile {
  float BUL[13][17];
  float BVL[13][17];
  float BgUHXY[kNumEdges];
  float BgVHXY[kNumEdges];
};
static_assert(sizeof(LearnedTintProfile) == 3402 * sizeof(float), "profile is 3402 floats");

struct MirvoParams {
  uint8_t version[4];
  TuningParams tuning;
  LearnedTintProfile learned_tint_profile;
};

// Run-time debug record, edited by the host and by the override map.
struct MirvoDebugParams {
  bool debug_enable = false;
  float tint_visualization_gain = 1.0f;
  int32_t override_mode = 0;  // 0 reset once, 1 done, 2 read override file once, 3 done
  CropInfo crop;              // settable from the override map; not read by the library
};

// Sets version and tuning to their defaults; leaves the learned profile untouched.
MIRVO_EXPORT void InitMirvoParams(MirvoParams& params);

}  // namespace mirvo
