#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "core/stats.h"
#include "tools/stats_text_format.h"

namespace mirvo {
namespace {

uint16_t Mean(const StatsCell& cell, Channel channel) {
  const uint32_t count = cell.cnt[channel];
  return count == 0 ? 0 : static_cast<uint16_t>(cell.sum[channel] / count);
}

std::string HexValue(uint32_t value) {
  std::ostringstream text;
  text << "0x" << std::hex << value;
  return text.str();
}

}  // namespace

errCode Stats::Save(const char* path) const {
  FILE* file = std::fopen(path, "wb");
  if (file == nullptr) return kFileError;
  if (cells != nullptr && cols > 0 && rows > 0) {
    // Each cell becomes a BGGR quad of its channel means.
    std::vector<uint16_t> line(2 * static_cast<size_t>(cols));
    for (int r = 0; r < rows; ++r) {
      const StatsCell* row = cells + static_cast<size_t>(r) * static_cast<size_t>(cols);
      for (int c = 0; c < cols; ++c) {
        line[2 * c] = Mean(row[c], B);
        line[2 * c + 1] = Mean(row[c], Gr);
      }
      std::fwrite(line.data(), sizeof(uint16_t), line.size(), file);
      for (int c = 0; c < cols; ++c) {
        line[2 * c] = Mean(row[c], Gb);
        line[2 * c + 1] = Mean(row[c], R);
      }
      std::fwrite(line.data(), sizeof(uint16_t), line.size(), file);
    }
  }
  std::fclose(file);
  return kOk;
}

errCode Stats::SaveAsText(const char* path) const {
  FILE* file = std::fopen(path, "w");
  if (file == nullptr) return kFileError;
  const std::string count = std::to_string(kStatsTextValues);
  std::string text = "\n******** Stats BG Tintless ********\n";
  text += "*HW Unpacked Buffer : Length =        " + count;
  const int n = cells != nullptr && cols > 0 && rows > 0 ? cols * rows : 0;
  for (const StatsTextSection& section : kStatsTextSections) {
    // The headers always say 768, whatever the record's grid.
    text += "\n" + StatsTextMarker(section) + " =\n";
    for (int i = 0; i < n; ++i) {
      const uint32_t value = section.counts ? cells[i].cnt[section.channel] : cells[i].sum[section.channel];
      text += HexValue(value);
      text += '\t';
    }
  }
  std::fwrite(text.data(), 1, text.size(), file);
  std::fclose(file);
  return kOk;
}

}  // namespace mirvo
