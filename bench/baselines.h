#pragma once

#include <benchmark/benchmark.h>

#include <chrono>

namespace mirvo_bench {

// Floors measured in the same run, in seconds per call:
// the engine's per-frame logf/expf calls alone (3072 logf, 442 expf),
double MathFloorSeconds();
// a given number of logf and expf calls alone (a stage's own share),
double MathFloorSeconds(int logf_calls, int expf_calls);
// one trivial pass over the 768 statistics cells (every field read, one
// division per cell),
double CellPassSeconds();
// and a plain read of a 12 MP frame's samples (sum of all of them).
double RawReadSeconds();

// Runs body once per iteration and reports its mean time over the floor as
// the counter "x_floor".
template <typename Body>
void Measure(benchmark::State& state, double floor_seconds, Body&& body) {
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) body();
  const double per_iter =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / state.iterations();
  state.counters["x_floor"] = per_iter / floor_seconds;
}

}  // namespace mirvo_bench
