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

// The library's function on in[i..n), four calls per loop step: on the
// portable path this loop makes every call of the frame, and its own
// counting is then a fifth of the work.
template <float (*kFn)(float)>
void ScalarCalls(int i, const float* in, float* out, int n) {
  for (; i + 4 <= n; i += 4) {
    out[i] = kFn(in[i]);
    out[i + 1] = kFn(in[i + 1]);
    out[i + 2] = kFn(in[i + 2]);
    out[i + 3] = kFn(in[i + 3]);
  }
  for (; i < n; ++i) out[i] = kFn(in[i]);
}

float Logf(float x) { return logf(x); }
float Expf(float x) { return expf(x); }

void LogfOnPath(int path, const float* in, float* out, int n) {
  ScalarCalls<Logf>(path == kScalar ? 0 : LogfVectorRuns(path, in, out, n), in, out, n);
}

void ExpfOnPath(int path, const float* in, float* out, int n) {
  ScalarCalls<Expf>(path == kScalar ? 0 : ExpfVectorRuns(path, in, out, n), in, out, n);
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
