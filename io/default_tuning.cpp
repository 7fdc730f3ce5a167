// The built-in tuning record is data/default_tuning.h itself, compiled as it
// stands: one file is both the record the library starts from and the tuning
// header file LoadTuningHeaderFile reads. It is made by
// scripts/make_default_tuning.sh with mirvo table --import and mirvo learn;
// see data/README.md.
#include "io/default_tuning.h"

#include <cstring>

namespace mirvo {
namespace {

// The layout the header's [TuningParams] initialiser fills: TuningParams' fields in order.
struct mirvo_tuning_params {
  float min_level_thd;
  float max_level_thd;
  float sat_ratio_thd;
  float smooth_thd;
  float limit_thd;
  int32_t filter_input_stats;
  float prj_delta_thd;
  float tint_update_gain;
  int32_t enable_temporal_filter;
};

#include "data/default_tuning.h"

MirvoParams MakeDefault() {
  MirvoParams p;
  std::memset(&p, 0, sizeof p);
  std::memcpy(p.version, mirvo_version, sizeof p.version);
  p.tuning.min_level_thd = mirvo_tuning.min_level_thd;
  p.tuning.max_level_thd = mirvo_tuning.max_level_thd;
  p.tuning.sat_ratio_thd = mirvo_tuning.sat_ratio_thd;
  p.tuning.smooth_thd = mirvo_tuning.smooth_thd;
  p.tuning.limit_thd = mirvo_tuning.limit_thd;
  p.tuning.filter_input_stats = mirvo_tuning.filter_input_stats;
  p.tuning.prj_delta_thd = mirvo_tuning.prj_delta_thd;
  p.tuning.tint_update_gain = mirvo_tuning.tint_update_gain;
  p.tuning.enable_temporal_filter = mirvo_tuning.enable_temporal_filter;
  LearnedTintProfile& profile = p.learned_tint_profile;
  std::memcpy(profile.BUL, mirvo_BUL, sizeof profile.BUL);
  std::memcpy(profile.BVL, mirvo_BVL, sizeof profile.BVL);
  std::memcpy(profile.BgUHXY, mirvo_BgUHXY, sizeof profile.BgUHXY);
  std::memcpy(profile.BgVHXY, mirvo_BgVHXY, sizeof profile.BgVHXY);
  return p;
}

}  // namespace

const MirvoParams& DefaultMirvoParams() {
  // Not const: MirvoTuning hands it out as its writable default record.
  static MirvoParams params = MakeDefault();
  return params;
}

}  // namespace mirvo
