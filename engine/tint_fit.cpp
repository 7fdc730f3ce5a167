#include <algorithm>
#include <cmath>

#include "core/log_tag.h"
#include "core/simd4.h"
#include "core/vector_math.h"
#include "engine/edge_kernels.h"
#include "engine/grid_kernels.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {

namespace {

// Appends a grid's entries to a flat edge vector; returns the next free slot.
float* Flatten(const Matrix<float>& m, float* dst) { return std::copy(m.data.begin(), m.data.end(), dst); }

const float* Unflatten(const float* src, Matrix<float>& m) {
  std::copy(src, src + m.size(), m.data.begin());
  return src + m.size();
}

constexpr int kNodes = 13 * 17;

bool DiagnosticsOn(const MirvoDebugParams* debug) { return debug != nullptr && debug->debug_enable; }

// residue = (gradient - PU x prj) x weight for u and weight x (gradient - PV x
// prj) for v: each operand order as the chain has always had it (it decides
// which NaN comes through).
template <int N>
void Residues(const float* __restrict pu, const float* __restrict pv, const float* __restrict w,
              const float* __restrict gu, const float* __restrict gv, float prj_u, float prj_v, float* __restrict ru,
              float* __restrict rv) {
  for (int i = 0; i < N; ++i) {
    ru[i] = (gu[i] - pu[i] * prj_u) * w[i];
    rv[i] = w[i] * (gv[i] - pv[i] * prj_v);
  }
}

// The same, and the residues clamped to [-limit, limit] into the gradient
// grids: x < -L ? -L : (x > L ? L : x). For L >= 0 or NaN that is exactly
// max(-L, min(L, x)) with the min and max of SSE (each the second operand
// on a tie or a NaN): a NaN x comes through unchanged, and x = -L or L gives
// x. A negative L (an odd tuning) takes the two selects as written.
template <int N, bool kMinMax>
void ClampedResidues(const float* __restrict pu, const float* __restrict pv, const float* __restrict w,
                     const float* __restrict gu, const float* __restrict gv, float prj_u, float prj_v, float limit,
                     float* __restrict ru, float* __restrict rv, float* __restrict grid_u, float* __restrict grid_v) {
  using internal::F4;
  const F4 pru = internal::Splat4(prj_u);
  const F4 prv = internal::Splat4(prj_v);
  const F4 hi = internal::Splat4(limit);
  const F4 lo = internal::Splat4(-limit);
  static_assert(N % 4 == 0, "whole vectors");
  for (int i = 0; i < N; i += 4) {
    const F4 wi = internal::Load4(w + i);
    const F4 a = (internal::Load4(gu + i) - internal::Load4(pu + i) * pru) * wi;
    const F4 b = wi * (internal::Load4(gv + i) - internal::Load4(pv + i) * prv);
    internal::Store4(ru + i, a);
    internal::Store4(rv + i, b);
    if (kMinMax) {
      internal::Store4(grid_u + i, internal::MaxGreater4(lo, internal::MinLess4(hi, a)));
      internal::Store4(grid_v + i, internal::MaxGreater4(lo, internal::MinLess4(hi, b)));
    } else {
      internal::Store4(grid_u + i, a < lo ? lo : (a > hi ? hi : a));
      internal::Store4(grid_v + i, b < lo ? lo : (b > hi ? hi : b));
    }
  }
}

// exp of the negated log tint in place (a positive log tint lowers the gain:
// the result corrects R/G and B/G), and the running sums in node order.
struct Sums {
  float u;
  float v;
};

Sums LinearTint(float* __restrict u, float* __restrict v) {
  for (int i = 0; i < kNodes; ++i) {
    u[i] = -u[i];
    v[i] = -v[i];
  }
  internal::ExpfArray(u, u, kNodes);
  internal::ExpfArray(v, v, kNodes);
  Sums s = {0.0f, 0.0f};
  for (int i = 0; i < kNodes; ++i) {
    s.u += u[i];
    s.v += v[i];
  }
  return s;
}

}  // namespace

void MirvoHybrid::FitLearnedTintProfile() {
  const float* pu = pconfig_params_->learned_tint_profile.BgUHXY;
  const float* pv = pconfig_params_->learned_tint_profile.BgVHXY;

  Flatten(WY, Flatten(WX, weight_vec_));
  Flatten(GradH_UY, Flatten(GradH_UX, grad_u_vec_));
  Flatten(GradH_VY, Flatten(GradH_VX, grad_v_vec_));

  // Weighted least-squares scale of the profile gradients, one per plane.
  internal::FitSums sums;
  alignas(16) float terms[internal::kTermLanes][4];
  for (int e = 0; e < kNumEdges; e += internal::kTermLanes) {
    internal::ProjectionTerms(pu + e, pv + e, grad_u_vec_ + e, grad_v_vec_ + e, weight_vec_ + e, terms);
    sums.Add(terms, internal::kTermLanes);
  }
  SetProjections(sums);

  // The weights enter twice: in the projection above and on the residue
  // that the integration receives.
  Residues<kNumEdges>(pu, pv, weight_vec_, grad_u_vec_, grad_v_vec_, prj_u_, prj_v_, residue_u_vec_, residue_v_vec_);
  Unflatten(Unflatten(residue_u_vec_, GradH_UX), GradH_UY);
  Unflatten(Unflatten(residue_v_vec_, GradH_VX), GradH_VY);
}

