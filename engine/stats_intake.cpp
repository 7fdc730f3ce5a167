#include "engine/gradient_steps.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {

namespace {

template <typename T>
void RecordChannel(MirvoState& state, const char* key, const Stats& stats, T (*get)(const StatsCell&)) {
  Matrix<T> m(stats.cols, stats.rows);
  const int n = stats.cols * stats.rows;
  for (int i = 0; i < n; ++i) m.data[i] = get(stats.cells[i]);
  state.Set(key, m);
}

}  // namespace

errCode MirvoHybrid::SetStats(const Stats& stats) {
  // Recorded before validation so that a rejected frame can be inspected too.
  if (pdebug_params_->debug_enable) {
    RecordChannel<unsigned int>(state_, "lin_stat_sum_R[24][32]", stats, [](const StatsCell& s) { return s.sum[R]; });
    RecordChannel<unsigned int>(state_, "lin_stat_sum_Gr[24][32]", stats, [](const StatsCell& s) { return s.sum[Gr]; });
    RecordChannel<unsigned int>(state_, "lin_stat_sum_Gb[24][32]", stats, [](const StatsCell& s) { return s.sum[Gb]; });
    RecordChannel<unsigned int>(state_, "lin_stat_sum_B[24][32]", stats, [](const StatsCell& s) { return s.sum[B]; });
    RecordChannel<unsigned short>(state_, "lin_stat_sat_cnt_R[24][32]", stats,
                                  [](const StatsCell& s) { return s.sat_cnt[R]; });
    RecordChannel<unsigned short>(state_, "lin_stat_sat_cnt_Gr[24][32]", stats,
                                  [](const StatsCell& s) { return s.sat_cnt[Gr]; });
    RecordChannel<unsigned short>(state_, "lin_stat_sat_cnt_Gb[24][32]", stats,
                                  [](const StatsCell& s) { return s.sat_cnt[Gb]; });
    RecordChannel<unsigned short>(state_, "lin_stat_sat_cnt_B[24][32]", stats,
                                  [](const StatsCell& s) { return s.sat_cnt[B]; });
    RecordChannel<unsigned short>(state_, "lin_stat_count[24][32]", stats, [](const StatsCell& s) { return s.cnt[R]; });
  }
  const TuningParams& tuning = pconfig_params_->tuning;
  return log_stats_.Init(stats, tuning.min_level_thd, tuning.max_level_thd, tuning.sat_ratio_thd);
}

void MirvoHybrid::RemoveUnreliableStats() {
  internal::MaskUnreliableGradients(log_stats_, GradH_UX, GradH_UY, GradH_VX, GradH_VY);
}

}  // namespace mirvo
