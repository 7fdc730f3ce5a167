#include <algorithm>

#include "core/log_tag.h"
#include "engine/filters.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {
namespace internal {

void Matrix24x32ToMatrix13x17(const Matrix<float>& gx, const Matrix<float>& gy, Matrix<float>& lx, Matrix<float>& ly) {
  std::fill(lx.data.begin(), lx.data.end(), 0.0f);
  std::fill(ly.data.begin(), ly.data.end(), 0.0f);

  // Edge grids padded by repeating their outer column (gx) or row (gy), so
  // every lattice node sees a full [1 2 1] window.
  float px[24][33];
  float py[25][32];
  for (int r = 0; r < 24; ++r) {
    const float* src = gx[r];
    px[r][0] = src[0];
    for (int j = 1; j <= 31; ++j) px[r][j] = src[j - 1];
    px[r][32] = src[30];
  }
  for (int c = 0; c < 32; ++c) py[0][c] = gy[0][c];
  for (int i = 1; i <= 23; ++i)
    for (int c = 0; c < 32; ++c) py[i][c] = gy[i - 1][c];
  for (int c = 0; c < 32; ++c) py[24][c] = gy[22][c];

  for (int c = 0; c < 16; ++c) {
    for (int k = 0; k < 12; ++k) {
      const float a = 0.5f * (px[2 * k][2 * c] + 2.0f * px[2 * k][2 * c + 1] + px[2 * k][2 * c + 2]);
      const float b = 0.5f * (px[2 * k + 1][2 * c] + 2.0f * px[2 * k + 1][2 * c + 1] + px[2 * k + 1][2 * c + 2]);
      lx[k][c] += 0.25f * (3.0f * a - b);
      lx[k + 1][c] += 0.25f * (3.0f * b - a);
      const float cc = 0.5f * (py[2 * k][2 * c] + 2.0f * py[2 * k + 1][2 * c] + py[2 * k + 2][2 * c]);
      // Not the mirror of cc: no sample above, the centre weighted three
      // times. The tuned tables depend on this exact form.
      const float d = 0.5f * (3.0f * py[2 * k + 1][2 * c + 1] + py[2 * k + 2][2 * c + 1]);
      ly[k][c] += 0.25f * (3.0f * cc - d);
      ly[k][c + 1] += 0.25f * (3.0f * d - cc);
    }
  }

  // Border rows/columns of the lattice get one contribution instead of two.
  for (int c = 0; c < 16; ++c) {
    lx[0][c] *= 2.0f;
    lx[12][c] *= 2.0f;
  }
  for (int r = 0; r < 12; ++r) {
    ly[r][0] *= 2.0f;
    ly[r][16] *= 2.0f;
  }
}

void Integrator(int c0, int r0, const Matrix<float>& lx, const Matrix<float>& ly, Matrix<float>& out) {
  const int w = ly.cols;
  const int h = lx.rows;
  out.Resize(w, h);
  std::fill(out.data.begin(), out.data.end(), 0.0f);

  for (int c = c0 + 1; c < w; ++c) out[r0][c] = out[r0][c - 1] + lx[r0][c - 1];
  for (int c = c0 - 1; c >= 0; --c) out[r0][c] = out[r0][c + 1] - lx[r0][c];
  for (int r = r0 + 1; r < h; ++r) out[r][c0] = out[r - 1][c0] + ly[r - 1][c0];
  for (int r = r0 - 1; r >= 0; --r) out[r][c0] = out[r + 1][c0] - ly[r][c0];

  // Each quadrant sweeps away from the start node, so both the vertical and
  // the horizontal neighbour towards it are already known.
  for (int r = r0 + 1; r < h; ++r)
    for (int c = c0 + 1; c < w; ++c)
      out[r][c] = 0.5f * ((out[r - 1][c] + ly[r - 1][c]) + (out[r][c - 1] + lx[r][c - 1]));
  for (int r = r0 - 1; r >= 0; --r)
    for (int c = c0 + 1; c < w; ++c) out[r][c] = 0.5f * ((out[r + 1][c] - ly[r][c]) + (out[r][c - 1] + lx[r][c - 1]));
  for (int r = r0 + 1; r < h; ++r)
    for (int c = c0 - 1; c >= 0; --c) out[r][c] = 0.5f * ((out[r - 1][c] + ly[r - 1][c]) + (out[r][c + 1] - lx[r][c]));
  for (int r = r0 - 1; r >= 0; --r)
    for (int c = c0 - 1; c >= 0; --c) out[r][c] = 0.5f * ((out[r + 1][c] - ly[r][c]) + (out[r][c + 1] - lx[r][c]));
}

}  // namespace internal

namespace {

void Accumulate(const Matrix<float>& src, Matrix<float>& dst) {
  const int n = dst.size();
  for (int i = 0; i < n; ++i) dst.data[i] += src.data[i];
}

}  // namespace

void MirvoHybrid::IntegratorSum() {
  Matrix<float>& t = integrator_scratch_;
  const int w = GradL_UY.cols;
  const int h = GradL_UX.rows;
  t.Resize(w, h);
  std::fill(log_tint_u.data.begin(), log_tint_u.data.end(), 0.0f);
  std::fill(log_tint_v.data.begin(), log_tint_v.data.end(), 0.0f);

  // Start nodes: corners, edge midpoints and centre. Averaging them removes
  // the path dependence of a single integration and its reference level.
  int count = 0;
  for (int r0 = 0; r0 < h; r0 += h / 2) {
    for (int c0 = 0; c0 < w; c0 += w / 2) {
      internal::Integrator(c0, r0, GradL_UX, GradL_UY, t);
      Accumulate(t, log_tint_u);
      internal::Integrator(c0, r0, GradL_VX, GradL_VY, t);
      Accumulate(t, log_tint_v);
      ++count;
    }
  }

  const float n = static_cast<float>(count);
  for (float& x : log_tint_u.data) x /= n;
  for (float& x : log_tint_v.data) x /= n;
}

void MirvoHybrid::IntegrateGradientResidue() {
  if (pconfig_params_ == nullptr) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Mirvo is not configured. pconfig_params_ is nullptr");
    return;
  }
  const TuningParams& tuning = pconfig_params_->tuning;

  IntegratorSum();

  if (tuning.filter_input_stats == 1) {
    Filters::Gauss_3x3(log_tint_u);
    Filters::Gauss_3x3(log_tint_v);
  }

  if (tuning.enable_temporal_filter != 0) {
    const float g = temporal_update_gain_;
    for (int r = 0; r < 13; ++r) {
      for (int c = 0; c < 17; ++c) {
        temporal_tint_u_[r][c] = temporal_tint_u_[r][c] + g * (log_tint_u[r][c] - temporal_tint_u_[r][c]);
        temporal_tint_v_[r][c] = temporal_tint_v_[r][c] + g * (log_tint_v[r][c] - temporal_tint_v_[r][c]);
      }
    }
    log_tint_u = temporal_tint_u_;
    log_tint_v = temporal_tint_v_;
  }

  // The profile's share was taken out before integration; put it back after
  // the blend, which therefore smooths only the residue.
  const LearnedTintProfile& profile = pconfig_params_->learned_tint_profile;
  for (int r = 0; r < 13; ++r) {
    for (int c = 0; c < 17; ++c) {
      log_tint_u[r][c] = profile.BUL[r][c] * prj_u_ + log_tint_u[r][c];
      log_tint_v[r][c] = profile.BVL[r][c] * prj_v_ + log_tint_v[r][c];
    }
  }
}

}  // namespace mirvo
