#pragma once

#include <string>

#include "core/channel.h"

namespace mirvo {

// Section layout shared by the simulator statistics text files and the
// statistics text dump: eight sections of 768 values, sums before counts,
// each in the channel order R, B, Gr, Gb.
inline constexpr int kStatsTextValues = 768;

struct StatsTextSection {
  const char* prefix;  // the marker is prefix + "768]"
  Channel channel;
  bool counts;
};

inline constexpr StatsTextSection kStatsTextSections[8] = {
    {"*r_sum[", R, false}, {"*b_sum[", B, false}, {"*g_or_gr_sum[", Gr, false}, {"*y_or_gb_sum[", Gb, false},
    {"*r_cnt[", R, true},  {"*b_cnt[", B, true},  {"*g_or_gr_cnt[", Gr, true},  {"*y_or_gb_cnt[", Gb, true},
};

inline std::string StatsTextMarker(const StatsTextSection& section) {
  return section.prefix + std::to_string(kStatsTextValues) + "]";
}

}  // namespace mirvo
