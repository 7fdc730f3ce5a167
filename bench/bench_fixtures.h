#pragma once

#include <time.h>

#include <cstdint>
#include <vector>

#include "core/lsc_table.h"
#include "core/stats.h"

namespace mirvo_bench {

// Realistic per-frame inputs: a 24 x 32 grid of a softly lit grey wall under
// vignetting and colour shading, 14-bit, with a different noise draw and a
// slow illuminant drift per frame, so no two frames are alike.
void MakeFrameStats(int frame, mirvo::Stats* stats);
// A smooth base table with vignetting gains and a mild colour cast.
void MakeBaseTable(int variant, mirvo::LscTable* table);
// A 4032 x 3024 RGGB 10-bit frame written once to a temp file, unpacked and
// RAW10 MIPI; returns the paths (files stay in the page cache).
const char* UnpackedRawPath();
const char* Raw10RawPath();
const std::vector<uint16_t>& RawSamples();

// CPU time of the calling thread, in seconds.
inline double ThreadSeconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// Seconds of this thread's CPU time per call of fn, the best of five rounds.
template <typename Fn>
double SecondsPerCall(Fn&& fn, int min_reps = 200) {
  double best = 1e30;
  for (int round = 0; round < 5; ++round) {
    const double start = ThreadSeconds();
    for (int i = 0; i < min_reps; ++i) fn();
    const double s = (ThreadSeconds() - start) / min_reps;
    if (s < best) best = s;
  }
  return best;
}

}  // namespace mirvo_bench
