#pragma once

#include "core/matrix.h"

// Small loops over whole grids that several stages share. Loops over a fixed
// count with restrict pointers are what the compiler vectorises at -O2; a
// count that is not a multiple of four is split into whole four-lane steps
// and the rest, since only loops without a remainder are vectorised there.
namespace mirvo {
namespace internal {

template <int kBegin, int kEnd>
void DivideRun(float* __restrict x, float d) {
  for (int i = kBegin; i < kEnd; ++i) x[i] = x[i] / d;
}

// x[i] = x[i] / d for i < N.
template <int N>
void DivideAll(float* x, float d) {
  DivideRun<0, N / 4 * 4>(x, d);
  DivideRun<N / 4 * 4, N>(x, d);
}

template <int N>
void AddRun(const float* __restrict gain, float* __restrict log_input) {
  for (int i = 0; i < N; ++i) log_input[i] = gain[i] + log_input[i];
}

// The base table's log gains put back onto the log-chroma statistics,
// log_input[i] = gain[i] + log_input[i] over log_input's flat index (both
// grids are 24 x 32).
inline void AddLogGains(const Matrix<float>& gain, Matrix<float>& log_input) {
  AddRun<768>(gain.data.data(), log_input.data.data());
}

}  // namespace internal
}  // namespace mirvo
