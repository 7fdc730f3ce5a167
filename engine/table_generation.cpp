#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/log_tag.h"
#include "engine/edge_kernels.h"
#include "engine/gradient_steps.h"
#include "engine/grid_kernels.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {

namespace {

constexpr int kNodes = 13 * 17;
constexpr int kMainNodes = kNodes / 4 * 4;  // whole four-lane steps; the last node apart

// Red and blue take the tint, the greens pass through.
template <int kBegin, int kEnd>
void ApplyTint(const float* __restrict base_r, const float* __restrict base_b, const float* __restrict tint_u,
               const float* __restrict tint_v, float* __restrict out_r, float* __restrict out_b) {
  for (int i = kBegin; i < kEnd; ++i) {
    out_r[i] = base_r[i] * tint_u[i];
    out_b[i] = base_b[i] * tint_v[i];
  }
}

// Whether a plane holds a signaling NaN. fmin turns one into a NaN result
// (minNum, both in the x86-64 C library and with AArch64 fminnm), which the
// next fmin then drops: the running minimum restarts after it. Only the
// caller's green planes can hold one; the products are quiet.
template <int kBegin, int kEnd>
uint32_t SignalingNans(const float* __restrict x) {
  uint32_t any = 0;
  for (int i = kBegin; i < kEnd; ++i) {
    uint32_t bits;
    std::memcpy(&bits, &x[i], sizeof bits);
    any |= static_cast<uint32_t>((bits & 0x7fc00000u) == 0x7f800000u && (bits & 0x003fffffu) != 0);
  }
  return any;
}

bool HasSignalingNan(const float* x) {
  return (SignalingNans<0, kMainNodes>(x) | SignalingNans<kMainNodes, kNodes>(x)) != 0;
}

// The smallest entry of a plane and m, with fmin's minNum semantics when no
// entry is a signaling NaN: a NaN entry is ignored (m starts at 1.0, so it is
// never NaN itself). The order of the comparisons cannot change the smallest
// value; it could only change the sign of a zero result, and a zero m is
// never used (it fails m > 0.1). So four running minima side by side, which
// vectorise, are exact here.
float MinOfPlane(const float* __restrict x, float m) {
  float lane[4] = {m, m, m, m};
  for (int i = 0; i < kMainNodes; i += 4) {
    for (int j = 0; j < 4; ++j) lane[j] = x[i + j] < lane[j] ? x[i + j] : lane[j];
  }
  for (int i = kMainNodes; i < kNodes; ++i) m = x[i] < m ? x[i] : m;
  for (int j = 0; j < 4; ++j) m = lane[j] < m ? lane[j] : m;
  return m;
}

// Records each key and value in turn in the diagnostic store.
void Record(MirvoState&) {}
template <typename T, typename... Rest>
void Record(MirvoState& state, const char* key, const T& value, const Rest&... rest) {
  state.Set(key, value);
  Record(state, rest...);
}

}  // namespace

void MirvoHybrid::GenerateDlscTable() {
  if (pdebug_params_ == nullptr || pconfig_params_ == nullptr) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                        "Mirvo is not configured. Either pdebug_params_ or pconfig_params_ is nullptr");
    return;
  }
  if (!CheckGridShapes()) return;
  const bool debug = pdebug_params_->debug_enable;
  const TuningParams& tuning = pconfig_params_->tuning;
  Matrix<float>& log_u = log_stats_.log_u_input;
  Matrix<float>& log_v = log_stats_.log_v_input;

  if (debug) {
    state_.Set("lsc_log_RG_gain[24][32]", lsc_gain_.lsc_log_RG_gain);
    state_.Set("lsc_log_BG_gain[24][32]", lsc_gain_.lsc_log_BG_gain);
    state_.Set("log_u_input[24][32]", log_u);
    state_.Set("log_v_input[24][32]", log_v);
    state_.Set("is_reliable_dx_[24][32]", Matrix<unsigned short>(log_stats_.is_reliable_dx_));
    state_.Set("is_reliable_dy_[24][32]", Matrix<unsigned short>(log_stats_.is_reliable_dy_));
    state_.Set("min_level_thd", tuning.min_level_thd);
    state_.Set("max_level_thd", tuning.max_level_thd);
    state_.Set("sat_ratio_thd", tuning.sat_ratio_thd);
    state_.Set("smooth_thd", tuning.smooth_thd);
    state_.Set("limit_thd", tuning.limit_thd);
    state_.Set("filter_input_stats", static_cast<float>(tuning.filter_input_stats));
  }

  // The statistics arrive without the base table's shading; put it back so
  // the estimate is the residual tint of the corrected image.
  internal::AddLogGains(lsc_gain_.lsc_log_RG_gain, log_u);
  internal::AddLogGains(lsc_gain_.lsc_log_BG_gain, log_v);
  if (debug) Record(state_, "log_stats_U[24][32]", log_u, "log_stats_V[24][32]", log_v);

  if (!debug) {
    // Nothing is recorded between these steps: run them as one pass over the
    // edges and one over the residues, with the same arithmetic.
    SetProjections(WeightMaskAndSum());
    ResiduesAndClamp();
  } else {
    // Diagnostics on: each step alone, its grids recorded after it.
    EstimateGradient();
    Record(state_, "GradH_UX[24][31]", GradH_UX, "GradH_UY[23][32]", GradH_UY, "GradH_VX[24][31]", GradH_VX,
           "GradH_VY[23][32]", GradH_VY);
    internal::MaskUnreliableGradients(log_stats_, GradH_UX, GradH_UY, GradH_VX, GradH_VY);
    Record(state_, "WX[24][31]", WX, "WY[23][32]", WY);
    FitLearnedTintProfile();
    Record(state_, "prj_u", prj_u_, "prj_v", prj_v_);
    internal::ClampGradients(tuning.limit_thd, GradH_UX, GradH_UY, GradH_VX, GradH_VY);
  }
  internal::Matrix24x32ToMatrix13x17(GradH_UX, GradH_UY, GradL_UX, GradL_UY);
  internal::Matrix24x32ToMatrix13x17(GradH_VX, GradH_VY, GradL_VX, GradL_VY);
  IntegrateGradientResidue();
  if (debug) Record(state_, "log_tint_u[13][17]", log_tint_u, "log_tint_v[13][17]", log_tint_v);
  LogToLinear();
  // The conversion works in place: the linear tint is in the log grids now.
  if (debug) Record(state_, "linear_tint_u[13][17]", log_tint_u, "linear_tint_v[13][17]", log_tint_v);

  MergeTintBaseTables();
}

