#pragma once

#include <cstdint>

// logf and expf over arrays, returning for every element exactly what the C
// library's scalar function returns. Where a vector version of the library's
// own algorithm has been checked against it for every float input (glibc on
// x86-64 with FMA and AVX2, four or, with AVX-512, eight lanes; glibc on
// AArch64), runs of elements go through it; anywhere else, and for the
// elements the library treats specially (zero, negative, subnormal, infinite
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
// of inputs.
int VectorMathPath();

// The same on a given path (at most VectorMathPath()), for the exhaustive
// check of every path a machine can take.
void LogfArrayOnPath(int path, const float* in, float* out, int n);
void ExpfArrayOnPath(int path, const float* in, float* out, int n);

}  // namespace internal
}  // namespace mirvo
