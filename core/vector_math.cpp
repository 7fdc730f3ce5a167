#include "core/vector_math.h"

#include <cmath>
#include <cstring>

#include "core/cpu_features.h"

// Android's C library computes logf and expf on AArch64 with the same
// published algorithms as glibc's generic AArch64 code, so the same vector
// form gives the same bits there; a vendor confirms it once per platform
// with vector_math_check, and the check below drops back to the scalar calls
// at run time if the library disagrees. Build with
// -DMIRVO_ANDROID_VECTOR_LOGF_EXPF=0 to keep the scalar calls on Android.
#if !defined(MIRVO_ANDROID_VECTOR_LOGF_EXPF)
#define MIRVO_ANDROID_VECTOR_LOGF_EXPF 1
#endif

// MIRVO_PORTABLE_PATHS_ONLY keeps the scalar calls, to test them on a
// machine that would take a vector path.
#if defined(MIRVO_PORTABLE_PATHS_ONLY)
#elif defined(__x86_64__) && defined(__GLIBC__)
#include <immintrin.h>
#define MIRVO_VECTOR_MATH_X86 1
#elif defined(__aarch64__) && (defined(__GLIBC__) || (defined(__ANDROID__) && MIRVO_ANDROID_VECTOR_LOGF_EXPF))
#include <arm_neon.h>
#define MIRVO_VECTOR_MATH_NEON 1
#endif

