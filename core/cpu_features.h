#pragma once

namespace mirvo {
namespace internal {

#if defined(__x86_64__)
// Whether the eight-lane (AVX2) forms of the vector loops may run; decided
// once for the whole library, so every stage takes the same path.
inline bool HaveEightLanes() {
#if defined(MIRVO_PORTABLE_PATHS_ONLY)
  static const bool have = false;  // to test the four-lane code on any machine
#else
  static const bool have = __builtin_cpu_supports("avx2");
#endif
  return have;
}
#endif

}  // namespace internal
}  // namespace mirvo
