#include "core/vector_math_kernels.h"

#if defined(MIRVO_VECTOR_MATH_NEON)

#include <arm_neon.h>

#include <cmath>
#include <cstring>

namespace mirvo {
namespace internal {

namespace {

using namespace vector_math;

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
int RunArray(const float* in, float* out, int n) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
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
  return i;
}

}  // namespace

int WidestVectorUnits() { return HaveVectorUnits() ? kFour : kScalar; }

int LogfVectorRuns(int path, const float* in, float* out, int n) {
  return path == kFour ? RunArray<LogfNeon>(in, out, n) : 0;
}

int ExpfVectorRuns(int path, const float* in, float* out, int n) {
  return path == kFour ? RunArray<ExpfNeon>(in, out, n) : 0;
}

}  // namespace internal
}  // namespace mirvo

#endif
