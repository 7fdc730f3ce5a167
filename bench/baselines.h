#pragma once

#include <benchmark/benchmark.h>

#include "bench_fixtures.h"

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
// the counter "x_floor". Both are this thread's CPU time, so that other
// processes on a shared machine do not move the ratio.
template <typename Body>
void Measure(benchmark::State& state, double floor_seconds, Body&& body) {
  const double start = ThreadSeconds();
  for (auto _ : state) body();
  state.counters["x_floor"] = (ThreadSeconds() - start) / state.iterations() / floor_seconds;
}

}  // namespace mirvo_bench
