#pragma once

namespace mirvo {
namespace internal {

// Keeps every stage on its portable path (the C library's scalar logf/expf,
// four-lane stage loops) even where a faster one is built and checked, so
// that tests and benchmarks compare both paths in one process. Set it only
// between frames: the stages read it while they run.
void ForcePortablePaths(bool on);
bool PortablePathsForced();

#if defined(__x86_64__)
// Whether the eight-lane (AVX2) forms of the vector loops may run; decided
// once for the whole library, so every stage takes the same path.
inline bool HaveEightLanes() {
#if defined(MIRVO_PORTABLE_PATHS_ONLY)
  return false;  // to test the four-lane code on any machine
#else
  static const bool have = __builtin_cpu_supports("avx2");
  return have && !PortablePathsForced();
#endif
}
#endif

}  // namespace internal
}  // namespace mirvo
