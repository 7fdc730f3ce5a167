#pragma once

#include <cstdint>
#include <cstring>

#include "core/cpu_features.h"

// Four-lane float vectors in the compilers' generic vector extension, for the
// few loops that interleave vector work with a serial chain (which the
// compiler does not vectorise by itself). Every operation is the IEEE scalar
// operation in each lane; selects are bit masks, so no lane is ever computed
// differently from the scalar code.
namespace mirvo {
namespace internal {

typedef float F4 __attribute__((vector_size(4 * sizeof(float))));
typedef int32_t I4 __attribute__((vector_size(4 * sizeof(int32_t))));
typedef uint32_t U4 __attribute__((vector_size(4 * sizeof(uint32_t))));
typedef uint8_t U8x4 __attribute__((vector_size(4)));

inline F4 Load4(const float* p) {
  F4 v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// Four 32-bit words of any type, as the bits of a float vector.
template <typename T>
inline F4 Load4Bits(const T* p) {
  static_assert(sizeof(T) == sizeof(float), "32-bit words");
  F4 v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

inline void Store4(float* p, F4 v) { std::memcpy(p, &v, sizeof v); }

inline F4 Splat4(float x) { return F4{x, x, x, x}; }

// mask ? a : b, lane by lane, for masks from vector comparisons (all ones or
// all zeros per lane).
inline F4 Select4(I4 mask, F4 a, F4 b) { return (F4)((mask & (I4)a) | (~mask & (I4)b)); }

// a < b ? a : b and a > b ? a : b, lane by lane: exactly what SSE minps and
// maxps compute (the second operand when either is NaN, or on a tie).
inline F4 MinLess4(F4 a, F4 b) {
#if defined(__SSE__)
  return (F4)__builtin_ia32_minps(a, b);
#else
  return a < b ? a : b;
#endif
}

inline F4 MaxGreater4(F4 a, F4 b) {
#if defined(__SSE__)
  return (F4)__builtin_ia32_maxps(a, b);
#else
  return a > b ? a : b;
#endif
}

inline F4 Abs4(F4 x) { return (F4)((I4)x & I4{0x7fffffff, 0x7fffffff, 0x7fffffff, 0x7fffffff}); }

// Unsigned 32-bit lanes to float with one rounding, as a scalar conversion:
// the high and low halves convert exactly, the scaling by 2^16 is exact, and
// only their sum rounds.
inline F4 U32ToFloat4(U4 x) {
  const F4 hi = __builtin_convertvector((I4)(x >> 16), F4);
  const F4 lo = __builtin_convertvector((I4)(x & 0xffffu), F4);
  return hi * Splat4(65536.0f) + lo;
}

// All-ones lanes where the byte flag is non-zero.
inline I4 FlagMask4(const uint8_t* p) {
  U8x4 b;
  std::memcpy(&b, p, sizeof b);
  return __builtin_convertvector(b, I4) != I4{0, 0, 0, 0};
}

#if defined(__clang__)
#define MIRVO_SHUFFLE4(a, b, i, j, k, l) __builtin_shufflevector((a), (b), i, j, k, l)
#else
#define MIRVO_SHUFFLE4(a, b, i, j, k, l) __builtin_shuffle((a), (b), I4{i, j, k, l})
#endif

// Rows a, b, c, d become columns: out[k] = {a[k], b[k], c[k], d[k]}.
inline void Transpose4(F4 a, F4 b, F4 c, F4 d, F4 (&out)[4]) {
  const F4 ab_lo = MIRVO_SHUFFLE4(a, b, 0, 4, 1, 5);
  const F4 ab_hi = MIRVO_SHUFFLE4(a, b, 2, 6, 3, 7);
  const F4 cd_lo = MIRVO_SHUFFLE4(c, d, 0, 4, 1, 5);
  const F4 cd_hi = MIRVO_SHUFFLE4(c, d, 2, 6, 3, 7);
  out[0] = MIRVO_SHUFFLE4(ab_lo, cd_lo, 0, 1, 4, 5);
  out[1] = MIRVO_SHUFFLE4(ab_lo, cd_lo, 2, 3, 6, 7);
  out[2] = MIRVO_SHUFFLE4(ab_hi, cd_hi, 0, 1, 4, 5);
  out[3] = MIRVO_SHUFFLE4(ab_hi, cd_hi, 2, 3, 6, 7);
}

#undef MIRVO_SHUFFLE4

// Eight lanes, for code compiled for a target that has them (the compilers
// split them into halves elsewhere, with the same results). The helpers
// taking or returning them are always inlined into that code, so the ABI
// note about passing them without AVX does not apply.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpsabi"
#define MIRVO_INLINE __attribute__((always_inline)) inline

typedef float F8 __attribute__((vector_size(8 * sizeof(float))));
typedef int32_t I8 __attribute__((vector_size(8 * sizeof(int32_t))));
typedef uint32_t U8 __attribute__((vector_size(8 * sizeof(uint32_t))));

template <typename V>
struct VectorTraits;
template <>
struct VectorTraits<F4> {
  using Int = I4;
  using Unsigned = U4;
  static constexpr int kLanes = 4;
};
template <>
struct VectorTraits<F8> {
  using Int = I8;
  using Unsigned = U8;
  static constexpr int kLanes = 8;
};

template <typename V>
MIRVO_INLINE V LoadV(const float* p) {
  V v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

template <typename V>
MIRVO_INLINE void StoreV(float* p, const V& v) {
  std::memcpy(p, &v, sizeof v);
}

// x in every lane (not 0 + x, which would turn -0 into +0). Written as an
// initialiser, which compiles to one broadcast; a loop over the lanes
// compiled to a chain of inserts.
template <typename V>
MIRVO_INLINE V SplatV(float x);
template <>
MIRVO_INLINE F4 SplatV<F4>(float x) {
  return F4{x, x, x, x};
}
template <>
MIRVO_INLINE F8 SplatV<F8>(float x) {
  return F8{x, x, x, x, x, x, x, x};
}

template <typename V>
MIRVO_INLINE V AbsV(const V& x) {
  using I = typename VectorTraits<V>::Int;
  return (V)((I)x & 0x7fffffff);
}

// Unsigned 32-bit lanes to float with one rounding (see U32ToFloat4).
template <typename V>
MIRVO_INLINE V U32ToFloatV(const typename VectorTraits<V>::Unsigned& x) {
  using I = typename VectorTraits<V>::Int;
  const V hi = __builtin_convertvector((I)(x >> 16), V);
  const V lo = __builtin_convertvector((I)(x & 0xffffu), V);
  return hi * SplatV<V>(65536.0f) + lo;
}

// a < b ? a : b and a > b ? a : b, lane by lane.
MIRVO_INLINE F4 MinLessV(F4 a, F4 b) { return MinLess4(a, b); }
MIRVO_INLINE F4 MaxGreaterV(F4 a, F4 b) { return MaxGreater4(a, b); }
MIRVO_INLINE F8 MinLessV(const F8& a, const F8& b) { return a < b ? a : b; }
MIRVO_INLINE F8 MaxGreaterV(const F8& a, const F8& b) { return a > b ? a : b; }

// Four quantities of each lane, side by side: out[l] = {a[l], b[l], c[l], d[l]}.
MIRVO_INLINE void TransposeTerms(F4 a, F4 b, F4 c, F4 d, F4 (&out)[4]) { Transpose4(a, b, c, d, out); }

MIRVO_INLINE F4 LowHalf(const F8& v) { return F4{v[0], v[1], v[2], v[3]}; }
MIRVO_INLINE F4 HighHalf(const F8& v) { return F4{v[4], v[5], v[6], v[7]}; }

MIRVO_INLINE void TransposeTerms(const F8& a, const F8& b, const F8& c, const F8& d, F4 (&out)[8]) {
  F4 lo[4];
  F4 hi[4];
  Transpose4(LowHalf(a), LowHalf(b), LowHalf(c), LowHalf(d), lo);
  Transpose4(HighHalf(a), HighHalf(b), HighHalf(c), HighHalf(d), hi);
  out[0] = lo[0];
  out[1] = lo[1];
  out[2] = lo[2];
  out[3] = lo[3];
  out[4] = hi[0];
  out[5] = hi[1];
  out[6] = hi[2];
  out[7] = hi[3];
}

#if defined(__clang__)
#define MIRVO_SHUFFLE8(a, b, ...) __builtin_shufflevector((a), (b), __VA_ARGS__)
#else
#define MIRVO_SHUFFLE8(a, b, ...) __builtin_shuffle((a), (b), I8{__VA_ARGS__})
#endif

// Eight rows of eight 32-bit words become columns: out[j][l] = row l, word j.
// Written out without loops so that everything stays in registers.
MIRVO_INLINE void Transpose8(const F8& r0, const F8& r1, const F8& r2, const F8& r3, const F8& r4, const F8& r5,
                             const F8& r6, const F8& r7, F8 (&out)[8]) {
  // Pairs of rows interleaved: words 0,1 | 4,5 and 2,3 | 6,7.
  const F8 t0 = MIRVO_SHUFFLE8(r0, r1, 0, 8, 1, 9, 4, 12, 5, 13);
  const F8 t1 = MIRVO_SHUFFLE8(r0, r1, 2, 10, 3, 11, 6, 14, 7, 15);
  const F8 t2 = MIRVO_SHUFFLE8(r2, r3, 0, 8, 1, 9, 4, 12, 5, 13);
  const F8 t3 = MIRVO_SHUFFLE8(r2, r3, 2, 10, 3, 11, 6, 14, 7, 15);
  const F8 t4 = MIRVO_SHUFFLE8(r4, r5, 0, 8, 1, 9, 4, 12, 5, 13);
  const F8 t5 = MIRVO_SHUFFLE8(r4, r5, 2, 10, 3, 11, 6, 14, 7, 15);
  const F8 t6 = MIRVO_SHUFFLE8(r6, r7, 0, 8, 1, 9, 4, 12, 5, 13);
  const F8 t7 = MIRVO_SHUFFLE8(r6, r7, 2, 10, 3, 11, 6, 14, 7, 15);
  // Word j of four rows in the lower half, word j + 4 in the upper half.
  const F8 q0 = MIRVO_SHUFFLE8(t0, t2, 0, 1, 8, 9, 4, 5, 12, 13);
  const F8 q1 = MIRVO_SHUFFLE8(t0, t2, 2, 3, 10, 11, 6, 7, 14, 15);
  const F8 q2 = MIRVO_SHUFFLE8(t1, t3, 0, 1, 8, 9, 4, 5, 12, 13);
  const F8 q3 = MIRVO_SHUFFLE8(t1, t3, 2, 3, 10, 11, 6, 7, 14, 15);
  const F8 q4 = MIRVO_SHUFFLE8(t4, t6, 0, 1, 8, 9, 4, 5, 12, 13);
  const F8 q5 = MIRVO_SHUFFLE8(t4, t6, 2, 3, 10, 11, 6, 7, 14, 15);
  const F8 q6 = MIRVO_SHUFFLE8(t5, t7, 0, 1, 8, 9, 4, 5, 12, 13);
  const F8 q7 = MIRVO_SHUFFLE8(t5, t7, 2, 3, 10, 11, 6, 7, 14, 15);
  out[0] = MIRVO_SHUFFLE8(q0, q4, 0, 1, 2, 3, 8, 9, 10, 11);
  out[1] = MIRVO_SHUFFLE8(q1, q5, 0, 1, 2, 3, 8, 9, 10, 11);
  out[2] = MIRVO_SHUFFLE8(q2, q6, 0, 1, 2, 3, 8, 9, 10, 11);
  out[3] = MIRVO_SHUFFLE8(q3, q7, 0, 1, 2, 3, 8, 9, 10, 11);
  out[4] = MIRVO_SHUFFLE8(q0, q4, 4, 5, 6, 7, 12, 13, 14, 15);
  out[5] = MIRVO_SHUFFLE8(q1, q5, 4, 5, 6, 7, 12, 13, 14, 15);
  out[6] = MIRVO_SHUFFLE8(q2, q6, 4, 5, 6, 7, 12, 13, 14, 15);
  out[7] = MIRVO_SHUFFLE8(q3, q7, 4, 5, 6, 7, 12, 13, 14, 15);
}

#undef MIRVO_SHUFFLE8
#undef MIRVO_INLINE
#pragma GCC diagnostic pop

}  // namespace internal
}  // namespace mirvo
