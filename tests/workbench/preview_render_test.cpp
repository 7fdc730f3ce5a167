// The preview renderer and the residual overlay on a synthetic flat field of
// known vignetting and colour shading.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "workbench/preview/preview_render.h"
#include "workbench/preview/residual_overlay.h"

namespace mirvo::workbench {
namespace {

constexpr int kW = 640, kH = 480;  // quads
constexpr float kBlack = 64;

// Known shading of plane p (R, Gr, Gb, B) at plane position (x, y) in quads:
// luminance falls to 55 % in the corners, red rises 10 % and blue drops 8 %
// (in log) towards them. R2 is 0 at the centre, 1 in the corners.
double R2(double x, double y) { return (std::pow(x / (kW / 2.0) - 1, 2) + std::pow(y / (kH / 2.0) - 1, 2)) / 2.0; }
double Shading(int p, double x, double y) {
  return (1.0 - 0.45 * R2(x, y)) * std::exp((p == 0 ? 0.10 : p == 3 ? -0.08 : 0.0) * R2(x, y));
}

struct FlatField {
  std::vector<uint16_t> planes[4];
  BayerPlanes view;
  LscTable inverse;

  FlatField() {
    const double level[4] = {420, 700, 700, 380};  // a warm light, 10 bits
    float* gains[4] = {&inverse.r_gain[0][0], &inverse.gr_gain[0][0], &inverse.gb_gain[0][0], &inverse.b_gain[0][0]};
    for (int p = 0; p < 4; ++p) {
      for (int i = 0; i < kW * kH; ++i)
        planes[p].push_back(
            static_cast<uint16_t>(std::lround(kBlack + level[p] * Shading(p, i % kW + 0.5, i / kW + 0.5))));
      for (int n = 0; n < 221; ++n)
        gains[p][n] = static_cast<float>(1.0 / Shading(p, n % 17 * kW / 16.0, n / 17 * kH / 12.0));
      view.plane[p] = planes[p].data();
      view.black[p] = kBlack;
    }
    view.width = kW, view.height = kH, view.white = 1023;
  }
};

const FlatField& Field() {
  static const FlatField f;
  return f;
}

// sRGB code to linear light.
double Linear(double code) {
  const double s = code / 255.0;
  return s <= 0.04045 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
}

PreviewLook MidGrey(const LscTable* table) {
  LookOptions o;
  o.level = 0.5;
  return ChooseLook(Field().view, table, o);
}

// Rendered with the exact inverse table the field is flat and grey (a 2 %
// border aside), at full and at reduced width; with a unity table each
// channel's corner/centre ratio is the known fall-off (white balance and
// exposure scale both alike).
class FlatPreview : public testing::TestWithParam<int> {};

TEST_P(FlatPreview, InverseTableRendersFlatGreyUnityTheFallOff) {
  const FlatField& f = Field();
  const RgbImage img = RenderPreview(f.view, &f.inverse, MidGrey(&f.inverse), GetParam());
  ASSERT_EQ(img.width, GetParam() > 0 ? GetParam() : kW);
  ASSERT_EQ(img.height, img.width * kH / kW);
  auto at = [](const RgbImage& i, int x, int y, int c) {
    return i.pixels[(static_cast<size_t>(y) * i.width + x) * 3 + c];
  };
  const int bx = std::max(1, img.width / 50), by = std::max(1, img.height / 50);
  double mean[3] = {0, 0, 0};
  const int n = (img.width - 2 * bx) * (img.height - 2 * by);
  for (int y = by; y < img.height - by; ++y)
    for (int x = bx; x < img.width - bx; ++x)
      for (int c = 0; c < 3; ++c) mean[c] += static_cast<double>(at(img, x, y, c)) / n;
  for (int y = by; y < img.height - by; ++y)
    for (int x = bx; x < img.width - bx; ++x)
      for (int c = 0; c < 3; ++c)
        ASSERT_NEAR(at(img, x, y, c), mean[c], 0.01 * mean[c]) << c << " at " << x << "," << y;
  // White balanced from the grey cells: the channels agree, at mid grey.
  EXPECT_NEAR(mean[0], mean[1], 1.0);
  EXPECT_NEAR(mean[2], mean[1], 1.0);
  EXPECT_NEAR(Linear(std::round(mean[1])), 0.5, 0.01);

  const RgbImage unity = RenderPreview(f.view, nullptr, MidGrey(nullptr), GetParam());
  const int p[3] = {0, 1, 3}, cx = img.width / 2, cy = img.height / 2;
  for (int c = 0; c < 3; ++c) {  // corner and centre pixels at their plane positions
    const double s = static_cast<double>(kW) / img.width;
    const double known = Shading(p[c], (bx + 0.5) * s, (by + 0.5) * s) / Shading(p[c], (cx + 0.5) * s, (cy + 0.5) * s);
    EXPECT_NEAR(Linear(at(unity, bx, by, c)) / Linear(at(unity, cx, cy, c)), known, 0.02 * known) << c;
  }
}

INSTANTIATE_TEST_SUITE_P(Widths, FlatPreview, testing::Values(0, 160));

// The residual overlay: the known tint before, nothing but rounding after.
TEST(Residual, ShowsTheKnownTintOnlyBefore) {
  const FlatField& f = Field();
  const ResidualShading after = MeasureResidual(f.view, &f.inverse), before = MeasureResidual(f.view, nullptr);
  ASSERT_EQ(after.grey_cells, 32 * 24);
  ASSERT_EQ(before.grey_cells, 32 * 24);
  EXPECT_LT(after.rms, 0.002);
  // Corner cell minus centre cell: the known log tints at their centres.
  const size_t corner = 0, centre = 12 * 32 + 16;
  const double r2 = R2(kW / 64.0, kH / 48.0) - R2(16.5 * kW / 32.0, 12.5 * kH / 24.0);
  EXPECT_NEAR(before.u[corner] - before.u[centre], 0.10 * r2, 0.004);
  EXPECT_NEAR(before.v[corner] - before.v[centre], -0.08 * r2, 0.004);
  EXPECT_NEAR(after.u[corner] - after.u[centre], 0.0, 0.004);
  EXPECT_NEAR(after.v[corner] - after.v[centre], 0.0, 0.004);
}

// A table with gains that are not finite (an engine output the report
// flags) still renders, black where the gains are NaN.
TEST(Preview, NonFiniteGainsRenderWithoutHarm) {
  LscTable broken = Field().inverse;
  broken.r_gain[0][0] = broken.gr_gain[0][0] = broken.gb_gain[0][0] = broken.b_gain[0][0] =
      std::numeric_limits<float>::quiet_NaN();
  broken.b_gain[12][16] = std::numeric_limits<float>::infinity();
  for (int width : {0, 160}) {
    const RgbImage img = RenderPreview(Field().view, &broken, MidGrey(&broken), width);
    ASSERT_EQ(img.pixels.size(), static_cast<size_t>(img.width) * img.height * 3);
    EXPECT_EQ(img.pixels[0] + img.pixels[1] + img.pixels[2], 0) << "width " << width;
  }
  EXPECT_GT(MeasureResidual(Field().view, &broken).grey_cells, 0);
}

}  // namespace
}  // namespace mirvo::workbench
