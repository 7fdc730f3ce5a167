#include <cmath>

#include "engine/gradient_steps.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {

namespace {

void Differences(const Matrix<float>& in, Matrix<float>& gx, Matrix<float>& gy) {
  const int w = in.cols;
  const int h = in.rows;
  for (int r = 0; r < h; ++r)
    for (int c = 0; c + 1 < w; ++c) gx[r][c] = in[r][c + 1] - in[r][c];
  for (int r = 0; r + 1 < h; ++r)
    for (int c = 0; c < w; ++c) gy[r][c] = in[r + 1][c] - in[r][c];
}

// A small joint chroma step is shading and keeps weight 1; a large one is a
// scene edge and is faded out between 2x and 3x smooth_thd. The weight never
// drops below 0.0005 so the integration never divides by a zero sum.
// fmin/fmax: a NaN ramp value (zero smooth_thd, zero step) yields the bound.
void WeightEdges(float smooth_thd, Matrix<float>& gu, Matrix<float>& gv, Matrix<float>& w) {
  for (int r = 0; r < gu.rows; ++r) {
    for (int c = 0; c < gu.cols; ++c) {
      const float s = std::fabs(gu[r][c]) + std::fabs(gv[r][c]);
      float t = 3.0f - s / smooth_thd;
      t = std::fmin(t, 1.0f);
      w[r][c] = std::fmax(t, 0.0005f);
      const float m = std::fmax(t, 0.0f);
      gu[r][c] = gu[r][c] * m;
      gv[r][c] = gv[r][c] * m;
    }
  }
}

void ClampGrid(float limit, Matrix<float>& g) {
  const int n = g.rows * g.cols;
  for (int i = 0; i < n; ++i) {
    const float x = g.data[i];
    g.data[i] = x < -limit ? -limit : (x > limit ? limit : x);
  }
}

}  // namespace

void MirvoHybrid::EstimateGradient() {
  Differences(log_stats_.log_u_input, GradH_UX, GradH_UY);
  Differences(log_stats_.log_v_input, GradH_VX, GradH_VY);
  const float smooth_thd = pconfig_params_->tuning.smooth_thd;
  WeightEdges(smooth_thd, GradH_UX, GradH_VX, WX);
  WeightEdges(smooth_thd, GradH_UY, GradH_VY, WY);
}

namespace internal {

void MaskUnreliableGradients(const LogStats& stats, Matrix<float>& ux, Matrix<float>& uy, Matrix<float>& vx,
                             Matrix<float>& vy) {
  for (int r = 0; r < 24; ++r) {
    for (int c = 0; c < 31; ++c) {
      if (stats.is_reliable_dx_[r][c] == 0) {
        ux[r][c] = 0.0f;
        vx[r][c] = 0.0f;
      }
    }
  }
  for (int r = 0; r < 23; ++r) {
    for (int c = 0; c < 32; ++c) {
      if (stats.is_reliable_dy_[r][c] == 0) {
        uy[r][c] = 0.0f;
        vy[r][c] = 0.0f;
      }
    }
  }
}

void ClampGradients(float limit, Matrix<float>& ux, Matrix<float>& uy, Matrix<float>& vx, Matrix<float>& vy) {
  ClampGrid(limit, ux);
  ClampGrid(limit, uy);
  ClampGrid(limit, vx);
  ClampGrid(limit, vy);
}

}  // namespace internal
}  // namespace mirvo
