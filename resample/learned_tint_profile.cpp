#include "resample/learned_tint_profile.h"

#include "resample/bicubic.h"

namespace mirvo {

namespace {

// Differences of a 24 x 32 surface in edge order: horizontal, then vertical.
void SurfaceGradients(const float (&s)[24][32], float* dst) {
  for (int r = 0; r < 24; ++r)
    for (int c = 0; c < 31; ++c) *dst++ = s[r][c + 1] - s[r][c];
  for (int r = 0; r < 23; ++r)
    for (int c = 0; c < 32; ++c) *dst++ = s[r + 1][c] - s[r][c];
}

}  // namespace

void Crop(const CropInfo& crop, const LearnedTintProfile& in, LearnedTintProfile* out) {
  const float w_full = crop.in_w;
  const float h_full = crop.in_h;
  const float x0 = crop.offs_x;
  const float y0 = crop.offs_y;
  const float w = crop.out_w;
  const float h = crop.out_h;

  // Crop nodes in full-sensor table units (columns 0..16, rows 0..12).
  float xn[17];
  float yn[13];
  for (int k = 0; k < 17; ++k) xn[k] = (x0 + (static_cast<float>(k) * w) * 0.0625f) * 16.0f / w_full;
  for (int k = 0; k < 13; ++k) yn[k] = (y0 + (static_cast<float>(k) * h) / 12.0f) * 12.0f / h_full;
  ResampleBicubic<13, 17, 13, 17>(xn, yn, in.BUL, out->BUL);
  ResampleBicubic<13, 17, 13, 17>(xn, yn, in.BVL, out->BVL);

  // Statistics cell centres of the crop, same units.
  float xc[32];
  float yc[24];
  for (int j = 0; j < 32; ++j) xc[j] = (x0 + ((static_cast<float>(j) + 0.5f) * w) * 0.03125f) * 16.0f / w_full;
  for (int i = 0; i < 24; ++i) yc[i] = (y0 + ((static_cast<float>(i) + 0.5f) * h) / 24.0f) * 12.0f / h_full;

  float surface[24][32];
  ResampleBicubic<13, 17, 24, 32>(xc, yc, in.BUL, surface);
  SurfaceGradients(surface, out->BgUHXY);
  ResampleBicubic<13, 17, 24, 32>(xc, yc, in.BVL, surface);
  SurfaceGradients(surface, out->BgVHXY);
}

}  // namespace mirvo
