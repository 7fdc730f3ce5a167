#include <algorithm>
#include <cmath>

#include "core/log_tag.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {

namespace {

// Appends a grid's entries to a flat edge vector; returns the next free slot.
float* Flatten(const Matrix<float>& m, float* dst) { return std::copy(m.data.begin(), m.data.end(), dst); }

const float* Unflatten(const float* src, Matrix<float>& m) {
  std::copy(src, src + m.size(), m.data.begin());
  return src + m.size();
}

bool DiagnosticsOn(const MirvoDebugParams* debug) { return debug != nullptr && debug->debug_enable; }

}  // namespace

void MirvoHybrid::FitLearnedTintProfile() {
  const TuningParams& tuning = pconfig_params_->tuning;
  const float* pu = pconfig_params_->learned_tint_profile.BgUHXY;
  const float* pv = pconfig_params_->learned_tint_profile.BgVHXY;

  Flatten(WY, Flatten(WX, weight_vec_));
  Flatten(GradH_UY, Flatten(GradH_UX, grad_u_vec_));
  Flatten(GradH_VY, Flatten(GradH_VX, grad_v_vec_));

  // Weighted least-squares scale of the profile gradients, one per plane.
  float nu = 0.0f;
  float du = 0.0f;
  for (int i = 0; i < kNumEdges; ++i) {
    nu += pu[i] * grad_u_vec_[i] * weight_vec_[i];
    du += pu[i] * pu[i] * weight_vec_[i];
  }
  const float u = nu / (du + 1e-7f);
  float nv = 0.0f;
  float dv = 0.0f;
  for (int i = 0; i < kNumEdges; ++i) {
    nv += pv[i] * grad_v_vec_[i] * weight_vec_[i];
    dv += pv[i] * pv[i] * weight_vec_[i];
  }
  const float v = nv / (dv + 1e-7f);

  if (tuning.enable_temporal_filter != 0) {
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

  for (int i = 0; i < kNumEdges; ++i) {
    residue_u_vec_[i] = pu[i] * prj_u_;
    residue_v_vec_[i] = pv[i] * prj_v_;
  }
  // The weights enter twice: in the projection above and on the residue
  // that the integration receives.
  for (int i = 0; i < kNumEdges; ++i) {
    residue_u_vec_[i] = (grad_u_vec_[i] - residue_u_vec_[i]) * weight_vec_[i];
    residue_v_vec_[i] = weight_vec_[i] * (grad_v_vec_[i] - residue_v_vec_[i]);
  }

  Unflatten(Unflatten(residue_u_vec_, GradH_UX), GradH_UY);
  Unflatten(Unflatten(residue_v_vec_, GradH_VX), GradH_VY);
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
  float su = 0.0f;
  float sv = 0.0f;
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      if (scale) {
        log_tint_u[r][c] *= pdebug_params_->tint_visualization_gain;
        log_tint_v[r][c] *= pdebug_params_->tint_visualization_gain;
      }
      // A positive log tint lowers the gain: the result corrects R/G and B/G.
      log_tint_u[r][c] = expf(-log_tint_u[r][c]);
      log_tint_v[r][c] = expf(-log_tint_v[r][c]);
      su += log_tint_u[r][c];
      sv += log_tint_v[r][c];
    }
  }
  const float mu = su / 221.0f;
  const float mv = sv / 221.0f;
  for (float& x : log_tint_u.data) x /= mu;
  for (float& x : log_tint_v.data) x /= mv;

  if (debug) {
    state_.Set("red_gain", mu);
    state_.Set("blue_gain", mv);
  }
}

}  // namespace mirvo
