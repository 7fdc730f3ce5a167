#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/cpu_features.h"
#include "core/vector_math.h"

// Which logf/expf path the build and the machine take, and that forcing the
// portable one at run time takes it everywhere and returns the same bits.

namespace mirvo {
namespace {

using internal::VectorMathPath;
using internal::VectorMathPathAvailable;

#if defined(MIRVO_PORTABLE_PATHS_ONLY)
TEST(CodePaths, PortableBuildTakesOnlyTheScalarCalls) {
  EXPECT_EQ(VectorMathPathAvailable(), 0);
  EXPECT_EQ(VectorMathPath(), 0);
#if defined(__x86_64__)
  EXPECT_FALSE(internal::HaveEightLanes());
#endif
}
#elif (defined(__x86_64__) || defined(__aarch64__)) && defined(__GLIBC__)
TEST(CodePaths, CheckedLibraryTakesTheVectorPath) {
#if defined(__x86_64__)
  if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) GTEST_SKIP() << "no AVX2 and FMA";
  EXPECT_EQ(VectorMathPathAvailable(), __builtin_cpu_supports("avx512f") ? 2 : 1);
#else
  EXPECT_EQ(VectorMathPathAvailable(), 1);
#endif
  EXPECT_EQ(VectorMathPath(), VectorMathPathAvailable());
}
#elif defined(__aarch64__) && defined(__ANDROID__) && \
    (!defined(MIRVO_ANDROID_VECTOR_LOGF_EXPF) || MIRVO_ANDROID_VECTOR_LOGF_EXPF)
// The device's C library must agree with the vector form (vector_math_check
// compares every input).
TEST(CodePaths, DeviceTakesTheVectorPath) {
  EXPECT_EQ(VectorMathPathAvailable(), 1);
  EXPECT_EQ(VectorMathPath(), 1);
}
#endif

// Bit patterns spread over every input class (a step coprime with 2^32),
// the outputs of one path, and the check against the library's own calls.
struct Spread {
  static constexpr int kN = 4099;  // not a multiple of any lane count
  float in[kN];
  float logs[kN];
  float exps[kN];

  explicit Spread(uint32_t step) {
    for (int i = 0; i < kN; ++i) {
      const uint32_t bits = static_cast<uint32_t>(i) * step;
      std::memcpy(&in[i], &bits, sizeof bits);
    }
  }
  void ExpectLibrarysBits(int path) const {
    for (int i = 0; i < kN; ++i) {
      const float want_log = logf(in[i]);
      const float want_exp = expf(in[i]);
      ASSERT_EQ(std::memcmp(&want_log, &logs[i], sizeof want_log), 0) << "path " << path << " logf input " << i;
      ASSERT_EQ(std::memcmp(&want_exp, &exps[i], sizeof want_exp), 0) << "path " << path << " expf input " << i;
    }
  }
};

// Inputs of both functions' main paths and the special lanes around them.
TEST(CodePaths, ForcedPortablePathGivesTheLibrarysBits) {
  static Spread s(1048573u);
  const int before = VectorMathPath();
  internal::ForcePortablePaths(true);
  EXPECT_EQ(VectorMathPath(), 0);
#if defined(__x86_64__)
  EXPECT_FALSE(internal::HaveEightLanes());
#endif
  internal::LogfArray(s.in, s.logs, Spread::kN);
  internal::ExpfArray(s.in, s.exps, Spread::kN);
  internal::ForcePortablePaths(false);
  EXPECT_EQ(VectorMathPath(), before);
  s.ExpectLibrarysBits(0);
}

// Every path the machine can run, the narrower ones included (on an AVX-512
// machine the frame never takes the four-lane path, yet other x86-64 devices
// do); a path above the available one falls back to the scalar calls.
TEST(CodePaths, EveryPathGivesTheLibrarysBits) {
  static Spread s(2654435761u);
  for (int path = 0; path <= 3; ++path) {
    internal::LogfArrayOnPath(path, s.in, s.logs, Spread::kN);
    internal::ExpfArrayOnPath(path, s.in, s.exps, Spread::kN);
    s.ExpectLibrarysBits(path);
  }
}

}  // namespace
}  // namespace mirvo
