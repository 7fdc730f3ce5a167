#pragma once

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

}  // namespace mirvo_bench
