#include <cmath>

#include "core/log_tag.h"
#include "engine/gradient_steps.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {

namespace {

void AddInPlace(const Matrix<float>& gain, Matrix<float>& log_input) {
  const int n = log_input.rows * log_input.cols;
  for (int i = 0; i < n; ++i) log_input.data[i] = gain.data[i] + log_input.data[i];
}

}  // namespace

void MirvoHybrid::GenerateDlscTable() {
  if (pdebug_params_ == nullptr || pconfig_params_ == nullptr) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                        "Mirvo is not configured. Either pdebug_params_ or pconfig_params_ is nullptr");
    return;
  }
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
  AddInPlace(lsc_gain_.lsc_log_RG_gain, log_u);
  AddInPlace(lsc_gain_.lsc_log_BG_gain, log_v);
  if (debug) {
    state_.Set("log_stats_U[24][32]", log_u);
    state_.Set("log_stats_V[24][32]", log_v);
  }

  EstimateGradient();
  if (debug) {
    state_.Set("GradH_UX[24][31]", GradH_UX);
    state_.Set("GradH_UY[23][32]", GradH_UY);
    state_.Set("GradH_VX[24][31]", GradH_VX);
    state_.Set("GradH_VY[23][32]", GradH_VY);
  }

  internal::MaskUnreliableGradients(log_stats_, GradH_UX, GradH_UY, GradH_VX, GradH_VY);
  if (debug) {
    state_.Set("WX[24][31]", WX);
    state_.Set("WY[23][32]", WY);
  }

  FitLearnedTintProfile();
  if (debug) {
    state_.Set("prj_u", prj_u_);
    state_.Set("prj_v", prj_v_);
  }

  internal::ClampGradients(tuning.limit_thd, GradH_UX, GradH_UY, GradH_VX, GradH_VY);
  internal::Matrix24x32ToMatrix13x17(GradH_UX, GradH_UY, GradL_UX, GradL_UY);
  internal::Matrix24x32ToMatrix13x17(GradH_VX, GradH_VY, GradL_VX, GradL_VY);
  IntegrateGradientResidue();
  if (debug) {
    state_.Set("log_tint_u[13][17]", log_tint_u);
    state_.Set("log_tint_v[13][17]", log_tint_v);
  }

  LogToLinear();
  if (debug) {
    state_.Set("linear_tint_u[13][17]", log_tint_u);
    state_.Set("linear_tint_v[13][17]", log_tint_v);
  }

  MergeTintBaseTables();
}

void MirvoHybrid::MergeTintBaseTables() {
  const LscTable& base = base_table_;
  LscTable& out = mirvo_table_;
  // The tint corrects red and blue relative to green; greens pass through.
  // fmin ignores a NaN node, so one bad node cannot void the normalisation.
  float m = 1.0f;
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
  // Lift the smallest gain to exactly 1, but never amplify a table more than
  // tenfold; both bounds are exclusive.
  if (m > 0.1f && m < 1.0f) {
    for (int r = 0; r < 13; ++r) {
      for (int c = 0; c < 17; ++c) {
        out.r_gain[r][c] = out.r_gain[r][c] / m;
        out.gr_gain[r][c] = out.gr_gain[r][c] / m;
        out.gb_gain[r][c] = out.gb_gain[r][c] / m;
        out.b_gain[r][c] = out.b_gain[r][c] / m;
      }
    }
  }
  if (pdebug_params_->debug_enable) {
    state_.Set("output_table_R[13][17]", Matrix<float>(out.r_gain));
    state_.Set("output_table_Gr[13][17]", Matrix<float>(out.gr_gain));
    state_.Set("output_table_Gb[13][17]", Matrix<float>(out.gb_gain));
    state_.Set("output_table_B[13][17]", Matrix<float>(out.b_gain));
  }
}

}  // namespace mirvo
