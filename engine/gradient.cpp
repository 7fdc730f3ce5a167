#include <cstring>

#include "engine/edge_kernels.h"
#include "engine/gradient_steps.h"
#include "engine/grid_kernels.h"
#include "engine/mirvo_hybrid.h"

// The eight-lane pass below passes its vectors only between always-inlined
// helpers inside the AVX2 function, never across an ABI boundary; GCC still
// notes the ABI change, at the end of the file.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace mirvo {

namespace {

constexpr int kRows = 24;
constexpr int kCols = 32;

template <int N>
void ClampRun(float limit, float* __restrict g) {
  for (int i = 0; i < N; ++i) {
    const float x = g[i];
    g[i] = x < -limit ? -limit : (x > limit ? limit : x);
  }
}

constexpr size_t kHorizontalRowBytes = (kCols - 1) * sizeof(float);
constexpr int kLastRow = kRows - 1;

}  // namespace

// Horizontal rows are written 32 lanes wide in place, the 32nd landing on the
// next row's first entry, which that row then rewrites. The last row has no
// next row: its window starts one cell earlier (lanes 1..31, so no lane reads
// past the grid) and goes through scratch.
void MirvoHybrid::EstimateGradient() {
  const float smooth_thd = pconfig_params_->tuning.smooth_thd;
  const float* u = log_stats_.log_u_input.data.data();
  const float* v = log_stats_.log_v_input.data.data();
  for (int r = 0; r < kLastRow; ++r) {
    const int cell = r * kCols;
    internal::EdgeRow<internal::F4, 0, internal::kEdgeLanes>(u + cell, u + cell + 1, v + cell, v + cell + 1, nullptr,
                                                             nullptr, nullptr, smooth_thd, GradH_UX[r], GradH_VX[r],
                                                             WX[r], nullptr, nullptr);
  }
  internal::EdgeRowScratch s;
  const int last = kLastRow * kCols - 1;
  internal::EdgeRow<internal::F4, 0, internal::kEdgeLanes>(u + last, u + last + 1, v + last, v + last + 1, nullptr,
                                                           nullptr, nullptr, smooth_thd, s.gu, s.gv, s.w, nullptr,
                                                           nullptr);
  std::memcpy(GradH_UX[kLastRow], s.gu + 1, kHorizontalRowBytes);
  std::memcpy(GradH_VX[kLastRow], s.gv + 1, kHorizontalRowBytes);
  std::memcpy(WX[kLastRow], s.w + 1, kHorizontalRowBytes);
  for (int r = 0; r < kLastRow; ++r) {
    const int cell = r * kCols;
    internal::EdgeRow<internal::F4, 0, internal::kEdgeLanes>(u + cell, u + cell + kCols, v + cell, v + cell + kCols,
                                                             nullptr, nullptr, nullptr, smooth_thd, GradH_UY[r],
                                                             GradH_VY[r], WY[r], nullptr, nullptr);
  }
}

