#include "core/mirvo_params.h"

namespace mirvo {

void InitMirvoParams(MirvoParams& params) {
  for (uint8_t& v : params.version) v = 0;
  params.tuning.min_level_thd = 0.001f;
  params.tuning.max_level_thd = 0.99f;
  params.tuning.sat_ratio_thd = 0.6f;
  params.tuning.smooth_thd = 0.04f;
  params.tuning.limit_thd = 0.01f;
  params.tuning.filter_input_stats = 0;
  params.tuning.prj_delta_thd = 0.15f;
  params.tuning.tint_update_gain = 0.3f;
  params.tuning.enable_temporal_filter = 1;
}

}  // namespace mirvo
