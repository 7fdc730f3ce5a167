#include "core/vector_math.h"

#include <cmath>
#include <cstring>

#include "core/cpu_features.h"
#include "core/vector_math_kernels.h"

// Which path the array functions take, the start-up check that chooses it,
// and the scalar calls for the rest; the vector forms themselves are in one
// file per instruction set.
namespace mirvo {
namespace internal {

#if !defined(MIRVO_VECTOR_MATH_X86) && !defined(MIRVO_VECTOR_MATH_NEON)
// No vector form in this build: every element goes to the library.
int WidestVectorUnits() { return kScalar; }
int LogfVectorRuns(int, const float*, float*, int) { return 0; }
int ExpfVectorRuns(int, const float*, float*, int) { return 0; }
#endif

namespace {

void LogfOnPath(int path, const float* in, float* out, int n) {
  for (int i = path == kScalar ? 0 : LogfVectorRuns(path, in, out, n); i < n; ++i) out[i] = logf(in[i]);
}

void ExpfOnPath(int path, const float* in, float* out, int n) {
  for (int i = path == kScalar ? 0 : ExpfVectorRuns(path, in, out, n); i < n; ++i) out[i] = expf(in[i]);
}

#if defined(MIRVO_VECTOR_MATH_X86) || defined(MIRVO_VECTOR_MATH_NEON)
// A last guard on top of the exhaustive check: the library on this machine
// must agree with the path on a spread of inputs (a library that chose
// another build of its functions, say through its tunables, then keeps the
// scalar calls).
bool AgreesWithLibrary(int path) {
  float x[8];
  float got[8];
  for (uint32_t step = 0; step < 2048; ++step) {
    for (int l = 0; l < 8; ++l) {
      // Positive normal floats, mantissas and exponents spread by a hash.
      const uint32_t h = (step * 8u + static_cast<uint32_t>(l)) * 2654435761u;
      const uint32_t bits = 0x00800000u + h % 0x7f000000u;
      std::memcpy(&x[l], &bits, sizeof bits);
    }
    LogfOnPath(path, x, got, 8);
    for (int l = 0; l < 8; ++l) {
      const float want = logf(x[l]);
      if (std::memcmp(&want, &got[l], sizeof want) != 0) return false;
    }
    for (int l = 0; l < 8; ++l) {
      const uint32_t h = (step * 8u + static_cast<uint32_t>(l)) * 2246822519u;
      x[l] = -88.0f + 176.0f * static_cast<float>(h >> 8) * 0x1p-24f;
    }
    ExpfOnPath(path, x, got, 8);
    for (int l = 0; l < 8; ++l) {
      const float want = expf(x[l]);
      if (std::memcmp(&want, &got[l], sizeof want) != 0) return false;
    }
  }
  return true;
}
#endif

// The widest path this build and machine can run, checked or not.
int WidestPath() { return WidestVectorUnits(); }

// The widest path that also agrees with the library on the spread above.
int ChoosePath() {
#if defined(MIRVO_VECTOR_MATH_X86) || defined(MIRVO_VECTOR_MATH_NEON)
  for (int path = WidestPath(); path > kScalar; --path) {
    if (AgreesWithLibrary(path)) return path;
  }
#endif
  return kScalar;
}

int ActivePath() {
  static const int path = ChoosePath();
  return PortablePathsForced() ? kScalar : path;
}

int AvailablePath() {
  static const int path = WidestPath();
  return path;
}

}  // namespace

int VectorMathPath() { return ActivePath(); }

int VectorMathPathAvailable() { return AvailablePath(); }

void LogfArray(const float* in, float* out, int n) { LogfOnPath(ActivePath(), in, out, n); }

void ExpfArray(const float* in, float* out, int n) { ExpfOnPath(ActivePath(), in, out, n); }

void LogfArrayOnPath(int path, const float* in, float* out, int n) {
  LogfOnPath(path <= AvailablePath() ? path : kScalar, in, out, n);
}

void ExpfArrayOnPath(int path, const float* in, float* out, int n) {
  ExpfOnPath(path <= AvailablePath() ? path : kScalar, in, out, n);
}

}  // namespace internal
}  // namespace mirvo
