#pragma once

#include <cstdint>

// logf and expf over arrays, returning for every element exactly what the C
// library's scalar function returns. Where a vector version of the library's
// own algorithm has been checked against it for every float input (glibc on
// x86-64 with FMA and AVX2, four or, with AVX-512, eight lanes; glibc or
// Android's C library on AArch64), runs of elements go through it; anywhere
// else, and for the elements the library treats specially (zero, negative, subnormal, infinite
// or NaN inputs of logf; |x| >= 88-ish, inf or NaN inputs of expf), the
// scalar function is called.
namespace mirvo {
namespace internal {

// out[i] = logf(in[i]) for i < n; out may be in.
void LogfArray(const float* in, float* out, int n);

// out[i] = expf(in[i]) for i < n; out may be in.
void ExpfArray(const float* in, float* out, int n);

// Which path the functions above take: 0 scalar calls only, 1 four lanes,
// 2 eight lanes. Chosen once, after a check against the library on a spread
// of inputs; 0 while ForcePortablePaths (core/cpu_features.h) is on.
int VectorMathPath();

// The widest path this build and machine can run, whether or not it passed
// that check: what the exhaustive check must cover.
int VectorMathPathAvailable();

// The same on a given path (at most VectorMathPathAvailable()), for the
// exhaustive check of every path a machine can take.
void LogfArrayOnPath(int path, const float* in, float* out, int n);
void ExpfArrayOnPath(int path, const float* in, float* out, int n);

}  // namespace internal
}  // namespace mirvo
