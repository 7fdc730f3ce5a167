#pragma once

#include "core/export.h"
#include "core/matrix.h"
#include "core/rgbg.h"

namespace mirvo {

// Per-axis Catmull-Rom weights for N output positions on an axis of n source
// samples (n >= 4). start[i] is always in 0..n-4; a missing outer sample is
// replaced by linear extrapolation, so linear ramps are reproduced everywhere.
// Instantiated for N = 13, 17, 24 and 32.
template <int N>
MIRVO_EXPORT void BicubicKernel(int n, const float (&pos)[N], int (&start)[N], float (&w)[N][4]);

// Separable bicubic resampling of a 13 x 17 grid at fractional positions;
// column positions come first. Rows are filtered first, then columns.
// Instantiated for <13, 17, 13, 17> and <13, 17, 24, 32>.
template <int Hs, int Ws, int Hd, int Wd>
void ResampleBicubic(const float (&x)[Wd], const float (&y)[Hd], const float (&src)[Hs][Ws], float (&dst)[Hd][Wd]);

// Fixed 2x bilinear upsampling from the 13 x 17 table lattice to the 24 x 32
// statistics grid (output j at source position j/2 + 0.25 on each axis).
MIRVO_EXPORT void Resample13x17to24x32(const Matrix<float>& src, Matrix<float>* dst);
// Same arithmetic on plain arrays, for callers that must not allocate.
MIRVO_EXPORT void Resample13x17to24x32(const float (&src)[13][17], float (&dst)[24][32]);

// Four-point cubic interpolation of both members of an Rgbg, t in [0, 1]
// between p1 (t = 0) and p2 (t = 1). Returns out.
MIRVO_EXPORT Rgbg* CubicInterpolate_rgbg(Rgbg* out, Rgbg* p0, Rgbg* p1, Rgbg* p2, Rgbg* p3, float t);

}  // namespace mirvo