namespace mirvo {
namespace internal {

namespace {

#if defined(MIRVO_VECTOR_MATH_X86) || defined(MIRVO_VECTOR_MATH_NEON)

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
#if defined(MIRVO_VECTOR_MATH_X86)
// The same columns apart, for in-register lookups.
alignas(64) constexpr double kLogInvc[16] = {kLogTab[0][0],  kLogTab[1][0],  kLogTab[2][0],  kLogTab[3][0],
                                             kLogTab[4][0],  kLogTab[5][0],  kLogTab[6][0],  kLogTab[7][0],
                                             kLogTab[8][0],  kLogTab[9][0],  kLogTab[10][0], kLogTab[11][0],
                                             kLogTab[12][0], kLogTab[13][0], kLogTab[14][0], kLogTab[15][0]};
alignas(64) constexpr double kLogLogc[16] = {kLogTab[0][1],  kLogTab[1][1],  kLogTab[2][1],  kLogTab[3][1],
                                             kLogTab[4][1],  kLogTab[5][1],  kLogTab[6][1],  kLogTab[7][1],
                                             kLogTab[8][1],  kLogTab[9][1],  kLogTab[10][1], kLogTab[11][1],
                                             kLogTab[12][1], kLogTab[13][1], kLogTab[14][1], kLogTab[15][1]};
#endif
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

#endif

#if defined(MIRVO_VECTOR_MATH_X86)

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
MIRVO_TARGET_AVX512 void RunArrayWide(const float* in, float* out, int n) {
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
  for (; i < n; ++i) out[i] = F::Scalar(in[i]);
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
MIRVO_TARGET_AVX2_FMA void RunArray(const float* in, float* out, int n) {
  for (int i = 0; i + 4 <= n; i += 4) {
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
}

#undef MIRVO_TARGET_AVX2_FMA

#elif defined(MIRVO_VECTOR_MATH_NEON)

// glibc's AArch64 logf and expf, operation by operation, two lanes at a time.
void Logf2(const uint32_t* ix, float* out) {
  int64_t k[2];
  double z[2], invc[2], logc[2];
  for (int l = 0; l < 2; ++l) {
    const uint32_t tmp = ix[l] - static_cast<uint32_t>(kLogOff);
    const int i = static_cast<int>((tmp >> 19) & 15u);
    k[l] = static_cast<int32_t>(tmp) >> 23;
    const uint32_t iz = ix[l] - (tmp & 0xff800000u);
    float zf;
    std::memcpy(&zf, &iz, sizeof zf);
    z[l] = static_cast<double>(zf);
    invc[l] = kLogTab[i][0];
    logc[l] = kLogTab[i][1];
  }
  const float64x2_t r = vfmaq_f64(vdupq_n_f64(-1.0), vld1q_f64(z), vld1q_f64(invc));
  const float64x2_t kd = vcvtq_f64_s64(vld1q_s64(k));
  const float64x2_t y0 = vfmaq_f64(vld1q_f64(logc), kd, vdupq_n_f64(kLn2));
  float64x2_t y = vfmaq_f64(vdupq_n_f64(kLogA2), vdupq_n_f64(kLogA1), r);
  const float64x2_t r2 = vmulq_f64(r, r);
  const float64x2_t t = vaddq_f64(r, y0);
  y = vfmaq_f64(y, vdupq_n_f64(kLogA0), r2);
  const float64x2_t res = vfmaq_f64(t, r2, y);
  vst1_f32(out, vcvt_f32_f64(res));
}

struct LogfNeon {
  static void Main4(const float* in, float* out) {
    uint32_t ix[4];
    std::memcpy(ix, in, sizeof ix);
    float res[4];
    Logf2(ix, res);
    Logf2(ix + 2, res + 2);
    // 1.0 returns +0 early in the library.
    for (int l = 0; l < 4; ++l) out[l] = ix[l] == 0x3f800000u ? 0.0f : res[l];
  }
  // Off the library's main path: not a positive normal finite float.
  static int Special(uint32_t ix) { return ix - 0x00800000u >= 0x7f800000u - 0x00800000u ? 1 : 0; }
  static float Scalar(float x) { return logf(x); }
};

void Expf2(const float* in, float* out) {
  const float64x2_t xd = vcvt_f64_f32(vld1_f32(in));
  // Round half away from zero, from the rounded product, as the library's
  // round and lround do.
  const float64x2_t z = vmulq_f64(xd, vdupq_n_f64(kInvLn2N));
  const float64x2_t kd = vrndaq_f64(z);
  const int64x2_t ki = vcvtaq_s64_f64(z);
  const float64x2_t r = vsubq_f64(z, kd);
  const uint64_t t0 = kExp2Tab[vgetq_lane_s64(ki, 0) & 31];
  const uint64_t t1 = kExp2Tab[vgetq_lane_s64(ki, 1) & 31];
  const uint64x2_t tab = vcombine_u64(vcreate_u64(t0), vcreate_u64(t1));
  const float64x2_t s = vreinterpretq_f64_u64(vaddq_u64(tab, vshlq_n_u64(vreinterpretq_u64_s64(ki), 47)));
  const float64x2_t zz = vfmaq_f64(vdupq_n_f64(kExpC1), vdupq_n_f64(kExpC0), r);
  float64x2_t y = vfmaq_f64(vdupq_n_f64(1.0), vdupq_n_f64(kExpC2), r);
  const float64x2_t r2 = vmulq_f64(r, r);
  y = vfmaq_f64(y, zz, r2);
  y = vmulq_f64(y, s);
  vst1_f32(out, vcvt_f32_f64(y));
}

struct ExpfNeon {
  static void Main4(const float* in, float* out) {
    float x[4];
    std::memcpy(x, in, sizeof x);
    Expf2(x, out);
    Expf2(x + 2, out + 2);
  }
  // Off the library's main path: |x| >= 88-ish, inf or NaN.
  static int Special(uint32_t ix) { return ((ix >> 20) & 0x7ffu) > kExpMainTop ? 1 : 0; }
  static float Scalar(float x) { return expf(x); }
};

bool HaveVectorUnits() { return true; }

// Runs of four; lanes off the library's main path redone through the library.
template <typename F>
void RunArray(const float* in, float* out, int n) {
  for (int i = 0; i + 4 <= n; i += 4) {
    uint32_t ix[4];
    std::memcpy(ix, in + i, sizeof ix);
    float x[4];
    std::memcpy(x, in + i, sizeof x);
    F::Main4(x, out + i);
    if ((F::Special(ix[0]) | F::Special(ix[1]) | F::Special(ix[2]) | F::Special(ix[3])) != 0) {
      for (int l = 0; l < 4; ++l) {
        if (F::Special(ix[l]) != 0) out[i + l] = F::Scalar(x[l]);
      }
    }
  }
}

#endif

// Which path: 0 the library's scalar functions, 1 four lanes, 2 eight lanes.
enum Path { kScalar = 0, kFour = 1, kEight = 2 };

#if defined(MIRVO_VECTOR_MATH_X86)
using LogfVector = LogfX86;
using ExpfVector = ExpfX86;
#elif defined(MIRVO_VECTOR_MATH_NEON)
using LogfVector = LogfNeon;
using ExpfVector = ExpfNeon;
#endif

void LogfOnPath(int path, const float* in, float* out, int n) {
  static_cast<void>(path);  // only one path without vector units
  int i = 0;
#if defined(MIRVO_VECTOR_MATH_X86)
  if (path == kEight) {
    RunArrayWide<LogfX86Wide>(in, out, n);
    return;
  }
#endif
#if defined(MIRVO_VECTOR_MATH_X86) || defined(MIRVO_VECTOR_MATH_NEON)
  if (path == kFour) {
    RunArray<LogfVector>(in, out, n);
    i = n / 4 * 4;
  }
#endif
  for (; i < n; ++i) out[i] = logf(in[i]);
}

void ExpfOnPath(int path, const float* in, float* out, int n) {
  static_cast<void>(path);
  int i = 0;
#if defined(MIRVO_VECTOR_MATH_X86)
  if (path == kEight) {
    RunArrayWide<ExpfX86Wide>(in, out, n);
    return;
  }
#endif
#if defined(MIRVO_VECTOR_MATH_X86) || defined(MIRVO_VECTOR_MATH_NEON)
  if (path == kFour) {
    RunArray<ExpfVector>(in, out, n);
    i = n / 4 * 4;
  }
#endif
  for (; i < n; ++i) out[i] = expf(in[i]);
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
int WidestPath() {
#if defined(MIRVO_VECTOR_MATH_X86) || defined(MIRVO_VECTOR_MATH_NEON)
  if (!HaveVectorUnits()) return kScalar;
#if defined(MIRVO_VECTOR_MATH_X86)
  if (HaveWideUnits()) return kEight;
#endif
  return kFour;
#else
  return kScalar;
#endif
}

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
