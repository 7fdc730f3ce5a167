#include "analysis/stats_reliability.h"

#include <cmath>
#include <cstdio>

namespace mirvo_cli {
namespace {

struct ChannelTest {
  float lo, hi, sat_ratio;
  // Which reasons a channel with these sums fails for; the arithmetic is the
  // engine's, in float, so a cell here fails exactly when it fails there.
  void Apply(uint32_t sum, uint32_t count, bool* low, bool* high) const {
    float mean = static_cast<float>(sum) / static_cast<float>(count);
    if (mean < lo) mean = lo;
    if (mean > hi) *high = true;
    if (mean <= lo) *low = true;
  }
  bool Saturated(uint16_t sat_cnt, uint16_t count) const {
    return sat_cnt > static_cast<uint32_t>(sat_ratio * static_cast<float>(count));
  }
};

}  // namespace

CellReliability AssessCells(const mirvo::Stats& stats, const mirvo::TuningParams& tuning) {
  CellReliability r;
  if (!stats.cells) return r;
  const float max_value = static_cast<float>((1u << stats.bit_depth) - 1);
  const ChannelTest test{max_value * tuning.min_level_thd, max_value * tuning.max_level_thd,
                         max_value * tuning.sat_ratio_thd};
  r.cells = stats.cols * stats.rows;
  for (int i = 0; i < r.cells; ++i) {
    const mirvo::StatsCell& c = stats.cells[i];
    bool low = false, high = false;
    test.Apply(c.sum[0], c.cnt[0], &low, &high);
    test.Apply(c.sum[1] + c.sum[2], static_cast<uint32_t>(c.cnt[1]) + c.cnt[2], &low, &high);
    test.Apply(c.sum[3], c.cnt[3], &low, &high);
    bool saturated = false;
    for (int ch = 0; ch < 4; ++ch) saturated = saturated || test.Saturated(c.sat_cnt[ch], c.cnt[ch]);
    r.low_level += low;
    r.high_level += high;
    r.saturated += saturated;
    r.unreliable += low || high || saturated;
    r.zero_count += c.cnt[0] == 0 || c.cnt[1] == 0 || c.cnt[2] == 0 || c.cnt[3] == 0;
  }
  return r;
}

std::string ReliabilityLine(const mirvo::Stats& stats, const CellReliability& r) {
  auto share = [&](int n) {
    char buf[32];
    std::snprintf(buf, sizeof(buf), "%.1f%%", r.cells ? 100.0 * n / r.cells : 0.0);
    return std::string(buf);
  };
  std::string line = std::to_string(stats.cols) + "x" + std::to_string(stats.rows) + " cells, " +
                     std::to_string(stats.bit_depth) + " bits; unreliable " + share(r.unreliable) + " (" +
                     std::to_string(r.unreliable) + " cells): low level " + share(r.low_level) + ", high level " +
                     share(r.high_level) + ", saturated " + share(r.saturated);
  if (r.zero_count > 0) line += "; " + std::to_string(r.zero_count) + " cells with zero counts";
  return line;
}

}  // namespace mirvo_cli