void MirvoHybrid::SetProjections(const internal::FitSums& sums) {
  const float u = sums.nu() / (sums.du() + 1e-7f);
  const float v = sums.nv() / (sums.dv() + 1e-7f);
  if (pconfig_params_->tuning.enable_temporal_filter != 0) {
    TemporalFilter(u, v);
  } else {
    prj_u_ = u;
    prj_v_ = v;
    temporal_update_gain_ = 1.0f;
  }

  if (DiagnosticsOn(pdebug_params_)) {
    __android_log_print(ANDROID_LOG_DEBUG, kLogTag, "PrjU=%+f; PrjV=%+f; temporal_update_gain_=%f",
                        static_cast<double>(prj_u_), static_cast<double>(prj_v_),
                        static_cast<double>(temporal_update_gain_));
  }
}

void MirvoHybrid::ResiduesAndClamp() {
  const float* pu = pconfig_params_->learned_tint_profile.BgUHXY;
  const float* pv = pconfig_params_->learned_tint_profile.BgVHXY;
  const float limit = pconfig_params_->tuning.limit_thd;
  constexpr int kH = kNumHorizontalEdges;
  constexpr int kV = kNumVerticalEdges;
  if (!(limit < 0.0f)) {
    ClampedResidues<kH, true>(pu, pv, weight_vec_, grad_u_vec_, grad_v_vec_, prj_u_, prj_v_, limit, residue_u_vec_,
                              residue_v_vec_, GradH_UX.data.data(), GradH_VX.data.data());
    ClampedResidues<kV, true>(pu + kH, pv + kH, weight_vec_ + kH, grad_u_vec_ + kH, grad_v_vec_ + kH, prj_u_, prj_v_,
                              limit, residue_u_vec_ + kH, residue_v_vec_ + kH, GradH_UY.data.data(),
                              GradH_VY.data.data());
  } else {
    ClampedResidues<kH, false>(pu, pv, weight_vec_, grad_u_vec_, grad_v_vec_, prj_u_, prj_v_, limit, residue_u_vec_,
                               residue_v_vec_, GradH_UX.data.data(), GradH_VX.data.data());
    ClampedResidues<kV, false>(pu + kH, pv + kH, weight_vec_ + kH, grad_u_vec_ + kH, grad_v_vec_ + kH, prj_u_, prj_v_,
                               limit, residue_u_vec_ + kH, residue_v_vec_ + kH, GradH_UY.data.data(),
                               GradH_VY.data.data());
  }
}

void MirvoHybrid::TemporalFilter(float prj_u, float prj_v) {
  const TuningParams& tuning = pconfig_params_->tuning;
  const float du = prj_u - prev_prj_u_;
  const float dv = prj_v - prev_prj_v_;
  const float s = 2.0f - (std::fabs(du) + std::fabs(dv)) / tuning.prj_delta_thd;
  // Small jumps are followed slowly, large ones at once. A NaN s must
  // propagate, hence the plain comparison instead of fmin.
  float f = 1.0f;
  if (!(s < 0.0f)) {
    const float clamped = 1.0f < s ? 1.0f : s;
    f = clamped * (-0.8f) + 1.0f;
  }
  const float g = tuning.tint_update_gain * f;
  const float u = prev_prj_u_ + du * g;
  const float v = prev_prj_v_ + dv * g;
  prj_u_ = prev_prj_u_ = u;
  prj_v_ = prev_prj_v_ = v;
  temporal_update_gain_ = g;
}

void MirvoHybrid::LogToLinear() {
  const bool debug = DiagnosticsOn(pdebug_params_);
  const bool scale = debug && pdebug_params_->tint_visualization_gain != 1.0f;
  float* u = log_tint_u.data.data();
  float* v = log_tint_v.data.data();
  // Each node is scaled before its own exponential; the nodes do not depend
  // on each other, so scaling all of them first gives the same values.
  if (scale) {
    const float gain = pdebug_params_->tint_visualization_gain;
    for (int i = 0; i < kNodes; ++i) {
      u[i] *= gain;
      v[i] *= gain;
    }
  }
  const Sums s = LinearTint(u, v);
  const float mean_u = s.u / 221.0f;
  const float mean_v = s.v / 221.0f;
  internal::DivideAll<kNodes>(u, mean_u);
  internal::DivideAll<kNodes>(v, mean_v);

  if (debug) {
    state_.Set("red_gain", mean_u);
    state_.Set("blue_gain", mean_v);
  }
}

}  // namespace mirvo