void MirvoHybrid::MergeTintBaseTables() {
  const LscTable& base = base_table_;
  LscTable& out = mirvo_table_;
  // The tint corrects red and blue relative to green; greens pass through.
  // NaN nodes are ignored by the minimum, so one bad node cannot void the
  // normalisation.
  float m = 1.0f;
  if (!HasSignalingNan(&base.gr_gain[0][0]) && !HasSignalingNan(&base.gb_gain[0][0])) {
    const float* tu = log_tint_u.data.data();
    const float* tv = log_tint_v.data.data();
    ApplyTint<0, kMainNodes>(&base.r_gain[0][0], &base.b_gain[0][0], tu, tv, &out.r_gain[0][0], &out.b_gain[0][0]);
    ApplyTint<kMainNodes, kNodes>(&base.r_gain[0][0], &base.b_gain[0][0], tu, tv, &out.r_gain[0][0], &out.b_gain[0][0]);
    std::memcpy(out.gr_gain, base.gr_gain, sizeof(out.gr_gain));
    std::memcpy(out.gb_gain, base.gb_gain, sizeof(out.gb_gain));
    m = MinOfPlane(&out.r_gain[0][0], m);
    m = MinOfPlane(&base.gr_gain[0][0], m);
    m = MinOfPlane(&base.gb_gain[0][0], m);
    m = MinOfPlane(&out.b_gain[0][0], m);
  } else {
    // A signaling NaN in a green plane: node by node with fmin, as written.
    for (int r = 0; r < 13; ++r) {
      for (int c = 0; c < 17; ++c) {
        out.r_gain[r][c] = base.r_gain[r][c] * log_tint_u[r][c];
        out.gr_gain[r][c] = base.gr_gain[r][c];
        out.gb_gain[r][c] = base.gb_gain[r][c];
        out.b_gain[r][c] = base.b_gain[r][c] * log_tint_v[r][c];
        m = std::fmin(std::fmin(std::fmin(std::fmin(m, out.r_gain[r][c]), base.gr_gain[r][c]), base.gb_gain[r][c]),
                      out.b_gain[r][c]);
      }
    }
  }
  // Lift the smallest gain to exactly 1, but never amplify a table more than
  // tenfold; both bounds are exclusive.
  if (m > 0.1f && m < 1.0f) {
    internal::DivideAll<kNodes>(&out.r_gain[0][0], m);
    internal::DivideAll<kNodes>(&out.gr_gain[0][0], m);
    internal::DivideAll<kNodes>(&out.gb_gain[0][0], m);
    internal::DivideAll<kNodes>(&out.b_gain[0][0], m);
  }
  if (pdebug_params_->debug_enable) {
    state_.Set("output_table_R[13][17]", Matrix<float>(out.r_gain));
    state_.Set("output_table_Gr[13][17]", Matrix<float>(out.gr_gain));
    state_.Set("output_table_Gb[13][17]", Matrix<float>(out.gb_gain));
    state_.Set("output_table_B[13][17]", Matrix<float>(out.b_gain));
  }
}

}  // namespace mirvo
