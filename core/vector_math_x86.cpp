#include "core/vector_math_kernels.h"

#if defined(MIRVO_VECTOR_MATH_X86)

#include <immintrin.h>

#include <cmath>

namespace mirvo {
namespace internal {

namespace {

using namespace vector_math;

// The same columns apart, for in-register lookups.
alignas(64) constexpr double kLogInvc[16] = {kLogTab[0][0],  kLogTab[1][0],  kLogTab[2][0],  kLogTab[3][0],
                                             kLogTab[4][0],  kLogTab[5][0],  kLogTab[6][0],  kLogTab[7][0],
                                             kLogTab[8][0],  kLogTab[9][0],  kLogTab[10][0], kLogTab[11][0],
                                             kLogTab[12][0], kLogTab[13][0], kLogTab[14][0], kLogTab[15][0]};
alignas(64) constexpr double kLogLogc[16] = {kLogTab[0][1],  kLogTab[1][1],  kLogTab[2][1],  kLogTab[3][1],
                                             kLogTab[4][1],  kLogTab[5][1],  kLogTab[6][1],  kLogTab[7][1],
                                             kLogTab[8][1],  kLogTab[9][1],  kLogTab[10][1], kLogTab[11][1],
                                             kLogTab[12][1], kLogTab[13][1], kLogTab[14][1], kLogTab[15][1]};

// glibc selects its FMA builds of logf and expf on CPUs with FMA and AVX2;
// these follow them operation by operation, four lanes at a time.
#define MIRVO_TARGET_AVX2_FMA __attribute__((target("avx2,fma")))

struct LogfX86 {
  // Lanes off the library's main path: not a positive normal finite float.
  static MIRVO_TARGET_AVX2_FMA inline __m128i Special(__m128i ix) {
    return _mm_or_si128(_mm_cmplt_epi32(ix, _mm_set1_epi32(0x00800000)),
                        _mm_cmpgt_epi32(ix, _mm_set1_epi32(0x7f7fffff)));
  }

  static MIRVO_TARGET_AVX2_FMA inline __m128 Main(__m128i ix) {
    const __m128i tmp = _mm_sub_epi32(ix, _mm_set1_epi32(kLogOff));
    const __m128i i = _mm_and_si128(_mm_srli_epi32(tmp, 19), _mm_set1_epi32(15));
    const __m128i k = _mm_srai_epi32(tmp, 23);
    const __m128i iz = _mm_sub_epi32(ix, _mm_and_si128(tmp, _mm_set1_epi32(static_cast<int32_t>(0xff800000u))));
    // Table rows by scalar index: on some cores a gather is much slower than
    // four loads. Rows 0 and 2 low, 1 and 3 high, so the unpacks give lane
    // order.
    const int i0 = _mm_cvtsi128_si32(i);
    const int i1 = _mm_extract_epi32(i, 1);
    const int i2 = _mm_extract_epi32(i, 2);
    const int i3 = _mm_extract_epi32(i, 3);
    const __m256d rows02 =
        _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_load_pd(kLogTab[i0])), _mm_load_pd(kLogTab[i2]), 1);
    const __m256d rows13 =
        _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_load_pd(kLogTab[i1])), _mm_load_pd(kLogTab[i3]), 1);
    const __m256d invc = _mm256_unpacklo_pd(rows02, rows13);
    const __m256d logc = _mm256_unpackhi_pd(rows02, rows13);
    const __m256d z = _mm256_cvtps_pd(_mm_castsi128_ps(iz));
    const __m256d kd = _mm256_cvtepi32_pd(k);
    const __m256d r = _mm256_fmadd_pd(z, invc, _mm256_set1_pd(-1.0));
    const __m256d y0 = _mm256_fmadd_pd(kd, _mm256_set1_pd(kLn2), logc);
    __m256d y = _mm256_fmadd_pd(r, _mm256_set1_pd(kLogA1), _mm256_set1_pd(kLogA2));
    const __m256d r2 = _mm256_mul_pd(r, r);
    const __m256d t = _mm256_add_pd(r, y0);
    y = _mm256_fmadd_pd(r2, _mm256_set1_pd(kLogA0), y);
    const __m256d res = _mm256_fmadd_pd(r2, y, t);
    // 1.0 returns +0 early in the library.
    const __m128i one = _mm_cmpeq_epi32(ix, _mm_set1_epi32(0x3f800000));
    return _mm_andnot_ps(_mm_castsi128_ps(one), _mm256_cvtpd_ps(res));
  }

  static float Scalar(float x) { return logf(x); }
};

struct ExpfX86 {
  // Lanes off the library's main path: |x| >= 88-ish, inf or NaN.
  static MIRVO_TARGET_AVX2_FMA inline __m128i Special(__m128i ix) {
    const __m128i top = _mm_and_si128(_mm_srli_epi32(ix, 20), _mm_set1_epi32(0x7ff));
    return _mm_cmpgt_epi32(top, _mm_set1_epi32(static_cast<int32_t>(kExpMainTop)));
  }

