#pragma once

#include <vector>

#include "core/matrix.h"

namespace mirvo {
namespace Filters {

// In-place 3 x 3 binomial smoothing ([1 2 1] x [1 2 1] / 16) of the interior;
// the first and last columns are smoothed only vertically, the first and last
// rows only horizontally, and the corners keep their values.
template <typename T>
void Gauss_3x3(Matrix<T>& m) {
  // Scratch on the stack for the grids the engine uses (13 x 17); larger grids
  // fall back to the heap.
  constexpr int kStack = 64;
  T stack_buf[kStack];
  std::vector<T> heap_buf;
  const int longest = m.cols > m.rows ? m.cols : m.rows;
  T* s = stack_buf;
  if (longest > kStack) {
    heap_buf.resize(longest);
    s = heap_buf.data();
  }
  const int C = m.cols;
  const int R = m.rows;
  if (C >= 2) {
    for (int r = 0; r < R; ++r) {
      T* row = m[r];
      for (int x = 0; x <= C - 2; ++x) s[x] = row[x] + row[x + 1];
      if (C > 2) {
        for (int x = 0; x <= C - 3; ++x) s[x] = s[x] + s[x + 1];
        for (int x = 0; x <= C - 3; ++x) row[x + 1] = T(0.25) * s[x];
      }
    }
  }
  if (R >= 2) {
    for (int c = 0; c < C; ++c) {
      for (int y = 0; y <= R - 2; ++y) s[y] = m(y, c) + m(y + 1, c);
      if (R > 2) {
        for (int y = 0; y <= R - 3; ++y) s[y] = s[y] + s[y + 1];
        for (int y = 0; y <= R - 3; ++y) m(y + 1, c) = T(0.25) * s[y];
      }
    }
  }
}

}  // namespace Filters
}  // namespace mirvo
