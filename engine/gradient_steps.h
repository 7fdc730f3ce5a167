#pragma once

#include "core/matrix.h"
#include "engine/log_stats.h"

namespace mirvo {
namespace internal {

// Zeroes the gradients of every edge whose reliability flag is clear, over the
// fixed 24 x 31 horizontal and 23 x 32 vertical edges. Weights are left alone:
// a masked edge still pulls the surface towards a zero slope.
void MaskUnreliableGradients(const LogStats& stats, Matrix<float>& ux, Matrix<float>& uy, Matrix<float>& vx,
                             Matrix<float>& vy);

// Bounds every entry of the four gradient grids to [-limit, limit]; a NaN
// entry stays NaN.
void ClampGradients(float limit, Matrix<float>& ux, Matrix<float>& uy, Matrix<float>& vx, Matrix<float>& vy);

}  // namespace internal
}  // namespace mirvo