  static MIRVO_TARGET_AVX2_FMA inline __m128 Main(__m128i ix) {
    const __m256d xd = _mm256_cvtps_pd(_mm_castsi128_ps(ix));
    const __m256d inv_ln2 = _mm256_set1_pd(kInvLn2N);
    const __m256d shift = _mm256_set1_pd(0x1.8p52);
    // Round to an integer k with the shift (ties to even), from the exact
    // product, and r = x 32/ln2 - k, as the library's fused operations do.
    __m256d kd = _mm256_fmadd_pd(inv_ln2, xd, shift);
    const __m256i ki = _mm256_castpd_si256(kd);
    kd = _mm256_sub_pd(kd, shift);
    const __m256d r = _mm256_fmsub_pd(inv_ln2, xd, kd);
    const __m256i idx = _mm256_and_si256(ki, _mm256_set1_epi64x(31));
    const __m128i idx01 = _mm256_castsi256_si128(idx);
    const __m128i idx23 = _mm256_extracti128_si256(idx, 1);
    const __m256i tab = _mm256_setr_epi64x(static_cast<long long>(kExp2Tab[_mm_cvtsi128_si64(idx01)]),
                                           static_cast<long long>(kExp2Tab[_mm_extract_epi64(idx01, 1)]),
                                           static_cast<long long>(kExp2Tab[_mm_cvtsi128_si64(idx23)]),
                                           static_cast<long long>(kExp2Tab[_mm_extract_epi64(idx23, 1)]));
    const __m256d s = _mm256_castsi256_pd(_mm256_add_epi64(tab, _mm256_slli_epi64(ki, 47)));
    const __m256d z = _mm256_fmadd_pd(r, _mm256_set1_pd(kExpC0), _mm256_set1_pd(kExpC1));
    const __m256d r2 = _mm256_mul_pd(r, r);
    __m256d y = _mm256_fmadd_pd(r, _mm256_set1_pd(kExpC2), _mm256_set1_pd(1.0));
    y = _mm256_fmadd_pd(z, r2, y);
    y = _mm256_mul_pd(y, s);
    return _mm256_cvtpd_ps(y);
  }

  static float Scalar(float x) { return expf(x); }
};

// The same eight lanes at a time where AVX-512 is there: the table rows come
// from in-register two-table permutes instead of loads. Same operations per
// lane, so the same results.
#define MIRVO_TARGET_AVX512 __attribute__((target("avx512f,avx2,fma")))
// GCC 12's own AVX-512 intrinsics start from an "undefined" register, which
// its flow analysis then reports as maybe uninitialized; nothing is.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

struct LogfX86Wide {
  static MIRVO_TARGET_AVX512 inline __m256i Special(__m256i ix) {
    return _mm256_or_si256(_mm256_cmpgt_epi32(_mm256_set1_epi32(0x00800000), ix),
                           _mm256_cmpgt_epi32(ix, _mm256_set1_epi32(0x7f7fffff)));
  }

  static MIRVO_TARGET_AVX512 inline __m256 Main(__m256i ix) {
    const __m256i tmp = _mm256_sub_epi32(ix, _mm256_set1_epi32(kLogOff));
    const __m512i i = _mm512_cvtepu32_epi64(_mm256_and_si256(_mm256_srli_epi32(tmp, 19), _mm256_set1_epi32(15)));
    const __m256i k = _mm256_srai_epi32(tmp, 23);
    const __m256i iz =
        _mm256_sub_epi32(ix, _mm256_and_si256(tmp, _mm256_set1_epi32(static_cast<int32_t>(0xff800000u))));
    const __m512d invc = _mm512_permutex2var_pd(_mm512_load_pd(kLogInvc), i, _mm512_load_pd(kLogInvc + 8));
    const __m512d logc = _mm512_permutex2var_pd(_mm512_load_pd(kLogLogc), i, _mm512_load_pd(kLogLogc + 8));
    const __m512d z = _mm512_cvtps_pd(_mm256_castsi256_ps(iz));
    const __m512d kd = _mm512_cvtepi32_pd(k);
    const __m512d r = _mm512_fmadd_pd(z, invc, _mm512_set1_pd(-1.0));
    const __m512d y0 = _mm512_fmadd_pd(kd, _mm512_set1_pd(kLn2), logc);
    __m512d y = _mm512_fmadd_pd(r, _mm512_set1_pd(kLogA1), _mm512_set1_pd(kLogA2));
    const __m512d r2 = _mm512_mul_pd(r, r);
    const __m512d t = _mm512_add_pd(r, y0);
    y = _mm512_fmadd_pd(r2, _mm512_set1_pd(kLogA0), y);
    const __m512d res = _mm512_fmadd_pd(r2, y, t);
    // 1.0 returns +0 early in the library.
    const __m256i one = _mm256_cmpeq_epi32(ix, _mm256_set1_epi32(0x3f800000));
    return _mm256_andnot_ps(_mm256_castsi256_ps(one), _mm512_cvtpd_ps(res));
  }

