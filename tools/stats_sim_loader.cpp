#include <cstdio>
#include <fstream>
#include <string>

#include "core/stats.h"
#include "tools/stats_text_format.h"

namespace mirvo {
namespace {

// Reports a bad stream through perror; the badbit test after the
// failbit-or-badbit one can never fire and is kept for the message order.
bool StreamFailed(const std::ifstream& file) {
  if (file.eof()) {
    std::perror("stream eofbit. error state");
    return true;
  }
  if (file.fail()) {
    std::perror("stream failbit (or badbit). error state");
    return true;
  }
  if (file.bad()) {
    std::perror("stream badbit. error state");
    return true;
  }
  return false;
}

// Skips lines up to and including the one that starts with `marker`.
bool FindMarker(std::ifstream& file, const std::string& marker) {
  std::string line;
  for (;;) {
    std::getline(file, line);
    if (StreamFailed(file)) return false;
    if (line.compare(0, marker.size(), marker) == 0) return true;
  }
}

// Reads the section's values through `store`. std::stoul throws on a token
// that does not start with a hexadecimal number; callers validate first.
template <typename Store>
errCode ReadSection(std::ifstream& file, const std::string& marker, Store store) {
  if (!FindMarker(file, marker)) return kFileError;
  std::string token;
  for (int i = 0; i < kStatsTextValues; ++i) {
    file >> token;
    if (StreamFailed(file)) return kFileError;
    store(i, std::stoul(token, nullptr, 16));
  }
  return kOk;
}

}  // namespace

// Both section readers need a record of at least 768 cells (as the loader
// sizes it); a smaller one is refused rather than overrun.
errCode Stats::ReadStatsSumFromFile(Channel channel, std::ifstream& file, const std::string& marker) {
  if (cells == nullptr || static_cast<long long>(cols) * rows < kStatsTextValues) return kFileError;
  return ReadSection(file, marker,
                     [&](int i, unsigned long value) { cells[i].sum[channel] = static_cast<uint32_t>(value); });
}

errCode Stats::ReadStatsCountFromFile(Channel channel, std::ifstream& file, const std::string& marker) {
  if (cells == nullptr || static_cast<long long>(cols) * rows < kStatsTextValues) return kFileError;
  return ReadSection(file, marker,
                     [&](int i, unsigned long value) { cells[i].cnt[channel] = static_cast<uint16_t>(value); });
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
