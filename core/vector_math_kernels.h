#pragma once

#include <cstdint>

// What the vector logf/expf of each instruction set share: which one this
// build has, the C library's tables and coefficients they follow, and the
// entry points of the instruction-set files (core/vector_math_x86.cpp,
// core/vector_math_neon.cpp). Only core/vector_math*.cpp include it.

// Android's C library computes logf and expf on AArch64 with the same
// published algorithms as glibc's generic AArch64 code, so the same vector
// form gives the same bits there; a vendor confirms it once per platform
// with vector_math_check, and the start-up check in core/vector_math.cpp
// drops back to the scalar calls if the library disagrees. Build with
// -DMIRVO_ANDROID_VECTOR_LOGF_EXPF=0 to keep the scalar calls on Android.
#if !defined(MIRVO_ANDROID_VECTOR_LOGF_EXPF)
#define MIRVO_ANDROID_VECTOR_LOGF_EXPF 1
#endif

// MIRVO_PORTABLE_PATHS_ONLY keeps the scalar calls, to test them on a
// machine that would take a vector path.
#if defined(MIRVO_PORTABLE_PATHS_ONLY)
#elif defined(__x86_64__) && defined(__GLIBC__)
#define MIRVO_VECTOR_MATH_X86 1
#elif defined(__aarch64__) && (defined(__GLIBC__) || (defined(__ANDROID__) && MIRVO_ANDROID_VECTOR_LOGF_EXPF))
#define MIRVO_VECTOR_MATH_NEON 1
#endif

namespace mirvo {
namespace internal {

// Which path: 0 the library's scalar functions, 1 four lanes, 2 eight lanes.
enum VectorMathPathId { kScalar = 0, kFour = 1, kEight = 2 };

// The widest path this machine has units for in this build's instruction-set
// file (kScalar without one).
int WidestVectorUnits();

// out[i] for the leading whole lane groups of in on a vector path (at most
// WidestVectorUnits()); returns how many elements were done, the rest being
// the caller's.
int LogfVectorRuns(int path, const float* in, float* out, int n);
int ExpfVectorRuns(int path, const float* in, float* out, int n);

#if defined(MIRVO_VECTOR_MATH_X86) || defined(MIRVO_VECTOR_MATH_NEON)
namespace vector_math {

// The C library's own tables and coefficients (the same on both targets).
// logf: x = 2^k z with z near 1/invc[i], log x = k ln2 + log c + log1p(r),
// r = z invc - 1, with a degree-3 polynomial in r.
// Rows {invc, logc}.
alignas(32) constexpr double kLogTab[16][2] = {
    {0x1.661ec79f8f3bep+0, -0x1.57bf7808caadep-2}, {0x1.571ed4aaf883dp+0, -0x1.2bef0a7c06ddbp-2},
    {0x1.49539f0f010b0p+0, -0x1.01eae7f513a67p-2}, {0x1.3c995b0b80385p+0, -0x1.b31d8a68224e9p-3},
    {0x1.30d190c8864a5p+0, -0x1.6574f0ac07758p-3}, {0x1.25e227b0b8ea0p+0, -0x1.1aa2bc79c8100p-3},
    {0x1.1bb4a4a1a343fp+0, -0x1.a4e76ce8c0e5ep-4}, {0x1.12358f08ae5bap+0, -0x1.1973c5a611cccp-4},
    {0x1.0953f419900a7p+0, -0x1.252f438e10c1ep-5}, {0x1.0000000000000p+0, 0x0.0p+0},
    {0x1.e608cfd9a47acp-1, 0x1.aa5aa5df25984p-5},  {0x1.ca4b31f026aa0p-1, 0x1.c5e53aa362eb4p-4},
    {0x1.b2036576afce6p-1, 0x1.526e57720db08p-3},  {0x1.9c2d163a1aa2dp-1, 0x1.bc2860d224770p-3},
    {0x1.886e6037841edp-1, 0x1.1058bc8a07ee1p-2},  {0x1.767dcf5534862p-1, 0x1.4043057b6ee09p-2}};
constexpr double kLn2 = 0x1.62e42fefa39efp-1;
constexpr double kLogA0 = -0x1.00ea348b88334p-2;
constexpr double kLogA1 = 0x1.5575b0be00b6ap-2;
constexpr double kLogA2 = -0x1.ffffef20a4123p-2;
constexpr int32_t kLogOff = 0x3f330000;

// expf: x = (k + r) ln2 / 32, exp x = 2^(k/32) 2^(r/32), 2^(k/32) from the
// table with k's upper bits added into the exponent field.
alignas(64) constexpr uint64_t kExp2Tab[32] = {
    0x3ff0000000000000u, 0x3fefd9b0d3158574u, 0x3fefb5586cf9890fu, 0x3fef9301d0125b51u, 0x3fef72b83c7d517bu,
    0x3fef54873168b9aau, 0x3fef387a6e756238u, 0x3fef1e9df51fdee1u, 0x3fef06fe0a31b715u, 0x3feef1a7373aa9cbu,
    0x3feedea64c123422u, 0x3feece086061892du, 0x3feebfdad5362a27u, 0x3feeb42b569d4f82u, 0x3feeab07dd485429u,
    0x3feea47eb03a5585u, 0x3feea09e667f3bcdu, 0x3fee9f75e8ec5f74u, 0x3feea11473eb0187u, 0x3feea589994cce13u,
    0x3feeace5422aa0dbu, 0x3feeb737b0cdc5e5u, 0x3feec49182a3f090u, 0x3feed503b23e255du, 0x3feee89f995ad3adu,
    0x3feeff76f2fb5e47u, 0x3fef199bdd85529cu, 0x3fef3720dcef9069u, 0x3fef5818dcfba487u, 0x3fef7c97337b9b5fu,
    0x3fefa4afa2a490dau, 0x3fefd0765b6e4540u};
constexpr double kInvLn2N = 0x1.71547652b82fep+5;
constexpr double kExpC0 = 0x1.c6af84b912394p-20;
constexpr double kExpC1 = 0x1.ebfce50fac4f3p-13;
constexpr double kExpC2 = 0x1.62e42ff0c52d6p-6;
// Above this, the library's expf leaves its main path (|x| >= 88-ish, inf, NaN).
constexpr uint32_t kExpMainTop = 0x42a;

}  // namespace vector_math
#endif

}  // namespace internal
}  // namespace mirvo
