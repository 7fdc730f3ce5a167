#include "core/stats.h"

#include <cstring>
#include <new>
#include <utility>

namespace mirvo {

Stats::~Stats() { delete[] cells; }

Stats::Stats(Stats&& other) noexcept { *this = std::move(other); }

Stats& Stats::operator=(Stats&& other) noexcept {
  if (this != &other) {
    delete[] cells;
    bit_depth = other.bit_depth;
    std::memcpy(black_level, other.black_level, sizeof(black_level));
    std::memcpy(black_level_gain, other.black_level_gain, sizeof(black_level_gain));
    cols = other.cols;
    rows = other.rows;
    cells = other.cells;
    other.cells = nullptr;
    other.cols = 0;
    other.rows = 0;
  }
  return *this;
}

errCode Stats::ConfigureStatsSize(int cols_, int rows_) {
  cols = cols_;
  rows = rows_;
  bit_depth = 14;
  delete[] cells;
  cells = nullptr;
  const long long n = static_cast<long long>(cols_) * rows_;
  if (n > 0) {
    cells = new StatsCell[static_cast<size_t>(n)];
    std::memset(cells, 0, sizeof(StatsCell) * static_cast<size_t>(n));
  }
  return kOk;
}

}  // namespace mirvo
