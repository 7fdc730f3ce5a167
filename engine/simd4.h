#pragma once

#include <cstdint>
#include <cstring>

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

// x in every lane (not 0 + x, which would turn -0 into +0).
template <typename V>
MIRVO_INLINE V SplatV(float x) {
  V v;
  for (int l = 0; l < VectorTraits<V>::kLanes; ++l) v[l] = x;
  return v;
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

MIRVO_INLINE void TransposeTerms(const F8& a, const F8& b, const F8& c, const F8& d, F4 (&out)[8]) {
  F4 half[2][4];
  std::memcpy(half[0], &a, sizeof a);  // half[0] = {a.lo, a.hi, b.lo, b.hi}, and so on
  std::memcpy(half[0] + 2, &b, sizeof b);
  std::memcpy(half[1], &c, sizeof c);
  std::memcpy(half[1] + 2, &d, sizeof d);
  F4 lo[4];
  F4 hi[4];
  Transpose4(half[0][0], half[0][2], half[1][0], half[1][2], lo);
  Transpose4(half[0][1], half[0][3], half[1][1], half[1][3], hi);
  for (int l = 0; l < 4; ++l) {
    out[l] = lo[l];
    out[4 + l] = hi[l];
  }
}

#if defined(__clang__)
#define MIRVO_SHUFFLE8(a, b, ...) __builtin_shufflevector((a), (b), __VA_ARGS__)
#else
#define MIRVO_SHUFFLE8(a, b, ...) __builtin_shuffle((a), (b), I8{__VA_ARGS__})
#endif

// Eight rows of eight 32-bit words become columns: out[j][l] = row l, word j.
MIRVO_INLINE void Transpose8(const F8 (&row)[8], F8 (&out)[8]) {
  F8 t[8];
  for (int i = 0; i < 4; ++i) {
    t[2 * i] = MIRVO_SHUFFLE8(row[2 * i], row[2 * i + 1], 0, 8, 1, 9, 4, 12, 5, 13);
    t[2 * i + 1] = MIRVO_SHUFFLE8(row[2 * i], row[2 * i + 1], 2, 10, 3, 11, 6, 14, 7, 15);
  }
  F8 q[8];  // q[4 h + j]: word j (and j + 4 in the upper half) of rows 4h .. 4h + 3
  for (int h = 0; h < 2; ++h) {
    const F8 a0 = t[4 * h], a1 = t[4 * h + 1], b0 = t[4 * h + 2], b1 = t[4 * h + 3];
    q[4 * h + 0] = MIRVO_SHUFFLE8(a0, b0, 0, 1, 8, 9, 4, 5, 12, 13);
    q[4 * h + 1] = MIRVO_SHUFFLE8(a0, b0, 2, 3, 10, 11, 6, 7, 14, 15);
    q[4 * h + 2] = MIRVO_SHUFFLE8(a1, b1, 0, 1, 8, 9, 4, 5, 12, 13);
    q[4 * h + 3] = MIRVO_SHUFFLE8(a1, b1, 2, 3, 10, 11, 6, 7, 14, 15);
  }
  for (int j = 0; j < 4; ++j) {
    out[j] = MIRVO_SHUFFLE8(q[j], q[4 + j], 0, 1, 2, 3, 8, 9, 10, 11);
    out[4 + j] = MIRVO_SHUFFLE8(q[j], q[4 + j], 4, 5, 6, 7, 12, 13, 14, 15);
  }
}

#undef MIRVO_SHUFFLE8
#undef MIRVO_INLINE
#pragma GCC diagnostic pop

}  // namespace internal
}  // namespace mirvo
