#include "engine/log_stats.h"

#include <cmath>
#include <cstring>

#include "engine/gradient_steps.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {

namespace {

// The saturation limit is trunc(S x count). Comparing in float against the
// truncated product gives the same answer as an integer limit for every
// representable count, without an out-of-range conversion for odd tunings.
bool OverSaturated(uint16_t sat_cnt, float s, uint16_t cnt) {
  return static_cast<float>(sat_cnt) > std::trunc(s * static_cast<float>(cnt));
}

// Plain comparisons: a NaN mean fails neither test.
bool OutOfLevel(float mean, float lo, float hi) { return mean > hi || mean <= lo; }

template <typename T>
void RecordChannel(MirvoState& state, const char* key, const Stats& stats, T (*get)(const StatsCell&)) {
  Matrix<T> m(stats.cols, stats.rows);
  const int n = stats.cols * stats.rows;
  for (int i = 0; i < n; ++i) m.data[i] = get(stats.cells[i]);
  state.Set(key, m);
}

}  // namespace

LogStats::LogStats() : log_u_input(32, 24, 1.0f), log_v_input(32, 24, 1.0f), is_reliable_dx_(), is_reliable_dy_() {}

errCode LogStats::Init(const Stats& stats, float min_level_thd, float max_level_thd, float sat_ratio_thd) {
  if (stats.cols != log_u_input.cols || stats.rows != log_u_input.rows) return kInvalidInput;

  // Only the low five bits count as the shift; unsigned so that a depth of 31
  // does not overflow.
  const uint32_t max_value = (1u << (static_cast<uint32_t>(stats.bit_depth) & 31u)) - 1u;
  const float m = static_cast<float>(max_value);
  const float lo = m * min_level_thd;
  const float hi = m * max_level_thd;
  // The factor M in the saturation limit makes the test lenient; intended.
  const float s = m * sat_ratio_thd;

  uint8_t u_valid[24][32];
  uint8_t v_valid[24][32];
  std::memset(u_valid, 0, sizeof(u_valid));
  std::memset(v_valid, 0, sizeof(v_valid));

  const int rows = stats.rows;
  const int cols = stats.cols;
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < cols; ++c) {
      const StatsCell& cell = stats.cells[r * cols + c];
      u_valid[r][c] = 1;
      v_valid[r][c] = 1;

      const uint32_t green_sum = cell.sum[Gr] + cell.sum[Gb];
      const int green_cnt = cell.cnt[Gr] + cell.cnt[Gb];
      float g = static_cast<float>(green_sum) / static_cast<float>(green_cnt);
      if (g < lo) g = lo;
      float rm = static_cast<float>(cell.sum[R]) / static_cast<float>(cell.cnt[R]);
      if (rm < lo) rm = lo;
      float bm = static_cast<float>(cell.sum[B]) / static_cast<float>(cell.cnt[B]);
      if (bm < lo) bm = lo;

      log_u_input[r][c] = std::log(rm / g);
      log_v_input[r][c] = std::log(bm / g);

      const bool green_fails = OutOfLevel(g, lo, hi) || OverSaturated(cell.sat_cnt[Gr], s, cell.cnt[Gr]) ||
                               OverSaturated(cell.sat_cnt[Gb], s, cell.cnt[Gb]);
      if (green_fails) {
        u_valid[r][c] = 0;
        v_valid[r][c] = 0;
      } else {
        if (OutOfLevel(rm, lo, hi) || OverSaturated(cell.sat_cnt[R], s, cell.cnt[R])) u_valid[r][c] = 0;
        if (OutOfLevel(bm, lo, hi) || OverSaturated(cell.sat_cnt[B], s, cell.cnt[B])) v_valid[r][c] = 0;
      }
    }
  }

  // An edge is reliable only when both of its cells are reliable in u and v.
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c + 1 < cols; ++c) {
      is_reliable_dx_[r][c] = (u_valid[r][c] && v_valid[r][c] && u_valid[r][c + 1] && v_valid[r][c + 1]) ? 1 : 0;
    }
    is_reliable_dx_[r][cols - 1] = is_reliable_dx_[r][cols - 2];
  }
  for (int c = 0; c < cols; ++c) {
    for (int r = 0; r + 1 < rows; ++r) {
      is_reliable_dy_[r][c] = (u_valid[r][c] && v_valid[r][c] && u_valid[r + 1][c] && v_valid[r + 1][c]) ? 1 : 0;
    }
    // The filler row copies the horizontal flags of row 22, not the vertical
    // ones: nothing reads it, but the recorded grid shows it, so keep it.
    is_reliable_dy_[rows - 1][c] = is_reliable_dx_[rows - 2][c];
  }
  return kOk;
}

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