namespace {

// What the fused pass reads and writes.
struct EdgePass {
  float smooth_thd;
  const float* pu;  // profile gradients, edge order
  const float* pv;
  const float* u;  // log chroma, 24 x 32
  const float* v;
  const uint8_t* dx;  // reliability flags, 24 x 32
  const uint8_t* dy;
  float* grad_u;  // flattened masked gradients and weights, edge order
  float* grad_v;
  float* weights;
  float* wx;  // weight grids, 24 x 31 and 23 x 32
  float* wy;
};

// The pass for a vector type V; inlined into a function of the target that
// has V's registers.
template <typename V>
__attribute__((always_inline)) inline internal::FitSums WeightMaskAndSumRows(const EdgePass& p) {
  internal::FitSums sums;
  alignas(32) int32_t kept[internal::kEdgeLanes];
  for (int r = 0; r < kLastRow; ++r) {
    const int cell = r * kCols;
    const int edge = r * (kCols - 1);
    internal::FlagMasks(p.dx + cell, kept);
    internal::EdgeRow<V, 0, kCols - 1>(p.u + cell, p.u + cell + 1, p.v + cell, p.v + cell + 1, kept, p.pu + edge,
                                       p.pv + edge, p.smooth_thd, p.grad_u + edge, p.grad_v + edge, p.weights + edge,
                                       p.wx + edge, &sums);
  }
  {
    internal::EdgeRowScratch s;
    const int cell = kLastRow * kCols - 1;
    const int edge = kLastRow * (kCols - 1) - 1;
    float weights_copy[internal::kEdgeLanes];
    internal::FlagMasks(p.dx + cell, kept);
    internal::EdgeRow<V, 1, kCols>(p.u + cell, p.u + cell + 1, p.v + cell, p.v + cell + 1, kept, p.pu + edge,
                                   p.pv + edge, p.smooth_thd, s.gu, s.gv, s.w, weights_copy, &sums);
    std::memcpy(p.grad_u + edge + 1, s.gu + 1, kHorizontalRowBytes);
    std::memcpy(p.grad_v + edge + 1, s.gv + 1, kHorizontalRowBytes);
    std::memcpy(p.weights + edge + 1, s.w + 1, kHorizontalRowBytes);
    std::memcpy(p.wx + edge + 1, s.w + 1, kHorizontalRowBytes);
  }
  for (int r = 0; r < kLastRow; ++r) {
    const int cell = r * kCols;
    const int edge = kNumHorizontalEdges + r * kCols;
    internal::FlagMasks(p.dy + cell, kept);
    internal::EdgeRow<V, 0, kCols>(p.u + cell, p.u + cell + kCols, p.v + cell, p.v + cell + kCols, kept, p.pu + edge,
                                   p.pv + edge, p.smooth_thd, p.grad_u + edge, p.grad_v + edge, p.weights + edge,
                                   p.wy + (edge - kNumHorizontalEdges), &sums);
  }
  return sums;
}

internal::FitSums WeightMaskAndSumFour(const EdgePass& p) { return WeightMaskAndSumRows<internal::F4>(p); }

#if defined(__x86_64__)
// Eight lanes where AVX2 is there: the same operations per lane.
__attribute__((target("avx2"))) internal::FitSums WeightMaskAndSumEight(const EdgePass& p) {
  return WeightMaskAndSumRows<internal::F8>(p);
}
#endif

}  // namespace

// EstimateGradient, the reliability mask and the flattening and sums of
// FitLearnedTintProfile in one pass over the edge rows. The differences are
// masked right after weighting, which is all the mask does to them, and the
// unmasked ones are never read when diagnostics are off. The vector work of
// one row overlaps the latency-bound sums of the previous one.
internal::FitSums MirvoHybrid::WeightMaskAndSum() {
  const EdgePass p = {pconfig_params_->tuning.smooth_thd,
                      pconfig_params_->learned_tint_profile.BgUHXY,
                      pconfig_params_->learned_tint_profile.BgVHXY,
                      log_stats_.log_u_input.data.data(),
                      log_stats_.log_v_input.data.data(),
                      &log_stats_.is_reliable_dx_[0][0],
                      &log_stats_.is_reliable_dy_[0][0],
                      grad_u_vec_,
                      grad_v_vec_,
                      weight_vec_,
                      WX.data.data(),
                      WY.data.data()};
#if defined(__x86_64__)
  if (internal::HaveEightLanes()) return WeightMaskAndSumEight(p);
#endif
  return WeightMaskAndSumFour(p);
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
  ClampRun<kNumHorizontalEdges>(limit, ux.data.data());
  ClampRun<kNumVerticalEdges>(limit, uy.data.data());
  ClampRun<kNumHorizontalEdges>(limit, vx.data.data());
  ClampRun<kNumVerticalEdges>(limit, vy.data.data());
}

}  // namespace internal
}  // namespace mirvo
