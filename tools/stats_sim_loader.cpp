#include <fstream>
#include <string>

#include "core/stats.h"
#include "tools/stats_text.h"

namespace mirvo {

// Both section readers need a record of at least 768 cells (as the loader
// sizes it); a smaller one is refused rather than overrun.
errCode Stats::ReadStatsSumFromFile(Channel channel, std::ifstream& file, const std::string& marker) {
  if (cells == nullptr || static_cast<long long>(cols) * rows < kStatsTextValues) return kFileError;
  return internal::ReadStatsSection(file, marker, false, channel, cells, nullptr);
}

errCode Stats::ReadStatsCountFromFile(Channel channel, std::ifstream& file, const std::string& marker) {
  if (cells == nullptr || static_cast<long long>(cols) * rows < kStatsTextValues) return kFileError;
  return internal::ReadStatsSection(file, marker, true, channel, cells, nullptr);
}

int Stats::LoadSimStatsElmrak(const char* path) {
  ConfigureStatsSize(32, 24);
  std::ifstream file(path);
  if (!file.is_open()) return kFileError;
  for (const StatsTextSection& section : kStatsTextSections) {
    const std::string marker = StatsTextMarker(section);
    const errCode result = section.counts ? ReadStatsCountFromFile(section.channel, file, marker)
                                          : ReadStatsSumFromFile(section.channel, file, marker);
    if (result != kOk) return result;
  }
  file.close();
  return kOk;
}

}  // namespace mirvo