  static float Scalar(float x) { return logf(x); }
};

struct ExpfX86Wide {
  static MIRVO_TARGET_AVX512 inline __m256i Special(__m256i ix) {
    const __m256i top = _mm256_and_si256(_mm256_srli_epi32(ix, 20), _mm256_set1_epi32(0x7ff));
    return _mm256_cmpgt_epi32(top, _mm256_set1_epi32(static_cast<int32_t>(kExpMainTop)));
  }

  static MIRVO_TARGET_AVX512 inline __m256 Main(__m256i ix) {
    const __m512d xd = _mm512_cvtps_pd(_mm256_castsi256_ps(ix));
    const __m512d inv_ln2 = _mm512_set1_pd(kInvLn2N);
    const __m512d shift = _mm512_set1_pd(0x1.8p52);
    __m512d kd = _mm512_fmadd_pd(inv_ln2, xd, shift);
    const __m512i ki = _mm512_castpd_si512(kd);
    kd = _mm512_sub_pd(kd, shift);
    const __m512d r = _mm512_fmsub_pd(inv_ln2, xd, kd);
    const __m512i idx = _mm512_and_si512(ki, _mm512_set1_epi64(31));
    const __m512i* tab = reinterpret_cast<const __m512i*>(kExp2Tab);
    const __m512i low = _mm512_permutex2var_epi64(_mm512_load_si512(tab), idx, _mm512_load_si512(tab + 1));
    const __m512i high = _mm512_permutex2var_epi64(_mm512_load_si512(tab + 2), idx, _mm512_load_si512(tab + 3));
    const __m512i row = _mm512_mask_blend_epi64(_mm512_test_epi64_mask(idx, _mm512_set1_epi64(16)), low, high);
    const __m512d s = _mm512_castsi512_pd(_mm512_add_epi64(row, _mm512_slli_epi64(ki, 47)));
    const __m512d z = _mm512_fmadd_pd(r, _mm512_set1_pd(kExpC0), _mm512_set1_pd(kExpC1));
    const __m512d r2 = _mm512_mul_pd(r, r);
    __m512d y = _mm512_fmadd_pd(r, _mm512_set1_pd(kExpC2), _mm512_set1_pd(1.0));
    y = _mm512_fmadd_pd(z, r2, y);
    y = _mm512_mul_pd(y, s);
    return _mm512_cvtpd_ps(y);
  }

  static float Scalar(float x) { return expf(x); }
};

template <typename F>
MIRVO_TARGET_AVX512 int RunArrayWide(const float* in, float* out, int n) {
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i ix = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i));
    _mm256_storeu_ps(out + i, F::Main(ix));
    const __m256i special = F::Special(ix);
    if (_mm256_movemask_epi8(special) != 0) {
      alignas(32) float x[8];
      alignas(32) int32_t lane[8];
      _mm256_store_si256(reinterpret_cast<__m256i*>(x), ix);
      _mm256_store_si256(reinterpret_cast<__m256i*>(lane), special);
      for (int l = 0; l < 8; ++l) {
        if (lane[l] != 0) out[i + l] = F::Scalar(x[l]);
      }
    }
  }
  return i;
}

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
#undef MIRVO_TARGET_AVX512

bool HaveWideUnits() { return __builtin_cpu_supports("avx512f"); }

bool HaveVectorUnits() { return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"); }

// Runs of four; a run holding a lane off the library's main path has those
// lanes redone through the library (rare, so a branch).
template <typename F>
MIRVO_TARGET_AVX2_FMA int RunArray(const float* in, float* out, int n) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i ix = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
    _mm_storeu_ps(out + i, F::Main(ix));
    const __m128i special = F::Special(ix);
    if (_mm_movemask_epi8(special) != 0) {
      alignas(16) float x[4];
      alignas(16) int32_t lane[4];
      _mm_store_si128(reinterpret_cast<__m128i*>(x), ix);
      _mm_store_si128(reinterpret_cast<__m128i*>(lane), special);
      for (int l = 0; l < 4; ++l) {
        if (lane[l] != 0) out[i + l] = F::Scalar(x[l]);
      }
    }
  }
  return i;
}

#undef MIRVO_TARGET_AVX2_FMA

}  // namespace

int WidestVectorUnits() {
  if (!HaveVectorUnits()) return kScalar;
  return HaveWideUnits() ? kEight : kFour;
}

int LogfVectorRuns(int path, const float* in, float* out, int n) {
  if (path == kEight) return RunArrayWide<LogfX86Wide>(in, out, n);
  return path == kFour ? RunArray<LogfX86>(in, out, n) : 0;
}

int ExpfVectorRuns(int path, const float* in, float* out, int n) {
  if (path == kEight) return RunArrayWide<ExpfX86Wide>(in, out, n);
  return path == kFour ? RunArray<ExpfX86>(in, out, n) : 0;
}

}  // namespace internal
}  // namespace mirvo

#endif
